; Tightening, branching, disequalities, and integers without bounds.
(set-option :produce-models true)
(declare-const x Int)
(declare-const y Int)
(declare-fun f (Int) Int)
(push 1)
(assert (< 0 (* 2 x) 2))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (and (<= 4 (+ (* 3 x) (* 3 y))) (<= (+ (* 3 x) (* 3 y)) 5)))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (and (<= 0 x 2) (distinct x 0) (distinct x 2)))
(check-sat)
; expect: sat
(get-value (x))
; expect: ((x 1))
(assert (distinct x 1))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (and (<= 1 x 2) (distinct (f x) (f 1)) (distinct (f x) (f 2))))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (= (mod x 7) 3))
(assert (= (div x 7) (- 2)))
(check-sat)
; expect: sat
(get-value (x))
; expect: ((x (- 11)))
(pop 1)
(assert (> (* 3 x) (* 7 y) (* 3 (- x 1))))
(check-sat-assuming ((= y 999999)))
; expect: unsat
