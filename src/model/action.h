#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "model/expression_scope.h"
#include "model/parameter.h"
#include "model/simulated_effect.h"

namespace zorvel::model {

class ModelFactory;

/// An action: formal parameters, and all its conditions, effects and duration constraints as expressions.
/// Interned: same name, path, parameter objects, expressions, simulated effects and process flag give the
/// same action.
class ActionImpl : public ExpressionScope, public ParametricObject {
 public:
  using SimulatedEffects = std::vector<std::shared_ptr<SimulatedEffectImpl>>;

  ActionImpl(Environment& env, std::weak_ptr<ModelFactory> factory, std::string name,
             std::vector<std::string> path, bool is_process);
  ~ActionImpl() override;

  const std::string& name() const { return name_; }
  const std::vector<std::string>& path() const { return path_; }
  bool is_process() const { return is_process_; }
  bool has_parameters() const { return !parameters_.empty(); }
  const ParameterVector& parameters() const { return parameters_; }
  const SimulatedEffects& simulated_effects() const { return simulated_effects_; }
  /// RedefinitionError "Parameter '<name>' already defined for this action".
  void add_parameter(const std::shared_ptr<ParameterImpl>& parameter);
  void add_simulated_effect(const std::shared_ptr<SimulatedEffectImpl>& effect);
  void set_shared() { shared_ = true; }

  /// Looks at the first statement `duration :in [a, b]`: with `any_duration` its presence is enough,
  /// otherwise a and b must be different nodes.
  bool is_temporally_uncertain(bool any_duration) const;
  /// Whether some timed statement begins or ends elsewhere than at the plain start or end of the action.
  bool has_intermediate_effects() const;
  /// The statements that make it so, by id; an assignment is judged by the beginning of its interval alone.
  ExpressionSet intermediate_expressions() const;
  bool has_continuous_change() const;
  bool has_forall() const;

  friend bool operator==(const ActionImpl& a, const ActionImpl& b);
  std::size_t hash() const;

 private:
  std::weak_ptr<ModelFactory> factory_;
  std::string name_;
  std::vector<std::string> path_;
  bool is_process_;
  bool shared_ = false;
  ParameterVector parameters_;
  SimulatedEffects simulated_effects_;
};

/// Orders actions by name, in byte order.
struct ActionLt {
  bool operator()(const std::shared_ptr<ActionImpl>& a, const std::shared_ptr<ActionImpl>& b) const {
    return a->name() < b->name();
  }
};

/// "action name(type p, ...) {", the expressions in order of id, "};".
std::ostream& operator<<(std::ostream& out, const std::shared_ptr<ActionImpl>& action);

}  // namespace zorvel::model
