#pragma once

#include <gmp.h>

#include "solver/num/qnumber.h"

namespace vesk {

/// The door between `QNumber` and GMP, for code that reads or prints big numbers and for tests.
struct QNumberGmp {
  /// Writes the value into `out`, which is initialised.
  static void to_mpq(const QNumber& number, mpq_ptr out);
  /// The value of `value`, which is canonical in GMP's sense.
  static QNumber from_mpq(mpq_srcptr value);
  /// The double that is nearest to the value, ties to even; infinite beyond their range.
  static double to_double(const QNumber& number);
};

}  // namespace vesk
