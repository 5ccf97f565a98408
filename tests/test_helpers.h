#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace zorvel {

/// Runs `body` and expects an error of exactly this class with exactly this message.
template <class Error, class Body>
void expect_error(Body body, const std::string& message) {
  try {
    body();
    ADD_FAILURE() << "no error; expected: " << message;
  } catch (const Error& error) {
    EXPECT_EQ(std::string(error.what()), std::string(Error().what()) + message);
  }
}

/// The text of the error that the call raises; empty if it raises none.
template <class Call>
std::string error_of(Call call) {
  try {
    call();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

template <class T>
std::string printed(const T& object) {
  std::ostringstream out;
  out << object;
  return out.str();
}

}  // namespace zorvel
