#pragma once

#include <fstream>
#include <istream>
#include <string>

namespace zorvel {

/// Opens a file for reading. InvalidParameterError "Input file '<path>' does not exist!", "... is a
/// directory!" or "... cannot be read!".
std::ifstream open_input_file(const std::string& path);

/// The rest of the stream. InvalidParameterError "The input cannot be read" if it fails.
std::string read_all(std::istream& stream);

}  // namespace zorvel
