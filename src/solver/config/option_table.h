#pragma once

#include <span>

#include "solver/config/configuration.h"

namespace vesk {

/// One row of the option table. Of the four accessors exactly one is set, or none for a key that is known
/// and that nothing here reads: such a row has an `only`, so that no value is taken without effect.
struct OptionRow {
  const char* key;
  char type;  // i, b, f, t
  int& (*as_int)(Configuration&);
  bool& (*as_bool)(Configuration&);
  double& (*as_real)(Configuration&);
  std::string& (*as_text)(Configuration&);
  double low, high;     // of a number
  const char* choices;  // of a text, separated by blanks; null: any
  const char* help;
  const char* only = nullptr;  // the one value that is supported; null: all are
};

std::span<const OptionRow> option_table();

}  // namespace vesk
