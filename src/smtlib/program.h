#pragma once

namespace smtlib {

/// Exit status of the program.
enum Status {
  success = 0,        ///< Every command was done.
  script_errors = 1,  ///< A command was not: standard output says which.
  bad_usage = 2,      ///< Bad usage, or a script that cannot be read.
  ended_early = 3,    ///< The limit of the whole run, or memory, ended it.
  satisfiable = 10,   ///< The answer to a formula in DIMACS form.
  unsatisfiable = 20,
  killed = 128  ///< Plus the number of the signal that ended the run.
};

/// Runs the program on a command line and returns its exit status. Answers go to standard output, also those
/// to faulty commands; statistics, warnings and bad usage to standard error.
int run_program(int argc, const char* const* argv);

}  // namespace smtlib
