#include "solver/la/la_solver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "solver/la/fourier_motzkin.h"

namespace vesk::la {
namespace {

AtomId at_most(Solver& solver, Var var, const QNumber& value) {
  return solver.add_at_most(var, DNumber(value), DNumber(value, QNumber(1)));
}
AtomId at_least(Solver& solver, Var var, const QNumber& value) {
  return solver.add_at_least(var, DNumber(value), DNumber(value, QNumber(-1)));
}

/// A solver, and beside it all that it was told, so that each answer can be checked from scratch.
class CheckedSystem {
 public:
  explicit CheckedSystem(unsigned seed) : random_(seed), solver_(options(seed)) {
    num_base_ = 2 + below_(3);
    for (std::size_t i = 0; i < num_base_; ++i) {
      std::vector<QNumber> form(num_base_);
      form[i] = 1;
      add_var(solver_.new_var(), form);
    }
  }

  void step() {
    switch (below_(12)) {
      case 0: add_slack(); break;
      case 1:
      case 2: add_atom(); break;
      case 3:
        solver_.push_level();
        levels_.push_back(asserted_.size());
        break;
      case 4: pop(); break;
      case 5: remove_atom(); break;
      case 6: remove_slack(); break;
      default: assert_one();
    }
    if (HasFatalFailure()) return;
    ASSERT_TRUE(solver_.check_invariants());
  }

  int num_equal_forms() const { return num_equal_forms_; }
  int num_moves() const { return num_moves_; }
  static bool HasFatalFailure() { return testing::Test::HasFatalFailure(); }

 private:
  struct VarInfo {
    Var var;
    std::vector<QNumber> form;
    int atoms = 0;
    bool base = false;
  };
  static Solver::Options options(unsigned seed) {
    Solver::Options result;
    result.elimination = seed % 3 != 0;
    result.greedy_threshold = seed % 4 == 1 ? 1 : 0;  // Bland's rule from the first pivot on
    return result;
  }
  std::size_t below_(std::size_t limit) { return random_() % limit; }

  void add_var(Var var, std::vector<QNumber> form) { vars_.push_back({var, std::move(form)}); }

  void add_slack() {
    if (vars_.size() > num_base_ + 4) return;
    std::vector<Monomial> definition;
    std::vector<QNumber> form(num_base_);
    for (const VarInfo& info : vars_) {
      if (below_(2) == 0) continue;
      QNumber coeff(static_cast<long>(below_(5)) - 2);
      if (below_(8) == 0) coeff /= 3;
      if (coeff.is_zero()) continue;
      definition.push_back({info.var, coeff});
      for (std::size_t i = 0; i < num_base_; ++i) form[i].self_addmul(coeff, info.form[i]);
    }
    if (definition.size() < 2) return;
    add_var(solver_.new_slack(definition), std::move(form));
  }

  void add_atom() {
    if (atoms_.size() > 24) return;
    VarInfo& info = vars_[below_(vars_.size())];
    QNumber value(static_cast<long>(below_(9)) - 4);
    if (below_(6) == 0) value /= 2;
    AtomId atom = 0;
    switch (below_(4)) {
      case 0: atom = at_most(solver_, info.var, value); break;
      case 1: atom = at_least(solver_, info.var, value); break;
      default: atom = solver_.add_equal(info.var, value);
    }
    ++info.atoms;
    atoms_.push_back(atom);
    form_of_[atom] = info.form;
    drain_implications();
  }

  void pop() {
    if (levels_.empty()) return;
    const std::size_t level = below_(levels_.size());
    pop_to(level);
  }

  void pop_to(std::size_t level) {
    solver_.pop_to_level(level);
    asserted_.resize(levels_[level]);
    levels_.resize(level);
    ASSERT_FALSE(solver_.in_conflict());
  }

  void remove_atom() {
    if (atoms_.empty() || below_(3) != 0) return;
    const std::size_t i = below_(atoms_.size());
    const AtomId atom = atoms_[i];
    if (solver_.is_asserted(2 * atom) || solver_.is_asserted(2 * atom + 1)) {
      if (!levels_.empty()) return;
      std::erase_if(asserted_, [atom](ConstraintId c) { return c / 2 == atom; });
    }
    --info_of(solver_.constraint_var(2 * atom)).atoms;
    solver_.remove_atom(atom);
    atoms_.erase(atoms_.begin() + static_cast<std::ptrdiff_t>(i));
  }

  void remove_slack() {
    const std::size_t i = below_(vars_.size());
    if (i < num_base_ || vars_[i].atoms != 0) return;
    solver_.remove_var(vars_[i].var);
    vars_.erase(vars_.begin() + static_cast<std::ptrdiff_t>(i));
  }

  VarInfo& info_of(Var var) {
    return *std::find_if(vars_.begin(), vars_.end(), [var](const VarInfo& info) { return info.var == var; });
  }

  void assert_one() {
    if (atoms_.empty()) return;
    const AtomId atom = atoms_[below_(atoms_.size())];
    if (solver_.is_asserted(2 * atom) || solver_.is_asserted(2 * atom + 1)) return;
    const ConstraintId constraint = 2 * atom + static_cast<ConstraintId>(below_(2));
    if (levels_.empty() || below_(3) == 0) {
      solver_.push_level();
      levels_.push_back(asserted_.size());
    }
    asserted_.push_back(constraint);
    if (!solver_.push(constraint)) {
      conflict_found();
      return;
    }
    if (below_(3) == 0) return;
    const bool approximate = below_(2) == 0;
    if (!solver_.check(approximate)) {
      conflict_found();
      return;
    }
    drain_implications();
    if (HasFatalFailure()) return;
    ASSERT_TRUE(holds(asserted_, approximate)) << "satisfiable is wrong";
    if (approximate) {
      for (const ConstraintId c : asserted_)
        if (solver_.constraint_kind(c) != ConstraintKind::disequal) expect_value_in_bounds(c);
    } else {
      if (below_(2) == 0) move_apart();
      if (!HasFatalFailure()) check_model();
      if (!HasFatalFailure()) check_normal_forms();
    }
  }

  /// What was asserted still holds afterwards, which check_model() sees to.
  void move_apart() {
    std::vector<Solver::SharedSum> sums;
    std::set<Var> to_move;
    Var last = 0;
    for (const VarInfo& info : vars_) {
      last = std::max(last, info.var);
      Solver::SharedSum& shared = sums.emplace_back();
      shared.sum.push_back({info.var, QNumber(1)});
      const Var other = vars_[below_(vars_.size())].var;
      if (below_(3) == 0 && other != info.var) shared.sum.push_back({other, QNumber(-1, 2)});
      shared.constant = below_(3) == 0 ? 1 : 0;
      shared.group = static_cast<int>(below_(4));
      if (below_(4) == 0) continue;
      for (const Monomial& m : solver_.normal_form(shared.sum).movable) to_move.insert(m.var);
    }
    std::vector<Solver::Freedom> freedom(static_cast<std::size_t>(last) + 1);
    for (Solver::Freedom& f : freedom) f = static_cast<Solver::Freedom>(below_(3) == 0 ? below_(3) : 0);
    const auto value_of = [this](const Solver::SharedSum& shared) {
      DNumber value(shared.constant);
      for (const Monomial& m : shared.sum) value.self_addmul(m.coeff, solver_.value(m.var));
      return value;
    };
    std::vector<DNumber> old_sums;
    std::map<Var, DNumber> old_values;
    for (const Solver::SharedSum& shared : sums) old_sums.push_back(value_of(shared));
    for (const VarInfo& info : vars_) old_values[info.var] = solver_.value(info.var);
    const bool has_moved =
        solver_.move_apart(std::vector<Var>(to_move.begin(), to_move.end()), sums, freedom);
    ASSERT_TRUE(solver_.check_invariants());
    int equal_before = 0, equal_after = 0;
    for (std::size_t i = 0; i < sums.size(); ++i)
      for (std::size_t j = 0; j < i; ++j) {
        const bool was_equal = old_sums[i] == old_sums[j], is_equal = value_of(sums[i]) == value_of(sums[j]);
        if (sums[i].group == sums[j].group) {
          ASSERT_TRUE(!was_equal || is_equal) << "what is known to be equal was parted";
        } else {
          equal_before += was_equal;
          equal_after += is_equal;
        }
      }
    ASSERT_TRUE(has_moved ? equal_after < equal_before : equal_after == equal_before);
    num_moves_ += has_moved;
    for (const VarInfo& info : vars_) {
      const DNumber change = solver_.value(info.var) - old_values[info.var];
      const Solver::Freedom f = freedom[static_cast<std::size_t>(info.var)];
      ASSERT_TRUE(f != Solver::Freedom::none || change.is_zero());
      ASSERT_TRUE(f != Solver::Freedom::whole || (change.is_rational() && change.c.is_int()));
    }
  }

  /// Variables of one normal form are equal wherever the constraints hold.
  void check_normal_forms() {
    solver_.expel_fixed_vars();
    std::vector<Inequality> system;
    for (const ConstraintId c : asserted_)
      for (const bool upper : {true, false})
        if (solver_.constraint_kind(c) == ConstraintKind::equal ||
            solver_.constraint_kind(c) == (upper ? ConstraintKind::upper : ConstraintKind::lower))
          add_inequality(system, c, upper);
    const auto form_of = [this](const VarInfo& info) {
      const Monomial alone[1] = {{info.var, QNumber(1)}};
      return solver_.normal_form(alone);
    };
    for (const VarInfo& a : vars_)
      for (const VarInfo& b : vars_) {
        if (a.var >= b.var || (form_of(a) <=> form_of(b)) != 0) continue;
        ++num_equal_forms_;
        Inequality less{a.form, QNumber(0), true};
        for (std::size_t i = 0; i < num_base_; ++i) less.coeffs[i] -= b.form[i];
        Inequality greater = less;
        for (QNumber& coeff : greater.coeffs) coeff.self_neg();
        for (const Inequality& differs : {less, greater}) {
          system.push_back(differs);
          ASSERT_FALSE(is_satisfiable(system, num_base_)) << "a common form of different values";
          system.pop_back();
        }
      }
  }

  void expect_value_in_bounds(ConstraintId c) {
    const DNumber& value = solver_.value(solver_.constraint_var(c));
    const int order = cmp(value, solver_.constraint_value(c));
    switch (solver_.constraint_kind(c)) {
      case ConstraintKind::lower: ASSERT_GE(order, 0); break;
      case ConstraintKind::upper: ASSERT_LE(order, 0); break;
      case ConstraintKind::equal: ASSERT_EQ(order, 0); break;
      case ConstraintKind::disequal: ASSERT_NE(order, 0); break;
    }
  }

  void check_model() {
    for (const ConstraintId c : asserted_) expect_value_in_bounds(c);
    std::vector<DNumber> to_part{DNumber(QNumber(3)), DNumber(QNumber(-1, 2), QNumber(4))};
    for (const VarInfo& info : vars_) to_part.push_back(solver_.value(info.var));
    std::vector<const DNumber*> pointers;
    for (const DNumber& value : to_part) pointers.push_back(&value);
    solver_.build_model(pointers);
    for (const DNumber& value : to_part)
      for (const VarInfo& info : vars_)
        ASSERT_EQ(solver_.value(info.var) == value, solver_.model_value(info.var) == solver_.concrete(value));
    for (const VarInfo& info : vars_) {
      QNumber sum;
      for (std::size_t i = 0; i < num_base_; ++i)
        sum.self_addmul(info.form[i], solver_.model_value(vars_[i].var));
      ASSERT_EQ(sum, solver_.model_value(info.var));
      for (const VarInfo& other : vars_)
        ASSERT_EQ(solver_.value(info.var) == solver_.value(other.var),
                  solver_.model_value(info.var) == solver_.model_value(other.var));
    }
    for (const ConstraintId c : asserted_) {
      const QNumber& value = solver_.model_value(solver_.constraint_var(c));
      const DNumber& limit = solver_.constraint_value(c);
      switch (solver_.constraint_kind(c)) {
        case ConstraintKind::lower:
          ASSERT_TRUE(limit.k.is_zero() ? value >= limit.c : value > limit.c);
          break;
        case ConstraintKind::upper:
          ASSERT_TRUE(limit.k.is_zero() ? value <= limit.c : value < limit.c);
          break;
        case ConstraintKind::equal: ASSERT_EQ(value, limit.c); break;
        case ConstraintKind::disequal: ASSERT_NE(value, limit.c); break;
      }
    }
  }

  void conflict_found() {
    const std::vector<ConstraintId> conflict = solver_.conflict();
    bool has_disequality = false;
    for (std::size_t i = 0; i < conflict.size(); ++i) {
      ASSERT_TRUE(std::find(asserted_.begin(), asserted_.end(), conflict[i]) != asserted_.end());
      ASSERT_EQ(std::count(conflict.begin(), conflict.end(), conflict[i]), 1);
      has_disequality |= solver_.constraint_kind(conflict[i]) == ConstraintKind::disequal;
    }
    ASSERT_FALSE(holds(conflict, false)) << "the conflict is satisfiable";
    for (std::size_t i = 0; i < conflict.size() && !has_disequality; ++i) {
      std::vector<ConstraintId> part = conflict;
      part.erase(part.begin() + static_cast<std::ptrdiff_t>(i));
      ASSERT_TRUE(holds(part, false)) << "the conflict holds a constraint too many";
    }
    ASSERT_FALSE(levels_.empty());
    // what is undone must bring the state of before back, whatever the level
    pop_to(below_(levels_.size()));
  }

  void drain_implications() {
    for (ConstraintId c = solver_.next_implied(); c != null_constraint; c = solver_.next_implied()) {
      if (!solver_.is_implied(c)) continue;
      std::vector<ConstraintId> constraints(solver_.reason(c).begin(), solver_.reason(c).end());
      for (const ConstraintId reason : constraints)
        ASSERT_TRUE(std::find(asserted_.begin(), asserted_.end(), reason) != asserted_.end());
      constraints.push_back(c ^ 1);
      ASSERT_FALSE(holds(constraints, false)) << "the reason does not imply the constraint";
    }
  }

  /// Are the constraints satisfiable together?
  bool holds(const std::vector<ConstraintId>& constraints, bool skip_disequalities) {
    std::vector<Inequality> system;
    std::vector<ConstraintId> disequalities;
    for (const ConstraintId c : constraints) {
      const ConstraintKind kind = solver_.constraint_kind(c);
      if (kind == ConstraintKind::disequal) {
        if (!skip_disequalities) disequalities.push_back(c);
        continue;
      }
      if (kind != ConstraintKind::lower) add_inequality(system, c, true);
      if (kind != ConstraintKind::upper) add_inequality(system, c, false);
    }
    return split(system, disequalities, 0);
  }

  bool split(const std::vector<Inequality>& system, const std::vector<ConstraintId>& disequalities,
             std::size_t next) {
    if (!is_satisfiable(system, num_base_)) return false;
    if (next == disequalities.size()) return true;
    for (const bool upper : {true, false}) {
      std::vector<Inequality> side = system;
      add_inequality(side, disequalities[next], upper);
      side.back().strict = true;
      if (split(side, disequalities, next + 1)) return true;
    }
    return false;
  }

  void add_inequality(std::vector<Inequality>& system, ConstraintId c, bool upper) {
    Inequality row;
    row.coeffs = form_of_[c / 2];
    row.bound = solver_.constraint_value(c).c;
    row.strict = !solver_.constraint_value(c).k.is_zero();
    if (!upper) {
      for (QNumber& coeff : row.coeffs) coeff.self_neg();
      row.bound.self_neg();
    }
    system.push_back(std::move(row));
  }

  std::mt19937 random_;
  Solver solver_;
  std::size_t num_base_ = 0;
  std::vector<VarInfo> vars_;
  std::vector<AtomId> atoms_;
  std::map<AtomId, std::vector<QNumber>> form_of_;
  std::vector<ConstraintId> asserted_;
  std::vector<std::size_t> levels_;
  int num_equal_forms_ = 0;
  int num_moves_ = 0;
};

TEST(LaSolver, AgreesWithFourierMotzkinUnderRandomPushAndPop) {
  int num_equal_forms = 0, num_moves = 0;
  for (unsigned seed = 0; seed < 600; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    CheckedSystem system(seed);
    for (int step = 0; step < 120; ++step) {
      system.step();
      if (HasFatalFailure()) return;
    }
    num_equal_forms += system.num_equal_forms();
    num_moves += system.num_moves();
  }
  EXPECT_GT(num_moves, 200) << "too few to say anything about moves";
  EXPECT_GT(num_equal_forms, 100) << "too few to say anything about normal forms";
}

std::vector<ConstraintId> all_implied(Solver& solver) {
  std::vector<ConstraintId> result;
  for (ConstraintId c = solver.next_implied(); c != null_constraint; c = solver.next_implied())
    result.push_back(c);
  return result;
}

TEST(LaSolver, ImpliesAtomsOfOneVariableByEachOther) {
  Solver solver{Solver::Options()};
  const Var x = solver.new_var();
  const AtomId at_most_5 = at_most(solver, x, 5), at_most_7 = at_most(solver, x, 7),
               at_least_6 = at_least(solver, x, 6);
  const AtomId is_6 = solver.add_equal(x, 6), is_5 = solver.add_equal(x, 5), is_3 = solver.add_equal(x, 3);
  solver.push_level();
  ASSERT_TRUE(solver.push(2 * at_most_5));
  EXPECT_EQ(all_implied(solver),
            (std::vector<ConstraintId>{2 * at_least_6 + 1, 2 * at_most_7, 2 * is_6 + 1}));
  const AtomId late = at_most(solver, x, 9), late_equal = solver.add_equal(x, 8);
  EXPECT_EQ(all_implied(solver), (std::vector<ConstraintId>{2 * late, 2 * late_equal + 1}));
  ASSERT_TRUE(solver.push(2 * at_least(solver, x, 5)));
  EXPECT_EQ(all_implied(solver), (std::vector<ConstraintId>{2 * is_3 + 1, 2 * is_5}));
  EXPECT_EQ(solver.reason(2 * is_5).size(), 2u);
  solver.pop_to_level(0);
  for (const AtomId atom : {at_most_7, at_least_6, is_6, late, late_equal, is_5, is_3}) {
    EXPECT_FALSE(solver.is_implied(2 * atom));
    EXPECT_FALSE(solver.is_implied(2 * atom + 1));
  }
}

TEST(LaSolver, ImpliesAStrictBoundThroughARow) {
  // y < 1 settles x < 1/2 for x = y/2, although its infinitesimal is only half as large there
  Solver solver{Solver::Options()};
  const Var y = solver.new_var();
  const Var z = solver.new_var();
  const std::vector<Monomial> half{{y, QNumber(1, 2)}, {z, QNumber(1)}};
  const Var x = solver.new_slack(half);
  const AtomId y_at_least_1 = at_least(solver, y, 1), z_at_most_0 = at_most(solver, z, 0);
  const AtomId x_at_least_half = at_least(solver, x, QNumber(1, 2));
  ASSERT_TRUE(solver.push(2 * y_at_least_1 + 1));
  ASSERT_TRUE(solver.push(2 * z_at_most_0));
  ASSERT_TRUE(solver.check(true));
  EXPECT_EQ(all_implied(solver), (std::vector<ConstraintId>{2 * x_at_least_half + 1}));
  EXPECT_EQ(solver.reason(2 * x_at_least_half + 1).size(), 2u);
}

TEST(LaSolver, ImpliesAnEqualityThroughARowOfFixedVariables) {
  Solver solver{Solver::Options()};
  const Var y = solver.new_var();
  const Var z = solver.new_var();
  const std::vector<Monomial> sum{{y, QNumber(2)}, {z, QNumber(1)}};
  const Var x = solver.new_slack(sum);
  const AtomId y_at_most_1 = at_most(solver, y, 1), y_at_least_1 = at_least(solver, y, 1);
  const AtomId z_is_3 = solver.add_equal(z, 3);
  for (const AtomId atom : {y_at_most_1, y_at_least_1, z_is_3}) ASSERT_TRUE(solver.push(2 * atom));
  ASSERT_TRUE(solver.check(true));
  const AtomId x_is_5 = solver.add_equal(x, 5);  // it comes when all bounds are in force
  ASSERT_TRUE(solver.check(true));
  EXPECT_EQ(all_implied(solver), (std::vector<ConstraintId>{2 * x_is_5}));
  std::vector<ConstraintId> reason(solver.reason(2 * x_is_5).begin(), solver.reason(2 * x_is_5).end());
  std::sort(reason.begin(), reason.end());
  EXPECT_EQ(reason, (std::vector<ConstraintId>{2 * y_at_most_1, 2 * y_at_least_1, 2 * z_is_3}));
}

TEST(LaSolver, MovesWithinEachOthersRoomKeepNumbersShort) {
  constexpr int count = 40;
  Solver solver{Solver::Options()};
  const auto keep_within_1 = [&solver](Var var) {
    ASSERT_TRUE(solver.push(2 * at_most(solver, var, 1)) && solver.push(2 * at_least(solver, var, -1)));
  };
  std::vector<Var> vars;
  std::vector<Solver::SharedSum> sums;
  for (int i = 0; i < count; ++i) {
    vars.push_back(solver.new_var());
    sums.push_back({{{vars.back(), QNumber(1)}}, QNumber(0), i});
    keep_within_1(vars.back());
    if (i == 0) continue;
    const std::vector<Monomial> step{{vars[vars.size() - 2], QNumber(-1)}, {vars.back(), QNumber(1)}};
    keep_within_1(solver.new_slack(step));
  }
  ASSERT_TRUE(solver.check(false));
  ASSERT_TRUE(solver.move_apart(vars, sums, {}));
  std::set<std::string> values;
  for (const Var var : vars) values.insert(solver.value(var).c.to_str());
  EXPECT_EQ(values.size(), static_cast<std::size_t>(count));
  for (const std::string& value : values) EXPECT_LT(value.size(), 12u) << value;
}

TEST(LaSolver, MovesUntilWhatIsAtIssueStandsAlone) {
  for (std::size_t at_issue = 0; at_issue < 4; ++at_issue) {
    Solver solver{Solver::Options()};
    std::vector<Var> vars;
    std::vector<Solver::SharedSum> sums;
    for (std::size_t i = 0; i < 4; ++i) {
      vars.push_back(solver.new_var());
      sums.push_back({{{vars[i], QNumber(1)}}, QNumber(0), static_cast<int>(i), i == at_issue});
    }
    ASSERT_TRUE(solver.check(false));
    ASSERT_TRUE(solver.move_apart(vars, sums, {}));
    std::map<std::string, int> sharers;
    for (const Var var : vars) ++sharers[solver.value(var).c.to_str()];
    EXPECT_EQ(sharers[solver.value(vars[at_issue]).c.to_str()], 1);
    // The first move parts the first one from the rest; the third, from the fourth.
    EXPECT_EQ(sharers.size(), std::min<std::size_t>(at_issue + 2, 4));
  }
}

TEST(LaSolver, NamesTheBoundsThatMakeADisequalityFail) {
  Solver solver{Solver::Options()};
  const Var x = solver.new_var();
  const Var y = solver.new_var();
  const std::vector<Monomial> sum{{x, QNumber(1)}, {y, QNumber(1)}};
  const Var s = solver.new_slack(sum);
  const AtomId s_is_4 = solver.add_equal(s, 4), x_at_most_2 = at_most(solver, x, 2),
               y_at_most_2 = at_most(solver, y, 2);
  const AtomId x_is_2 = solver.add_equal(x, 2);
  for (const ConstraintId c : {2 * x_is_2 + 1, 2 * s_is_4, 2 * x_at_most_2, 2 * y_at_most_2}) {
    solver.push_level();
    ASSERT_TRUE(solver.push(c));
  }
  ASSERT_TRUE(solver.check(true));
  ASSERT_FALSE(solver.check(false));
  std::vector<ConstraintId> conflict = solver.conflict();
  std::sort(conflict.begin(), conflict.end());
  EXPECT_EQ(conflict,
            (std::vector<ConstraintId>{2 * s_is_4, 2 * x_at_most_2, 2 * y_at_most_2, 2 * x_is_2 + 1}));
  solver.pop_to_level(3);
  EXPECT_TRUE(solver.check(false));

  const AtomId x_at_least_2 = at_least(solver, x, 2);
  solver.pop_to_level(1);  // x != 2 alone
  ASSERT_TRUE(solver.push(2 * x_at_least_2));
  ASSERT_FALSE(solver.push(2 * x_at_most_2));
  conflict = solver.conflict();
  std::sort(conflict.begin(), conflict.end());
  EXPECT_EQ(conflict, (std::vector<ConstraintId>{2 * x_at_most_2, 2 * x_is_2 + 1, 2 * x_at_least_2}));
}

TEST(LaSolver, SeparatesManyDisequalitiesAtOnePoint) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    Solver solver{Solver::Options()};
    std::vector<Var> vars;
    for (int i = 0; i < 3; ++i) vars.push_back(solver.new_var());
    for (int i = 0; i < 4; ++i) {
      const std::vector<Monomial> form{{vars[0], QNumber(static_cast<long>(random() % 3) + 1)},
                                       {vars[1], QNumber(static_cast<long>(random() % 3) - 4)},
                                       {vars[2], QNumber(static_cast<long>(random() % 2) + 1)}};
      vars.push_back(solver.new_slack(form));
    }
    std::vector<std::pair<Var, long>> forbidden;
    for (const Var var : vars) {
      if (var < 3) {
        ASSERT_TRUE(solver.push(2 * at_least(solver, var, 0)));
        ASSERT_TRUE(solver.push(2 * at_most(solver, var, 2)));
      }
      for (long value = -1; value < 3; ++value) forbidden.push_back({var, value});
    }
    std::shuffle(forbidden.begin(), forbidden.end(), random);
    for (const auto& [var, value] : forbidden) ASSERT_TRUE(solver.push(2 * solver.add_equal(var, value) + 1));
    ASSERT_TRUE(solver.check(false));
    solver.build_model({});
    for (const auto& [var, value] : forbidden) {
      ASSERT_NE(solver.value(var), DNumber(QNumber(value)));
      ASSERT_NE(solver.model_value(var), value);
    }
  }
}

TEST(LaSolver, ChoosesAnInfinitesimalThatKeepsValuesApart) {
  // x > 4 puts x at 4 + d; d = 1 would meet the forbidden 5, and y = 4 + 2d would meet 6
  Solver solver{Solver::Options()};
  const Var x = solver.new_var();
  const AtomId x_at_most_4 = at_most(solver, x, 4), x_is_5 = solver.add_equal(x, 5);
  const AtomId x_at_most_100 = at_most(solver, x, 100);
  ASSERT_TRUE(solver.push(2 * x_at_most_4 + 1));
  ASSERT_TRUE(solver.push(2 * x_is_5 + 1));
  ASSERT_TRUE(solver.push(2 * x_at_most_100));
  ASSERT_TRUE(solver.check(false));
  solver.build_model({});
  EXPECT_GT(solver.model_value(x), 4);
  EXPECT_NE(solver.model_value(x), 5);
}

TEST(LaSolver, ReturnsToSolvedStateWhenStopped) {
  struct StopAtSecondPoll : TerminationTest {
    int polls = 0;
    bool operator()() override { return ++polls == 2; }
  } stop;
  Solver::Options options;
  options.elimination = false;  // which asks, too: the second poll is to be after a pivot
  Solver solver(options);
  const Var x = solver.new_var(), y = solver.new_var();
  const std::vector<Monomial> sum{{x, QNumber(1)}, {y, QNumber(1)}},
      difference{{x, QNumber(1)}, {y, QNumber(-1)}};
  const Var s = solver.new_slack(sum), d = solver.new_slack(difference);
  ASSERT_TRUE(solver.push(2 * at_least(solver, s, 10)));
  ASSERT_TRUE(solver.push(2 * at_most(solver, x, 20)));
  ASSERT_TRUE(solver.push(2 * at_least(solver, d, 7)));
  solver.set_termination_test(&stop);
  EXPECT_THROW(static_cast<void>(solver.check(false)), TerminationTest::Terminated);
  EXPECT_TRUE(solver.check_invariants());
  solver.set_termination_test(nullptr);
  ASSERT_TRUE(solver.check(false));
  EXPECT_GE(solver.value(s), DNumber(QNumber(10)));
  EXPECT_GE(solver.value(d), DNumber(QNumber(7)));
}

TEST(LaSolver, AsksBeforeItEliminatesEachVariable) {
  struct StopAtPoll : TerminationTest {
    int polls = 0, last = 0;
    bool operator()() override { return ++polls == last; }
  } stop;
  Solver::Options options;
  options.elimination = true;
  Solver solver(options);
  solver.set_termination_test(&stop);
  std::vector<Var> x;
  for (int i = 0; i < 8; ++i) x.push_back(solver.new_var());
  std::vector<Var> sums;
  for (int i = 0; i < 8; ++i) {
    std::vector<Monomial> sum;
    for (int j = 0; j < 8; ++j)
      sum.push_back({x[static_cast<std::size_t>(j)], QNumber(1 + (i + 1) * (j + 2) % 5)});
    sums.push_back(solver.new_slack(sum));
    ASSERT_TRUE(solver.push(2 * at_least(solver, sums.back(), i)));
  }
  stop.last = 5;
  EXPECT_THROW(static_cast<void>(solver.check(false)), TerminationTest::Terminated);
  EXPECT_TRUE(solver.check_invariants());
  stop.last = 0;
  stop.polls = 0;
  ASSERT_TRUE(solver.check(false));
  EXPECT_GE(stop.polls, 8);
  for (int i = 0; i < 8; ++i) EXPECT_GE(solver.value(sums[static_cast<std::size_t>(i)]), DNumber(QNumber(i)));
}

}  // namespace
}  // namespace vesk::la
