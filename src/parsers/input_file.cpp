#include "parsers/input_file.h"

#include <filesystem>

#include "core/errors.h"

namespace zorvel {

std::ifstream open_input_file(const std::string& path) {
  const auto refuse = [&](const char* why) {
    throw InvalidParameterError("Input file '") << path << "' " << why;
  };
  std::error_code ignored;
  if (!std::filesystem::exists(path, ignored)) refuse("does not exist!");
  if (std::filesystem::is_directory(path, ignored)) refuse("is a directory!");
  std::ifstream file(path, std::ios::binary);
  if (!file) refuse("cannot be read!");
  return file;
}

}  // namespace zorvel
