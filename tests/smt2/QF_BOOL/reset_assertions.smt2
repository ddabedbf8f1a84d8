; reset-assertions takes away assertions, levels and scoped declarations, and keeps options.
(set-option :print-success false)
(set-option :produce-unsat-assumptions true)
(set-logic QF_UF)
(declare-const a Bool)
(define-fun f () Bool (not a))
(assert (! a :named n))
(push 2)
(assert f)
(check-sat)
; expect: unsat
(get-info :assertion-stack-levels)
; expect: (:assertion-stack-levels 2)
(reset-assertions)
(get-info :assertion-stack-levels)
; expect: (:assertion-stack-levels 0)
(get-assertions)
; expect: ()
(check-sat)
; expect: sat
(assert a)
; expect: (error *)
(assert n)
; expect: (error *)
(declare-const a Bool)
(define-fun f () Bool a)
(define-fun n () Bool (not f))
(get-option :produce-unsat-assumptions)
; expect: true
(check-sat-assuming (a n))
; expect: unsat
(get-unsat-assumptions)
; expect: (a n)
(pop 1)
; expect: (error *)
(assert f)
(check-sat)
; expect: sat
; exit: 1
