; Problems that no search is needed for.
(check-sat)
; expect: sat
(assert true)
(check-sat)
; expect: sat
(push)
(assert false)
(check-sat)
; expect: unsat
(check-sat-assuming (true))
; expect: unsat
(push)
(check-sat)
; expect: unsat
(pop 2)
(declare-const a Bool)
(check-sat)
; expect: sat
(push)
(assert (and a (not a)))
(check-sat)
; expect: unsat
(pop)
(assert (or a (not a)))
(check-sat)
; expect: sat
(check-sat)
; expect: sat
