; get-info, get-option, echo and get-assertions; what only later versions can answer.
; variants: no
(get-info :name)
; expect: (:name "tarq")
(get-info :error-behavior)
; expect: (:error-behavior continued-execution)
(get-info :assertion-stack-levels)
; expect: (:assertion-stack-levels 0)
(get-info :reason-unknown)
; expect: (error *)
(get-info :unheard-of)
; expect: unsupported
(set-info :id a-symbol)
(set-info :source |quoted
text|)
(set-info :smt-lib-version 2.6)
(get-option :print-success)
; expect: false
(get-option :produce-models)
; expect: false
(set-option :produce-models true)
(get-option :produce-models)
; expect: true
(set-option :produce-unsat-cores true)
(get-option :produce-unsat-cores)
; expect: true
(set-option :random-seed 42)
(get-option :random-seed)
; expect: 42
(set-option :random-seed 0)
(get-option :random-seed)
; expect: 0
(get-option :verbosity)
; expect: 0
(get-option :regular-output-channel)
; expect: "stdout"
(get-option :diagnostic-output-channel)
; expect: "stderr"
(get-option :unheard-of)
; expect: unsupported
(echo "")
; expect: ""
(echo "a; ""b"" |c|")
; expect: "a; ""b"" |c|"
(declare-const a Bool)
(get-assertions)
; expect: ()
(assert (! a ; with a comment
   :named n))
(assert (let ((x a)) (or x (not n))))
(get-assertions)
; expect: ((! a :named n) (let ((x a)) (or x (not n))))
(check-sat)
; expect: sat
(get-model)
; expect: (
; expect:   (define-fun a () Bool true)
; expect: )
(get-assignment)
; expect: (error *)
(get-unsat-core)
; expect: (error *)
(get-proof)
; expect: unsupported
(get-interpolant (n))
; expect: unsupported
(minimize a)
; expect: unsupported
(maximize a :id first)
; expect: unsupported
(assert-soft a :weight 3 :id cost)
; expect: unsupported
(get-objectives)
; expect: unsupported
(check-sat)
; expect: sat
(get-unsat-assumptions)
; expect: (error *)
; exit: 1
