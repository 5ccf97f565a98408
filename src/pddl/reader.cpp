#include "pddl/reader.h"

#include <utility>

#include "core/input_file.h"
#include "pddl/form.h"
#include "pddl/messages.h"
#include "pddl/model_builder.h"
#include "pddl/task_reader.h"
#include "pddl/tree.h"

namespace zorvel {

model::ProblemPtr PddlReader::read_files(const std::string& domain_path, const std::string& problem_path) {
  const std::string names[2] = {domain_path, problem_path};
  std::string texts[2];
  for (int i = 0; i < 2; ++i) {
    std::ifstream file = open_input_file(names[i]);
    texts[i] = read_all(file);
  }
  return read(texts, names);
}

model::ProblemPtr PddlReader::read_texts(std::string domain, std::string problem) {
  const std::string names[2] = {"domain", "problem"};
  std::string texts[2] = {std::move(domain), std::move(problem)};
  return read(texts, names);
}

model::ProblemPtr PddlReader::read(std::string texts[2], const std::string names[2]) {
  plan_names_ = {};
  pddl::Messages messages({names[0], names[1]});
  pddl::SymbolTable symbols;
  pddl::FormArena arena;
  std::vector<const pddl::Form*> forms;
  for (std::uint32_t i = 0; i < 2; ++i) {
    const auto more = pddl::read_forms(texts[i], i, symbols, arena, messages);
    forms.insert(forms.end(), more.begin(), more.end());
  }
  pddl::Task task;
  pddl::read_task(forms, task, symbols, messages);
  messages.raise_errors();
  pddl::BuiltProblem built = pddl::build_problem(env(), task, messages);
  messages.publish_warnings(env());
  plan_names_ = std::move(built.names);
  return built.problem;
}

}  // namespace zorvel
