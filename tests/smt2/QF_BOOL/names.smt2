; Symbols that look like something else.
(declare-const |a b| Bool)
(declare-const minimize Bool)
(declare-const |let| Bool)
(declare-const |5| Bool)
(declare-const +-*/<=>?!@$%&^~_. Bool)
(declare-const |weight; (no comment| Bool)
(declare-const push1 Bool)
(declare-const pi2 Bool)
(assert (and |a b| minimize |let| |5| +-*/<=>?!@$%&^~_.))
(assert (or (not |push1|) |weight; (no comment|))
(check-sat)
; expect: sat
(push)
(assert (not |minimize|))
(check-sat)
; expect: unsat
(pop)
(push)
(assert (not |+-*/<=>?!@$%&^~_.|))
(check-sat)
; expect: unsat
(pop)
; names with a dot in front belong to the solver
(declare-const |.btlabel1| Bool)
; expect: (error *)
(define-fun .x () Bool true)
; expect: (error *)
(assert (! push1 :named .y))
; expect: (error *)
(assert .y)
; expect: (error *)
(push)
(assert push1)
(push)
(assert (not push1))
(check-sat)
; expect: unsat
(pop)
(assert .btlabel1)
; expect: (error *)
(check-sat)
; expect: sat
(pop)
(assert (let ((.z push1)) (not .z)))
(check-sat)
; expect: sat
; exit: 1
