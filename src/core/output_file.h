#pragma once

#include <string>
#include <string_view>

namespace zorvel {

/// Makes `text` the content of a file, wholly or not at all: on a failure an old file keeps its content.
/// Links are followed; permissions of an old file stay; devices and pipes are written directly.
/// InvalidParameterError "Unable to open file '<path>' for writing!" or "Unable to write file '<path>': " and
/// the system's reason.
void write_output_file(const std::string& path, std::string_view text);

}  // namespace zorvel
