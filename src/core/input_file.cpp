#include "core/input_file.h"

#include <array>
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

std::string read_all(std::istream& stream) {
  std::string text;
  std::array<char, 1 << 16> piece;
  while (stream.read(piece.data(), piece.size()), stream.gcount() > 0)
    text.append(piece.data(), static_cast<std::size_t>(stream.gcount()));
  if (stream.bad() || !stream.eof()) throw InvalidParameterError("The input cannot be read");
  return text;
}

}  // namespace zorvel
