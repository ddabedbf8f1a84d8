; Assumptions hold for one check only, and the failed ones are reported in the order and the form in
; which they were given.
(set-option :produce-unsat-assumptions true)
(set-logic QF_UF)
(declare-const a Bool)
(declare-const b Bool)
(declare-const c Bool)
(declare-const |d e| Bool)
(assert (or a b))
(assert (=> c (not b)))
(check-sat-assuming ((not a) c))
; expect: unsat
(get-unsat-assumptions)
; expect: ((not a) c)
(check-sat)
; expect: sat
(check-sat-assuming (c a))
; expect: sat
(check-sat-assuming (a (not a)))
; expect: unsat
(get-unsat-assumptions)
; expect: (a (not a))
(check-sat-assuming ((not c) |d e| (not |d e|) b))
; expect: unsat
(get-unsat-assumptions)
; expect: (|d e| (not |d e|))
; the same literal twice is one assumption; the report may not name what was not assumed
(check-sat-assuming (c c b b))
; expect: unsat
; no assumption at all is a plain check
(check-sat-assuming ())
; expect: sat
(push 1)
(assert (not a))
(check-sat-assuming (c))
; expect: unsat
(get-unsat-assumptions)
; expect: (c)
(pop 1)
(check-sat-assuming (c))
; expect: sat
; an assumption that is false at the outermost level is the whole reason
(assert (not |d e|))
(check-sat)
; expect: sat
(check-sat-assuming (a |d e| c))
; expect: unsat
(get-unsat-assumptions)
; expect: (|d e|)
; unsatisfiable without any assumption: none of them failed
(assert (and (not a) (not b)))
(check-sat-assuming (c |d e|))
; expect: unsat
(get-unsat-assumptions)
; expect: ()
