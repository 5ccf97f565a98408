#include <algorithm>
#include <cassert>
#include <map>
#include <optional>
#include <queue>

#include "solver/la/la_solver.h"

namespace vesk::la {

// Simplex stops at a vertex, where variables that have nothing to do with each other are often zero. For a
// theory that compares values these are equations to be guessed and refuted, quadratically many. One move of
// each non-basic variable is a cheap remedy (L. de Moura, N. Bjorner, Model-based Theory Combination, 2007,
// call it model mutation); it is tried only where it could part two sums, and kept only if fewer are equal.

namespace {

constexpr unsigned max_trials = 4;  // places tried for one variable

/// The sums that have one value.
struct ValueClass {
  std::size_t size = 0;
  std::map<int, std::size_t> size_of_group;
};

struct Room {
  std::optional<DNumber> lower, upper;  // of the change of the non-basic variable
  std::optional<QNumber> step;          // it may change by multiples of this only
};

/// The least positive number that is a multiple of both.
QNumber common_multiple(const QNumber& a, const QNumber& b) {
  return lcm(a.get_num(), b.get_num()) / gcd(a.get_den(), b.get_den());
}

/// Rounds down to a multiple of a power of two that is at most `precision`.
QNumber round_down(const QNumber& value, const QNumber& precision) {
  QNumber grid(1);
  while (grid > precision) grid /= 2;
  return (value / grid).floor() * grid;
}

/// The trial number `trial` (from 1) within the room of a variable that has `value`; nothing if there is no
/// such place.
std::optional<QNumber> place_in(const Room& room, const QNumber& value, const QNumber& trial,
                                const QNumber& num_places) {
  QNumber place;
  if (room.step) {
    if (!room.upper) {
      place = trial * *room.step;
    } else if (!room.lower) {
      place = (trial * *room.step).neg();
    } else {
      DNumber low = *room.lower, high = *room.upper;
      low /= *room.step;
      high /= *room.step;
      const QNumber first = low.self_neg().floor().neg();  // rounded up
      const QNumber count = high.floor() - first + QNumber(1);
      if (count <= 1) return std::nullopt;
      QNumber quotient, rest;
      trial.divmod(count, &quotient, &rest);
      place = (first + rest) * *room.step;
    }
  } else if (!room.upper) {
    place = trial;
  } else if (!room.lower) {
    place = trial.neg();
  } else {
    // why not the ends: strict bounds put infinitesimals there.
    const QNumber width = room.upper->c - room.lower->c;
    if (width.is_zero()) return std::nullopt;
    QNumber quotient, rest;
    trial.divmod(num_places, &quotient, &rest);
    if (rest.is_zero()) return std::nullopt;
    place = room.lower->c + width * rest / num_places;
    // why not the place itself: The next rooms begin where this move ends, and digits would add up without
    // end.
    place = round_down(value + place, width / (num_places * QNumber(4))) - value;
  }
  if (place.is_zero()) return std::nullopt;
  return place;
}

}  // namespace

class Solver::Mover {
 public:
  Mover(Solver& solver, std::span<const SharedSum> sums, std::span<const Freedom> freedom)
      : s_(solver), sums_(sums), freedom_(freedom), num_places_(static_cast<long>(sums.size() + 1)) {
    const std::size_t num_vars = s_.values_.size();
    mentions_.resize(num_vars);
    forbidden_.resize(num_vars);
    users_.resize(num_vars);
    change_.resize(num_vars);
    sum_change_.resize(sums.size());
    for (std::size_t i = 0; i < sums.size(); ++i) {
      DNumber value(sums[i].constant);
      for (const Monomial& monomial : sums[i].sum) {
        mentions_[index(monomial.var)].push_back({i, &monomial.coeff});
        value.self_addmul(monomial.coeff, s_.value(monomial.var));
      }
      values_.push_back(std::move(value));
      static_cast<void>(insert(i, values_[i]));
    }
    for (const ConstraintId c : s_.diseqs_)
      if (s_.values_[index(s_.constraint_var(c))] != s_.bound(c))
        forbidden_[index(s_.constraint_var(c))].push_back(&s_.bound(c));
    for (std::size_t e = 0; e < s_.eliminations_.size(); ++e)
      for (const Monomial& monomial : s_.eliminations_[e].definition)
        users_[index(monomial.var)].push_back(e);
  }

  bool run(std::span<const Var> to_move) {
    bool has_moved = false;
    for (const Var var : to_move) {
      assert(!s_.tableau_.is_basic(var));
      TerminationTest::poll(s_.termination_);
      collect_changes(var);
      const bool has_moved_this = !affected_.empty() && try_to_move(var);
      forget_changes();
      has_moved |= has_moved_this;
      // why not on: Where columns are long, a move costs as much as all sums.
      if (has_moved_this && are_parted()) break;
    }
    return has_moved;
  }

 private:
  struct Mention {
    std::size_t sum;
    const QNumber* coeff;
  };

  /// Whether what is at issue is settled.
  bool are_parted() const {
    for (std::size_t i = 0; i < sums_.size(); ++i) {
      if (!sums_[i].is_at_issue) continue;
      const ValueClass& same = classes_.find(values_[i])->second;
      if (same.size != same.size_of_group.find(sums_[i].group)->second) return false;
    }
    return true;
  }

  /// How the variables and the sums change when `var` grows by 1.
  void collect_changes(Var var) {
    add_change(var, QNumber(1));
    for (const Tableau::ColumnEntry& entry : s_.tableau_.column(var))
      add_change(s_.tableau_.basic_of(entry.row), s_.tableau_.coeff(entry));
    // A definition mentions what was eliminated later, so the latest comes first.
    while (!pending_.empty()) {
      const std::size_t next = pending_.top();
      while (!pending_.empty() && pending_.top() == next) pending_.pop();
      QNumber change;
      for (const Monomial& monomial : s_.eliminations_[next].definition)
        change.self_addmul(monomial.coeff, change_[index(monomial.var)]);
      if (!change.is_zero()) add_change(s_.eliminations_[next].var, change);
    }
    for (const Var changed : changed_)
      for (const Mention& mention : mentions_[index(changed)]) {
        if (sum_change_[mention.sum].is_zero()) affected_.push_back(mention.sum);
        sum_change_[mention.sum].self_addmul(*mention.coeff, change_[index(changed)]);
      }
    // A sum can be met twice, when its change was zero in between.
    std::sort(affected_.begin(), affected_.end());
    affected_.erase(std::unique(affected_.begin(), affected_.end()), affected_.end());
    std::erase_if(affected_, [this](std::size_t sum) { return sum_change_[sum].is_zero(); });
  }

  void add_change(Var var, const QNumber& change) {
    changed_.push_back(var);
    change_[index(var)] = change;
    for (const std::size_t user : users_[index(var)]) pending_.push(user);
  }

  void forget_changes() {
    for (const Var var : changed_) change_[index(var)] = QNumber();
    for (const std::size_t sum : affected_) sum_change_[sum] = QNumber();
    changed_.clear();
    affected_.clear();
  }

  /// Adds a sum to those with its value; with how many of other groups it shares it.
  std::size_t insert(std::size_t sum, const DNumber& value) {
    ValueClass& same = classes_[value];
    std::size_t& of_group = same.size_of_group[sums_[sum].group];
    const std::size_t others = same.size - of_group;
    ++same.size;
    ++of_group;
    return others;
  }

  /// Takes it away again; with how many of other groups it shared the value.
  std::size_t remove(std::size_t sum, const DNumber& value) {
    const auto at = classes_.find(value);
    ValueClass& same = at->second;
    std::size_t& of_group = same.size_of_group[sums_[sum].group];
    --same.size;
    --of_group;
    const std::size_t others = same.size - of_group;
    if (same.size == 0) classes_.erase(at);
    return others;
  }

  DNumber moved_value(std::size_t sum, const QNumber& delta) const {
    DNumber value = values_[sum];
    value.c.self_addmul(sum_change_[sum], delta);
    return value;
  }

  /// Would a move part sums of one group that are equal now?
  bool parts_a_group() const {
    std::map<std::pair<DNumber, int>, const QNumber*> changes;
    for (const std::size_t sum : affected_) {
      const auto [known, is_new] = changes.insert({{values_[sum], sums_[sum].group}, &sum_change_[sum]});
      if (!is_new && *known->second != sum_change_[sum]) return true;
      const auto rest = classes_.find(values_[sum]);  // those that stay, as the affected are taken out
      if (rest == classes_.end()) continue;
      const auto of_group = rest->second.size_of_group.find(sums_[sum].group);
      if (of_group != rest->second.size_of_group.end() && of_group->second > 0) return true;
    }
    return false;
  }

  /// Nothing if the variable is not to move at all.
  std::optional<Room> find_room() const {
    Room room;
    for (const Var var : changed_) {
      const QNumber& change = change_[index(var)];
      const Freedom freedom = index(var) < freedom_.size() ? freedom_[index(var)] : Freedom::any;
      if (freedom == Freedom::none) return std::nullopt;
      if (freedom == Freedom::whole)
        room.step = room.step ? common_multiple(*room.step, change.inv().abs()) : change.inv().abs();
      limit(room, change, s_.lower_[index(var)], var, false);
      limit(room, change, s_.upper_[index(var)], var, true);
    }
    return room;
  }

  void limit(Room& room, const QNumber& change, ConstraintId constraint, Var var, bool is_upper) const {
    if (constraint == null_constraint) return;
    DNumber distance = s_.bound(constraint) - s_.values_[index(var)];
    distance /= change;
    std::optional<DNumber>& side = is_upper == (change.sgn() > 0) ? room.upper : room.lower;
    if (!side || (&side == &room.upper ? cmp(distance, *side) < 0 : cmp(distance, *side) > 0))
      side = std::move(distance);
  }

  bool keeps_disequalities(const QNumber& delta) const {
    for (const Var var : changed_) {
      if (forbidden_[index(var)].empty()) continue;
      DNumber value = s_.values_[index(var)];
      value.c.self_addmul(change_[index(var)], delta);
      for (const DNumber* forbidden : forbidden_[index(var)])
        if (value == *forbidden) return false;
    }
    return true;
  }

  std::size_t insert_moved(const QNumber& delta) {
    std::size_t shared = 0;
    for (const std::size_t sum : affected_) shared += insert(sum, moved_value(sum, delta));
    return shared;
  }

  bool try_to_move(Var var) {
    std::size_t shared = 0;
    for (const std::size_t sum : affected_) shared += remove(sum, values_[sum]);
    QNumber best;
    if (shared > 0 && !parts_a_group())
      if (const std::optional<Room> room = find_room()) best = find_place(var, *room, shared);
    static_cast<void>(insert_moved(best));
    if (best.is_zero()) return false;
    for (const std::size_t sum : affected_) values_[sum].c.self_addmul(sum_change_[sum], best);
    try {
      s_.update(var, DNumber(best));
    } catch (...) {
      s_.restore();
      throw;
    }
    s_.commit();
    return true;
  }

  /// The move after which the fewest sums of different groups are equal, zero if none is better than that.
  QNumber find_place(Var var, const Room& room, std::size_t shared) {
    const QNumber& value = s_.values_[index(var)].c;
    QNumber best;
    for (unsigned i = 0; i < max_trials && shared > 0; ++i) {
      trial_ += 1;
      const std::optional<QNumber> place = place_in(room, value, trial_, num_places_);
      if (!place || !keeps_disequalities(*place)) continue;
      const std::size_t shared_there = insert_moved(*place);
      for (const std::size_t sum : affected_) static_cast<void>(remove(sum, moved_value(sum, *place)));
      if (shared_there >= shared) continue;
      shared = shared_there;
      best = *place;
    }
    return best;
  }

  Solver& s_;
  std::span<const SharedSum> sums_;
  std::span<const Freedom> freedom_;
  const QNumber num_places_;
  QNumber trial_;  // goes on from variable to variable, so that each tries other places

  std::vector<DNumber> values_;                         // by sum
  std::map<DNumber, ValueClass> classes_;               // of the sums
  std::vector<std::vector<Mention>> mentions_;          // by variable: the sums that mention it
  std::vector<std::vector<const DNumber*>> forbidden_;  // by variable: values it must not come to have
  std::vector<std::vector<std::size_t>> users_;         // by variable: the eliminations that mention it

  // The changes of the variable that is looked at.
  std::vector<QNumber> change_;      // by variable, else 0
  std::vector<QNumber> sum_change_;  // by sum, else 0
  std::vector<Var> changed_;
  std::vector<std::size_t> affected_;
  std::priority_queue<std::size_t> pending_;
};

bool Solver::move_apart(std::span<const Var> to_move, std::span<const SharedSum> sums,
                        std::span<const Freedom> freedom) {
  assert(!in_conflict_ && checked_ == stack_.size() && old_values_.empty());
  const bool has_moved = Mover(*this, sums, freedom).run(to_move);
  assert(!has_moved || check_invariants());
  return has_moved;
}

}  // namespace vesk::la
