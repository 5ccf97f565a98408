#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/environment.h"
#include "model/expression_factory.h"
#include "model/plan_names.h"
#include "model/problem_instance.h"
#include "model/user_type.h"
#include "parsers/source_lines.h"
#include "parsers/text_builder.h"

namespace zorvel {

/// A distinct identifier or parameter of the text.
struct PddlName {
  std::string text;  ///< As the model has it: "_param_x" for the parameter `?x`.
  Node* symbol;      ///< The unresolved symbol without arguments.
};

/// The files behind a text that is a domain and a problem, one after the other. Lines are counted from 1 over
/// the whole text, except in a Place.
struct PddlSources {
  std::string domain, problem;  ///< How messages call them; empty for a text of which nothing is known.
  int first_line_of_problem = 0;
  int last_line = 0;
};

/// A line of one of the two files.
struct PddlPlace {
  bool is_in_problem = false;
  int line = 0;
};

/// What the PDDL grammar does: one function for each of its actions. Builds the raw problem, in which every
/// name is an unresolved symbol and every named type an unresolved type.
///
/// Values on the grammar's stack are plain pointers and numbers; everything they point to is owned here or by
/// the environment. Lists lie on stacks here, one for each kind of item: a list is the number of its items,
/// which are the topmost ones of the stack in source order. This is sound because a grammar reduces inner
/// lists before outer ones.
class PddlBuilder : public TextBuilder {
 public:
  using Count = std::size_t;

  PddlBuilder(Environment& env, model::ProblemPtr problem, PddlSources sources = {});

  // Tokens.
  void new_line();
  void open_parenthesis() { ++open_parentheses_; }
  void close_parenthesis();
  const PddlName* name(std::string_view text);
  const PddlName* parameter_name(std::string_view text);  ///< With its question mark.
  const std::string* digits(std::string_view text) { return &digits_.emplace_back(text); }

  // Declarations.
  Count named_item(const PddlName* name, int line);
  Count type_item(const PddlName* name, int line);
  void declare_types(Count items);
  void declare_objects(Count items);
  Count listed_name(const PddlName* name, int line);
  Count parameters(Count names, const PddlName* type);
  Count parameters_of_either(Count names, Count alternatives, int line);
  void declare_predicate(const PddlName* name, Count parameters, int line);
  void declare_function(const PddlName* name, Count parameters, int line);

  // Actions. Each part of one is kept when it is read.
  void keep_duration(Node* expression, int line) { duration_ = {expression, {line, line_}}; }
  void keep_condition(Node* expression, int line) { condition_ = {expression, {line, line_}}; }
  void keep_effect(Node* expression, int line) { effect_ = {expression, {line, line_}}; }
  void declare_action(const PddlName* name, Count parameters, int line);
  void declare_uncontrollable_action(const PddlName* name, Count parameters, int line);

  // Problem.
  void add_initial_value(Node* expression, int line);
  void add_goal(Node* expression, int line);

  // Expressions.
  Count list_item(Node* expression, int line);
  Node* conjunction(Count operands);
  Node* disjunction(Count operands);
  Node* sum(Count operands);
  Node* product(Count operands);
  Node* symbol(const PddlName* name, int line);
  Node* application(const PddlName* name, Count arguments, int line);
  Node* number(const std::string* digits);
  Node* at(Node* time, Node* expression);
  Node* at_start(Node* expression) { return at(factory_.make_start_anchor(), expression); }
  Node* at_end(Node* expression) { return at(factory_.make_end_anchor(), expression); }
  Node* over_all(Node* expression);
  model::ExpressionFactory& factory() { return factory_; }

  /// The assignments that an effect stands for, in the order of the text. ParserError "Found a malformed
  /// effect" with the scanner's line.
  std::vector<Node*> condition_to_effect(Node* effect) const;

  /// What has to wait for the end of the text.
  void finish();

  // What a finished parse leaves.
  const SourceLines& lines() const { return lines_; }
  const PlanNames& plan_names() const { return plan_names_; }
  /// Where a line of the text stands. What goes wrong in the problem while a form of the domain is open is
  /// the domain's fault.
  PddlPlace place(int line) const;

 protected:
  int shown_line(int line) const override { return place(line).line; }

 private:
  struct TypedItem {
    const PddlName* name;
    int line;
    bool is_type;  // stands behind a dash
  };
  struct ListedName {
    const PddlName* name;
    int line;
  };
  struct Parameter {
    std::shared_ptr<model::ParameterImpl> parameter;
    std::size_t group_size;  // names before one dash
  };
  struct Item {
    Node* expression;
    LineRange lines;
  };
  struct Effect {
    Node* assignment;
    const Node* origin;  // the operand of an `and` that it comes from
  };
  struct Alternative {
    ListedName type;
    std::shared_ptr<model::UserTypeImpl> either;
  };
  struct DurationBounds {
    Node* lower = nullptr;
    Node* upper = nullptr;
  };

  /// Does `work` so that a failure of it is one of `line`.
  template <class Work>
  void at_line(int line, Work work) {
    if (!run(line, work)) rethrow();
  }
  void warn(int line, const std::string& text);
  std::shared_ptr<model::UserTypeImpl> declared_type(const PddlName* name, int line);
  Count add_parameters(Count names, const model::TypePtr& type);
  std::vector<Parameter> take_parameters(Count count);
  void declare_fluent(const PddlName* name, const model::TypePtr& type, Count parameters, int line);
  void add_action(const PddlName* name, Count parameters, std::vector<Item> body, int line);
  Node* bounded_duration(const PddlName* action, int line);
  DurationBounds read_bounds();
  void add_parts(std::vector<Item>& body, const Item& section) const;
  LineRange lines_of(const Node* conjunct, LineRange around) const;
  std::vector<Effect> effects_of(Node* root) const;
  std::vector<Node*> take_operands(Count count);
  void add_statement(Node* expression, LineRange lines);

  Environment& env_;
  model::ExpressionFactory& factory_;
  model::ProblemPtr problem_;
  PddlSources sources_;
  SourceLines lines_;
  PlanNames plan_names_;
  std::size_t open_parentheses_ = 0;
  std::size_t open_forms_of_domain_ = 0;  // at the end of the domain; 0 once one of them is closed

  std::unordered_map<std::string_view, std::unique_ptr<PddlName>> names_;  // keyed by their own text
  std::deque<std::string> digits_;

  std::vector<TypedItem> typed_items_;
  std::vector<ListedName> listed_names_;
  std::vector<Parameter> parameters_;
  std::vector<Item> items_;
  std::vector<Alternative> alternatives_;
  std::unordered_map<const Node*, LineRange> conjunct_lines_;  // of the section that is being read
  Item duration_{}, condition_{}, effect_{};
};

}  // namespace zorvel
