#include "core/numbers.h"

#include <algorithm>
#include <boost/multiprecision/cpp_int.hpp>
#include <cassert>
#include <cmath>
#include <istream>
#include <limits>
#include <numeric>
#include <ostream>
#include <stdexcept>
#include <utility>

#include "core/errors.h"

namespace zorvel {

using boost::multiprecision::cpp_int;

struct integer_impl {
  cpp_int value;
};
/// In lowest terms, with a positive denominator.
struct rational_impl {
  cpp_int num, den;
};

void NumberImplDeleter::operator()(integer_impl* number) const noexcept {
  std::default_delete<integer_impl>()(number);
}
void NumberImplDeleter::operator()(rational_impl* number) const noexcept {
  std::default_delete<rational_impl>()(number);
}

namespace {

__extension__ typedef __int128 int128;

constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();

bool fits_word(const cpp_int& value) { return value >= smallest && value <= largest; }
bool fits_word(int128 value) { return value >= smallest && value <= largest; }
std::int64_t to_word(const cpp_int& value) { return value.convert_to<std::int64_t>(); }
std::uint64_t magnitude(std::int64_t value) {
  return value < 0 ? std::uint64_t{0} - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
}

std::uint64_t low_word(const cpp_int& value) {
  static const cpp_int mask(std::numeric_limits<std::uint64_t>::max());
  return static_cast<cpp_int>(abs(value) & mask).convert_to<std::uint64_t>();
}

cpp_int to_big(int128 value) { return cpp_int(value); }

[[noreturn]] void refuse_text() {
  throw std::runtime_error("Unexpected content found while parsing character string.");
}
[[noreturn]] void refuse_negative() {
  throw std::range_error("Attempt to assign a negative value to an unsigned type.");
}
[[noreturn]] void refuse_zero_denominator() { throw std::overflow_error("bad rational: zero denominator"); }

bool is_digits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string_view without_leading_zeros(std::string_view digits) {
  const std::size_t first = digits.find_first_not_of('0');
  return first == std::string_view::npos ? std::string_view() : digits.substr(first);
}

cpp_int power_of_ten(std::size_t exponent) {
  return boost::multiprecision::pow(cpp_int(10), static_cast<unsigned>(exponent));
}

/// Halves first: reading digit block by digit block costs the square of the length.
cpp_int parse_digits(std::string_view digits) {
  digits = without_leading_zeros(digits);  // the library reads a leading zero as octal
  if (digits.empty()) return 0;
  if (digits.size() <= 1000) return cpp_int(std::string(digits));
  const std::size_t low = digits.size() / 2;
  cpp_int result = parse_digits(digits.substr(0, digits.size() - low)) * power_of_ten(low);
  result += parse_digits(digits.substr(digits.size() - low));
  return result;
}

/// How often `factor` divides `value`, which is not 0, but at most `limit` times; takes the factors out.
std::size_t take_factors(cpp_int& value, const cpp_int& factor, std::size_t limit) {
  if (limit == 0 || value % factor != 0) return 0;
  // Squares first: each step halves what is left to find, so long numbers are divided few times.
  const std::size_t pairs = take_factors(value, factor * factor, limit / 2);
  if (pairs * 2 == limit || value % factor != 0) return pairs * 2;
  value /= factor;
  return pairs * 2 + 1;
}

/// Takes a leading sign off `text`.
bool take_sign(std::string_view& text) {
  if (text.empty() || (text[0] != '-' && text[0] != '+')) return false;
  const bool negative = text[0] == '-';
  text.remove_prefix(1);
  return negative;
}

/// num/den correctly rounded to `bits` binary digits, as mantissa and exponent of two. Both are positive.
/// Subnormal results have fewer digits: `lowest` is the exponent of the least representable bit.
std::pair<std::uint64_t, long> round_to_bits(cpp_int num, cpp_int den, long bits, long lowest) {
  const long lengths = static_cast<long>(msb(num)) - static_cast<long>(msb(den));
  // The quotient num * 2^shift / den has bits + 1 or bits + 2 digits, so the last one decides.
  const long shift = std::min(bits + 1 - lengths, -lowest + 1);
  if (shift >= 0)
    num <<= static_cast<unsigned long>(shift);
  else
    den <<= static_cast<unsigned long>(-shift);
  cpp_int quotient, remainder;
  divide_qr(num, den, quotient, remainder);
  if (quotient.is_zero()) return {0, 0};
  const long extra = std::max(1L, static_cast<long>(msb(quotient)) + 1 - bits);
  auto word = quotient.convert_to<std::uint64_t>();
  const std::uint64_t half = std::uint64_t{1} << (extra - 1);
  const std::uint64_t rest = word & ((half << 1) - 1);
  word >>= extra;
  if (rest > half || (rest == half && (!remainder.is_zero() || (word & 1) != 0))) ++word;
  return {word, extra - shift};
}

template <class Float>
Float to_float(const cpp_int& num, const cpp_int& den) {
  if (num.is_zero()) return 0;
  using limits = std::numeric_limits<Float>;
  const auto [mantissa, exponent] =
      round_to_bits(abs(num), den, limits::digits, limits::min_exponent - limits::digits);
  const Float result = std::ldexp(static_cast<Float>(mantissa), static_cast<int>(exponent));
  return num < 0 ? -result : result;
}

}  // namespace

/// The two forms of a number; the only place that chooses between them.
struct NumberAccess {
  static cpp_int big(const integer& n) { return n.big_ ? n.big_->value : cpp_int(n.small_); }
  static void set(integer& n, cpp_int&& value) {
    if (fits_word(value)) {
      n.small_ = to_word(value);
      n.big_.reset();
    } else if (n.big_) {
      n.big_->value = std::move(value);
    } else {
      n.small_ = 0;
      n.big_.reset(std::make_unique<integer_impl>(integer_impl{std::move(value)}).release());
    }
  }
  static integer make(cpp_int&& value) {
    integer result;
    set(result, std::move(value));
    return result;
  }
  static const std::int64_t* small(const integer& n) { return n.big_ ? nullptr : &n.small_; }

  static cpp_int num(const rational& q) { return q.big_ ? q.big_->num : cpp_int(q.num_); }
  static cpp_int den(const rational& q) { return q.big_ ? q.big_->den : cpp_int(q.den_); }
  static void set_small(rational& q, std::int64_t num, std::int64_t den) {
    q.num_ = num;
    q.den_ = den;
    q.big_.reset();
  }
  /// In lowest terms already, with a positive denominator.
  static void set_lowest(rational& q, cpp_int&& num, cpp_int&& den) {
    if (fits_word(num) && fits_word(den)) {
      set_small(q, to_word(num), to_word(den));
      return;
    }
    q.num_ = 0;
    q.den_ = 1;
    q.big_.reset(std::make_unique<rational_impl>(rational_impl{std::move(num), std::move(den)}).release());
  }
  static void set_lowest(rational& q, int128 num, int128 den) {
    if (fits_word(num) && fits_word(den))
      set_small(q, static_cast<std::int64_t>(num), static_cast<std::int64_t>(den));
    else
      set_lowest(q, to_big(num), to_big(den));
  }
  static void set(rational& q, cpp_int&& num, cpp_int&& den) {
    assert(!den.is_zero());
    const cpp_int common = gcd(num, den);
    if (common != 1) {
      num /= common;
      den /= common;
    }
    if (den < 0) {
      num = -num;
      den = -den;
    }
    set_lowest(q, std::move(num), std::move(den));
  }
  static bool is_small(const rational& a, const rational& b) { return !a.big_ && !b.big_; }
};

// integer

integer::integer(unsigned long value) : small_(0) {
  if (value <= static_cast<unsigned long>(largest))
    small_ = static_cast<std::int64_t>(value);
  else
    NumberAccess::set(*this, cpp_int(value));
}

integer::integer(const std::string& text) : small_(0) {
  std::string_view digits = text;
  const bool negative = take_sign(digits);
  if (!is_digits(digits)) refuse_text();
  cpp_int value = parse_digits(digits);
  NumberAccess::set(*this, negative ? cpp_int(-value) : std::move(value));
}

integer::Big integer::clone(const integer_impl& big) {
  return Big(std::make_unique<integer_impl>(big).release());
}

integer integer::operator-() const {
  if (!big_ && small_ != smallest) return integer(static_cast<long>(-small_));
  return NumberAccess::make(-NumberAccess::big(*this));
}

integer& integer::operator+=(const integer& other) {
  std::int64_t sum = 0;
  if (!big_ && !other.big_ && !__builtin_add_overflow(small_, other.small_, &sum))
    small_ = sum;
  else
    NumberAccess::set(*this, NumberAccess::big(*this) + NumberAccess::big(other));
  return *this;
}

integer& integer::operator-=(const integer& other) {
  std::int64_t difference = 0;
  if (!big_ && !other.big_ && !__builtin_sub_overflow(small_, other.small_, &difference))
    small_ = difference;
  else
    NumberAccess::set(*this, NumberAccess::big(*this) - NumberAccess::big(other));
  return *this;
}

integer& integer::operator*=(const integer& other) {
  std::int64_t product = 0;
  if (!big_ && !other.big_ && !__builtin_mul_overflow(small_, other.small_, &product))
    small_ = product;
  else
    NumberAccess::set(*this, NumberAccess::big(*this) * NumberAccess::big(other));
  return *this;
}

integer& integer::operator/=(const integer& other) {
  if (!other.big_ && other.small_ == 0) throw std::overflow_error("Integer Division by zero.");
  if (!big_ && !other.big_ && !(small_ == smallest && other.small_ == -1))
    small_ /= other.small_;
  else
    NumberAccess::set(*this, NumberAccess::big(*this) / NumberAccess::big(other));
  return *this;
}

integer integer::operator++(int) {
  integer old = *this;
  ++*this;
  return old;
}
integer integer::operator--(int) {
  integer old = *this;
  --*this;
  return old;
}

bool operator==(const integer& a, const integer& b) {
  if (!a.big_ || !b.big_) return !a.big_ && !b.big_ && a.small_ == b.small_;
  return a.big_->value == b.big_->value;
}

std::strong_ordering operator<=>(const integer& a, const integer& b) {
  if (!a.big_ && !b.big_) return a.small_ <=> b.small_;
  if (!a.big_) return b.big_->value < 0 ? std::strong_ordering::greater : std::strong_ordering::less;
  if (!b.big_) return a.big_->value < 0 ? std::strong_ordering::less : std::strong_ordering::greater;
  return a.big_->value.compare(b.big_->value) <=> 0;
}

integer integer::pow(unsigned long exponent) const {
  integer result(1), square = *this;
  for (; exponent != 0; exponent >>= 1) {
    if ((exponent & 1) != 0) result *= square;
    if (exponent > 1) square *= square;
  }
  return result;
}

integer::operator long() const {
  if (!big_) return small_;
  return big_->value < 0 ? smallest : largest;
}
integer::operator int() const {
  return static_cast<int>(std::clamp<long>(static_cast<long>(*this), std::numeric_limits<int>::min(),
                                           std::numeric_limits<int>::max()));
}
integer::operator unsigned long() const {
  if (big_ ? big_->value < 0 : small_ < 0) refuse_negative();
  return hash();
}
integer::operator double() const {
  return big_ ? to_float<double>(big_->value, 1) : static_cast<double>(small_);
}
integer::operator float() const {
  return big_ ? to_float<float>(big_->value, 1) : static_cast<float>(small_);
}

std::string integer::str() const { return big_ ? big_->value.str() : std::to_string(small_); }
std::size_t integer::hash() const { return big_ ? low_word(big_->value) : magnitude(small_); }

std::ostream& operator<<(std::ostream& out, const integer& value) { return out << value.str(); }

std::istream& operator>>(std::istream& in, integer& value) {
  const std::istream::sentry ready(in);
  if (!ready) return in;
  std::string text;
  if (in.peek() == '-' || in.peek() == '+') text += static_cast<char>(in.get());
  bool any = false;
  for (; in.peek() >= '0' && in.peek() <= '9'; any = true) text += static_cast<char>(in.get());
  if (any)
    value = integer(text);
  else
    in.setstate(std::ios::failbit);
  return in;
}

// rational

rational::rational(unsigned long value) : rational(integer(value)) {}

rational::rational(const integer& value) : num_(value.small_), den_(1) {
  if (value.big_) NumberAccess::set_lowest(*this, cpp_int(value.big_->value), 1);
}

rational::rational(const integer& numerator, const integer& denominator) : num_(0), den_(1) {
  const std::int64_t* num = NumberAccess::small(numerator);
  const std::int64_t* den = NumberAccess::small(denominator);
  if (den != nullptr && *den == 0) refuse_zero_denominator();
  if (num != nullptr && den != nullptr && *num != smallest && *den != smallest) {
    const std::int64_t common = std::gcd(*num, *den) * (*den < 0 ? -1 : 1);
    NumberAccess::set_small(*this, *num / common, *den / common);
  } else {
    NumberAccess::set(*this, NumberAccess::big(numerator), NumberAccess::big(denominator));
  }
}

rational::rational(const std::string& text) : num_(0), den_(1) {
  std::string_view rest = text;
  const bool negative = take_sign(rest);
  const std::size_t slash = rest.find('/');
  const std::string_view top = rest.substr(0, slash);
  if (!is_digits(top)) refuse_text();
  cpp_int num = parse_digits(top);
  if (negative) num = -num;
  if (slash == std::string_view::npos) {
    NumberAccess::set_lowest(*this, std::move(num), 1);
    return;
  }
  const std::string_view bottom = rest.substr(slash + 1);
  if (!is_digits(bottom)) refuse_text();
  cpp_int den = parse_digits(bottom);
  if (den.is_zero()) refuse_zero_denominator();
  NumberAccess::set(*this, std::move(num), std::move(den));
}

rational::rational(double value) : num_(0), den_(1) {
  if (!std::isfinite(value)) throw InternalError("A finite number was expected, got ") << value;
  int exponent = 0;
  const long double fraction = std::frexp(static_cast<long double>(value), &exponent);
  auto mantissa = static_cast<std::int64_t>(std::ldexp(fraction, 63));  // a double has fewer digits
  exponent -= 63;
  for (; mantissa != 0 && mantissa % 2 == 0; ++exponent) mantissa /= 2;
  if (mantissa == 0) return;
  if (exponent >= 0)
    NumberAccess::set_lowest(*this, cpp_int(mantissa) << static_cast<unsigned>(exponent), 1);
  else
    NumberAccess::set_lowest(*this, cpp_int(mantissa), cpp_int(1) << static_cast<unsigned>(-exponent));
}

rational::Big rational::clone(const rational_impl& big) {
  return Big(std::make_unique<rational_impl>(big).release());
}

rational rational::operator-() const {
  rational result;
  if (!big_ && num_ != smallest)
    NumberAccess::set_small(result, -num_, den_);
  else
    NumberAccess::set_lowest(result, -NumberAccess::num(*this), NumberAccess::den(*this));
  return result;
}

namespace {

/// a/b + c/d. Divides by common factors of the word-sized denominators alone, so the wide sum never needs a
/// wide gcd: with g = gcd(b, d), only factors of g can be left in the sum.
void add_small(rational& result, std::int64_t a, std::int64_t b, std::int64_t c, std::int64_t d) {
  const std::int64_t g = b == d ? b : std::gcd(b, d);
  if (g == 1) {
    NumberAccess::set_lowest(result, int128{a} * d + int128{c} * b, int128{b} * d);
    return;
  }
  const int128 sum = int128{a} * (d / g) + int128{c} * (b / g);
  const std::int64_t left = std::gcd(static_cast<std::int64_t>(sum % g), g);
  NumberAccess::set_lowest(result, sum / left, int128{b / g} * (d / left));
}

}  // namespace

rational& rational::operator+=(const rational& other) {
  if (NumberAccess::is_small(*this, other)) {
    std::int64_t sum = 0;
    if (den_ == 1 && other.den_ == 1 && !__builtin_add_overflow(num_, other.num_, &sum))
      num_ = sum;
    else
      add_small(*this, num_, den_, other.num_, other.den_);
    return *this;
  }
  const cpp_int b = NumberAccess::den(*this), d = NumberAccess::den(other);
  NumberAccess::set(*this, NumberAccess::num(*this) * d + NumberAccess::num(other) * b, b * d);
  return *this;
}

rational& rational::operator-=(const rational& other) {
  if (NumberAccess::is_small(*this, other) && other.num_ != smallest) {
    std::int64_t difference = 0;
    if (den_ == 1 && other.den_ == 1 && !__builtin_sub_overflow(num_, other.num_, &difference))
      num_ = difference;
    else
      add_small(*this, num_, den_, -other.num_, other.den_);
    return *this;
  }
  return *this += -other;
}

rational& rational::operator*=(const rational& other) {
  if (NumberAccess::is_small(*this, other)) {
    std::int64_t product = 0;
    if (den_ == 1 && other.den_ == 1 && !__builtin_mul_overflow(num_, other.num_, &product)) {
      num_ = product;
      return *this;
    }
    // The gcd of magnitudes: that of the least word has no magnitude of its own type.
    const auto across = static_cast<std::int64_t>(std::gcd(magnitude(num_), magnitude(other.den_)));
    const auto back = static_cast<std::int64_t>(std::gcd(magnitude(other.num_), magnitude(den_)));
    NumberAccess::set_lowest(*this, int128{num_ / across} * (other.num_ / back),
                             int128{den_ / back} * (other.den_ / across));
    return *this;
  }
  NumberAccess::set(*this, NumberAccess::num(*this) * NumberAccess::num(other),
                    NumberAccess::den(*this) * NumberAccess::den(other));
  return *this;
}

rational& rational::operator/=(const rational& other) {
  if (!other.big_ && other.num_ == 0) throw std::overflow_error("Divide by zero.");
  rational inverse;
  if (!other.big_ && other.num_ != smallest) {
    if (other.num_ < 0)
      NumberAccess::set_small(inverse, -other.den_, -other.num_);
    else
      NumberAccess::set_small(inverse, other.den_, other.num_);
  } else {
    cpp_int num = NumberAccess::den(other), den = NumberAccess::num(other);
    if (den < 0) {
      num = -num;
      den = -den;
    }
    NumberAccess::set_lowest(inverse, std::move(num), std::move(den));
  }
  return *this *= inverse;
}

rational rational::operator++(int) {
  rational old = *this;
  ++*this;
  return old;
}
rational rational::operator--(int) {
  rational old = *this;
  --*this;
  return old;
}

bool operator==(const rational& a, const rational& b) {
  if (!a.big_ || !b.big_) return !a.big_ && !b.big_ && a.num_ == b.num_ && a.den_ == b.den_;
  return a.big_->num == b.big_->num && a.big_->den == b.big_->den;
}

std::strong_ordering operator<=>(const rational& a, const rational& b) {
  if (NumberAccess::is_small(a, b)) {
    if (a.den_ == b.den_) return a.num_ <=> b.num_;
    const int128 left = int128{a.num_} * b.den_, right = int128{b.num_} * a.den_;
    return left < right   ? std::strong_ordering::less
           : right < left ? std::strong_ordering::greater
                          : std::strong_ordering::equal;
  }
  const cpp_int left = NumberAccess::num(a) * NumberAccess::den(b);
  const cpp_int right = NumberAccess::num(b) * NumberAccess::den(a);
  return left.compare(right) <=> 0;
}

integer rational::numerator() const {
  return big_ ? NumberAccess::make(cpp_int(big_->num)) : integer(static_cast<long>(num_));
}
integer rational::denominator() const {
  return big_ ? NumberAccess::make(cpp_int(big_->den)) : integer(static_cast<long>(den_));
}
bool rational::is_integer() const { return big_ ? big_->den == 1 : den_ == 1; }

rational::operator int() const { return static_cast<int>(numerator() / denominator()); }
rational::operator long() const {
  return big_ ? static_cast<long>(numerator() / denominator()) : static_cast<long>(num_ / den_);
}
rational::operator unsigned long() const { return static_cast<unsigned long>(numerator() / denominator()); }

rational::operator double() const {
  constexpr std::uint64_t exact = std::uint64_t{1} << 53;
  if (!big_ && magnitude(num_) <= exact && static_cast<std::uint64_t>(den_) <= exact)
    return static_cast<double>(num_) / static_cast<double>(den_);
  return to_float<double>(NumberAccess::num(*this), NumberAccess::den(*this));
}
rational::operator float() const {
  return to_float<float>(NumberAccess::num(*this), NumberAccess::den(*this));
}

std::string rational::str() const {
  std::string text = big_ ? big_->num.str() : std::to_string(num_);
  if (!is_integer()) text += '/' + (big_ ? big_->den.str() : std::to_string(den_));
  return text;
}

std::size_t rational::hash() const {
  const std::uint64_t num = big_ ? low_word(big_->num) : magnitude(num_);
  const std::uint64_t den = big_ ? low_word(big_->den) : static_cast<std::uint64_t>(den_);
  return num + (den - 1) * 0x9e3779b97f4a7c15U;
}

std::ostream& operator<<(std::ostream& out, const rational& value) { return out << value.str(); }

std::istream& operator>>(std::istream& in, rational& value) {
  std::string word;
  if (in >> word) value = rational(word);
  return in;
}

rational rational_from_string(const std::string& text) {
  const std::size_t point = text.find('.');
  if (point == std::string::npos || point + 1 == text.size()) return rational(text);
  std::string_view whole = std::string_view(text).substr(0, point);
  const std::string_view fraction = std::string_view(text).substr(point + 1);
  const bool negative = take_sign(whole);
  if ((!whole.empty() && !is_digits(whole)) || !is_digits(fraction)) refuse_text();
  cpp_int num = parse_digits(whole) * power_of_ten(fraction.size()) + parse_digits(fraction);
  if (num.is_zero()) return {};
  // The denominator has no factors but 2 and 5; looking for these costs less than a gcd of long numbers.
  const std::size_t fives = take_factors(num, 5, fraction.size());
  const std::size_t twos = std::min<std::size_t>(lsb(num), fraction.size());
  num >>= twos;
  cpp_int den = boost::multiprecision::pow(cpp_int(5), static_cast<unsigned>(fraction.size() - fives));
  den <<= fraction.size() - twos;
  if (negative) num = -num;
  rational result;
  NumberAccess::set_lowest(result, std::move(num), std::move(den));
  return result;
}

rational round(const rational& value, unsigned digits) {
  const rational scale(integer(10).pow(digits));
  const rational scaled = value * scale;
  const rational low(scaled.numerator() / scaled.denominator());
  const rational high = low == scaled ? low : low + rational(1);
  return (high - scaled > scaled - low ? low : high) / scale;
}

std::string decimal_text(const rational& value, unsigned decimals) {
  if (value < rational(0)) {
    std::string text = decimal_text(-value, decimals);
    return text.find_first_of("123456789") == std::string::npos ? text : '-' + text;
  }
  std::string digits = (round(value, decimals) * rational(integer(10).pow(decimals))).numerator().str();
  if (decimals == 0) return digits;
  if (digits.size() <= decimals) digits.insert(0, decimals + 1 - digits.size(), '0');
  digits.insert(digits.size() - decimals, 1, '.');
  return digits;
}

std::string short_decimal_text(const rational& value, unsigned decimals) {
  std::string text = decimal_text(value, decimals);
  if (decimals == 0) return text;
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text;
}

}  // namespace zorvel
