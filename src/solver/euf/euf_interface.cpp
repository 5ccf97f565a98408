#include "solver/euf/euf_interface.h"

#include <algorithm>
#include <cassert>
#include <string>
#include <utility>

#include "solver/term/poly.h"
#include "solver/theory/theory_eq.h"
#include "solver/util/polling.h"

namespace vesk::euf {

namespace {
// Assertions that look at the whole graph are for graphs up to this size.
constexpr std::size_t max_checked_nodes = 2000;
}  // namespace

Node EufSolverInterface::find_node(Term term) const {
  if (term->is_true()) return true_node;
  if (term->is_false()) return false_node;
  const Node* node = node_of_term_.find(term);
  return node == nullptr ? null_node : *node;
}

Function EufSolverInterface::function_of(const Symbol* symbol) {
  Function& function = functions_[symbol];
  if (function == 0) function = static_cast<Function>(functions_.size());  // 0 is equality
  return function;
}

/// The node of a term; below applications of uninterpreted symbols nodes are made for the
/// arguments, anything else is a leaf. Terms can be deep, so the walk keeps its own stack.
Node EufSolverInterface::make_node(Term root) {
  std::vector<Term> stack{root};
  std::vector<Node> arguments;
  while (!stack.empty()) {
    poll_now_and_then();
    const Term term = stack.back();
    if (find_node(term) != null_node) {
      stack.pop_back();
      continue;
    }
    const bool application = term->tag() == Tag::uninterpreted && term->arity() != 0;
    arguments.clear();
    if (application)
      for (const Term child : term->children()) {
        const Node node = find_node(child);
        if (node == null_node) stack.push_back(child);
        arguments.push_back(node);
      }
    if (stack.back() != term) continue;
    stack.pop_back();
    const bool shared = term->type()->is_number();
    const Node node = application ? solver_.add_application(function_of(term->symbol()), arguments, shared)
                                  : solver_.add_leaf(term->is_number(), shared);
    assert(static_cast<std::size_t>(node) == nodes_.size());
    nodes_.push_back({term});
    node_of_term_[term] = node;
    if (term->tag() == Tag::uninterpreted && !shared) leaves_.push_back({node});
  }
  return find_node(root);
}

/// The node of an equality; `null_node` for one between numbers that says more than that two terms are equal.
Node EufSolverInterface::make_equality(Term equality_term) {
  if (const Node known = find_node(equality_term); known != null_node)
    return nodes_[static_cast<std::size_t>(known)].left == null_node ? null_node : known;
  Term left = equality_term->child(0);
  Term right = equality_term->child(1);
  if (left->type()->is_number() && (find_node(left) == null_node || find_node(right) == null_node)) {
    if (!numbers_matter_) return null_node;
    const Poly poly = Poly::difference(left, right);
    if (poly.monomials.size() == 1) {
      left = poly.monomials[0].atom;
      right = terms_.make_number(poly.constant / poly.monomials[0].coefficient.neg());
    } else if (poly.monomials.size() == 2 && poly.constant.is_zero() &&
               poly.monomials[0].coefficient == poly.monomials[1].coefficient.neg()) {
      left = poly.monomials[0].atom;
      right = poly.monomials[1].atom;
    } else {
      return null_node;
    }
  }
  return add_equality(equality_term, left, right);
}

Node EufSolverInterface::add_equality(Term equality_term, Term left, Term right) {
  const Node left_node = make_node(left);
  const Node sides[2] = {left_node, make_node(right)};
  const Node node = solver_.add_application(equality, sides);
  nodes_.push_back({equality_term, dpll::var_undef, sides[0], sides[1]});
  node_of_term_[equality_term] = node;
  return node;
}

bool EufSolverInterface::tell_atom(Term atom, dpll::Var var) {
  Node node = null_node;
  if (atom->tag() == Tag::equal)
    node = make_equality(atom);
  else if (atom->tag() == Tag::uninterpreted && atom->arity() != 0)
    node = make_node(atom);
  if (node == null_node) return false;
  own(node, var);
  return true;
}

void EufSolverInterface::own(Node node, dpll::Var var) {
  nodes_[static_cast<std::size_t>(node)].var = var;
  solver_.watch(node, true);
  if (static_cast<std::size_t>(var) >= node_of_var_.size())
    node_of_var_.resize(static_cast<std::size_t>(var) + 1, null_node);
  node_of_var_[static_cast<std::size_t>(var)] = node;
}

void EufSolverInterface::retract_atom(dpll::Var var) {
  Node& node = node_of_var_[static_cast<std::size_t>(var)];
  solver_.watch(node, false);
  NodeRecord& record = nodes_[static_cast<std::size_t>(node)];
  record.var = dpll::var_undef;
  assumes_retracted_ |= record.assumed;
  node = null_node;
}

void EufSolverInterface::new_decision_level() {
  solver_.push_level();
  marks_.push_back({assumed_.size(), next_implied_, next_equality_});
}

void EufSolverInterface::cancel_until(int level) {
  if (static_cast<std::size_t>(level) >= marks_.size()) return;
  const Mark mark = marks_[static_cast<std::size_t>(level)];
  marks_.resize(static_cast<std::size_t>(level));
  for (; assumed_.size() > mark.assumed; assumed_.pop_back()) {
    const Node node = node_of_var_[static_cast<std::size_t>(assumed_.back().var())];
    if (node != null_node) nodes_[static_cast<std::size_t>(node)].assumed = false;
  }
  next_implied_ = mark.next_implied;
  next_equality_ = mark.next_equality;
  solver_.pop_to_level(static_cast<std::size_t>(level));
}

/// Nodes made since the point go. Nearly always they are the newest there is. Where facts of level 0 have
/// come since as well, which rest on older atoms, all that is assumed is asserted anew on the nodes that
/// stay.
void EufSolverInterface::pop_backtrack_point() {
  assert(!points_.empty());
  const std::size_t num_nodes = points_.back();
  points_.pop_back();
  if (assumes_retracted_ || !forget_newest(num_nodes)) rebuild(num_nodes);
  next_equality_ = 0;  // the others may have dropped what they made of them
}

/// False, and nothing is done, if somebody needs them still.
bool EufSolverInterface::forget_newest(std::size_t num_nodes) {
  const auto begin = nodes_.begin() + static_cast<std::ptrdiff_t>(num_nodes);
  const auto has_atom = [](const NodeRecord& record) { return record.var != dpll::var_undef; };
  if (std::any_of(begin, nodes_.end(), has_atom) || !solver_.remove_newest(num_nodes)) return false;
  forget_leaves(num_nodes);
  for (auto record = begin; record != nodes_.end(); ++record) node_of_term_.erase(record->term);
  nodes_.erase(begin, nodes_.end());
  return true;
}

void EufSolverInterface::rebuild(std::size_t num_nodes) {
  // An equality that was told late has a younger node than its atom: the node goes, the atom stays, with the
  // sides that it was read with.
  struct ToldLate {
    Term equality, left, right;
    dpll::Var var;
  };
  std::vector<ToldLate> told_late;
  for (std::size_t n = num_nodes; n < nodes_.size(); ++n) {
    node_of_term_.erase(nodes_[n].term);
    if (nodes_[n].var == dpll::var_undef) continue;
    node_of_var_[static_cast<std::size_t>(nodes_[n].var)] = null_node;
    assert(nodes_[n].left != null_node);
    told_late.push_back({nodes_[n].term, nodes_[static_cast<std::size_t>(nodes_[n].left)].term,
                         nodes_[static_cast<std::size_t>(nodes_[n].right)].term, nodes_[n].var});
  }
  forget_leaves(num_nodes);
  nodes_.resize(num_nodes, {nullptr});
  solver_.reset_to(num_nodes);
  for (const ToldLate& told : told_late) own(add_equality(told.equality, told.left, told.right), told.var);
  std::vector<dpll::Lit> assumed;
  std::vector<Mark> marks;
  assumed.swap(assumed_);
  marks.swap(marks_);
  assumes_retracted_ = false;
  for (NodeRecord& record : nodes_) record.assumed = false;
  next_implied_ = next_equality_ = 0;
  for (std::size_t i = 0; i <= assumed.size(); ++i) {
    while (marks_.size() < marks.size() && marks[marks_.size()].assumed <= i) new_decision_level();
    if (i == assumed.size()) break;
    const std::size_t var = static_cast<std::size_t>(assumed[i].var());
    if (node_of_var_[var] == null_node) continue;
    assert_lit(assumed[i]);
    static_cast<void>(solver_.propagate());
  }
}

void EufSolverInterface::assert_lit(dpll::Lit lit) {
  assumed_.push_back(lit);
  const Node node = node_of_var_[static_cast<std::size_t>(lit.var())];
  nodes_[static_cast<std::size_t>(node)].assumed = true;
  const NodeRecord& record = nodes_[static_cast<std::size_t>(node)];
  if (!lit.negated() && record.left != null_node) solver_.merge(record.left, record.right, lit.x);
  solver_.merge(node, lit.negated() ? false_node : true_node, lit.x);
}

bool EufSolverInterface::assume(dpll::Lit lit) {
  if (solver_.in_conflict()) return false;
  assert_lit(lit);
  return solver_.propagate();
}

bool EufSolverInterface::check(bool) {
  TerminationTest::poll(termination_);
  const bool consistent = solver_.propagate();
  assert(solver_.num_nodes() > max_checked_nodes || solver_.check_invariants());
  if (consistent) hand_on_equalities();
  return consistent;
}

void EufSolverInterface::hand_on_equalities() {
  const auto& equalities = solver_.shared_equalities();
  if (equations_ == nullptr || !numbers_matter_) return;
  for (; next_equality_ < equalities.size(); ++next_equality_) {
    const auto [a, b] = equalities[next_equality_];
    equations_->propagate(
        {nodes_[static_cast<std::size_t>(a)].term, nodes_[static_cast<std::size_t>(b)].term, this});
  }
}

void EufSolverInterface::explain_equation(const TheoryEq& equation, std::vector<dpll::Lit>& reasons) {
  explanation_.clear();
  const Node left = find_node(equation.left), right = find_node(equation.right);
  solver_.explain(left, right, explanation_);
  assert(is_entailed(explanation_, left, right));
  for (const Hypothesis h : explanation_)
    reasons.push_back(dpll::Lit::from_index(static_cast<std::size_t>(h)));
}

/// Do these assumed literals alone make `a` and `b` equal? From scratch; true without a look where there are
/// too many nodes for that.
bool EufSolverInterface::is_entailed(const std::vector<Hypothesis>& hypotheses, Node a, Node b) const {
  if (nodes_.size() > max_checked_nodes) return true;
  std::vector<Solver::Equation> equations;
  for (const Hypothesis h : hypotheses) {
    const dpll::Lit lit = dpll::Lit::from_index(static_cast<std::size_t>(h));
    const Node node = node_of_var_[static_cast<std::size_t>(lit.var())];
    const NodeRecord& record = nodes_[static_cast<std::size_t>(node)];
    equations.push_back({node, lit.negated() ? false_node : true_node});
    if (!lit.negated() && record.left != null_node) equations.push_back({record.left, record.right});
  }
  return solver_.entails(equations, a, b);
}

void EufSolverInterface::get_conflict(std::vector<dpll::Lit>& lits) {
  lits.clear();
  assert(is_entailed(solver_.conflict(), true_node, false_node));
  for (const Hypothesis h : solver_.conflict())
    lits.push_back(dpll::Lit::from_index(static_cast<std::size_t>(h)));
}

dpll::Lit EufSolverInterface::get_next_implied() {
  while (next_implied_ < solver_.implied().size()) {
    const Node node = solver_.implied()[next_implied_++];
    const dpll::Var var = nodes_[static_cast<std::size_t>(node)].var;
    if (var != dpll::var_undef) return dpll::Lit(var, solver_.value(node) == false_node);
  }
  return dpll::lit_undef;
}

bool EufSolverInterface::get_explanation(dpll::Lit lit, bool lazy, std::vector<dpll::Lit>& reasons) {
  if (!lazy) return false;  // most are never asked for, and the path in the proof forest is fixed
  explanation_.clear();
  const Node node = node_of_var_[static_cast<std::size_t>(lit.var())];
  solver_.explain(node, lit.negated() ? false_node : true_node, explanation_);
  assert(is_entailed(explanation_, node, lit.negated() ? false_node : true_node));
  reasons.clear();
  for (const Hypothesis h : explanation_)
    reasons.push_back(dpll::Lit::from_index(static_cast<std::size_t>(h)));
  return true;
}

int EufSolverInterface::model_group(Term term) const {
  const Node node = find_node(term);
  return node == null_node ? -1 : solver_.root(node);
}

void EufSolverInterface::require_model() {
  for (const NodeRecord& record : nodes_)
    if (record.term != nullptr && record.term->tag() == Tag::ite)
      throw TheoryIncomplete("the condition of " + record.term->to_str() + " is not known to the theories");
}

void EufSolverInterface::build_model() {
  class_values_.resize(nodes_.size());
  hsh::Map<const Type*, std::size_t> used;
  const Type* type = nullptr;  // of the class before; most have the type of their neighbours
  std::size_t* num_used = nullptr;
  const std::vector<Term>* elements = nullptr;
  for (std::size_t n = 0; n < nodes_.size(); ++n) {
    const Node node = static_cast<Node>(n);
    if (solver_.root(node) != node) continue;
    // the root may be the node of true or of false, which has no term
    const Type* type_here = nodes_[n].term != nullptr ? nodes_[n].term->type() : terms_.types().boolean();
    if (type_here->is_bool()) {
      class_values_[n] = terms_.make_bool(solver_.value(node) == true_node);
    } else if (type_here->is_number()) {
      class_values_[n] = nullptr;
    } else {
      if (type_here != type) {
        type = type_here;
        num_used = &used[type];
        elements = &elements_[type];
      }
      const std::size_t number = (*num_used)++;
      class_values_[n] = number < elements->size() ? (*elements)[number] : element(type, number);
    }
  }
}

Term EufSolverInterface::element(const Type* type, std::size_t number) {
  std::vector<Term>& elements = elements_[type];
  while (elements.size() <= number) {
    const std::string name = "val_" + type->name() + "_" + std::to_string(elements.size() + 1);
    elements.push_back(terms_.make_constant(terms_.make_internal_symbol(name, type)));
  }
  return elements[number];
}

Term EufSolverInterface::get_model_value(Term term) const {
  const Node node = find_node(term);
  if (node == null_node || static_cast<std::size_t>(node) >= class_values_.size()) return nullptr;
  return class_values_[static_cast<std::size_t>(solver_.root(node))];
}

bool EufSolverInterface::collect_model_changes(std::vector<Term>& changed) {
  changed.insert(changed.end(), lost_leaves_.begin(), lost_leaves_.end());
  lost_leaves_.clear();
  tells_changes_ = true;
  for (Leaf& leaf : leaves_) {
    const Term value = class_values_[static_cast<std::size_t>(solver_.root(leaf.node))];
    if (value == leaf.told) continue;
    leaf.told = value;
    changed.push_back(nodes_[static_cast<std::size_t>(leaf.node)].term);
  }
  return true;
}

void EufSolverInterface::forget_leaves(std::size_t num_nodes) {
  for (; !leaves_.empty() && static_cast<std::size_t>(leaves_.back().node) >= num_nodes; leaves_.pop_back())
    if (tells_changes_) lost_leaves_.push_back(nodes_[static_cast<std::size_t>(leaves_.back().node)].term);
}

}  // namespace vesk::euf
