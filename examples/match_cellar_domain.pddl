; Required concurrency: fuses have to be mended in a dark cellar. A match burns for 5, mending takes 2 and needs light
; the whole time, and there is one hand. match_cellar.anml is the same problem as match_cellar_problem.pddl.

(define (domain match-cellar)
  (:requirements :typing :durative-actions)
  (:types match fuse)
  (:predicates
    (hand-free)
    (unused ?m - match)
    (light ?m - match)
    (mended ?f - fuse))

  (:durative-action light-match
    :parameters (?m - match)
    :duration (= ?duration 5)
    :condition (at start (unused ?m))
    :effect (and
      (at start (not (unused ?m)))
      (at start (light ?m))
      (at end (not (light ?m)))))

  (:durative-action mend-fuse
    :parameters (?f - fuse ?m - match)
    :duration (= ?duration 2)
    :condition (and
      (at start (hand-free))
      (over all (light ?m)))
    :effect (and
      (at start (not (hand-free)))
      (at end (hand-free))
      (at end (mended ?f)))))
