; All ways to decide the listed atoms, numbers behind them or not.
(set-logic QF_LRA)
(declare-const x Real)
(declare-const loud Bool)
(assert (=> loud (> x 2.0)))
(assert (or loud (< x 0.0)))
(check-allsat (loud (> x 1.0)))
