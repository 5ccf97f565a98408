#include <map>

#include "capi/frame.h"
#include "core/output_file.h"
#include "printers/anml_printer.h"
#include "printers/pddl_printer.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;

namespace {

constexpr const char* domain_name = "pddldomain";
constexpr const char* problem_name = "pddlproblem";

std::string pddl_text(const model::ProblemPtr& problem, PddlForm form) {
  const PddlPrinter printer(problem, domain_name, problem_name, form);
  return "Domain:\n" + printer.domain_text() + "Problem:\n" + printer.problem_text();
}

using Printers = std::map<std::string, std::string (*)(const model::ProblemPtr&)>;

const Printers& printers() {
  static const Printers table{
      {"anml", &to_anml_text},
      {"pddl", [](const model::ProblemPtr& problem) { return pddl_text(problem, PddlForm::own); }},
      {"standard-pddl",
       [](const model::ProblemPtr& problem) { return pddl_text(problem, PddlForm::standard); }},
  };
  return table;
}

}  // namespace

extern "C" {

char* zorvel_problem_get_text(zorvel_problem problem, const char* form) {
  return at_boundary([&] {
    const model::ProblemPtr object = to_cxx(problem);
    const std::string name = to_text(form, "form");
    const auto printer = printers().find(name);
    if (printer == printers().end())
      throw InvalidParameterError("There is no form '") << name << "' of a problem";
    return to_c_text(printer->second(object));
  });
}
char* zorvel_problem_get_pddl(zorvel_problem problem) {
  return at_boundary([&] { return to_c_text(pddl_text(to_cxx(problem), PddlForm::own)); });
}
int zorvel_dump_pddl(zorvel_problem problem, const char* domain_file, const char* problem_file) {
  return at_boundary([&] {
    const model::ProblemPtr object = to_cxx(problem);
    const std::string domain_path = to_text(domain_file, "domain_file");
    const std::string problem_path = to_text(problem_file, "problem_file");
    const PddlPrinter printer(object, domain_name, problem_name);
    const std::string domain = printer.domain_text(), text = printer.problem_text();
    const OutputText outputs[] = {{domain_path, domain}, {problem_path, text}};
    write_output_files(outputs);
    return 0;
  });
}
}
