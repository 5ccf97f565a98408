#include "solver/euf/euf_solver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace vesk::euf {
namespace {

struct Application {
  Node node;
  Function function;
  std::vector<Node> arguments;
};

/// What is equal, by the definition: merges until nothing changes.
class NaiveClosure {
 public:
  NaiveClosure(std::size_t num_nodes, const std::vector<Application>& applications,
               const std::vector<Node>& values)
      : class_(num_nodes), applications_(applications), values_(values) {
    for (std::size_t i = 0; i < num_nodes; ++i) class_[i] = static_cast<Node>(i);
  }
  void merge(Node a, Node b) {
    const Node from = class_[at(a)], to = class_[at(b)];
    std::replace(class_.begin(), class_.end(), from, to);
  }
  void close() {
    for (bool changed = true; changed;) {
      changed = false;
      for (const Application& a : applications_) {
        if (a.function == equality && equal(a.arguments[0], a.arguments[1]) && !equal(a.node, true_node)) {
          merge(a.node, true_node);
          changed = true;
        }
        for (const Application& b : applications_)
          if (!equal(a.node, b.node) && congruent(a, b)) {
            merge(a.node, b.node);
            changed = true;
          }
      }
    }
  }
  bool equal(Node a, Node b) const { return class_[at(a)] == class_[at(b)]; }
  bool is_consistent() const {
    for (const Node a : values_)
      for (const Node b : values_)
        if (a != b && equal(a, b)) return false;
    return true;
  }

 private:
  static std::size_t at(Node node) { return static_cast<std::size_t>(node); }
  bool congruent(const Application& a, const Application& b) const {
    if (a.function != b.function) return false;
    if (a.function == equality && equal(a.arguments[0], b.arguments[1]) &&
        equal(a.arguments[1], b.arguments[0]))
      return true;
    for (std::size_t i = 0; i < a.arguments.size(); ++i)
      if (!equal(a.arguments[i], b.arguments[i])) return false;
    return true;
  }
  std::vector<Node> class_;
  const std::vector<Application>& applications_;
  const std::vector<Node>& values_;
};

class CheckedGraph {
 public:
  explicit CheckedGraph(unsigned seed) : random_(seed) {
    for (int i = 0; i < 4; ++i) terms_.push_back(solver_.add_leaf(false));
    for (int i = 0; i < 2; ++i) {
      terms_.push_back(solver_.add_leaf(true));
      values_.push_back(terms_.back());
    }
    for (int i = 0; i < 6; ++i) add_node();
  }

  void step() {
    switch (below(10)) {
      case 0: add_node(); break;
      case 1: pop(); break;
      case 2:
        if (below(8) == 0) reset();
        break;
      default: assert_one();
    }
    if (testing::Test::HasFatalFailure()) return;
    if (solver_.propagate())
      compare();
    else
      check_conflict();
    ASSERT_TRUE(solver_.check_invariants());
  }

 private:
  struct Fact {
    Node atom;
    bool positive;
  };
  std::size_t below(std::size_t limit) { return random_() % limit; }
  Node any_term() { return terms_[below(terms_.size())]; }

  void add_node() {
    if (applications_.size() > 22) return;
    Application made{null_node, static_cast<Function>(below(3)), {any_term()}};
    if (made.function != 1) made.arguments.push_back(any_term());
    made.node = solver_.add_application(made.function, made.arguments);
    if (made.function == equality) {
      atoms_.push_back(made.node);
      solver_.watch(made.node, true);
    } else {
      terms_.push_back(made.node);
    }
    applications_.push_back(made);
  }

  void assert_one() {
    if (atoms_.empty()) return;
    if (below(2) == 0) {
      solver_.push_level();
      levels_.push_back(facts_.size());
    }
    const Fact fact{atoms_[below(atoms_.size())], below(3) != 0};
    const Hypothesis hypothesis = static_cast<Hypothesis>(facts_.size());
    facts_.push_back(fact);
    const Application& atom = application(fact.atom);
    if (fact.positive) solver_.merge(atom.arguments[0], atom.arguments[1], hypothesis);
    solver_.merge(fact.atom, fact.positive ? true_node : false_node, hypothesis);
  }

  const Application& application(Node node) const {
    return *std::find_if(applications_.begin(), applications_.end(),
                         [node](const Application& a) { return a.node == node; });
  }

  void pop() {
    if (levels_.empty()) return;
    const std::size_t level = below(levels_.size());
    solver_.pop_to_level(level);
    facts_.resize(levels_[level]);
    levels_.resize(level);
  }

  /// Takes the newest applications away.
  void reset() {
    const std::size_t keep = applications_.size() / 2;
    if (applications_.empty()) return;
    const Node count = applications_[keep].node;
    std::erase_if(terms_, [count](Node n) { return n >= count; });
    std::erase_if(atoms_, [count](Node n) { return n >= count; });
    applications_.resize(keep);
    facts_.clear();
    levels_.clear();
    solver_.reset_to(static_cast<std::size_t>(count));
  }

  NaiveClosure closure(const std::vector<Hypothesis>& hypotheses) const {
    NaiveClosure result(solver_.num_nodes(), applications_, values_);
    for (const Hypothesis h : hypotheses) {
      const Fact& fact = facts_[static_cast<std::size_t>(h)];
      const Application& atom = application(fact.atom);
      if (fact.positive) result.merge(atom.arguments[0], atom.arguments[1]);
      result.merge(fact.atom, fact.positive ? true_node : false_node);
    }
    result.close();
    return result;
  }
  std::vector<Hypothesis> all_facts() const {
    std::vector<Hypothesis> result;
    for (std::size_t i = 0; i < facts_.size(); ++i) result.push_back(static_cast<Hypothesis>(i));
    return result;
  }

  void compare() {
    const NaiveClosure expected = closure(all_facts());
    ASSERT_TRUE(expected.is_consistent());
    for (Node a = 0; a < static_cast<Node>(solver_.num_nodes()); ++a)
      for (Node b = 0; b < a; ++b) {
        ASSERT_EQ(solver_.are_equal(a, b), expected.equal(a, b)) << a << " and " << b;
        if (!solver_.are_equal(a, b) || below(4) != 0) continue;
        std::vector<Hypothesis> reason;
        solver_.explain(a, b, reason);
        ASSERT_TRUE(closure(reason).equal(a, b));
      }
    for (const Node atom : atoms_) {
      const bool settled = expected.equal(atom, true_node) || expected.equal(atom, false_node);
      ASSERT_EQ(std::count(solver_.implied().begin(), solver_.implied().end(), atom), settled ? 1 : 0);
    }
  }

  void check_conflict() {
    const std::vector<Hypothesis> conflict = solver_.conflict();
    for (const Hypothesis h : conflict) ASSERT_LT(static_cast<std::size_t>(h), facts_.size());
    ASSERT_FALSE(closure(conflict).is_consistent());
    if (levels_.empty())
      reset();
    else
      pop();
  }

  std::mt19937 random_;
  Solver solver_;
  std::vector<Node> terms_, atoms_, values_{true_node, false_node};
  std::vector<Application> applications_;
  std::vector<Fact> facts_;
  std::vector<std::size_t> levels_;
};

TEST(EufSolver, AgreesWithTheNaiveClosureUnderRandomPushAndPop) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    CheckedGraph graph(seed);
    for (int step = 0; step < 80; ++step) {
      graph.step();
      if (HasFatalFailure()) return;
    }
  }
}

TEST(EufSolver, KeepsALateTermCongruentForAnEarlyReason) {
  Solver solver;
  const Node a = solver.add_leaf(false), b = solver.add_leaf(false);
  const Node fa = solver.add_application(1, {{a}});
  solver.push_level();
  solver.merge(a, b, 7);
  ASSERT_TRUE(solver.propagate());
  solver.push_level();
  solver.push_level();
  const Node fb = solver.add_application(1, {{b}});
  ASSERT_TRUE(solver.propagate());
  EXPECT_TRUE(solver.are_equal(fa, fb));
  solver.pop_to_level(1);
  ASSERT_TRUE(solver.propagate());
  EXPECT_TRUE(solver.are_equal(fa, fb));
  std::vector<Hypothesis> reason;
  solver.explain(fa, fb, reason);
  EXPECT_EQ(reason, std::vector<Hypothesis>{7});
  solver.pop_to_level(0);
  ASSERT_TRUE(solver.propagate());
  EXPECT_FALSE(solver.are_equal(fa, fb));
}

TEST(EufSolver, ExplainsALongChainByItsOwnLinksOnly) {
  Solver solver;
  std::vector<Node> leaves, images;
  for (int i = 0; i < 200; ++i) leaves.push_back(solver.add_leaf(false));
  for (const Node leaf : leaves) images.push_back(solver.add_application(1, {{leaf}}));
  for (int i = 0; i + 1 < 200; ++i)
    solver.merge(leaves[static_cast<std::size_t>(i)], leaves[static_cast<std::size_t>(i) + 1], i);
  ASSERT_TRUE(solver.propagate());
  std::vector<Hypothesis> reason;
  solver.explain(leaves[50], leaves[60], reason);
  EXPECT_EQ(reason, (std::vector<Hypothesis>{50, 51, 52, 53, 54, 55, 56, 57, 58, 59}));
  EXPECT_TRUE(solver.are_equal(images[0], images[199]));
}

}  // namespace
}  // namespace vesk::euf
