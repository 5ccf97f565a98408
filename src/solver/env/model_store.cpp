#include "solver/env/model_store.h"

#include <algorithm>

namespace vesk {

Term default_value(TermManager& terms, const Type* type) {
  if (type->is_bool()) return terms.make_false();
  if (type->is_number()) return terms.make_number(QNumber(0));
  // Values that the theories hand out are numbered from 1.
  return terms.make_constant(terms.make_internal_symbol("val_" + type->name() + "_0", type));
}

Term free_constant_value(TermManager& terms, Term constant) {
  const Type* type = constant->type();
  const bool is_value =
      !type->is_bool() && !type->is_number() && constant->symbol()->name().starts_with(".val_");
  return is_value ? constant : default_value(terms, type);
}

Term operator_value(TermManager& terms, Term term, std::span<const Term> v) {
  switch (term->tag()) {
    case Tag::not_op: return terms.make_bool(v[0]->is_false());
    case Tag::and_op: return terms.make_bool(v[0]->is_true() && v[1]->is_true());
    case Tag::or_op: return terms.make_bool(v[0]->is_true() || v[1]->is_true());
    case Tag::iff:
    case Tag::equal: return terms.make_bool(v[0] == v[1]);
    case Tag::leq: return terms.make_bool(v[0]->number() <= v[1]->number());
    case Tag::plus: return terms.make_number(v[0]->number() + v[1]->number());
    case Tag::times: return terms.make_number(v[0]->number() * v[1]->number());
    case Tag::divide:
      if (!v[1]->number().is_zero()) return terms.make_number(v[0]->number() / v[1]->number());
      return nullptr;
    case Tag::floor: return terms.make_number(v[0]->number().floor());
    case Tag::mod_congr: {
      const QNumber quotient = (v[0]->number() - v[1]->number()) / *term->symbol()->number();
      return terms.make_bool(quotient.is_int());
    }
    case Tag::ite: return v[0]->is_true() ? v[1] : v[2];
    case Tag::uninterpreted: return nullptr;
    case Tag::distinct: {
      std::vector<Term> values(v.begin(), v.end());
      std::sort(values.begin(), values.end(), TermIdLess());
      return terms.make_bool(std::adjacent_find(values.begin(), values.end()) == values.end());
    }
    case Tag::true_value:
    case Tag::false_value:
    case Tag::number: break;
  }
  return term;
}

Term ModelStore::definition(Term constant) {
  if (!definitions_read_) {
    for (const RewriteStack::Step& step : *steps_) definitions_.insert(step.removed, step.value);
    definitions_read_ = true;
  }
  return definitions_.find(constant);
}

void ModelStore::set_application(Term application, Term value) {
  std::vector<Term> args;
  for (Term arg : application->children()) args.push_back(get_value(arg));
  const Term key = terms_.make_uf(application->symbol(), args);
  const auto [known, is_new] = values_.insert(key, value);
  if (!is_new && known != value)
    throw ModelError("internal fault: the model has two values for " + key->to_short_str());
}

void ModelStore::require_true(std::span<const Term> formulas) {
  for (const Term formula : formulas)
    if (formula != nullptr && !get_value(formula)->is_true())
      throw ModelError("internal fault: the model does not satisfy " + formula->to_short_str());
}

// Null for a term that is to be walked: a removed constant like one whose only child is its definition.
Term ModelStore::known_value(Term term) {
  if (term->is_number() || term->is_true() || term->is_false()) return term;
  if (const Term value = values_.find(term)) return value;
  if (const Term value = memo_.find(term)) return value;
  if (!term->is_constant() || definition(term) != nullptr) return nullptr;
  const Term value = free_constant_value(terms_, term);
  values_.insert(term, value);
  return value;
}

Term ModelStore::get_value(Term root) {
  if (const Term value = known_value(root)) return value;
  stack_.assign(1, {root, 0});
  results_.clear();
  for (;;) {
    Frame& frame = stack_.back();
    const Term term = frame.term;
    const std::size_t arity = term->is_constant() ? 1 : term->arity();
    if (frame.next < arity) {
      const Term child = term->is_constant() ? definition(term) : term->child(frame.next);
      ++frame.next;
      if (const Term value = known_value(child))
        results_.push_back(value);
      else
        stack_.push_back({child, 0});
      continue;
    }
    const std::size_t first = results_.size() - arity;
    const Term value = term->is_constant() ? results_[first]
                                           : node_value(term, std::span<const Term>(results_).subspan(first));
    memo_.insert(term, value);
    results_.resize(first);
    stack_.pop_back();
    if (stack_.empty()) return value;
    results_.push_back(value);
  }
}

Term ModelStore::application_value(Term key) {
  if (const Term value = values_.find(key)) return value;
  return values_.insert(key, default_value(terms_, key->type())).first;
}

Term ModelStore::node_value(Term term, std::span<const Term> v) {
  if (const Term value = operator_value(terms_, term, v)) return value;
  const Symbol* symbol = term->tag() == Tag::divide ? quotient_by_zero_ : term->symbol();
  return application_value(terms_.make_uf(symbol, v.first(term->tag() == Tag::divide ? 1 : v.size())));
}

std::vector<std::pair<Term, Term>> ModelStore::list() {
  for (const RewriteStack::Step& step : *steps_) get_value(step.removed);
  std::vector<std::pair<Term, Term>> entries;
  const auto add = [&](Term term, Term value) {
    const bool listed = term->is_constant() || term->tag() == Tag::uninterpreted;
    if (listed && !term->symbol()->is_internal()) entries.emplace_back(term, value);
  };
  values_.for_each(add);
  memo_.for_each([&](Term term, Term value) {
    if (term->is_constant()) add(term, value);
  });
  std::sort(entries.begin(), entries.end(),
            [](const auto& a, const auto& b) { return a.first->id() < b.first->id(); });
  return entries;
}

void ModelStore::append_roots(std::vector<Term>& roots) const {
  const auto add = [&](Term term, Term value) {
    roots.push_back(term);
    roots.push_back(value);
  };
  values_.for_each(add);
  memo_.for_each(add);
  for (const RewriteStack::Step& step : *steps_) add(step.removed, step.value);
}

}  // namespace vesk
