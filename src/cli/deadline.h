#pragma once

#include <chrono>
#include <string>

namespace zorvel::cli {

/// The time limit of a command, from its making on. A search ends in time by itself; reading, grounding and
/// the building of tables do not look at the clock, so a timer ends the program a little behind the limit:
/// with status `gave_up` and a line on standard error, and before anything else was written.
class Deadline {
 public:
  /// 0: no limit. At most one lives at a time. `last_words` is what the timer writes to standard output when
  /// it ends the program.
  explicit Deadline(double seconds, std::string last_words = {});
  ~Deadline();  ///< The timer is off.
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

  /// The seconds left for a search, as SearchLimits takes them: 0 without a limit, otherwise more than 0.
  double seconds_left() const;
  double seconds_passed() const;
  /// From here on the limit ends nothing by itself: there is a plan that must not be lost.
  void disarm();

 private:
  double seconds_;
  std::chrono::steady_clock::time_point started_;
};

}  // namespace zorvel::cli
