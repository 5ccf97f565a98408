#pragma once

#include <string_view>
#include <vector>

#include "pddl/declarations.h"
#include "pddl/form.h"
#include "pddl/messages.h"
#include "pddl/tree.h"

namespace zorvel::pddl {

/// Reads conditions, effects, numbers and constraints out of forms, and binds their names.
///
/// Each function gives null where something was wrong, after it has noted all that is wrong in the form.
class ExpressionReader {
 public:
  ExpressionReader(Task& task, Declarations& declarations, Messages& messages)
      : task_(task), declarations_(declarations), messages_(messages) {}

  /// The parameters that names with a question mark stand for, until the next call.
  void set_scope(std::vector<const Variable*> scope) { scope_ = std::move(scope); }

  const Expression* condition(const Form& form);
  const Expression* effect(const Form& form);
  const Expression* duration(const Form& form);  ///< A condition on `?duration`.
  const Expression* constraint(const Form& form);
  /// A number: of a metric, or an operand of a comparison.
  const Expression* number(const Form& form);
  /// An object, a parameter or a number.
  const Expression* term(const Form& form);

 private:
  using Read = const Expression* (ExpressionReader::*)(const Form&);

  const Expression* list_of(ExpressionKind kind, const Form& form, Read read);
  const Expression* one_operand(ExpressionKind kind, const Form& form, std::size_t at, Read read);
  const Expression* quantifier(ExpressionKind kind, const Form& form, Read read);
  const Expression* comparison(ExpressionKind kind, const Form& form);
  const Expression* equality(const Form& form);
  const Expression* arithmetic(ExpressionKind kind, const Form& form);
  const Expression* application(const Fluent& fluent, const Form& form);
  const Expression* atom(const Form& form);
  const Expression* preference(const Form& form, Read read);
  const Expression* when(const Form& form);
  bool is_predicate(const Form& form) const;
  const Expression* change(ExpressionKind kind, const Form& form);
  const Expression* timed_constraint(ExpressionKind kind, const Form& form, std::size_t numbers);
  const Expression* word_term(const Form& form);
  void check_argument(const Fluent& fluent, std::size_t position, const Expression& argument,
                      const Form& form);
  /// Notes an error if the list has not that many items behind its first.
  bool has_operands(const Form& form, std::size_t count);
  const Variable* find_variable(const Symbol* symbol) const;
  const Expression* fail(const Place& place, std::string_view text);

  Task& task_;
  Declarations& declarations_;
  Messages& messages_;
  std::vector<const Variable*> scope_;  // the innermost last
};

/// The number that the word is, or nothing if it is too long to be one; the word is one that the scanner took
/// for a number.
std::optional<rational> read_number(std::string_view word);

}  // namespace zorvel::pddl
