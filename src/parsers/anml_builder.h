#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

#include "core/environment.h"
#include "model/expression_factory.h"
#include "model/problem_instance.h"
#include "model/user_type.h"
#include "parsers/source_lines.h"
#include "parsers/text_builder.h"

namespace zorvel {

/// A distinct identifier of the text, with what is made from it again and again.
struct AnmlName {
  std::string text;
  Node* symbol;         ///< The unresolved symbol without arguments.
  model::TypePtr type;  ///< The unresolved type; null until asked for.
};

/// One member of a user type's body.
using AnmlDeclaration =
    std::variant<std::shared_ptr<model::ActionImpl>, std::shared_ptr<model::UserTypeImpl>,
                 std::shared_ptr<model::FluentImpl>, std::shared_ptr<model::ConstantImpl>>;

/// A fresh user type with the members and the base types, in the order of both.
std::shared_ptr<model::UserTypeImpl> zorvel_anml_parser_user_type(
    Environment& env, const std::string& name,
    const std::vector<std::shared_ptr<model::UnresolvedType>>& bases,
    const std::vector<AnmlDeclaration>& members);

/// What the ANML grammar does: one function for each of its actions. Builds the raw problem, in which every
/// name is an unresolved symbol and every named type an unresolved type.
///
/// Values on the grammar's stack are plain pointers and numbers, so that nothing is lost when a parse breaks
/// off. Everything they point to is owned here or by the environment. Lists lie on stacks here, one for each
/// kind of item: a list is the number of its items, which are the topmost ones of the stack in source order.
/// This is sound because a grammar reduces inner lists before outer ones.
class AnmlBuilder : public TextBuilder {
 public:
  using Count = std::size_t;

  AnmlBuilder(Environment& env, model::ProblemPtr problem);

  // Tokens.
  const AnmlName* name(std::string_view text);
  const std::string* text(std::string_view text);
  const std::string* string_literal(std::string_view text);  ///< With its quotes; counts the lines in it.

  // Types.
  const model::TypePtr* boolean_type();
  const model::TypePtr* integer_type();
  const model::TypePtr* integer_type(Node* lower, Node* upper);
  const model::TypePtr* float_type();
  const model::TypePtr* float_type(Node* lower, Node* upper);
  const model::TypePtr* set_type(const model::TypePtr* element);
  const model::TypePtr* named_type(const AnmlName* name);

  // Declarations. Each leaves the declared thing for the `add_` or `member` that follows it.
  void declare_fluent(const model::TypePtr* type, const AnmlName* name, Count parameters, int line);
  void declare_constant(const model::TypePtr* type, const AnmlName* name, Count parameters, int line);
  void open_type();
  void declare_type(const AnmlName* name, Count bases, Count members, int line);
  void declare_action(bool is_process, const AnmlName* name, Count parameters, Count body, int line);
  void declare_action_with_cost(const AnmlName* name, Count parameters, Count annotations, Count body,
                                int line);
  void add_declaration();  ///< To the problem.
  void add_fluent_with_value(Node* value, int line);
  void add_constant_with_value(Node* value, int line);
  Count member();  ///< To the list of the type around.
  void add_instances(const model::TypePtr* type, Count names);
  Count parameter(const model::TypePtr* type, const AnmlName* name, int line);
  Count name_item(const AnmlName* name, int line);

  // Statements.
  Count statement(Node* expression, int line);
  Count block(Node* interval, Count statements);
  void add_statements(Count statements);
  void add_goals(Count statements);
  void open_forall();
  Node* forall(Count parameters, Count body);
  Count string_annotation(const std::string* text);
  Count expression_annotation(Node* expression, int line);
  void add_annotation(Count annotations);

  // Expressions.
  Count list_item(Node* expression);
  Node* symbol(const AnmlName* name, int line);
  Node* application(const AnmlName* name, Count arguments, int line);
  Node* member_of(Node* object, Node* member);
  Node* label_reference(const AnmlName* name);
  Node* set(Count members);
  Node* natural(const std::string* digits, bool is_negative);
  Node* decimal(const std::string* digits, bool is_negative);
  Node* wildcard() { return wildcard_; }
  Node* whole(bool is_closed);  ///< `[all]` or `(all)`.
  Node* labelled(Node* interval, const AnmlName* label);
  Node* exclusive_or(Node* a, Node* b);
  Node* not_equal(Node* a, Node* b);
  Node* plus(Node* a, Node* b);
  Node* minus(Node* a, Node* b, int line);
  Node* times(Node* a, Node* b);
  Node* divide(Node* a, Node* b, int line);
  Node* parenthesised(Node* expression);
  Node* duration_within(Node* lower, Node* upper);
  model::ExpressionFactory& factory() { return factory_; }

  // What a finished parse leaves.
  bool minimizes_cost() const { return minimizes_cost_; }
  Node* default_cost() const { return default_cost_; }
  const model::MinimizeActionCost::Costs& costs() const { return costs_; }
  const SourceLines& lines() const { return lines_; }

 private:
  struct Statement {
    Node* expression;
    LineRange lines;
  };
  struct Annotation {
    Node* expression;         // null for a string
    const std::string* text;  // null for an expression
    LineRange lines;
  };
  struct ListedName {
    const AnmlName* name;
    int line;
  };
  enum class Hint { CHAIN, INTEGER_DIVISION, GOAL_WITHOUT_INTERVAL, VALUE_WITHOUT_ARGUMENTS };
  static constexpr std::size_t hint_kinds = 4;

  void check_length(const std::string& digits) const;
  const model::TypePtr* keep(model::TypePtr type);
  static std::weak_ptr<model::ModelFactory> raw_factory();
  model::ParameterVector take_parameters(Count count);
  std::vector<Node*> take_body(Count count);
  std::vector<Node*> take_expressions(Count count);
  std::vector<Annotation> take_annotations(Count count);
  void add_statement(const Statement& statement);
  void add_always_within(const std::vector<Annotation>& list);
  void add_metric(const std::string& name, const std::vector<Annotation>& list);
  Node* expression_of(const Annotation& annotation, const char* error) const;
  void hint(Hint kind, int line, const std::string& text);
  std::size_t printed_size(Node* expression);
  bool lacks_interval(const Node* statement) const;

  Environment& env_;
  model::ExpressionFactory& factory_;
  model::ProblemPtr problem_;
  SourceLines lines_;

  std::unordered_map<std::string_view, std::unique_ptr<AnmlName>> names_;  // keyed by their own text
  std::deque<std::string> texts_;
  std::deque<model::TypePtr> types_;
  model::TypePtr boolean_type_, integer_type_, float_type_;

  std::vector<Node*> expressions_;
  std::vector<Statement> statements_;
  std::vector<ListedName> listed_names_;
  std::vector<std::shared_ptr<model::ParameterImpl>> parameters_;
  std::vector<AnmlDeclaration> members_;
  std::vector<Annotation> annotations_;
  model::PlanRules rules_;
  AnmlDeclaration declared_;

  bool minimizes_cost_ = false;
  Node* default_cost_ = nullptr;
  model::MinimizeActionCost::Costs costs_;

  std::size_t open_types_ = 0;
  std::size_t open_foralls_ = 0;
  struct HintCount {
    std::size_t given = 0;
    int last_line = 0;
  };
  HintCount hints_[hint_kinds];
  Node* wildcard_;
  // The sum and the product that were reduced last, unless parentheses closed behind them: a right operand
  // that is one of them stands there without parentheses.
  Node* last_sum_ = nullptr;
  Node* last_product_ = nullptr;
  std::unordered_map<Node*, std::size_t> printed_sizes_;  // of the parts of exclusive ors
};

}  // namespace zorvel
