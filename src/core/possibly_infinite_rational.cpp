#include "core/errors.h"
#include "core/numbers.h"

namespace zorvel {

PossiblyInfiniteRational PossiblyInfiniteRational::infinity(bool positive) {
  PossiblyInfiniteRational result;
  result.infinite_ = true;
  result.positive_ = positive;
  return result;
}

const rational& PossiblyInfiniteRational::num() const {
  if (infinite_) throw InternalError("Accessing num() on an infinite PossiblyInfiniteRational instance");
  return value_;
}

PossiblyInfiniteRational operator+(const PossiblyInfiniteRational& a, const PossiblyInfiniteRational& b) {
  if (!a.infinite_ && !b.infinite_) return a.value_ + b.value_;
  if (a.infinite_ && b.infinite_ && a.positive_ != b.positive_)
    throw InternalError("Sum between -inf and +inf is not possible");
  return a.infinite_ ? a : b;
}

PossiblyInfiniteRational operator-(const PossiblyInfiniteRational& a, const PossiblyInfiniteRational& b) {
  if (!a.infinite_ && !b.infinite_) return a.value_ - b.value_;
  if (a.infinite_ && b.infinite_ && a.positive_ == b.positive_)
    throw InternalError("Subtraction between -inf and -inf or between +inf and +inf is not possible");
  return a.infinite_ ? a : PossiblyInfiniteRational::infinity(!b.positive_);
}

PossiblyInfiniteRational operator*(const PossiblyInfiniteRational& a, const PossiblyInfiniteRational& b) {
  if (!a.infinite_ && !b.infinite_) return a.value_ * b.value_;
  const bool by_zero = (!a.infinite_ && a.value_ == rational(0)) || (!b.infinite_ && b.value_ == rational(0));
  return PossiblyInfiniteRational::infinity(!by_zero && a.positive_ == b.positive_);
}

PossiblyInfiniteRational operator/(const PossiblyInfiniteRational& a, const PossiblyInfiniteRational& b) {
  if (b.infinite_) throw InternalError("Division having the divisor not finite is not allowed");
  if (b.value_ == rational(0)) throw InternalError("Division having the divisor equal to 0 is not possible");
  if (!a.infinite_) return a.value_ / b.value_;
  return PossiblyInfiniteRational::infinity(a.positive_ == b.positive_);
}

namespace {

bool is_less(const PossiblyInfiniteRational& a, const PossiblyInfiniteRational& b) {
  if (a.is_infinite() && b.is_infinite()) return !a.is_positive() && b.is_positive();
  if (a.is_infinite()) return !a.is_positive();
  if (b.is_infinite()) return b.is_positive();
  return a.num() < b.num();
}

}  // namespace

const PossiblyInfiniteRational& PossiblyInfiniteRational::max(const PossiblyInfiniteRational& a,
                                                              const PossiblyInfiniteRational& b) {
  return is_less(a, b) ? b : a;
}

const PossiblyInfiniteRational& PossiblyInfiniteRational::min(const PossiblyInfiniteRational& a,
                                                              const PossiblyInfiniteRational& b) {
  return is_less(b, a) ? b : a;
}

}  // namespace zorvel
