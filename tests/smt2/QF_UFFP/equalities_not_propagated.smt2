; What congruence finds equal to a constant of another theory counts there, though no equality is passed on.
(set-option :config "theory.eq_propagation=false")
(set-logic QF_AUFBVFP)
(define-sort F () (_ FloatingPoint 2 3))
(declare-const x F)
(declare-const b (_ BitVec 3))
(declare-fun f (F) F)
(declare-fun g ((_ BitVec 3)) (_ BitVec 3))
(push 1)
(assert (= (f (_ NaN 2 3)) (_ +zero 2 3)))
(assert (= (f (fp.sqrt RNE x)) x))
(check-sat)
; expect: sat
(assert (fp.isNaN (fp.sqrt RNE x)))
(check-sat)
; expect: unsat
(pop 1)
(assert (= (g #b100) #b001))
(assert (= (g (bvmul b #b010)) b))
(check-sat)
; expect: sat
(assert (= (bvmul b #b010) #b100))
(check-sat)
; expect: unsat
