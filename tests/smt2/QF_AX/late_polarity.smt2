; A lemma may bring an atom with the sign that was missing while a literal of it was already assigned
; and kept from the solvers as pure: they have to get it then.
; options: -c theory.pure_literal_filtering=true -c theory.arr.mode=1 -c theory.bv.eager=false
(set-option :produce-models true)
(declare-const c0 (_ BitVec 1))
(declare-const c1 (_ BitVec 1))
(declare-const d0 Int)
(declare-const d3 Int)
(declare-const e0 (Array (_ BitVec 1) Int))
(declare-const e1 (Array (_ BitVec 1) Int))
(declare-const e2 (Array (_ BitVec 1) Int))
(declare-const e3 (Array (_ BitVec 1) Int))
(declare-fun f0 ((Array (_ BitVec 1) Int)) Bool)
(declare-const q1 Bool)
(declare-const q3 Bool)
(check-sat-assuming (q1))
; expect: sat
(assert (=> (and (or (not (= e3 e1)) q3) (= (select e3 c1) d3) (= e0 e1)) (f0 (store e2 c0 (select e1 c0)))))
(assert (= (store e0 (bvnot c0) d3) (store e0 c0 d0)))
(check-sat)
; expect: sat
(get-value ((= (store e0 (bvnot c0) d3) (store e0 c0 d0))))
; expect: (((= (store e0 (bvnot c0) d3) (store e0 c0 d0)) true))
