; As the standard fixes it: all ones, and the dividend.
(set-logic QF_BV)
(declare-const a (_ BitVec 6))
(declare-const z (_ BitVec 6))
(assert (= z #b000000))
(push 1)
(assert (or (distinct (bvudiv a z) #b111111) (distinct (bvurem a z) a)))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (or (distinct (bvsdiv a z) (ite (bvslt a z) #b000001 #b111111)) (distinct (bvsrem a z) a)
            (distinct (bvsmod a z) a)))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (= (bvudiv a a) #b111111))
(assert (distinct a z))
(check-sat)
; expect: unsat
(pop 1)
(assert (= (bvudiv a a) #b111111))
(check-sat)
; expect: sat
