; Which zero the minimum of two different ones is, is open, but it is one function of the arguments.
(set-option :produce-models true)
(set-logic QF_FP)
(declare-const x Float16)
(declare-const y Float16)
(assert (= x (_ +zero 5 11)))
(assert (= y (_ -zero 5 11)))
(push 1)
(assert (= (fp.min x y) x))
(assert (= (fp.min y x) y))
(assert (= (fp.max x y) y))
(check-sat)
; expect: sat
(get-value ((fp.isNegative (fp.min y x))))
; expect: (((fp.isNegative (fp.min y x)) true))
(pop 1)
(push 1)
(assert (distinct (fp.min x y) (fp.min (fp.abs x) (fp.neg x))))
(check-sat)
; expect: unsat
(pop 1)
(assert (not (fp.isZero (fp.max x y))))
(check-sat)
; expect: unsat
