; Division by zero as a function of the dividend. It comes in a logic without functions.
(set-option :config "theory.bv.div_by_zero_mode=1")
(set-logic QF_BV)
(declare-const a (_ BitVec 4))
(declare-const b (_ BitVec 4))
(declare-const z (_ BitVec 4))
(assert (= z #x0))
(push 1)
(assert (= (bvudiv a z) #x3))
(check-sat)
; expect: sat
(assert (= (bvudiv b #x0) #x4))
(check-sat)
; expect: sat
(assert (= a b))
(check-sat)
; expect: unsat
(pop 1)
(assert (= (bvudiv #x9 #x2) a))
(assert (distinct a #x4))
(check-sat)
; expect: unsat
