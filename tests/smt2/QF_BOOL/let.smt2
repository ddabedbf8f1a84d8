; let binds in parallel, the innermost binding is seen, and nothing stays behind.
(declare-const a Bool)
(declare-const b Bool)
; the x of y's binding is the outer one
(push 1)
(assert (let ((x a)) (let ((x b) (y x)) (and (not x) y))))
(assert (not b))
(assert a)
(check-sat)
; expect: sat
(pop 1)
(push 1)
(assert (let ((x a)) (let ((x b) (y x)) (and (not x) y))))
(assert (or b (not a)))
(check-sat)
; expect: unsat
(pop 1)
(assert (let ((x true)) (let ((x a)) (let ((x (not x))) x))))
(check-sat)
; expect: sat
(push 1)
(assert a)
(check-sat)
; expect: unsat
(pop 1)
(assert x)
; expect: (error *)
(assert (let ((x a) (x b)) x))
; expect: (error *)
; a broken body closes its scopes
(assert (let ((x a)) (let ((z x)) (and z unknown))))
; expect: (error *)
(assert (let ((x (not a)) (z b)) (and x (or z x))))
(assert (or z a))
; expect: (error *)
(assert (let ((z (and a b)) (x (or a b))) (or (not z) x)))
(check-sat)
; expect: sat
; exit: 1
