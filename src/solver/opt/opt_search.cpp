#include "solver/opt/opt_search.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace vesk::opt {

namespace {
// Over the rationals halving need not come to an end.
constexpr int max_binary_steps = 64;
}  // namespace

std::optional<QNumber> compute_pivot(const std::optional<QNumber>& lower, const std::optional<QNumber>& upper,
                                     const QNumber& position, bool is_integer) {
  QNumber pivot;
  if (lower && upper) {
    pivot = *lower + position * (*upper - *lower);
    if (is_integer) {
      pivot = pivot.floor();
      if (pivot <= *lower) pivot = lower->floor() + QNumber(1);
    }
  } else if (upper && upper->sgn() <= 0) {
    pivot = upper->is_zero() ? QNumber(-1) : *upper * QNumber(10);
  } else if (lower && lower->sgn() >= 0) {
    pivot = lower->is_zero() ? QNumber(1) : *lower * QNumber(10);
  }
  if ((lower && pivot <= *lower) || (upper && pivot >= *upper)) return std::nullopt;
  if (is_integer) pivot = pivot.floor();
  return pivot;
}

OptSearch::OptSearch(const Configuration::Optimization& config, QNumber position, bool is_integer)
    : config_(config), position_(std::move(position)), is_integer_(is_integer) {}

bool OptSearch::wants_linear_step() const {
  if (config_.strategy == "lin") return true;
  if (consecutive_binary_ >= std::min(config_.bin_max_consecutive, max_binary_steps)) return true;
  // A pivot that was too low says that the best value is good already.
  return config_.strategy == "ada" && step_ == Step::binary && last_failed_;
}

std::optional<OptSearch::Demand> OptSearch::next_step() {
  assert(!is_over());
  if (num_steps_++ == 0) return std::nullopt;
  assert(best_);
  if (!wants_linear_step()) {
    const std::optional<QNumber> lower = lower_ ? std::optional(lower_->c) : std::nullopt;
    if (const auto pivot = compute_pivot(lower, best_->c, position_, is_integer_)) {
      step_ = Step::binary;
      ++consecutive_binary_;
      pivot_ = *pivot;
      return Demand{pivot_, !is_integer_};
    }
  }
  step_ = Step::linear;
  consecutive_binary_ = 0;
  // A bound that was only approached is met by any value up to it.
  return Demand{best_->c, best_->k.sgn() <= 0};
}

bool OptSearch::note_model(const la::DNumber& value, const QNumber& concrete) {
  last_failed_ = false;
  // why the concrete value: an infinitesimal on the wrong side tells how far below the model is, and no more.
  la::DNumber found = value.k.sgn() < 0 ? la::DNumber(concrete) : value;
  if (best_ && *best_ <= found) return false;
  best_ = std::move(found);
  return true;
}

void OptSearch::note_failure() {
  assert(best_ && num_steps_ > 1);
  last_failed_ = true;
  if (step_ == Step::linear)
    lower_ = best_;
  else
    note_bound(la::DNumber(is_integer_ ? pivot_ + QNumber(1) : pivot_));
}

void OptSearch::note_bound(const la::DNumber& bound) {
  la::DNumber whole = bound;
  if (is_integer_) whole = la::DNumber(bound.is_int() ? bound.c : bound.floor() + QNumber(1));
  if (!lower_ || *lower_ < whole) lower_ = std::move(whole);
}

}  // namespace vesk::opt
