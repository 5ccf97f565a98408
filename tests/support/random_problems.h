#pragma once

#include "support/timed_problem.h"

namespace zorvel::timed {

/// What random problems may contain. Which of it one problem contains is drawn.
struct Features {
  int fewest_actions = 2, most_actions = 4;
  int fluents = 4;                   ///< Boolean ones; some of them take an object if there are objects.
  bool has_parameters = false;       ///< Objects, fluents over them, actions with a parameter.
  bool has_ranges = true;            ///< Durations that the plan chooses.
  bool has_offsets = true;           ///< Conditions and effects at `start + k` and `end - k`.
  bool has_formulas = true;          ///< Conditions that are more than a literal.
  bool has_timed_effects = true;     ///< `[5] p := true` of the problem.
  bool has_timed_conditions = true;  ///< `[2, 6] p` of the problem.
  bool has_numbers = true;           ///< An integer fluent that is tested, counted, and read by durations.
  bool has_contains = false;         ///< `[2, 6] contains p` of the problem.
  bool has_uncertain_durations = false;  ///< Durations that the world chooses; then no plan is known.
  /// The problem is written around a plan of about as many steps as it has actions, most of which run at the
  /// same time and use what others bring about. That plan is `Problem::plan`, and it is spread out. Otherwise
  /// conditions are drawn freely, and there may be no plan.
  bool has_plan = true;
};

/// Six to eight actions around a plan in which several run at once; one problem in ten has twelve to sixteen.
Features overlapping(unsigned seed);

/// The same problem for the same seed and features, on every machine.
Problem random_problem(unsigned seed, const Features& features);

/// A plan of at most `most_steps` steps that start at quarters of a unit before `horizon` units, spread out.
/// All such plans are tried, so none is left if this finds none; durations are the shortest, the longest and
/// one between. For problems of few actions only: the work is a power of the steps. Not for durations that
/// the world chooses.
std::optional<std::vector<Step>> find_plan(const Problem& problem, int most_steps, int horizon);

}  // namespace zorvel::timed
