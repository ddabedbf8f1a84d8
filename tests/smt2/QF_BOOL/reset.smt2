; reset starts over: options and the logic can be set anew, names and levels are gone.
(set-option :produce-models true)
(set-option :config "dpll.restart_strategy=1")
(set-logic QF_UF)
(declare-const a Bool)
(push 3)
(assert (and a (not a)))
(check-sat)
; expect: unsat
(set-logic QF_UF)
; expect: (error *)
(set-option :produce-models true)
; expect: (error *)
(set-option :config "dpll.restart_strategy=2")
; expect: (error *)
(reset)
(get-option :produce-models)
; expect: false
(set-option :config "dpll.restart_strategy=2")
(set-logic QF_UF)
(get-info :assertion-stack-levels)
; expect: (:assertion-stack-levels 0)
(assert a)
; expect: (error *)
(declare-const a Bool)
(assert a)
(check-sat)
; expect: sat
(set-option :print-success true)
; expect: success
(reset)
; expect: success
(check-sat)
; expect: sat
; exit: 1
