; push and pop with and without a numeral, and a contradiction at an inner level.
(declare-const a Bool)
(declare-const b Bool)
(declare-const c Bool)
(push 0)
(push)
(assert (or a b))
(push 3)
(get-info :assertion-stack-levels)
; expect: (:assertion-stack-levels 4)
(assert (not a))
(push)
(assert (not b))
(check-sat)
; expect: unsat
(push 2)
(assert c)
(check-sat)
; expect: unsat
(pop 2)
(check-sat)
; expect: unsat
(pop)
(check-sat)
; expect: sat
(pop 0)
(assert (not b))
(check-sat)
; expect: unsat
(pop 3)
(assert (and (not b) c))
(check-sat)
; expect: sat
(pop 2)
; expect: (error *)
(push)
(assert (= a c))
(assert (not a))
(check-sat)
; expect: unsat
(pop 2)
(check-sat)
; expect: sat
(pop)
; expect: (error *)
; a pop right after a push that was never checked
(push)
(assert false)
(pop)
(check-sat)
; expect: sat
; a contradiction of the outermost level stays
(push)
(check-sat)
; expect: sat
(pop)
(assert (and a (not a)))
(push 2)
(assert b)
(check-sat)
; expect: unsat
(pop)
(pop)
(check-sat)
; expect: unsat
; exit: 1
