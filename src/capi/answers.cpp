// Plans and problems in the forms that other programs and people read.

#include "capi/frame.h"
#include "capi/planning.h"
#include "model/problem_source.h"
#include "plans/pddl_plan_printer.h"
#include "report/answer.h"
#include "report/chart.h"
#include "report/check.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;

extern "C" {

char* zorvel_problem_check(zorvel_problem problem) {
  return at_boundary(
      [&] { return to_c_text(report::to_json(report::check_problem(to_plannable(problem)))); });
}

char* zorvel_ttplan_get_json(zorvel_problem problem, zorvel_ttplan plan) {
  return at_boundary([&] { return to_c_text(report::to_json(*to_cxx(plan), to_cxx(problem))); });
}

char* zorvel_ttplan_get_pddl(zorvel_problem problem, zorvel_ttplan plan) {
  return at_boundary([&] {
    const model::ProblemPtr object = to_cxx(problem);
    std::ostringstream text;
    if (!print_pddl_plan(text, *to_cxx(plan),
                         object->source() == nullptr ? PlanNames() : object->source()->names))
      object->env().warning_manager().warn(
          "some times of the plan have no finite decimal expansion and are rounded");
    return to_c_text(text.str());
  });
}

char* zorvel_ttplan_get_svg(zorvel_problem problem, zorvel_ttplan plan, const char* rows) {
  return at_boundary([&] {
    const model::ProblemPtr object = to_plannable(problem);
    report::ChartOptions options;
    const std::string kind = to_text(rows, "rows");
    if (kind == "objects")
      options.rows = report::ChartOptions::Rows::objects;
    else if (kind != "actions")
      throw InvalidParameterError("There are no rows '") << kind << "'; there are 'actions', 'objects'";
    return to_c_text(report::plan_to_svg(object, to_cxx(plan), options));
  });
}
}
