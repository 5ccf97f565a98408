#pragma once

#include <iosfwd>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "model/expression_scope.h"
#include "model/metric.h"
#include "model/type_scope.h"

namespace zorvel::model {

class InstanceImpl;
class ProblemSource;
class ModelFactory;

/// Pairs of labelled statements (before, after), ordered by node id.
struct NodePairIdLess {
  bool operator()(const std::pair<Node*, Node*>& a, const std::pair<Node*, Node*>& b) const {
    return std::pair(a.first->id, a.second->id) < std::pair(b.first->id, b.second->id);
  }
};
using LabelsOrdering = std::set<std::pair<Node*, Node*>, NodePairIdLess>;

/// `always-within` of PDDL 3 (Gerevini and Long, 2005): each state in which the trigger holds is, or is
/// followed within `limit` by, a state in which the response holds. A state begins behind the effects of its
/// instant.
struct AlwaysWithin {
  rational limit;
  Node* trigger;
  Node* response;
  friend bool operator==(const AlwaysWithin&, const AlwaysWithin&) = default;
};

/// The value at the start of a fluent for all arguments for which no statement of the form `[start] f(a) :=
/// v` gives one: the closed world of PDDL (Reiter, On Closed World Data Bases, 1978), which has far more
/// false atoms than a plan ever touches.
struct InitialDefault {
  std::shared_ptr<FluentImpl> fluent;
  Node* value;
  friend bool operator==(const InitialDefault&, const InitialDefault&) = default;
};

/// What a problem says beside its statements.
struct PlanRules {
  /// A condition at one instant and an effect of another action on a fluent that it names must be apart in
  /// time, in either order, as in PDDL 2.1 (Fox and Long, 2003). Of two effects that holds always; a
  /// condition over an interval is not concerned.
  bool has_mutual_exclusion = false;
  std::vector<AlwaysWithin> always_within;
  std::vector<InitialDefault> initial_defaults;  ///< One a fluent.
  friend bool operator==(const PlanRules&, const PlanRules&) = default;
};

using InstanceMap = std::map<std::string, std::shared_ptr<InstanceImpl>>;

/// One planning problem. Published by the factory's `make_problem_instance` and never changed afterwards, but
/// for the cache of `instances(type)` and the source.
class ProblemInstanceImpl : public TypeScope,
                            public ExpressionScope,
                            public std::enable_shared_from_this<ProblemInstanceImpl> {
 public:
  ProblemInstanceImpl(Environment& env, std::weak_ptr<ModelFactory> factory);
  ~ProblemInstanceImpl() override;

  bool has_instance(const std::string& name) const { return instances_.contains(name); }
  bool has_label(const std::string& name) const { return labels_.contains(name); }
  bool has_name(
      const std::string& name) const override;  ///< Adds instances to the scope's names, not labels.
  /// RedefinitionError "Instance '<name>' already defined".
  void add_instance(const std::shared_ptr<InstanceImpl>& instance);
  /// RedefinitionError "Label '<name>' already defined".
  void add_label(const std::string& name, Node* node);
  void add_labels_ordering(Node* before, Node* after) { labels_ordering_.emplace(before, after); }
  void add_metric(const std::shared_ptr<PlanQualityMetric>& metric) { metrics_.push_back(metric); }
  void set_rules(PlanRules rules) { rules_ = std::move(rules); }
  /// Adds to the first action-cost metric, making one if there is none.
  void add_action_cost(const std::shared_ptr<ActionImpl>& action, Node* cost);

  const InstanceMap& instances() const { return instances_; }
  /// All instances of the type or of a type derived from it; cached, so instances added later are not seen.
  const InstanceMap& instances(const TypePtr& type) const;
  const std::map<std::string, Node*>& labels() const { return labels_; }
  const LabelsOrdering& labels_ordering() const { return labels_ordering_; }
  const std::vector<std::shared_ptr<PlanQualityMetric>>& metrics() const { return metrics_; }
  const PlanRules& rules() const { return rules_; }

  /// Every fluent reference with constant arguments, fluents by name, the last parameter turning fastest.
  /// InvalidParameterError "The problem instance is not flat!" or "The problem instance contains a
  /// non-groundable fluent.".
  std::vector<Node*> all_ground_fluents(bool only_boolean) const;
  /// The same of the boolean fluents, with the objects of derived types as arguments too.
  std::vector<Node*> all_ground_atoms() const;
  bool is_flat() const;  ///< No user type holds actions, fluents or constants.
  bool has_contains() const;
  bool has_forall() const;
  bool has_continuous_change() const;
  void set_shared() { shared_ = true; }

  /// What the text of the problem says beyond its meaning; null if it was not read from one. Equal problems
  /// are one object: the text that was read last counts.
  const std::shared_ptr<const ProblemSource>& source() const { return source_; }
  void set_source(std::shared_ptr<const ProblemSource> source) { source_ = std::move(source); }

  friend bool operator==(const ProblemInstanceImpl& a, const ProblemInstanceImpl& b);
  std::size_t hash() const;

 private:
  /// Adds the references to the fluent with all combinations of the arguments.
  void add_references(const std::shared_ptr<FluentImpl>& fluent,
                      const std::vector<std::vector<Node*>>& arguments, std::vector<Node*>& references) const;

  std::weak_ptr<ModelFactory> factory_;
  bool shared_ = false;
  InstanceMap instances_;
  std::map<std::string, Node*> labels_;
  LabelsOrdering labels_ordering_;
  mutable std::map<TypePtr, InstanceMap> instances_by_type_;
  std::vector<std::shared_ptr<PlanQualityMetric>> metrics_;
  PlanRules rules_;
  std::shared_ptr<const ProblemSource> source_;
};

using ProblemPtr = std::shared_ptr<ProblemInstanceImpl>;

/// The problem as ANML text. Not every problem can be read back: see docs/anml.md.
std::ostream& operator<<(std::ostream& out, const ProblemPtr& problem);

/// Number of values of a finite type: 2, upper - lower + 1, 1, or the instances of exactly this type.
/// InvalidParameterError "The problem instance contains a non-groundable fluent." for a type that is not
/// finite or has more values than a machine word counts, InternalError "Found an undefined finite-domain
/// type" for a set.
std::size_t domain_size(const InstanceMap& instances, const TypePtr& type);

/// The `index`-th value of a finite type. Booleans: true, then false; user types: the instances of exactly
/// this type, by name. InternalError "Required element is out-of-bounds!" or "Found an undefined
/// finite-domain type".
Node* domain_item(Environment& env, const InstanceMap& instances, const TypePtr& type, std::size_t index);
Node* domain_item(Environment& env, const ProblemPtr& problem, const TypePtr& type, std::size_t index);
/// What one list of values may hold: each is a node that lives as long as the environment.
inline constexpr std::size_t max_listed_values = std::size_t{1} << 24;
/// UnsupportedProblemError that names the type if it has more values than that.
void require_listable(const TypeBase& type);
/// All values of a finite type, in the order of `domain_item`; the errors are those of `domain_size` and
/// `require_listable`.
std::vector<Node*> domain_items(Environment& env, const InstanceMap& instances, const TypePtr& type);
/// All values that may stand for a parameter of the type: as `domain_items`, and of a user type also the
/// instances of the types derived from it.
std::vector<Node*> values_for(const ProblemInstanceImpl& problem, const TypePtr& type);

}  // namespace zorvel::model
