; Equations, rounded bounds and residues decide what no branch on a variable would come to an end with.
(declare-const x Int)
(declare-const y Int)
(declare-const z Int)
(declare-const r Real)
(declare-const b Bool)
(declare-fun f (Int) Int)
(push 1)(assert (= (+ (* 2 x) (* 4 y)) 1))(check-sat)(pop 1)
(push 1)(assert (and (= (+ (* 3 x) (* (- 3) y) (* (- 1) z)) 0) (<= 1 z 2)))(check-sat)(pop 1)
(push 1)(assert (and (= (+ (* 3 x) (* (- 3) y) (* (- 1) z)) 0) (<= 1 z 3)))(check-sat)(pop 1)
(push 1)(assert (and (<= (- (* 3 x) (* 3 y) z) 0) (>= (- (* 3 x) (* 3 y) z) 0) (<= 1 z 2)))(check-sat)(pop 1)
(push 1)(assert (and (= (+ (* 2 x) (* 3 y)) 1) (<= 0 x 1) (<= 0 y 1)))(check-sat)(pop 1)
(push 1)(assert (<= 3 (- (* 90 x) (* 84 y)) 5))(check-sat)(pop 1)
(push 1)(assert (= (+ (* 6 x) (* 10 y) (* 15 z)) 1))(check-sat)(pop 1)
(push 1)(assert (and (= (+ (* 6 x) (* 10 y)) (* 15 z)) (= (mod z 2) 1)))(check-sat)(pop 1)
(push 1)(assert (and (< 0 x) (< x 1)))(check-sat)(pop 1)
(push 1)(assert (and (= x (+ r 0.5)) (< 0.0 r 0.5)))(check-sat)(pop 1)
(push 1)(assert (and (= x (+ r 0.5)) (< 0.0 r 1.5)))(check-sat)(pop 1)
(push 1)(assert (and (= (mod x 7) 3) (= (mod x 5) 4) (= (mod x 6) 2) (> x 1000000)))(check-sat)(pop 1)
(push 1)(assert (and (= (mod x 6) 3) (= (mod x 4) 2)))(check-sat)(pop 1)
(push 1)(assert (and (= (+ x y) 0.5)))(check-sat)(pop 1)
(push 1)(assert (and (= (f (* 2 x)) 1) (= (f (+ y y)) 2) (= (+ (* 4 x) z) (* 4 y)) (<= 0 z 3)))(check-sat)(pop 1)
(push 1)(assert (and (distinct (f x) (f y) (f z)) (<= 0 x 1) (<= 0 y 1) (<= 0 z 1)))(check-sat)(pop 1)
(push 1)(assert (and (distinct (f x) (f y) (f z)) (<= 0 x 2) (<= 0 y 2) (<= 0 z 2) (< (* 2 x) (+ y z))))(check-sat)(pop 1)
(assert (let ((n (ite b 2 5))) (and (= x n) (> 2 (f n)) (<= n r))))(check-sat-assuming (b))
;> unsat
;> unsat
;> sat
;> unsat
;> unsat
;> unsat
;> sat
;> unsat
;> unsat
;> unsat
;> sat
;> sat
;> unsat
;> unsat
;> unsat
;> unsat
;> sat
;> sat
