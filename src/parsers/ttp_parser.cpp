#include "parsers/ttp_parser.h"

#include <limits>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "core/errors.h"
#include "core/input_file.h"
#include "model/expression_factory.h"
#include "parsers/plan_text.h"

namespace zorvel {

using namespace model;

namespace {

bool is_argument(char c) { return is_name_character(c) || c == '/' || c == '.'; }

/// The parts of a step, as text.
struct StepText {
  std::string_view start, object, action, arguments, duration;
};

/// A list of arguments without any blank but behind commas; nothing if it is malformed.
bool skip_arguments(PlanCursor& cursor) {
  if (cursor.take_while(is_argument).empty()) return true;
  while (cursor.take(',')) {
    cursor.skip_blanks();
    if (cursor.take_while(is_argument).empty()) return false;
  }
  return true;
}

std::optional<StepText> split_step(std::string_view line) {
  StepText step;
  PlanCursor cursor(line);
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
  const PlanCursor first_argument = cursor;
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

/// What one line means in a problem.
class StepReader {
 public:
  StepReader(Environment& env, const PlanWords& words) : env_(env), words_(words) {}

  std::shared_ptr<TimeTriggeredStep> read(std::string_view line) const {
    const std::optional<StepText> text = split_step(line);
    if (!text) throw ParserError("at line ") << words_.line();
    const rational start = words_.number(text->start);
    const auto object = words_.object(text->object);
    const auto action = words_.action(std::string(text->action), object.get());
    std::vector<Node*> arguments = read_arguments(text->arguments);
    words_.check_number_of_arguments(*action, arguments.size());
    return std::make_shared<TimeTriggeredStep>(start, action, std::move(arguments),
                                               words_.number(text->duration), nullptr, object);
  }

 private:
  std::vector<Node*> read_arguments(std::string_view text) const {
    std::vector<Node*> arguments;
    PlanCursor cursor(text);
    while (!cursor.at_end()) {
      cursor.skip_blanks();
      Node* const argument = read_argument(cursor);
      const bool is_whole = cursor.at_end() || cursor.take(',');
      if (argument == nullptr || !is_whole)
        throw ParserError("Action parameters not correct at line ") << words_.line();
      arguments.push_back(argument);
    }
    return arguments;
  }

  /// Null if nothing there can be an argument.
  Node* read_argument(PlanCursor& cursor) const {
    ExpressionFactory& factory = env_.expression_factory();
    const bool is_negative = cursor.take('-');
    if (const std::string_view digits = cursor.take_number(); !digits.empty()) {
      const rational value = is_negative ? -words_.number(digits) : words_.number(digits);
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
    return words_.instance_argument(name);
  }

  Environment& env_;
  const PlanWords& words_;
};

}  // namespace

std::shared_ptr<TimeTriggeredPlan> TTPParser::parse(std::istream& text) {
  return read_plan_lines(env(), text, error_line_, [&](std::string_view line, int number) {
    return StepReader(env(), PlanWords(env(), *problem_, number)).read(line);
  });
}

std::shared_ptr<TimeTriggeredPlan> TTPParser::parse_file(const std::string& path) {
  error_line_ = 0;
  std::ifstream file = open_input_file(path);
  return parse(file);
}

}  // namespace zorvel
