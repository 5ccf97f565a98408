#pragma once

#include <string>
#include <utility>
#include <vector>

#include "smtlib/random_script.h"

namespace solver_fuzz {

/// Keys of the solver, or, with a colon in front, of set-option, or `full_memory`: each so-manieth check
/// meets a limit of memory at its first look.
using Options = std::vector<std::pair<std::string, std::string>>;

/// Sets of the solver's options under which answers must be right.
const std::vector<Options>& option_sets();

/// A limit of time, under which answers are unknown now and then, and differ from run to run.
const Options& time_limit();

/// Whether an independent solver is there to compare answers with.
bool has_reference();

/// Runs a script on veskor-run's interpreter. Each `sat` is checked by evaluating every formula in force
/// under the values that the model gives to constants and to applications of functions, and the printed model
/// by the independent solver; each status, each set of refuted assumptions, and each core by itself, by that
/// solver. Answers may be unknown only where the options set a limit that says so. "" if all is well, else
/// what is wrong, and where. `transcript` gets all answers; it may be null.
std::string find_fault(const Script& script, const Options& options, std::string* transcript = nullptr);

/// A smaller script for which `is_faulty` still holds: steps taken out, formulas replaced by their parts.
template <typename Predicate>
Script reduce(Script script, Predicate is_faulty) {
  const auto try_out = [&](Script smaller) {
    if (!is_faulty(smaller)) return false;
    script = std::move(smaller);
    return true;
  };
  for (bool has_changed = true; has_changed;) {
    has_changed = false;
    for (std::size_t i = script.steps.size(); i-- > 0;) {
      Script smaller = script;
      smaller.steps.erase(smaller.steps.begin() + static_cast<std::ptrdiff_t>(i));
      has_changed |= try_out(std::move(smaller));
    }
    for (std::size_t i = 0; i < script.steps.size(); ++i) {
      if (script.steps[i].kind != Step::Kind::assertion) continue;
      const Expr formula = script.exprs[script.steps[i].exprs[0]];
      for (std::size_t part : formula.args) {
        if (script.exprs[part].sort != Sort::boolean) continue;
        Script smaller = script;
        smaller.steps[i].exprs[0] = part;
        if (try_out(std::move(smaller))) {
          has_changed = true;
          break;
        }
      }
    }
    for (std::size_t i = 0; i < script.exprs.size(); ++i)
      for (std::size_t part : std::vector<std::size_t>(script.exprs[i].args)) {
        const Expr replacement = script.exprs[part];
        if (replacement.sort != script.exprs[i].sort) continue;
        Script smaller = script;
        smaller.exprs[i] = replacement;
        if (try_out(std::move(smaller))) {
          has_changed = true;
          break;
        }
      }
  }
  return script;
}

}  // namespace solver_fuzz
