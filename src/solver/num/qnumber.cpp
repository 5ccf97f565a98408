#include "solver/num/qnumber.h"

#include <gmp.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <vector>

#include "solver/num/gcd_cache.h"
#include "solver/num/number_limits.h"
#include "solver/num/qnumber_gmp.h"

namespace vesk {

__extension__ typedef __int128 wide;  // the standard has no 128-bit integer

static_assert(sizeof(long) == 8 && sizeof(mp_limb_t) == 8, "a machine word is taken to have 64 bits");

namespace {

constexpr std::int64_t word_max = std::numeric_limits<std::int64_t>::max();
constexpr std::size_t max_exponent = 1000000;

std::uint64_t magnitude(std::int64_t value) {
  return value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
}

bool fits_word(wide value) { return value <= word_max && value >= -wide{word_max}; }

bool fits_word(mpz_srcptr value) {
  const std::size_t limbs = mpz_size(value);
  return limbs == 0 || (limbs == 1 && mpz_getlimbn(value, 0) <= static_cast<mp_limb_t>(word_max));
}

std::int64_t to_word(mpz_srcptr value) { return mpz_get_si(value); }

// Bits that a factor adds to a product; none if it is 1, as most denominators are.
std::size_t factor_bits(mpz_srcptr factor) {
  return mpz_cmpabs_ui(factor, 1) <= 0 ? 0 : mpz_sizeinbase(factor, 2);
}

// Bounds of what the operations may make, before reduction. They are looked at while the operands are as
// they were, so that an exception leaves every number in its form.
void require_room_for_product(mpq_srcptr a, mpq_srcptr b) {
  const std::size_t num = factor_bits(mpq_numref(a)) + factor_bits(mpq_numref(b));
  const std::size_t den = factor_bits(mpq_denref(a)) + factor_bits(mpq_denref(b));
  NumberLimits::current().require(std::max(num, den));
}

void require_room_for_sum(mpq_srcptr a, mpq_srcptr b) {
  const std::size_t a_den = factor_bits(mpq_denref(a)), b_den = factor_bits(mpq_denref(b));
  const std::size_t num =
      std::max(mpz_sizeinbase(mpq_numref(a), 2) + b_den, mpz_sizeinbase(mpq_numref(b), 2) + a_den) + 1;
  NumberLimits::current().require(std::max(num, a_den + b_den));
}

}  // namespace

/// The big form: a canonical fraction of GMP that does not fit two words.
struct QNumber::Big {
  mpq_t q;
  Big() { mpq_init(q); }
  ~Big() { mpq_clear(q); }
  Big(const Big&) = delete;
  Big& operator=(const Big&) = delete;
};

/// A read-only view of a number as a GMP fraction that allocates nothing: a small number lends its two words.
struct QNumber::Operand {
  explicit Operand(const QNumber& number) {
    if (number.den_ == 0) {
      view = number.big()->q;
      return;
    }
    limbs[0] = magnitude(number.num_);
    limbs[1] = static_cast<mp_limb_t>(number.den_);
    mpz_roinit_n(mpq_numref(words), &limbs[0], number.num_ < 0 ? -1 : number.num_ > 0 ? 1 : 0);
    mpz_roinit_n(mpq_denref(words), &limbs[1], 1);
    view = words;
  }
  Operand(const Operand&) = delete;
  Operand& operator=(const Operand&) = delete;

  mpq_srcptr view;
  mp_limb_t limbs[2];
  mpq_t words;
};

// The big form is owned through an integer, so this file is the one place of the number room that calls new
// and delete; make_big and free_big are the only functions that do.
QNumber::Big* QNumber::big() const {
  assert(den_ == 0);
  return std::bit_cast<Big*>(num_);
}

void QNumber::set_big(Big* big) {
  num_ = std::bit_cast<std::int64_t>(big);
  den_ = 0;
}

void QNumber::free_big() noexcept {
  delete big();
  forget();
}

/// Brings the value into the big form, whether or not it fits two words.
void QNumber::make_big() {
  if (den_ == 0) return;
  const std::int64_t num = num_;
  const std::int64_t den = den_;
  set_big(new Big);
  mpz_set_si(mpq_numref(big()->q), num);
  mpz_set_si(mpq_denref(big()->q), den);
}

/// Back to the small form if the value fits it.
void QNumber::shrink() {
  mpq_srcptr q = big()->q;
  if (!fits_word(mpq_numref(q)) || !fits_word(mpq_denref(q))) return;
  const std::int64_t num = to_word(mpq_numref(q));
  const std::int64_t den = to_word(mpq_denref(q));
  free_big();
  num_ = num;
  den_ = den;
}

void QNumber::move_int_min_to_big() { make_big(); }

void QNumber::clone_big(const QNumber& other) {
  forget();
  make_big();
  mpq_set(big()->q, other.big()->q);
}

void QNumber::assign_big(const QNumber& other) {
  if (this == &other) return;
  if (other.den_ == 0) {
    make_big();
    mpq_set(big()->q, other.big()->q);
  } else {
    free_big();
    num_ = other.num_;
    den_ = other.den_;
  }
}

QNumber::QNumber(long num, long den) : num_(num), den_(1) {
  assert(den != 0);
  fix_int_min();
  *this /= QNumber(den);
}

bool QNumber::big_is_int() const { return mpz_cmp_ui(mpq_denref(big()->q), 1) == 0; }
int QNumber::big_sgn() const { return mpq_sgn(big()->q); }
void QNumber::big_negate() { mpq_neg(big()->q, big()->q); }

std::size_t QNumber::big_hash() const {
  std::uint64_t h = static_cast<std::uint64_t>(mpq_sgn(big()->q)) + 17;
  for (mpz_srcptr part : {mpq_numref(big()->q), mpq_denref(big()->q)})
    for (std::size_t i = 0; i < mpz_size(part); ++i) {
      h = (h ^ mpz_getlimbn(part, static_cast<mp_size_t>(i))) * 0x9e3779b97f4a7c15u;
      h ^= h >> 29;
    }
  return h;
}

bool QNumber::big_equal(const QNumber& a, const QNumber& b) {
  return a.den_ == 0 && b.den_ == 0 && mpq_equal(a.big()->q, b.big()->q) != 0;
}

int QNumber::cmp_general(const QNumber& a, const QNumber& b) {
  if (a.den_ != 0 && b.den_ != 0) {
    const wide left = wide{a.num_} * b.den_;
    const wide right = wide{b.num_} * a.den_;
    return (left > right) - (left < right);
  }
  const int order = mpq_cmp(Operand(a).view, Operand(b).view);
  return (order > 0) - (order < 0);
}

QNumber& QNumber::add(const QNumber& b, bool subtract) {
  if (den_ != 0 && b.den_ != 0) {
    // The classical way: with g the common divisor of the denominators, only a divisor of g can cancel in the
    // sum.
    const std::int64_t g =
        static_cast<std::int64_t>(gcd(static_cast<std::uint64_t>(den_), static_cast<std::uint64_t>(b.den_)));
    const std::int64_t own_factor = b.den_ / g;
    const wide other = wide{b.num_} * (den_ / g);
    const wide own = wide{num_} * own_factor;
    // both products are below 2^126, so the sum cannot overflow
    wide num = subtract ? own - other : own + other;
    std::int64_t den = den_;
    std::int64_t factor = own_factor;
    if (g != 1) {
      const std::int64_t rest = static_cast<std::int64_t>(num % g);
      const std::int64_t common =
          static_cast<std::int64_t>(gcd(magnitude(rest), static_cast<std::uint64_t>(g)));
      num /= common;
      den /= common;
    }
    std::int64_t new_den;
    if (fits_word(num) && !__builtin_mul_overflow(den, factor, &new_den)) {
      num_ = static_cast<std::int64_t>(num);
      den_ = num_ == 0 ? 1 : new_den;
      return *this;
    }
  }
  const Operand right(b);  // before make_big, as `b` may be this number
  require_room_for_sum(Operand(*this).view, right.view);
  make_big();
  if (subtract)
    mpq_sub(big()->q, big()->q, right.view);
  else
    mpq_add(big()->q, big()->q, right.view);
  shrink();
  return *this;
}

QNumber& QNumber::multiply(const QNumber& b) {
  if (den_ != 0 && b.den_ != 0) {
    if (num_ == 0 || b.num_ == 0) {
      forget();
      return *this;
    }
    const std::int64_t g =
        static_cast<std::int64_t>(gcd(magnitude(num_), static_cast<std::uint64_t>(b.den_)));
    const std::int64_t h =
        static_cast<std::int64_t>(gcd(magnitude(b.num_), static_cast<std::uint64_t>(den_)));
    std::int64_t num;
    std::int64_t den;
    if (!__builtin_mul_overflow(num_ / g, b.num_ / h, &num) && num != int_min &&
        !__builtin_mul_overflow(den_ / h, b.den_ / g, &den)) {
      num_ = num;
      den_ = den;
      return *this;
    }
  }
  const Operand right(b);
  require_room_for_product(Operand(*this).view, right.view);
  make_big();
  mpq_mul(big()->q, big()->q, right.view);
  shrink();
  return *this;
}

QNumber& QNumber::operator/=(const QNumber& b) {
  assert(!b.is_zero());
  return *this *= b.inv();
}

QNumber& QNumber::addmul(const QNumber& a, const QNumber& b) {
  QNumber product(a);
  product *= b;
  return *this += product;
}

QNumber QNumber::inv() const {
  assert(!is_zero());
  QNumber result;
  if (den_ != 0) {
    result.num_ = num_ < 0 ? -den_ : den_;
    result.den_ = num_ < 0 ? -num_ : num_;
  } else {
    result.make_big();
    mpq_inv(result.big()->q, big()->q);
  }
  return result;
}

QNumber QNumber::floor() const {
  if (den_ == 1) return *this;
  QNumber result;
  if (den_ != 0) {
    const std::int64_t truncated = num_ / den_;
    result.num_ = num_ < 0 ? truncated - 1 : truncated;  // not an integer, so never exact
    return result;
  }
  result.make_big();
  mpz_fdiv_q(mpq_numref(result.big()->q), mpq_numref(big()->q), mpq_denref(big()->q));
  result.shrink();
  return result;
}

QNumber QNumber::ceil() const { return neg().floor().self_neg(); }

void QNumber::divmod(const QNumber& b, QNumber* quotient, QNumber* rest) const {
  QNumber q = (*this / b).floor();
  QNumber r = *this - q * b;
  *quotient = std::move(q);
  *rest = std::move(r);
}

QNumber QNumber::get_num() const {
  QNumber result;
  if (den_ != 0) {
    result.num_ = num_;
    return result;
  }
  result.make_big();
  mpz_set(mpq_numref(result.big()->q), mpq_numref(big()->q));
  result.shrink();
  return result;
}

QNumber QNumber::get_den() const {
  QNumber result;
  if (den_ != 0) {
    result.num_ = den_;
    return result;
  }
  result.make_big();
  mpz_set(mpq_numref(result.big()->q), mpq_denref(big()->q));
  result.shrink();
  return result;
}

bool QNumber::is_canonical() const {
  if (den_ != 0)
    return den_ > 0 && num_ != int_min && gcd(magnitude(num_), static_cast<std::uint64_t>(den_)) == 1;
  mpq_srcptr q = big()->q;
  if (fits_word(mpq_numref(q)) && fits_word(mpq_denref(q))) return false;
  mpq_t reduced;
  mpq_init(reduced);
  mpq_set(reduced, q);
  mpq_canonicalize(reduced);
  const bool canonical = mpq_equal(reduced, q) != 0;
  mpq_clear(reduced);
  return canonical;
}

namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// Takes the digits at the front of `text` off and returns them.
std::string_view take_digits(std::string_view& text) {
  std::size_t length = 0;
  while (length < text.size() && is_digit(text[length])) ++length;
  const std::string_view digits = text.substr(0, length);
  text.remove_prefix(length);
  return digits;
}

void set_digits(mpz_ptr out, const std::string& digits) {
  [[maybe_unused]] const int status = mpz_set_str(out, digits.c_str(), 10);
  assert(status == 0);
}

/// Reads "e-12" completely; false if it is malformed or absurdly large.
bool read_exponent(std::string_view text, long* out) {
  text.remove_prefix(1);
  bool negative = false;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    negative = text[0] == '-';
    text.remove_prefix(1);
  }
  const std::string_view digits = take_digits(text);
  if (digits.empty() || !text.empty()) return false;
  std::size_t value = 0;
  for (const char c : digits) {
    value = value * 10 + static_cast<std::size_t>(c - '0');
    if (value > max_exponent) return false;
  }
  *out = negative ? -static_cast<long>(value) : static_cast<long>(value);
  return true;
}

}  // namespace

bool QNumber::from_str(std::string_view text, QNumber* out) {
  bool negative = false;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    negative = text[0] == '-';
    text.remove_prefix(1);
  }
  std::string digits(take_digits(text));
  std::string denominator = "1";
  long exponent = 0;
  if (!digits.empty() && !text.empty() && text[0] == '/') {
    text.remove_prefix(1);
    denominator = take_digits(text);
    if (denominator.empty() || !text.empty()) return false;
    if (denominator.find_first_not_of('0') == std::string::npos) return false;
  } else {
    if (!text.empty() && text[0] == '.') {
      text.remove_prefix(1);
      const std::string_view fraction = take_digits(text);
      if (fraction.empty()) return false;
      exponent = -static_cast<long>(fraction.size());
      digits += fraction;
    }
    if (digits.empty()) return false;
    if (!text.empty()) {
      long written = 0;
      if ((text[0] != 'e' && text[0] != 'E') || !read_exponent(text, &written)) return false;
      exponent += written;
    }
  }
  constexpr std::size_t bits_per_ten_digits = 34;
  const std::size_t scale = static_cast<std::size_t>(exponent < 0 ? -exponent : exponent);
  const std::size_t num_digits = digits.size() + (exponent > 0 ? scale : 0);
  const std::size_t den_digits = denominator.size() + (exponent < 0 ? scale : 0);
  NumberLimits::current().require(std::max(num_digits, den_digits) / 10 * bits_per_ten_digits);
  QNumber result;
  result.make_big();
  mpq_ptr q = result.big()->q;
  set_digits(mpq_numref(q), digits);
  set_digits(mpq_denref(q), denominator);
  if (exponent != 0) {
    mpz_ptr scaled = exponent > 0 ? mpq_numref(q) : mpq_denref(q);
    mpz_t power;
    mpz_init(power);
    mpz_ui_pow_ui(power, 10, static_cast<unsigned long>(exponent > 0 ? exponent : -exponent));
    mpz_mul(scaled, scaled, power);
    mpz_clear(power);
  }
  if (negative) mpq_neg(q, q);
  mpq_canonicalize(q);
  result.shrink();
  *out = std::move(result);
  return true;
}

std::string QNumber::to_str() const {
  if (den_ == 1) return std::to_string(num_);
  if (den_ != 0) return std::to_string(num_) + "/" + std::to_string(den_);
  mpq_srcptr q = big()->q;
  std::string text(mpz_sizeinbase(mpq_numref(q), 10) + mpz_sizeinbase(mpq_denref(q), 10) + 3, '\0');
  mpq_get_str(text.data(), 10, q);
  text.resize(text.find('\0'));
  return text;
}

std::string QNumber::to_float_str(int digits) const {
  const Operand operand(*this);
  mpf_t value;
  mpf_init2(value, static_cast<mp_bitcnt_t>(digits) * 4 + 64);
  mpf_set_q(value, operand.view);
  const int length = gmp_snprintf(nullptr, 0, "%.*Fg", digits, value);
  std::string text(static_cast<std::size_t>(length) + 1, '\0');
  gmp_snprintf(text.data(), text.size(), "%.*Fg", digits, value);
  mpf_clear(value);
  text.pop_back();
  return text;
}

QNumber gcd(const QNumber& a, const QNumber& b) {
  assert(a.is_int() && b.is_int());
  if (a.is_small() && b.is_small())
    return static_cast<long>(gcd(magnitude(a.small_int()), magnitude(b.small_int())));
  mpq_t left;
  mpq_t right;
  mpq_inits(left, right, nullptr);
  QNumberGmp::to_mpq(a, left);
  QNumberGmp::to_mpq(b, right);
  mpz_gcd(mpq_numref(left), mpq_numref(left), mpq_numref(right));
  QNumber result = QNumberGmp::from_mpq(left);
  mpq_clears(left, right, nullptr);
  return result;
}

QNumber lcm(const QNumber& a, const QNumber& b) {
  if (a.is_zero() || b.is_zero()) return 0;
  return (a / gcd(a, b) * b).abs();
}

void QNumberGmp::to_mpq(const QNumber& number, mpq_ptr out) { mpq_set(out, QNumber::Operand(number).view); }

QNumber QNumberGmp::from_mpq(mpq_srcptr value) {
  const std::size_t num = mpz_sizeinbase(mpq_numref(value), 2), den = mpz_sizeinbase(mpq_denref(value), 2);
  NumberLimits::current().require(std::max(num, den));
  QNumber result;
  result.make_big();
  mpq_set(result.big()->q, value);
  result.shrink();
  return result;
}

// A quotient of 64 bits, of which the last is set if anything was left over, is rounded by the machine as the
// exact value would be, and only once: a long double holds it as it is.
double QNumberGmp::to_double(const QNumber& number) {
  const QNumber::Operand operand(number);
  mpq_srcptr q = operand.view;
  if (mpq_sgn(q) == 0) return 0;
  const auto bits = [](mpz_srcptr part) { return static_cast<long>(mpz_sizeinbase(part, 2)); };
  const long shift = 64 - bits(mpq_numref(q)) + bits(mpq_denref(q));
  mpz_t num, den;
  mpz_inits(num, den, nullptr);
  mpz_mul_2exp(num, mpq_numref(q), static_cast<mp_bitcnt_t>(std::max(shift, 0L)));
  mpz_mul_2exp(den, mpq_denref(q), static_cast<mp_bitcnt_t>(std::max(-shift, 0L)));
  mpz_abs(num, num);
  mpz_tdiv_qr(num, den, num, den);
  const bool has_rest = mpz_sgn(den) != 0;
  const bool has_bit_more = mpz_sizeinbase(num, 2) > 64;
  const bool lost_bit = has_bit_more && mpz_odd_p(num) != 0;
  if (has_bit_more) mpz_tdiv_q_2exp(num, num, 1);
  std::uint64_t quotient = mpz_get_ui(num);
  mpz_clears(num, den, nullptr);
  if (has_rest || lost_bit) quotient |= 1;
  const long exponent = std::clamp((has_bit_more ? 1 : 0) - shift, -100000L, 100000L);
  const long double size = std::ldexp(static_cast<long double>(quotient), static_cast<int>(exponent));
  return static_cast<double>(mpq_sgn(q) < 0 ? -size : size);
}

}  // namespace vesk
