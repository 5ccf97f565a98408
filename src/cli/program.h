#pragma once

namespace zorvel::cli {

/// Exit status of the program.
enum Status {
  success = 0,    ///< A plan was found, or the plan is valid.
  refuted = 1,    ///< There is no plan, or the plan is invalid.
  bad_input = 2,  ///< Bad usage, or a file that cannot be read or understood.
  gave_up = 3     ///< A limit, an interrupt, or an internal fault.
};

/// Runs the program on a command line and returns its exit status. Plans, problems and verdicts go to
/// standard output, everything else to standard error.
int run_program(int argc, const char* const* argv);

}  // namespace zorvel::cli
