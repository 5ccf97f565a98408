#include "solver/preprocess/tseitin_cnf.h"
#include "solver/util/polling.h"

namespace vesk {

using dpll::Lit;

TseitinCnf::Node TseitinCnf::strip(Term term, bool negated) {
  while (term->tag() == Tag::not_op) {
    term = term->child(0);
    negated = !negated;
  }
  return {term, negated};
}

bool TseitinCnf::is_conjunction(const Node& node) {
  return node.term->tag() == (node.negated ? Tag::or_op : Tag::and_op);
}

bool TseitinCnf::is_disjunction(const Node& node) {
  return node.term->tag() == (node.negated ? Tag::and_op : Tag::or_op);
}

void TseitinCnf::add_formulas(std::span<const Term> conjuncts) {
  parents_.clear();
  met_.clear();
  for (Term term : conjuncts) count_parents(term);
  std::size_t done = 0;
  for (Term term : conjuncts) {
    if (done++ % 1024 == 0) TerminationTest::poll(termination_);
    if (config_.preprocessor.full_cnf_conversion) {
      add({defined_literal(strip(term, false))});
      continue;
    }
    top_.assign(1, strip(term, false));
    while (!top_.empty()) {
      const Node node = top_.back();
      top_.pop_back();
      add_top(node);
    }
  }
}

// How often each connective occurs below another, or at the top, negations looked through.
void TseitinCnf::count_parents(Term root) {
  const auto meet = [this](Term child) {
    const Term term = strip(child, false).term;
    if (const std::uint32_t* count = parents_.find(term->id())) {
      parents_.set(term->id(), *count + 1);
      return;
    }
    parents_.set(term->id(), 1);
    if (term->is_connective()) stack_.push_back(term);
  };
  stack_.clear();
  meet(root);
  while (!stack_.empty()) {
    const Term term = stack_.back();
    stack_.pop_back();
    poll_now_and_then();
    for (Term child : term->children()) meet(child);
  }
}

// Shared terms keep a label of their own; those that have one already count as shared.
bool TseitinCnf::is_shared(Term term) const {
  const std::uint32_t* count = parents_.find(term->id());
  return count == nullptr || *count > 1 || is_defined(term);
}

// The leaves of a disjunction (or, negated, a conjunction) through its unshared parts of the same kind.
void TseitinCnf::flatten(const Node& root, std::vector<Node>& leaves) const {
  leaves.clear();
  flatten_stack_.assign(1, root);
  const bool disjunction = is_disjunction(root);
  bool first = true;
  while (!flatten_stack_.empty()) {
    const Node node = flatten_stack_.back();
    flatten_stack_.pop_back();
    const bool same = disjunction ? is_disjunction(node) : is_conjunction(node);
    if (!first && (!same || is_shared(node.term))) {
      leaves.push_back(node);
      continue;
    }
    first = false;
    flatten_stack_.push_back(strip(node.term->child(1), node.negated));
    flatten_stack_.push_back(strip(node.term->child(0), node.negated));
  }
}

void TseitinCnf::add_top(const Node& node) {
  if (is_conjunction(node)) {
    if (!met_.insert(2 * node.term->id() + node.negated)) return;
    top_.push_back(strip(node.term->child(1), node.negated));
    top_.push_back(strip(node.term->child(0), node.negated));
  } else if (is_disjunction(node)) {
    add_disjunction(node);
  } else if (node.term->tag() == Tag::iff) {
    add_iff(node);
  } else {
    add({label(node)});
  }
}

void TseitinCnf::add_disjunction(const Node& root) {
  flatten(root, leaves_);
  // `a or (b and c and ..)`: a clause for each of b, c, .., if that is all there is to the conjunction.
  constexpr std::size_t max_repeated = 3;
  std::size_t conjunction = leaves_.size();
  std::size_t conjunctions = 0;
  for (std::size_t i = 0; i < leaves_.size(); ++i)
    if (is_conjunction(leaves_[i]) && !is_shared(leaves_[i].term)) {
      conjunction = i;
      ++conjunctions;
    }
  const bool distribute = conjunctions == 1 && leaves_.size() <= max_repeated;
  std::vector<Lit> clause;
  for (std::size_t i = 0; i < leaves_.size(); ++i)
    if (!distribute || i != conjunction) clause.push_back(defined_literal(leaves_[i]));
  if (!distribute) {
    solver_.add_clause(clause);
    return;
  }
  std::vector<Node> parts;
  flatten(leaves_[conjunction], parts);
  for (const Node& part : parts) {
    clause.push_back(defined_literal(part));
    solver_.add_clause(clause);
    clause.pop_back();
  }
}

void TseitinCnf::add_iff(const Node& node) {
  const Lit a = defined_literal(strip(node.term->child(0), false));
  const Lit b = defined_literal(strip(node.term->child(1), node.negated));
  add({~a, b});
  add({a, ~b});
}

Lit TseitinCnf::literal_for(Term term) {
  parents_.clear();
  count_parents(term);
  return defined_literal(strip(term, false));
}

Lit TseitinCnf::label(const Node& node) {
  if (node.term->is_true() || node.term->is_false())
    throw CnfError("The CNF conversion does not support `true' and `false'");
  dpll::Var var = solver_.find_proxy(node.term);
  if (var == dpll::var_undef) {
    bool is_new = false;
    dpll::ProxyMaker::Options options;
    options.problem_var = true;
    var = solver_.make_proxy(node.term, options, &is_new);
    if (is_new && config_.dpll.branching_initial_phase == 2)
      solver_.set_phase(var,
                        polarity_(node.term) == PolarityChecker::negative ? dpll::l_false : dpll::l_true);
  } else {
    solver_.set_problem_var(var);
    solver_.set_decision(var, true);
  }
  return Lit(var, node.negated);
}

Lit TseitinCnf::defined_literal(const Node& node) {
  if (node.term->is_connective() && !is_defined(node.term)) define(node.term);
  return label(node);
}

// Adds the definitions of the connectives below `root` that need a label, those deep down first.
void TseitinCnf::define(Term root) {
  const std::size_t bottom = define_stack_.size();
  define_stack_.push_back(root);
  std::vector<Node> leaves;
  std::size_t steps = 0;
  while (define_stack_.size() > bottom) {
    if (++steps % 1024 == 0) TerminationTest::poll(termination_);
    const Term term = define_stack_.back();
    if (is_defined(term)) {
      define_stack_.pop_back();
      continue;
    }
    leaves.clear();
    if (term->tag() == Tag::iff)
      for (Term child : term->children()) leaves.push_back(strip(child, false));
    else
      flatten({term, false}, leaves);
    bool ready = true;
    for (const Node& leaf : leaves) {
      if (!leaf.term->is_connective() || is_defined(leaf.term)) continue;
      define_stack_.push_back(leaf.term);
      ready = false;
    }
    if (!ready) continue;
    define_stack_.pop_back();
    if (term->id() >= defined_.size()) defined_.resize(term->id() + term->id() / 2 + 64, 0);
    defined_[term->id()] = 1;
    if (trail_.num_marks() > 0) trail_.push(term->id());
    add_definition(term, leaves);
  }
}

void TseitinCnf::add_definition(Term term, const std::vector<Node>& leaves) {
  const Lit l = label({term, false});
  if (term->tag() == Tag::iff) {
    const Lit a = label(leaves[0]), b = label(leaves[1]);
    add({~l, ~a, b});
    add({~l, a, ~b});
    add({l, ~a, ~b});
    add({l, a, b});
    return;
  }
  // An `or` is written as the negation of the conjunction of its negated leaves.
  const bool is_or = term->tag() == Tag::or_op;
  clause_.assign(1, l ^ is_or);
  for (const Node& leaf : leaves) {
    const Lit lit = label(leaf) ^ is_or;
    add({~l ^ is_or, lit});
    clause_.push_back(~lit);
  }
  solver_.add_clause(clause_);
}

void TseitinCnf::pop_backtrack_point() {
  trail_.undo_to_mark(trail_.num_marks() - 1, [this](std::uint64_t id) { defined_[id] = 0; });
}

}  // namespace vesk
