#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "solver/term/term.h"
#include "solver/util/pools.h"

namespace vesk {

/// Storage and unique table of terms. Terms of arity 0 to 2 come from pools, others from general memory.
class TermBank {
 public:
  TermBank();
  TermBank(const TermBank&) = delete;
  TermBank& operator=(const TermBank&) = delete;
  ~TermBank();

  /// The one term of that symbol and these children. Allocates nothing when it exists.
  Term intern(const Symbol* symbol, std::span<const Term> children);

  std::size_t size() const { return size_; }
  /// One more than the largest id in use.
  std::uint64_t id_bound() const { return next_id_; }

  /// Frees every term for which `keep` is false. A kept term's children must be kept.
  void sweep(const std::function<bool(Term)>& keep);

 private:
  struct Slot {
    Term_* term = nullptr;
    std::uint64_t hash = 0;
  };

  Term_* allocate(std::size_t arity);
  void release(Term_* term);
  void rehash(std::size_t capacity);

  std::vector<Slot> slots_;
  std::size_t size_ = 0;
  std::uint64_t next_id_ = 1;
  MemoryPool pools_[3];
};

}  // namespace vesk
