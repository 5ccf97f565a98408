#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vesk {

/// A set of small numbers that is emptied in constant time; memory follows the largest number.
class StampSet {
 public:
  void clear() {
    if (++stamp_ == 0) {  // 2^32 clearings: old stamps would come alive again
      stamps_.assign(stamps_.size(), 0);
      stamp_ = 1;
    }
  }
  bool contains(std::size_t key) const { return key < stamps_.size() && stamps_[key] == stamp_; }

  /// True if `key` was not in the set.
  bool insert(std::size_t key) {
    if (key >= stamps_.size()) stamps_.resize(key + key / 2 + 16, 0);
    if (stamps_[key] == stamp_) return false;
    stamps_[key] = stamp_;
    return true;
  }
  void erase(std::size_t key) {
    if (contains(key)) stamps_[key] = stamp_ - 1;
  }

 private:
  std::vector<std::uint32_t> stamps_;
  std::uint32_t stamp_ = 1;
};

/// A map from small numbers that is emptied in constant time. Values of old rounds stay in memory until
/// they are overwritten, so it is meant for pointers and numbers.
template <typename T>
class StampMap {
 public:
  void clear() { keys_.clear(); }
  bool contains(std::size_t key) const { return keys_.contains(key); }

  /// Null when `key` is not there; valid until the next set().
  const T* find(std::size_t key) const { return keys_.contains(key) ? &values_[key] : nullptr; }
  T& at(std::size_t key) { return values_[key]; }

  void set(std::size_t key, T value) {
    keys_.insert(key);
    if (key >= values_.size()) values_.resize(key + key / 2 + 16);
    values_[key] = value;
  }
  void erase(std::size_t key) { keys_.erase(key); }

 private:
  StampSet keys_;
  std::vector<T> values_;
};

}  // namespace vesk
