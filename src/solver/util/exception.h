#pragma once

#include <exception>
#include <string>
#include <utility>

namespace vesk {

/// Base of every fault that the solver reports to its caller; the C functions turn it into a failure
/// value and the text of vesk_last_error_message().
class Exception : public std::exception {
 public:
  explicit Exception(std::string message) : message_(std::move(message)) {}
  const std::string& get_msg() const { return message_; }
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

/// A limit that somebody set, of memory or of the size of numbers, was reached: no answer, but no fault of
/// the input either. A check that meets it is `unknown`.
class LimitReached : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace vesk
