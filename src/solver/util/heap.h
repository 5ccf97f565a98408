#pragma once

#include <cassert>
#include <cstddef>
#include <vector>

namespace vesk {

/// Binary heap of the numbers 0, 1, ... with the place of each kept, so that an element can be looked up,
/// removed and moved when its order changes. The first element is the least under `Less`.
template <typename Less>
class Heap {
 public:
  explicit Heap(Less less) : less_(less) {}

  bool empty() const { return heap_.empty(); }
  std::size_t size() const { return heap_.size(); }
  int operator[](std::size_t index) const { return heap_[index]; }
  bool contains(int key) const {
    return static_cast<std::size_t>(key) < place_.size() && place_[static_cast<std::size_t>(key)] >= 0;
  }

  void insert(int key) {
    const std::size_t k = static_cast<std::size_t>(key);
    if (k >= place_.size()) place_.resize(k + 1, -1);
    assert(place_[k] < 0);
    place_[k] = static_cast<int>(heap_.size());
    heap_.push_back(key);
    move_up(heap_.size() - 1);
  }

  int remove_min() {
    const int top = heap_[0];
    remove_at(0);
    return top;
  }

  void remove(int key) {
    if (contains(key)) remove_at(static_cast<std::size_t>(place_[static_cast<std::size_t>(key)]));
  }

  /// To be called when `key`, which is in the heap, became smaller.
  void decrease(int key) { move_up(static_cast<std::size_t>(place_[static_cast<std::size_t>(key)])); }

  /// Takes exactly the given numbers, built bottom-up in linear time.
  void build(const std::vector<int>& keys) {
    for (int key : heap_) place_[static_cast<std::size_t>(key)] = -1;
    heap_ = keys;
    for (std::size_t i = 0; i < heap_.size(); ++i) {
      const std::size_t k = static_cast<std::size_t>(heap_[i]);
      if (k >= place_.size()) place_.resize(k + 1, -1);
      place_[k] = static_cast<int>(i);
    }
    for (std::size_t i = heap_.size() / 2; i-- > 0;) move_down(i);
  }

 private:
  void set(std::size_t index, int key) {
    heap_[index] = key;
    place_[static_cast<std::size_t>(key)] = static_cast<int>(index);
  }
  void remove_at(std::size_t index) {
    place_[static_cast<std::size_t>(heap_[index])] = -1;
    const int last = heap_.back();
    heap_.pop_back();
    if (index == heap_.size()) return;
    set(index, last);
    move_up(index);
    move_down(static_cast<std::size_t>(place_[static_cast<std::size_t>(last)]));
  }
  void move_up(std::size_t index) {
    const int key = heap_[index];
    while (index > 0) {
      const std::size_t parent = (index - 1) / 2;
      if (!less_(key, heap_[parent])) break;
      set(index, heap_[parent]);
      index = parent;
    }
    set(index, key);
  }
  void move_down(std::size_t index) {
    const int key = heap_[index];
    for (;;) {
      std::size_t child = 2 * index + 1;
      if (child >= heap_.size()) break;
      if (child + 1 < heap_.size() && less_(heap_[child + 1], heap_[child])) ++child;
      if (!less_(heap_[child], key)) break;
      set(index, heap_[child]);
      index = child;
    }
    set(index, key);
  }

  Less less_;
  std::vector<int> heap_;
  std::vector<int> place_;  // by number; -1 when it is not in the heap
};

}  // namespace vesk
