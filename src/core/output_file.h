#pragma once

#include <span>
#include <string>
#include <string_view>

namespace zorvel {

struct OutputText {
  std::string path;
  std::string_view text;
};

/// Makes each text the content of its file, all of them or none: on a failure old files keep their content.
/// Links are followed; permissions of an old file stay; devices and pipes are written directly, as the last
/// thing that can fail. Only the giving of names, behind that, is one by one.
/// InvalidParameterError "Unable to open file '<path>' for writing!", "Unable to write file '<path>': " and
/// the system's reason, or "Two texts are to be written to file '<path>'".
void write_output_files(std::span<const OutputText> outputs);

/// The same for one file.
void write_output_file(const std::string& path, std::string_view text);

}  // namespace zorvel
