#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "core/environment.h"
#include "search/frame/evaluation_tables.h"
#include "search/frame/state_view.h"
#include "state/search_state.h"

namespace zorvel {

/// The value that stands for a dead end. Callers test for exactly this one.
inline constexpr double dead_end = -1.0;

/// An estimate of the distance from a state to the goal.
class Heuristic : public EnvObject {
 public:
  explicit Heuristic(Environment& env) : EnvObject(env) {}
  /// The estimate, or `dead_end`.
  virtual double estimate(const StateView& state) = 0;
  /// The share w of the estimate in f = (1 - w) * g + w * h: the option `weight`, read at each call.
  virtual double weight() const;
  /// Whether equal assignments with equally far open actions always have one estimate that is costly enough
  /// to be worth remembering.
  virtual bool is_worth_caching() const { return false; }
  /// Whether the estimate depends on the path, through the note that it keeps with each state.
  virtual bool keeps_notes() const { return false; }
  /// The memory of tables that grow with the search.
  virtual std::uint64_t bytes() const { return 0; }
};

/// A user's own function of the state.
class HCustom : public Heuristic {
 public:
  /// Of the values, with the number of moves as g, and the index of the slots.
  using Function = std::function<double(const SearchState*, const StateIndex&)>;
  HCustom(Environment& env, std::shared_ptr<EvaluationTables> tables, Function function)
      : Heuristic(env), tables_(std::move(tables)), function_(std::move(function)) {}
  double estimate(const StateView& state) override;

 private:
  std::shared_ptr<EvaluationTables> tables_;
  Function function_;
};

/// The number of chains that are open, those of the problem's own timed statements included.
class HSize : public Heuristic {
 public:
  explicit HSize(Environment& env) : Heuristic(env) {}
  double estimate(const StateView& state) override { return static_cast<double>(state.open.size()); }
};

}  // namespace zorvel
