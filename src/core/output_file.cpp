#include "core/output_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

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

/// A text that is to become the content of a file.
class Draft {
 public:
  /// Writes the text beside the file, unless that is a device or a pipe.
  explicit Draft(const OutputText& output) : path_(output.path), text_(output.text) {
    std::error_code ignored;
    const fs::file_status status = fs::status(path_, ignored);
    if (fs::exists(status) && (fs::is_directory(status) || ::access(path_.c_str(), W_OK) != 0))
      refuse_opening(path_);
    is_device_ = fs::exists(status) && !fs::is_regular_file(status);
    target_ = fs::exists(status) ? fs::canonical(path_, ignored) : fs::path(path_);
    if (!is_device_) write_draft(status);
  }
  Draft(Draft&& other) noexcept
      : path_(std::move(other.path_)),
        text_(other.text_),
        target_(std::move(other.target_)),
        draft_(std::exchange(other.draft_, {})),
        is_device_(other.is_device_) {}
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;
  Draft& operator=(Draft&&) = delete;
  ~Draft() {
    std::error_code ignored;
    if (!draft_.empty()) fs::remove(draft_, ignored);
  }

  const fs::path& target() const { return target_; }

  void write_device() const {
    if (!is_device_) return;
    const int file = ::open(path_.c_str(), O_WRONLY);
    if (file < 0) refuse_opening(path_);
    if (const int error = write_and_close(file, text_, false)) refuse_writing(path_, error);
  }

  void give_name() {
    if (is_device_) return;
    if (std::rename(draft_.c_str(), target_.c_str()) != 0) refuse_writing(path_, errno);
    draft_.clear();
  }

 private:
  void write_draft(const fs::file_status& old) {
    const std::string draft = target_.string() + ".part" + std::to_string(::getpid());
    const int file = ::open(draft.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (file < 0) refuse_opening(path_);
    draft_ = draft;
    const int error = write_and_close(file, text_, true);
    std::error_code ignored;
    if (fs::exists(old)) fs::permissions(draft_, old.permissions(), ignored);
    if (error == 0) return;
    fs::remove(draft_, ignored);  // an object that is not whole has no destructor
    refuse_writing(path_, error);
  }

  std::string path_;
  std::string_view text_;
  fs::path target_;
  fs::path draft_;  // empty: there is none
  bool is_device_ = false;
};

}  // namespace

void write_output_files(std::span<const OutputText> outputs) {
  std::vector<Draft> drafts;
  for (const OutputText& output : outputs) {
    drafts.emplace_back(output);
    for (std::size_t i = 0; i + 1 < drafts.size(); ++i)
      if (fs::absolute(drafts[i].target()).lexically_normal() ==
          fs::absolute(drafts.back().target()).lexically_normal())
        throw InvalidParameterError("Two texts are to be written to file '") << output.path << "'";
  }
  for (const Draft& draft : drafts) draft.write_device();
  for (Draft& draft : drafts) draft.give_name();
}

void write_output_file(const std::string& path, std::string_view text) {
  const OutputText output{path, text};
  write_output_files({&output, 1});
}

}  // namespace zorvel
