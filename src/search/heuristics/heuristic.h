#pragma once

#include <cstdint>
#include <functional>

#include "core/environment.h"
#include "state/search_state.h"

namespace zorvel {

namespace tp::ftp {
struct DenseView;
}

/// The value that stands for a dead end. Callers test for exactly this one.
inline constexpr double dead_end = -1.0;

/// An estimate of the distance from a state to the goal.
class Heuristic : public EnvObject {
 public:
  explicit Heuristic(Environment& env) : EnvObject(env) {}
  /// The estimate, or `dead_end`.
  virtual double operator()(const SearchState& state) = 0;
  /// The share w of the estimate in f = (1 - w) * g + w * h: the option `weight`, read at each call.
  virtual double weight() const;
  /// The estimate for a state in the dense form of the temporal search. By default the state is spelled out
  /// as a plain one, which costs far more than most estimates do.
  virtual double evaluate(const tp::ftp::DenseView& view);
  /// Whether equal assignments with equally far open actions always have one estimate that is costly enough
  /// to be worth remembering.
  virtual bool is_worth_caching() const { return false; }
  /// The memory of tables that grow with the search.
  virtual std::uint64_t bytes() const { return 0; }
};

/// A user's own function of the state.
class HCustom : public Heuristic {
 public:
  using Function = std::function<double(const SearchState*, const StateIndex&)>;
  /// `index` must outlive the heuristic.
  HCustom(Environment& env, const StateIndex& index, Function function)
      : Heuristic(env), index_(index), function_(std::move(function)) {}
  double operator()(const SearchState& state) override { return function_(&state, index_); }

 private:
  const StateIndex& index_;
  Function function_;
};

/// The number of open actions of a temporal state.
class HSize : public Heuristic {
 public:
  explicit HSize(Environment& env) : Heuristic(env) {}
  double operator()(const SearchState& state) override;
  double evaluate(const tp::ftp::DenseView& view) override;
};

/// The state as a temporal one, which it must be: plain states have no open actions.
const tp::SearchState& temporal(const SearchState& state);

}  // namespace zorvel
