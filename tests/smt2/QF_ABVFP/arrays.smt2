; Arrays of floats: equalities of elements and of indices travel both ways.
(set-option :produce-models true)
(set-logic QF_ABVFP)
(declare-const m (Array (_ BitVec 4) Float16))
(declare-const i (_ BitVec 4))
(declare-const j (_ BitVec 4))
(declare-const x Float16)
(push 1)
(assert (fp.isNaN (select m i)))
(assert (fp.isNaN (fp.add RNE x (select m j))))
(assert (not (fp.isNaN x)))
(assert (not (fp.isNaN (select m (bvadd i #x1)))))
(assert (= j (bvadd i #x1)))
(check-sat)
; expect: sat
(assert (not (fp.isInfinite x)))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
; two NaN are one element
(assert (fp.isNaN x))
(assert (distinct (store m i x) (store m i (fp.sqrt RNE ((_ to_fp 5 11) RTZ ((_ to_fp 8 24) RTZ #b10000001))))))
(check-sat)
; expect: unsat
(pop 1)
; an index that is computed from a float
(assert (fp.lt ((_ to_fp 5 11) RNE 2.0) x ((_ to_fp 5 11) RNE 2.5)))
(assert (distinct (select m ((_ fp.to_sbv 4) RNE x)) (select m #x2)))
(check-sat)
; expect: unsat
; constant arrays over types of four values, met by four writes
(reset)
(define-sort Four () (Array (_ BitVec 1) (_ BitVec 1)))
(define-fun one () (Array Four Bool) ((as const (Array Four Bool)) true))
(define-fun two () (Array RoundingMode Bool) ((as const (Array RoundingMode Bool)) true))
(declare-fun at (Int) Four)
(declare-fun mode (Int) RoundingMode)
(push 1)
(assert (= one (store (store (store (store ((as const (Array Four Bool)) false)
    (at 1) true) (at 2) true) (at 3) true) (at 4) true)))
(assert (= two (store (store (store (store ((as const (Array RoundingMode Bool)) false)
    (mode 1) true) (mode 2) true) (mode 3) true) (mode 4) true)))
(check-sat)
; expect: sat
(push 1)
(assert (= (at 1) (at 4)))
(check-sat)
; expect: unsat
(pop 1)
(assert (= (mode 2) (mode 3)))
(check-sat)
; expect: unsat
(pop 1)
