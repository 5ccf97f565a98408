#pragma once

#include <compare>
#include <string>
#include <utility>

#include "solver/num/qnumber.h"

namespace vesk::la {

/// A value `c + k*d` with `d` a symbolic positive infinitesimal, so that a strict bound `x < 3` is the weak
/// bound `x <= 3 - d` (Dutertre and de Moura, A Fast Linear-Arithmetic Solver for DPLL(T), CAV 2006).
///
/// Infinite bounds have no value here: where a bound is missing, there is no constraint that sets it.
struct DNumber {
  QNumber c;
  QNumber k;

  DNumber() = default;
  explicit DNumber(QNumber rational) : c(std::move(rational)) {}
  DNumber(QNumber rational, QNumber infinitesimal) : c(std::move(rational)), k(std::move(infinitesimal)) {}

  bool is_zero() const { return c.is_zero() && k.is_zero(); }
  bool is_rational() const { return k.is_zero(); }
  bool is_int() const { return k.is_zero() && c.is_int(); }

  DNumber& operator+=(const DNumber& b) {
    c += b.c;
    if (!b.k.is_zero()) k += b.k;
    return *this;
  }
  DNumber& operator-=(const DNumber& b) {
    c -= b.c;
    if (!b.k.is_zero()) k -= b.k;
    return *this;
  }
  DNumber& operator*=(const QNumber& factor) {
    c *= factor;
    if (!k.is_zero()) k *= factor;
    return *this;
  }
  DNumber& operator/=(const QNumber& divisor) {
    if (divisor.is_one()) return *this;
    c /= divisor;
    if (!k.is_zero()) k /= divisor;
    return *this;
  }
  /// `*this += factor * b`.
  DNumber& self_addmul(const QNumber& factor, const DNumber& b) {
    c.self_addmul(factor, b.c);
    if (!b.k.is_zero()) k.self_addmul(factor, b.k);
    return *this;
  }
  DNumber& self_neg() {
    c.self_neg();
    k.self_neg();
    return *this;
  }

  /// The largest integer not above the value.
  QNumber floor() const { return k.sgn() < 0 && c.is_int() ? c - QNumber(1) : c.floor(); }

  friend DNumber operator+(DNumber a, const DNumber& b) { return std::move(a += b); }
  friend DNumber operator-(DNumber a, const DNumber& b) { return std::move(a -= b); }
  friend bool operator==(const DNumber& a, const DNumber& b) = default;
  /// Negative, zero or positive as `a` is less than, equal to or greater than `b`.
  friend int cmp(const DNumber& a, const DNumber& b) {
    const int order = cmp(a.c, b.c);
    return order != 0 ? order : cmp(a.k, b.k);
  }
  friend std::strong_ordering operator<=>(const DNumber& a, const DNumber& b) { return cmp(a, b) <=> 0; }

  std::string to_str() const { return k.is_zero() ? c.to_str() : c.to_str() + " + " + k.to_str() + "*d"; }
};

}  // namespace vesk::la
