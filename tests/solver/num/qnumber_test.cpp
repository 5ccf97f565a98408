#include "solver/num/qnumber.h"

#include <gmp.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "solver/num/qnumber_gmp.h"

namespace vesk {
namespace {

/// A GMP fraction that cleans up after itself: the oracle of these tests.
struct Mpq {
  mpq_t q;
  Mpq() { mpq_init(q); }
  explicit Mpq(const QNumber& number) : Mpq() { QNumberGmp::to_mpq(number, q); }
  ~Mpq() { mpq_clear(q); }
  Mpq(const Mpq&) = delete;
  Mpq& operator=(const Mpq&) = delete;
};

QNumber number(const std::string& text) {
  QNumber result;
  EXPECT_TRUE(QNumber::from_str(text, &result)) << text;
  return result;
}

/// Values where overflow happens: near the word's ends, near their square roots, and small ones.
class RandomNumbers {
 public:
  explicit RandomNumbers(unsigned seed) : engine_(seed) {}
  QNumber next() {
    QNumber result(integer());
    if (below(2) != 0) {
      QNumber den(integer());
      if (!den.is_zero()) result /= den;
    }
    if (below(16) == 0) result *= QNumber(integer());
    return result;
  }
  std::uint64_t below(std::uint64_t limit) { return engine_() % limit; }

 private:
  long integer() {
    const long offset = static_cast<long>(below(7)) - 3;
    switch (below(8)) {
      case 0: return std::numeric_limits<long>::max() - static_cast<long>(below(4));
      case 1: return std::numeric_limits<long>::min() + static_cast<long>(below(4));
      case 2: return (1L << 32) + offset;
      case 3: return -(1L << 31) + offset;
      case 4: return static_cast<long>(engine_());
      case 5: return static_cast<long>(below(3000)) - 1500;
      default: return static_cast<long>(below(13)) - 6;
    }
  }
  std::mt19937_64 engine_;
};

void expect_same(const QNumber& ours, const Mpq& theirs, const char* operation) {
  ASSERT_TRUE(ours.is_canonical()) << operation;
  ASSERT_EQ(mpq_cmp(Mpq(ours).q, theirs.q), 0) << operation << " gave " << ours.to_str();
}

TEST(QNumber, AgreesWithGmpNearTheEdgesOfTheWord) {
  RandomNumbers random(1);
  for (int round = 0; round < 40000; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    const QNumber a = random.next();
    const QNumber b = random.next();
    const QNumber c = random.next();
    const Mpq x(a), y(b), z(c);
    Mpq expected;
    mpq_add(expected.q, x.q, y.q);
    expect_same(a + b, expected, "sum");
    mpq_sub(expected.q, x.q, y.q);
    expect_same(a - b, expected, "difference");
    mpq_mul(expected.q, x.q, y.q);
    expect_same(a * b, expected, "product");
    mpq_add(expected.q, expected.q, z.q);
    QNumber fused(c);
    expect_same(fused.self_addmul(a, b), expected, "addmul");
    if (!b.is_zero()) {
      mpq_div(expected.q, x.q, y.q);
      expect_same(a / b, expected, "quotient");
      QNumber quotient, rest;
      a.divmod(b, &quotient, &rest);
      mpz_fdiv_q(mpq_numref(expected.q), mpq_numref(expected.q), mpq_denref(expected.q));
      mpz_set_ui(mpq_denref(expected.q), 1);
      expect_same(quotient, expected, "divmod");
      ASSERT_EQ(quotient * b + rest, a);
    }
    ASSERT_EQ(cmp(a, b), (mpq_cmp(x.q, y.q) > 0) - (mpq_cmp(x.q, y.q) < 0));
    ASSERT_EQ(a == b, mpq_equal(x.q, y.q) != 0);
    // an old big form that must come back small, and the other way round
    const QNumber back = a * b - a * b + a;
    ASSERT_TRUE(back.is_canonical());
    ASSERT_EQ(back, a);
    ASSERT_EQ(back.hash(), a.hash());
    QNumber reread;
    ASSERT_TRUE(QNumber::from_str(a.to_str(), &reread));
    ASSERT_EQ(reread, a);
  }
}

TEST(QNumber, OperatesOnItself) {
  for (const char* text :
       {"3", "-2/3", "9223372036854775807", "-9223372036854775808", "1/9223372036854775809"}) {
    QNumber a = number(text);
    QNumber sum(a), difference(a), product(a), quotient(a), fused(a);
    sum += sum;
    const QNumber& self = difference;  // by another name: compilers warn of the obvious
    difference -= self;
    product *= product;
    const QNumber& divisor = quotient;
    quotient /= divisor;
    fused.self_addmul(fused, fused);
    EXPECT_EQ(sum, QNumber(2) * a) << text;
    EXPECT_TRUE(difference.is_zero()) << text;
    EXPECT_EQ(product / a, a) << text;
    EXPECT_TRUE(quotient.is_one()) << text;
    EXPECT_EQ(fused - a, product) << text;
    a = static_cast<const QNumber&>(a);
    EXPECT_EQ(a, number(text));
  }
}

TEST(QNumber, LeavesAndRegainsTheSmallForm) {
  const QNumber largest(std::numeric_limits<long>::max());
  EXPECT_TRUE(largest.is_small());
  EXPECT_FALSE(QNumber(std::numeric_limits<long>::min()).is_small());
  const QNumber twice = largest + largest;
  EXPECT_FALSE(twice.is_small());
  EXPECT_EQ(twice.to_str(), "18446744073709551614");
  const QNumber back = number("9223372036854775813") - number("9223372036854775808");
  EXPECT_TRUE(back.is_small());
  EXPECT_EQ(back, 5);
  EXPECT_EQ(twice / 2, largest);
  EXPECT_TRUE((twice / 2).is_small());
}

TEST(QNumber, ReadsAndRefusesText) {
  const struct {
    const char* text;
    const char* value;
  } good[] = {{"0", "0"},
              {"-0", "0"},
              {"007", "7"},
              {"+4", "4"},
              {"6/4", "3/2"},
              {"-6/3", "-2"},
              {"0.250", "1/4"},
              {".5", "1/2"},
              {"-1.5e-1", "-3/20"},
              {"2E3", "2000"},
              {"1.25e+2", "125"},
              {"0/5", "0"},
              {"123456789012345678901234567890", "123456789012345678901234567890"}};
  for (const auto& row : good) EXPECT_EQ(number(row.text).to_str(), row.value) << row.text;
  for (const char* text :
       {"",    "-",    "+",  ".",  "1.",   "e5",    "1e",    "1e+",   "1/0", "1/",
        "/2",  "1/-2", "1 ", " 1", "0x10", "1.5/2", "1/2.5", "1e5/2", "--1", "1e9999999999999999999",
        "abc", "1,5"}) {
    QNumber untouched(42);
    EXPECT_FALSE(QNumber::from_str(text, &untouched)) << text;
    EXPECT_EQ(untouched, 42) << text;
  }
  const std::string long_text = "1" + std::string(10000, '7');
  EXPECT_EQ(number(long_text).to_str(), long_text);
}

TEST(QNumber, RoundsTowardsMinusInfinity) {
  const struct {
    const char* value;
    const char* floor;
    const char* ceil;
  } table[] = {{"7/2", "3", "4"},
               {"-7/2", "-4", "-3"},
               {"5", "5", "5"},
               {"-1/3", "-1", "0"},
               {"100000000000000000001/2", "50000000000000000000", "50000000000000000001"},
               {"-100000000000000000001/2", "-50000000000000000001", "-50000000000000000000"}};
  for (const auto& row : table) {
    EXPECT_EQ(number(row.value).floor().to_str(), row.floor) << row.value;
    EXPECT_EQ(number(row.value).ceil().to_str(), row.ceil) << row.value;
  }
  EXPECT_EQ(gcd(QNumber(-12), QNumber(18)), 6);
  EXPECT_EQ(lcm(QNumber(4), QNumber(-6)), 12);
  EXPECT_EQ(gcd(number("36893488147419103232"), QNumber(48)), 16);
  EXPECT_EQ(number("1/3").to_float_str(), "0.333333");
}

}  // namespace
}  // namespace vesk
