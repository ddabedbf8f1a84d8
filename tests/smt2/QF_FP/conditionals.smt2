; Term-ITEs over floats and rounding modes: as circuits, and by axioms where there is a solver for
; equalities.
(set-logic QF_FP)
(declare-const p Bool)
(declare-const x Float16)
(declare-const y Float16)
(declare-const z Float16)
(define-fun larger ((a Float16) (b Float16)) Float16 (ite (fp.lt a b) b a))
(define-fun r () RoundingMode (ite (and p (not (fp.isNegative x))) RTP RTZ))
(assert (not (or (fp.isNaN x) (fp.isNaN y) (fp.isNaN z))))
(push 1)
(assert (not (fp.eq (larger x (larger y z)) (larger (larger x y) z))))
(check-sat)
; expect: unsat
(pop 1)
(assert (fp.isPositive x))
(assert (fp.lt (fp.add r x y) (fp.add RTN x y)))
(check-sat)
; expect: unsat
