#include "search/forward/dense/dense_network.h"

#include <cassert>
#include <cmath>

namespace zorvel::tp::ftp {

void DenseNetwork::load(const double* times, const BlockPool::Ref* heads, std::uint32_t base,
                        std::uint32_t next_point) {
  assert(first_action_point <= base && base <= next_point);
  const std::size_t points = first_action_point + next_point - base;
  base_ = base;
  times_.assign(times, times + points);
  heads_.assign(heads, heads + points);
  cells_.clear();
}

void DenseNetwork::extend(std::uint32_t next_point) {
  const std::size_t points = first_action_point + next_point - base_;
  assert(points >= times_.size());
  times_.resize(points, 0.0);
  heads_.resize(points, 0);
}

bool DenseNetwork::store(std::uint32_t a, std::uint32_t b, double bound) {
  assert(a != b && !is_frozen(a) && !is_frozen(b) && !std::isnan(bound));
  BlockPool::Ref& head = heads_[place(a)];
  // An edge that is stored twice does no harm, so only the newest few are looked at: they lie close in
  // memory.
  BlockPool::Ref ref = head;
  for (int looked_at = 0; ref != 0 && looked_at < 6; ++looked_at) {
    const EdgeCell& edge = cell(ref);
    if (edge.destination == b) {
      if (bound >= edge.bound) return false;
      break;  // older edges to the same point are looser still
    }
    ref = edge.next;
  }
  cells_.push_back({bound, b, head});
  head = scratch_bit | static_cast<BlockPool::Ref>(cells_.size() - 1);
  return true;
}

bool DenseNetwork::propagate(std::uint32_t a, std::uint32_t b, double bound) {
  const double time = times_[place(a)] - bound;
  if (!(time - times_[place(b)] > precision_)) return true;
  times_[place(b)] = time;
  return run_queue(b, a, b, bound);
}

bool DenseNetwork::add_earliest(std::uint32_t b, double time) {
  if (!(time - times_[place(b)] > precision_)) return true;
  times_[place(b)] = time;
  constexpr std::uint32_t none = ~std::uint32_t{0};  // no edge stands behind the bound
  return run_queue(b, none, none, 0.0);
}

bool DenseNetwork::run_queue(std::uint32_t raised, std::uint32_t a, std::uint32_t b, double bound) {
  assert(!is_frozen(raised));  // the times of frozen points were given away
  queue_.clear();
  queue_.push_back(raised);
  std::size_t round_end = 1, rounds = 0;
  for (std::size_t head = 0; head < queue_.size(); ++head) {
    if (head == round_end) {
      // A value set in round n stems from a path of n edges; beyond the number of points it runs in a circle.
      if (++rounds > times_.size()) return false;
      round_end = queue_.size();
    }
    const std::uint32_t from = queue_[head];
    for (BlockPool::Ref ref = heads_[place(from)]; ref != 0;) {
      const EdgeCell& edge = cell(ref);
      ref = edge.next;
      if (is_frozen(edge.destination)) continue;  // it cannot be late
      const double time = times_[place(from)] - edge.bound;
      double& known = times_[place(edge.destination)];
      if (!(time - known > precision_)) continue;
      if (from == a && edge.destination == b && edge.bound == bound) return false;
      known = time;
      queue_.push_back(edge.destination);
    }
  }
  return true;
}

bool DenseNetwork::would_accept_before(std::uint32_t a, std::uint32_t b, double distance) {
  if (a == b) return add_before(a, b, distance);
  assert(!is_frozen(a) && !is_frozen(b));
  saved_times_ = times_;
  const BlockPool::Ref head = heads_[place(a)];
  const std::size_t edges = cells_.size();
  const bool accepted = add_before(a, b, distance);
  heads_[place(a)] = head;
  cells_.resize(edges);
  times_.swap(saved_times_);
  return accepted;
}

void DenseNetwork::store_into(std::uint32_t base, BlockPool::Ref cells_at, double* times,
                              BlockPool::Ref* heads, EdgeCell* cells) const {
  assert(base >= base_ && cells_at != 0);  // the window moves on, never back
  const auto placed = [&](BlockPool::Ref ref) {
    return (ref & scratch_bit) != 0 ? cells_at + (ref & ~scratch_bit) : ref;
  };
  for (std::size_t i = 0; i < cells_.size(); ++i)
    cells[i] = {cells_[i].bound, cells_[i].destination, placed(cells_[i].next)};
  for (std::size_t to = 0, from = 0; from < times_.size(); ++from) {
    if (from == first_action_point) from += base - base_;
    if (from >= times_.size()) break;
    times[to] = times_[from];
    heads[to] = placed(heads_[from]);
    ++to;
  }
}

bool DenseNetwork::is_satisfied() const {
  for (std::size_t at = 0; at < times_.size(); ++at) {
    for (BlockPool::Ref ref = heads_[at]; ref != 0; ref = cell(ref).next) {
      const EdgeCell& edge = cell(ref);
      if (is_frozen(edge.destination)) continue;
      if (times_[at] - edge.bound - times_[place(edge.destination)] > precision_) return false;
    }
  }
  return true;
}

}  // namespace zorvel::tp::ftp
