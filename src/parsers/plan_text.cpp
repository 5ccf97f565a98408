#include "parsers/plan_text.h"

#include <stdexcept>

#include "core/errors.h"
#include "model/expression_factory.h"
#include "model/instance.h"
#include "model/user_type.h"

namespace zorvel {

using namespace model;

namespace {

constexpr std::size_t max_number_length = 10000;

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_word(char c) { return is_digit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }

bool is_comment(std::string_view line) {
  PlanCursor cursor(line);
  cursor.skip_blanks();
  return cursor.at_end() || cursor.take(';');
}

std::shared_ptr<ActionImpl> find_action(const TypeScope& scope, const std::string& name) {
  if (const auto found = scope.actions().find(name); found != scope.actions().end()) return found->second;
  for (const auto& [type_name, type] : scope.user_types())
    if (auto action = find_action(*type, name)) return action;
  return nullptr;
}

}  // namespace

bool is_blank_character(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool is_name_character(char c) { return is_word(c) || c == '-'; }

bool PlanCursor::take(char c) {
  if (rest_.empty() || rest_.front() != c) return false;
  rest_.remove_prefix(1);
  return true;
}

bool PlanCursor::take_word(std::string_view word) {
  if (!rest_.starts_with(word)) return false;
  rest_.remove_prefix(word.size());
  return true;
}

std::string_view PlanCursor::take_name() {
  return rest_.empty() || !is_word(rest_.front()) ? std::string_view() : take_while(is_name_character);
}

std::string_view PlanCursor::take_number() {
  std::size_t length = digits_from(0);
  if (length > 0 && length + 1 < rest_.size() && (rest_[length] == '.' || rest_[length] == '/') &&
      is_digit(rest_[length + 1]))
    length = digits_from(length + 1);
  return take_first(length);
}

std::size_t PlanCursor::digits_from(std::size_t position) const {
  while (position < rest_.size() && is_digit(rest_[position])) ++position;
  return position;
}

std::string_view PlanCursor::take_first(std::size_t length) {
  const std::string_view taken = rest_.substr(0, length);
  rest_.remove_prefix(length);
  return taken;
}

rational PlanWords::number(std::string_view text) const {
  if (text.size() > max_number_length) throw ParserError("A number is too long at line ") << line_;
  try {
    return rational_from_string(std::string(text));
  } catch (const std::overflow_error&) {
    throw ParserError("A number with denominator 0 at line ") << line_;
  }
}

std::shared_ptr<InstanceImpl> PlanWords::find_instance(std::string_view name) const {
  const auto found = problem_.instances().find(std::string(name));
  return found == problem_.instances().end() ? nullptr : found->second;
}

std::shared_ptr<InstanceImpl> PlanWords::object(std::string_view name) const {
  if (name.empty()) return nullptr;
  auto object = find_instance(name);
  if (!object) throw ParserError("Object not found at line ") << line_;
  return object;
}

std::shared_ptr<ActionImpl> PlanWords::action(const std::string& name, const InstanceImpl* object) const {
  if (object != nullptr) {
    // why first: types may have actions of one name, and the printer writes no more than the object.
    if (auto own = object->type()->find_action(name)) return own;
  }
  auto action = find_action(problem_, name);
  if (!action) throw ParserError("Action not found at line ") << line_;
  return action;
}

Node* PlanWords::instance_argument(std::string_view name) const {
  const auto instance = find_instance(name);
  if (!instance) throw ParserError("Parameter not correct: ") << line_;
  return env_.expression_factory().make_instance_reference(instance);
}

void PlanWords::check_number_of_arguments(const ActionImpl& action, std::size_t arguments) const {
  if (arguments != action.parameters().size())
    throw ParserError("Wrong number of parameters at line ") << line_;
}

std::shared_ptr<TimeTriggeredPlan> read_plan_lines(
    Environment& env, std::istream& text, int& error_line,
    const std::function<std::shared_ptr<TimeTriggeredStep>(std::string_view line, int number)>& read_step) {
  error_line = 0;
  const auto plan = std::make_shared<TimeTriggeredPlan>(env);
  std::string line;
  for (int number = 1; std::getline(text, line); ++number) {
    if (is_comment(line)) continue;
    error_line = number;  // until the line has been read
    plan->add_step(read_step(line, number));
    error_line = 0;
  }
  if (text.bad() || !text.eof()) throw InvalidParameterError("The input cannot be read");
  return plan;
}

}  // namespace zorvel
