#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "core/environment.h"
#include "core/output_file.h"
#include "search/frame/planner.h"

namespace zorvel::cli {

/// Runs `write` on a stream to the file, which gets the text whole or not at all, or to standard output if
/// `path` is empty. InputError with the reason if it cannot be written.
void write_to(const std::string& path, const std::function<void(std::ostream&)>& write);

/// Writes each text to its file, all of them or none, and what has no path to standard output. InputError
/// with the reason if something cannot be written.
void write_all(const std::vector<OutputText>& outputs);

/// Where a command tells what is not its answer: standard error, or nowhere with the option `quiet`. Errors,
/// and why there is no plan, do not go this way.
std::ostream& remarks(const Configuration& options);

/// Prints the environment's warnings from number `first` on, unless it is to be quiet; the number of all.
std::size_t print_warnings(Environment& env, std::size_t first = 0);

/// One line on the terminal that follows a search; nothing where standard error is no terminal.
class ProgressLine {
 public:
  ProgressLine();
  ~ProgressLine();  ///< Clears the line.
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  bool is_on() const { return is_on_; }
  void show(const SearchProgress& progress);

 private:
  bool is_on_;
  bool is_shown_ = false;
};

}  // namespace zorvel::cli
