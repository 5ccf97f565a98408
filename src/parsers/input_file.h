#pragma once

#include <fstream>
#include <string>

namespace zorvel {

/// Opens a file for reading. InvalidParameterError "Input file '<path>' does not exist!", "... is a
/// directory!" or "... cannot be read!".
std::ifstream open_input_file(const std::string& path);

}  // namespace zorvel
