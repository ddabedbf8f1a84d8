; Conditions that are no circuits, and the lazy solver, go by axioms.
; options: --config theory.bv.eager=false
(declare-fun p ((_ BitVec 4)) Bool)
(declare-const x (_ BitVec 4))
(declare-const y (_ BitVec 4))
(assert (= (ite (p x) (bvadd x #x1) x) (ite (p y) y (bvadd y #x1))))
(assert (= x y))
(push 1)
(assert (p x))
(check-sat)
; expect: unsat
(pop 1)
(check-sat)
; expect: unsat
