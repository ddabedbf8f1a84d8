; Equations without a whole solution, and bounds that only whole solutions forbid.
(set-logic QF_LIA)
(declare-const x Int)
(declare-const y Int)
(declare-const z Int)
(push 1)
(assert (= (+ (* 2 x) (* 4 y)) 1))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (= (+ (* 3 x) (* 5 y)) 1))
(check-sat)
; expect: sat
(assert (and (<= 3 x) (<= x 6)))
(check-sat)
; expect: unsat
(pop 1)
; y = 3 - 2z needs both equations; the conflict of y >= 5 with z >= 0 names them
(push 1)
(assert (= x (* 2 y)))
(assert (= (+ x (* 4 z)) 6))
(assert (>= z 0))
(push 1)
(assert (>= y 5))
(check-sat)
; expect: unsat
(pop 1)
(assert (>= y 2))
(check-sat)
; expect: sat
(pop 1)
; without end for a search that only branches
(assert (= (- (* 6 x) (* 9 y) (* 15 z)) 2))
(check-sat)
; expect: unsat
