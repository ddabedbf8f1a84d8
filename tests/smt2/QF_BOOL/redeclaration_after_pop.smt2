; A name that a pop has freed can be declared anew, with the same type or another, and the new
; constant has nothing to do with the old one.
(declare-const a Bool)
(push 1)
(declare-const p Bool)
(assert (and a (not p)))
(check-sat)
; expect: sat
(push 1)
(declare-const q Bool)
(assert (= q p))
(assert q)
(check-sat)
; expect: unsat
(pop 1)
(pop 1)
(assert (or (not a) p))
; expect: (error *)
(declare-const p Bool)
(assert p)
(check-sat)
; expect: sat
(push 1)
(declare-fun q (NoSort) Bool)
; expect: (error *)
(declare-sort q 0)
(declare-fun r (q) Bool)
(define-fun s ((x Bool)) Bool (not x))
(assert (s p))
(check-sat)
; expect: unsat
(pop 1)
(declare-const q Bool)
(declare-const r Bool)
(define-fun s ((x Bool)) Bool x)
(assert (and q (s r) (s a)))
(check-sat)
; expect: sat
(push 1)
(assert (not r))
(check-sat)
; expect: unsat
(pop 1)
; a redeclaration while the name is in use stays an error, in an inner scope too
(declare-const q Bool)
; expect: (error *)
(push 1)
(declare-const q Bool)
; expect: (error *)
(define-fun q () Bool true)
; expect: (error *)
(pop 1)
(check-sat)
; expect: sat
; exit: 1
