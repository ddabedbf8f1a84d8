; The option says which zero it is; here the second one.
(set-option :config "theory.fp.minmax_zero_mode=3")
(set-logic QF_FP)
(declare-const x Float16)
(declare-const y Float16)
(assert (fp.isZero x))
(assert (fp.isZero y))
(assert (distinct y (fp.min x y)))
(check-sat)
; expect: unsat
