#include "validation/statement.h"

#include <algorithm>
#include <utility>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/expression_factory.h"

namespace zorvel::validation {

using model::ExpressionFactory;

namespace {

/// An assignment to the duration is a condition here: the plan says how long the step takes.
bool is_effect(const Node* body) {
  return ExpressionFactory::is_assign(body) && !ExpressionFactory::is_duration_anchor(body->children[0]);
}

bool is_several_effects(const Node* body) {
  return ExpressionFactory::is_and(body) && body->arity > 0 &&
         std::ranges::all_of(body->operands(), is_effect);
}

class StatementCompiler {
 public:
  StatementCompiler(FluentSlots& slots, const model::ParameterVector& parameters)
      : slots_(slots), parameters_(parameters), factory_(slots.env().expression_factory()) {}

  std::vector<Statement> compile(Node* expression) {
    Node* interval = nullptr;
    Node* body = expression;
    if (ExpressionFactory::is_temporal_expression(expression)) {
      interval = expression->children[0];
      body = expression->children[1];
    }
    std::vector<Statement> statements;
    const std::vector<Node*> effects =
        is_several_effects(body) ? std::vector<Node*>(body->operands().begin(), body->operands().end())
                                 : std::vector<Node*>{body};
    // Several assignments under one moment are effects of their own: none of them sees another's value.
    for (Node* part : effects) {
      Statement statement;
      statement.source = expression;
      set_interval(statement, interval);
      if (is_effect(part))
        set_effect(statement, part);
      else
        set_condition(statement, part);
      statements.push_back(std::move(statement));
    }
    return statements;
  }

  Statement compile(const std::shared_ptr<model::SimulatedEffectImpl>& effect) {
    Statement statement;
    statement.kind = StatementKind::SIMULATED_EFFECT;
    statement.simulated_effect = effect;
    Node* const timing = effect->timing;
    statement.lower =
        compile_anchor(ExpressionFactory::is_interval(timing) ? timing->children[0] : timing, timing);
    ProgramBuilder builder(slots_, parameters_);
    std::size_t outputs = 0;
    for (Node* reference : effect->fluents) add_target(statement, builder, reference, outputs);
    statement.body = builder.take();
    return statement;
  }

 private:
  void set_interval(Statement& statement, Node* interval) {
    if (interval == nullptr) {
      statement.lower = compile_anchor(factory_.make_start_anchor(), statement.source);
      return;
    }
    if (ExpressionFactory::is_contains(interval)) {
      if (interval->arity > 1 && interval->children[1] != nullptr)
        throw UnsupportedProblemError("Unsupported contains with duration");
      statement.is_contains = true;
      interval = interval->children[0];
    }
    statement.is_point = factory_.is_point_interval(interval);
    statement.is_left_closed = factory_.is_left_closed(interval);
    statement.is_right_closed = factory_.is_right_closed(interval);
    statement.lower = compile_anchor(interval->children[0], statement.source);
    if (!statement.is_point) statement.upper = compile_anchor(interval->children[1], statement.source);
  }

  TimeAnchor compile_anchor(Node* anchor, Node* expression) {
    ProgramBuilder builder(slots_, parameters_);
    builder.add(anchor);
    TimeAnchor result;
    result.program = builder.take();
    result.is_offset = !result.program.names_an_anchor;
    result.names_end = std::ranges::any_of(result.program.instructions,
                                           [](const Program::Instruction& one) { return one.op == Op::END; });
    // Events are put in order before anything is simulated, so no state can say when one is.
    if (result.program.names_a_fluent)
      throw InvalidParameterError("Unsupported timing for expression: ")
          << model::print_expression{expression};
    return result;
  }

  void set_condition(Statement& statement, Node* body) {
    statement.kind = StatementKind::CONDITION;
    statement.condition = body;
    ProgramBuilder builder(slots_, parameters_);
    builder.add(body);
    statement.body = builder.take();
  }

  void set_effect(Statement& statement, Node* effect) {
    if (!statement.is_point || statement.is_contains)
      throw InternalError("Found an effect over a non-punctual interval");
    Node* const left = effect->children[0];
    if (!ExpressionFactory::is_fluent_reference(left))
      throw InternalError("Found an unknown effect kind: ") << model::print_expression{statement.source};
    statement.kind = StatementKind::EFFECT;
    statement.value = effect->children[1];
    ProgramBuilder builder(slots_, parameters_);
    builder.add(statement.value);
    std::size_t outputs = 1;
    add_target(statement, builder, left, outputs);
    statement.body = builder.take();
  }

  void add_target(Statement& statement, ProgramBuilder& builder, Node* reference, std::size_t& outputs) {
    const auto fluent = factory_.get_fluent_from_reference(reference);
    statement.targets.push_back({slots_.fluent(fluent), outputs, reference->arity, reference});
    for (Node* argument : reference->operands()) builder.add(argument);
    outputs += reference->arity;
  }

  FluentSlots& slots_;
  const model::ParameterVector& parameters_;
  ExpressionFactory& factory_;
};

/// Notes what the statement gives to one of the parameters from number `given` on.
void find_definition(FluentSlots& slots, const model::ParameterVector& parameters, std::size_t given,
                     Statement& statement) {
  const Node* const body = statement.condition;
  // What has to hold at some moment only does not say at which one.
  if (body == nullptr || statement.is_contains) return;
  if (!ExpressionFactory::is_equals(body) && !ExpressionFactory::is_iff(body)) return;
  ExpressionFactory& factory = slots.env().expression_factory();
  for (std::size_t i = given; i < parameters.size(); ++i) {
    Node* const parameter = factory.make_parameter_reference(parameters[i]);
    for (const std::size_t side : {0, 1}) {
      if (body->children[side] != parameter) continue;
      ProgramBuilder builder(slots, parameters);
      builder.add(body->children[1 - side]);
      statement.defines = Statement::Definition{i, builder.take()};
      return;
    }
  }
}

}  // namespace

std::vector<Statement> compile_statements(FluentSlots& slots, const model::ParameterVector& parameters,
                                          Node* expression) {
  return StatementCompiler(slots, parameters).compile(expression);
}

Statement compile_simulated_effect(FluentSlots& slots, const model::ParameterVector& parameters,
                                   const std::shared_ptr<model::SimulatedEffectImpl>& effect) {
  return StatementCompiler(slots, parameters).compile(effect);
}

std::vector<Statement> compile_action(FluentSlots& slots, const model::ActionImpl& action,
                                      std::size_t given) {
  std::vector<Statement> statements;
  for (Node* expression : action.expressions())
    for (Statement& statement : compile_statements(slots, action.parameters(), expression)) {
      if (given < action.parameters().size()) find_definition(slots, action.parameters(), given, statement);
      statements.push_back(std::move(statement));
    }
  for (const auto& effect : action.simulated_effects())
    statements.push_back(compile_simulated_effect(slots, action.parameters(), effect));
  return statements;
}

}  // namespace zorvel::validation
