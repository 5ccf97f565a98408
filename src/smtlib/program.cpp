#include "smtlib/program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <iostream>
#include <new>
#include <streambuf>
#include <string>
#include <vector>

#include "smtlib/dimacs.h"
#include "smtlib/interpreter.h"
#include "veskor.h"

namespace smtlib {
namespace {

struct Arguments {
  std::vector<std::string> files;
  std::vector<std::string> options;
  double time_limit_seconds = 0;
  double total_time_limit_seconds = 0;
  double memory_limit_megabytes = 0;
  bool stats = false;
};

volatile std::sig_atomic_t signal_that_came = 0;

// The first signal asks for an end, the second one is not waited for.
extern "C" void note_signal(int number) {
  signal_that_came = number;
  std::signal(number, SIG_DFL);
}

/// Reads a file or pipe. While it waits for input, the run may be over: that is an end of the input.
class InputBuffer : public std::streambuf {
 public:
  InputBuffer(int file, RunLimits& limits) : file_(file), limits_(limits) {}

  /// False if the file cannot be read at all: a folder, for example.
  bool is_readable() { return sgetc() != traits_type::eof() || !has_failed_; }

 protected:
  int_type underflow() override {
    if (gptr() < egptr()) return traits_type::to_int_type(*gptr());
    ssize_t size = -1;
    while (!limits_.is_over() && size < 0) {
      pollfd input{file_, POLLIN, 0};
      // why a limit: A signal may come just before the waiting begins.
      constexpr int slice_ms = 50;
      const int ready = ::poll(&input, 1, slice_ms);
      if (ready == 0 || (ready < 0 && errno == EINTR)) continue;
      size = ::read(file_, buffer_.data(), buffer_.size());
      if (size < 0 && errno != EINTR && errno != EAGAIN) {
        has_failed_ = true;
        break;
      }
    }
    if (size <= 0) return traits_type::eof();
    setg(buffer_.data(), buffer_.data(), buffer_.data() + size);
    return traits_type::to_int_type(*gptr());
  }

 private:
  int file_;
  RunLimits& limits_;
  bool has_failed_ = false;
  std::array<char, 1 << 16> buffer_;
};

/// Closes a file that it opened.
struct File {
  explicit File(const std::string& path) : number(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (number >= 0) ::close(number);
  }
  int number;
};

int fail(const std::string& text) {
  std::cerr << "veskor-run: " << text << '\n';
  return bad_usage;
}

// What is asked for, and less than the system allows: GMP would end the process where the system does. The
// reserve is for what is taken between two looks at the memory, and for the way out.
std::size_t memory_limit(double megabytes) {
  constexpr double megabyte = 1 << 20;
  double bytes = megabytes * megabyte;
  rlimit system{};
  if (::getrlimit(RLIMIT_AS, &system) == 0 && system.rlim_cur != RLIM_INFINITY) {
    const double all = static_cast<double>(system.rlim_cur);
    const double allowed = all - std::max(8 * megabyte, all / 16);
    bytes = bytes == 0 ? allowed : std::min(bytes, allowed);
  }
  // The conversion of more than a size can say would not be defined, and is no limit either.
  return bytes < 1e18 ? static_cast<std::size_t>(std::max(bytes, 0.0)) : 0;
}

int status_of(Interpreter& interpreter) {
  if (const int signal = interpreter.limits().signal(); signal != 0) return killed + signal;
  if (interpreter.has_ended_early()) return ended_early;
  return interpreter.has_failed() ? script_errors : success;
}

int run_file(int file, const std::string& name, Interpreter& interpreter) {
  InputBuffer buffer(file, interpreter.limits());
  if (!buffer.is_readable()) return fail("cannot read '" + name + "'");
  std::istream script(&buffer);
  if (!is_dimacs(script)) {
    interpreter.run(script, name);
    return success;
  }
  return run_dimacs(script, name, interpreter, std::cout);
}

int run(const Arguments& arguments) {
  Interpreter interpreter(std::cout, &std::cerr);
  interpreter.limits().set_signal(&signal_that_came);
  interpreter.limits().set_seconds(arguments.total_time_limit_seconds);
  std::signal(SIGINT, note_signal);
  std::signal(SIGTERM, note_signal);
  for (const std::string& option : arguments.options) {
    const std::size_t equals = option.find('=');
    if (equals == std::string::npos) return fail("-o takes KEY=VALUE, not '" + option + "'");
    const std::string error =
        interpreter.set_solver_option(option.substr(0, equals), option.substr(equals + 1));
    if (!error.empty()) return fail(error);
  }
  interpreter.set_time_limit(arguments.time_limit_seconds);
  interpreter.set_memory_limit(memory_limit(arguments.memory_limit_megabytes));
  int status = success;
  for (const std::string& name : arguments.files) {
    if (interpreter.has_exited()) break;
    if (name == "-") {
      status = run_file(STDIN_FILENO, "<stdin>", interpreter);
    } else {
      const File file(name);
      if (file.number < 0) return fail("cannot read '" + name + "'");
      status = run_file(file.number, name, interpreter);
    }
    if (status == bad_usage) return status;
  }
  if (arguments.stats) std::cerr << interpreter.statistics();
  const int own = status_of(interpreter);
  return own != success ? own : status;
}

}  // namespace

int run_program(int argc, const char* const* argv) {
  std::ios::sync_with_stdio(false);
  Arguments arguments;
  CLI::App app("Runs SMT-LIB 2 scripts, or formulas in DIMACS form, on the solver Veskor.", "veskor-run");
  app.add_option("FILE", arguments.files,
                 "Scripts, run one after the other as if they were one; '-' is standard input, as is none.");
  app.add_option("-o,--option", arguments.options, "An option of the solver, KEY=VALUE; may be repeated.")
      ->allow_extra_args(false);
  app.add_option("--time-limit", arguments.time_limit_seconds,
                 "Ends each check with 'unknown' after so many seconds; 0 for no limit.")
      ->check(CLI::NonNegativeNumber);
  app.add_option("--total-time-limit", arguments.total_time_limit_seconds,
                 "Ends the run after so many seconds, reading included; 0 for no limit.")
      ->check(CLI::NonNegativeNumber);
  app.add_option("--memory-limit", arguments.memory_limit_megabytes,
                 "Megabytes of address space; a check that reaches it is 'unknown'. 0 for no limit.")
      ->check(CLI::NonNegativeNumber);
  app.add_flag("--stats", arguments.stats, "Prints the counters of the search, times and memory at the end.");
  char* version = vesk_get_version();
  app.set_version_flag("--version", std::string(version));
  vesk_free(version);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error, std::cout, std::cerr) == 0 ? success : bad_usage;
  }
  if (arguments.files.empty()) arguments.files.push_back("-");
  try {
    return run(arguments);
  } catch (const std::bad_alloc&) {
    // Not even the message about it found room.
    std::cout << "(error \"out of memory\")" << std::endl;
    return ended_early;
  }
}

}  // namespace smtlib
