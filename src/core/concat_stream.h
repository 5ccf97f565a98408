#pragma once

#include <array>
#include <fstream>
#include <istream>
#include <memory>
#include <streambuf>
#include <string>
#include <vector>

namespace zorvel {

/// Reads several streams as one text, with nothing inserted at their seams.
class ConcatStreamBuf : public std::basic_streambuf<char> {
 public:
  explicit ConcatStreamBuf(std::vector<std::istream*> streams) : streams_(std::move(streams)) {}

 protected:
  int_type underflow() override;

 private:
  std::vector<std::istream*> streams_;  // not owned
  std::size_t current_ = 0;
  std::array<char, 1024> buffer_;
};

/// Several files as one input. A file that cannot be opened raises InvalidParameterError "Input file '", the
/// name, "' does not exist!".
class ConcatIfStream {
 public:
  explicit ConcatIfStream(const std::vector<std::string>& names);
  virtual ~ConcatIfStream() = default;
  std::istream& stream() { return *stream_; }

 private:
  std::vector<std::unique_ptr<std::ifstream>> files_;
  std::unique_ptr<ConcatStreamBuf> buffer_;
  std::unique_ptr<std::istream> stream_;
};

}  // namespace zorvel
