; Definitions with and without parameters; parameters with one body, parameters that hide nothing.
(declare-const a Bool)
(declare-const b Bool)
(define-fun implies1 ((x Bool) (y Bool)) Bool (or (not x) y))
(define-fun implies2 ((y Bool) (x Bool)) Bool (or (not x) y))
(define-fun first ((x Bool) (y Bool)) Bool x)
(define-fun second ((x Bool) (y Bool)) Bool y)
(define-fun nothing ((x Bool)) Bool true)
(define-const both Bool (and a b))
(define-fun-rec loop ((x Bool)) Bool (loop x))
; expect: unsupported
(push 1)
(assert (implies1 a b))
(assert (not (implies2 b a)))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (implies1 a b))
(assert (not (implies2 a b)))
(check-sat)
; expect: sat
(pop 1)
(push 1)
(assert (and (first a b) (not (second a b)) (nothing b)))
(check-sat)
; expect: sat
(assert both)
(check-sat)
; expect: unsat
(pop 1)
; a body equal to one with parameters is a plain term elsewhere
(assert (let ((t true)) (let ((u t)) u)))
(define-fun top () Bool true)
(assert top)
; arguments are not captured by the parameter names
(define-fun swap ((x Bool) (y Bool)) Bool (first y x))
(assert (let ((x a) (y b)) (and (swap x y) (not x))))
(check-sat)
; expect: sat
(assert (or a (not b)))
(check-sat)
; expect: unsat
(reset-assertions)
(declare-const a Bool)
(define-fun wrong ((x Bool)) Bool (and x unknown))
; expect: (error *)
(assert (wrong a))
; expect: (error *)
(assert x)
; expect: (error *)
(define-fun wrong ((x Bool)) Bool (not x))
(assert (wrong a a))
; expect: (error *)
(assert wrong)
; expect: (error *)
(define-fun a ((x Bool)) Bool x)
; expect: (error *)
(define-fun number () Bool 5)
; expect: (error *)
(define-fun twice ((x Bool) (x Bool)) Bool x)
; expect: (error *)
(assert (wrong (wrong (not a))))
(check-sat)
; expect: sat
(assert a)
(check-sat)
; expect: unsat
; exit: 1
