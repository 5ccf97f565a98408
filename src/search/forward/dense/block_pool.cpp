#include "search/forward/dense/block_pool.h"

#include <cassert>
#include <new>

namespace zorvel::tp::ftp {

BlockPool::BlockPool(std::size_t largest) {
  // why four: what is lost at the end of a chunk stays below a quarter of it.
  while ((std::size_t{1} << chunk_shift_) < 4 * units_of(largest)) ++chunk_shift_;
  chunk_mask_ = (std::uint32_t{1} << chunk_shift_) - 1;
  assert(chunk_shift_ < 31);
}

BlockPool::Ref BlockPool::allocate_fresh(std::size_t units) {
  const std::size_t chunk_units = std::size_t{1} << chunk_shift_;
  assert(units < chunk_units);
  if (chunks_.empty() || next_unit_ + units > chunk_units) {
    // The top bit of a reference is the successors' to use.
    if ((chunks_.size() + 1) << chunk_shift_ > (std::size_t{1} << 31)) throw std::bad_alloc();
    next_unit_ = chunks_.empty() ? 1 : 0;
    chunks_.push_back(std::make_unique_for_overwrite<std::byte[]>(chunk_units * unit));
  }
  const Ref block = static_cast<Ref>(((chunks_.size() - 1) << chunk_shift_) + next_unit_);
  next_unit_ += units;
  return block;
}

}  // namespace zorvel::tp::ftp
