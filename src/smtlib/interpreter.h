#pragma once

#include <chrono>
#include <cstddef>
#include <iosfwd>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "smtlib/command_reader.h"
#include "smtlib/declarations.h"
#include "smtlib/objectives.h"
#include "smtlib/run_limits.h"
#include "smtlib/symbol_table.h"
#include "smtlib/term_builder.h"
#include "smtlib/term_maker.h"
#include "veskor.h"

namespace smtlib {

/// Runs SMT-LIB 2 scripts on a solver behind include/veskor.h. Each command does all it says or, after an
/// error, nothing, and the next one is run. Where the error was in something to be asserted, checks answer
/// `unknown` instead of `sat` until its level is popped. Out of memory ends the run.
class Interpreter {
 public:
  /// Answers go to `out`, warnings to `warnings`, if it is there.
  explicit Interpreter(std::ostream& out, std::ostream* warnings = nullptr);
  ~Interpreter();
  Interpreter(const Interpreter&) = delete;
  Interpreter& operator=(const Interpreter&) = delete;

  /// An option of the solver, as of vesk_set_option(). Its text if it is refused, else "".
  std::string set_solver_option(const std::string& key, const std::string& value);
  /// Each check ends with `unknown` after so many seconds; 0 for no limit.
  void set_time_limit(double seconds) { time_limit_seconds_ = seconds; }
  /// See vesk_set_memory_limit(). A check that reaches it is `unknown`; reached elsewhere it ends the run.
  void set_memory_limit(std::size_t bytes);
  /// Those of the whole run, from the first byte read on. When they end it, `unknown` is answered once more,
  /// unless the check that was running has answered so.
  RunLimits& limits() { return limits_; }

  /// Runs the commands of a script, up to its end or to `exit`. `name` stands for it in errors. What was
  /// declared and asserted before holds.
  void run(std::istream& script, const std::string& name);

  /// The environment of the run, made if it is not there; TermFault if it cannot be.
  vesk_env environment();
  /// As vesk_solve_with_assumptions(), under the limits of a check.
  int solve(const std::vector<vesk_term>& assumptions);

  bool has_failed() const { return has_failed_; }
  bool has_exited() const { return has_exited_; }
  /// Whether the run ended before its script did: out of memory, or by limits().
  bool has_ended_early() const { return has_ended_early_; }
  /// Counters of the search, times and memory, one `name value` a line; "" if nothing was read.
  std::string statistics() const;

 private:
  struct Handler {
    void (Interpreter::*run)(TokenCursor&);
    bool needs_environment;
  };
  /// Null for an unknown command.
  static const Handler* find_handler(std::string_view name);

  // A command reads all its arguments before it does anything.
  void assert_formula(TokenCursor& cursor);
  void assert_soft(TokenCursor& cursor);
  void check_sat(TokenCursor& cursor);
  void check_sat_assuming(TokenCursor& cursor);
  void echo(TokenCursor& cursor);
  void exit(TokenCursor& cursor);
  void get_assertions(TokenCursor& cursor);
  void get_assignment(TokenCursor& cursor);
  void get_info(TokenCursor& cursor);
  void get_model(TokenCursor& cursor);
  void get_objectives(TokenCursor& cursor);
  void get_option(TokenCursor& cursor);
  void get_unsat_assumptions(TokenCursor& cursor);
  void get_unsat_core(TokenCursor& cursor);
  void get_value(TokenCursor& cursor);
  void maximize(TokenCursor& cursor);
  void minimize(TokenCursor& cursor);
  void pop(TokenCursor& cursor);
  void push(TokenCursor& cursor);
  void reset(TokenCursor& cursor);
  void reset_assertions(TokenCursor& cursor);
  void set_info(TokenCursor& cursor);
  void set_logic(TokenCursor& cursor);
  void set_option(TokenCursor& cursor);

  struct Level {
    std::size_t num_symbols, num_sorts, num_assertions, num_objectives;
  };
  struct Assumption {
    vesk_term formula;
    std::string text;
  };
  /// Kept where an option says that somebody may ask for them.
  struct Assertion {
    vesk_term formula;
    std::string text;
    std::string name;  // by an annotation; "" for none
  };
  enum class Answer { none, sat, unsat, unknown };
  static constexpr std::size_t no_level = static_cast<std::size_t>(-1);

  void run_command(const Command& command);
  void note_if_lost(const Command& command, const std::string& fault);
  void start_environment();
  vesk_config make_config() const;
  void close_environment();
  bool numerals_are_real() const;
  void require_new_environment(Position where) const;
  Level current_level() const;
  void shrink_to(const Level& level);
  void shrink_assertions_to(const Level& level);
  void assert_objective(bool maximizes, TokenCursor& cursor);
  std::string option_error(const std::string& key, const std::string& value) const;
  std::set<void*> handles(vesk_term* (*list)(vesk_env, std::size_t*)) const;
  void check(const std::vector<Assumption>& assumptions);
  double check_seconds() const;
  std::string reason_unknown() const;
  void require_model(Position where) const;
  std::size_t read_count(TokenCursor& cursor) const;
  std::size_t read_limit(TokenCursor& cursor) const;
  bool set_own_option(const std::string& name, TokenCursor& cursor);
  static std::string solver_key(const std::string& name);
  /// What an option is set to: a constant or a symbol.
  std::string read_setting(TokenCursor& cursor) const;
  bool read_switch(TokenCursor& cursor) const;
  /// The stream for the answer of the command being run.
  std::ostream& answer();
  static int is_over(void* interpreter);

  std::ostream& out_;
  std::ostream* warnings_;
  RunLimits limits_;
  std::size_t memory_limit_bytes_ = 0;
  std::vector<std::pair<std::string, std::string>> options_;  // of the solver, as they were set
  std::size_t num_outer_options_ = 0;                         // of these, not by the script
  std::string logic_;
  vesk_env env_{nullptr};  // made when a command first needs it
  std::unique_ptr<TermMaker> maker_;
  std::unique_ptr<TermBuilder> builder_;
  std::unique_ptr<Declarations> declarations_;
  std::unique_ptr<Objectives> objectives_;
  SymbolTable symbols_;
  SortTable sorts_;
  std::vector<Assertion> assertions_;
  std::vector<Level> levels_;
  std::vector<Assumption> assumptions_;  // of the last check

  Answer last_answer_ = Answer::none;
  std::string unknown_reason_;
  // The lowest level on which an assertion was lost, and why; what deeper ones lost is popped before.
  std::size_t lost_level_ = no_level;
  std::string lost_reason_;
  bool declarations_are_global_ = false;
  bool print_success_ = false;
  bool has_answered_ = false;
  bool has_exited_ = false;
  bool has_failed_ = false;
  bool has_ended_early_ = false;
  bool keeps_assertions_ = false;   // :produce-assertions
  bool keeps_assignments_ = false;  // :produce-assignments
  bool keeps_cores_ = false;        // :produce-unsat-cores
  bool keeps_assumptions_ = true;   // :produce-unsat-assumptions
  double time_limit_seconds_ = 0;
  std::size_t timeout_ms_ = 0;      // :timeout
  std::size_t conflict_limit_ = 0;  // :reproducible-resource-limit
  std::chrono::steady_clock::time_point start_;
};

}  // namespace smtlib
