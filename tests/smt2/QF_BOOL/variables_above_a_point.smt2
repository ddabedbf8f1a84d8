; Variables that are first used above a backtrack point, with declarations that outlive it: learned
; clauses over them have to go, the ones below have to stay right.
(set-option :global-declarations true)
(declare-const a Bool)
(declare-const b Bool)
(assert (or a b))
(push 1)
(declare-const x Bool)
(declare-const y Bool)
(declare-const z Bool)
(assert (= x (and a y)))
(assert (= y (not z)))
(assert (or x z))
(assert (=> z b))
(check-sat)
; expect: sat
(push 1)
(declare-const w Bool)
(assert (= w (xor x z)))
(assert (not w))
(check-sat)
; expect: unsat
(pop 1)
(assert (not a))
(check-sat)
; expect: sat
(assert (not b))
(check-sat)
; expect: unsat
(pop 1)
; below the point x, y, z and w are free again
(assert x)
(assert z)
(assert (not y))
(assert w)
(check-sat)
; expect: sat
(assert (not a))
(check-sat)
; expect: sat
(push 1)
(assert (not b))
(check-sat)
; expect: unsat
(pop 1)
(check-sat)
; expect: sat
(assert (= w (not x)))
(check-sat)
; expect: unsat
