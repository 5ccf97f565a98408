#include "report/value_history.h"

#include <algorithm>
#include <unordered_map>

#include "core/errors.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/user_type.h"
#include "report/user_words.h"
#include "validation/tt_validator.h"

namespace zorvel::report {

namespace {

constexpr std::size_t most_unchosen = 24;

/// A reader's own fluents have names that nobody writes.
bool is_hidden(const std::string& name) { return name.starts_with("__"); }

/// The name in `at(truck1)` and in `torch.lit`.
std::string name_of(const std::string& choice) {
  const std::string reference = choice.substr(0, choice.find('('));
  const std::size_t dot = reference.find_last_of('.');
  return dot == std::string::npos ? reference : reference.substr(dot + 1);
}

bool declares(const model::TypeScope& scope, const std::string& name) {
  if (scope.fluents().contains(name)) return true;
  return std::ranges::any_of(scope.user_types(),
                             [&](const auto& entry) { return declares(*entry.second, name); });
}

/// Text and number, since objects of the simulated problem die with it.
FluentHistory::Point point_at(const model::ExpressionFactory& factory, const rational& time, Node* value) {
  if (value == nullptr) return {time, "", std::nullopt};
  FluentHistory::Point point{time, model::to_anml(value), std::nullopt};
  if (model::ExpressionFactory::is_numeric_constant(value))
    point.number = static_cast<double>(factory.get_numeric_constant(value));
  return point;
}

}  // namespace

ReplayedPlan replay_plan(const model::ProblemPtr& problem, const std::shared_ptr<TimeTriggeredPlan>& plan) {
  ReplayedPlan result;
  const UserWords words(*problem);
  const model::ExpressionFactory& factory = problem->env().expression_factory();
  std::unordered_map<const Node*, std::size_t> numbers;
  const auto note = [&](const rational& time, Node* fluent, Node* before, Node* after) {
    const std::string& name = factory.get_fluent_from_reference(fluent)->name();
    if (is_hidden(name) || !(declares(*problem, name) || declares(*problem, words.declared_name(name))))
      return;
    const auto [number, is_new] = numbers.try_emplace(fluent, result.histories.size());
    if (is_new) {
      result.histories.push_back(
          {words.declared_name(name), words.text(fluent), {point_at(factory, rational(0), before)}});
    }
    result.histories[number->second].points.push_back(point_at(factory, time, after));
  };
  try {
    TTValidator validator(problem->env(), problem);
    validator.set_observer(note);
    result.verdict.is_valid = validator.check_validity(plan);
    result.verdict.reason = words.message(validator.reason());
    result.verdict.step = validator.failing_step();
    result.verdict.time = validator.failing_time();
  } catch (const ZorvelError& error) {
    result.verdict.is_valid = false;
    result.verdict.reason = words.message(error.message());
  }
  return result;
}

void require_fluents(const model::ProblemInstanceImpl& problem, const std::vector<std::string>& choices) {
  for (const std::string& choice : choices)
    if (!declares(problem, name_of(choice)))
      throw InvalidParameterError("The problem has no fluent '") << name_of(choice) << "'";
}

std::vector<FluentHistory> chosen_histories(std::vector<FluentHistory> histories,
                                            const std::vector<std::string>& choices) {
  if (choices.empty()) {
    if (histories.size() > most_unchosen) histories.erase(histories.begin() + most_unchosen, histories.end());
    return histories;
  }
  std::erase_if(histories, [&](const FluentHistory& history) {
    return std::ranges::none_of(choices, [&](const std::string& choice) {
      return choice == history.fluent || choice == history.name;
    });
  });
  return histories;
}

}  // namespace zorvel::report
