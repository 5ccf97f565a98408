#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace zorvel {

/// The open lists of a best-first search, one a heuristic, served in turn.
///
/// An item stands in all lists that are left when it comes, each ordered by its own f, and is gone from all
/// of them once one has given it. A list that runs empty is never filled again: what comes later stands in
/// the others.
template <typename Item>
class OpenLists {
 public:
  explicit OpenLists(std::size_t lists) : lists_(lists) {
    for (std::size_t number = 0; number < lists; ++number) lists_[number].number = number;
  }

  /// `f` has a value for each list of the constructor; `ties` breaks those that are equal, the lowest first.
  void push(std::span<const double> f, std::uint32_t ties, Item item) {
    const std::uint32_t place = store(std::move(item));
    for (List& list : lists_) {
      assert(list.number < f.size());
      list.entries.push_back({f[list.number], ties, place});
      std::push_heap(list.entries.begin(), list.entries.end(), &is_worse);
    }
  }

  /// The best item of the list whose turn it is, counted round the lists that are left; none if all are
  /// empty.
  std::optional<Item> take(std::uint64_t turn) {
    while (true) {
      std::erase_if(lists_, [](const List& list) { return list.entries.empty(); });
      if (lists_.empty()) return std::nullopt;
      served_ = turn % lists_.size();
      std::vector<Entry>& entries = lists_[served_].entries;
      std::pop_heap(entries.begin(), entries.end(), &is_worse);
      const std::uint32_t place = entries.back().place;
      entries.pop_back();
      if (std::optional<Item> item = release(place)) return item;
    }
  }

  /// The entries of the list that was served last, those taken from other lists included.
  std::size_t size() const { return served_ < lists_.size() ? lists_[served_].entries.size() : 0; }
  std::uint64_t bytes() const {
    std::uint64_t bytes = held_.capacity() * sizeof(Held) + free_.capacity() * sizeof(std::uint32_t);
    for (const List& list : lists_) bytes += list.entries.capacity() * sizeof(Entry);
    return bytes;
  }

 private:
  /// The keys of the order beside the item's place, so that ordering never reads an item.
  struct Entry {
    double f;
    std::uint32_t ties;
    std::uint32_t place;
  };
  struct List {
    std::size_t number = 0;
    std::vector<Entry> entries;  // a heap
  };
  struct Held {
    std::optional<Item> item;  // none once a list has given it
    std::uint32_t lists;       // that still have an entry for it
  };
  // Values of f closer than this count as equal. In single precision, as it always was.
  static constexpr double tolerance = static_cast<double>(1e-7F);

  static bool is_worse(const Entry& a, const Entry& b) {
    const double difference = a.f - b.f;
    if (difference >= tolerance) return true;
    if (difference <= -tolerance) return false;
    return a.ties > b.ties;
  }

  std::uint32_t store(Item item) {
    if (free_.empty()) {
      held_.emplace_back();
      free_.push_back(static_cast<std::uint32_t>(held_.size() - 1));
    }
    const std::uint32_t place = free_.back();
    free_.pop_back();
    held_[place] = {std::move(item), static_cast<std::uint32_t>(lists_.size())};
    return place;
  }

  std::optional<Item> release(std::uint32_t place) {
    Held& held = held_[place];
    assert(held.lists > 0);
    std::optional<Item> item = std::exchange(held.item, std::nullopt);
    if (--held.lists == 0) free_.push_back(place);
    return item;
  }

  std::vector<List> lists_;  // those left
  std::size_t served_ = 0;
  std::vector<Held> held_;
  std::vector<std::uint32_t> free_;  // places of held_
};

}  // namespace zorvel
