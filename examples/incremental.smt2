; Two lifts, three floors: which buttons may be lit, asked step by step.
; Run it with: scripts/solve examples/incremental.smt2
(set-option :produce-unsat-assumptions true)
(set-logic QF_UF)
(declare-const a1 Bool) ; lift a is on floor 1
(declare-const a2 Bool)
(declare-const a3 Bool)
(declare-const b1 Bool)
(declare-const b2 Bool)
(declare-const b3 Bool)
(define-fun one-of ((x Bool) (y Bool) (z Bool)) Bool
  (and (or x y z) (not (and x y)) (not (and x z)) (not (and y z))))
(assert (one-of a1 a2 a3))
(assert (one-of b1 b2 b3))
(assert (! (and (not (and a1 b1)) (not (and a2 b2)) (not (and a3 b3))) :named apart))
(check-sat) ; sat
(push 1)
(declare-const fire Bool)
(assert (=> fire (and (or a1 b1) (not a2) (not b2) (not a3))))
(assert fire)
(check-sat) ; sat: a on floor 1, b on floor 3
(check-sat-assuming ((not b3))) ; unsat
(get-unsat-assumptions)
(pop 1)
(check-sat-assuming (a2 (not b1) (not b3))) ; unsat: nothing is left for b
(check-sat-assuming (a2 (not b1))) ; sat
