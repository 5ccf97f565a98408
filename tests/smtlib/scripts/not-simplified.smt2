; A negated numeral is a number even where terms stay as they are written.
(set-option :veskor.debug.term_simplifications false)
(set-logic QF_LIA)
(declare-const x Int)
(assert (= x (+ 2 (* (- 3) (div (- 7) (- 3))))))
(check-sat)
(get-value (x (div x (- 3)) (mod x (- 3)) (mod 7 (- (- 4))) (div 7 (- 0))))
(get-value (x (div x (- 3)) (mod x (- 3)) (mod 7 (- (- 4)))))
;> sat
;> (error "not-simplified.smt2:7:62: 'div' and 'mod' take no divisor but a number that is not 0")
;> ((x (- 7))
;>  ((div x (- 3)) 3)
;>  ((mod x (- 3)) 2)
;>  ((mod 7 (- (- 4))) 3))
