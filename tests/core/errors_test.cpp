#include "core/errors.h"

#include <gtest/gtest.h>

namespace zorvel {
namespace {

TEST(Errors, AppendingKeepsTheClassAndExtendsTheText) {
  try {
    throw InvalidParameterError("Undefined option ") << std::string("x") << ' ' << 42;
  } catch (const InvalidParameterError& error) {
    EXPECT_STREQ(error.what(), "InvalidParameterError: Undefined option x 42");
  }
}

TEST(Errors, WhatGivesTheLatestTextAndCopiesKeepIt) {
  OutOfBoundsValue error("a");
  EXPECT_STREQ(error.what(), "OutOfBoundsValue: a");
  EXPECT_STREQ(error.what(), "OutOfBoundsValue: a");
  const OutOfBoundsValue copy = error;
  error << "b";
  EXPECT_STREQ(error.what(), "OutOfBoundsValue: ab");
  EXPECT_EQ(copy.message(), "OutOfBoundsValue: a");
}

}  // namespace
}  // namespace zorvel
