#pragma once

#include <optional>
#include <string>

#include "core/numbers.h"

namespace zorvel {

/// The decimals that the number has; nothing if there is no end of them, or they are more than a thousand.
std::optional<unsigned> decimals_of(const rational& number);

/// The number as digits with a sign and a point where it needs them, "-2.5" or "3"; nothing where
/// `decimals_of` finds none.
std::optional<std::string> exact_decimal_text(const rational& number);

}  // namespace zorvel
