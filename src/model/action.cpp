#include "model/action.h"

#include <algorithm>
#include <ostream>

#include "model/expression_factory.h"
#include "model/hash_mix.h"
#include "model/model_factory.h"
#include "model/walkers/check_contains_walker.h"

namespace zorvel::model {

namespace {

bool is_plain_end(const Node* time) {
  return ExpressionFactory::is_start_anchor(time) || ExpressionFactory::is_end_anchor(time);
}

bool begins_inside(const Node* statement) {
  const Node* interval = statement->children[0];
  return interval->arity > 0 && !is_plain_end(interval->children[0]);
}

bool ends_inside(const Node* statement) {
  const Node* interval = statement->children[0];
  return interval->arity > 1 && !is_plain_end(interval->children[1]);
}

/// `duration :in [a, b]`, bare or timed; null for another expression.
const Node* duration_interval(const Node* expression) {
  if (ExpressionFactory::is_in_assign(expression)) return expression->children[1];
  if (ExpressionFactory::is_temporal_expression(expression) &&
      ExpressionFactory::is_in_assign(expression->children[1]))
    return expression->children[1]->children[1];
  return nullptr;
}

bool some_contains(Environment& env, const ExpressionSet& expressions, NodeKind kind) {
  const CheckContainsWalker contains(env, kind);
  return std::any_of(expressions.begin(), expressions.end(), [&](Node* node) { return contains(node); });
}

}  // namespace

ActionImpl::ActionImpl(Environment& env, std::weak_ptr<ModelFactory> factory, std::string name,
                       std::vector<std::string> path, bool is_process)
    : EnvObject(env),
      ExpressionScope(env),
      factory_(std::move(factory)),
      name_(std::move(name)),
      path_(std::move(path)),
      is_process_(is_process) {}

ActionImpl::~ActionImpl() {
  if (!shared_) return;
  if (const auto factory = factory_.lock()) factory->remove_action(this);
}

void ActionImpl::add_parameter(const std::shared_ptr<ParameterImpl>& parameter) {
  append_parameter(parameters_, parameter, "action");
}

void ActionImpl::add_simulated_effect(const std::shared_ptr<SimulatedEffectImpl>& effect) {
  simulated_effects_.push_back(effect);
}

bool ActionImpl::is_temporally_uncertain(bool any_duration) const {
  for (const Node* expression : expressions_) {
    const Node* interval = duration_interval(expression);
    if (interval == nullptr) continue;
    return any_duration || (interval->arity == 2 && interval->children[0] != interval->children[1]);
  }
  return false;
}

bool ActionImpl::has_intermediate_effects() const {
  return std::any_of(expressions_.begin(), expressions_.end(), [](const Node* statement) {
    return ExpressionFactory::is_temporal_expression(statement) &&
           (begins_inside(statement) || ends_inside(statement));
  });
}

ExpressionSet ActionImpl::intermediate_expressions() const {
  ExpressionSet result;
  for (Node* statement : expressions_) {
    if (!ExpressionFactory::is_temporal_expression(statement)) continue;
    const bool is_assignment = ExpressionFactory::is_assign(statement->children[1]);
    if (begins_inside(statement) || (!is_assignment && ends_inside(statement))) result.insert(statement);
  }
  return result;
}

bool ActionImpl::has_continuous_change() const { return some_contains(env(), expressions_, NodeKind::TIME); }

bool ActionImpl::has_forall() const { return some_contains(env(), expressions_, NodeKind::FORALL); }

bool operator==(const ActionImpl& a, const ActionImpl& b) {
  return a.name_ == b.name_ && a.path_ == b.path_ && a.is_process_ == b.is_process_ &&
         a.parameters_ == b.parameters_ && a.expressions_ == b.expressions_ &&
         a.simulated_effects_ == b.simulated_effects_;
}

std::size_t ActionImpl::hash() const {
  std::size_t result = hash_signature(name_, path_, parameters_);
  for (const Node* expression : expressions_) result = mix_hash(result, expression->id);
  return result;
}

std::ostream& operator<<(std::ostream& out, const std::shared_ptr<ActionImpl>& action) {
  out << "action " << action->name();
  if (action->has_parameters())
    print_parameters(out, action->parameters());
  else
    out << "()";
  out << " {\n";
  for (Node* expression : action->expressions()) out << to_anml(expression) << ";\n";
  return out << "};";
}

}  // namespace zorvel::model
