; With global declarations reset-assertions keeps every name.
(set-option :global-declarations true)
(declare-const a Bool)
(push 1)
(declare-const b Bool)
(define-fun f ((x Bool)) Bool (and x b))
(assert (! (f a) :named n))
(check-sat)
; expect: sat
(reset-assertions)
(assert (not b))
(check-sat)
; expect: sat
(assert (f a))
(check-sat)
; expect: unsat
(reset-assertions)
(assert n)
(assert b)
(check-sat)
; expect: sat
(declare-const b Bool)
; expect: (error *)
; exit: 1
