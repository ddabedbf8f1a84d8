; Models of Boolean problems: what is printed, and when it can be asked for.
(set-option :produce-models true)
(set-option :produce-assignments true)
(declare-const a Bool)
(declare-const |a b| Bool)
(declare-fun never-used () Bool)
(define-fun both () Bool (and a |a b|))
(assert (! (or (not a) |a b|) :named implication))
(assert (! a :named |the first|))
(check-sat)
; expect: sat
(get-model)
; expect: (
; expect:   (define-fun a () Bool true)
; expect:   (define-fun |a b| () Bool true)
; expect:   (define-fun never-used () Bool false)
; expect: )
(get-value (a (not   a) ; the text comes back without comments
   (let ((x both)) (or x never-used))))
; expect: ((a true)
; expect:  ((not a) false)
; expect:  ((let ((x both)) (or x never-used)) true))
(get-assignment)
; expect: ((implication true) (|the first| true))
; a question does not end the time of the model
(get-value (a))
; expect: ((a true))
(push 1)
(get-value (a))
; expect: (error *)
(declare-const c Bool)
(assert (! (= c (not |a b|)) :named inner))
(check-sat)
; expect: sat
(get-model)
; expect: (
; expect:   (define-fun a () Bool true)
; expect:   (define-fun |a b| () Bool true)
; expect:   (define-fun never-used () Bool false)
; expect:   (define-fun c () Bool false)
; expect: )
(get-assignment)
; expect: ((implication true) (|the first| true) (inner true))
(pop 1)
(check-sat-assuming (never-used))
; expect: sat
(get-value (never-used))
; expect: ((never-used true))
(check-sat-assuming ((and never-used (not both))))
; expect: unsat
(get-value (never-used))
; expect: (error *)
(check-sat-assuming ((or (not never-used) (not a))))
; expect: sat
(get-model)
; expect: (
; expect:   (define-fun a () Bool true)
; expect:   (define-fun |a b| () Bool true)
; expect:   (define-fun never-used () Bool false)
; expect: )
(get-assignment)
; expect: ((implication true) (|the first| true))
; exit: 1
