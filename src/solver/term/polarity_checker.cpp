#include "solver/term/polarity_checker.h"

#include "solver/term/visit.h"
#include "solver/util/polling.h"

namespace vesk {

int PolarityChecker::operator()(Term term) const {
  if (!term->type()->is_bool())
    throw PolarityError("polarity information is meaningful only for terms of type Bool");
  return term->id() < polarity_.size() ? polarity_[term->id()] : static_cast<int>(unknown);
}

bool PolarityChecker::merge(Term term, int polarity) {
  const std::uint64_t id = term->id();
  if (id >= polarity_.size()) polarity_.resize(id + id / 2 + 64, unknown);
  const int old = polarity_[id];
  if ((old | polarity) == old) return false;
  if (trail_.num_marks() > 0) trail_.push({id, static_cast<std::uint8_t>(old)});
  polarity_[id] = static_cast<std::uint8_t>(old | polarity);
  return true;
}

void PolarityChecker::add_literal(Term term, bool negated) { merge(term, negated ? negative : positive); }

void PolarityChecker::add_formula(Term formula) {
  const auto flip = [](int polarity) { return ((polarity & 1) << 1) | (polarity >> 1); };
  stack_.push_back({formula, positive});
  while (!stack_.empty()) {
    const auto [term, polarity] = stack_.back();
    stack_.pop_back();
    if (!merge(term, polarity)) continue;
    poll_now_and_then();
    switch (term->tag()) {
      case Tag::not_op: stack_.push_back({term->child(0), flip(polarity)}); break;
      case Tag::and_op:
      case Tag::or_op:
        for (Term child : term->children()) stack_.push_back({child, polarity});
        break;
      case Tag::iff:
        for (Term child : term->children()) stack_.push_back({child, both});
        break;
      default: add_conditions(term); break;
    }
  }
}

void PolarityChecker::add_conditions(Term atom) {
  if (!atom->has(has_ite)) return;
  visit_post_order(
      atom, seen_, [](Term term) { return term->has(has_ite); },
      [this](Term term) {
        if (term->tag() == Tag::ite) stack_.push_back({term->child(0), both});
      });
  seen_.clear();
}

void PolarityChecker::push_backtrack_point() { trail_.push_mark(); }

void PolarityChecker::pop_backtrack_point() {
  trail_.undo_to_mark(trail_.num_marks() - 1, [this](const Cell& cell) { polarity_[cell.id] = cell.old; });
}

}  // namespace vesk
