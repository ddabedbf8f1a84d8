; A negative number has no unsigned word: any word will do. In range there is one.
(set-logic QF_BVFP)
(declare-const x (_ FloatingPoint 5 11))
(declare-const b (_ BitVec 8))
(assert (= b ((_ fp.to_ubv 8) RTZ x)))
(push 1)
(assert (= x (fp #b1 #b10000 #b0000000000))) ; -2
(assert (distinct b #xfe))
(check-sat)
; expect: sat
(pop 1)
(assert (fp.leq ((_ to_fp 5 11) RNE 3.0) x))
(assert (fp.leq x ((_ to_fp 5 11) RNE 250.0)))
(push 1)
(assert (bvult b #x03))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (= b #xf3))
(check-sat)
; expect: sat
(pop 1)
(assert (bvult #xfa b))
(check-sat)
; expect: unsat
