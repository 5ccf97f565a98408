#pragma once

#include <cstdint>
#include <optional>

#include "solver/config/configuration.h"
#include "solver/la/dnumber.h"
#include "solver/num/qnumber.h"

namespace vesk::opt {

/// The number to try next between two bounds, of which null is an infinite one: `position` of the way from
/// `lower` to `upper`, or away from 0 where one of them is infinite. Whole if `is_integer`. Null if there is
/// none strictly between the bounds.
std::optional<QNumber> compute_pivot(const std::optional<QNumber>& lower, const std::optional<QNumber>& upper,
                                     const QNumber& position, bool is_integer);

/// The search for the least value of one constant: what to ask for next, and what the answers have shown.
///
/// A linear step asks for a value below the best one; when it fails the best one is the optimum. A binary
/// step asks for one below a pivot; when it fails, the pivot is a lower bound. Nothing here knows of terms.
class OptSearch {
 public:
  /// `position` is where pivots lie between the bounds, see compute_pivot().
  OptSearch(const Configuration::Optimization& config, QNumber position, bool is_integer);

  /// `constant < bound`, or `constant <= bound` unless `is_strict`.
  struct Demand {
    QNumber bound;
    bool is_strict = false;
  };
  /// Chooses the next step; its demand is null for the first one, which asks for nothing. Not when is_over().
  std::optional<Demand> next_step();

  /// A model of value `value`, which is `concrete` there, was found. True if it is the best one until now.
  bool note_model(const la::DNumber& value, const QNumber& concrete);
  /// Such a model, from which the value falls without end.
  void note_ray() { is_unbounded_ = true; }
  /// No model meets the demand of the last step.
  void note_failure();
  /// No value lies below `bound`.
  void note_bound(const la::DNumber& bound);

  bool is_over() const { return is_unbounded_ || (best_ && lower_ && *best_ <= *lower_); }
  bool is_unbounded() const { return is_unbounded_; }
  /// Null: no model yet, or no bound.
  const std::optional<la::DNumber>& best() const { return best_; }
  const std::optional<la::DNumber>& lower() const { return lower_; }
  std::uint64_t num_steps() const { return num_steps_; }

 private:
  enum class Step { linear, binary };
  bool wants_linear_step() const;

  const Configuration::Optimization& config_;
  QNumber position_;
  bool is_integer_;
  std::optional<la::DNumber> lower_, best_;
  bool is_unbounded_ = false;
  Step step_ = Step::linear;
  QNumber pivot_;
  int consecutive_binary_ = 0;  // steps since the last linear one
  bool last_failed_ = false;
  std::uint64_t num_steps_ = 0;
};

}  // namespace vesk::opt
