#include "core/concat_stream.h"

#include <filesystem>

#include "core/errors.h"

namespace zorvel {

ConcatStreamBuf::int_type ConcatStreamBuf::underflow() {
  if (gptr() < egptr()) return traits_type::to_int_type(*gptr());
  for (; current_ < streams_.size(); ++current_) {
    std::istream& stream = *streams_[current_];
    stream.read(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
    if (stream.gcount() == 0) continue;
    setg(buffer_.data(), buffer_.data(), buffer_.data() + stream.gcount());
    return traits_type::to_int_type(*gptr());
  }
  setg(nullptr, nullptr, nullptr);
  return traits_type::eof();
}

ConcatIfStream::ConcatIfStream(const std::vector<std::string>& names) {
  std::vector<std::istream*> streams;
  for (const std::string& name : names) {
    std::error_code ignored;
    if (std::filesystem::is_directory(name, ignored))  // a directory opens, but cannot be read
      throw InvalidParameterError("Input file '") << name << "' is a directory!";
    files_.push_back(std::make_unique<std::ifstream>(name, std::ios::binary));
    if (!files_.back()->is_open()) throw InvalidParameterError("Input file '") << name << "' does not exist!";
    streams.push_back(files_.back().get());
  }
  buffer_ = std::make_unique<ConcatStreamBuf>(std::move(streams));
  stream_ = std::make_unique<std::istream>(buffer_.get());
}

}  // namespace zorvel
