#include "transformers/grounding/combination_search.h"

#include <algorithm>
#include <cassert>
#include <limits>
#include <numeric>
#include <unordered_map>

namespace zorvel::model {

namespace {

constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

bool contains(const std::vector<std::uint32_t>& sorted, std::uint32_t value) {
  return std::binary_search(sorted.begin(), sorted.end(), value);
}

/// Sorts rows of `width` digits that lie one behind the other.
void sort_flat_rows(std::vector<std::uint32_t>& rows, std::size_t width) {
  std::vector<std::size_t> order(rows.size() / width);
  std::iota(order.begin(), order.end(), std::size_t{0});
  const auto row = [&](std::size_t i) { return rows.begin() + static_cast<std::ptrdiff_t>(i * width); };
  const auto length = static_cast<std::ptrdiff_t>(width);
  std::sort(order.begin(), order.end(), [&](std::size_t i, std::size_t j) {
    return std::lexicographical_compare(row(i), row(i) + length, row(j), row(j) + length);
  });
  std::vector<std::uint32_t> sorted;
  sorted.reserve(rows.size());
  for (const std::size_t i : order) sorted.insert(sorted.end(), row(i), row(i) + length);
  rows = std::move(sorted);
}

/// The parameters of the application, each once, in increasing order.
std::vector<std::uint32_t> parameters_of(const StaticProgram::Application& application) {
  std::vector<std::uint32_t> result;
  for (const auto& argument : application.arguments)
    if (argument.is_parameter) result.push_back(argument.parameter);
  std::sort(result.begin(), result.end());
  result.erase(std::unique(result.begin(), result.end()), result.end());
  return result;
}

}  // namespace

CombinationSearch::CombinationSearch(StaticProgram& program, std::vector<std::vector<StaticValue>> domains,
                                     const std::vector<StaticCheck>& checks)
    : program_(program), domains_(std::move(domains)), digits_(domains_.size(), 0) {
  for (const auto& domain : domains_) {
    candidates_.emplace_back(domain.size());
    std::iota(candidates_.back().begin(), candidates_.back().end(), Digit{0});
    is_impossible_ |= domain.empty();
  }
  std::vector<Check> wide_checks;
  for (const StaticCheck& check : checks) {
    const StaticProgram::Abilities abilities = program_.abilities(check.slot);
    if (!abilities.may_be_undefined && !(check.false_fails && abilities.may_be_known)) continue;
    Check full{program_.cone(check.slot), {}, check.false_fails};
    full.parameters = program_.parameters_of(full.cone);
    if (full.parameters.empty())
      is_impossible_ |= fails_now(full);
    else if (full.parameters.size() == 1)
      restrict_candidates(full);
    else
      wide_checks.push_back(std::move(full));
  }
  if (is_impossible_) return;
  // Only now, so that relations hold no row with a digit that a parameter's own checks refuse.
  for (Check& check : wide_checks)
    if (!make_relation(check)) tests_.push_back(std::move(check));
}

void CombinationSearch::restrict_candidates(const Check& check) {
  const Parameter parameter = check.parameters.front();
  std::erase_if(candidates_[parameter], [&](Digit digit) {
    program_.bind(parameter, domains_[parameter][digit]);
    return fails_now(check);
  });
  program_.unbind(parameter);
  is_impossible_ |= candidates_[parameter].empty();
}

bool CombinationSearch::has_unknown_values(const std::vector<Parameter>& parameters) const {
  return std::any_of(parameters.begin(), parameters.end(), [this](Parameter parameter) {
    return std::any_of(domains_[parameter].begin(), domains_[parameter].end(),
                       [](const StaticValue& value) { return !value.is_known(); });
  });
}

bool CombinationSearch::make_relation(const Check& check) {
  bool is_settled = false;
  for (const auto& application : program_.applications_in(check.cone))
    is_settled |= make_relation(check, application);
  return is_settled;
}

bool CombinationSearch::make_relation(const Check& check, const StaticProgram::Application& application) {
  const std::vector<Parameter> parameters = parameters_of(application);
  if (parameters.empty() || has_unknown_values(parameters)) return false;
  const auto elsewhere = application.table->value_elsewhere();
  if (!elsewhere || !fails(check, program_.evaluate_with(check.cone, application.slot, *elsewhere)))
    return false;
  Relation relation{parameters, passing_rows(check, application, parameters), {}};
  is_impossible_ |= relation.rows.empty();
  for (std::size_t column = 0; column < parameters.size(); ++column) {
    std::vector<bool> is_seen(domains_[parameters[column]].size(), false);
    for (std::size_t row = 0; row < relation.size(); ++row) is_seen[relation.at(row, column)] = true;
    relation.distinct.push_back(static_cast<std::size_t>(std::count(is_seen.begin(), is_seen.end(), true)));
  }
  relations_.push_back(std::move(relation));
  return parameters == check.parameters;
}

std::vector<CombinationSearch::Digit> CombinationSearch::passing_rows(
    const Check& check, const StaticProgram::Application& application,
    const std::vector<Parameter>& parameters) {
  std::unordered_map<Parameter, std::unordered_map<StaticValue, Digit, StaticValueHash>> digit_of;
  for (const Parameter parameter : parameters)
    for (const Digit digit : candidates_[parameter])
      digit_of[parameter].emplace(domains_[parameter][digit], digit);

  std::vector<Digit> result;
  constexpr Digit unset = std::numeric_limits<Digit>::max();
  std::unordered_map<Parameter, Digit> row_digits;
  for (const StaticTable::Row& row : application.table->rows()) {
    for (const Parameter parameter : parameters) row_digits[parameter] = unset;
    bool matches = true;
    for (std::size_t i = 0; i < row.key.size() && matches; ++i) {
      const auto& argument = application.arguments[i];
      if (!argument.is_parameter) {
        matches = argument.value == row.key[i];
        continue;
      }
      const auto found = digit_of[argument.parameter].find(row.key[i]);
      Digit& digit = row_digits[argument.parameter];
      matches = found != digit_of[argument.parameter].end() && (digit == unset || digit == found->second);
      if (matches) digit = found->second;
    }
    if (!matches) continue;
    for (const Parameter parameter : parameters)
      program_.bind(parameter, domains_[parameter][row_digits[parameter]]);
    if (fails_now(check)) continue;
    for (const Parameter parameter : parameters) result.push_back(row_digits[parameter]);
  }
  for (const Parameter parameter : parameters) program_.unbind(parameter);
  return result;
}

std::uint64_t CombinationSearch::combinations() const {
  std::uint64_t result = 1;
  for (const auto& domain : domains_) {
    if (domain.empty()) return 0;
    result = result > unlimited / domain.size() ? unlimited : result * domain.size();
  }
  return result;
}

double CombinationSearch::branching(Parameter parameter, const std::vector<bool>& is_bound) const {
  double result = static_cast<double>(candidates_[parameter].size());
  for (const Relation& relation : relations_) {
    double rows = static_cast<double>(relation.size());
    bool has_parameter = false;
    for (std::size_t column = 0; column < relation.parameters.size(); ++column) {
      if (relation.parameters[column] == parameter) {
        has_parameter = true;
        result = std::min(result, static_cast<double>(relation.distinct[column]));
      } else if (is_bound[relation.parameters[column]]) {
        rows /= static_cast<double>(relation.distinct[column]);
      }
    }
    if (has_parameter) result = std::min(result, rows);
  }
  return result;
}

/// Parameters of relations first, each time the one with the fewest digits to expect; then the free ones.
/// Ties go to the last parameter, so that without relations the order is that of the combinations' numbers.
std::vector<CombinationSearch::Parameter> CombinationSearch::choose_order() const {
  std::vector<Parameter> open, free, result;
  for (Parameter parameter = static_cast<Parameter>(domains_.size()); parameter-- > 0;) {
    const bool is_related = std::any_of(relations_.begin(), relations_.end(), [&](const Relation& relation) {
      return contains(relation.parameters, parameter);
    });
    (is_related ? open : free).push_back(parameter);
  }
  std::vector<bool> is_bound(domains_.size(), false);
  while (!open.empty()) {
    auto best = open.begin();
    for (auto other = open.begin(); other != open.end(); ++other)
      if (branching(*other, is_bound) < branching(*best, is_bound)) best = other;
    is_bound[*best] = true;
    result.push_back(*best);
    open.erase(best);
  }
  result.insert(result.end(), free.begin(), free.end());
  return result;
}

void CombinationSearch::make_levels(const std::vector<Parameter>& order) {
  std::vector<std::size_t> position(domains_.size());
  for (std::size_t i = 0; i < order.size(); ++i) position[order[i]] = i;
  levels_.clear();
  for (const Parameter parameter : order) levels_.push_back({parameter, {}, {}, 0});
  ranges_.clear();
  for (std::size_t index = 0; index < relations_.size(); ++index) {
    Relation& relation = relations_[index];
    std::vector<std::size_t> columns(relation.parameters.size());
    std::iota(columns.begin(), columns.end(), std::size_t{0});
    std::sort(columns.begin(), columns.end(), [&](std::size_t a, std::size_t b) {
      return position[relation.parameters[a]] < position[relation.parameters[b]];
    });
    Relation turned;
    for (const std::size_t column : columns) {
      turned.parameters.push_back(relation.parameters[column]);
      turned.distinct.push_back(relation.distinct[column]);
    }
    for (std::size_t row = 0; row < relation.size(); ++row)
      for (const std::size_t column : columns) turned.rows.push_back(relation.at(row, column));
    sort_flat_rows(turned.rows, turned.parameters.size());
    relation = std::move(turned);
    for (std::size_t column = 0; column < columns.size(); ++column)
      levels_[position[relation.parameters[column]]].columns.push_back({index, column});
    ranges_.push_back({0, relation.size()});
  }
  for (std::size_t test = 0; test < tests_.size(); ++test) {
    std::size_t last = 0;
    for (const Parameter parameter : tests_[test].parameters) last = std::max(last, position[parameter]);
    levels_[last].tests.push_back(test);
  }
}

void CombinationSearch::for_each(const Visit& visit) {
  if (is_impossible_) return;
  std::vector<Parameter> natural(domains_.size());
  std::iota(natural.rbegin(), natural.rend(), Parameter{0});
  // why the limit: in another order the survivors are sorted by their numbers, which must fit a word.
  const std::vector<Parameter> order = combinations() == unlimited ? natural : choose_order();
  if (order == natural) {
    make_levels(natural);
    search(visit);
    return;
  }
  make_levels(order);
  std::vector<std::uint64_t> numbers;
  search([&](std::span<const Digit> digits) {
    std::uint64_t number = 0;
    for (std::size_t i = digits.size(); i-- > 0;) number = number * domains_[i].size() + digits[i];
    numbers.push_back(number);
  });
  std::sort(numbers.begin(), numbers.end());
  std::vector<Digit> digits(domains_.size());
  for (std::uint64_t number : numbers) {
    for (std::size_t i = 0; i < digits.size(); ++i) {
      digits[i] = static_cast<Digit>(number % domains_[i].size());
      number /= domains_[i].size();
    }
    visit(digits);
  }
}

void CombinationSearch::search(const Visit& visit) {
  if (levels_.empty()) {
    visit({});
    return;
  }
  std::size_t depth = 0;
  enter(levels_[0]);
  while (true) {
    if (advance(levels_[depth])) {
      if (depth + 1 == levels_.size())
        visit(digits_);
      else
        enter(levels_[++depth]);
    } else {
      leave(levels_[depth]);
      if (depth == 0) break;
      --depth;
    }
  }
}

void CombinationSearch::enter(Level& level) {
  level.next_candidate = 0;
  for (Column& column : level.columns) {
    column.outer = ranges_[column.relation];
    column.next = column.outer.begin;
  }
  const auto fewest =
      std::min_element(level.columns.begin(), level.columns.end(), [](const Column& a, const Column& b) {
        return a.outer.end - a.outer.begin < b.outer.end - b.outer.begin;
      });
  if (fewest != level.columns.end()) std::iter_swap(level.columns.begin(), fewest);
}

void CombinationSearch::leave(const Level& level) {
  for (const Column& column : level.columns) ranges_[column.relation] = column.outer;
  program_.unbind(level.parameter);
}

bool CombinationSearch::advance(Level& level) {
  while (const std::optional<Digit> digit = propose(level)) {
    const bool is_allowed = std::all_of(level.columns.begin(), level.columns.end(),
                                        [&](Column& column) { return narrow(column, *digit); });
    if (!is_allowed) continue;
    ++tries_;
    digits_[level.parameter] = *digit;
    program_.bind(level.parameter, domains_[level.parameter][*digit]);
    if (std::none_of(level.tests.begin(), level.tests.end(),
                     [this](std::size_t test) { return fails_now(tests_[test]); }))
      return true;
  }
  return false;
}

std::optional<CombinationSearch::Digit> CombinationSearch::propose(Level& level) {
  if (level.columns.empty()) {
    const std::vector<Digit>& candidates = candidates_[level.parameter];
    if (level.next_candidate == candidates.size()) return std::nullopt;
    return candidates[level.next_candidate++];
  }
  const Column& leader = level.columns.front();
  if (leader.next == leader.outer.end) return std::nullopt;
  return relations_[leader.relation].at(leader.next, leader.column);
}

/// Goes on to the rows with this digit, which is greater than all digits asked for since `enter`.
bool CombinationSearch::narrow(Column& column, Digit digit) {
  const Relation& relation = relations_[column.relation];
  // The first row from `begin` on whose digit is at least `bound`: doubling steps, then halving.
  const auto first_from = [&](std::size_t begin, Digit bound) {
    std::size_t step = 1;
    while (begin < column.outer.end && relation.at(begin, column.column) < bound) {
      const std::size_t jump = std::min(begin + step, column.outer.end);
      if (jump == column.outer.end || relation.at(jump, column.column) >= bound) {
        std::size_t low = begin + 1, high = jump;
        while (low < high) {
          const std::size_t middle = low + (high - low) / 2;
          if (relation.at(middle, column.column) < bound)
            low = middle + 1;
          else
            high = middle;
        }
        return low;
      }
      begin = jump;
      step *= 2;
    }
    return begin;
  };
  const std::size_t begin = first_from(column.next, digit);
  column.next = first_from(begin, digit + 1);
  if (begin == column.next) return false;
  ranges_[column.relation] = {begin, column.next};
  return true;
}

}  // namespace zorvel::model
