#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

/// Hash tables with open addressing and linear probing, power-of-two sizes and a strong mixer. They keep
/// no order that a result may rest on: sort by id before anything that can reach output.
namespace vesk::hsh {

/// The finisher of MurmurHash3 (A. Appleby): every input bit reaches every output bit.
inline std::uint64_t mix(std::uint64_t h) {
  h ^= h >> 33;
  h *= 0xff51afd7ed558ccdULL;
  h ^= h >> 33;
  h *= 0xc4ceb9fe1a85ec53ULL;
  h ^= h >> 33;
  return h;
}

inline std::uint64_t combine(std::uint64_t seed, std::uint64_t value) {
  return seed ^ (value + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2));
}

/// Default hash: numbers and pointers through mix(), any other key by its own hash().
template <typename K>
struct Hash {
  std::uint64_t operator()(const K& key) const {
    if constexpr (std::is_pointer_v<K>)
      return mix(reinterpret_cast<std::uintptr_t>(key));
    else if constexpr (std::is_integral_v<K> || std::is_enum_v<K>)
      return mix(static_cast<std::uint64_t>(key));
    else
      return mix(static_cast<std::uint64_t>(key.hash()));
  }
};

template <typename A, typename B>
struct Hash<std::pair<A, B>> {
  std::uint64_t operator()(const std::pair<A, B>& key) const {
    return mix(combine(Hash<A>()(key.first), Hash<B>()(key.second)));
  }
};

/// A map from K to V; both are default constructible and movable. References stay valid until the next
/// insertion. Erased entries leave tombstones that the next growth sweeps.
template <typename K, typename V, typename H = Hash<K>>
class Map {
 public:
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }

  V* find(const K& key) {
    const std::size_t at = locate(key);
    return at == npos ? nullptr : &slots_[at].value;
  }
  const V* find(const K& key) const {
    const std::size_t at = locate(key);
    return at == npos ? nullptr : &slots_[at].value;
  }
  bool contains(const K& key) const { return locate(key) != npos; }

  /// The value under `key`, made by default if there was none.
  V& operator[](const K& key) { return insert(key, V()).first; }

  /// Stores `value` unless `key` is there. The value in the table, and whether it is new.
  std::pair<V&, bool> insert(const K& key, V value) {
    if ((used_ + 1) * 8 > slots_.size() * 5) rehash();
    const std::size_t mask = slots_.size() - 1;
    std::size_t grave = npos;
    for (std::size_t i = H()(key) & mask;; i = (i + 1) & mask) {
      Slot& slot = slots_[i];
      if (slot.state == free_slot) {
        Slot& target = grave == npos ? slot : slots_[grave];
        if (grave == npos) ++used_;
        target.state = full_slot;
        target.key = key;
        target.value = std::move(value);
        ++size_;
        return {target.value, true};
      }
      if (slot.state == dead_slot) {
        if (grave == npos) grave = i;
      } else if (slot.key == key) {
        return {slot.value, false};
      }
    }
  }

  bool erase(const K& key) {
    const std::size_t at = locate(key);
    if (at == npos) return false;
    slots_[at] = Slot();
    slots_[at].state = dead_slot;
    --size_;
    return true;
  }

  void clear() {
    slots_.clear();
    size_ = used_ = 0;
  }

  /// Calls `visit(key, value)` for every entry, in no order that may be relied on.
  template <typename F>
  void for_each(F&& visit) const {
    for (const Slot& slot : slots_)
      if (slot.state == full_slot) visit(slot.key, slot.value);
  }

 private:
  enum : std::uint8_t { free_slot, full_slot, dead_slot };
  struct Slot {
    K key{};
    V value{};
    std::uint8_t state = free_slot;
  };
  static constexpr std::size_t npos = static_cast<std::size_t>(-1);

  std::size_t locate(const K& key) const {
    if (slots_.empty()) return npos;
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t i = H()(key) & mask;; i = (i + 1) & mask) {
      const Slot& slot = slots_[i];
      if (slot.state == free_slot) return npos;
      if (slot.state == full_slot && slot.key == key) return i;
    }
  }

  void rehash() {
    std::size_t capacity = 16;
    while (capacity < size_ * 3 + 2) capacity *= 2;
    std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(capacity));
    used_ = size_;
    for (Slot& slot : old) {
      if (slot.state != full_slot) continue;
      std::size_t i = H()(slot.key) & (capacity - 1);
      while (slots_[i].state != free_slot) i = (i + 1) & (capacity - 1);
      slots_[i] = std::move(slot);
    }
  }

  std::vector<Slot> slots_;
  std::size_t size_ = 0;
  std::size_t used_ = 0;  // full and dead slots
};

/// A set of K, by the rules of Map.
template <typename K, typename H = Hash<K>>
class Set {
 public:
  std::size_t size() const { return map_.size(); }
  bool contains(const K& key) const { return map_.contains(key); }
  bool insert(const K& key) { return map_.insert(key, {}).second; }
  bool erase(const K& key) { return map_.erase(key); }
  void clear() { map_.clear(); }

 private:
  struct Nothing {};
  Map<K, Nothing, H> map_;
};

}  // namespace vesk::hsh
