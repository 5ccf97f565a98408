#pragma once

#include <string>
#include <utility>
#include <vector>

#include "solver/capi/solver_script.h"
#include "solver/num/qnumber.h"
#include "veskormax.h"

/// The text, which is freed; "null" for a null pointer.
inline std::string taken(char* text) {
  const std::string copy = text == nullptr ? "null" : text;
  vesk_free(text);
  return copy;
}

inline vesk::QNumber parsed(const std::string& text) {
  vesk::QNumber value;
  EXPECT_TRUE(vesk::QNumber::from_str(text, &value)) << text;
  return value;
}

/// A script with objectives, one after the other unless `priority` says "box".
class OptScript : public SolverScript {
 public:
  using Options = std::vector<std::pair<const char*, const char*>>;
  explicit OptScript(const char* priority = "lex", Options options = {})
      : SolverScript(with_priority(std::move(options), priority), vesk_create_opt_env) {}
  std::string value(vesk_objective objective, int api_code = VESK_OPTIMUM) {
    return taken(vesk_objective_value_repr(env, objective, api_code));
  }
  using SolverScript::value;
  vesk_objective minimize(vesk_term term) { return asserted(vesk_make_minimize(env, term)); }
  vesk_objective maximize(vesk_term term) { return asserted(vesk_make_maximize(env, term)); }
  vesk_objective asserted(vesk_objective objective) {
    EXPECT_EQ(vesk_assert_objective(env, objective), 0) << error();
    return objective;
  }
  std::size_t num_asserted() {
    std::size_t n = 0;
    vesk_free(vesk_get_asserted_formulas(env, &n));
    return n;
  }

 private:
  static Options with_priority(Options options, const char* priority) {
    options.emplace_back("opt.priority", priority);
    return options;
  }
};
