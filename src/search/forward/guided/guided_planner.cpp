#include "search/forward/guided/guided_planner.h"

#include <algorithm>
#include <array>
#include <cassert>

#include "core/errors.h"
#include "search/forward/guided/makespan_bound.h"
#include "search/forward/guided/plan_trimmer.h"
#include "search/forward/plain/ftp_successors.h"
#include "search/forward/self_overlap.h"
#include "transformers/plan_quality.h"
#include "transformers/without_metrics.h"

namespace zorvel::tp::ftp {

namespace {

// The improving searches, one after the other: what the makespan counts beside the estimates. The first goes
// straight for goals, as the search for the first plan, the others ever more for short plans.
constexpr std::array makespan_weights{1.0, 0.3, 3.0, 0.0};
constexpr std::size_t landmark_list = 1;
constexpr std::uint64_t first_slice = 2000, slice = 1000;  // expansions of the searches for the first plan
constexpr std::uint64_t first_budget = 2000;               // expansions; doubled in each cycle of weights
// What trimming a plan as it is found may cost, in moves taken: some tenths of a second. A plan of n moves
// needs n * n at most.
constexpr std::uint64_t most_trimming = 20'000;
// What looking for a shorter plan than the first at once may cost, in expansions, and in ground actions times
// expansions. The plans that it finds share what trimming may cost.
constexpr std::uint64_t most_polishing = 1000, most_polishing_work = 5'000'000;

}  // namespace

/// The problem in the form of the search, and what is known of it before any search.
struct GuidedPlanner::Prepared {
  Prepared(const FtpModel& source, std::shared_ptr<EvaluationTables> tables,
           std::unique_ptr<PlainState<double>> initial_state, std::vector<char> is_counted,
           std::function<bool()> must_stop)
      : problem(source, std::move(tables)),
        initial(std::move(initial_state)),
        values(values_of(problem, *initial)),
        model(problem, values.data(), in_force(*initial), std::move(is_counted)),
        estimates(problem, values.data(), std::move(must_stop)) {
    if (!estimates.is_complete()) return;
    openings.emplace(problem, [this](ActionId action) { return estimates.is_relevant(action); });
  }

  static std::vector<std::uint32_t> values_of(const DenseProblem& problem, const PlainState<double>& state) {
    std::vector<std::uint32_t> values;
    for (Node* node : state.assignments()) values.push_back(problem.values().id_of(node));
    return values;
  }
  static std::vector<std::uint32_t> in_force(const PlainState<double>& state) {
    std::vector<std::uint32_t> openers;
    for (const Event* opener : state.active_conditions) openers.push_back(opener->index);
    return openers;
  }
  DenseProblem problem;
  std::unique_ptr<PlainState<double>> initial;
  std::vector<std::uint32_t> values;
  GuidedModel model;
  GuidedEstimates estimates;
  std::optional<Openings> openings;  // none if the set-up was stopped
};

GuidedPlanner::GuidedPlanner(Environment& env, model::ProblemPtr problem, HCustom::Function custom_heuristic)
    : FtpPlanner(env, model::without_metrics(problem), std::move(custom_heuristic)),
      source_(std::move(problem)) {
  if (model::has_metric_on_final_values(*source_))
    env.warning_manager().warn("the metric of the problem is left out of account by this planner");
}

GuidedPlanner::~GuidedPlanner() = default;

const std::string& GuidedPlanner::name() const {
  static const std::string name = "Guided";
  return name;
}

std::optional<rational> GuidedPlanner::action_cost(const TimeTriggeredPlan& plan) const {
  return model::action_cost(source_, plan);
}

bool GuidedPlanner::may_miss_self_overlap() {
  // The estimates look at events, not at open actions: where they see no plan, there is none at all.
  if (!prepared_ || prepared_->estimates.is_unsolvable()) return false;
  return may_need_self_overlap(prepared_->problem, prepared_->values.data(),
                               [this](ActionId action) { return prepared_->estimates.is_relevant(action); });
}

std::shared_ptr<Plan> GuidedPlanner::solve_under(SearchGuard& guard) {
  std::shared_ptr<TimeTriggeredPlan> plan = next_under(guard);
  if (!plan) return nullptr;
  const std::uint64_t width = std::max<std::uint64_t>(1, prepared_->problem.action_count());
  polished_at_ = statistics_.expanded + std::min(most_polishing, most_polishing_work / width);
  trimming_left_ = most_trimming;
  while (!is_polished()) {
    auto shorter = next_under(guard);
    if (!shorter) break;
    const auto cost = action_cost(*plan);
    if (!cost || *action_cost(*shorter) <= *cost) plan = std::move(shorter);
  }
  polished_at_ = never;
  outcome_ = SearchOutcome::plan_found;
  return plan;
}

std::shared_ptr<TimeTriggeredPlan> GuidedPlanner::next() {
  SearchGuard guard(limits_);
  return next_under(guard);
}

std::shared_ptr<TimeTriggeredPlan> GuidedPlanner::next_under(SearchGuard& guard) {
  guard_ = &guard;
  const SearchGuard::Watch watch(guard, [this](SearchProgress& progress) {
    for (const auto& search : first_searches_.running) search->report(progress);
    if (search_) search_->report(progress);
  });
  try {
    return find_next();
  } catch (...) {
    // A heuristic of the user's own has failed on a state whose move is gone: searches that went on from here
    // would lose plans.
    first_searches_ = {};
    search_.reset();
    throw;
  }
}

std::shared_ptr<TimeTriggeredPlan> GuidedPlanner::find_next() {
  outcome_ = SearchOutcome::no_plan;
  if (is_exhausted_ || !prepare()) return nullptr;
  return best_plan_ ? find_better() : find_first();
}

/// By action: whether the caller's plan has a step for each of its steps.
std::vector<char> GuidedPlanner::counted_actions() const {
  std::vector<char> is_counted(model().actions().size(), 1);
  if (std::ranges::none_of(transformers(),
                           [](const auto& transformer) { return transformer->drops_steps(); }))
    return is_counted;
  for (ActionId id = 0; id < is_counted.size(); ++id) {
    auto plan = std::make_shared<TimeTriggeredPlan>(env());
    plan->add_step(std::make_shared<TimeTriggeredStep>(rational(1), model().actions()[id].action,
                                                       std::vector<Node*>{}, rational(1)));
    is_counted[id] = map_back(plan)->size() > 0 ? 1 : 0;
  }
  return is_counted;
}

bool GuidedPlanner::prepare() {
  if (!prepared_) {
    auto initial = Successors<double>(model(), {}, 1).initial_world();
    if (!initial) return false;
    auto prepared = std::make_unique<Prepared>(model(), tables(), std::move(initial), counted_actions(),
                                               [this] { return guard_->must_stop(1); });
    if (must_stop()) return false;
    assert(prepared->openings);  // only a stop leaves the set-up without them
    if (auto custom = make_custom_heuristic()) prepared->estimates.replace_by(std::move(custom));
    prepared_ = std::move(prepared);
  }
  return !prepared_->estimates.is_unsolvable();
}

bool GuidedPlanner::must_stop() {
  if (!guard_->must_stop_now()) return false;
  outcome_ = guard_->outcome();
  return true;
}

void GuidedPlanner::add(const SearchStatistics& before, const SearchStatistics& after) {
  SearchStatistics more = after;
  assert(before.expanded <= after.expanded && before.moves_taken <= after.moves_taken);
  more.expanded -= before.expanded;
  more.stored -= before.stored;
  more.evaluated -= before.evaluated;
  more.moves_offered -= before.moves_offered;
  more.moves_taken -= before.moves_taken;
  more.seconds -= before.seconds;
  more.processor_seconds -= before.processor_seconds;
  statistics_ += more;
}

std::shared_ptr<TimeTriggeredPlan> GuidedPlanner::accept(std::vector<Move> moves,
                                                         const std::vector<const Event*>& events) {
  std::shared_ptr<TimeTriggeredPlan> plan;
  try {
    plan = get_plan_from_event_list(events, true);
  } catch (const TemporalNetworkIsUnsat&) {
    assert(!"a path of the guided search has no schedule in causal order");
    plan = get_plan_from_event_list(events, false);
  }
  plan = std::dynamic_pointer_cast<TimeTriggeredPlan>(map_back(plan));
  assert(plan != nullptr);
  const rational makespan = model::makespan(*plan);
  assert(makespan >= rational(0));
  if (best_plan_ && makespan >= best_makespan_) return nullptr;
  best_moves_ = std::move(moves);
  best_plan_ = plan;
  best_makespan_ = makespan;
  is_trimmed_ = false;
  outcome_ = SearchOutcome::plan_found;
  return plan;
}

/// The plan that a search has found, without the moves that it does not need: a greedy search wanders.
std::shared_ptr<TimeTriggeredPlan> GuidedPlanner::accept_trimmed(const std::vector<Move>& moves,
                                                                 const std::vector<const Event*>& events) {
  PlanTrimmer trimmer(prepared_->model, *prepared_->openings, *prepared_->initial);
  if (polished_at_ == never) trimming_left_ = most_trimming;
  auto trimmed = trimmer.trim(moves, [&] {
    if (trimming_left_ < moves.size() || guard_->must_stop_now()) return true;
    trimming_left_ -= moves.size();
    return false;
  });
  if (const auto makespan = trimmer.makespan(trimmed)) search_bound_ = std::min(search_bound_, *makespan);
  assert(trimmed.size() <= moves.size());
  if (trimmed.size() == moves.size()) return accept(moves, events);
  const auto needed_events = trimmer.events(trimmed);
  return accept(std::move(trimmed), needed_events);
}

/// The searches for the first plan, in the order in which they come in.
///
/// A path in total order makes the fewest states, but its atomic moves do not reach back across an event that
/// was taken before, a timed one above all, and none of its actions starts at the very moment of an effect:
/// that is left to the causal order. Landmarks lead some problems astray that the other estimates alone solve
/// at once.
std::deque<GuidedSearch::Options> GuidedPlanner::first_options() const {
  std::deque<GuidedSearch::Options> options;
  const bool has_timed_events = !prepared_->problem.chain(DenseProblem::start_chain).events.empty();
  if ((parts_.total_order && !has_timed_events) || !parts_.causal_order)
    options.push_back(search_options(PathOrder::total, false));
  if (parts_.causal_order) options.push_back(search_options(PathOrder::causal, false));
  const bool has_others = std::ranges::count(parts_.lists, true) > 1 && !prepared_->estimates.has_custom();
  if (!parts_.lists[landmark_list] || !has_others) return options;
  options.push_back(options.front());
  options.back().parts.lists[landmark_list] = false;
  return options;
}

GuidedSearch::Options GuidedPlanner::search_options(PathOrder order, bool is_bounded) const {
  return {{order, is_bounded, parts_.protection}, parts_};
}

std::shared_ptr<TimeTriggeredPlan> GuidedPlanner::find_first() {
  FirstSearches& first = first_searches_;
  if (!first.have_begun) first.waiting = first_options();
  first.have_begun = true;
  while (true) {
    if (first.turn == first.running.size()) {
      // One comes in at the end of each round, so that it costs those before it at most half of their speed.
      if (!first.waiting.empty()) {
        first.running.push_back(std::make_unique<GuidedSearch>(prepared_->model, *prepared_->openings,
                                                               prepared_->estimates, first.waiting.front()));
        first.waiting.pop_front();
      } else {
        first.turn = 0;
      }
    }
    assert(first.turn < first.running.size());
    GuidedSearch& search = *first.running[first.turn];
    const bool is_alone = first.running.size() == 1;
    const SearchStatistics before = search.statistics();
    outcome_ = search.run(*prepared_->initial, *guard_, is_alone ? first_slice : slice);
    add(before, search.statistics());
    if (outcome_ == SearchOutcome::plan_found) {
      auto plan = accept_trimmed(search.moves(), search.events());
      first = {};
      bound_ = least_makespan(prepared_->model, prepared_->values.data());
      return plan;
    }
    if (outcome_ == SearchOutcome::no_plan && search.options().states.order == PathOrder::total) {
      // Nor will the others in total order find one.
      const auto is_total = [](const GuidedSearch::Options& options) {
        return options.states.order == PathOrder::total;
      };
      std::erase_if(first.running, [&](const auto& running) { return is_total(running->options()); });
      std::erase_if(first.waiting, is_total);
      first.turn = first.running.size();
      if (first.running.empty() && first.waiting.empty()) {
        first = {};
        outcome_ = SearchOutcome::incomplete;
        return nullptr;
      }
    } else if (outcome_ == SearchOutcome::expansion_limit) {
      ++first.turn;
    } else {
      is_exhausted_ = outcome_ == SearchOutcome::no_plan;
      return nullptr;
    }
    if (must_stop()) return nullptr;
  }
}

std::shared_ptr<TimeTriggeredPlan> GuidedPlanner::trim_best() {
  PlanTrimmer trimmer(prepared_->model, *prepared_->openings, *prepared_->initial);
  is_trimmed_ = true;
  auto moves = trimmer.trim(best_moves_, [this] { return must_stop(); });
  const auto makespan = trimmer.makespan(moves);
  assert(makespan);
  if (makespan) search_bound_ = *makespan;
  const auto events = trimmer.events(moves);
  auto plan = accept(moves, events);
  if (!plan) best_moves_ = std::move(moves);  // no shorter, but with fewer steps
  is_trimmed_ = true;
  return plan;
}

std::shared_ptr<TimeTriggeredPlan> GuidedPlanner::search_better() {
  if (!search_) {
    const double weight = makespan_weights[round_ % makespan_weights.size()];
    budget_ = first_budget << std::min<unsigned>(round_ / makespan_weights.size(), 40);
    ++round_;
    auto options = search_options(parts_.causal_order ? PathOrder::causal : PathOrder::total, true);
    options.makespan_weight = weight;
    search_ =
        std::make_unique<GuidedSearch>(prepared_->model, *prepared_->openings, prepared_->estimates, options);
  }
  assert(best_plan_ != nullptr && statistics_.expanded < polished_at_);
  search_->set_bound(search_bound_);
  const SearchStatistics before = search_->statistics();
  const SearchOutcome outcome =
      search_->run(*prepared_->initial, *guard_, std::min(budget_, polished_at_ - statistics_.expanded));
  add(before, search_->statistics());
  switch (outcome) {
    case SearchOutcome::plan_found: {
      search_bound_ = std::min(search_bound_, search_->makespan());
      return accept_trimmed(search_->moves(), search_->events());
    }
    case SearchOutcome::no_plan:
      if (!parts_.causal_order) {
        search_.reset();
        outcome_ = SearchOutcome::incomplete;
        return nullptr;
      }
      is_exhausted_ = true;
      bound_ = static_cast<double>(best_makespan_);
      break;
    case SearchOutcome::expansion_limit:
      if (is_polished()) return nullptr;
      break;
    default: outcome_ = outcome; return nullptr;
  }
  search_.reset();
  return nullptr;
}

std::shared_ptr<TimeTriggeredPlan> GuidedPlanner::find_better() {
  outcome_ = SearchOutcome::not_run;
  while (!is_polished() && !must_stop()) {
    assert(bound_ <= static_cast<double>(best_makespan_) + 1e-6);
    if (static_cast<double>(best_makespan_) <= bound_ + 1e-9) is_exhausted_ = true;
    if (is_exhausted_) {
      outcome_ = SearchOutcome::no_plan;
      return nullptr;
    }
    // Trimming takes as long as the plan is long, squared.
    const bool must_trim = !is_trimmed_ && polished_at_ == never;
    auto plan = must_trim ? trim_best() : search_better();
    if (plan || outcome_ != SearchOutcome::not_run) return plan;
  }
  return nullptr;
}

}  // namespace zorvel::tp::ftp
