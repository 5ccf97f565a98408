#include "core/decimals.h"

#include <algorithm>

namespace zorvel {

namespace {

constexpr unsigned max_decimals = 1000;

/// How often `factor` divides the number, which loses it; at most max_decimals + 1 times.
unsigned take_out(integer& number, const integer& factor) {
  unsigned times = 0;
  for (integer rest = number / factor; rest * factor == number && times <= max_decimals;
       rest = number / factor) {
    number = rest;
    ++times;
  }
  return times;
}

}  // namespace

std::optional<unsigned> decimals_of(const rational& number) {
  integer denominator = number.denominator();
  const unsigned decimals = std::max(take_out(denominator, integer(2)), take_out(denominator, integer(5)));
  if (denominator != integer(1) || decimals > max_decimals) return std::nullopt;
  return decimals;
}

std::optional<std::string> exact_decimal_text(const rational& number) {
  const std::optional<unsigned> decimals = decimals_of(number);
  if (!decimals) return std::nullopt;
  const bool is_negative = number < rational(0);
  return (is_negative ? "-" : "") + decimal_text(is_negative ? -number : number, *decimals);
}

}  // namespace zorvel
