#include "solver/config/option_table.h"

#include <limits>

namespace vesk {
namespace {

using C = Configuration;
constexpr double big = std::numeric_limits<int>::max();

OptionRow row_i(const char* key, int& (*field)(C&), double low, double high, const char* help) {
  return {key, 'i', field, nullptr, nullptr, nullptr, low, high, nullptr, help};
}
OptionRow row_b(const char* key, bool& (*field)(C&), const char* help) {
  return {key, 'b', nullptr, field, nullptr, nullptr, 0, 0, nullptr, help};
}
OptionRow row_f(const char* key, double& (*field)(C&), double low, double high, const char* help) {
  return {key, 'f', nullptr, nullptr, field, nullptr, low, high, nullptr, help};
}
OptionRow row_t(const char* key, std::string& (*field)(C&), const char* choices, const char* help) {
  return {key, 't', nullptr, nullptr, nullptr, field, 0, 0, choices, help};
}

// A row for something that this solver does not have: no value but the default may be set.
OptionRow only(const char* value, OptionRow row) {
  row.only = value;
  return row;
}

}  // namespace

std::span<const OptionRow> option_table() {
  // clang-format off
  static const OptionRow table[] = {
    row_i("verbosity", [](C& c) -> int& { return c.verbosity; }, 0, 2, "how much is logged"),
    row_b("model_generation", [](C& c) -> bool& { return c.model_generation; }, "build a model after a satisfiable result"),
    row_b("bool_model_generation", [](C& c) -> bool& { return c.bool_model_generation; }, "model of the atoms seen by the Boolean search only"),
    row_b("proof_generation", [](C& c) -> bool& { return c.proof_generation; }, "not supported: checks fail when set"),
    row_i("unsat_core_generation", [](C& c) -> int& { return c.unsat_core_generation; }, 0, 3, "0 off; 1, 2 and 3 all label each assertion"),
    row_b("unsat_core_minimization", [](C& c) -> bool& { return c.unsat_core_minimization; }, "leave out of a core what it does not need"),
    row_b("interpolation", [](C& c) -> bool& { return c.interpolation; }, "not supported: checks fail when set"),
    row_i("random_seed", [](C& c) -> int& { return c.random_seed; }, 0, big, "seed of the pseudo-random numbers"),
    only("true", row_b("allow_bool_function_args", nullptr, "Boolean arguments are always allowed")),
    only("0", row_i("debug.api_call_trace", nullptr, 0, big, "")),
    only("", row_t("debug.api_call_trace_filename", nullptr, nullptr, "")),
    only("false", row_b("debug.api_call_trace_dump_config", nullptr, "")),
    row_b("debug.dump_theory_lemmas", [](C& c) -> bool& { return c.debug.dump_theory_lemmas; }, "print each clause of the theories to standard error"),
    row_b("debug.solver_enabled", [](C& c) -> bool& { return c.debug.solver_enabled; }, "false: every check is unknown"),
    row_b("debug.check_models", [](C& c) -> bool& { return c.debug.check_models; }, "evaluate every model over the assertions before the answer is given"),
    only("", row_t("debug.log_sections", nullptr, nullptr, "")),
    row_b("debug.term_simplifications", [](C& c) -> bool& { return c.debug.term_simplifications; }, "false: terms are built as asked for"),
    only("0", row_i("printer.bv_number_format", nullptr, 0, big, "")),
    only("0", row_i("printer.fp_number_format", nullptr, 0, big, "")),
    only("", row_t("printer.defines_prefix", nullptr, nullptr, "")),
    only("false", row_b("printer.model_as_formula", nullptr, "")),
    row_b("preprocessor.toplevel_propagation", [](C& c) -> bool& { return c.preprocessor.toplevel_propagation; }, "propagate top-level facts"),
    row_i("preprocessor.toplevel_propagation_limit", [](C& c) -> int& { return c.preprocessor.toplevel_propagation_limit; }, 0, big, "number of passes, 0 unlimited"),
    row_i("preprocessor.simplification", [](C& c) -> int& { return c.preprocessor.simplification; }, 0, 63, "bits: 1 term-ite, 2 bit vectors, 4 arrays, 8 global, 16 arithmetic, 32 pseudo-Boolean"),
    row_b("preprocessor.ite_minimization", [](C& c) -> bool& { return c.preprocessor.ite_minimization; }, "simplify ites by the conditions they stand under"),
    row_i("preprocessor.ite_minimization_call_limit", [](C& c) -> int& { return c.preprocessor.ite_minimization_call_limit; }, 0, big, "ites looked at in one formula, 0 unlimited"),
    only("false", row_b("preprocessor.free_input_propagation", [](C& c) -> bool& { return c.preprocessor.free_input_propagation; }, "")),
    only("false", row_b("preprocessor.interpolation_ite_elimination", nullptr, "")),
    row_b("preprocessor.partial_nnf_conversion", [](C& c) -> bool& { return c.preprocessor.partial_nnf_conversion; }, "push negations inwards first"),
    row_b("preprocessor.full_cnf_conversion", [](C& c) -> bool& { return c.preprocessor.full_cnf_conversion; }, "a label for every connective, also where a formula is a clause already"),
    only("false", row_b("maxdpll.share_learnt_clauses", nullptr, "")),
    row_i("dpll.restart_strategy", [](C& c) -> int& { return c.dpll.restart_strategy; }, 0, 3, "0 geometric, 1 Luby, 2 Luby with agility, 3 Glucose"),
    row_i("dpll.restart_initial", [](C& c) -> int& { return c.dpll.restart_initial; }, 1, big, "first restart, or Luby unit, in conflicts"),
    row_f("dpll.restart_geometric_factor", [](C& c) -> double& { return c.dpll.restart_geometric_factor; }, 1, 1000000000.0, "growth of the geometric limit"),
    row_b("dpll.store_tlemmas", [](C& c) -> bool& { return c.dpll.store_tlemmas; }, "keep the clauses of the theories for retrieval"),
    row_f("dpll.branching_random_frequency", [](C& c) -> double& { return c.dpll.branching_random_frequency; }, 0, 1, "share of random decisions"),
    row_i("dpll.branching_initial_phase", [](C& c) -> int& { return c.dpll.branching_initial_phase; }, 0, 2, "0 false, 1 true, 2 by polarity"),
    row_i("dpll.branching_cache_phase", [](C& c) -> int& { return c.dpll.branching_cache_phase; }, 0, 2, "0 off, 1 except the last level, 2 always"),
    row_b("dpll.branching_random_invalidate_phase_cache", [](C& c) -> bool& { return c.dpll.branching_random_invalidate_phase_cache; }, "a random decision forgets the cached phase"),
    row_b("dpll.branching_random_ignore_polarity", [](C& c) -> bool& { return c.dpll.branching_random_ignore_polarity; }, "a random decision takes a random sign"),
    row_b("dpll.ghost_filtering", [](C& c) -> bool& { return c.dpll.ghost_filtering; }, "do not decide atoms whose clauses are satisfied"),
    row_b("dpll.minimize_model", [](C& c) -> bool& { return c.dpll.minimize_model; }, "take out of a model what its clauses do not need"),
    only("false", row_b("dpll.allsat_minimize_model", nullptr, "")),
    only("false", row_b("dpll.allsat_allow_duplicates", nullptr, "")),
    row_b("dpll.pop_btpoint_reset_var_order", [](C& c) -> bool& { return c.dpll.pop_btpoint_reset_var_order; }, "a pop rebuilds the decision heap"),
    row_b("dpll.glucose_var_activity", [](C& c) -> bool& { return c.dpll.glucose_var_activity; }, "bump again what clauses of low LBD imply"),
    row_b("dpll.glucose_learnt_minimization", [](C& c) -> bool& { return c.dpll.glucose_learnt_minimization; }, "shorten learnt clauses by binary ones"),
    only("0", row_i("dpll.preprocessor.mode", [](C& c) -> int& { return c.dpll.preprocessor_mode; }, 0, 2, "")),
    only("20", row_i("dpll.preprocessor.clause_size_limit", nullptr, 0, big, "")),
    only("1000", row_i("dpll.preprocessor.subsumption_size_limit", nullptr, 0, big, "")),
    only("0", row_i("dpll.preprocessor.elimination_grow_limit", nullptr, -big, big, "")),
    only("1", row_i("dpll.preprocessor.elimination_phase", nullptr, 0, big, "")),
    only("false", row_b("dpll.preprocessor.elimination_recent_vars_only", nullptr, "")),
    only("true", row_b("dpll.preprocessor.try_reelimination", nullptr, "")),
    only("0", row_i("dpll.interpolation_mode", nullptr, 0, big, "")),
    only("false", row_b("dpll.proof_simplification", nullptr, "")),
    row_b("theory.eq_propagation", [](C& c) -> bool& { return c.theory.eq_propagation; }, "theories exchange equalities"),
    row_i("theory.interface_eq_policy", [](C& c) -> int& { return c.theory.interface_eq_policy; }, 0, 3, "0 lazy, 1 eager, 2 lazy, equations that arithmetic implies first, 3 off"),
    row_b("theory.pairwise_interface_eq", [](C& c) -> bool& { return c.theory.pairwise_interface_eq; }, "the eager policy takes all pairs of shared numbers, not only those in the same place of one function"),
    row_i("theory.interface_eq_batch_size", [](C& c) -> int& { return c.theory.interface_eq_batch_size; }, 0, big, "equalities made at once, 0 unlimited"),
    row_b("theory.pure_literal_filtering", [](C& c) -> bool& { return c.theory.pure_literal_filtering; }, "spare the theories the sign in which an atom does not occur"),
    row_i("theory.max_number_bits", [](C& c) -> int& { return c.theory.max_number_bits; }, 64, big, "bits of the largest numerator or denominator"),
    row_b("theory.euf.enabled", [](C& c) -> bool& { return c.theory.euf.enabled; }, "uninterpreted functions"),
    only("0", row_i("theory.euf.dyn_ack", [](C& c) -> int& { return c.theory.euf.dyn_ack; }, 0, 2, "")),
    only("1", row_i("theory.euf.dyn_ack_threshold", [](C& c) -> int& { return c.theory.euf.dyn_ack_threshold; }, 0, big, "")),
    only("1000", row_i("theory.euf.dyn_ack_limit", [](C& c) -> int& { return c.theory.euf.dyn_ack_limit; }, 0, big, "")),
    row_b("theory.la.enabled", [](C& c) -> bool& { return c.theory.la.enabled; }, "linear arithmetic"),
    row_b("theory.la.split_rat_eq", [](C& c) -> bool& { return c.theory.la.split_rat_eq; }, "split false equalities by a lemma"),
    row_b("theory.la.delay_alien", [](C& c) -> bool& { return c.theory.la.delay_alien; }, "delay equalities between shared terms to the complete check"),
    only("false", row_b("theory.la.dl_enabled", nullptr, "")),
    row_i("theory.la.pivoting_greedy_threshold", [](C& c) -> int& { return c.theory.la.pivoting_greedy_threshold; }, 0, big, "pivots before Bland's rule, 0 by the number of variables"),
    row_i("theory.la.lazy_expl_threshold", [](C& c) -> int& { return c.theory.la.lazy_expl_threshold; }, 0, big, "longer explanations wait until they are needed"),
    row_b("theory.la.pure_equality_filtering", [](C& c) -> bool& { return c.theory.la.pure_equality_filtering; }, "do not split equalities of one polarity"),
    only("false", row_b("theory.la.detect_euf_fragment", [](C& c) -> bool& { return c.theory.la.detect_euf_fragment; }, "")),
    row_b("theory.la.deduction_enabled", [](C& c) -> bool& { return c.theory.la.deduction_enabled; }, "derive implied bounds"),
    row_b("theory.la.model_mutation", [](C& c) -> bool& { return c.theory.la.model_mutation; }, "move values apart before equalities between theories are guessed"),
    row_b("theory.la.laz_enabled", [](C& c) -> bool& { return c.theory.la.laz_enabled; }, "integer arithmetic"),
    row_b("theory.la.laz_equality_elimination", [](C& c) -> bool& { return c.theory.la.laz_equality_elimination; }, "integer equalities"),
    only("true", row_b("theory.la.laz_internal_branch_and_bound", [](C& c) -> bool& { return c.theory.la.laz_internal_branch_and_bound; }, "branch inside the theory")),
    only("1", row_i("theory.la.laz_internal_branch_and_bound_limit", [](C& c) -> int& { return c.theory.la.laz_internal_branch_and_bound_limit; }, 0, big, "0 unlimited, 1 proportional to the variables")),
    only("3", row_i("theory.la.laz_cuts_from_proofs_mode", [](C& c) -> int& { return c.theory.la.laz_cuts_from_proofs_mode; }, 0, 3, "0 off, 1 always, 2 external, 3 external with equalities")),
    only("true", row_b("theory.la.laz_unit_cube_test", [](C& c) -> bool& { return c.theory.la.laz_unit_cube_test; }, "try the unit cube first")),
    row_t("opt.priority", [](C& c) -> std::string& { return c.opt.priority; }, "box lex par", "how objectives combine"),
    row_t("opt.strategy", [](C& c) -> std::string& { return c.opt.strategy; }, "lin bin ada", "search for an optimum"),
    row_t("opt.lex.engine", [](C& c) -> std::string& { return c.opt.lex_engine; }, "uni ite", "lexicographic engine"),
    row_t("opt.box.engine", [](C& c) -> std::string& { return c.opt.box_engine; }, "dpll full partial", "box engine"),
    row_t("opt.maxsmt_engine", [](C& c) -> std::string& { return c.opt.maxsmt_engine; }, "omt maxres ext", "engine for soft formulas"),
    row_t("opt.asoft.encoding", [](C& c) -> std::string& { return c.opt.asoft_encoding; }, "la seq car", "encoding of soft formulas"),
    row_i("opt.asoft.circuit_limit", [](C& c) -> int& { return c.opt.asoft_circuit_limit; }, 0, big, "largest circuit"),
    row_b("opt.asoft.no_bidirection", [](C& c) -> bool& { return c.opt.asoft_no_bidirection; }, "one direction of the encoding only"),
    row_b("opt.asoft.prefer_pbterms", [](C& c) -> bool& { return c.opt.asoft_prefer_pbterms; }, "pseudo-Boolean terms first"),
    row_b("opt.asoft.reduce_vars", [](C& c) -> bool& { return c.opt.asoft_reduce_vars; }, "no Boolean label for soft formulas"),
    row_i("opt.bin.max_consecutive", [](C& c) -> int& { return c.opt.bin_max_consecutive; }, 0, big, "binary steps in a row"),
    row_f("opt.bin.pivot_position", [](C& c) -> double& { return c.opt.bin_pivot_position; }, 0, 1, "place of the pivot in the range"),
    row_i("opt.theory.la.delta_pow", [](C& c) -> int& { return c.opt.delta_pow; }, 0, 1000, "exponent of the stand-in for an infinitesimal"),
    row_i("opt.theory.la.infinite_pow", [](C& c) -> int& { return c.opt.infinite_pow; }, 0, 1000, "exponent of the stand-in for infinity"),
    only("false", row_b("opt.soft_timeout", nullptr, "")),
    only("false", row_b("opt.verbose", nullptr, "")),
    only("", row_t("opt.output_format", nullptr, nullptr, "")),
    only("false", row_b("opt.debug.expand_soft", nullptr, "")),
    only("false", row_b("opt.box.shuffle", nullptr, "")),
    only("0", row_i("opt.box.branch_preference", nullptr, 0, big, "")),
    only("", row_t("opt.par.engine", nullptr, nullptr, "")),
    only("", row_t("opt.par.mode", nullptr, nullptr, "")),
    only("false", row_b("opt.par.print_model", nullptr, "")),
    only("0", row_f("opt.abort_interval", nullptr, 0, 1000000000.0, "")),
  };
  // clang-format on
  return table;
}

}  // namespace vesk
