#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace vesk {

/// Cells of one size, taken from blocks that double in size up to 8192 cells. A freed cell is handed out
/// again first; memory goes back to the system when the pool dies.
class MemoryPool {
 public:
  /// `cell_size` in bytes; rounded up so that a cell can hold any object of up to that size.
  explicit MemoryPool(std::size_t cell_size)
      : cell_size_((std::max(cell_size, sizeof(void*)) + alignment - 1) / alignment * alignment) {}
  MemoryPool(const MemoryPool&) = delete;
  MemoryPool& operator=(const MemoryPool&) = delete;

  void* allocate() {
    if (free_ != nullptr) {
      void* cell = free_;
      free_ = *static_cast<void**>(cell);
      return cell;
    }
    if (next_ == end_) grow();
    void* cell = next_;
    next_ += cell_size_;
    return cell;
  }

  void release(void* cell) {
    *static_cast<void**>(cell) = free_;
    free_ = cell;
  }

 private:
  static constexpr std::size_t alignment = alignof(std::max_align_t) < 8 ? 8 : alignof(void*);

  void grow() {
    const std::size_t bytes = block_cells_ * cell_size_;
    blocks_.push_back(std::make_unique<std::byte[]>(bytes));
    next_ = blocks_.back().get();
    end_ = next_ + bytes;
    block_cells_ = std::min<std::size_t>(2 * block_cells_, 8192);
  }

  std::size_t cell_size_;
  std::size_t block_cells_ = 64;
  std::vector<std::unique_ptr<std::byte[]>> blocks_;
  std::byte* next_ = nullptr;
  std::byte* end_ = nullptr;
  void* free_ = nullptr;
};

/// Objects of one type from a MemoryPool. The objects alive when the pool dies are not destroyed: whoever
/// makes them destroys them.
template <typename T>
class ObjectPool {
 public:
  ObjectPool() : pool_(sizeof(T)) {}

  template <typename... Args>
  T* create(Args&&... args) {
    return ::new (pool_.allocate()) T(std::forward<Args>(args)...);
  }
  void destroy(T* object) {
    object->~T();
    pool_.release(object);
  }

 private:
  static_assert(alignof(T) <= alignof(void*));
  MemoryPool pool_;
};

}  // namespace vesk
