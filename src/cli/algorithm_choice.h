#pragma once

#include <string>

#include "core/configuration.h"

namespace zorvel::cli {

/// The planner that a command line asks for: the one that it names; without a name the one that the other
/// options belong to, and `auto` if none of them belongs to a planner. InputError if they do not go together.
std::string choose_algorithm(const Configuration& options);

}  // namespace zorvel::cli
