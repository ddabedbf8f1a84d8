; Without an equality solver nobody else looks after equalities of unknowns and numbers.
(set-option :config "theory.euf.enabled=false")
(set-option :config "theory.la.detect_euf_fragment=true")
(set-option :config "preprocessor.toplevel_propagation=false")
(declare-const x Real)
(declare-const y Real)
(declare-const q Bool)
(assert (= x y))
(assert (or q (= x 1)))
(assert (= 2 y))
(check-sat)
; expect: sat
(assert (not q))
(check-sat)
; expect: unsat
