#pragma once

#include <cassert>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "solver/dpll/lit.h"
#include "solver/util/exception.h"

namespace vesk::dpll {

/// Place of a clause in its arena. 31 bits, so that a watch can hold it beside one flag.
using ClauseRef = std::uint32_t;
constexpr ClauseRef ref_undef = 0x7fffffff;
/// As a reason: the theories implied the literal and explain it when asked.
constexpr ClauseRef ref_theory = 0x7ffffffe;

/// A view of one clause record: consecutive 32-bit words.
///
///   word 0    size in the low 24 bits, LBD (literal block distance; G. Audemard, L. Simon, IJCAI 2009) in
///             the top 8, 0 until computed
///   word 1    flags
///   word 2    activity as a float; the new place while the arena is compacted
///   word 3..  the literals, the first two of them watched
class Clause {
 public:
  static constexpr std::uint32_t header_words = 3;
  static constexpr std::uint32_t max_size = 0xffffff;
  enum Flag : std::uint32_t {
    learnt_flag = 1,
    theory_flag = 2,
    lemma_flag = 4,
    removed_flag = 8,
    moved_flag = 16
  };

  explicit Clause(std::uint32_t* words) : words_(words) {}

  std::uint32_t size() const { return words_[0] & max_size; }
  Lit& operator[](std::uint32_t i) const { return lits()[i]; }
  Lit* lits() const { return reinterpret_cast<Lit*>(words_ + header_words); }
  std::span<Lit> span() const { return {lits(), size()}; }

  std::uint32_t lbd() const { return words_[0] >> 24; }
  void set_lbd(std::uint32_t lbd) const { words_[0] = size() | (lbd < 255 ? lbd : 255) << 24; }
  bool has(Flag flag) const { return (words_[1] & flag) != 0; }
  void set(Flag flag) const { words_[1] |= flag; }
  void clear(Flag flag) const { words_[1] &= ~static_cast<std::uint32_t>(flag); }

  float activity() const {
    float value;
    std::memcpy(&value, &words_[2], sizeof value);
    return value;
  }
  void set_activity(float value) const { std::memcpy(&words_[2], &value, sizeof value); }
  ClauseRef moved_to() const { return words_[2]; }
  void move_to(ClauseRef place) const {
    words_[2] = place;
    set(moved_flag);
  }

 private:
  std::uint32_t* words_;
};

static_assert(sizeof(Lit) == sizeof(std::uint32_t));

/// All clauses of a solver in one block of words. A view is void after the next allocate().
class ClauseArena {
 public:
  /// `lits` may not lie in the arena.
  ClauseRef allocate(std::span<const Lit> lits, std::uint32_t flags) {
    if (lits.size() > Clause::max_size) throw Exception("A clause has more than 16777215 literals");
    const std::size_t place = words_.size();
    if (place + lits.size() + Clause::header_words >= ref_theory)
      throw Exception("The clauses exceed 8 gigabytes");
    words_.resize(place + Clause::header_words + lits.size());
    words_[place] = static_cast<std::uint32_t>(lits.size());
    words_[place + 1] = flags;
    words_[place + 2] = 0;
    std::memcpy(&words_[place + Clause::header_words], lits.data(), lits.size_bytes());
    return static_cast<ClauseRef>(place);
  }
  Clause operator[](ClauseRef ref) { return Clause(&words_[ref]); }
  Clause operator[](ClauseRef ref) const { return Clause(const_cast<std::uint32_t*>(&words_[ref])); }

  void note_removed(ClauseRef ref) { wasted_ += (*this)[ref].size() + Clause::header_words; }
  std::size_t size() const { return words_.size(); }
  std::size_t wasted() const { return wasted_; }
  void reserve(std::size_t words) { words_.reserve(words); }

 private:
  std::vector<std::uint32_t> words_;
  std::size_t wasted_ = 0;
};

/// Entry of a watch list: a literal of the clause that makes a look at the clause needless when it is true,
/// and the clause's place, with the lowest bit set for a clause of two literals, whose other one is the
/// blocker then: such clauses are never looked at in propagation.
struct Watch {
  Lit blocker;
  std::uint32_t data;

  Watch(Lit b, ClauseRef ref, bool binary) : blocker(b), data(ref << 1 | (binary ? 1 : 0)) {}
  bool is_binary() const { return (data & 1) != 0; }
  ClauseRef ref() const { return data >> 1; }
};

}  // namespace vesk::dpll
