; Assumptions that are no literals: constants, connectives, defined and named terms.
(set-option :produce-unsat-assumptions true)
(declare-const a Bool)
(declare-const b Bool)
(declare-const c Bool)
(define-fun both () Bool (and a b))
(define-fun same ((x Bool) (y Bool)) Bool (= x y))
(assert (or c (! (xor a b) :named differ)))
(check-sat-assuming (true))
; expect: sat
(check-sat-assuming (a false b))
; expect: unsat
(get-unsat-assumptions)
; expect: (false)
(check-sat-assuming ((not true)))
; expect: unsat
(check-sat-assuming (both (not c)))
; expect: unsat
(get-unsat-assumptions)
; expect: (both (not c))
(check-sat-assuming (both))
; expect: sat
(check-sat-assuming ((same a b) differ))
; expect: unsat
(check-sat-assuming ((or a b) (not a) (not (and b c))))
; expect: sat
(check-sat-assuming ((or a b) (not a) (not (and b c)) (not differ)))
; expect: unsat
; what stood for such an assumption is not asserted
(check-sat-assuming ((and a (not a))))
; expect: unsat
(check-sat)
; expect: sat
(push 1)
(assert both)
(check-sat-assuming ((not (and a b))))
; expect: unsat
(pop 1)
(check-sat-assuming ((not (and a b))))
; expect: sat
(get-assertions)
; expect: ((or c (! (xor a b) :named differ)))
