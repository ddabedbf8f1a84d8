; One question for each kind of operator on Float32, with what IEEE 754 says about it.
(set-option :produce-models true)
(set-logic QF_FP)
(declare-const x Float32)
(declare-const y Float32)
(declare-const r RoundingMode)
(define-fun one () Float32 ((_ to_fp 8 24) RNE 1.0))
(define-fun three () Float32 ((_ to_fp 8 24) RNE 3.0))
(push 1)
; a sum that absorbs one operand
(assert (fp.lt one x))
(assert (not (fp.isInfinite x)))
(assert (fp.eq (fp.add RTZ x one) x))
(assert (fp.lt x ((_ to_fp 8 24) RNE 16777218.0)))
(check-sat)
; expect: sat
(get-value (x))
; expect: ((x (fp #b0 #b10010111 #b00000000000000000000000)))
(pop 1)
(push 1)
; a quotient that only one mode gives
(assert (= (fp.div r one three) (fp #b0 #b01111101 #b01010101010101010101010)))
(assert (not (= r RTZ)))
(check-sat)
; expect: sat
(get-value (r))
; expect: ((r RTN))
(assert (distinct r RTN))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
; the root of a square, where the square neither overflows nor loses bits below
(assert (fp.leq one x ((_ to_fp 8 24) RNE 16.0)))
(assert (fp.eq ((_ to_fp 8 24) RNE 1.5) (fp.sqrt RNE x)))
(check-sat)
; expect: sat
(assert (not (fp.eq x ((_ to_fp 8 24) RNE 2.25))))
(assert (fp.isInfinite (fp.mul RTP x ((_ to_fp 8 24) RNE 100000000000000000000000000000000000000.0))))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
; infinity only beyond the largest number, and never toward zero
(assert (not (fp.isInfinite x)))
(assert (not (fp.isNaN x)))
(assert (fp.isInfinite (fp.add RTZ x x)))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
; integral values only, and of one half to the even side
(assert (= y (fp.roundToIntegral RNE x)))
(assert (fp.lt ((_ to_fp 8 24) RNE 0.0) y one))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (= x ((_ to_fp 8 24) r ((_ to_fp 11 53) RNE 0.1))))
(assert (fp.lt x ((_ to_fp 8 24) RNE 0.1)))
(check-sat)
; expect: sat
(assert (or (= r RNE) (= r RTP)))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
; NaN is one value, and not equal to itself as a number
(assert (fp.isNaN x))
(assert (fp.isNaN y))
(push 1)
(assert (distinct x (fp.neg y)))
(check-sat)
; expect: unsat
(pop 1)
(assert (fp.leq x y))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
; a mode without a say has a value though all are in use
(declare-const s RoundingMode)
(assert (fp.leq ((_ to_fp 8 24) RTN x) ((_ to_fp 8 24) r 0.3)))
(assert (fp.isNaN (fp.mul s one (_ NaN 8 24))))
(check-sat)
; expect: sat
(get-value ((or (= s RNE) (= s RTZ) (= s RTP) (= s RTN))))
; expect: (((or (= s RNE) (= s RTZ) (= s RTP) (= s RTN)) true))
(pop 1)
