#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace zorvel {

struct integer_impl;
struct rational_impl;
struct NumberImplDeleter {
  void operator()(integer_impl* number) const noexcept;
  void operator()(rational_impl* number) const noexcept;
};

/// Exact integer of any size.
///
/// Values that fit a machine word are held inline, larger ones behind a private pointer, so that nothing else
/// in the system depends on the arithmetic library. Invariant: a value that fits is inline, so equal values
/// have equal representations.
class integer {
 public:
  integer() noexcept : small_(0) {}
  integer(int value) noexcept : small_(value) {}
  integer(long value) noexcept : small_(value) {}
  integer(unsigned long value);
  /// Decimal digits with an optional sign; anything else raises std::runtime_error.
  explicit integer(const std::string& text);
  explicit integer(const char* text) : integer(std::string(text)) {}
  integer(const integer& other) : small_(other.small_), big_(other.big_ ? clone(*other.big_) : nullptr) {}
  integer(integer&& other) noexcept : small_(std::exchange(other.small_, 0)), big_(std::move(other.big_)) {}
  integer& operator=(const integer& other) { return *this = integer(other); }
  integer& operator=(integer&& other) noexcept {
    std::swap(small_, other.small_);
    std::swap(big_, other.big_);
    return *this;
  }
  ~integer() = default;

  integer operator-() const;
  integer& operator+=(const integer& other);
  integer& operator-=(const integer& other);
  integer& operator*=(const integer& other);
  /// Truncates towards zero. Division by 0 raises std::overflow_error "Integer Division by zero.".
  integer& operator/=(const integer& other);
  friend integer operator+(integer a, const integer& b) { return a += b; }
  friend integer operator-(integer a, const integer& b) { return a -= b; }
  friend integer operator*(integer a, const integer& b) { return a *= b; }
  friend integer operator/(integer a, const integer& b) { return a /= b; }
  integer& operator++() { return *this += integer(1); }
  integer& operator--() { return *this -= integer(1); }
  integer operator++(int);
  integer operator--(int);

  friend bool operator==(const integer& a, const integer& b);
  friend std::strong_ordering operator<=>(const integer& a, const integer& b);

  integer pow(unsigned long exponent) const;
  bool fits_long() const { return big_ == nullptr; }
  explicit operator int() const;            ///< Saturates.
  explicit operator long() const;           ///< Saturates.
  explicit operator unsigned long() const;  ///< The low 64 bits; a negative value raises std::range_error.
  explicit operator double() const;
  explicit operator float() const;
  std::string str() const;
  std::size_t hash() const;  ///< The low 64 bits of the absolute value.

 private:
  friend class rational;
  friend struct NumberAccess;
  using Big = std::unique_ptr<integer_impl, NumberImplDeleter>;
  static Big clone(const integer_impl& big);
  std::int64_t small_;  // the value, if big_ is null
  Big big_;
};

/// Honours the stream's field width and fill.
std::ostream& operator<<(std::ostream& out, const integer& value);
std::istream& operator>>(std::istream& in, integer& value);

/// Exact fraction of any size, always in lowest terms with a positive denominator.
///
/// Invariant: a value whose numerator and denominator both fit a machine word is inline.
class rational {
 public:
  rational() noexcept : num_(0), den_(1) {}
  rational(int value) noexcept : num_(value), den_(1) {}
  rational(long value) noexcept : num_(value), den_(1) {}
  rational(unsigned long value);
  rational(const integer& value);
  /// A zero denominator raises std::overflow_error "bad rational: zero denominator".
  rational(const integer& numerator, const integer& denominator);
  /// An optional sign, digits and optionally "/" and digits, all decimal; anything else raises
  /// std::runtime_error, a zero denominator "bad rational: zero denominator".
  explicit rational(const std::string& text);
  explicit rational(const char* text) : rational(std::string(text)) {}
  /// The exact binary value of `value`: 0.5 is 1/2, and 0.1 is not 1/10. Not finite: InternalError.
  explicit rational(double value);
  rational(const rational& other)
      : num_(other.num_), den_(other.den_), big_(other.big_ ? clone(*other.big_) : nullptr) {}
  rational(rational&& other) noexcept
      : num_(std::exchange(other.num_, 0)), den_(std::exchange(other.den_, 1)), big_(std::move(other.big_)) {}
  rational& operator=(const rational& other) { return *this = rational(other); }
  rational& operator=(rational&& other) noexcept {
    std::swap(num_, other.num_);
    std::swap(den_, other.den_);
    std::swap(big_, other.big_);
    return *this;
  }
  ~rational() = default;

  rational operator-() const;
  rational& operator+=(const rational& other);
  rational& operator-=(const rational& other);
  rational& operator*=(const rational& other);
  rational& operator/=(
      const rational& other);  ///< Division by 0 raises std::overflow_error "Divide by zero.".
  friend rational operator+(rational a, const rational& b) { return a += b; }
  friend rational operator-(rational a, const rational& b) { return a -= b; }
  friend rational operator*(rational a, const rational& b) { return a *= b; }
  friend rational operator/(rational a, const rational& b) { return a /= b; }
  rational& operator++() { return *this += rational(1); }
  rational& operator--() { return *this -= rational(1); }
  rational operator++(int);
  rational operator--(int);

  friend bool operator==(const rational& a, const rational& b);
  friend std::strong_ordering operator<=>(const rational& a, const rational& b);

  integer numerator() const;
  integer denominator() const;
  bool is_integer() const;
  explicit operator int() const;            ///< Truncated towards zero, saturated.
  explicit operator long() const;           ///< Truncated towards zero, saturated.
  explicit operator unsigned long() const;  ///< Truncated; a negative value raises std::range_error.
  explicit operator double() const;         ///< Nearest representable.
  explicit operator float() const;
  std::string str() const;   ///< "3/4", or "2" where the denominator is 1.
  std::size_t hash() const;  ///< Over the low 64 bits of numerator (its absolute value) and denominator.

 private:
  friend struct NumberAccess;
  using Big = std::unique_ptr<rational_impl, NumberImplDeleter>;
  static Big clone(const rational_impl& big);
  std::int64_t num_;  // the value num_/den_, if big_ is null
  std::int64_t den_;
  Big big_;
};

std::ostream& operator<<(std::ostream& out, const rational& value);
/// Reads one whitespace-delimited word as the string constructor does; an empty read sets the fail bit.
std::istream& operator>>(std::istream& in, rational& value);

/// The number that a person wrote: "0.01" is 1/100, "2.50" is 5/2, "1/3" is 1/3, "007.5" is 15/2, ".5" is
/// 1/2. A sign in front holds for the whole number. A text that is none of these raises std::runtime_error.
rational rational_from_string(const std::string& text);

/// The multiple of ten to the minus `digits` nearest to `value`, a tie going up. For values of at least 0.
rational round(const rational& value, unsigned digits);

/// The number nearest to `value` with so many decimals, a tie going up: "2.50" with two, "3" with none.
std::string decimal_text(const rational& value, unsigned decimals);
/// The same without zeros at the end of the decimals: "2.5", "3".
std::string short_decimal_text(const rational& value, unsigned decimals);

/// A rational or one of the two infinities, for interval arithmetic on the bounds of types.
class PossiblyInfiniteRational {
 public:
  PossiblyInfiniteRational(rational value) : value_(std::move(value)), positive_(value_ >= rational(0)) {}
  static PossiblyInfiniteRational infinity(bool positive);

  bool is_infinite() const { return infinite_; }
  bool is_positive() const { return positive_; }
  /// The finite value. InternalError "Accessing num() on an infinite PossiblyInfiniteRational instance".
  const rational& num() const;

  friend PossiblyInfiniteRational operator+(const PossiblyInfiniteRational&, const PossiblyInfiniteRational&);
  friend PossiblyInfiniteRational operator-(const PossiblyInfiniteRational&, const PossiblyInfiniteRational&);
  friend PossiblyInfiniteRational operator*(const PossiblyInfiniteRational&, const PossiblyInfiniteRational&);
  friend PossiblyInfiniteRational operator/(const PossiblyInfiniteRational&, const PossiblyInfiniteRational&);
  /// The greater (smaller) of the two; the first if they are equal.
  static const PossiblyInfiniteRational& max(const PossiblyInfiniteRational&,
                                             const PossiblyInfiniteRational&);
  static const PossiblyInfiniteRational& min(const PossiblyInfiniteRational&,
                                             const PossiblyInfiniteRational&);

 private:
  PossiblyInfiniteRational() = default;
  rational value_;
  bool infinite_ = false;
  bool positive_ = true;
};

}  // namespace zorvel

template <>
struct std::hash<zorvel::integer> {
  std::size_t operator()(const zorvel::integer& value) const { return value.hash(); }
};
template <>
struct std::hash<zorvel::rational> {
  std::size_t operator()(const zorvel::rational& value) const { return value.hash(); }
};
