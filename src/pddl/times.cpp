#include "pddl/times.h"

#include <algorithm>
#include <optional>

namespace zorvel::pddl {

namespace {

using Kind = ExpressionKind;

std::optional<Time> time_of(Kind kind) {
  switch (kind) {
    case Kind::at_start: return Time::start;
    case Kind::at_end: return Time::end;
    case Kind::over_all: return Time::all;
    default: return std::nullopt;
  }
}

template <class Predicate>
const Expression* find_inside(const Expression& expression, Predicate holds) {
  if (holds(expression.kind)) return &expression;
  for (const Expression* operand : expression.operands)
    if (const Expression* const found = find_inside(*operand, holds)) return found;
  return nullptr;
}

const Expression* find_time(const Expression& expression) {
  return find_inside(expression, [](Kind kind) { return time_of(kind).has_value(); });
}

class Distribution {
 public:
  Distribution(Task& task, Messages& messages) : task_(task), messages_(messages) {}

  std::vector<TimedExpression> split(const Expression& expression) {
    if (const auto time = time_of(expression.kind)) {
      const Expression& body = *expression.operands[0];
      const Expression* const inner = find_time(body);
      if (inner == nullptr) return {{*time, &body}};
      messages_.error(inner->place, "a time inside of another one");
      return {};
    }
    const Expression* const inner = find_time(expression);
    if (inner == nullptr) return {{Time::start, &expression}};
    std::vector<TimedExpression> parts;
    if (expression.kind == Kind::conjunction) {
      for (const Expression* operand : expression.operands)
        for (const TimedExpression& part : split(*operand)) parts.push_back(part);
    } else if (expression.kind == Kind::forall) {
      for (const TimedExpression& part : split(*expression.operands[0])) {
        Expression* const wrapped = task_.add(Kind::forall, expression.place, {part.expression});
        wrapped->variables = expression.variables;
        parts.push_back({part.time, wrapped});
      }
    } else {
      messages_.error(inner->place,
                      "a time such as 'at start' can stand inside of 'and' and 'forall', and nothing else");
    }
    return parts;
  }

 private:
  Task& task_;
  Messages& messages_;
};

}  // namespace

std::vector<TimedExpression> distribute_times(Task& task, const Expression& condition, Messages& messages) {
  return Distribution(task, messages).split(condition);
}

const Expression* without_preferences(Task& task, const Expression& condition, LeftOut& preferences,
                                      Messages& messages) {
  const auto is_preference = [](Kind kind) { return kind == Kind::preference; };
  const Expression* const preference = find_inside(condition, is_preference);
  if (preference == nullptr) return &condition;
  const bool has_time = time_of(condition.kind).has_value();
  if (condition.kind == Kind::preference) {
    if (preferences.count++ == 0) preferences.first = condition.place;
    return task.add(Kind::truth, condition.place);
  }
  if (condition.kind != Kind::conjunction && condition.kind != Kind::forall && !has_time) {
    messages.error(preference->place,
                   "a preference can stand inside of 'and' and 'forall', and nothing else");
    return task.add(Kind::truth, condition.place);
  }
  std::vector<const Expression*> operands;
  for (const Expression* operand : condition.operands)
    operands.push_back(without_preferences(task, *operand, preferences, messages));
  Expression* const result = task.add(condition.kind, condition.place, std::move(operands));
  result->variables = condition.variables;
  return result;
}

}  // namespace zorvel::pddl
