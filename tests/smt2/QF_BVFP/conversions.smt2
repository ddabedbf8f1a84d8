; Floats and bit-vectors below one another.
(set-option :produce-models true)
(set-logic QF_BVFP)
(declare-const b (_ BitVec 16))
(declare-const c (_ BitVec 8))
(declare-const x Float16)
(declare-const y Float16)
(declare-const r RoundingMode)
(push 1)
; a pattern of a NaN is not what the float gives back, other patterns are
(assert (= x ((_ to_fp 5 11) b)))
(assert (not (fp.isNaN x)))
(assert (not (= ((_ to_fp 5 11) (bvxor b #x8000)) (fp.neg x))))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
; small integers survive there and back, through floats and words in turn
(define-fun there ((w (_ BitVec 8))) Float16 ((_ to_fp 5 11) r w))
(define-fun back ((f Float16)) (_ BitVec 8) ((_ fp.to_sbv 8) r f))
(assert (distinct (back (there (bvadd #x01 (back (there c))))) (bvadd c #x01)))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
; one rounding mode in both theories
(assert (= ((_ fp.to_sbv 8) r ((_ to_fp 5 11) RNE 2.5)) #x03))
(assert (= (fp.add r ((_ to_fp 5 11) RNE 1.0) ((_ to_fp 5 11) RNE 0.0001)) ((_ to_fp 5 11) RNE 1.0)))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
(assert (= ((_ fp.to_sbv 8) r ((_ to_fp 5 11) RNE 2.5)) #x03))
(check-sat)
; expect: sat
(get-value (r))
; expect: ((r RTP))
(pop 1)
(push 1)
; without an integer the result is open, but a function of the arguments
(assert (fp.isInfinite x))
(assert (= y (fp.abs x)))
(assert (= ((_ fp.to_sbv 8) r x) #x07))
(push 1)
(assert (= ((_ fp.to_sbv 8) r y) #x09))
(check-sat)
; expect: sat
(pop 1)
(assert (fp.isPositive x))
(assert (distinct ((_ fp.to_sbv 8) r y) #x07))
(check-sat)
; expect: unsat
(pop 1)
(push 1)
; the least integer fits, its negative does not
(assert (= x ((_ to_fp 5 11) RNE 128.0)))
(push 1)
(assert (distinct ((_ fp.to_sbv 8) RNE (fp.neg x)) #x80))
(check-sat)
; expect: unsat
(pop 1)
(assert (distinct ((_ fp.to_sbv 8) RNE x) #x80))
(check-sat)
; expect: sat
(pop 1)
