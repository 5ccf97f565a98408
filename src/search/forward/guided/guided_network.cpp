#include "search/forward/guided/guided_network.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace zorvel::tp::ftp {

namespace {

constexpr std::uint32_t first_stride = 16;

}  // namespace

void GuidedNetwork::clear() {
  // A table is as wide as the largest state was; only what was written is wiped.
  for (std::uint32_t a = 0; a < points_; ++a) {
    for (const std::uint32_t column : listed_[a]) {
      column_at(a, column) = nothing;
      is_listed_[std::size_t{a} * columns_ + column] = 0;
    }
    listed_[a].clear();
  }
  points_ = 0;
}

std::uint32_t GuidedNetwork::add_point() {
  if (points_ == stride_) {
    const std::uint32_t wider = std::max(first_stride, 2 * stride_);
    std::vector<double> moved(std::size_t{wider} * wider, nothing);
    for (std::uint32_t a = 0; a < points_; ++a)
      std::copy_n(lower_.begin() + std::size_t{a} * stride_, points_, moved.begin() + std::size_t{a} * wider);
    lower_ = std::move(moved);
    stride_ = wider;
    column_values_.resize(std::size_t{wider} * columns_, nothing);
    is_listed_.resize(std::size_t{wider} * columns_, 0);
    listed_.resize(wider);
  }
  const std::uint32_t added = points_++;
  for (std::uint32_t a = 0; a < points_; ++a)
    lower_[added * stride_ + a] = lower_[a * stride_ + added] = nothing;
  lower_[added * stride_ + added] = 0;
  return added;
}

void GuidedNetwork::raise_entry(std::uint32_t a, std::uint32_t column, double value) {
  assert(a < points_ && column < columns_ && !std::isnan(value));
  double& entry = column_at(a, column);
  if (value <= entry) return;
  std::uint8_t& is_listed = is_listed_[std::size_t{a} * columns_ + column];
  if (is_listed == 0) {
    is_listed = 1;
    listed_[a].push_back(column);
  }
  entry = value;
}

bool GuidedNetwork::add_before(std::uint32_t a, std::uint32_t b, double distance) {
  assert(a < points_ && b < points_);
  assert(!std::isnan(distance));
  if (a == b) return !(distance > precision_);
  if (distance <= lower(a, b)) return true;
  if (lower(b, a) + distance > precision_) return false;
  // One new demand: each longer way leads from some i to a, over the demand, and from b on; both ends are
  // closed already, so one look at each pair closes the matrix again.
  for (std::uint32_t i = 0; i < points_; ++i) {
    if (i == b) continue;  // its row stays: the demand closes no cycle that is longer than the precision
    const double reach = lower(i, a) + distance;
    if (reach == nothing || reach <= lower(i, b)) continue;
    const double* const from_b = &lower_[b * stride_];
    double* const from_i = &lower_[i * stride_];
    for (std::uint32_t j = 0; j < points_; ++j)
      if (i != j && reach + from_b[j] > from_i[j]) from_i[j] = reach + from_b[j];
    for (std::size_t at = 0; at < listed_[b].size(); ++at) {
      const std::uint32_t column = listed_[b][at];
      raise_entry(i, column, reach + column_at(b, column));
    }
  }
  return true;
}

bool GuidedNetwork::add_behind_column(std::uint32_t column, std::uint32_t b, double distance) {
  assert(column < columns_ && b < points_);
  for (std::uint32_t a = 0; a < points_; ++a) {
    const double bound = column_at(a, column);
    if (bound != nothing && !add_before(a, b, bound + distance)) return false;
  }
  return true;
}

void GuidedNetwork::clear_column(std::uint32_t column) {
  assert(column < columns_);
  for (std::uint32_t a = 0; a < points_; ++a) column_at(a, column) = nothing;
}

void GuidedNetwork::set_column(std::uint32_t column, std::uint32_t a, double shift) {
  clear_column(column);
  raise_column(column, a, shift);
}

void GuidedNetwork::raise_column(std::uint32_t column, std::uint32_t a, double shift) {
  assert(a < points_ && lower(a, a) == 0);
  for (std::uint32_t i = 0; i < points_; ++i)
    if (lower(i, a) != nothing) raise_entry(i, column, lower(i, a) + shift);
}

void GuidedNetwork::restore_column(std::uint32_t a, std::uint32_t column, double distance) {
  raise_entry(a, column, distance);
}

bool GuidedNetwork::is_closed() const {
  const auto is_short = [&](double demanded, double held) {
    return demanded != nothing && demanded > held + precision_;
  };
  for (std::uint32_t a = 0; a < points_; ++a) {
    if (lower(a, a) != 0) return false;
    for (std::uint32_t b = 0; b < points_; ++b) {
      if (lower(a, b) == nothing) continue;
      for (std::uint32_t c = 0; c < points_; ++c)
        if (is_short(lower(a, b) + lower(b, c), lower(a, c))) return false;
      for (std::uint32_t c = 0; c < columns_; ++c)
        if (is_short(lower(a, b) + column(b, c), column(a, c))) return false;
    }
  }
  return true;
}

}  // namespace zorvel::tp::ftp
