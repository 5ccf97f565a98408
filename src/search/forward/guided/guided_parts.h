#pragma once

#include <array>
#include <span>
#include <string_view>

#include "search/forward/guided/estimates/guided_estimates.h"

namespace zorvel::tp::ftp {

/// The parts of the guided search that can be left out, to see what each of them is worth.
struct GuidedParts {
  bool atomic_moves = true;
  bool envelopes = true;     ///< Else all openings of actions that stay open wait at the side.
  bool total_order = true;   ///< Before a path in causal order is tried.
  bool causal_order = true;  ///< Else plans are lost: the search then never proves anything.
  bool protection = true;    ///< Of conditions in force, before an effect that breaks them is applied.
  bool duplicates = true;
  bool preferred = true;
  bool exploration = true;  ///< By types of states.
  std::array<bool, GuidedEstimates::count> lists{true, true, true};

  /// InvalidParameterError for a name that is none, or if no estimate is left.
  void leave_out(std::string_view name);
};

/// The names of the parts, as `leave_out` takes them.
std::span<const std::string_view> guided_part_names();

}  // namespace zorvel::tp::ftp
