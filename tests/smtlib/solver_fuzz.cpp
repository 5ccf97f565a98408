// Random scripts on veskor-run's interpreter, for as long as one likes: solver_fuzz [FROM [COUNT]].
// The first faulty seed is reduced and printed. A crash says its seed; run again from that seed with COUNT 1.

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "smtlib/script_oracle.h"

namespace {

using namespace solver_fuzz;  // NOLINT: a program of one file

volatile unsigned current_seed = 0;

extern "C" void name_the_seed(int signal_number) {
  char digits[16];
  std::size_t size = sizeof digits;
  digits[--size] = '\n';
  for (unsigned rest = current_seed; size > 0; rest /= 10) {
    digits[--size] = static_cast<char>('0' + rest % 10);
    if (rest < 10) break;
  }
  const char text[] = "crash in seed ";
  if (::write(2, text, sizeof text - 1) < 0 || ::write(2, digits + size, sizeof digits - size) < 0) _exit(2);
  std::signal(signal_number, SIG_DFL);
  std::raise(signal_number);
}

/// In a process of its own, so that a crash is a fault, too.
bool is_faulty(const Script& script, const Options& options) {
  const pid_t child = ::fork();
  if (child == 0) {
    std::signal(SIGABRT, SIG_DFL);
    std::signal(SIGSEGV, SIG_DFL);
    if (std::freopen("/dev/null", "w", stderr) == nullptr) _exit(1);
    ::alarm(100);
    _exit(find_fault(script, options).empty() ? 0 : 1);
  }
  int status = 0;
  return child > 0 && ::waitpid(child, &status, 0) == child && status != 0;
}

int report(unsigned seed, const Script& script, const Options& options) {
  const Script small = reduce(script, [&](const Script& s) { return is_faulty(s, options); });
  std::cout << "seed " << seed << "\n";
  for (const auto& [key, value] : options)
    std::cout << "(set-option " << (key[0] == ':' ? "" : ":veskor.") << key << ' ' << value << ")\n";
  std::cout << small.text() << std::flush;
  std::cout << find_fault(small, options) << std::endl;
  return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  const unsigned from = argc > 1 ? static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)) : 0;
  const unsigned count = argc > 2 ? static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)) : 1000000;
  if (!has_reference()) std::cerr << "Z3 is missing: only models are checked\n";
  std::signal(SIGABRT, name_the_seed);
  std::signal(SIGSEGV, name_the_seed);
  for (unsigned seed = from; seed - from < count; ++seed) {
    current_seed = seed;
    const Script script = seed % 8 == 7 ? random_integer_script(seed) : random_script(seed);
    const std::size_t set = seed / 3 % (option_sets().size() + 1);
    const Options& options = set < option_sets().size() ? option_sets()[set] : time_limit();
    const bool has_fault = count == 1 ? is_faulty(script, options) : !find_fault(script, options).empty();
    if (has_fault) return report(seed, script, options);
    if ((seed - from + 1) % 1000 == 0) std::cerr << seed - from + 1 << " scripts\n";
  }
  std::cout << count << " scripts without a fault" << std::endl;
  return EXIT_SUCCESS;
}
