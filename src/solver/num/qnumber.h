#pragma once

#include <cassert>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

namespace vesk {

/// An exact rational number in two machine words, with GMP integers beyond them.
///
/// Invariant: one value has one form. If numerator and denominator of the reduced fraction fit 64-bit words
/// other than the most negative one, the words are these two, the denominator positive; only else is the
/// second word 0 and the first one an owned pointer to a pair of GMP integers. So `==` and `hash` never look
/// at a value's history. Dividing by zero is the caller's fault (asserted). What makes a number larger asks
/// NumberLimits first: NumberTooLarge or MemoryLimitReached, with the operands as they were.
class QNumber {
 public:
  QNumber() = default;
  QNumber(int value) : num_(value) {}                   // NOLINT: numbers are meant to convert
  QNumber(long value) : num_(value) { fix_int_min(); }  // NOLINT
  /// The fraction `num / den`, reduced; `den` is not 0.
  QNumber(long num, long den);
  QNumber(const QNumber& other) : num_(other.num_), den_(other.den_) {
    if (den_ == 0) clone_big(other);
  }
  QNumber(QNumber&& other) noexcept : num_(other.num_), den_(other.den_) { other.forget(); }
  QNumber& operator=(const QNumber& other) {
    if ((den_ != 0) & (other.den_ != 0)) {
      num_ = other.num_;
      den_ = other.den_;
    } else {
      assign_big(other);
    }
    return *this;
  }
  QNumber& operator=(QNumber&& other) noexcept {
    swap(other);
    return *this;
  }
  ~QNumber() {
    if (den_ == 0) free_big();
  }
  void swap(QNumber& other) noexcept {
    std::swap(num_, other.num_);
    std::swap(den_, other.den_);
  }

  /// Reads an integer "-3", a fraction "1/2", a decimal "0.25" or "-1.5e-3". False, with `*out` as it was,
  /// for any other text, a zero denominator, and exponents beyond a million.
  [[nodiscard]] static bool from_str(std::string_view text, QNumber* out);
  /// "-3", or "n/d" for a fraction.
  std::string to_str() const;
  /// Decimal text of about `digits` significant digits, for people to read.
  std::string to_float_str(int digits = 6) const;

  bool is_small() const { return den_ != 0; }
  bool is_zero() const { return num_ == 0; }  // a pointer is never null
  bool is_one() const { return (num_ == 1) & (den_ == 1); }
  bool is_int() const { return den_ == 1 || (den_ == 0 && big_is_int()); }
  int sgn() const { return den_ != 0 ? (num_ > 0) - (num_ < 0) : big_sgn(); }
  /// Numerator of the value if it is an integer of one word; asserted.
  std::int64_t small_int() const {
    assert(den_ == 1);
    return num_;
  }
  bool is_small_int() const { return den_ == 1; }
  QNumber get_num() const;
  QNumber get_den() const;
  std::size_t hash() const {
    if (den_ == 0) return big_hash();
    std::uint64_t h = static_cast<std::uint64_t>(num_) * 0x9e3779b97f4a7c15u;
    h ^= h >> 32;
    h += static_cast<std::uint64_t>(den_) * 0xc2b2ae3d27d4eb4fu;
    return h ^ (h >> 29);
  }

  QNumber& operator+=(const QNumber& b) {
    std::int64_t sum;
    if ((den_ == 1) & (b.den_ == 1) && !__builtin_add_overflow(num_, b.num_, &sum) && sum != int_min) {
      num_ = sum;
      return *this;
    }
    return add(b, false);
  }
  QNumber& operator-=(const QNumber& b) {
    std::int64_t difference;
    if ((den_ == 1) & (b.den_ == 1) && !__builtin_sub_overflow(num_, b.num_, &difference) &&
        difference != int_min) {
      num_ = difference;
      return *this;
    }
    return add(b, true);
  }
  QNumber& operator*=(const QNumber& b) {
    std::int64_t product;
    if ((den_ == 1) & (b.den_ == 1) && !__builtin_mul_overflow(num_, b.num_, &product) &&
        product != int_min) {
      num_ = product;
      return *this;
    }
    return multiply(b);
  }
  QNumber& operator/=(const QNumber& b);
  QNumber& operator+=(long b) { return *this += QNumber(b); }
  QNumber& operator-=(long b) { return *this -= QNumber(b); }
  QNumber& operator*=(long b) { return *this *= QNumber(b); }
  QNumber& operator/=(long b) { return *this /= QNumber(b); }
  /// `*this += a * b`, the inner step of every row operation.
  QNumber& self_addmul(const QNumber& a, const QNumber& b) {
    std::int64_t product;
    std::int64_t sum;
    if ((den_ == 1) & (a.den_ == 1) & (b.den_ == 1) && !__builtin_mul_overflow(a.num_, b.num_, &product) &&
        !__builtin_add_overflow(num_, product, &sum) && sum != int_min) {
      num_ = sum;
      return *this;
    }
    return addmul(a, b);
  }
  QNumber& self_neg() {
    if (den_ != 0)
      num_ = -num_;
    else
      big_negate();
    return *this;
  }
  QNumber neg() const {
    QNumber result(*this);
    return std::move(result.self_neg());
  }
  QNumber abs() const { return sgn() < 0 ? neg() : *this; }
  QNumber inv() const;
  QNumber floor() const;
  QNumber ceil() const;
  /// Quotient rounded down and the rest, `*this = quotient * b + rest` with `0 <= rest/b < 1`.
  void divmod(const QNumber& b, QNumber* quotient, QNumber* rest) const;

  friend QNumber operator+(QNumber a, const QNumber& b) { return std::move(a += b); }
  friend QNumber operator-(QNumber a, const QNumber& b) { return std::move(a -= b); }
  friend QNumber operator*(QNumber a, const QNumber& b) { return std::move(a *= b); }
  friend QNumber operator/(QNumber a, const QNumber& b) { return std::move(a /= b); }
  friend QNumber operator-(const QNumber& a) { return a.neg(); }

  friend bool operator==(const QNumber& a, const QNumber& b) {
    if ((a.den_ != 0) & (b.den_ != 0)) return (a.num_ == b.num_) & (a.den_ == b.den_);
    return big_equal(a, b);
  }
  friend std::strong_ordering operator<=>(const QNumber& a, const QNumber& b) { return cmp(a, b) <=> 0; }
  friend bool operator==(const QNumber& a, long b) { return (a.den_ == 1) & (a.num_ == b); }
  friend std::strong_ordering operator<=>(const QNumber& a, long b) { return cmp(a, QNumber(b)) <=> 0; }
  friend bool operator==(const QNumber& a, int b) { return a == static_cast<long>(b); }
  friend std::strong_ordering operator<=>(const QNumber& a, int b) { return a <=> static_cast<long>(b); }

  /// Negative, zero or positive as `a` is less than, equal to or greater than `b`.
  friend int cmp(const QNumber& a, const QNumber& b) {
    if ((a.den_ == b.den_) & (a.den_ != 0)) return (a.num_ > b.num_) - (a.num_ < b.num_);
    return cmp_general(a, b);
  }

  /// The invariant of the class, from scratch.
  bool is_canonical() const;

 private:
  struct Big;
  struct Operand;
  friend struct QNumberGmp;

  static constexpr std::int64_t int_min = std::numeric_limits<std::int64_t>::min();

  void fix_int_min() {
    if (num_ == int_min) [[unlikely]]
      move_int_min_to_big();
  }
  void forget() {
    num_ = 0;
    den_ = 1;
  }
  Big* big() const;
  void set_big(Big* big);
  void make_big();
  void shrink();
  void move_int_min_to_big();
  void clone_big(const QNumber& other);
  void assign_big(const QNumber& other);
  void free_big() noexcept;
  bool big_is_int() const;
  int big_sgn() const;
  std::size_t big_hash() const;
  void big_negate();
  static bool big_equal(const QNumber& a, const QNumber& b);
  static int cmp_general(const QNumber& a, const QNumber& b);
  QNumber& add(const QNumber& b, bool subtract);
  QNumber& multiply(const QNumber& b);
  QNumber& addmul(const QNumber& a, const QNumber& b);

  std::int64_t num_ = 0;  // or the bits of a pointer to Big, when den_ is 0
  std::int64_t den_ = 1;
};

/// Greatest common divisor of two integers, not negative.
QNumber gcd(const QNumber& a, const QNumber& b);
/// Least common multiple of two integers, not negative.
QNumber lcm(const QNumber& a, const QNumber& b);

struct QNumberHash {
  std::size_t operator()(const QNumber& number) const { return number.hash(); }
};

}  // namespace vesk
