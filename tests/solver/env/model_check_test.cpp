#include "solver/env/model_check.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "solver/env/model_store.h"

namespace vesk {
namespace {

/// Random formulas on levels, and a model of constants and applications that changes between the checks. What
/// ModelCheck says is compared with an evaluation of everything.
class World {
 public:
  explicit World(unsigned seed) : random_(seed) {
    const Type* number = terms_.types().rational();
    const Type* truth = terms_.types().boolean();
    const Type* thing = terms_.types().simple_type("U");
    for (int i = 0; i < 4; ++i) {
      numbers_.push_back(constant("x" + std::to_string(i), number));
      truths_.push_back(constant("p" + std::to_string(i), truth));
      things_.push_back(constant("u" + std::to_string(i), thing));
      values_.push_back(constant("value" + std::to_string(i), thing));
    }
    const Symbol* f = terms_.declare("f", terms_.types().function_type({number}, number));
    const Symbol* g = terms_.declare("g", terms_.types().function_type({thing, thing}, thing));
    const Symbol* is = terms_.declare("is", terms_.types().function_type({number}, truth));
    for (int i = 0; i < 30; ++i) {
      const Term a = pick(numbers_), b = pick(numbers_), u = pick(things_), v = pick(things_);
      switch (below(6)) {
        case 0: numbers_.push_back(terms_.make_plus(a, b)); break;
        case 1: numbers_.push_back(application(f, {a})); break;
        case 2: things_.push_back(application(g, {u, v})); break;
        case 3: truths_.push_back(application(is, {a})); break;
        case 4: numbers_.push_back(terms_.make_term_ite(pick(truths_), a, b)); break;
        default: truths_.push_back(below(2) == 0 ? terms_.make_leq(a, b) : terms_.make_equal(u, v));
      }
    }
    for (const Term leaf : leaves_)
      if (leaf->arity() == 0) change(leaf);
  }

  /// One change, of the model, of the formulas or of what is removed.
  void step() {
    undo_.clear();
    const std::size_t num_steps = steps_.size();
    switch (below(10)) {
      case 0: levels_.push_back({formulas_.size(), steps_.size()}); break;
      case 1:
        if (!levels_.empty()) pop_level();
        break;
      case 2: remove_constant(); break;
      case 3:
      case 4: add_formula(); break;
      default: change(pick(leaves_)); break;
    }
    compare();
    if (!full_check()) recover(std::min(num_steps, steps_.size()));
  }

  int num_holding = 0, num_failing = 0;
  int num_idle = 0;  // checks that held without a look at any term
  std::uint64_t num_evaluations() const { return check_.num_evaluations(); }

 private:
  std::size_t below(std::size_t n) { return random_() % n; }
  Term pick(const std::vector<Term>& from) { return from[below(from.size())]; }
  Term constant(const std::string& name, const Type* type) {
    const Term made = terms_.make_constant(terms_.declare(name, type));
    if (!name.starts_with("value")) leaves_.push_back(made);
    return made;
  }
  Term application(const Symbol* function, std::vector<Term> args) {
    const Term made = terms_.make_uf(function, args);
    if (std::find(leaves_.begin(), leaves_.end(), made) == leaves_.end()) leaves_.push_back(made);
    return made;
  }

  void set(Term leaf, Term value) {
    const auto known = model_.find(leaf);
    undo_.insert(undo_.begin(), {leaf, known == model_.end() ? nullptr : known->second});
    if (value == nullptr)
      model_.erase(leaf);
    else
      model_[leaf] = value;
    for (const Term other : leaves_)
      if (other == leaf || (leaf->arity() > 0 && other->arity() > 0)) changed_.push_back(other);
  }

  // As in the solver, an application has a value only if those in its arguments have.
  Term leaf_value(Term leaf) const {
    const auto known = model_.find(leaf);
    return known == model_.end() || !has_values_below(leaf) ? nullptr : known->second;
  }
  bool has_values_below(Term term) const {
    return std::all_of(term->children().begin(), term->children().end(), [this](Term child) {
      const bool is_application = child->tag() == Tag::uninterpreted && child->arity() > 0;
      return (!is_application || model_.contains(child)) && has_values_below(child);
    });
  }

  void change(Term leaf) {
    Term value = pick(values_);
    if (leaf->type()->is_bool()) value = terms_.make_bool(below(2) == 0);
    if (leaf->type()->is_number()) value = terms_.make_number(QNumber(static_cast<long>(below(3))));
    set(leaf, below(4) == 0 ? nullptr : value);
  }

  void compare() {
    const std::vector<Term> changed = check_.is_empty() ? leaves_ : changed_;
    changed_.clear();
    const std::uint64_t before = num_evaluations();
    const bool holds =
        check_.holds(formulas_, {}, steps_, changed, [this](Term leaf) { return leaf_value(leaf); });
    ASSERT_EQ(holds, full_check()) << formulas_.size() << " formulas";
    ++(holds ? num_holding : num_failing);
    if (holds && num_evaluations() == before) ++num_idle;
  }

  void remove_constant() {
    // A definition holds constants of later steps only: here such as are never removed.
    const Term removed = numbers_[3 - below(2)];
    for (const RewriteStack::Step& step : steps_)
      if (step.removed == removed) return;
    steps_.push_back({removed, terms_.make_plus(numbers_[below(2)], terms_.make_number(QNumber(1)))});
    if (model_.contains(removed)) set(removed, nullptr);
  }

  // One that is true, since a check that failed learns nothing for the next one.
  void add_formula() {
    formulas_.push_back(terms_.make_or(pick(truths_), below(2) == 0 ? pick(truths_) : terms_.make_false()));
    if (!full_check()) formulas_.back() = terms_.make_not(formulas_.back());
  }

  void pop_level() {
    formulas_.resize(levels_.back().first);
    steps_.resize(levels_.back().second);
    levels_.pop_back();
    check_.shrink_to(formulas_.size(), steps_.size());
  }

  void recover(std::size_t num_steps) {
    for (const auto& [leaf, value] : std::exchange(undo_, {})) set(leaf, value);
    steps_.resize(num_steps);
    check_.shrink_to(formulas_.size(), steps_.size());
    while (!full_check() && !levels_.empty()) pop_level();
    if (full_check()) return;
    formulas_.clear();
    check_.shrink_to(0, steps_.size());
    for (const Term leaf : leaves_)
      if (leaf->arity() > 0) set(leaf, nullptr);
  }

  bool full_check() {
    ModelStore model(terms_, std::make_shared<std::vector<RewriteStack::Step>>(steps_), nullptr);
    try {
      for (const auto& [leaf, value] : model_)
        if (leaf->arity() == 0) model.set_constant(leaf, value);
      for (const auto& [leaf, value] : model_)
        if (leaf->arity() > 0 && leaf_value(leaf) != nullptr) model.set_application(leaf, value);
      model.require_true(formulas_);
      return true;
    } catch (const ModelError&) {
      return false;
    }
  }

  TermManager terms_;
  std::mt19937 random_;
  ModelCheck check_{terms_};
  std::vector<Term> numbers_, truths_, things_, values_, leaves_;
  std::map<Term, Term, TermIdLess> model_;
  std::vector<std::pair<Term, Term>> undo_;  // newest first
  std::vector<Term> changed_, formulas_;
  std::vector<RewriteStack::Step> steps_;
  std::vector<std::pair<std::size_t, std::size_t>> levels_;
};

TEST(ModelCheck, SaysWhatAnEvaluationOfEverythingSays) {
  int num_holding = 0, num_failing = 0, num_idle = 0;
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    World world(seed);
    for (int i = 0; i < 150; ++i) {
      world.step();
      if (::testing::Test::HasFatalFailure()) return;
    }
    num_holding += world.num_holding;
    num_failing += world.num_failing;
    num_idle += world.num_idle;
  }
  EXPECT_GT(num_holding, 10000);
  EXPECT_GT(num_failing, 1000) << "changes that make a formula false, or give a function two values";
  EXPECT_GT(num_idle, 1000);
}

}  // namespace
}  // namespace vesk
