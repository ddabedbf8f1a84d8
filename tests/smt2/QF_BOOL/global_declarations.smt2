; Names made above a point stay, the assertions over them go.
(set-option :global-declarations true)
(get-option :global-declarations)
; expect: true
(push 1)
(declare-const a Bool)
(declare-sort U 0)
(define-sort B () Bool)
(define-fun f ((x B)) B (not x))
(assert (! (f a) :named fa))
(assert a)
(check-sat)
; expect: unsat
(pop 1)
(assert a)
(check-sat)
; expect: sat
(assert (or fa (f (f a))))
(declare-const b B)
(declare-const u U)
(check-sat)
; expect: sat
(assert fa)
(check-sat)
; expect: unsat
(set-option :global-declarations false)
; expect: (error *)
(declare-const a Bool)
; expect: (error *)
; exit: 1
