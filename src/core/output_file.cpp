#include "core/output_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "core/errors.h"

namespace zorvel {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void refuse_opening(const std::string& path) {
  throw InvalidParameterError("Unable to open file '") << path << "' for writing!";
}
[[noreturn]] void refuse_writing(const std::string& path, int reason) {
  throw InvalidParameterError("Unable to write file '")
      << path << "': " << std::generic_category().message(reason);
}

/// 0, or the number of the error. Closes the file in any case.
int write_and_close(int file, std::string_view text, bool to_disk) {
  int error = 0;
  while (error == 0 && !text.empty()) {
    const ssize_t written = ::write(file, text.data(), text.size());
    if (written >= 0)
      text.remove_prefix(static_cast<std::size_t>(written));
    else if (errno != EINTR)
      error = errno;
  }
  if (error == 0 && to_disk && ::fsync(file) != 0) error = errno;
  if (::close(file) != 0 && error == 0) error = errno;
  return error;
}

}  // namespace

void write_output_file(const std::string& path, std::string_view text) {
  std::error_code ignored;
  const fs::file_status status = fs::status(path, ignored);
  if (fs::exists(status) && (fs::is_directory(status) || ::access(path.c_str(), W_OK) != 0))
    refuse_opening(path);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    const int file = ::open(path.c_str(), O_WRONLY);
    if (file < 0) refuse_opening(path);
    if (const int error = write_and_close(file, text, false)) refuse_writing(path, error);
    return;
  }
  const fs::path target = fs::exists(status) ? fs::canonical(path, ignored) : fs::path(path);
  const std::string draft = target.string() + ".part" + std::to_string(::getpid());
  const int file = ::open(draft.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (file < 0) refuse_opening(path);
  int error = write_and_close(file, text, true);
  if (fs::exists(status)) fs::permissions(draft, status.permissions(), ignored);
  if (error == 0 && std::rename(draft.c_str(), target.c_str()) != 0) error = errno;
  if (error == 0) return;
  fs::remove(draft, ignored);
  refuse_writing(path, error);
}

}  // namespace zorvel
