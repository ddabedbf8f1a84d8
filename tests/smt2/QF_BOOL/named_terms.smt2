; A named term can be used by its name, from inside the same assertion on, until its scope ends.
(declare-const a Bool)
(declare-const b Bool)
(assert (or (! (and a b) :named ab) (not (! a :named |the a|))))
(assert (=> ab (! (xor a b) :pattern (x) :weight 5 :named odd)))
(check-sat)
; expect: sat
(push 1)
(assert (! |the a| :named x))
(assert x)
(check-sat)
; expect: unsat
(assert (! b :named x))
; expect: (error *)
; the same name for the same term is no contradiction
(assert (! a :named x))
(pop 1)
(assert x)
; expect: (error *)
(assert (! (not a) :named x))
(assert x)
(check-sat)
; expect: sat
(declare-const x Bool)
; expect: (error *)
; what fails leaves no name behind
(assert (and (! b :named y) unknown))
; expect: (error *)
(assert y)
; expect: (error *)
(declare-const y Bool)
(assert (! (! b :named y1) :named y2))
(assert (not (= y1 y2)))
(check-sat)
; expect: unsat
; exit: 1
