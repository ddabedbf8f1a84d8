; Functions and predicates of formulas: with truth values that agree they agree.
(set-option :produce-models true)
(declare-sort U 0)
(declare-const a U)
(declare-const p Bool)
(declare-const q Bool)
(declare-fun f (Bool U) U)
(declare-fun g (Bool) Bool)
(assert (distinct (f p a) (f q a)))
(check-sat)
; expect: sat
(get-value ((= p q) (= (f p a) (f q a)) (= (f p a) (ite p (f true a) (f false a)))))
; expect: (((= p q) false)
; expect:  ((= (f p a) (f q a)) false)
; expect:  ((= (f p a) (ite p (f true a) (f false a))) true))
(push 1)
(assert (= (g p) (g q)))
(assert (distinct (g (= a (f p a))) (g (not (= a (f p a))))))
(check-sat)
; expect: unsat
(pop 1)
; only two truth values
(push 1)
(declare-const r Bool)
(assert (distinct (f r a) (f p a)))
(assert (distinct (f r a) (f q a)))
(check-sat)
; expect: unsat
(pop 1)
; g is none of the two constant predicates, so it is the identity or the negation
(assert (not (= (g true) (g false))))
(assert (not (= (g (g p)) p)))
(check-sat)
; expect: unsat
