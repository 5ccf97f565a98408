#include <gmp.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <string>

#include "solver/num/number_limits.h"
#include "solver/num/qnumber_gmp.h"
#include "solver/util/memory.h"

namespace {

using namespace vesk;  // NOLINT

QNumber power_of_two(unsigned exponent) {
  QNumber result = 1;
  for (unsigned i = 0; i < exponent; ++i) result *= 2;
  return result;
}

// Each operation at the ceiling and one step above; the operands keep their values and their form.
TEST(NumberLimits, AreLookedAtBeforeEveryOperationThatMakesNumbersLarger) {
  NumberLimits limits;
  limits.max_bits = 200;
  const QNumber a = power_of_two(97), b = power_of_two(101), c = power_of_two(199);
  const NumberLimitsScope scope(limits);
  EXPECT_EQ((a * b / b), a);
  QNumber sum = power_of_two(198);
  EXPECT_NO_THROW(sum += 1);
  const QNumber tiny = QNumber(1) / power_of_two(99);
  const std::function<void(QNumber&)> too_large[] = {
      [&](QNumber& x) { x *= b; },
      [&](QNumber& x) { x *= x; },
      [&](QNumber& x) { x.self_addmul(b, c); },
      [&](QNumber& x) { x += c; },
      [&](QNumber& x) { x /= QNumber(1) / b; },
      [&](QNumber& x) { x -= QNumber(1) / QNumber(long{1} << 40) / power_of_two(60); },
  };
  int at = 0;
  for (const auto& operation : too_large) {
    QNumber x = c;
    EXPECT_THROW(operation(x), NumberTooLarge) << at++;
    EXPECT_EQ(x, c);
    QNumber small = 7;
    EXPECT_NO_THROW(small *= tiny);
    EXPECT_TRUE(x.is_canonical() && small.is_canonical());
  }
  QNumber read;
  EXPECT_THROW((void)QNumber::from_str("1e100", &read), NumberTooLarge);
  EXPECT_THROW((void)QNumber::from_str("1e-100", &read), NumberTooLarge);
  EXPECT_THROW((void)QNumber::from_str(std::string(100, '7'), &read), NumberTooLarge);
  EXPECT_TRUE(QNumber::from_str(std::string(50, '7'), &read));
}

TEST(NumberLimits, EndWithTheirScopeAndCountMemory) {
  const QNumber large = power_of_two(3000);
  NumberLimits limits;
  limits.max_bits = 100;
  {
    const NumberLimitsScope outer(limits);
    NumberLimits inner_limits;
    inner_limits.memory = 1;
    const NumberLimitsScope inner(inner_limits);
    const auto square_often = [&] {
      for (int i = 0; i < 5000; ++i) (void)(large * large);
    };
    if (memory_in_use() > 0) {
      EXPECT_THROW(square_often(), MemoryLimitReached);
    }
  }
  EXPECT_NO_THROW((void)(large * large));
}

TEST(QNumber, TheNearestDoubleIsTheMachinesOwn) {
  std::mt19937_64 engine(1);
  const auto check = [](const QNumber& number, double expected) {
    EXPECT_EQ(QNumberGmp::to_double(number), expected) << number.to_str().substr(0, 60);
    EXPECT_EQ(QNumberGmp::to_double(number.neg()), -expected);
  };
  // Below 2^53 both sides are exact, so the machine's division is the nearest double of the quotient.
  for (int i = 0; i < 2000; ++i) {
    const long num = static_cast<long>(engine() >> (11 + engine() % 50)) + 1;
    const long den = static_cast<long>(engine() >> (11 + engine() % 50)) + 1;
    check(QNumber(num, den), static_cast<double>(num) / static_cast<double>(den));
  }
  // Ties go to the even one, and a rest far below breaks them.
  const long odd = (long{1} << 53) + 1;
  check(QNumber(odd), std::ldexp(1, 53));
  check(QNumber(odd) + QNumber(1) / power_of_two(500), std::ldexp(1, 53) + 2);
  check(QNumber(odd + 2), std::ldexp(1, 53) + 4);
  check(QNumber(1) / power_of_two(1074), std::ldexp(1, -1074));
  check(QNumber(3) / power_of_two(1076), std::ldexp(1, -1074));
  check(QNumber(1) / power_of_two(1076), 0);
  check(power_of_two(1023), std::ldexp(1, 1023));
  check(power_of_two(1024), INFINITY);
  check(power_of_two(200000), INFINITY);
  check(QNumber(1) / power_of_two(200000), 0);
  check(QNumber(0), 0);
}

}  // namespace
