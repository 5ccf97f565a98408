#include "capi/planning.h"

#include <cmath>

#include "capi/listed_fluents.h"
#include "report/user_words.h"
#include "search/classical/iw_planner.h"
#include "search/classical/tsimple/tsimple_planner.h"
#include "search/forward/ftp_planner.h"
#include "validation/tt_validator.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;
using iw::IWPlanner;
using tp::ftp::FtpPlanner;
using tsimple::TSimplePlanner;

namespace zorvel::capi {

model::ProblemPtr to_plannable(zorvel_problem problem) {
  model::ProblemPtr object = to_cxx(problem);
  require_listed_fluents(*object);
  return object;
}

HCustom::Function to_heuristic(zorvel_heuristic_callback callback, void* user_data) {
  if (callback == nullptr) refuse_null("callback");
  return [=](const SearchState* state, const StateIndex& index) {
    const double value =
        callback({const_cast<SearchState*>(state)}, {const_cast<StateIndex*>(&index)}, user_data);
    if (!std::isfinite(value))  // it would break the order of the open list
      throw InvalidParameterError("The custom heuristic gave a value that is not finite: ") << value;
    return value;
  };
}

zorvel_search_outcome to_c(SearchOutcome outcome) {
  switch (outcome) {
    case SearchOutcome::plan_found: return ZORVEL_PLAN_FOUND;
    case SearchOutcome::no_plan: return ZORVEL_NO_PLAN;
    case SearchOutcome::time_limit: return ZORVEL_TIME_LIMIT;
    case SearchOutcome::memory_limit: return ZORVEL_MEMORY_LIMIT;
    case SearchOutcome::interrupted: return ZORVEL_INTERRUPTED;
    case SearchOutcome::incomplete: return ZORVEL_INCOMPLETE;
    case SearchOutcome::expansion_limit:
    case SearchOutcome::not_run: break;
  }
  throw InternalError("The search has ended without an outcome");
}

SearchLimits to_limits(double seconds, double mebibytes) {
  if (!(seconds >= 0)) throw InvalidParameterError("The argument 'seconds' is not a number of at least 0");
  if (!(mebibytes >= 0 && mebibytes < 1e12))
    throw InvalidParameterError("The argument 'mebibytes' is not a number of at least 0");
  SearchLimits limits;
  limits.seconds = seconds;
  limits.memory_bytes = static_cast<std::uint64_t>(mebibytes * 1024 * 1024);
  return limits;
}

}  // namespace zorvel::capi

namespace {

zorvel_potplan solve_in_partial_order(Planner& planner) {
  return to_handle<zorvel_potplan>(std::dynamic_pointer_cast<POTPlan>(planner.solve()));
}

zorvel_ttplan solve(FtpPlanner& planner) {
  return to_handle<zorvel_ttplan>(std::dynamic_pointer_cast<TimeTriggeredPlan>(planner.solve()));
}

}  // namespace

extern "C" {

zorvel_ttplan zorvel_do_ftp_planning(zorvel_problem problem) {
  return at_planning_boundary(problem, [&](const model::ProblemPtr& object) {
    FtpPlanner planner(object->env(), object);
    return solve(planner);
  });
}
zorvel_ttplan zorvel_do_ftp_planning_with_custom_heuristic(zorvel_problem problem,
                                                           zorvel_heuristic_callback callback,
                                                           void* user_data) {
  return at_planning_boundary(problem, [&](const model::ProblemPtr& object) {
    FtpPlanner planner(object->env(), object, to_heuristic(callback, user_data));
    return solve(planner);
  });
}
zorvel_ttplan zorvel_do_ftp_planning_with_limits(zorvel_problem problem, double seconds, double mebibytes,
                                                 zorvel_search_outcome* outcome) {
  return at_planning_boundary(problem, [&](const model::ProblemPtr& object) {
    zorvel_search_outcome& result = to_place(outcome, "outcome");
    FtpPlanner planner(object->env(), object);
    planner.set_limits(to_limits(seconds, mebibytes));
    const zorvel_ttplan plan = solve(planner);
    result = to_c(planner.outcome());
    return plan;
  });
}

zorvel_potplan zorvel_do_tsimple_planning(zorvel_problem problem) {
  return at_planning_boundary(problem, [&](const model::ProblemPtr& object) {
    TSimplePlanner planner(object->env(), object);
    return solve_in_partial_order(planner);
  });
}
zorvel_potplan zorvel_do_tsimple_planning_with_custom_heuristic(zorvel_problem problem,
                                                                zorvel_heuristic_callback callback,
                                                                void* user_data) {
  return at_planning_boundary(problem, [&](const model::ProblemPtr& object) {
    TSimplePlanner planner(object->env(), object, 0, to_heuristic(callback, user_data));
    return solve_in_partial_order(planner);
  });
}
zorvel_potplan zorvel_do_iw_planning(zorvel_problem problem) {
  return at_planning_boundary(problem, [&](const model::ProblemPtr& object) {
    IWPlanner planner(object->env(), object);
    return solve_in_partial_order(planner);
  });
}

int zorvel_ttplan_validate(zorvel_problem problem, zorvel_ttplan plan) {
  return at_planning_boundary(problem, [&](const model::ProblemPtr& object) {
    return TTValidator(object->env(), object).check_validity(to_cxx(plan)) ? 1 : 0;
  });
}
int zorvel_ttplan_explain(zorvel_problem problem, zorvel_ttplan plan, char** reason) {
  return at_planning_boundary(problem, [&](const model::ProblemPtr& object) {
    char*& place = to_place(reason, "reason");
    TTValidator validator(object->env(), object);
    const bool is_valid = validator.check_validity(to_cxx(plan));
    place = to_c_text(report::UserWords(*object).message(validator.reason()));
    return is_valid ? 1 : 0;
  });
}
}
