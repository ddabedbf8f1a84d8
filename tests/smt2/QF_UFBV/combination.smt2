; Words as arguments of functions: equalities travel both ways.
(set-option :produce-models true)
(set-logic QF_UFBV)
(declare-fun f ((_ BitVec 4)) (_ BitVec 4))
(declare-fun g ((_ BitVec 4) (_ BitVec 4)) (_ BitVec 4))
(declare-const x (_ BitVec 4))
(declare-const y (_ BitVec 4))
(declare-const z (_ BitVec 4))
(push 1)
; x + 1 = 1 + x, known to the words only
(assert (distinct (f (bvadd x #x1)) (f (bvadd (bvor x x) #b0001))))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
; f(x) = f(y), known to the functions only
(assert (= x y))
(assert (bvult (bvmul (f x) #x3) (bvmul (f y) #x3)))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
; through a chain of applications
(assert (= (f x) (g y z)))
(assert (= (g y z) (f z)))
(assert (distinct (bvand (f x) #x1) (bvand (f z) #x1)))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
; four values do not fit into a bit
(assert (bvult (f #x0) #x2))
(assert (bvult (f #x1) #x2))
(assert (bvult (f #x2) #x2))
(assert (distinct (f #x0) (f #x1) (f #x2)))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
; the argument of f has no word of its own in any atom
(assert (= (f (bvmul x y)) #x5))
(assert (= (f #x6) #x4))
(assert (= x #x2))
(assert (bvult y #x4))
(assert (bvugt y #x2))
(check-sat)
; expect: unsat
(pop 1)
(assert (= (f x) #x1))
(assert (= (f y) #x2))
(assert (= (bvadd x y) #x0))
(assert (bvult x y))
(check-sat)
; expect: sat
(get-value ((f x) (f y) (bvadd x y) (= x y)))
; expect: (((f x) (_ bv1 4))
; expect:  ((f y) (_ bv2 4))
; expect:  ((bvadd x y) (_ bv0 4))
; expect:  ((= x y) false))
