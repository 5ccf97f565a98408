#include "transformers/grounding/action_checks.h"

#include <map>
#include <utility>

#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/walkers/check_contains_walker.h"
#include "model/walkers/expression_parts.h"
#include "transformers/grounding/statements.h"
#include "transformers/timed_statements.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;
using Slot = StaticProgram::Slot;

/// An effect in the program. The checks on pairs are quadratic in the effects on one fluent, so beyond this
/// many pairs clashes are left to the statements themselves.
struct EffectSlots {
  bool from_start;
  Slot offset;  // added to the start, or subtracted from the end
  std::vector<Slot> arguments;
};
constexpr std::size_t max_clash_checks = 500;

class CheckCompiler {
 public:
  CheckCompiler(Environment& env, StaticProgram& program)
      : env_(env),
        factory_(env.expression_factory()),
        program_(program),
        contains_fluent_(env, NodeKind::FLUENT_REFERENCE) {}

  void add_whole(Node* statement) { checks_.push_back({program_.compile(statement), false}); }
  void add_parts(Node* statement);
  void add_domain_tests(Node* statement);
  void add_effect(Node* statement);
  void add_clashes();
  std::vector<StaticCheck> take() { return std::move(checks_); }

 private:
  EffectSlots read_time(Node* anchor);
  std::vector<Slot> compile_arguments(const FluentImpl& fluent, const Node* application);

  Environment& env_;
  ExpressionFactory& factory_;
  StaticProgram& program_;
  CheckContainsWalker contains_fluent_;
  std::vector<StaticCheck> checks_;
  std::map<std::uint64_t, std::vector<EffectSlots>>
      effects_;  // by id of the fluent's reference without arguments
};

void CheckCompiler::add_parts(Node* statement) {
  Node* const body = body_of(statement);
  if (body != statement) checks_.push_back({program_.compile(statement->children[0]), false});
  for (Node* conjunct : conjuncts_of(body)) checks_.push_back({program_.compile(conjunct), true});
}

std::vector<Slot> CheckCompiler::compile_arguments(const FluentImpl& fluent, const Node* application) {
  std::vector<Slot> result;
  for (std::size_t i = 0; i < application->arity; ++i)
    result.push_back(program_.compile_argument(program_.compile(application->children[i]),
                                               fluent.parameters()[i]->type()));
  return result;
}

void CheckCompiler::add_domain_tests(Node* statement) {
  // An equation with a fluent on both sides may have the same one there, and then holds in any domain.
  const auto enter = [this](const Node* node) {
    return !F::is_equals(node) || !contains_fluent_(node->children[0]) ||
           !contains_fluent_(node->children[1]);
  };
  for (const Node* application : decisive_applications(statement, enter)) {
    const auto fluent = factory_.get_fluent_from_reference(application);
    if (fluent->arity() != application->arity) continue;
    std::vector<Slot> numbers;
    std::vector<TypePtr> types;
    for (std::size_t i = 0; i < application->arity; ++i) {
      const TypePtr type = fluent->parameters()[i]->type();
      if (!type->is_integer() && !type->is_rational()) continue;
      Node* const argument = application->children[i];
      if (F::is_parameter_reference(argument) &&
          factory_.get_parameter_from_reference(argument)->type() == type)
        continue;
      numbers.push_back(program_.compile(argument));
      types.push_back(type);
    }
    if (!numbers.empty()) checks_.push_back({program_.compile_domain_test(numbers, std::move(types)), true});
  }
}

/// A time of the forms `start`, `start + k`, `end`, `end - k` and k; the offset of any other is not known.
EffectSlots CheckCompiler::read_time(Node* anchor) {
  Node* const zero = factory_.make_integer_constant(integer(0));
  if (F::is_start_anchor(anchor)) return {true, program_.compile(zero), {}};
  if (F::is_end_anchor(anchor)) return {false, program_.compile(zero), {}};
  const bool is_shift = anchor->arity == 2 && (F::is_plus(anchor) || F::is_minus(anchor));
  if (is_shift && F::is_plus(anchor) && F::is_start_anchor(anchor->children[0]))
    return {true, program_.compile(anchor->children[1]), {}};
  if (is_shift && F::is_minus(anchor) && F::is_end_anchor(anchor->children[0]))
    return {false, program_.compile(anchor->children[1]), {}};
  return {true, program_.compile(anchor), {}};
}

void CheckCompiler::add_effect(Node* statement) {
  Node* const body = body_of(statement);
  if (!F::is_assign(body) || !F::is_fluent_reference(body->children[0])) return;
  if (body != statement && !factory_.is_point_interval(statement->children[0])) return;
  const Node* const reference = body->children[0];
  const auto fluent = factory_.get_fluent_from_reference(reference);
  if (fluent->arity() != reference->arity) return;
  auto effect =
      read_time(body == statement ? factory_.make_start_anchor() : statement->children[0]->children[0]);
  effect.arguments = compile_arguments(*fluent, reference);
  effects_[factory_.make_fluent_reference(fluent, {})->id].push_back(std::move(effect));
}

void CheckCompiler::add_clashes() {
  std::size_t pairs = 0;
  for (const auto& [id, effects] : effects_) {
    for (std::size_t i = 0; i < effects.size(); ++i) {
      for (std::size_t j = i + 1; j < effects.size() && pairs < max_clash_checks; ++j) {
        if (effects[i].from_start != effects[j].from_start) continue;
        ++pairs;
        const Slot times = program_.compile_difference({effects[i].offset}, {effects[j].offset}, true);
        const Slot targets = program_.compile_difference(effects[i].arguments, effects[j].arguments, false);
        checks_.push_back({program_.compile_alternative(times, targets), true});
      }
    }
  }
}

}  // namespace

std::vector<StaticCheck> compile_checks(Environment& env, StaticProgram& program,
                                        const std::vector<Node*>& statements, bool prune_actions,
                                        bool refuses_clashes) {
  CheckCompiler compiler(env, program);
  for (Node* statement : statements) {
    if (!prune_actions) {
      compiler.add_whole(statement);
      continue;
    }
    compiler.add_parts(statement);
    compiler.add_domain_tests(statement);
    compiler.add_effect(statement);
  }
  if (refuses_clashes) compiler.add_clashes();
  return compiler.take();
}

}  // namespace zorvel::model
