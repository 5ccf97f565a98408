#pragma once

#include <string>

namespace vesk {

/// All settings of one environment, as plain data. The option table (option_table.cpp) says which key sets
/// which field, and the defaults here are the documented ones.
struct Configuration {
  int verbosity = 0;
  bool model_generation = false;
  bool bool_model_generation = false;
  bool proof_generation = false;
  int unsat_core_generation = 0;
  bool unsat_core_minimization = false;
  bool interpolation = false;
  int random_seed = 91648253;

  struct Debug {
    bool solver_enabled = true;
    bool term_simplifications = true;
    bool dump_theory_lemmas = false;
    bool check_models = false;
  } debug;

  struct Preprocessor {
    /// Bits of `simplification`.
    enum Simplification {
      term_ite = 1,
      bit_vectors = 2,
      arrays = 4,
      global = 8,
      arithmetic = 16,
      pseudo_boolean = 32
    };

    bool toplevel_propagation = true;
    int toplevel_propagation_limit = 0;
    int simplification = 55;
    bool ite_minimization = false;
    int ite_minimization_call_limit = 150000;
    bool free_input_propagation = false;
    bool partial_nnf_conversion = false;
    bool full_cnf_conversion = false;
  } preprocessor;

  struct Dpll {
    enum Restart { geometric = 0, luby = 1, luby_agility = 2, glucose = 3 };

    int restart_strategy = geometric;
    int restart_initial = 200;
    double restart_geometric_factor = 1.5;
    bool store_tlemmas = false;
    double branching_random_frequency = 0.001;
    int branching_initial_phase = 0;
    int branching_cache_phase = 2;
    bool branching_random_invalidate_phase_cache = false;
    bool branching_random_ignore_polarity = true;
    bool ghost_filtering = false;
    bool minimize_model = false;
    bool pop_btpoint_reset_var_order = true;
    bool glucose_var_activity = false;
    bool glucose_learnt_minimization = false;
    bool learnt_minimization = true;  // no option changes it
    int preprocessor_mode = 0;
  } dpll;

  struct Theory {
    bool eq_propagation = true;
    int interface_eq_policy = 2;  // 0 lazy, 1 eager, 2 heuristic, 3 off
    bool pairwise_interface_eq = true;
    int interface_eq_batch_size = 100;
    bool pure_literal_filtering = false;
    int max_number_bits = 1 << 22;

    struct Euf {
      bool enabled = true;
      int dyn_ack = 0;
      int dyn_ack_threshold = 1;
      int dyn_ack_limit = 1000;
    } euf;

    struct La {
      bool enabled = true;
      bool split_rat_eq = true;
      bool delay_alien = false;
      int pivoting_greedy_threshold = 0;
      int lazy_expl_threshold = 10;
      bool pure_equality_filtering = true;
      bool detect_euf_fragment = false;
      bool deduction_enabled = true;
      bool model_mutation = true;
      bool laz_enabled = true;
      bool laz_equality_elimination = true;
      bool laz_internal_branch_and_bound = true;
      int laz_internal_branch_and_bound_limit = 1;
      int laz_cuts_from_proofs_mode = 3;
      bool laz_unit_cube_test = true;
    } la;
  } theory;

  struct Optimization {
    std::string priority = "box";
    std::string strategy = "bin";
    std::string lex_engine = "ite";
    std::string box_engine = "dpll";
    std::string maxsmt_engine = "omt";
    std::string asoft_encoding = "car";
    int asoft_circuit_limit = 20;
    bool asoft_no_bidirection = false;
    bool asoft_prefer_pbterms = true;
    bool asoft_reduce_vars = true;
    int bin_max_consecutive = 1;
    double bin_pivot_position = 0.5;
    int delta_pow = 6;
    int infinite_pow = 9;
  } opt;
};

}  // namespace vesk
