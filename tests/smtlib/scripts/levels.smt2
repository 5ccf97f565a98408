; What a level adds goes with it: assertions, names, also names of terms and sorts, and what assumptions stand for.
(set-logic QF_UFLRA)
(set-option :print-success true)
(declare-const x Real)
(set-option :print-success false)
(assert (! (< x 5) :named small))
(push 2)
(declare-const y Real)
(declare-sort S 0)
(declare-const s S)
(define-fun double ((a Real)) Real (+ a a))
(assert (= (double y) (+ (double x) (double 3))))
(check-sat)
(check-sat-assuming ((> y 9) (not small)))
(get-unsat-assumptions)
(check-sat-assuming (small (> y 9)))
(get-unsat-assumptions)
(check-sat-assuming (small (<= y 7) (> x 3.5)))
(get-value (y))
(get-info :assertion-stack-levels)
(pop 1)
(assert (> y 1))
(declare-sort T 0)
(declare-const s T)
(pop)
; The same names, with other sorts.
(declare-const y Bool)
(declare-const double Real)
(declare-fun s (Real) Bool)
(declare-sort S 0)
(assert (and y (s double) (not (s x)) (> double x)))
(check-sat)
(get-value (y (s x) (s double) (= double x) small))
(push)
(assert (= double x))
(check-sat)
(pop)
(check-sat)
(reset-assertions)
(declare-const x Bool)
(assert x)
(check-sat)
(check-sat-assuming ((not x)))
(reset)
(set-option :global-declarations true)
(set-logic QF_UF)
(push)
(declare-const p Bool)
(assert p)
(pop)
(assert (not p))
(check-sat)
(reset-assertions)
(assert p)
(check-sat)
(push)
(check-sat-assuming ((not p)))
(pop)
; The answer went with the level.
(get-unsat-assumptions)
(push)
(check-sat)
(pop)
(get-value (p))
;> success
;> success
;> sat
;> unsat
;> ((> y 9))
;> unsat
;> ((> y 9))
;> sat
;> ((y 7.0))
;> (:assertion-stack-levels 2)
;> (error "levels.smt2:22:12: unknown symbol 'y'")
;> sat
;> ((y true)
;>  ((s x) false)
;>  ((s double) true)
;>  ((= double x) false)
;>  (small true))
;> unsat
;> sat
;> sat
;> unsat
;> sat
;> sat
;> unsat
;> (error "levels.smt2:60:23: the last check was not answered unsat")
;> sat
;> (error "levels.smt2:64:12: there is no model: the last check was not answered sat, or more was asserted")
