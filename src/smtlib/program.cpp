#include "smtlib/program.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <fstream>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "smtlib/interpreter.h"
#include "veskor.h"

namespace smtlib {
namespace {

struct Arguments {
  std::string file;
  std::vector<std::string> options;
  double time_limit_seconds = 0;
  bool stats = false;
};

int fail(const std::string& text) {
  std::cerr << "veskor-run: " << text << '\n';
  return bad_usage;
}

int run(const Arguments& arguments) {
  Interpreter interpreter(std::cout);
  for (const std::string& option : arguments.options) {
    const std::size_t equals = option.find('=');
    if (equals == std::string::npos) return fail("-o takes KEY=VALUE, not '" + option + "'");
    const std::string error =
        interpreter.set_solver_option(option.substr(0, equals), option.substr(equals + 1));
    if (!error.empty()) return fail(error);
  }
  interpreter.set_time_limit(arguments.time_limit_seconds);
  if (arguments.file.empty() || arguments.file == "-") {
    interpreter.run(std::cin, "<stdin>");
  } else {
    std::ifstream script(arguments.file, std::ios::binary);
    if (!script || script.peek() == std::ifstream::traits_type::eof()) {
      // A folder opens like a file, but nothing can be read.
      if (!script.eof() || script.bad()) return fail("cannot read '" + arguments.file + "'");
    }
    interpreter.run(script, arguments.file);
  }
  if (arguments.stats) std::cerr << interpreter.statistics();
  return interpreter.has_ended_early() ? ended_early : interpreter.has_failed() ? script_errors : success;
}

}  // namespace

int run_program(int argc, const char* const* argv) {
  std::ios::sync_with_stdio(false);
  Arguments arguments;
  CLI::App app("Runs an SMT-LIB 2 script on the solver Veskor.", "veskor-run");
  app.add_option("FILE", arguments.file, "The script; standard input without it, or for '-'.");
  app.add_option("-o,--option", arguments.options, "An option of the solver, KEY=VALUE; may be repeated.")
      ->allow_extra_args(false);
  app.add_option("--time-limit", arguments.time_limit_seconds,
                 "Ends each check with 'unknown' after so many seconds; 0 for no limit.")
      ->check(CLI::NonNegativeNumber);
  app.add_flag("--stats", arguments.stats, "Prints the counters of the search at the end.");
  char* version = vesk_get_version();
  app.set_version_flag("--version", std::string(version));
  vesk_free(version);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error, std::cout, std::cerr) == 0 ? success : bad_usage;
  }
  try {
    return run(arguments);
  } catch (const std::bad_alloc&) {
    // Not even the message about it found room.
    std::cout << "(error \"out of memory\")" << std::endl;
    return ended_early;
  }
}

}  // namespace smtlib
