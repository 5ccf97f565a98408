#include <algorithm>
#include <string_view>

#include "cli/commands.h"
#include "cli/input.h"
#include "cli/option_effects.h"
#include "cli/output.h"
#include "printers/anml_printer.h"
#include "printers/pddl_printer.h"

namespace zorvel::cli {

namespace {

/// One text of a target, and the option that names its file.
struct Part {
  std::string_view option;
  std::string text;
};

std::vector<Part> to_anml_parts(Environment&, const model::ProblemPtr& problem) {
  return {{"output", to_anml_text(problem)}};
}

std::vector<Part> to_pddl_parts(Environment& env, const model::ProblemPtr& problem) {
  const bool is_standard = env.configuration().get_boolean_value("standard-pddl");
  const PddlPrinter printer(problem, "pddldomain", "pddlproblem",
                            is_standard ? PddlForm::standard : PddlForm::own);
  return {{"output-domain", printer.domain_text()}, {"output-problem", printer.problem_text()}};
}

struct Target {
  std::string_view name;
  std::vector<std::string_view> options;
  std::vector<Part> (*convert)(Environment& env, const model::ProblemPtr& problem);
};

const std::vector<Target>& targets() {
  static const std::vector<Target> table{
      {"anml", {"output"}, &to_anml_parts},
      {"pddl", {"output-domain", "output-problem", "standard-pddl"}, &to_pddl_parts}};
  return table;
}

const Target& target_of(const Configuration& options) {
  const std::string& name = options.get_string_value("target");
  if (name.empty()) throw InputError("'convert-to' needs a target: --target NAME");
  const auto target = std::ranges::find(targets(), name, &Target::name);
  if (target == targets().end()) throw InputError("the target '" + name + "' is not available");
  return *target;
}

/// An option that belongs to another target would be without effect.
void check_target_options(const Configuration& options, const Target& target) {
  for (const std::string_view option :
       {"output", "output-domain", "output-problem", "output-model", "standard-pddl"})
    if (options.was_given(std::string(option)) &&
        std::ranges::find(target.options, option) == target.options.end())
      throw InputError("the option '--" + std::string(option) + "' has no effect with '--target " +
                       std::string(target.name) + "'");
}

}  // namespace

Status convert(Environment& env, const std::vector<std::string>& files) {
  const Configuration& options = env.configuration();
  check_options(options, "convert-to");
  const Target& target = target_of(options);
  check_target_options(options, target);
  const model::ProblemPtr problem = read_problem(env, files, "convert-to").problem;
  const std::vector<Part> parts = target.convert(env, problem);
  print_warnings(env);
  std::vector<OutputText> outputs;
  for (const Part& part : parts)
    outputs.push_back({options.get_string_value(std::string(part.option)), part.text});
  write_all(outputs);
  return success;
}

}  // namespace zorvel::cli
