#include "cli/plan_output.h"

#include <ostream>

#include "cli/output.h"
#include "plans/pddl_plan_printer.h"
#include "plans/time_triggered_plan.h"

namespace zorvel::cli {

namespace {

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
void write_pddl_plan(const Configuration& options, const std::shared_ptr<Plan>& plan, const PlanNames& names,
                     std::ostream& remarks) {
  bool is_exact = true;
  write_to(options.get_string_value("output-plan"),
           [&](std::ostream& out) { is_exact = print_pddl_plan(out, TimeTriggeredPlan(plan), names); });
  if (!is_exact)
    remarks << "zorvel: warning: some times of the plan have no finite decimal expansion and are rounded; "
               "'--plan-format anml' with '--output-plan' writes exact ones\n";
}

}  // namespace

PlanFormat plan_format(const Configuration& options) {
  const std::string& format = options.get_string_value("plan-format");
  if (format == "pddl") return PlanFormat::pddl;
  if (format == "html") return PlanFormat::html;
  return format == "json" ? PlanFormat::json : PlanFormat::anml;
}

report::ChartOptions chart_options(const Configuration& options) {
  return {options.get_string_value("rows") == "objects" ? report::ChartOptions::Rows::objects
                                                        : report::ChartOptions::Rows::actions,
          options.get_vector_string_value("fluent")};
}

void write_plan(Environment& env, const std::shared_ptr<Plan>& plan, const Input& input,
                std::ostream& remarks) {
  const Configuration& options = env.configuration();
  switch (plan_format(options)) {
    case PlanFormat::pddl: return write_pddl_plan(options, plan, input.names, remarks);
    case PlanFormat::html:
      return write_to(options.get_string_value("output-plan"), [&](std::ostream& out) {
        out << report::plan_to_html(input.problem, std::make_shared<TimeTriggeredPlan>(plan),
                                    chart_options(options));
      });
    default: return write_anml_plan(options, plan);
  }
}

}  // namespace zorvel::cli
