#include "cli/commands.h"

#include <algorithm>
#include <iostream>
#include <optional>
#include <utility>

#include "cli/input.h"
#include "cli/option_effects.h"
#include "cli/output.h"
#include "cli/plan_output.h"
#include "printers/anml_printer.h"
#include "report/answer.h"
#include "report/chart.h"
#include "report/check.h"
#include "report/user_words.h"
#include "transformers/chain.h"
#include "validation/tt_validator.h"

namespace zorvel::cli {

const std::vector<std::string>& transformer_names() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> result;
    for (const model::TransformerRow& row : model::transformer_table()) result.emplace_back(row.name);
    return result;
  }();
  return names;
}

namespace {

/// What the commands that look at a plan are given, with the warnings of both told.
std::pair<Input, std::shared_ptr<TimeTriggeredPlan>> read_problem_and_plan(
    Environment& env, const std::vector<std::string>& files, const char* command) {
  const std::string& plan_path = env.configuration().get_string_value("plan");
  if (plan_path.empty()) throw InputError("'" + std::string(command) + "' needs the plan: --plan PLAN");
  Input input = read_problem(env, files, command);
  auto plan = read_plan(env, plan_path, input);
  print_warnings(env);
  return {std::move(input), std::move(plan)};
}

/// The problem that the bounder takes its objects from, null without one. With PDDL, it is a problem of the
/// same domain.
model::ProblemPtr read_bounding_problem(Environment& env, std::vector<std::string> files) {
  const Configuration& options = env.configuration();
  const auto& names = options.get_vector_string_value("transformer");
  const bool is_needed = std::ranges::find(names, "bounder") != names.end();
  const std::string& path = options.get_string_value("bounding-problem");
  if (path.empty() && is_needed)
    throw InputError("the transformer 'bounder' needs a smaller problem: --bounding-problem FILE");
  if (path.empty()) return nullptr;
  if (!is_needed) throw InputError("the option '--bounding-problem' needs '-t bounder'");
  if (path == "-") throw InputError("the bounding problem cannot be standard input");
  files.back() = path;
  return read_problem(env, files, "transform").problem;
}

}  // namespace

Status validate(Environment& env, const std::vector<std::string>& files) {
  const Configuration& options = env.configuration();
  check_options(options, "validate");
  const auto [input, plan] = read_problem_and_plan(env, files, "validate");
  std::optional<TTValidator> replay;
  const bool is_valid = report::in_user_words(input.problem, [&, &input = input, &plan = plan] {
    return replay.emplace(env, input.problem).check_validity(plan);
  });
  const TTValidator& validator = *replay;
  const std::string reason = report::UserWords(*input.problem).message(validator.reason());
  write_to("", [&](std::ostream& out) {
    if (plan_format(options) == PlanFormat::json)
      out << report::to_json(report::Verdict{is_valid, reason, validator.failing_step(),
                                             validator.failing_time(), env.warning_manager().warnings()},
                             input.problem);
    else if (plan_format(options) == PlanFormat::html)
      out << report::plan_to_html(input.problem, plan, chart_options(options));
    else if (is_valid)
      out << "The plan is valid.\n";
    else
      out << "The plan is invalid: " << reason << '\n';
  });
  return is_valid ? success : refuted;
}

Status report_plan(Environment& env, const std::vector<std::string>& files) {
  const Configuration& options = env.configuration();
  check_options(options, "report");
  const auto [input, plan] = read_problem_and_plan(env, files, "report");
  write_to(options.get_string_value("output"), [&](std::ostream& out) {
    out << report::plan_to_html(input.problem, plan, chart_options(options));
  });
  return success;
}

Status check(Environment& env, const std::vector<std::string>& files) {
  const Configuration& options = env.configuration();
  check_options(options, "check");
  const PlanFormat format = plan_format(options);
  if (options.was_given("plan-format") && format != PlanFormat::json)
    throw InputError("'check' answers in plain text, or with '--plan-format json'");
  const Input input = read_problem(env, files, "check");
  const report::CheckResult result = report::check_problem(input.problem);
  write_to(options.get_string_value("output"), [&](std::ostream& out) {
    if (format == PlanFormat::json)
      out << report::to_json(result);
    else if (result.findings.empty())
      out << "Nothing stands out.\n";
    else
      out << report::to_text(result);
  });
  return result.is_refuted ? refuted : success;
}

Status transform(Environment& env, const std::vector<std::string>& files) {
  const Configuration& options = env.configuration();
  check_options(options, "transform");
  const auto& names = options.get_vector_string_value("transformer");
  if (names.empty()) throw InputError("'transform' needs a transformer: -t NAME");
  for (const std::string& name : names)
    if (model::find_transformer(name) == nullptr)
      throw InputError("the transformer '" + name + "' is not available");
  model::ProblemPtr problem = read_problem(env, files, "transform").problem;
  model::ChainOptions chain_options;
  chain_options.prune_actions = !options.get_boolean_value("disable-prune-actions");
  chain_options.bounding_problem = read_bounding_problem(env, files);
  for (const std::string& name : names) {
    const auto transformer = model::find_transformer(name)->make(problem, chain_options);
    transformer->do_computation();
    problem = transformer->new_problem();
  }
  const std::string text = to_anml_text(problem);
  print_warnings(env);
  write_to(options.get_string_value("output"), [&](std::ostream& out) { out << text; });
  return success;
}

}  // namespace zorvel::cli
