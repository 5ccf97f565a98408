// The guided search, planning by the name of a planner, and searches that give one plan after the other.

#include <atomic>
#include <chrono>

#include "capi/planning.h"
#include "search/engines/planner_table.h"
#include "search/forward/guided/guided_planner.h"
#include "validation/tt_validator.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;
using tp::ftp::GuidedPlanner;

namespace zorvel::capi {

/// What a zorvel_search points to.
class SearchSession {
 public:
  SearchSession(const model::ProblemPtr& problem, std::uint64_t memory_bytes,
                HCustom::Function heuristic = {})
      : problem_(problem),
        planner_(problem->env(), problem, std::move(heuristic)),
        memory_bytes_(memory_bytes) {}

  std::shared_ptr<TimeTriggeredPlan> next(double seconds, zorvel_search_outcome& outcome) {
    // Time is counted for each call, memory for the whole search: what earlier calls stored is still there.
    SearchLimits limits;
    limits.seconds = seconds;
    limits.memory_bytes = memory_bytes_;
    limits.on_progress = [this](const SearchProgress& progress) { progress_ = progress; };
    planner_.set_limits(std::move(limits));
    auto plan = report::in_user_words(problem_, [this] { return planner_.next(); });
    outcome = to_c(planner_.outcome());
    return plan;
  }
  const GuidedPlanner& planner() const { return planner_; }
  const SearchProgress& progress() const { return progress_; }

 private:
  model::ProblemPtr problem_;
  GuidedPlanner planner_;
  std::uint64_t memory_bytes_;
  SearchProgress progress_;
};

template <>
struct Cell<zorvel_search> {
  using Object = SearchSession;
};

}  // namespace zorvel::capi

namespace {

zorvel_search_progress to_c(const SearchProgress& progress) {
  return {progress.expanded, progress.open, progress.stored_bytes, progress.best_estimate, progress.seconds};
}

const PlannerRow& planner_row(const std::string& name) {
  const PlannerRow* const row = find_planner(name);
  if (row == nullptr)
    throw InvalidParameterError("There is no planner '") << name << "'; there are " << planner_names();
  return *row;
}

std::shared_ptr<TimeTriggeredPlan> validated(const model::ProblemPtr& problem,
                                             const std::shared_ptr<Plan>& plan) {
  auto schedule = std::make_shared<TimeTriggeredPlan>(plan);
  // Partial orders are scheduled here, behind all that has tested them.
  TTValidator validator(problem->env(), problem);
  if (!validator.check_validity(schedule))
    throw InternalError("The schedule of the plan is not valid: ") << validator.reason();
  return schedule;
}

zorvel_ttplan solve(GuidedPlanner& planner) {
  return to_handle<zorvel_ttplan>(std::dynamic_pointer_cast<TimeTriggeredPlan>(planner.solve()));
}

zorvel_ttplan solve_with_limits(const model::ProblemPtr& object, HCustom::Function heuristic, double seconds,
                                double mebibytes, zorvel_search_outcome* outcome) {
  zorvel_search_outcome& result = to_place(outcome, "outcome");
  GuidedPlanner planner(object->env(), object, std::move(heuristic));
  planner.set_limits(to_limits(seconds, mebibytes));
  const zorvel_ttplan plan = solve(planner);
  result = capi::to_c(planner.outcome());
  return plan;
}

/// Runs the planner, which ends when `callback` says so.
zorvel_ttplan solve_with_progress(Planner& planner, const model::ProblemPtr& problem, SearchLimits limits,
                                  zorvel_progress_callback callback, void* user_data,
                                  zorvel_search_outcome& outcome) {
  // The search is not left from within the callback: it ends by its own poll and keeps what it has found.
  std::atomic<bool> is_interrupted = false;
  limits.interrupted = &is_interrupted;
  if (callback != nullptr)
    limits.on_progress = [&](const SearchProgress& progress) {
      const zorvel_search_progress shown = ::to_c(progress);
      if (callback(&shown, user_data) != 0) is_interrupted = true;
    };
  planner.set_limits(std::move(limits));
  const auto plan = planner.solve();
  const auto schedule = plan ? validated(problem, plan) : nullptr;
  outcome = capi::to_c(planner.outcome());
  return to_handle<zorvel_ttplan>(schedule);
}

zorvel_search new_session(const model::ProblemPtr& object, HCustom::Function heuristic,
                          const char* const* names, const char* const* values, int n) {
  const auto keys = to_texts(names, n, "names"), texts = to_texts(values, n, "values");
  double mebibytes = 0;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (keys[i] != "memory-limit")
      throw InvalidParameterError("There is no option '")
          << keys[i] << "' of a search; there is 'memory-limit'";
    char* end = nullptr;
    mebibytes = std::strtod(texts[i].c_str(), &end);
    if (texts[i].empty() || *end != '\0')
      throw InvalidParameterError("The option 'memory-limit' of a search must be a number, not '")
          << texts[i] << "'";
  }
  return to_handle<zorvel_search>(
      std::make_shared<SearchSession>(object, to_limits(0, mebibytes).memory_bytes, std::move(heuristic)));
}

}  // namespace

extern "C" {

zorvel_ttplan zorvel_do_guided_planning(zorvel_problem problem) {
  return at_planning_boundary(problem, [&](const model::ProblemPtr& object) {
    GuidedPlanner planner(object->env(), object);
    return solve(planner);
  });
}
zorvel_ttplan zorvel_do_guided_planning_with_limits(zorvel_problem problem, double seconds, double mebibytes,
                                                    zorvel_search_outcome* outcome) {
  return at_planning_boundary(problem, [&](const model::ProblemPtr& object) {
    return solve_with_limits(object, {}, seconds, mebibytes, outcome);
  });
}
zorvel_ttplan zorvel_do_guided_planning_with_custom_heuristic(zorvel_problem problem,
                                                              zorvel_heuristic_callback callback,
                                                              void* user_data) {
  return at_planning_boundary(problem, [&](const model::ProblemPtr& object) {
    GuidedPlanner planner(object->env(), object, to_heuristic(callback, user_data));
    return solve(planner);
  });
}
zorvel_ttplan zorvel_do_guided_planning_with_custom_heuristic_and_limits(zorvel_problem problem,
                                                                         zorvel_heuristic_callback callback,
                                                                         void* user_data, double seconds,
                                                                         double mebibytes,
                                                                         zorvel_search_outcome* outcome) {
  return at_planning_boundary(problem, [&](const model::ProblemPtr& object) {
    return solve_with_limits(object, to_heuristic(callback, user_data), seconds, mebibytes, outcome);
  });
}

zorvel_ttplan zorvel_do_planning_with_limits(zorvel_problem problem, const char* algorithm, double seconds,
                                             double mebibytes, zorvel_progress_callback callback,
                                             void* user_data, zorvel_search_outcome* outcome) {
  return at_planning_boundary(problem, [&](const model::ProblemPtr& object) {
    zorvel_search_outcome& result = to_place(outcome, "outcome");
    const PlannerRow& row = planner_row(to_text(algorithm, "algorithm"));
    const auto planner = row.make(object->env(), object);
    return solve_with_progress(*planner, object, to_limits(seconds, mebibytes), callback, user_data, result);
  });
}
zorvel_ttplan zorvel_do_planning_with_custom_heuristic_and_limits(
    zorvel_problem problem, const char* algorithm, zorvel_heuristic_callback heuristic, void* heuristic_data,
    double seconds, double mebibytes, zorvel_progress_callback callback, void* user_data,
    zorvel_search_outcome* outcome) {
  return at_planning_boundary(problem, [&](const model::ProblemPtr& object) {
    zorvel_search_outcome& result = to_place(outcome, "outcome");
    const PlannerRow& row = planner_row(to_text(algorithm, "algorithm"));
    const auto planner =
        make_with_heuristic(row, object->env(), object, to_heuristic(heuristic, heuristic_data));
    return solve_with_progress(*planner, object, to_limits(seconds, mebibytes), callback, user_data, result);
  });
}

zorvel_search zorvel_search_new(zorvel_problem problem, const char* const* names, const char* const* values,
                                int n) {
  return at_planning_boundary(
      problem, [&](const model::ProblemPtr& object) { return new_session(object, {}, names, values, n); });
}
zorvel_search zorvel_search_new_with_custom_heuristic(zorvel_problem problem,
                                                      zorvel_heuristic_callback callback, void* user_data,
                                                      const char* const* names, const char* const* values,
                                                      int n) {
  return at_planning_boundary(problem, [&](const model::ProblemPtr& object) {
    return new_session(object, to_heuristic(callback, user_data), names, values, n);
  });
}
zorvel_ttplan zorvel_search_next(zorvel_search search, double seconds, zorvel_search_outcome* outcome) {
  return at_boundary([&] {
    const auto session = to_cxx(search);
    zorvel_search_outcome& result = to_place(outcome, "outcome");
    return to_handle<zorvel_ttplan>(session->next(to_limits(seconds, 0).seconds, result));
  });
}
double zorvel_search_get_bound(zorvel_search search) {
  return at_boundary([&] { return to_cxx(search)->planner().makespan_bound(); });
}
int zorvel_search_get_progress(zorvel_search search, zorvel_search_progress* progress) {
  return at_boundary([&] {
    to_place(progress, "progress") = ::to_c(to_cxx(search)->progress());
    return 0;
  });
}
int zorvel_search_is_error(zorvel_search search) { return search.repr == nullptr ? 1 : 0; }
int zorvel_search_destroy(zorvel_search search) {
  return at_boundary([&] {
    destroy(search);
    return 0;
  });
}

zorvel_ttplan zorvel_do_anytime_planning(zorvel_problem problem, double seconds, double mebibytes,
                                         zorvel_plan_callback callback, void* user_data,
                                         zorvel_search_outcome* outcome) {
  return at_planning_boundary(problem, [&](const model::ProblemPtr& object) {
    zorvel_search_outcome& result = to_place(outcome, "outcome");
    const SearchLimits limits = to_limits(seconds, mebibytes);
    const auto started = std::chrono::steady_clock::now();
    const auto passed = [&] {
      return std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    };
    SearchSession session(object, limits.memory_bytes);
    zorvel_search_outcome state = ZORVEL_PLAN_FOUND;
    bool goes_on = true;
    while (goes_on) {
      // why not 0: that would be no limit.
      const double left = limits.seconds > 0 ? std::max(limits.seconds - passed(), 1e-6) : 0;
      const auto plan = session.next(left, state);
      if (!plan) break;
      if (callback == nullptr) continue;
      const zorvel_ttplan handle = to_handle<zorvel_ttplan>(plan);
      goes_on =
          callback(handle, static_cast<double>(session.planner().best_makespan()), passed(), user_data) == 0;
      destroy(handle);
    }
    if (!goes_on) state = ZORVEL_INTERRUPTED;
    if (session.planner().is_proved_optimal()) state = ZORVEL_PLAN_FOUND;
    result = state;
    return to_handle<zorvel_ttplan>(session.planner().best_plan());
  });
}
}
