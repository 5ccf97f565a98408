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

model::ProblemPtr PddlReader::read_texts(std::string domain, std::string problem,
                                         const std::string& domain_name, const std::string& problem_name) {
  const std::string names[2] = {domain_name, problem_name};
  std::string texts[2] = {std::move(domain), std::move(problem)};
  return read(texts, names);
}

model::ProblemPtr PddlReader::read(std::string texts[2], const std::string names[2]) {
  plan_names_ = {};
  error_file_.clear();
  error_line_ = error_column_ = 0;
  pddl::Messages messages({names[0], names[1]});
  try {
    return read(texts, names, messages);
  } catch (const std::exception&) {
    const pddl::Place& place = messages.first_error_place();
    if (messages.has_errors()) {
      error_file_ = names[place.file];
      error_line_ = static_cast<int>(place.line);
      error_column_ = static_cast<int>(place.column);
    }
    throw;
  }
}

model::ProblemPtr PddlReader::read(std::string texts[2], const std::string names[2],
                                   pddl::Messages& messages) {
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
  plan_names_ = built.source->names;
  built.source->files = {names[0], names[1]};
  built.problem->set_source(std::move(built.source));
  return built.problem;
}

}  // namespace zorvel
