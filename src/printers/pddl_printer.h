#pragma once

#include <iosfwd>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/problem_instance.h"
#include "model/walkers/check_contains_walker.h"
#include "printers/pddl_action.h"
#include "printers/pddl_names.h"
#include "printers/pddl_problem.h"

namespace zorvel {

/// Writes levels times width blanks.
struct indent {
  std::uint32_t levels, width;
};
std::ostream& operator<<(std::ostream& out, const indent& blanks);

/// Writes a problem as a domain and a problem of PDDL. All actions become durative ones; what PDDL cannot
/// hold is compiled away first, or refused.
///
/// In the form of Zorvel's own readers an assignment is `(= (f) 5)`, also of a formula to a predicate, and
/// the line of requirements is always the same. The standard form has `assign`, `increase` and `when`, and
/// the requirements that are used.
class PddlPrinter {
 public:
  /// The errors of `PddlProblem`.
  PddlPrinter(const model::ProblemPtr& problem, std::string domain_name, std::string problem_name,
              PddlForm form = PddlForm::own);
  virtual ~PddlPrinter() = default;

  /// Both write a whole text or raise: InternalError "The problem contains an expression operator kindthat is
  /// forbidden!" for `contains`, names without a meaning, durations of the world and dots; "Found a forbidden
  /// expression' " and the statement; "The type of a fluent has to be boolean or rational only!".
  void print_domain(std::ostream& out) const;
  /// Also InternalError "Not-start assigns are forbidden!" or "Not-end goals are forbidden!".
  void print_problem(std::ostream& out) const;

  std::string domain_text() const;
  std::string problem_text() const;

 private:
  void check(const model::ExpressionSet& expressions) const;
  void append(std::string& text, const Node* expression) const {
    append_pddl(text, expression, names_, form_);
  }
  std::string type_name(const model::TypePtr& type) const;
  PddlFeatures features() const;
  void add_fluents(std::string& text, bool are_functions) const;
  void add_parameters(std::string& text, const model::ParameterVector& parameters,
                      std::string_view before_each) const;
  /// The place of a statement in the order in which a reader of the text makes statements. One that an
  /// earlier part of the text has said is not made again.
  using Order = std::unordered_map<const Node*, std::size_t>;
  Order order_of_problem() const;
  static std::vector<Node*> in_order(Order& order, std::vector<Node*> statements);
  void add_action(std::string& text, const model::ActionImpl& action, Order& order) const;
  void add_durations(std::string& text, const std::vector<Node*>& durations) const;
  /// `effects` are all those of the action.
  void add_effect(std::string& text, Node* effect, const std::vector<Node*>& effects) const;
  void add_conditional_effect(std::string& text, Node* effect, const std::vector<Node*>& effects) const;
  void add_objects(std::string& text) const;
  void add_initial_state(std::string& text) const;
  void add_fact(std::vector<std::string>& lines, Node* statement) const;
  void add_goals(std::string& text) const;
  void add_constraints(std::string& text) const;
  void add_metric(std::string& text) const;

  model::ExpressionFactory& factory_;
  const PddlProblem problem_;
  const std::string domain_name_, problem_name_;
  const PddlForm form_;
  const PddlNames names_;
  const model::CheckContainsWalker contains_, unresolved_, in_assign_, dot_;
};

}  // namespace zorvel
