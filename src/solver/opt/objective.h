#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "solver/env/model_store.h"
#include "solver/la/dnumber.h"
#include "solver/term/term.h"

namespace vesk::opt {

/// A number with an infinitesimal part, or an infinite one. The infinitesimal stands beside a bound that is
/// approached and not reached.
struct Value {
  int infinity = 0;  ///< -1, 0 or 1
  la::DNumber number;

  static Value infinite(int sign) { return {sign, {}}; }
  static Value finite(la::DNumber number) { return {0, std::move(number)}; }
  bool is_infinite() const { return infinity != 0; }
  bool is_strict() const { return infinity == 0 && !number.is_rational(); }
  Value negated() const {
    Value result = *this;
    result.infinity = -infinity;
    result.number.self_neg();
    return result;
  }
  /// "5", "-7/2", "5 + epsilon", "5 - epsilon", "oo" or "-oo".
  std::string to_str() const {
    if (is_infinite()) return infinity < 0 ? "-oo" : "oo";
    const std::string text = number.c.to_str();
    return !is_strict() ? text : text + (number.k.sgn() < 0 ? " - epsilon" : " + epsilon");
  }
};

/// What a caller minimises or maximises. Made, kept and destroyed by its OptEnvironment.
struct Objective {
  bool maximizes = false;
  Term term = nullptr;
  /// A constant of the solver's own that `definition` makes equal to the term, or to its negative if that is
  /// maximised: it is always minimised.
  Term constant = nullptr;
  Term definition = nullptr;
  bool is_deferred = false;  ///< the definition is asserted by checks that need it
  int number = 0;            ///< in the constant's name; no two that are alive have the same
  bool is_asserted = false;
  bool is_destroyed = false;  ///< by its owner; it lives on as long as it is asserted

  /// What the last check came to, as the caller sees it: nothing, for an objective that was not searched.
  struct Outcome {
    std::optional<Value> optimum;  ///< only after the answer satisfiable
    Value lower = Value::infinite(-1);
    Value upper = Value::infinite(1);
    std::shared_ptr<ModelStore> model;  ///< the best one
  };
  std::optional<Outcome> outcome;
};

}  // namespace vesk::opt
