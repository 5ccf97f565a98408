#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "solver/num/qnumber.h"

namespace vesk::la {

/// Dense number of an arithmetic variable, from 0; a good vector index.
using Var = std::int32_t;
inline constexpr Var null_var = -1;

/// One summand `coeff * var` of a linear form.
struct Monomial {
  Var var;
  QNumber coeff;
  friend bool operator==(const Monomial&, const Monomial&) = default;
};

/// Rows `sum coeff * var = 0` of a simplex tableau in solved form, with row and column access.
///
/// Invariant (`is_solved`): each row has one basic variable, whose coefficient is -1 and which occurs in no
/// other row; no coefficient is zero; each row entry and its column entry know each other's place. Rows keep
/// their number while variables move in and out of the basis. Entries stand in no particular order, but in
/// one that depends on nothing but the calls made. Removing an entry moves the last one into its place, so
/// neither rows nor columns have holes.
class Tableau {
 public:
  struct RowEntry {
    QNumber coeff;
    Var var;
    std::int32_t column_position;
  };
  struct ColumnEntry {
    std::int32_t row;
    std::int32_t row_position;
  };

  /// A variable in no row, with the smallest number not in use.
  Var new_var();
  /// Gives the number of a variable that occurs in no row back.
  void free_var(Var var);
  /// Numbers below this may have been given out.
  std::size_t var_limit() const { return row_of_.size(); }

  bool is_basic(Var var) const { return row_of_[index(var)] >= 0; }
  /// Row of a basic variable, -1 of another.
  std::int32_t row_of(Var var) const { return row_of_[index(var)]; }
  /// Basic variable of a row, `null_var` for a row number not in use.
  Var basic_of(std::int32_t row) const { return basic_of_[static_cast<std::size_t>(row)]; }
  std::size_t row_limit() const { return rows_.size(); }
  /// All entries, the basic variable's with coefficient -1 among them.
  std::span<const RowEntry> row(std::int32_t row) const { return rows_[static_cast<std::size_t>(row)]; }
  std::span<const ColumnEntry> column(Var var) const { return columns_[index(var)]; }
  std::size_t row_size(std::int32_t row) const { return rows_[static_cast<std::size_t>(row)].size(); }
  std::size_t column_size(Var var) const { return columns_[index(var)].size(); }
  const QNumber& coeff(const ColumnEntry& entry) const {
    return rows_[static_cast<std::size_t>(entry.row)][static_cast<std::size_t>(entry.row_position)].coeff;
  }

  /// Adds the row `basic = sum` and returns its number. `basic` is in no row yet; the variables of `sum`
  /// differ from it and from each other, and may be basic.
  std::int32_t add_row(Var basic, std::span<const Monomial> sum);
  void remove_row(std::int32_t row);
  /// Makes the non-basic `entering`, an entry of the row of `leaving`, basic in its place.
  void pivot(Var leaving, Var entering);

  /// The invariant, from scratch.
  bool is_solved() const;

 private:
  static std::size_t index(Var var) { return static_cast<std::size_t>(var); }
  void append(std::int32_t row, Var var, QNumber coeff);
  void remove_entry(std::int32_t row, std::int32_t position);
  void add_multiple(std::int32_t target, const QNumber& factor, std::int32_t source);

  std::vector<std::vector<RowEntry>> rows_;
  std::vector<Var> basic_of_;                      // by row
  std::vector<std::vector<ColumnEntry>> columns_;  // by variable
  std::vector<std::int32_t> row_of_;               // by variable
  std::vector<std::int32_t> free_rows_;
  std::vector<Var> free_vars_;
  std::vector<std::int32_t>
      position_;  // scratch of add_multiple: place in the target row by variable, else -1
};

}  // namespace vesk::la
