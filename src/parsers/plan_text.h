#pragma once

#include <functional>
#include <istream>
#include <memory>
#include <string>
#include <string_view>

#include "core/environment.h"
#include "core/numbers.h"
#include "model/action.h"
#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"

// What the readers of both plan formats share.

namespace zorvel {

bool is_blank_character(char c);
/// What may stand in a name behind its first character, which is a letter, a digit or `_`. Names may hold a
/// '-', which other languages than ANML allow and the printers write.
bool is_name_character(char c);

/// A place in a line. Every `take` either moves behind what it takes or gives nothing and stays.
class PlanCursor {
 public:
  explicit PlanCursor(std::string_view text) : rest_(text) {}

  bool at_end() const { return rest_.empty(); }
  std::string_view until(const PlanCursor& later) const {
    return rest_.substr(0, rest_.size() - later.rest_.size());
  }
  void skip_blanks() { take_while(is_blank_character); }
  bool take(char c);
  bool take_word(std::string_view word);
  template <class Predicate>
  std::string_view take_while(Predicate holds) {
    std::size_t length = 0;
    while (length < rest_.size() && holds(rest_[length])) ++length;
    return take_first(length);
  }
  std::string_view take_name();  ///< Empty if there is none.
  /// Digits, and then perhaps `.` or `/` and digits; empty if there is none.
  std::string_view take_number();

 private:
  std::size_t digits_from(std::size_t position) const;
  std::string_view take_first(std::size_t length);

  std::string_view rest_;
};

/// What the words of one line of a plan mean in a problem. Every error is a ParserError with the line.
class PlanWords {
 public:
  PlanWords(Environment& env, const model::ProblemInstanceImpl& problem, int line)
      : env_(env), problem_(problem), line_(line) {}

  int line() const { return line_; }
  /// "A number is too long at line n", "A number with denominator 0 at line n".
  rational number(std::string_view text) const;
  /// Null if the name is empty. "Object not found at line n".
  std::shared_ptr<model::InstanceImpl> object(std::string_view name) const;
  /// An action of the problem, or of a type; first of the object's own type, if there is an object. "Action
  /// not found at line n".
  std::shared_ptr<model::ActionImpl> action(const std::string& name, const model::InstanceImpl* object) const;
  /// "Parameter not correct: n".
  Node* instance_argument(std::string_view name) const;
  /// "Wrong number of parameters at line n".
  void check_number_of_arguments(const model::ActionImpl& action, std::size_t arguments) const;

 private:
  std::shared_ptr<model::InstanceImpl> find_instance(std::string_view name) const;

  Environment& env_;
  const model::ProblemInstanceImpl& problem_;
  int line_;
};

/// A plan of what `read_step` makes of each line; blank lines and lines that begin with `;` are skipped.
/// `error_line` is the line that is being read, from 1, and 0 when all are read. InvalidParameterError "The
/// input cannot be read" for a stream that fails.
std::shared_ptr<TimeTriggeredPlan> read_plan_lines(
    Environment& env, std::istream& text, int& error_line,
    const std::function<std::shared_ptr<TimeTriggeredStep>(std::string_view line, int number)>& read_step);

}  // namespace zorvel
