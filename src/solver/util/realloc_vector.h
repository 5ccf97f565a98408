#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>

namespace vesk {

/// Vector of plain records in 16 bytes of its own, grown in place by realloc where the system can. Meant
/// for the watch lists: there are two for each variable, and most stay short.
template <typename T>
class ReallocVector {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  ReallocVector() = default;
  ReallocVector(ReallocVector&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)),
        size_(std::exchange(other.size_, 0)),
        capacity_(std::exchange(other.capacity_, 0)) {}
  ReallocVector& operator=(ReallocVector&& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
    return *this;
  }
  ~ReallocVector() { std::free(data_); }

  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  T* begin() { return data_; }
  T* end() { return data_ + size_; }
  const T* begin() const { return data_; }
  const T* end() const { return data_ + size_; }
  T& operator[](std::size_t index) { return data_[index]; }
  const T& operator[](std::size_t index) const { return data_[index]; }

  void push_back(T value) {
    if (size_ == capacity_) grow();
    data_[size_++] = value;
  }
  void shrink(std::size_t size) {
    assert(size <= size_);
    size_ = static_cast<std::uint32_t>(size);
  }
  /// Empties the vector and gives its memory back.
  void reset() {
    std::free(data_);
    data_ = nullptr;
    size_ = capacity_ = 0;
  }

 private:
  void grow() {
    const std::size_t capacity = capacity_ < 2 ? 2 : (3 * static_cast<std::size_t>(capacity_) + 1) / 2;
    T* data = capacity > UINT32_MAX ? nullptr : static_cast<T*>(std::realloc(data_, capacity * sizeof(T)));
    if (data == nullptr) throw std::bad_alloc();
    data_ = data;
    capacity_ = static_cast<std::uint32_t>(capacity);
  }

  T* data_ = nullptr;
  std::uint32_t size_ = 0;
  std::uint32_t capacity_ = 0;
};

}  // namespace vesk
