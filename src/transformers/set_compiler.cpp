#include "transformers/set_compiler.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "core/errors.h"
#include "core/log.h"
#include "core/unsupported_problem.h"
#include "model/constant.h"
#include "model/fluent.h"
#include "model/model_factory.h"
#include "model/walkers/expression_simplifier.h"
#include "model/walkers/expression_substituter.h"
#include "transformers/fresh_names.h"
#include "transformers/timed_statements.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

constexpr std::string_view unknown_to_set_compiler = "Found an action that is unknown to the set compiler!";
constexpr const char* outside_member = "A set is given a member outside of its type: ";

const TypePtr& element_type(const TypePtr& set) {
  assert(set->is_set());
  return static_cast<const SetTypeBase&>(*set).type();
}

/// Whether the type is a set; InternalError if it is one that no finite number of booleans can tell.
bool is_finite_set(const TypePtr& type, const std::string& name) {
  if (type->is_set() && !type->is_finite_domain())
    throw UnsupportedProblemError("Infinite sets are not supported: ")
        << type->reference_name() << ' ' << name;
  return type->is_set();
}

void require_no_set_parameter(const std::string& name, const ParameterVector& parameters) {
  for (const auto& parameter : parameters)
    if (parameter->type()->is_set())
      throw UnsupportedProblemError("Parameters that are sets are not supported: ") << name;
}

/// The parameters of a membership fluent or constant: the element, then those of the set.
ParameterVector with_element(const TypePtr& set, const ParameterVector& parameters) {
  FreshNames names;
  for (const auto& parameter : parameters) names.reserve(parameter->name());
  ParameterVector result{std::make_shared<ParameterImpl>(names.unique("_st"), element_type(set))};
  result.insert(result.end(), parameters.begin(), parameters.end());
  return result;
}

Node* rewritten(ExpressionSetCompiler& compiler, Node* expression) {
  const ExpressionForSet result = compiler(expression);
  compiler.clear_memoization();  // the members of every intermediate set would add up
  if (result.is_set())
    throw UnsupportedProblemError("Set compiler is not able to handle this expression: ")
        << print_expression{expression};
  return result.expression;
}

/// The statements that `compiled`, which was made of `original`, amounts to: those of the single members if
/// that was an assignment to a set.
std::vector<Node*> split(F& factory, Node* original, Node* compiled) {
  if (!F::is_assign(body_of(original)) || !F::is_and(body_of(compiled))) return {compiled};
  const bool is_timed = F::is_temporal_expression(compiled);
  Node* const interval =
      is_timed ? compiled->children[0] : factory.make_point_interval(factory.make_start_anchor());
  std::vector<Node*> result;
  for (Node* part : body_of(compiled)->operands())
    result.push_back(is_timed || !F::is_assign(part) ? factory.make_temporal_expression(interval, part)
                                                     : part);
  return result;
}

/// Turns memberships back into what they stand for: `s(e, x)` into `e in s(x)`.
class MembershipWalker : public ExpressionIdentity {
 public:
  MembershipWalker(Environment& environment, const NodeMap& old_heads)
      : ExpressionIdentity(environment), old_heads_(old_heads) {}

 protected:
  Node* walk_fluent_reference(Node* node) const override {
    const auto found =
        old_heads_.find(factory().make_fluent_reference(factory().get_fluent_from_reference(node), {}));
    if (found == old_heads_.end()) return ExpressionIdentity::walk_fluent_reference(node);
    std::vector<Node*> arguments = memoized_children(node);
    assert(!arguments.empty());  // a membership has its element first
    Node* const element = arguments.front();
    arguments.erase(arguments.begin());
    return factory().make_in(element, factory().make_fluent_reference(
                                          factory().get_fluent_from_reference(found->second), arguments));
  }

 private:
  const NodeMap& old_heads_;
};

}  // namespace

SetCompiler::SetCompiler(const ProblemPtr& problem)
    : OneToOneTransformer(problem, {unknown_to_set_compiler, unknown_to_set_compiler, "the set compiler"}) {}

void SetCompiler::do_computation() {
  require_flat("The set compiler can be only applied to flattened models!");
  ZORVEL_LOG(DEBUG) << "Set compiler started!";
  ExpressionSetCompiler compiler(*problem_, fluents_, constants_);
  ProblemParts parts(*problem_);
  add_fluents(parts);
  add_constants(compiler, parts);
  MetricRewriter metrics(*problem_);
  for (const auto& [name, action] : problem_->actions())
    parts.actions.push_back(without_sets(compiler, action, metrics));

  const ExpressionSimplifier simplify(env());
  const NodeRewrite rewrite = [&](Node* node) { return simplify(rewritten(compiler, node)); };
  parts.expressions.clear();
  parts.rewrite_statements(rewrite);
  for (Node* statement : problem_->expressions())
    for (Node* compiled : split(factory(), statement, rewritten(compiler, statement))) {
      Node* const part = simplify(compiled);
      if (F::is_assign(body_of(statement)) && F::is_kind(body_of(part), NodeKind::FALSE))
        throw InternalError(outside_member) << print_expression{statement};
      parts.expressions.push_back(part);
    }
  parts.metrics = metrics.metrics(rewrite);
  new_problem_ = parts.make(env());
  ZORVEL_LOG(DEBUG) << "Set compiling completed!";
}

void SetCompiler::add_fluents(ProblemParts& parts) {
  for (auto& fluent : parts.fluents) {
    require_no_set_parameter(fluent->name(), fluent->parameters());
    const auto old = fluent;
    if (is_finite_set(old->type(), old->name())) {
      fluent = env().model_factory().make_fluent(old->name(), env().model_factory().make_boolean_type(),
                                                 old->path(), with_element(old->type(), old->parameters()));
      old_heads_[factory().make_fluent_reference(fluent, {})] = factory().make_fluent_reference(old, {});
    }
    fluents_[old] = fluent;
  }
}

/// Those that are sets first: the values of the others may speak of them.
void SetCompiler::add_constants(ExpressionSetCompiler& compiler, ProblemParts& parts) {
  for (auto& constant : parts.constants) {
    require_no_set_parameter(constant->name(), constant->parameters());
    const auto old = constant;
    if (is_finite_set(old->type(), old->name()))
      constant = env().model_factory().make_constant(
          old->name(), env().model_factory().make_boolean_type(), old->path(),
          with_element(old->type(), old->parameters()), member_values(compiler, *old));
    constants_[old] = constant;
  }
  for (auto& constant : parts.constants) {
    const auto old = constants_.find(constant);
    if (old == constants_.end()) continue;  // a set before
    old->second = without_sets(compiler, constant);
    constant = old->second;
  }
}

/// One entry for each element and each entry of the set. The element comes first, so an entry for the
/// beginning of the arguments keeps standing for all that begin like this.
ConstantImpl::Values SetCompiler::member_values(ExpressionSetCompiler& compiler,
                                                const ConstantImpl& constant) const {
  const ExpressionSimplifier simplify(env());
  const std::vector<Node*>& domain = compiler.domain(element_type(constant.type()));
  assert(std::is_sorted(domain.begin(), domain.end(), NodeIdLess()));
  ConstantImpl::Values result;
  for (const auto& [key, table] : constant.all_values()) {
    if (table == nullptr) continue;
    const auto members_table = std::make_shared<FunctionValueImpl>();
    for (const auto& [arguments, value] : table->sorted_assignments()) {
      const ExpressionForSet set = compiler(simplify(value));
      compiler.clear_memoization();
      std::size_t inside = 0;
      std::vector<Node*> entry{nullptr};
      entry.insert(entry.end(), arguments.begin(), arguments.end());
      for (Node* item : domain) {
        const bool is_member = set.members.contains(item);
        inside += is_member ? 1 : 0;
        entry.front() = item;
        members_table->add_assignment(entry, factory().make_boolean_constant(is_member));
      }
      const bool is_known = std::ranges::all_of(
          set.members, [](const auto& member) { return F::is_kind(member.second, NodeKind::TRUE); });
      if (!set.is_set() || !is_known)
        throw UnsupportedProblemError("Set compiler is not able to handle this expression: ")
            << print_expression{value};
      if (inside != set.members.size())
        throw InternalError(outside_member) << constant.name() << " := " << print_expression{value};
    }
    result[key] = members_table;
  }
  return result;
}

std::shared_ptr<ConstantImpl> SetCompiler::without_sets(ExpressionSetCompiler& compiler,
                                                        const std::shared_ptr<ConstantImpl>& constant) const {
  const ExpressionSimplifier simplify(env());
  bool is_changed = false;
  ConstantImpl::Values values;
  for (const auto& [key, table] : constant->all_values()) {
    if (table == nullptr) continue;
    const auto new_table = std::make_shared<FunctionValueImpl>();
    for (const auto& [arguments, value] : table->sorted_assignments()) {
      Node* const plain = simplify(value);  // no reference to a constant that has a value is left
      Node* const new_value = rewritten(compiler, plain);
      is_changed |= new_value != plain;
      new_table->add_assignment(arguments, simplify(new_value));
    }
    values[key] = new_table;
  }
  if (!is_changed) return constant;
  return env().model_factory().make_constant(constant->name(), constant->type(), constant->path(),
                                             constant->parameters(), values);
}

std::shared_ptr<ActionImpl> SetCompiler::without_sets(ExpressionSetCompiler& compiler,
                                                      const std::shared_ptr<ActionImpl>& action,
                                                      MetricRewriter& metrics) {
  if (!action->simulated_effects().empty())
    throw UnsupportedProblemError("Set compiler cannot be applied to problem with simulated effects");
  require_no_set_parameter(action->name(), action->parameters());
  ParameterVector parameters;
  NodeMap references;
  for (const auto& parameter : action->parameters()) {
    parameters.push_back(std::make_shared<ParameterImpl>(parameter->name(), parameter->type()));
    references[factory().make_parameter_reference(parameter)] =
        factory().make_parameter_reference(parameters.back());
  }
  const ExpressionSubstituter substitute(env(), std::move(references), {}, false);
  const ExpressionSimplifier simplify(env());
  const auto finish = [&](Node* node) { return simplify(parameters.empty() ? node : substitute(node)); };
  std::vector<Node*> statements;
  for (Node* statement : action->expressions())
    for (Node* part : split(factory(), statement, rewritten(compiler, statement)))
      statements.push_back(finish(part));
  assert(parameters.size() == action->parameters().size());  // so that steps map back as they are
  const auto result = env().model_factory().make_action(action->name(), action->path(), action->is_process(),
                                                        parameters, statements, {});
  pair(action, result);
  metrics.carry_cost(action, result, [&](Node* cost) { return finish(rewritten(compiler, cost)); });
  return result;
}

Node* SetCompiler::condition_back(Node* post_condition) const {
  return MembershipWalker(env(), old_heads_)(post_condition);
}

Node* SetCompiler::condition_forward(Node* post_condition) const {
  ExpressionSetCompiler compiler(*problem_, fluents_, constants_);
  return rewritten(compiler, post_condition);
}

}  // namespace zorvel::model
