#pragma once

namespace smtlib {

/// Exit status of the program.
enum Status {
  success = 0,        ///< Every command was done.
  script_errors = 1,  ///< A command was not: standard output says which.
  bad_usage = 2,      ///< Bad usage, or a script that cannot be read.
  ended_early = 3     ///< The run ended before its scripts did, for want of memory.
};

/// Runs the program on a command line and returns its exit status. Answers go to standard output, also those
/// to faulty commands; statistics and bad usage to standard error.
int run_program(int argc, const char* const* argv);

}  // namespace smtlib
