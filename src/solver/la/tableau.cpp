#include "solver/la/tableau.h"

#include <cassert>
#include <utility>

namespace vesk::la {

Var Tableau::new_var() {
  if (!free_vars_.empty()) {
    const Var var = free_vars_.back();
    free_vars_.pop_back();
    return var;
  }
  columns_.emplace_back();
  row_of_.push_back(-1);
  position_.push_back(-1);
  return static_cast<Var>(row_of_.size() - 1);
}

void Tableau::free_var(Var var) {
  assert(columns_[index(var)].empty() && !is_basic(var));
  free_vars_.push_back(var);
}

void Tableau::append(std::int32_t row, Var var, QNumber coeff) {
  std::vector<RowEntry>& entries = rows_[static_cast<std::size_t>(row)];
  std::vector<ColumnEntry>& column = columns_[index(var)];
  column.push_back({row, static_cast<std::int32_t>(entries.size())});
  entries.push_back({std::move(coeff), var, static_cast<std::int32_t>(column.size() - 1)});
}

void Tableau::remove_entry(std::int32_t row, std::int32_t position) {
  std::vector<RowEntry>& entries = rows_[static_cast<std::size_t>(row)];
  RowEntry& entry = entries[static_cast<std::size_t>(position)];
  std::vector<ColumnEntry>& column = columns_[index(entry.var)];
  const std::int32_t hole = entry.column_position;
  if (static_cast<std::size_t>(hole) + 1 != column.size()) {
    const ColumnEntry moved = column.back();
    column[static_cast<std::size_t>(hole)] = moved;
    rows_[static_cast<std::size_t>(moved.row)][static_cast<std::size_t>(moved.row_position)].column_position =
        hole;
  }
  column.pop_back();
  if (static_cast<std::size_t>(position) + 1 != entries.size()) {
    entry = std::move(entries.back());
    columns_[index(entry.var)][static_cast<std::size_t>(entry.column_position)].row_position = position;
  }
  entries.pop_back();
}

void Tableau::add_multiple(std::int32_t target, const QNumber& factor, std::int32_t source) {
  assert(target != source);
  std::vector<RowEntry>& into = rows_[static_cast<std::size_t>(target)];
  for (std::size_t i = 0; i < into.size(); ++i) position_[index(into[i].var)] = static_cast<std::int32_t>(i);
  for (const RowEntry& entry : rows_[static_cast<std::size_t>(source)]) {
    const std::int32_t position = position_[index(entry.var)];
    if (position < 0) {
      append(target, entry.var, entry.coeff * factor);
      continue;
    }
    QNumber& coeff = into[static_cast<std::size_t>(position)].coeff;
    coeff.self_addmul(factor, entry.coeff);
    if (!coeff.is_zero()) continue;
    position_[index(entry.var)] = -1;
    remove_entry(target, position);
    if (static_cast<std::size_t>(position) < into.size()) {
      std::int32_t& moved = position_[index(into[static_cast<std::size_t>(position)].var)];
      if (moved >= 0) moved = position;  // an entry appended just now is not looked up again
    }
  }
  for (const RowEntry& entry : into) position_[index(entry.var)] = -1;
}

std::int32_t Tableau::add_row(Var basic, std::span<const Monomial> sum) {
  assert(!is_basic(basic) && columns_[index(basic)].empty());
  std::int32_t row;
  if (free_rows_.empty()) {
    row = static_cast<std::int32_t>(rows_.size());
    rows_.emplace_back();
    basic_of_.push_back(null_var);
  } else {
    row = free_rows_.back();
    free_rows_.pop_back();
  }
  append(row, basic, QNumber(-1));
  for (const Monomial& monomial : sum)
    if (!monomial.coeff.is_zero()) append(row, monomial.var, monomial.coeff);
  for (const Monomial& monomial : sum)
    if (is_basic(monomial.var)) add_multiple(row, monomial.coeff, row_of(monomial.var));
  row_of_[index(basic)] = row;
  basic_of_[static_cast<std::size_t>(row)] = basic;
  return row;
}

void Tableau::remove_row(std::int32_t row) {
  row_of_[index(basic_of(row))] = -1;
  basic_of_[static_cast<std::size_t>(row)] = null_var;
  while (row_size(row) != 0) remove_entry(row, static_cast<std::int32_t>(row_size(row)) - 1);
  free_rows_.push_back(row);
}

void Tableau::pivot(Var leaving, Var entering) {
  assert(is_basic(leaving) && !is_basic(entering));
  const std::int32_t row = row_of(leaving);
  std::vector<RowEntry>& entries = rows_[static_cast<std::size_t>(row)];
  std::vector<ColumnEntry>& column = columns_[index(entering)];
  QNumber factor;
  for (const ColumnEntry& entry : column)
    if (entry.row == row) factor = coeff(entry).inv().self_neg();
  assert(!factor.is_zero());
  if (factor == -1) {
    for (RowEntry& entry : entries) entry.coeff.self_neg();
  } else if (!factor.is_one()) {
    for (RowEntry& entry : entries) entry.coeff *= factor;
  }
  row_of_[index(leaving)] = -1;
  row_of_[index(entering)] = row;
  basic_of_[static_cast<std::size_t>(row)] = entering;
  // adding coeff times the row cancels `entering`, whose coefficient in the row is now -1
  while (column.size() > 1) {
    const ColumnEntry entry = column.back().row != row ? column.back() : column[column.size() - 2];
    const QNumber multiple = coeff(entry);
    add_multiple(entry.row, multiple, row);
  }
}

bool Tableau::is_solved() const {
  std::size_t row_entries = 0;
  std::size_t column_entries = 0;
  for (std::size_t r = 0; r < rows_.size(); ++r) {
    const Var basic = basic_of_[r];
    if (basic == null_var) {
      if (!rows_[r].empty()) return false;
      continue;
    }
    if (row_of(basic) != static_cast<std::int32_t>(r)) return false;
    row_entries += rows_[r].size();
    std::size_t basics = 0;
    for (std::size_t i = 0; i < rows_[r].size(); ++i) {
      const RowEntry& entry = rows_[r][i];
      if (entry.coeff.is_zero()) return false;
      if (is_basic(entry.var)) {
        if (entry.var != basic || entry.coeff != -1) return false;
        ++basics;
      }
      const ColumnEntry& back = columns_[index(entry.var)][static_cast<std::size_t>(entry.column_position)];
      if (back.row != static_cast<std::int32_t>(r) || back.row_position != static_cast<std::int32_t>(i))
        return false;
    }
    if (basics != 1) return false;
  }
  for (std::size_t v = 0; v < columns_.size(); ++v) {
    column_entries += columns_[v].size();
    if (row_of_[v] >= 0 && columns_[v].size() != 1) return false;
    if (position_[v] != -1) return false;
  }
  return row_entries == column_entries;
}

}  // namespace vesk::la
