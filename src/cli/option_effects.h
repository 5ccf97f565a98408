#pragma once

#include <string>

#include "core/configuration.h"

// Which options have an effect where. An option that is given where it has none is refused: whoever wrote it
// expects something of it.

namespace zorvel::cli {

/// The planner that a command line asks for: the one that it names; without a name `ftp` if an option was
/// given that `auto` does not have and `ftp` has, and `auto` otherwise. InputError for an option that only
/// other planners have.
std::string choose_algorithm(const Configuration& options);

/// InputError for an option that was given and has no effect in this command, or with this planner where the
/// command has one; the text names what does have an effect. `algorithm` is empty for other commands.
void check_options(const Configuration& options, const std::string& command,
                   const std::string& algorithm = {});

}  // namespace zorvel::cli
