#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/numbers.h"
#include "pddl/form.h"
#include "pddl/messages.h"

// The syntax tree of a domain and a problem: what was written, with the place of every part, and every name
// bound to what declares it. Nothing here is simplified. The passes of the room make new expressions out of
// old ones; whatever they make keeps the place of what it stands for.

namespace zorvel::pddl {

/// A name as it was written where it was declared or used.
struct Name {
  const Symbol* symbol = nullptr;
  std::string text;
  Place place;
};

struct Object;

struct Type {
  Name name;
  std::uint32_t number = 0;            ///< In the task, from 0.
  std::vector<Type*> parents;          ///< `object` has none, all others at least one.
  std::vector<const Type*> children;   ///< As `parents`, the other way round.
  std::vector<const Object*> objects;  ///< Declared with this type itself, in order of number.
};

struct Object {
  Name name;
  std::vector<Type*> types;  ///< Several for an `either` and for an object that is declared twice.
  std::uint32_t number = 0;  ///< In the task, from 0.
};

/// What a parameter may stand for: the objects of any of some types. One for each set of types.
struct Sort {
  std::vector<const Type*> types;      ///< Without repetitions, in the order of the symbols' text.
  std::vector<const Object*> objects;  ///< In order of number.
};

struct Variable {
  Name name;
  const Sort* sort = nullptr;
  std::uint32_t number = 0;  ///< In the task, from 0: no two variables share one.
};

/// A predicate or a function. Several may share a name if their numbers of parameters differ.
struct Fluent {
  Name name;
  bool is_function = false;
  std::vector<const Variable*> parameters;
  std::uint32_t number = 0;  ///< In the task, from 0.
};

enum class ExpressionKind : std::uint8_t {
  // Conditions.
  truth,  ///< `true`, and the empty conjunction.
  falsity,
  atom,  ///< A predicate with its arguments.
  conjunction,
  disjunction,
  negation,
  implication,
  exists,
  forall,
  equality,  ///< Of objects or of numbers.
  less,
  less_or_equal,
  greater,
  greater_or_equal,
  // Terms.
  object,
  variable,
  number,
  function,  ///< A function with its arguments.
  plus,
  minus,
  times,
  divide,    ///< `minus` of one operand is the sign.
  duration,  ///< `?duration`
  total_time,
  is_violated,
  // Conditions and effects with a time.
  at_start,
  at_end,
  over_all,
  preference,  ///< Its one operand is what is preferred.
  // Effects. The target comes first.
  when,
  assign,
  assign_truth,  ///< Of a formula to a predicate.
  increase,
  decrease,
  scale_up,
  scale_down,
  continuous,  ///< The rate of a change over time: `#t`, alone or in a product.
  // Constraints on the states that a plan goes through; numbers of time stand first.
  end,
  always,
  sometime,
  within,
  at_most_once,
  sometime_after,
  sometime_before,
  always_within,
  hold_during,
  hold_after
};

struct Expression {
  ExpressionKind kind = ExpressionKind::truth;
  Place place;
  std::vector<const Expression*> operands;  ///< Arguments of an atom or a function as well.
  const Fluent* fluent = nullptr;           ///< Of an atom or a function.
  const Object* object = nullptr;
  const Variable* variable = nullptr;
  std::vector<const Variable*> variables;  ///< Of a quantifier.
  rational value;                          ///< Of a number.
};

/// One fact of the initial state: an atom that holds or not, or the value of a function.
struct Fact {
  Place place;
  const Fluent* fluent = nullptr;
  std::vector<const Object*> arguments;
  bool holds = true;             ///< Of a predicate.
  rational value;                ///< Of a function.
  std::optional<rational> time;  ///< Of a timed fact, which changes the state then.
};

struct Action {
  Name name;
  bool is_durative = true;
  bool is_uncontrollable = false;  ///< The environment chooses the duration.
  std::vector<const Variable*> parameters;
  // Null where the action says nothing.
  const Expression* duration = nullptr;
  const Expression* condition = nullptr;
  const Expression* effect = nullptr;
};

struct Metric {
  Place place;
  bool is_maximized = false;
  const Expression* expression = nullptr;
};

/// A domain and a problem. Owns everything that its parts point to.
class Task {
 public:
  Task() = default;
  Task(const Task&) = delete;
  Task& operator=(const Task&) = delete;

  std::deque<Type> types;  ///< The first is `object`.
  std::deque<Object> objects;
  std::deque<Fluent> fluents;
  std::deque<Action> actions;
  std::vector<Fact> facts;
  std::vector<const Expression*> goals;
  std::vector<const Expression*> constraints;
  std::optional<Metric> metric;

  const Sort* sort(std::vector<const Type*> of_types);
  const std::vector<const Sort*>& sorts() const { return sort_order_; }  ///< As they were made.
  /// Fills the children and objects of all types, and the objects of all sorts. To be called once all of them
  /// are declared.
  void collect_objects();

  const Variable* add_variable(Name name, const Sort* of_sort);
  /// Lets the variable stand for the objects of `more` as well.
  void widen(const Variable& variable, const Sort& more);
  std::size_t variable_count() const { return variables_.size(); }

  /// An expression that belongs to the task.
  Expression* add(ExpressionKind kind, const Place& place, std::vector<const Expression*> operands = {});
  const Expression* add(Expression expression) { return &expressions_.emplace_back(std::move(expression)); }

 private:
  void fill(Sort& sort) const;

  std::map<std::vector<const Type*>, Sort> sorts_;  // never iterated where the order could be seen
  std::vector<const Sort*> sort_order_;
  bool has_objects_ = false;
  std::deque<Variable> variables_;
  std::deque<Expression> expressions_;
};

/// Whether every object of `lower` is one of `upper`.
bool is_within(const Sort& lower, const Sort& upper);
bool contains(const Sort& sort, const Object& object);
/// Whether some object is of both.
bool overlap(const Sort& a, const Sort& b);
/// The types of a sort as messages write them: "truck", "(either truck boat)".
std::string to_text(const Sort& sort);
/// "(NAME ?x - TYPE ...)", as messages repeat a declaration.
std::string to_text(const Fluent& fluent);

}  // namespace zorvel::pddl
