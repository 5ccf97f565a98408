; Commands without a formula.
(set-option :print-success true)
(set-info :status sat)
(set-info :source |free
text with "quotes" and (parentheses)|)
(set-info :notes (a list (of :things 1.5 #xff "s")))
(set-info :empty)
(set-option :random-seed 5)
(set-option :veskor.dpll.restart_strategy 2)
(set-option :veskor.dpll.restart_strategy 99)
(set-option :veskor.no.such.key 1)
(set-option :diagnostic-output-channel "stderr")
(set-logic QF_UF)
(declare-fun p () Bool) ; a comment (with a parenthesis
(echo "a ""quoted"" word
on two lines")
(get-info :name)
(get-info :error-behavior)
(get-info :no-such-info)
(check-sat-assuming (p (not p) p true))
(get-unsat-assumptions)
(define-sort Truth () Bool)
(define-fun implies ((a Truth) (b Bool)) Truth (=> a b))
(check-sat-assuming ((implies p (not p)) (implies (not p) p)))
(get-unsat-assumptions)
(check-sat-assuming ((implies p (not p))))
(get-value (p (implies p false)))
(exit)
(echo "not reached")
;> success
;> success
;> success
;> success
;> success
;> success
;> success
;> (error "commands.smt2:10:13: number out of range for option: dpll.restart_strategy, value: 99, command-line: -dpll.restart_strategy=99")
;> (error "commands.smt2:11:13: unknown option: no.such.key, value: 1, command-line: -no.such.key=1")
;> unsupported
;> success
;> success
;> "a ""quoted"" word
;> on two lines"
;> (:name "Veskor")
;> (:error-behavior continued-execution)
;> unsupported
;> unsat
;> (p (not p))
;> success
;> success
;> unsat
;> ((implies p (not p)) (implies (not p) p))
;> sat
;> ((p false)
;>  ((implies p false) true))
;> success
