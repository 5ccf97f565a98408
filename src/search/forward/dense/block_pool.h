#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace zorvel::tp::ftp {

/// Many blocks of a few hundred bytes, addressed by 32-bit references and reused by size.
///
/// References count units of 16 bytes, so that a stored state can name its parts in four bytes each. Blocks
/// never move. Nothing is given back to the system before the pool dies.
class BlockPool {
 public:
  using Ref = std::uint32_t;  ///< 0 is no block.
  static constexpr std::size_t unit = 16;

  /// `largest` is the size in bytes of the largest block that will be asked for.
  explicit BlockPool(std::size_t largest);

  /// A block of at least `bytes`, not initialised. Raises std::bad_alloc when references run out.
  Ref allocate(std::size_t bytes) {
    const std::size_t units = units_of(bytes);
    if (units >= free_.size()) free_.resize(units + 1, 0);
    used_units_ += units;
    const Ref reused = free_[units];
    if (reused == 0) return allocate_fresh(units);
    free_[units] = *at<Ref>(reused);
    return reused;
  }
  /// `bytes` as at the allocation.
  void release(Ref block, std::size_t bytes) {
    const std::size_t units = units_of(bytes);
    assert(block != 0 && units < free_.size());
    assert(used_units_ >= units);
    used_units_ -= units;
    *at<Ref>(block) = free_[units];
    free_[units] = block;
  }
  template <class T>
  T* at(Ref block) const {
    assert(block != 0 && block >> chunk_shift_ < chunks_.size());
    return reinterpret_cast<T*>(chunks_[block >> chunk_shift_].get() + (block & chunk_mask_) * unit);
  }
  std::size_t used_bytes() const { return used_units_ * unit; }
  std::size_t reserved_bytes() const { return chunks_.size() << (chunk_shift_ + 4); }

 private:
  static std::size_t units_of(std::size_t bytes) { return (bytes + unit - 1) / unit; }
  Ref allocate_fresh(std::size_t units);

  unsigned chunk_shift_ = 16;  // log2 of the units of a chunk
  std::uint32_t chunk_mask_ = 0;
  std::vector<std::unique_ptr<std::byte[]>> chunks_;
  std::size_t next_unit_ = 1;  // in the newest chunk; unit 0 of the first is never given out
  std::vector<Ref> free_;      // by units: the first free block, which holds the next one
  std::size_t used_units_ = 0;
};

}  // namespace zorvel::tp::ftp
