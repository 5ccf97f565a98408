#include "cli/commands.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>

#include "cli/algorithm_choice.h"
#include "cli/anytime.h"
#include "cli/deadline.h"
#include "cli/output.h"
#include "core/errors.h"
#include "model/expression_factory.h"
#include "model/unsupported_statement.h"
#include "parsers/anml_parser.h"
#include "parsers/pddl_plan_parser.h"
#include "parsers/statement_line.h"
#include "parsers/ttp_parser.h"
#include "pddl/reader.h"
#include "plans/pddl_plan_printer.h"
#include "plans/time_triggered_plan.h"
#include "search/classical/iw_planner.h"
#include "search/classical/tsimple/tsimple_planner.h"
#include "search/forward/ftp_planner.h"
#include "search/forward/guided/guided_planner.h"
#include "transformers/chain.h"
#include "transformers/without_metrics.h"
#include "validation/tt_validator.h"

namespace zorvel::cli {

namespace {

/// Runs `read`; a failure becomes an InputError that begins with the file and, if there is one, the line.
template <class Reader, class Read>
auto reading(const std::string& path, Reader& reader, Read read) {
  try {
    return read();
  } catch (const std::exception& error) {
    const std::string line = reader.error_line() > 0 ? std::to_string(reader.error_line()) + ":" : "";
    throw InputError(path + ":" + line + " " + error.what());
  }
}

/// A problem, and how its plans are written.
struct Input {
  model::ProblemPtr problem;
  PlanNames names;
  std::string anml_file = {};  ///< Empty for PDDL.
};

bool reads_fluent(const Node* root) {
  std::vector<const Node*> open{root};
  while (!open.empty()) {
    const Node* const node = open.back();
    open.pop_back();
    if (node->kind() == NodeKind::FLUENT_REFERENCE) return true;
    open.insert(open.end(), node->operands().begin(), node->operands().end());
  }
  return false;
}

/// The line of a statement that a planner has refused, 0 if unknown. One with parameters is refused in
/// another form than it was read in; then the first whose time depends on the state of the world is meant.
int line_of(const std::string& path, const Node* refused) {
  const std::string text = model::to_anml(refused);
  const int line =
      find_statement_line(path, [&](Node* statement) { return model::to_anml(statement) == text; });
  if (line != 0) return line;
  return find_statement_line(path, [](const Node* statement) {
    if (!model::ExpressionFactory::is_temporal_expression(statement)) return false;
    return reads_fluent(statement->children[0]);
  });
}

/// Runs `work` on the problem. What it cannot handle is an error that begins with the file and the line.
template <class Work>
auto naming_lines(const Input& input, Work work) {
  try {
    return work();
  } catch (const model::UnsupportedStatementError& error) {
    const int line = input.anml_file.empty() ? 0 : line_of(input.anml_file, error.statement());
    if (line == 0) throw;
    throw std::runtime_error(input.anml_file + ":" + std::to_string(line) + ": " + error.what());
  }
}

Input read_anml(Environment& env, const std::vector<std::string>& files, const char* command) {
  if (files.size() != 1)
    throw InputError(std::string("'") + command + "' takes one problem file, not " +
                     std::to_string(files.size()));
  AnmlParser parser(env);
  return {reading(files[0], parser, [&] { return parser.parse_file(files[0]); }), {}, files[0]};
}

Input read_pddl(Environment& env, const std::vector<std::string>& files, const char* command) {
  if (files.size() != 2)
    throw InputError(std::string("'") + command + " --pddl' takes a domain file and a problem file, not " +
                     std::to_string(files.size()) + (files.size() == 1 ? " file" : " files"));
  PddlReader reader(env);
  try {
    const model::ProblemPtr problem = reader.read_files(files[0], files[1]);
    return {problem, reader.plan_names()};
  } catch (const ParserError& error) {
    // Its lines have all that is needed; the name of its class would hide where the first of them is.
    throw InputError(error.message().substr(std::string_view(ParserError().what()).size()));
  } catch (const ZorvelError& error) {
    throw InputError(error.message());
  }
}

Input read_problem(Environment& env, const std::vector<std::string>& files, const char* command) {
  const bool is_pddl = env.configuration().get_boolean_value("pddl");
  return is_pddl ? read_pddl(env, files, command) : read_anml(env, files, command);
}

bool uses_pddl_plans(Environment& env) {
  return env.configuration().get_string_value("plan-format") == "pddl";
}

void write_anml_plan(const Configuration& options, const std::shared_ptr<Plan>& plan) {
  const std::string& path = options.get_string_value("output-plan");
  const auto schedule = options.get_boolean_value("time-triggered")
                            ? std::make_shared<TimeTriggeredPlan>(plan)
                            : std::dynamic_pointer_cast<TimeTriggeredPlan>(plan);
  write_to(path, [&](std::ostream& out) {
    if (!schedule)
      plan->print(out);  // a partial order has no times, and its delays are exact
    else
      path.empty() ? schedule->print(out) : schedule->print_exact(out);
  });
}

/// Always a schedule: the format has no other plans.
void write_pddl_plan(const Configuration& options, const std::shared_ptr<Plan>& plan,
                     const PlanNames& names) {
  bool is_exact = true;
  write_to(options.get_string_value("output-plan"),
           [&](std::ostream& out) { is_exact = print_pddl_plan(out, TimeTriggeredPlan(plan), names); });
  if (!is_exact)
    std::cerr << "zorvel: warning: some times of the plan have no finite decimal expansion and are rounded; "
                 "'--plan-format anml' with '--output-plan' writes exact ones\n";
}

/// Writes the plan to standard output, or with exact numbers to the file that was asked for.
void write_plan(Environment& env, const std::shared_ptr<Plan>& plan, const PlanNames& names) {
  if (uses_pddl_plans(env))
    write_pddl_plan(env.configuration(), plan, names);
  else
    write_anml_plan(env.configuration(), plan);
}

std::shared_ptr<TimeTriggeredPlan> read_plan(Environment& env, const std::string& path, const Input& input) {
  if (uses_pddl_plans(env)) {
    PddlPlanParser parser(env, input.problem, input.names);
    return reading(path, parser, [&] { return parser.parse_file(path); });
  }
  TTPParser parser(env, input.problem);
  return reading(path, parser, [&] { return parser.parse_file(path); });
}

/// The problem as planners take it, with a warning for what is taken out.
model::ProblemPtr to_plannable(Environment& env, const model::ProblemPtr& problem) {
  if (!problem->metrics().empty())
    env.warning_manager().warn("the metric of the problem is left out of account by this planner");
  return model::without_metrics(problem);
}

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

const char* explanation(const Planner& planner) {
  if (planner.outcome() == SearchOutcome::incomplete && planner.may_have_lost_plans())
    return "what uncertain durations may do was taken to be worse than it may be";
  switch (planner.outcome()) {
    case SearchOutcome::time_limit: return "the time limit was reached";
    case SearchOutcome::memory_limit: return "the memory limit was reached";
    case SearchOutcome::interrupted: return "the search was interrupted";
    case SearchOutcome::incomplete: return "the search left out states that may lead to one";
    default: return "the search did not end";
  }
}

using MakePlanner = std::function<std::unique_ptr<Planner>(Environment&, const model::ProblemPtr&)>;

std::unique_ptr<Planner> make_guided_planner(Environment& env, const model::ProblemPtr& problem) {
  auto planner = std::make_unique<tp::ftp::GuidedPlanner>(env, problem);
  tp::ftp::GuidedParts parts;
  for (const std::string& part : env.configuration().get_vector_string_value("guided-without")) {
    if (part == "atomic-moves") parts.atomic_moves = false;
    if (part == "duplicates") parts.duplicates = false;
    if (part == "preferred") parts.preferred = false;
    if (part == "hff") parts.lists[0] = false;
    if (part == "landmarks") parts.lists[1] = false;
    if (part == "hadd") parts.lists[2] = false;
  }
  planner->set_parts(parts);
  return planner;
}

const std::map<std::string, MakePlanner>& planners() {
  static const std::map<std::string, MakePlanner> makers{
      {"auto", &make_guided_planner},
      {"ftp", [](Environment& env,
                 const auto& problem) { return std::make_unique<tp::ftp::FtpPlanner>(env, problem); }},
      {"tsimple",
       [](Environment& env, const auto& problem) {
         return std::make_unique<tsimple::TSimplePlanner>(env, problem);
       }},
      {"iw",
       [](Environment& env, const auto& problem) { return std::make_unique<iw::IWPlanner>(env, problem); }}};
  return makers;
}

/// The planner of this name; InputError if there is none.
const MakePlanner& find_planner(const std::string& algorithm) {
  const auto chosen = planners().find(algorithm);
  if (chosen != planners().end()) return chosen->second;
  std::string names;
  for (const auto& [name, maker] : planners()) names += (names.empty() ? "'" : ", '") + name + "'";
  throw InputError("the algorithm '" + algorithm + "' is not part of this version; there is " + names);
}

}  // namespace

const std::vector<std::string>& transformer_names() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> result;
    for (const model::TransformerRow& row : model::transformer_table()) result.emplace_back(row.name);
    return result;
  }();
  return names;
}

Status solve(Environment& env, const std::vector<std::string>& files) {
  const Configuration& options = env.configuration();
  const std::string algorithm = choose_algorithm(options);
  const MakePlanner& make_planner = find_planner(algorithm);
  if (options.get_boolean_value("anytime") && algorithm != "auto")
    throw InputError("the option '--anytime' needs '-a auto'");
  const double weight = options.get_float_value("weight");
  if (!(weight >= 0 && weight <= 1)) throw InputError("--weight must lie between 0 and 1");
  try {
    plan_epsilon(env);
  } catch (const std::exception& error) {
    throw InputError(error.what());
  }
  std::optional<Deadline> deadline(std::in_place, options.get_float_value("time-limit"));
  const Input input = read_problem(env, files, "solve");
  const bool takes_metrics = algorithm == "auto";
  const model::ProblemPtr problem = takes_metrics ? input.problem : to_plannable(env, input.problem);
  std::size_t warnings = print_warnings(env);

  const std::unique_ptr<Planner> planner = naming_lines(input, [&] { return make_planner(env, problem); });
  const bool takes_actions_as_atomic = algorithm == "tsimple" || algorithm == "iw";
  warnings = print_warnings(env, warnings);
  std::shared_ptr<Plan> plan;
  {
    ProgressLine line;
    SearchLimits limits;
    limits.seconds = deadline->seconds_left();
    limits.memory_bytes = static_cast<std::uint64_t>(options.get_integer_value("memory-limit")) << 20;
    limits.interrupted = &interrupted;
    if (line.is_on()) limits.on_progress = [&line](const SearchProgress& progress) { line.show(progress); };
    planner->set_limits(limits);
    const InterruptGuard guard;
    plan = planner->solve();
    if (plan && options.get_boolean_value("anytime")) {
      deadline->disarm();
      const bool has_file = !options.get_string_value("output-plan").empty();
      plan = improve_plan(static_cast<tp::ftp::GuidedPlanner&>(*planner), limits, *deadline,
                          [&](const auto& found) {
                            if (has_file) write_plan(env, found, input.names);
                          });
    }
    deadline.reset();
  }
  print_warnings(env, warnings);
  if (!plan) {
    if (planner->outcome() == SearchOutcome::no_plan) {
      std::cerr << "zorvel: there is no plan"
                << (takes_actions_as_atomic            ? " of atomic actions\n"
                    : planner->may_miss_self_overlap() ? " in which no action overlaps itself\n"
                                                       : "\n");
      return refuted;
    }
    std::cerr << "zorvel: no plan was found: " << explanation(*planner) << '\n';
    return gave_up;
  }
  if (takes_metrics) report_cost(static_cast<const tp::ftp::GuidedPlanner&>(*planner), plan);
  if (plan->size() == 0) std::cerr << "zorvel: the goal holds from the start; the plan has no step\n";
  write_plan(env, plan, input.names);
  return success;
}

Status validate(Environment& env, const std::vector<std::string>& files) {
  const std::string& plan_path = env.configuration().get_string_value("plan");
  if (plan_path.empty()) throw InputError("'validate' needs the plan: --plan PLAN");
  const Input input = read_problem(env, files, "validate");
  const auto plan = read_plan(env, plan_path, input);
  print_warnings(env);
  TTValidator validator(env, input.problem);
  if (validator.check_validity(plan)) {
    std::cout << "The plan is valid.\n";
    return success;
  }
  std::cout << "The plan is invalid: " << validator.reason() << '\n';
  return refuted;
}

Status transform(Environment& env, const std::vector<std::string>& files) {
  const Configuration& options = env.configuration();
  const auto& names = options.get_vector_string_value("transformer");
  if (names.empty()) throw InputError("'transform' needs a transformer: -t NAME");
  for (const std::string& name : names)
    if (model::find_transformer(name) == nullptr)
      throw InputError("the transformer '" + name + "' is not part of this version");
  model::ProblemPtr problem = read_problem(env, files, "transform").problem;
  model::ChainOptions chain_options;
  chain_options.prune_actions = !options.get_boolean_value("disable-prune-actions");
  for (const std::string& name : names) {
    const auto transformer = model::find_transformer(name)->make(problem, chain_options);
    transformer->do_computation();
    problem = transformer->new_problem();
  }
  print_warnings(env);
  write_to(options.get_string_value("output"), [&](std::ostream& out) { out << problem; });
  return success;
}

}  // namespace zorvel::cli
