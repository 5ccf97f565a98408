#include "core/numbers.h"

#include <gtest/gtest.h>

#include <array>
#include <boost/multiprecision/cpp_int.hpp>
#include <cmath>
#include <cstring>
#include <functional>
#include <iomanip>
#include <limits>
#include <random>
#include <sstream>
#include <unordered_set>

#include "core/errors.h"

namespace zorvel {
namespace {

using boost::multiprecision::cpp_int;
using boost::multiprecision::cpp_rational;

constexpr long smallest = std::numeric_limits<long>::min();
constexpr long largest = std::numeric_limits<long>::max();

/// Integers of all lengths, most of them near a place where a word overflows.
cpp_int random_integer(std::mt19937_64& random) {
  static const std::array<cpp_int, 8> corners = {
      cpp_int(0),       cpp_int(smallest), cpp_int(largest),       cpp_int(1) << 31,
      cpp_int(1) << 32, cpp_int(1) << 64,  (cpp_int(1) << 62) * 3, cpp_int(1) << 200};
  const cpp_int offset = static_cast<long>(random() % 7) - 3;
  switch (random() % 3) {
    case 0: return corners[random() % corners.size()] + offset;
    case 1: return offset - corners[random() % corners.size()];
    default: return cpp_int(static_cast<long>(random())) >> static_cast<unsigned>(random() % 63);
  }
}

std::string message_of(const std::function<void()>& call) {
  try {
    call();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "no error";
}

std::string text_of(const cpp_rational& value) {
  std::ostringstream out;
  out << numerator(value);
  if (denominator(value) != 1) out << '/' << denominator(value);
  return out.str();
}

TEST(Numbers, IntegerArithmeticAgreesWithTheLibrary) {
  std::mt19937_64 random(1);
  for (int round_number = 0; round_number < 20000; ++round_number) {
    const cpp_int x = random_integer(random), y = random_integer(random);
    SCOPED_TRACE(x.str() + " and " + y.str());
    const integer a(x.str()), b(y.str());
    ASSERT_EQ((a + b).str(), cpp_int(x + y).str());
    ASSERT_EQ((a - b).str(), cpp_int(x - y).str());
    ASSERT_EQ((a * b).str(), cpp_int(x * y).str());
    if (y != 0) {
      ASSERT_EQ((a / b).str(), cpp_int(x / y).str());
    }
    ASSERT_EQ((-a).str(), cpp_int(-x).str());
    ASSERT_EQ(a < b, x < y);
    ASSERT_EQ(a == b, x == y);
    ASSERT_EQ(static_cast<double>(a), std::stod(x.str()));
    // Equal values must look equal however they came about.
    ASSERT_EQ(a + b - b, a);
    ASSERT_EQ((a + b - b).hash(), a.hash());
    ASSERT_EQ((a + b - b).fits_long(), x >= smallest && x <= largest);
  }
}

TEST(Numbers, RationalArithmeticAgreesWithTheLibrary) {
  std::mt19937_64 random(2);
  const auto random_denominator = [&] {
    const cpp_int value = random_integer(random);
    return value == 0 ? cpp_int(1) : value;
  };
  for (int round_number = 0; round_number < 4000; ++round_number) {
    const cpp_int xn = random_integer(random), xd = random_denominator();
    const cpp_int yn = random_integer(random), yd = random() % 3 == 0 ? xd : random_denominator();
    const cpp_rational x = cpp_rational(xn) / cpp_rational(xd), y = cpp_rational(yn) / cpp_rational(yd);
    const rational a(integer(xn.str()), integer(xd.str())), b(integer(yn.str()), integer(yd.str()));
    SCOPED_TRACE(text_of(x) + " and " + text_of(y));
    ASSERT_EQ(a.str(), text_of(x));
    ASSERT_EQ(rational(a.str()), a);
    ASSERT_EQ((a + b).str(), text_of(x + y));
    ASSERT_EQ((a - b).str(), text_of(x - y));
    ASSERT_EQ((a * b).str(), text_of(x * y));
    if (y != 0) {
      ASSERT_EQ((a / b).str(), text_of(x / y));
    }
    ASSERT_EQ((-a).str(), text_of(-x));
    ASSERT_EQ(a < b, x < y);
    ASSERT_EQ(a == b, x == y);
    ASSERT_EQ(a + b - b, a);
    ASSERT_EQ((a + b - b).hash(), a.hash());
    ASSERT_EQ(a.numerator().str(), numerator(x).str());
    ASSERT_EQ(a.denominator().str(), denominator(x).str());
  }
}

TEST(Numbers, AValueMayBeItsOwnOperand) {
  for (const char* text : {"7/3", "-9223372036854775808", "123456789012345678901234567890/7"}) {
    const rational value(text);
    rational sum = value, difference = value, product = value, quotient = value;
    EXPECT_EQ(sum += sum, value * rational(2));
    EXPECT_EQ(difference -= difference, rational(0));
    EXPECT_EQ(product *= product, value * rational(value));
    EXPECT_EQ(quotient /= quotient, rational(1));
  }
}

TEST(Numbers, DivisionTruncatesAndRefusesZero) {
  EXPECT_EQ(integer(-7) / integer(2), integer(-3));
  EXPECT_EQ((integer(smallest) / integer(-1)).str(), "9223372036854775808");
  EXPECT_EQ(message_of([] { integer(1) / integer(0); }), "Integer Division by zero.");
  EXPECT_EQ(message_of([] { rational(3) / rational(0); }), "Divide by zero.");
  EXPECT_EQ(message_of([] { rational(integer(1), integer(0)); }), "bad rational: zero denominator");
  EXPECT_EQ(message_of([] { rational("1/0"); }), "bad rational: zero denominator");
}

TEST(Numbers, ConversionsToWordsSaturate) {
  const integer huge = integer(10).pow(30);
  EXPECT_EQ(huge.str(), "1" + std::string(30, '0'));
  EXPECT_EQ(static_cast<long>(huge), largest);
  EXPECT_EQ(static_cast<long>(-huge), smallest);
  EXPECT_EQ(static_cast<int>(huge), std::numeric_limits<int>::max());
  EXPECT_EQ(static_cast<int>(integer(-5000000000L)), std::numeric_limits<int>::min());
  EXPECT_EQ(static_cast<long>(rational(-7, 2)), -3);
  EXPECT_EQ(static_cast<long>(rational(huge, integer(3))), largest);
  EXPECT_EQ(static_cast<unsigned long>(integer("18446744073709551621")), 5U);  // the low word of 2^64 + 5
  EXPECT_EQ(integer(std::numeric_limits<unsigned long>::max()).str(), "18446744073709551615");
  EXPECT_THROW((void)static_cast<unsigned long>(integer(-1)), std::range_error);
  EXPECT_THROW((void)static_cast<unsigned long>(-rational(huge, integer(3))), std::range_error);
}

TEST(Numbers, ConversionsToFloatingPointRoundToTheNearest) {
  std::mt19937_64 random(3);
  for (int round_number = 0; round_number < 5000; ++round_number) {
    // A double survives the way to a rational and back, also as the nearest of its surroundings.
    std::uint64_t bits = random();
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    if (!std::isfinite(value)) continue;
    const rational exact(value);
    ASSERT_EQ(static_cast<double>(exact), value);
    const double next = std::nextafter(value, std::numeric_limits<double>::infinity());
    if (!std::isfinite(next)) continue;
    const rational step = rational(next) - exact;
    ASSERT_EQ(static_cast<double>(exact + step * rational(49, 100)), value);
    ASSERT_EQ(static_cast<double>(exact + step * rational(51, 100)), next);
    const bool value_is_even = (bits & 1) == 0;
    ASSERT_EQ(static_cast<double>(exact + step / rational(2)), value_is_even ? value : next);
  }
  EXPECT_EQ(static_cast<double>(rational(1, 3)), 1.0 / 3.0);
  EXPECT_EQ(static_cast<float>(rational(1, 3)), 1.0F / 3.0F);
  EXPECT_EQ(static_cast<double>(rational("9007199254740993")), 9007199254740992.0);  // a tie goes to even
  EXPECT_TRUE(std::isinf(static_cast<double>(integer(10).pow(400))));
  EXPECT_EQ(static_cast<double>(rational(integer(1), integer(10).pow(400))), 0.0);
}

TEST(Numbers, ADoubleStandsForItsBinaryValue) {
  EXPECT_EQ(rational(0.5), rational(1, 2));
  EXPECT_EQ(rational(-0.75), rational(-3, 4));
  EXPECT_EQ(rational(0.1).str(), "3602879701896397/36028797018963968");
  EXPECT_EQ(rational(1e300).denominator(), integer(1));
  EXPECT_EQ(rational(1e300).numerator().str().size(), 301U);
  EXPECT_THROW(rational(std::nan("")), InternalError);
  EXPECT_THROW(rational(std::numeric_limits<double>::infinity()), InternalError);
}

TEST(Numbers, TextsAreDecimal) {
  const std::vector<std::pair<std::string, rational>> good = {
      {"0.0", 0},         {"007.5", {15, 2}}, {"3", 3},       {"1/3", {1, 3}},   {"010", 10},
      {"0.01", {1, 100}}, {"2.50", {5, 2}},   {".5", {1, 2}}, {"-1.5", {-3, 2}}, {"+4/6", {2, 3}},
      {"010/0010", 1},    {"-007", -7},       {"1.000", 1},   {"0.125", {1, 8}}, {"000", 0},
  };
  for (const auto& [text, value] : good) EXPECT_EQ(rational_from_string(text), value) << text;
  for (const char* text : {"", "-", "0x1", "1e3", "5.", ".", "1.2.3", "1.2/3", "1/", "/2", "1/-2", "--1",
                           " 1", "1 ", "1.-5", "٣"}) {
    EXPECT_THROW(rational_from_string(text), std::runtime_error) << text;
  }
  for (const char* text : {"", "-", "1/2", "1.0", "0b1"})
    EXPECT_THROW(integer{text}, std::runtime_error) << text;
  EXPECT_EQ(integer("-00012"), integer(-12));
}

TEST(Numbers, LongTextsAreReadExactlyAndSoon) {
  std::string digits = "7";
  for (int i = 0; i < 20000; ++i) digits += static_cast<char>('0' + (i * i + i / 7) % 10);
  EXPECT_EQ(integer(digits).str(), digits);
  EXPECT_EQ(integer(digits) / integer(10), integer(digits.substr(0, digits.size() - 1)));
  const std::string fraction = "0." + digits + "1";
  EXPECT_EQ(rational_from_string(fraction) * rational(integer(10).pow(digits.size() + 1)),
            rational(digits + "1"));
}

TEST(Numbers, LongDecimalsAreReducedLikeFractions) {
  std::mt19937_64 random(4);
  for (int round_number = 0; round_number < 300; ++round_number) {
    // Products of many twos and fives, with and without a rest, and zeros at both ends.
    const integer value = integer(2).pow(random() % 80) * integer(5).pow(random() % 80) *
                          integer(static_cast<long>(random() % 4)) * integer(10).pow(random() % 3);
    const std::string digits = value.str();
    const std::string fraction = std::string(random() % 40, '0') + digits;
    ASSERT_EQ(rational_from_string("12." + fraction),
              rational(12) + rational(value, integer(10).pow(fraction.size())))
        << fraction;
  }
}

TEST(Numbers, StreamsWriteAndReadTheText) {
  std::ostringstream out;
  out << std::setw(5) << std::setfill('.') << integer(42) << ' ' << rational(6, 4) << ' ' << rational(4, 2);
  EXPECT_EQ(out.str(), "...42 3/2 2");

  std::istringstream in(" 3/4 7 -12x");
  rational fraction;
  integer whole, negative;
  in >> fraction >> whole >> negative;
  EXPECT_TRUE(in.good());
  EXPECT_EQ(fraction, rational(3, 4));
  EXPECT_EQ(whole, integer(7));
  EXPECT_EQ(negative, integer(-12));
  EXPECT_EQ(in.peek(), 'x');
  EXPECT_TRUE((in >> whole).fail());
  std::istringstream empty("  ");
  EXPECT_TRUE((empty >> fraction).fail());
}

TEST(Numbers, RoundTakesTheNearestMultipleAndTiesGoUp) {
  EXPECT_EQ(round(rational(1, 3), 2), rational(33, 100));
  EXPECT_EQ(round(rational(2, 3), 2), rational(67, 100));
  EXPECT_EQ(round(rational(1, 8), 2), rational(13, 100));
  EXPECT_EQ(round(rational(5), 3), rational(5));
  EXPECT_EQ(round(rational(5, 2), 0), rational(3));
}

TEST(Numbers, HashesOfFractionsBelowOneDiffer) {
  std::unordered_set<std::size_t> hashes;
  for (int i = 1; i < 1000; ++i) hashes.insert(rational(i, 1000).hash());
  EXPECT_GT(hashes.size(), 990U);
}

TEST(Numbers, OperationsWithInfinitiesFollowTheTable) {
  using Extended = PossiblyInfiniteRational;
  const Extended plus = Extended::infinity(true), minus = Extended::infinity(false);
  const Extended two = rational(2), zero = rational(0), negative = rational(-3);
  const auto text = [](const Extended& value) {
    if (value.is_infinite()) return std::string(value.is_positive() ? "+inf" : "-inf");
    return value.num().str();
  };
  const std::vector<std::tuple<std::string, std::function<Extended()>, std::string>> rows = {
      {"inf+inf", [&] { return plus + plus; }, "+inf"},
      {"-inf+-inf", [&] { return minus + minus; }, "-inf"},
      {"-inf+inf", [&] { return minus + plus; }, "InternalError: Sum between -inf and +inf is not possible"},
      {"2+-inf", [&] { return two + minus; }, "-inf"},
      {"inf--inf", [&] { return plus - minus; }, "+inf"},
      {"-inf-inf", [&] { return minus - plus; }, "-inf"},
      {"inf-inf", [&] { return plus - plus; },
       "InternalError: Subtraction between -inf and -inf or between +inf and +inf is not possible"},
      {"inf-2", [&] { return plus - two; }, "+inf"},
      {"2-inf", [&] { return two - plus; }, "-inf"},
      {"2--inf", [&] { return two - minus; }, "+inf"},
      {"inf*0", [&] { return plus * zero; }, "-inf"},
      {"0*-inf", [&] { return zero * minus; }, "-inf"},
      {"inf*-3", [&] { return plus * negative; }, "-inf"},
      {"-inf*-3", [&] { return minus * negative; }, "+inf"},
      {"-inf*inf", [&] { return minus * plus; }, "-inf"},
      {"2/inf", [&] { return two / plus; },
       "InternalError: Division having the divisor not finite is not allowed"},
      {"2/0", [&] { return two / zero; },
       "InternalError: Division having the divisor equal to 0 is not possible"},
      {"-inf/-3", [&] { return minus / negative; }, "+inf"},
      {"inf/-3", [&] { return plus / negative; }, "-inf"},
      {"2/-3", [&] { return two / negative; }, "-2/3"},
      {"2*-3", [&] { return two * negative; }, "-6"},
  };
  for (const auto& [name, operation, expected] : rows) {
    std::string found;
    const std::string error = message_of([&, &operation = operation] { found = text(operation()); });
    EXPECT_EQ(error == "no error" ? found : error, expected) << name;
  }
  EXPECT_TRUE((two - two).is_positive());
  EXPECT_FALSE((zero - two).is_positive());
  EXPECT_EQ(message_of([&] { plus.num(); }),
            "InternalError: Accessing num() on an infinite PossiblyInfiniteRational instance");
  EXPECT_EQ(&Extended::max(two, plus), &plus);
  EXPECT_EQ(&Extended::max(minus, two), &two);
  EXPECT_EQ(&Extended::min(minus, two), &minus);
  EXPECT_EQ(&Extended::min(plus, two), &two);
  const Extended other_two = rational(2), other_plus = Extended::infinity(true);
  EXPECT_EQ(&Extended::max(two, other_two), &two);
  EXPECT_EQ(&Extended::min(two, other_two), &two);
  EXPECT_EQ(&Extended::max(plus, other_plus), &plus);
}

}  // namespace
}  // namespace zorvel
