; Words beyond the machine word, and identities that sharing alone decides.
(set-logic QF_BV)
(declare-const x (_ BitVec 200))
(declare-const y (_ BitVec 200))
(push 1)
(assert (distinct (bvmul x y) (bvmul y x)))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (distinct (bvsub x y) (bvadd x (bvneg y))))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (distinct (concat ((_ extract 199 77) x) ((_ extract 76 0) x)) x))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (bvult x ((_ zero_extend 100) (_ bv7 100))))
(assert (bvugt x (_ bv6 200)))
(check-sat)
; expect: unsat
(pop 1)
(assert (= (bvshl x (_ bv199 200)) (bvshl (_ bv1 200) (_ bv199 200))))
(assert (= ((_ extract 0 0) x) #b0))
(check-sat)
; expect: unsat
