; The lazy solver of floats has no bits to share.
(set-option :config "theory.fp.mode=0")
(set-logic QF_BVFP)
(declare-const b (_ BitVec 16))
(assert (fp.isNaN ((_ to_fp 5 11) b)))
(check-sat)
; expect: (error *)
; exit: 1
