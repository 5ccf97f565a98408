#pragma once

#include <deque>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "plans/time_triggered_plan.h"
#include "search/forward/ftp_planner.h"
#include "search/forward/guided/guided_search.h"

namespace zorvel::tp::ftp {

/// The guided temporal planner: a first plan as soon as possible, by GuidedSearch, and after it, as long as
/// the caller asks, plans of less and less makespan.
///
/// The makespan of a plan is the latest end of one of its steps. Every plan is replayed in exact numbers,
/// with only the order that its events need among each other, before it is handed out.
///
/// Metrics do not steer the search: plans get shorter whether or not the problem asks for the least makespan,
/// and `action_cost` tells what each costs. Metrics on final values are left out, with a warning.
class GuidedPlanner : public FtpPlanner {
 public:
  /// `custom_heuristic` may be empty; otherwise it takes the place of the three estimates, its dead ends are
  /// believed, and no action is preferred. It needs a flat problem without sets. UnsupportedProblemError for
  /// a problem with a feature that the planner cannot handle.
  GuidedPlanner(Environment& env, model::ProblemPtr problem, HCustom::Function custom_heuristic = {});
  ~GuidedPlanner() override;

  const std::string& name() const override;
  bool may_miss_self_overlap() override;
  /// The first plan, or a shorter one that a little more work finds: the same on every machine, and some
  /// tenths of a second at most.
  std::shared_ptr<Plan> solve_under(SearchGuard& guard) override;
  /// Leaves out parts of the search, to see what they are worth. Before the first search.
  void set_parts(const GuidedParts& parts) { parts_ = parts; }

  /// The first plan, then at each call one of less makespan than all before; null with the `outcome()` when a
  /// limit was reached, or when the search ended: `no_plan` without a plan, and after one where it is proved
  /// that no plan takes less time. The limits are those of this call; what was learnt stays for the next one.
  std::shared_ptr<TimeTriggeredPlan> next();

  /// The plan found last, null without one, and its makespan.
  const std::shared_ptr<TimeTriggeredPlan>& best_plan() const { return best_plan_; }
  const rational& best_makespan() const { return best_makespan_; }
  /// What the steps of a plan cost, by the problem's metric of action costs; none without one.
  std::optional<rational> action_cost(const TimeTriggeredPlan& plan) const;
  /// No plan in which no action overlaps itself, with this epsilon, takes less. Meaningful after the first
  /// plan.
  double makespan_bound() const { return may_have_lost_plans() ? 0.0 : bound_; }
  /// Whether `next` has ended with a proof that the best plan is one of least makespan.
  bool is_proved_optimal() const { return is_exhausted_ && best_plan_ != nullptr && !may_have_lost_plans(); }

 private:
  struct Prepared;
  /// The searches for the first plan, which share the time in turns.
  struct FirstSearches {
    std::vector<std::unique_ptr<GuidedSearch>> running;
    std::deque<GuidedSearch::Options> waiting;
    std::size_t turn = 0;
    bool have_begun = false;
  };

  bool prepare();
  std::vector<char> counted_actions() const;
  std::shared_ptr<TimeTriggeredPlan> find_first();
  std::shared_ptr<TimeTriggeredPlan> find_better();
  std::shared_ptr<TimeTriggeredPlan> trim_best();
  std::shared_ptr<TimeTriggeredPlan> search_better();
  std::deque<GuidedSearch::Options> first_options() const;
  GuidedSearch::Options search_options(PathOrder order, bool is_bounded) const;
  /// Replays the moves; null if their plan takes no less time than the best one.
  std::shared_ptr<TimeTriggeredPlan> accept(std::vector<Move> moves, const std::vector<const Event*>& events);
  std::shared_ptr<TimeTriggeredPlan> accept_trimmed(const std::vector<Move>& moves,
                                                    const std::vector<const Event*>& events);
  std::shared_ptr<TimeTriggeredPlan> next_under(SearchGuard& guard);
  std::shared_ptr<TimeTriggeredPlan> find_next();
  bool must_stop();
  bool is_polished() const { return statistics_.expanded >= polished_at_; }
  /// Counts what a search did since `before`.
  void add(const SearchStatistics& before, const SearchStatistics& after);

  model::ProblemPtr source_;  // as the caller gave it, with its metrics
  GuidedParts parts_;
  std::unique_ptr<Prepared> prepared_;
  std::vector<Move> best_moves_;
  std::shared_ptr<TimeTriggeredPlan> best_plan_;
  rational best_makespan_;
  double bound_ = 0;
  static constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t trimming_left_ = 0;    // in moves
  std::uint64_t polished_at_ = never;  // in expansions: where the work on the first plan ends
  // On the makespan of the engine's plan, which may have more steps than the caller's.
  double search_bound_ = std::numeric_limits<double>::infinity();
  bool is_trimmed_ = false;
  bool is_exhausted_ = false;
  FirstSearches first_searches_;
  std::unique_ptr<GuidedSearch> search_;  // the improving search in progress
  std::uint64_t budget_ = 0;              // expansions left of it
  unsigned round_ = 0;
  SearchGuard* guard_ = nullptr;  // of the call in progress
};

}  // namespace zorvel::tp::ftp
