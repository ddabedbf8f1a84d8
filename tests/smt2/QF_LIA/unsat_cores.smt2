; Named assertions in cores, with levels, assumptions and repetitions.
(set-option :produce-unsat-cores true)
(set-option :produce-unsat-assumptions true)
(declare-const x Int)
(declare-const y Int)
(declare-const p Bool)
(assert (! (< x y) :named |x below y|))
(assert (! (or p (< 7 x)) :named p-or-large))
(push 1)
(assert (! (and (! (< y 9) :named part) true) :named small))
(check-sat)
; expect: sat
(check-sat-assuming ((not p)))
; expect: unsat
(get-unsat-core)
; expect: (|x below y| p-or-large small)
(get-unsat-assumptions)
; expect: ((not p))
(check-sat-assuming (p (> x y)))
; expect: unsat
(get-unsat-core)
; expect: (|x below y|)
(get-unsat-assumptions)
; expect: ((> x y))
(check-sat-assuming (false))
; expect: unsat
(get-unsat-core)
; expect: ()
(pop 1)
(get-unsat-core)
; expect: (error *)
(push 1)
; without a name it can't be told
(assert (< y x))
(check-sat)
; expect: unsat
(get-unsat-core)
; expect: (|x below y|)
(assert (! (< y x) :named late))
(check-sat)
; expect: unsat
(get-unsat-core)
; expect: (|x below y| late)
(push 1)
(check-sat)
; expect: unsat
(pop 2)
(check-sat)
; expect: sat
(assert (! false :named absurd))
(check-sat)
; expect: unsat
(get-unsat-core)
; expect: (absurd)
(reset-assertions)
(declare-const q Bool)
(assert (! q :named small))
(assert (! (not q) :named large))
(check-sat)
; expect: unsat
(get-unsat-core)
; expect: (small large)
; exit: 1
