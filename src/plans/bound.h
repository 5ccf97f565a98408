#pragma once

#include "core/numbers.h"

namespace zorvel {

/// A constant that limits something, excluding the constant itself if `strict`.
template <class T>
struct Bound {
  T value{};
  bool strict = false;
  friend bool operator==(const Bound&, const Bound&) = default;
};

/// The durations that an action may take: those within both bounds.
///
/// Printed and compared as text, an upper bound of -1 means that there is none; `has_upper` is what counts,
/// so that an upper bound below 0 is an empty range and not an endless one.
struct DurationBounds {
  Bound<rational> lower{rational(0), false};
  Bound<rational> upper{rational(-1), false};
  bool has_upper = false;

  bool is_empty() const {
    if (!has_upper || lower.value < upper.value) return false;
    return upper.value < lower.value || lower.strict || upper.strict;
  }
};

}  // namespace zorvel
