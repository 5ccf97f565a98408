#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "cli/program.h"
#include "core/environment.h"

namespace zorvel::cli {

/// A command line that makes no sense, or a file that cannot be understood. The text is for the user, without
/// the program's name.
struct InputError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The options are those of the environment's configuration.
Status solve(Environment& env, const std::vector<std::string>& files);
Status validate(Environment& env, const std::vector<std::string>& files);
/// A page about a plan, valid or not.
Status report_plan(Environment& env, const std::vector<std::string>& files);
/// Says what stands out in a problem, without planning.
Status check(Environment& env, const std::vector<std::string>& files);
Status transform(Environment& env, const std::vector<std::string>& files);
/// Writes a problem in another language.
Status convert(Environment& env, const std::vector<std::string>& files);

/// Names of the transformers that `transform` knows.
const std::vector<std::string>& transformer_names();

}  // namespace zorvel::cli
