#include "report/answer.h"

#include <nlohmann/json.hpp>

#include "model/metric.h"
#include "report/check.h"
#include "report/step_names.h"
#include "transformers/plan_quality.h"

namespace zorvel::report {

namespace {

// Keys stand in the order in which they are written here, so that equal answers are equal texts.
using Json = nlohmann::ordered_json;

Json number_of(const rational& value) {
  return {{"exact", value.str()}, {"number", static_cast<double>(value)}};
}

Json json_of(const TimeTriggeredStep& step, const model::ProblemInstanceImpl& problem) {
  const StepNames names = names_of(step, problem);
  Json json{{"start", number_of(step.start)},
            {"duration", number_of(step.duration)},
            {"end", number_of(step.start + step.duration)},
            {"action", names.action},
            {"arguments", names.arguments}};
  if (!names.object.empty()) json["object"] = names.object;
  return json;
}

Json metric_of(const TimeTriggeredPlan& plan, const model::ProblemPtr& problem) {
  const auto with_name = [](const char* name, const rational& value) {
    Json json{{"name", name}};
    json.update(number_of(value));
    return json;
  };
  if (const auto cost = model::action_cost(problem, plan)) return with_name("action-costs", *cost);
  for (const auto& metric : problem->metrics())
    if (std::dynamic_pointer_cast<model::MinimizeMakespan>(metric))
      return with_name("makespan", model::makespan(plan));
  return nullptr;
}

void add_plan(Json& json, const TimeTriggeredPlan& plan, const model::ProblemPtr& problem) {
  json["makespan"] = number_of(model::makespan(plan));
  json["metric"] = metric_of(plan, problem);
  json["steps"] = Json::array();
  for (const auto& [time, steps] : plan.steps())
    for (const auto& step : steps) json["steps"].push_back(json_of(*step, *problem));
}

const char* name_of(Finding::Kind kind) {
  switch (kind) {
    case Finding::Kind::goal: return "goal";
    case Finding::Kind::action: return "action";
    case Finding::Kind::condition: return "condition";
    case Finding::Kind::value: return "value";
    case Finding::Kind::object: return "object";
    case Finding::Kind::warning: return "warning";
  }
  return "";
}

Json json_of(const std::vector<Finding>& findings) {
  Json json = Json::array();
  for (const Finding& finding : findings)
    json.push_back({{"kind", name_of(finding.kind)},
                    {"text", finding.text},
                    {"file", finding.file.empty() ? Json(nullptr) : Json(finding.file)},
                    {"line", finding.line},
                    {"column", finding.column}});
  return json;
}

std::string text_of(const Json& json) {
  // Names are the bytes that somebody wrote; what is no UTF-8 must not end the answer.
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace

std::string_view status_of(SearchOutcome outcome) {
  switch (outcome) {
    case SearchOutcome::plan_found: return "solved";
    case SearchOutcome::no_plan: return "unsolvable";
    case SearchOutcome::time_limit:
    case SearchOutcome::memory_limit:
    case SearchOutcome::expansion_limit: return "limit";
    case SearchOutcome::interrupted: return "interrupted";
    case SearchOutcome::incomplete:
    case SearchOutcome::not_run: break;
  }
  return "unknown";
}

std::string to_json(const SearchAnswer& answer, const model::ProblemPtr& problem) {
  Json json{{"status", answer.plan ? "solved" : status_of(answer.outcome)}, {"planner", answer.planner}};
  if (answer.plan)
    add_plan(json, *answer.plan, problem);
  else
    json["reason"] = answer.reason;
  if (!answer.findings.empty()) json["findings"] = json_of(answer.findings);
  json["statistics"] = {{"expanded", answer.statistics.expanded},
                        {"evaluated", answer.statistics.evaluated},
                        {"stored", answer.statistics.stored},
                        {"seconds", answer.statistics.seconds},
                        {"memory", answer.statistics.bytes}};
  json["warnings"] = answer.warnings;
  return text_of(json);
}

std::string to_json(const Verdict& verdict, const model::ProblemPtr& problem) {
  Json json{{"valid", verdict.is_valid}};
  if (!verdict.is_valid) {
    json["reason"] = verdict.reason;
    json["step"] = verdict.step == nullptr ? Json(nullptr) : json_of(*verdict.step, *problem);
    json["time"] = verdict.time ? number_of(*verdict.time) : Json(nullptr);
  }
  json["warnings"] = verdict.warnings;
  return text_of(json);
}

std::string to_json(const TimeTriggeredPlan& plan, const model::ProblemPtr& problem) {
  Json json = Json::object();
  add_plan(json, plan, problem);
  return text_of(json);
}

std::string to_json(const CheckResult& result) {
  return text_of({{"unsolvable", result.is_refuted}, {"findings", json_of(result.findings)}});
}

std::string failure_to_json(std::string_view status, std::string_view reason) {
  return text_of({{"status", status}, {"reason", reason}});
}

}  // namespace zorvel::report
