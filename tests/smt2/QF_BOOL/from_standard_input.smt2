; The same program on standard input, ending in the middle of a command.
; stdin: yes
(declare-const a Bool)
(assert a)
(check-sat)
; expect: sat
(exit-not)
; expect: (error *)
(assert (not a))
(check-sat)
; expect: unsat
; expect: (error ? *)
; exit: 1
(assert (and a
