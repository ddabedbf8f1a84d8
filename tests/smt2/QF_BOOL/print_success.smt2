; Every command answers, and only one that has no answer of its own says success.
(set-option :print-success true)
; expect: success
(set-logic QF_UF)
; expect: success
(set-info :status sat)
; expect: success
(declare-const a Bool)
; expect: success
(define-fun f () Bool a)
; expect: success
(declare-sort U 0)
; expect: success
(define-sort V () U)
; expect: success
(push 1)
; expect: success
(assert f)
; expect: success
(check-sat)
; expect: sat
(echo "two ""words""")
; expect: "two ""words"""
(get-option :print-success)
; expect: true
(get-info :name)
; expect: (:name "tarq")
(pop)
; expect: success
(assert nothing)
; expect: (error *)
(set-option :unheard-of true)
; expect: unsupported
(reset-assertions)
; expect: success
(set-option :print-success false)
(push)
(exit)
(check-sat)
; exit: 1
