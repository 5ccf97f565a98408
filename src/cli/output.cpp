#include "cli/output.h"

#include <unistd.h>

#include <iostream>
#include <sstream>

#include "cli/commands.h"
#include "core/errors.h"
#include "core/log.h"

namespace zorvel::cli {

void write_all(const std::vector<OutputText>& outputs) {
  std::vector<OutputText> files;
  for (const OutputText& output : outputs)
    if (!output.path.empty()) files.push_back(output);
  try {
    write_output_files(files);
  } catch (const InvalidParameterError& error) {
    throw InputError(error.what());
  }
  for (const OutputText& output : outputs)
    if (output.path.empty()) std::cout << output.text;
  std::cout.flush();
  if (!std::cout) throw InputError("standard output cannot be written");
}

void write_to(const std::string& path, const std::function<void(std::ostream&)>& write) {
  std::ostringstream text;
  write(text);
  write_all({{path, text.view()}});
}

std::ostream& remarks(const Configuration& options) {
  static std::ostream nowhere(nullptr);
  return options.get_boolean_value("quiet") ? nowhere : std::cerr;
}

std::size_t print_warnings(Environment& env, std::size_t first) {
  const auto& warnings = env.warning_manager().warnings();
  if (Log::enabled(LogLevel::WARNING)) return warnings.size();  // the log has said them already
  for (std::size_t i = first; i < warnings.size(); ++i)
    remarks(env.configuration()) << "zorvel: warning: " << warnings[i] << '\n';
  return warnings.size();
}

ProgressLine::ProgressLine() : is_on_(::isatty(STDERR_FILENO) != 0) {}

ProgressLine::~ProgressLine() {
  if (is_shown_) std::cerr << "\r\033[K" << std::flush;
}

void ProgressLine::show(const SearchProgress& progress) {
  if (!is_on_) return;
  is_shown_ = true;
  std::ostringstream line;
  line << "\r\033[K" << progress.expanded << " expanded, " << progress.open << " open";
  if (progress.best_estimate >= 0) line << ", best estimate " << progress.best_estimate;
  line.precision(1);
  line << std::fixed << ", " << static_cast<double>(progress.stored_bytes) / (1024.0 * 1024.0) << " MiB, "
       << progress.seconds << " s";
  std::cerr << line.str() << std::flush;
}

}  // namespace zorvel::cli
