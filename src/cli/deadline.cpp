#include "cli/deadline.h"

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "cli/program.h"

namespace zorvel::cli {

namespace {

// Longer than a search needs to notice that its time is over, and to hand over its plan.
constexpr double grace = 1.0;
constexpr double least = 1e-6;
constexpr double most = 1e9;

// For the handler: what it writes to standard output.
std::string last_words_of_program;

extern "C" void give_up(int) {
  // Only what a signal handler may call. On a terminal the line of progress is cleared.
  const auto put = [](int file, std::string_view text) {
    [[maybe_unused]] const auto written = write(file, text.data(), text.size());
  };
  if (isatty(STDERR_FILENO) != 0) put(STDERR_FILENO, "\r\x1b[K");
  put(STDERR_FILENO, "zorvel: no plan was found: the time limit was reached\n");
  put(STDOUT_FILENO, last_words_of_program);
  std::_Exit(gave_up);
}

void set_timer(double seconds) {
  itimerval timer{};
  timer.it_value.tv_sec = static_cast<time_t>(seconds);
  timer.it_value.tv_usec = static_cast<suseconds_t>((seconds - std::floor(seconds)) * 1e6);
  setitimer(ITIMER_REAL, &timer, nullptr);
}

}  // namespace

Deadline::Deadline(double seconds, std::string last_words)
    : seconds_(seconds), started_(std::chrono::steady_clock::now()) {
  if (seconds_ <= 0) return;
  last_words_of_program = std::move(last_words);
  std::signal(SIGALRM, &give_up);
  set_timer(std::min(seconds_, most) + grace);
}

Deadline::~Deadline() { disarm(); }

void Deadline::disarm() {
  if (seconds_ <= 0) return;
  set_timer(0);
  std::signal(SIGALRM, SIG_DFL);
}

double Deadline::seconds_left() const {
  if (seconds_ <= 0) return 0;
  return std::max(seconds_ - seconds_passed(), least);
}

double Deadline::seconds_passed() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - started_).count();
}

}  // namespace zorvel::cli
