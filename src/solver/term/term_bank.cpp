#include "solver/term/term_bank.h"

#include <algorithm>
#include <cassert>
#include <new>
#include <utility>

namespace vesk {
namespace {

std::uint64_t hash_of(const Symbol* symbol, std::span<const Term> children) {
  constexpr std::uint64_t odd = 0x9e3779b97f4a7c15ULL;
  std::uint64_t h = symbol->id() * odd;
  for (Term child : children) h = (((h << 5) | (h >> 59)) ^ child->id()) * odd;
  return h ^ (h >> 32);
}

std::uint32_t flags_of(const Symbol* symbol, std::span<const Term> children) {
  std::uint32_t flags = 0;
  for (Term child : children) flags |= child->flags();
  switch (symbol->tag()) {
    case Tag::uninterpreted:
      if (!children.empty()) flags |= has_function;
      for (Term child : children)
        if (child->type()->is_bool() && !child->is_true() && !child->is_false()) flags |= has_bool_argument;
      if (symbol->output_type()->is_integer()) flags |= has_int_symbol;
      break;
    case Tag::times:
      flags |= has_arith;
      if (!children[0]->is_number() && !children[1]->is_number()) flags |= has_product;
      if (children[0]->tag() == Tag::plus || children[1]->tag() == Tag::plus) flags |= has_sum_product;
      break;
    case Tag::divide: flags |= has_arith | has_divide; break;
    case Tag::floor:
    case Tag::mod_congr: flags |= has_arith | has_floor; break;
    case Tag::plus:
    case Tag::leq: flags |= has_arith; break;
    case Tag::equal:
      if (children[0]->type()->is_number()) flags |= has_arith;
      break;
    case Tag::ite: flags |= has_ite; break;
    case Tag::distinct: flags |= has_distinct; break;
    default: break;
  }
  return flags;
}

}  // namespace

TermBank::TermBank()
    : slots_(1024),
      pools_{MemoryPool(sizeof(Term_)), MemoryPool(sizeof(Term_) + sizeof(Term)),
             MemoryPool(sizeof(Term_) + 2 * sizeof(Term))} {}

TermBank::~TermBank() {
  for (const Slot& slot : slots_)
    if (slot.term != nullptr && slot.term->arity_ > 2) release(slot.term);
}

Term TermBank::intern(const Symbol* symbol, std::span<const Term> children) {
  assert(children.size() == symbol->arity());
  const std::uint64_t hash = hash_of(symbol, children);
  const std::size_t mask = slots_.size() - 1;
  std::size_t at = hash & mask;
  for (; slots_[at].term != nullptr; at = (at + 1) & mask) {
    const Slot& slot = slots_[at];
    if (slot.hash == hash && slot.term->symbol_ == symbol &&
        std::equal(children.begin(), children.end(), slot.term->children().begin()))
      return slot.term;
  }
  Term_* term = allocate(children.size());
  term->id_ = next_id_++;
  term->symbol_ = symbol;
  term->flags_ = flags_of(symbol, children);
  term->arity_ = static_cast<std::uint32_t>(children.size());
  std::copy(children.begin(), children.end(), reinterpret_cast<Term*>(term + 1));
  slots_[at] = {term, hash};
  if (++size_ * 2 > slots_.size()) rehash(2 * slots_.size());
  return term;
}

void TermBank::sweep(const std::function<bool(Term)>& keep) {
  std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(slots_.size()));
  const std::size_t mask = slots_.size() - 1;
  std::vector<Term_*> dead;
  size_ = 0;
  for (const Slot& slot : old) {
    if (slot.term == nullptr) continue;
    if (!keep(slot.term)) {
      dead.push_back(slot.term);
      continue;
    }
    std::size_t at = slot.hash & mask;
    while (slots_[at].term != nullptr) at = (at + 1) & mask;
    slots_[at] = slot;
    ++size_;
  }
  for (Term_* term : dead) release(term);
}

Term_* TermBank::allocate(std::size_t arity) {
  static_assert(sizeof(Term_) % alignof(Term) == 0);
  void* cell = arity <= 2 ? pools_[arity].allocate() : ::operator new(sizeof(Term_) + arity * sizeof(Term));
  return ::new (cell) Term_();
}

void TermBank::release(Term_* term) {
  if (term->arity_ <= 2)
    pools_[term->arity_].release(term);
  else
    ::operator delete(term);
}

void TermBank::rehash(std::size_t capacity) {
  std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(capacity));
  for (const Slot& slot : old) {
    if (slot.term == nullptr) continue;
    std::size_t at = slot.hash & (capacity - 1);
    while (slots_[at].term != nullptr) at = (at + 1) & (capacity - 1);
    slots_[at] = slot;
  }
}

}  // namespace vesk
