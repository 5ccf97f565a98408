#pragma once

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "model/problem_instance.h"
#include "transformers/basic_transformer.h"

// Which transformers there are, and how they are put one behind the other. Planners, the validator and the
// program all take them from the one table here, by name.

namespace zorvel::model {

/// What the building of a chain depends on beside the problem.
struct ChainOptions {
  bool prune_actions = true;         ///< The grounder leaves out actions that can never be taken.
  bool steps_are_atomic = false;     ///< For a planner in which nothing happens during a step.
  bool keeps_all_values = false;     ///< Somebody reads fluents that the problem does not speak of.
  ProblemPtr bounding_problem = {};  ///< What the bounder takes its objects from; it needs one.
};

/// One transformer.
struct TransformerRow {
  std::string_view name;
  /// Whether a problem has what the transformer takes out; a chain leaves it out otherwise.
  bool (*is_needed)(const ProblemInstanceImpl& problem);
  std::shared_ptr<BasicTransformer> (*make)(const ProblemPtr& problem, const ChainOptions& options);
  /// Throws an InternalError if the new problem is not what it has to be; null: nothing to test.
  void (*check)(const ProblemInstanceImpl& problem) = nullptr;
};

/// All transformers, by name.
std::span<const TransformerRow> transformer_table();
/// Null for an unknown name.
const TransformerRow* find_transformer(std::string_view name);

/// A problem and the transformers that brought it into its present form.
class TransformerChain {
 public:
  using Names = std::span<const std::string_view>;

  explicit TransformerChain(ProblemPtr problem) : problem_(std::move(problem)) {}

  /// Runs the transformer of this name if the problem needs it; one that changes nothing leaves no trace.
  void apply(std::string_view name, const ChainOptions& options = {});
  void apply(Names names, const ChainOptions& options = {});

  const ProblemPtr& problem() const { return problem_; }  ///< Behind all transformers.
  const std::vector<std::shared_ptr<BasicTransformer>>& transformers() const { return transformers_; }
  /// A plan of `problem()` as a plan of the problem that the chain began with.
  std::shared_ptr<Plan> map_back(std::shared_ptr<Plan> plan) const;

 private:
  ProblemPtr problem_;
  std::vector<std::shared_ptr<BasicTransformer>> transformers_;
};

/// Whether some user type of the problem declares actions, fluents, constants or user types of its own.
bool has_members(const ProblemInstanceImpl& problem);

/// Whether a set occurs in a type of the problem, in an expression of the problem or of an action, or in the
/// value of a constant.
bool uses_sets(const ProblemInstanceImpl& problem);

/// Whether an expression of the problem or of an action speaks of a condition that holds at some moment.
bool uses_contains(const ProblemInstanceImpl& problem);

}  // namespace zorvel::model
