#pragma once

#include <cassert>
#include <cstdint>
#include <limits>
#include <vector>

namespace zorvel::tp::ftp {

/// The temporal constraints of a state of the guided search: a closed matrix over the few time points that a
/// later move can still bind, and beside it *release columns*, points that are only ever bounded from below
/// and that only bound others from below.
///
/// Demands are written t(b) >= t(a) + distance. The matrix holds, for each pair, the greatest distance that
/// the demands imply, so a contradiction is seen at once, and dropping a point leaves exactly what it implied
/// for the others (a step of Fourier-Motzkin elimination). A column c stands for a moment of the past that is
/// as early as the demands allow: max over all points a of t(a) + column(a, c). Adding a demand costs the
/// square of the number of points, of which a state has one or two for each open action.
///
/// invariant: lower(a, c) >= lower(a, b) + lower(b, c) for all points and columns, up to rounding.
class GuidedNetwork {
 public:
  static constexpr double nothing = -std::numeric_limits<double>::infinity();

  GuidedNetwork(std::uint32_t columns, double precision) : columns_(columns), precision_(precision) {}

  void clear();
  std::uint32_t add_point();
  std::uint32_t points() const { return points_; }
  std::uint32_t columns() const { return columns_; }

  /// Demands t(b) >= t(a) + distance. False on a contradiction; the network is of no more use then.
  [[nodiscard]] bool add_before(std::uint32_t a, std::uint32_t b, double distance);
  /// Whether the demand could be added. One look at the matrix.
  bool would_accept_before(std::uint32_t a, std::uint32_t b, double distance) const {
    return a == b ? !(distance > precision_) : !(lower(b, a) + distance > precision_);
  }
  /// Demands t(b) >= column + distance.
  [[nodiscard]] bool add_behind_column(std::uint32_t column, std::uint32_t b, double distance);

  /// The column becomes the moment t(a) + shift.
  void set_column(std::uint32_t column, std::uint32_t a, double shift);
  /// The column becomes the later one of itself and t(a) + shift.
  void raise_column(std::uint32_t column, std::uint32_t a, double shift);
  /// The column bounds nothing any more.
  void clear_column(std::uint32_t column);

  /// The greatest implied distance of t(b) from t(a); `nothing` if there is none.
  double lower(std::uint32_t a, std::uint32_t b) const { return lower_[a * stride_ + b]; }
  double column(std::uint32_t a, std::uint32_t column) const {
    return column_values_[std::size_t{a} * columns_ + column];
  }
  /// The columns that may differ from `nothing` in the row of `a`, in no order, without repetition.
  const std::vector<std::uint32_t>& columns_of(std::uint32_t a) const { return listed_[a]; }

  // For rebuilding a stored network, whose closure is known.
  void restore(std::uint32_t a, std::uint32_t b, double distance) {
    assert(a < points_ && b < points_ && (a != b || distance == 0));
    lower_[a * stride_ + b] = distance;
  }
  void restore_column(std::uint32_t a, std::uint32_t column, double distance);

  /// The invariant, from scratch.
  bool is_closed() const;

 private:
  double& column_at(std::uint32_t a, std::uint32_t column) {
    return column_values_[std::size_t{a} * columns_ + column];
  }
  void raise_entry(std::uint32_t a, std::uint32_t column, double value);

  std::uint32_t columns_;
  double precision_;
  std::uint32_t points_ = 0;
  std::uint32_t stride_ = 0;
  std::vector<double> lower_;                       // by row and point
  std::vector<double> column_values_;               // by row and column
  std::vector<std::uint8_t> is_listed_;             // by row and column: whether listed_ has it
  std::vector<std::vector<std::uint32_t>> listed_;  // by row
};

}  // namespace zorvel::tp::ftp
