#pragma once

#include "capi/frame.h"
#include "report/user_words.h"
#include "search/frame/planner.h"
#include "search/heuristics/heuristic.h"

// What the functions that plan have in common.

namespace zorvel::capi {

/// The problem as planners and the validator expect it: InvalidParameterError for a fluent that it uses and
/// does not list.
model::ProblemPtr to_plannable(zorvel_problem problem);
/// `at_boundary` for what plans for a problem or looks at plans for it: the body gets the plannable problem,
/// and errors and warnings have the names that people wrote.
template <class Body>
auto at_planning_boundary(zorvel_problem problem, const Body& body) {
  return at_boundary([&] {
    const model::ProblemPtr object = to_plannable(problem);
    return report::in_user_words(object, [&] { return body(object); });
  });
}
/// The caller's function as the planners take it.
HCustom::Function to_heuristic(zorvel_heuristic_callback callback, void* user_data);
zorvel_search_outcome to_c(SearchOutcome outcome);
/// InvalidParameterError for a number below 0 or none at all.
SearchLimits to_limits(double seconds, double mebibytes);

}  // namespace zorvel::capi
