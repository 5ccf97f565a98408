#include "parsers/ttp_parser.h"

#include <limits>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "core/errors.h"
#include "model/action.h"
#include "model/expression_factory.h"
#include "model/instance.h"
#include "model/user_type.h"
#include "parsers/input_file.h"

namespace zorvel {

using namespace model;

namespace {

constexpr std::size_t max_number_length = 10000;

bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_word(char c) { return is_digit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
// Names may hold a '-', which other languages than ANML allow and the printer writes.
bool is_name(char c) { return is_word(c) || c == '-'; }
bool is_argument(char c) { return is_name(c) || c == '/' || c == '.'; }

/// A place in a line. Every `take` either moves behind what it takes or gives nothing and stays.
class Cursor {
 public:
  explicit Cursor(std::string_view text) : rest_(text) {}

  bool at_end() const { return rest_.empty(); }
  std::string_view until(const Cursor& later) const {
    return rest_.substr(0, rest_.size() - later.rest_.size());
  }
  void skip_blanks() { take_while(is_blank); }
  bool take(char c) {
    if (rest_.empty() || rest_.front() != c) return false;
    rest_.remove_prefix(1);
    return true;
  }
  bool take_word(std::string_view word) {
    if (!rest_.starts_with(word)) return false;
    rest_.remove_prefix(word.size());
    return true;
  }
  template <class Predicate>
  std::string_view take_while(Predicate holds) {
    std::size_t length = 0;
    while (length < rest_.size() && holds(rest_[length])) ++length;
    return take_first(length);
  }
  /// A word character and what may follow it in a name; empty if there is none.
  std::string_view take_name() {
    return rest_.empty() || !is_word(rest_.front()) ? std::string_view() : take_while(is_name);
  }
  /// Digits, and then perhaps `.` or `/` and digits; empty if there is none.
  std::string_view take_number() {
    std::size_t length = digits_from(0);
    if (length > 0 && length + 1 < rest_.size() && (rest_[length] == '.' || rest_[length] == '/') &&
        is_digit(rest_[length + 1]))
      length = digits_from(length + 1);
    return take_first(length);
  }

 private:
  std::size_t digits_from(std::size_t position) const {
    while (position < rest_.size() && is_digit(rest_[position])) ++position;
    return position;
  }
  std::string_view take_first(std::size_t length) {
    const std::string_view taken = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return taken;
  }

  std::string_view rest_;
};

/// The parts of a step, as text.
struct StepText {
  std::string_view start, object, action, arguments, duration;
};

/// A list of arguments without any blank but behind commas; nothing if it is malformed.
bool skip_arguments(Cursor& cursor) {
  if (cursor.take_while(is_argument).empty()) return true;
  while (cursor.take(',')) {
    cursor.skip_blanks();
    if (cursor.take_while(is_argument).empty()) return false;
  }
  return true;
}

std::optional<StepText> split_step(std::string_view line) {
  StepText step;
  Cursor cursor(line);
  cursor.skip_blanks();
  step.start = cursor.take_number();
  if (step.start.empty()) return std::nullopt;
  cursor.skip_blanks();
  if (!cursor.take(':')) return std::nullopt;
  cursor.skip_blanks();
  step.action = cursor.take_name();
  if (cursor.take('.')) {
    step.object = step.action;
    step.action = cursor.take_name();
    if (step.object.empty()) return std::nullopt;
  }
  if (step.action.empty()) return std::nullopt;
  cursor.skip_blanks();
  if (!cursor.take('(')) return std::nullopt;
  const Cursor first_argument = cursor;
  if (!skip_arguments(cursor)) return std::nullopt;
  step.arguments = first_argument.until(cursor);
  if (!cursor.take(')')) return std::nullopt;
  cursor.skip_blanks();
  if (!cursor.take('[')) return std::nullopt;
  cursor.skip_blanks();
  step.duration = cursor.take_number();
  if (step.duration.empty()) return std::nullopt;
  cursor.skip_blanks();
  if (!cursor.take(']')) return std::nullopt;
  cursor.skip_blanks();
  if (!cursor.at_end()) return std::nullopt;
  return step;
}

bool is_comment(std::string_view line) {
  Cursor cursor(line);
  cursor.skip_blanks();
  return cursor.at_end() || cursor.take(';');
}

/// What one line means in a problem.
class StepReader {
 public:
  StepReader(Environment& env, const ProblemInstanceImpl& problem, int line)
      : env_(env), problem_(problem), line_(line) {}

  std::shared_ptr<TimeTriggeredStep> read(std::string_view line) const {
    const std::optional<StepText> text = split_step(line);
    if (!text) throw ParserError("at line ") << line_;
    const rational start = number(text->start);
    const std::shared_ptr<InstanceImpl> object = find_object(text->object);
    const std::shared_ptr<ActionImpl> action = find_action(std::string(text->action), object.get());
    std::vector<Node*> arguments = read_arguments(text->arguments);
    if (arguments.size() != action->parameters().size())
      throw ParserError("Wrong number of parameters at line ") << line_;
    return std::make_shared<TimeTriggeredStep>(start, action, std::move(arguments), number(text->duration),
                                               nullptr, object);
  }

 private:
  rational number(std::string_view text) const {
    if (text.size() > max_number_length) throw ParserError("A number is too long at line ") << line_;
    try {
      return rational_from_string(std::string(text));
    } catch (const std::overflow_error&) {
      throw ParserError("A number with denominator 0 at line ") << line_;
    }
  }

  std::shared_ptr<InstanceImpl> find_instance(std::string_view name) const {
    const auto found = problem_.instances().find(std::string(name));
    return found == problem_.instances().end() ? nullptr : found->second;
  }

  /// Null if the name is empty.
  std::shared_ptr<InstanceImpl> find_object(std::string_view name) const {
    if (name.empty()) return nullptr;
    auto object = find_instance(name);
    if (!object) throw ParserError("Object not found at line ") << line_;
    return object;
  }

  static std::shared_ptr<ActionImpl> find_in(const TypeScope& scope, const std::string& name) {
    if (const auto found = scope.actions().find(name); found != scope.actions().end()) return found->second;
    for (const auto& [type_name, type] : scope.user_types())
      if (auto action = find_in(*type, name)) return action;
    return nullptr;
  }

  std::shared_ptr<ActionImpl> find_action(const std::string& name, const InstanceImpl* object) const {
    if (object != nullptr) {
      // why first: types may have actions of one name, and the printer writes no more than the object.
      const auto type = object->type();
      if (const auto own = type->actions().find(name); own != type->actions().end()) return own->second;
    }
    auto action = find_in(problem_, name);
    if (!action) throw ParserError("Action not found at line ") << line_;
    return action;
  }

  std::vector<Node*> read_arguments(std::string_view text) const {
    std::vector<Node*> arguments;
    Cursor cursor(text);
    while (!cursor.at_end()) {
      cursor.skip_blanks();
      Node* const argument = read_argument(cursor);
      const bool is_whole = cursor.at_end() || cursor.take(',');
      if (argument == nullptr || !is_whole)
        throw ParserError("Action parameters not correct at line ") << line_;
      arguments.push_back(argument);
    }
    return arguments;
  }

  /// Null if nothing there can be an argument.
  Node* read_argument(Cursor& cursor) const {
    ExpressionFactory& factory = env_.expression_factory();
    const bool is_negative = cursor.take('-');
    if (const std::string_view digits = cursor.take_number(); !digits.empty()) {
      const rational value = is_negative ? -number(digits) : number(digits);
      if (digits.find_first_of("./") != std::string_view::npos) return factory.make_rational_constant(value);
      if (value > rational(std::numeric_limits<int>::max()) ||
          value < rational(std::numeric_limits<int>::min()))
        throw std::out_of_range("stoi");
      return factory.make_integer_constant(value.numerator());
    }
    if (is_negative) return nullptr;
    if (cursor.take_word("true")) return factory.make_boolean_constant(true);
    if (cursor.take_word("false")) return factory.make_boolean_constant(false);
    const std::string_view name = cursor.take_name();
    if (name.empty()) return nullptr;
    const auto instance = find_instance(name);
    if (!instance) throw ParserError("Parameter not correct: ") << line_;
    return factory.make_instance_reference(instance);
  }

  Environment& env_;
  const ProblemInstanceImpl& problem_;
  int line_;
};

}  // namespace

std::shared_ptr<TimeTriggeredPlan> TTPParser::parse(std::istream& text) {
  error_line_ = 0;
  const auto plan = std::make_shared<TimeTriggeredPlan>(env());
  std::string line;
  for (int number = 1; std::getline(text, line); ++number) {
    if (is_comment(line)) continue;
    error_line_ = number;  // until the line has been read
    plan->add_step(StepReader(env(), *problem_, number).read(line));
    error_line_ = 0;
  }
  if (text.bad() || !text.eof()) throw InvalidParameterError("The input cannot be read");
  return plan;
}

std::shared_ptr<TimeTriggeredPlan> TTPParser::parse_file(const std::string& path) {
  error_line_ = 0;
  std::ifstream file = open_input_file(path);
  return parse(file);
}

}  // namespace zorvel
