; A formula that needs a theory solver that is not there gets an error at the check, never an answer;
; without it the rest of the script is answered.
(declare-const x Real)
(declare-const a Bool)
(assert a)
(check-sat)
; expect: sat
(push)
(assert (or a (< (sin x) 5)))
(check-sat)
; expect: sat
(assert (or (not a) (< (sin x) 5)))
(check-sat)
; expect: (error *)
(check-sat-assuming (a))
; expect: (error *)
(pop)
(check-sat)
; expect: sat
(push)
(assert (> (* x x) 5))
(check-sat)
; expect: (error *)
(pop)
(check-sat-assuming ((> (exp x) 5)))
; expect: (error *)
(check-sat)
; expect: sat
(assert (not a))
(check-sat)
; expect: unsat
; exit: 1
