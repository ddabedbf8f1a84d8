; Each connective against its meaning: the difference of the two sides is unsatisfiable.
(declare-const a Bool)
(declare-const b Bool)
(declare-const c Bool)
(declare-const d Bool)
(push)
(assert (not (= (=> a b c) (or (not a) (not b) c))))
(check-sat)
; expect: unsat
(pop)
(push)
(assert (not (= (xor a b c) (= a (= b c)))))
(check-sat)
; expect: unsat
(pop)
(push)
(assert (not (= (= a b c) (and (= a b) (= b c)))))
(check-sat)
; expect: unsat
(pop)
(push)
(assert (distinct a b c))
(check-sat)
; expect: unsat
(pop)
(push)
(assert (not (= (distinct a b) (xor a b))))
(check-sat)
; expect: unsat
(pop)
(push)
(assert (not (= (ite a b c) (and (=> a b) (=> (not a) c)))))
(check-sat)
; expect: unsat
(pop)
(push)
(assert (distinct (ite (ite a b c) d (not d)) (= (or (and a b) (and (not a) c)) d)))
(check-sat)
; expect: unsat
(pop)
(push)
(assert (xor (and a) a))
(check-sat)
; expect: unsat
(pop)
(push)
(assert (not (= (=> a b c d) (=> a (=> b (=> c d))))))
(check-sat)
; expect: unsat
(pop)
(push)
(assert (not (= (= (= a b) c) (xor a (xor b c)))))
(check-sat)
; expect: unsat
(pop)
(push)
(assert (= a b (not c) (ite d a (not a))))
(assert (xor a c d))
(check-sat)
; expect: unsat
(pop)
(push)
(assert (and a (or b c) (xor b c) (not (=> a d)) (distinct b d) ))
(check-sat)
; expect: sat
(pop)
(push)
(assert (= ((as and Bool) a b) (and (as a Bool) b)))
(check-sat)
; expect: sat
(pop)
