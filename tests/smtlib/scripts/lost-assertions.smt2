; Where an assertion was lost to an error, `sat` would be about less than the script asserts.
(set-logic QF_LRA)
(declare-const x Real)
(assert (< x 0.0))
(check-sat)
(push 1)
(assert (> x (unknown-function 1.0)))
(check-sat) (get-info :reason-unknown)
(get-value (x))
(push 1)
(assert (> x {}))
(check-sat)
(pop 1)
(check-sat)
(assert (> x 0.0))
(check-sat)
(pop 1)
(check-sat)
(push 1)
(assert (> x true) :named n)
(pop 1)
(check-sat-assuming ((> x (- 1.0))))
(minimize (+ x true))
(check-sat)
(reset-assertions)
(check-sat)
(define-fun broken () Real true)
(check-sat)
(push 1)
(push one)
(pop 1)
(check-sat) (get-info :reason-unknown)
(reset)
(check-sat)
(assert (! broken :named p))
(check-sat)
(assert false)
(check-sat)
;> sat
;> (error "lost-assertions.smt2:7:15: unknown symbol 'unknown-function'")
;> unknown
;> (:reason-unknown "an assertion was lost: lost-assertions.smt2:7:15: unknown symbol 'unknown-function'")
;> (error "lost-assertions.smt2:9:12: there is no model: the last check was not answered sat, or more was asserted")
;> (error "lost-assertions.smt2:11:14: a character '{' where none such may stand")
;> unknown
;> unknown
;> unsat
;> sat
;> (error "lost-assertions.smt2:20:10: argument 2 of '>' is of sort Bool where Real or Int is expected")
;> sat
;> (error "lost-assertions.smt2:23:12: argument 2 of '+' is of sort Bool where Real or Int is expected")
;> unknown
;> sat
;> (error "lost-assertions.smt2:27:28: a body of sort Bool where Real is expected")
;> sat
;> (error "lost-assertions.smt2:30:7: expected a number of levels")
;> unknown
;> (:reason-unknown "an assertion was lost: lost-assertions.smt2:30:7: expected a number of levels")
;> sat
;> (error "lost-assertions.smt2:35:12: unknown symbol 'broken'")
;> unknown
;> unsat
