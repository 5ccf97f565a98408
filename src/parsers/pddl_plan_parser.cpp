#include "parsers/pddl_plan_parser.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <vector>

#include "core/errors.h"
#include "core/input_file.h"
#include "model/expression_factory.h"
#include "model/walkers/check_contains_walker.h"
#include "parsers/plan_text.h"

namespace zorvel {

using namespace model;

namespace {

/// The parts of a step, as text; the duration may be empty.
struct StepText {
  std::string_view start, object, action, duration;
  std::vector<std::string_view> arguments;
};

bool is_word_of_argument(char c) { return is_name_character(c) || c == '.' || c == '/'; }

/// What stands between the parentheses, and the closing one.
bool split_call(PlanCursor& cursor, StepText& step) {
  cursor.skip_blanks();
  step.action = cursor.take_name();
  if (!step.action.empty() && cursor.take('.')) {
    step.object = step.action;
    step.action = cursor.take_name();
  }
  if (step.action.empty()) return false;
  for (;;) {
    const bool is_apart = !cursor.take_while(is_blank_character).empty();
    if (cursor.take(')')) return true;
    const std::string_view word = cursor.take_while(is_word_of_argument);
    if (word.empty() || !is_apart) return false;
    step.arguments.push_back(word);
  }
}

bool split_duration(PlanCursor& cursor, StepText& step) {
  if (!cursor.take('[')) return true;
  cursor.skip_blanks();
  step.duration = cursor.take_number();
  cursor.skip_blanks();
  return !step.duration.empty() && cursor.take(']');
}

std::optional<StepText> split_step(std::string_view line) {
  StepText step;
  PlanCursor cursor(line);
  cursor.skip_blanks();
  step.start = cursor.take_number();
  cursor.skip_blanks();
  if (step.start.empty() || !cursor.take(':')) return std::nullopt;
  cursor.skip_blanks();
  if (!cursor.take('(') || !split_call(cursor, step)) return std::nullopt;
  cursor.skip_blanks();
  if (!split_duration(cursor, step)) return std::nullopt;
  cursor.skip_blanks();
  if (!cursor.at_end() && !cursor.take(';')) return std::nullopt;
  return step;
}

/// What one line means in a problem.
class StepReader {
 public:
  StepReader(Environment& env, const PlanNames& names, const PlanWords& words)
      : env_(env), names_(names), words_(words) {}

  std::shared_ptr<TimeTriggeredStep> read(std::string_view line) const {
    const std::optional<StepText> text = split_step(line);
    if (!text) throw ParserError("at line ") << words_.line();
    const rational start = words_.number(text->start);
    const auto object = words_.object(text->object);
    const auto action = words_.action(names_.model_name(std::string(text->action)), object.get());
    std::vector<Node*> arguments = read_arguments(text->arguments, *action);
    return std::make_shared<TimeTriggeredStep>(start, action, std::move(arguments),
                                               read_duration(text->duration, *action), nullptr, object);
  }

 private:
  std::optional<rational> read_duration(std::string_view text, const ActionImpl& action) const {
    if (!text.empty()) return words_.number(text);
    const PlanNames::ActionName* const name = names_.find(action.name());
    if (name != nullptr && name->is_instantaneous) return rational(0);
    const CheckContainsWalker speaks_of_duration(env_, NodeKind::DURATION);
    if (std::any_of(action.expressions().begin(), action.expressions().end(),
                    [&](Node* statement) { return speaks_of_duration(statement); }))
      throw ParserError("The duration is missing at line ") << words_.line();
    return std::nullopt;
  }

  std::vector<Node*> read_arguments(const std::vector<std::string_view>& texts,
                                    const ActionImpl& action) const {
    words_.check_number_of_arguments(action, texts.size());
    const PlanNames::ActionName* const name = names_.find(action.name());
    std::vector<Node*> arguments(texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i)
      arguments[name == nullptr ? i : name->order[i]] = read_argument(texts[i]);
    return arguments;
  }

  Node* read_argument(std::string_view text) const {
    ExpressionFactory& factory = env_.expression_factory();
    PlanCursor cursor(text);
    const bool is_negative = cursor.take('-');
    if (const std::string_view digits = cursor.take_number(); !digits.empty() && cursor.at_end()) {
      const rational value = is_negative ? -words_.number(digits) : words_.number(digits);
      if (digits.find_first_of("./") != std::string_view::npos) return factory.make_rational_constant(value);
      return factory.make_integer_constant(value.numerator());
    }
    if (text == "true" || text == "false") return factory.make_boolean_constant(text == "true");
    return words_.instance_argument(names_.object_name(std::string(text)));
  }

  Environment& env_;
  const PlanNames& names_;
  const PlanWords& words_;
};

}  // namespace

std::shared_ptr<TimeTriggeredPlan> PddlPlanParser::parse(std::istream& text) {
  return read_plan_lines(env(), text, error_line_, [&](std::string_view line, int number) {
    return StepReader(env(), names_, PlanWords(env(), *problem_, number)).read(line);
  });
}

std::shared_ptr<TimeTriggeredPlan> PddlPlanParser::parse_file(const std::string& path) {
  error_line_ = 0;
  std::ifstream file = open_input_file(path);
  return parse(file);
}

}  // namespace zorvel
