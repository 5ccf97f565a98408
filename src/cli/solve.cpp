#include <atomic>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>

#include "cli/anytime.h"
#include "cli/commands.h"
#include "cli/deadline.h"
#include "cli/input.h"
#include "cli/option_effects.h"
#include "cli/output.h"
#include "cli/plan_output.h"
#include "core/errors.h"
#include "model/unsupported_statement.h"
#include "report/answer.h"
#include "report/check.h"
#include "report/user_words.h"
#include "search/engines/planner_table.h"
#include "search/forward/guided/guided_planner.h"
#include "transformers/without_metrics.h"

namespace zorvel::cli {

namespace {

std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

/// While it lives, an interrupt or a request to end sets `interrupted` in place of ending the program at
/// once; a second one ends it, for nothing has been written yet.
class InterruptGuard {
 public:
  InterruptGuard() : old_int_(std::signal(SIGINT, &note)), old_term_(std::signal(SIGTERM, &note)) {}
  ~InterruptGuard() {
    std::signal(SIGINT, old_int_);
    std::signal(SIGTERM, old_term_);
  }
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

 private:
  using Handler = void (*)(int);
  static void note(int) {
    if (interrupted.exchange(true)) std::_Exit(gave_up);
  }
  Handler old_int_, old_term_;
};

/// Why the planner has no plan.
std::string reason_of(const PlannerRow& row, Planner& planner) {
  if (planner.outcome() == SearchOutcome::incomplete && planner.may_have_lost_plans())
    return "what uncertain durations may do was taken to be worse than it may be";
  switch (planner.outcome()) {
    case SearchOutcome::no_plan:
      if (row.is_classical) return "there is no plan of atomic actions";
      return planner.may_miss_self_overlap() ? "there is no plan in which no action overlaps itself"
                                             : "there is no plan";
    case SearchOutcome::time_limit: return "the time limit was reached";
    case SearchOutcome::memory_limit: return "the memory limit was reached";
    case SearchOutcome::interrupted: return "the search was interrupted";
    case SearchOutcome::incomplete: return "the search left out states that may lead to one";
    default: return "the search did not end";
  }
}

void leave_out_parts(const Configuration& options, tp::ftp::GuidedPlanner& planner) {
  tp::ftp::GuidedParts parts;
  for (const std::string& part : options.get_vector_string_value("guided-without")) parts.leave_out(part);
  planner.set_parts(parts);
}

/// One run of a planner for a command line.
class SolveCommand {
 public:
  SolveCommand(Environment& env, const PlannerRow& row)
      : env_(env),
        options_(env.configuration()),
        row_(row),
        remarks_(remarks(options_)),
        deadline_(std::in_place, options_.get_float_value("time-limit"), last_words()) {}

  Status run(const std::vector<std::string>& files) {
    input_ = read_problem(env_, files, "solve");
    return report::in_user_words(input_.problem, [this] { return solve(); });
  }

 private:
  Status solve() {
    std::size_t warnings = print_warnings(env_);
    make_planner();
    warnings = print_warnings(env_, warnings);
    const std::shared_ptr<Plan> plan = search();
    print_warnings(env_, warnings);
    if (options_.get_boolean_value("verbose")) print_table(std::cerr, planner_->statistics());
    return plan ? answer(plan) : answer_without_plan();
  }

  /// What the timer says on standard output if it has to end the program.
  std::string last_words() const {
    return is_json() ? report::failure_to_json("limit", "the time limit was reached") : "";
  }
  bool is_json() const { return plan_format(options_) == PlanFormat::json; }
  tp::ftp::GuidedPlanner& guided() { return static_cast<tp::ftp::GuidedPlanner&>(*planner_); }

  void make_planner() {
    model::ProblemPtr problem = input_.problem;
    if (!row_.takes_metrics && !problem->metrics().empty()) {
      env_.warning_manager().warn("the metric of the problem is left out of account by this planner");
      problem = model::without_metrics(problem);
    }
    try {
      planner_ = row_.make(env_, problem);
    } catch (const model::UnsupportedStatementError& error) {
      const std::string located = locate(input_, error.statement(), error.what());
      if (located.empty()) throw;
      throw std::runtime_error(located);
    }
    if (row_.name == "auto") leave_out_parts(options_, guided());
  }

  std::shared_ptr<Plan> search() {
    std::optional<ProgressLine> line;
    if (!options_.get_boolean_value("quiet")) line.emplace();
    SearchLimits limits;
    limits.seconds = deadline_->seconds_left();
    limits.memory_bytes = static_cast<std::uint64_t>(options_.get_integer_value("memory-limit")) << 20;
    limits.interrupted = &interrupted;
    if (line && line->is_on())
      limits.on_progress = [&line](const SearchProgress& progress) { line->show(progress); };
    planner_->set_limits(limits);
    const InterruptGuard guard;
    std::shared_ptr<Plan> plan = planner_->solve();
    if (plan && options_.get_boolean_value("anytime")) {
      deadline_->disarm();
      const bool has_file = !options_.get_string_value("output-plan").empty();
      plan = improve_plan(guided(), limits, *deadline_, remarks_, [&](const auto& found) {
        if (has_file) write(found);
      });
    }
    deadline_.reset();
    return plan;
  }

  void write(const std::shared_ptr<Plan>& plan) {
    if (is_json()) {
      write_to(options_.get_string_value("output-plan"), [&](std::ostream& out) {
        out << report::to_json(search_answer(std::make_shared<TimeTriggeredPlan>(plan)), input_.problem);
      });
    } else {
      write_plan(env_, plan, input_, remarks_);
    }
  }

  report::SearchAnswer search_answer(std::shared_ptr<const TimeTriggeredPlan> plan) {
    return {planner_->outcome(),
            std::string(row_.name),
            std::move(plan),
            planner_->statistics(),
            env_.warning_manager().warnings(),
            {},
            {}};
  }

  Status answer(const std::shared_ptr<Plan>& plan) {
    if (row_.name == "auto") report_cost(guided(), plan, remarks_);
    if (plan->size() == 0) remarks_ << "zorvel: the goal holds from the start; the plan has no step\n";
    write(plan);
    return success;
  }

  /// What stands out in the problem, where that was asked for.
  std::vector<report::Finding> explain() {
    if (!options_.get_boolean_value("explain")) return {};
    std::vector<report::Finding> findings =
        report::check_problem(input_.problem, static_cast<const tp::ftp::FtpPlanner&>(*planner_)).findings;
    if (findings.empty()) remarks_ << "zorvel: nothing stands out in the problem\n";
    return findings;
  }

  Status answer_without_plan() {
    const bool is_proof = planner_->outcome() == SearchOutcome::no_plan;
    const std::string reason = reason_of(row_, *planner_);
    std::cerr << "zorvel: " << (is_proof ? "" : "no plan was found: ") << reason << '\n';
    const std::vector<report::Finding> findings = explain();
    for (const report::Finding& finding : findings) std::cerr << report::to_text({{finding}, false});
    if (is_json()) {
      report::SearchAnswer answer = search_answer(nullptr);
      answer.reason = reason;
      answer.findings = findings;
      // An old plan stays as it is, so this goes to standard output in any case.
      write_to("", [&](std::ostream& out) { out << report::to_json(answer, input_.problem); });
    }
    return is_proof ? refuted : gave_up;
  }

  Environment& env_;
  const Configuration& options_;
  const PlannerRow& row_;
  std::ostream& remarks_;
  std::optional<Deadline> deadline_;
  Input input_;
  std::unique_ptr<Planner> planner_;
};

}  // namespace

Status solve(Environment& env, const std::vector<std::string>& files) {
  const Configuration& options = env.configuration();
  const std::string algorithm = choose_algorithm(options);
  const PlannerRow* const row = find_planner(algorithm);
  if (row == nullptr)
    throw InputError("the algorithm '" + algorithm + "' is not available; there are " + planner_names());
  check_options(options, "solve", algorithm);
  if (options.get_boolean_value("quiet") && options.get_boolean_value("verbose"))
    throw InputError("'--quiet' and '--verbose' do not go together");
  const double weight = options.get_float_value("weight");
  if (!(weight >= 0 && weight <= 1)) throw InputError("--weight must lie between 0 and 1");
  try {
    plan_epsilon(env);
  } catch (const std::exception& error) {
    throw InputError(error.what());
  }
  return SolveCommand(env, *row).run(files);
}

}  // namespace zorvel::cli
