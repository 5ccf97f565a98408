#include "search/forward/guided/guided_parts.h"

#include <algorithm>

#include "core/errors.h"

namespace zorvel::tp::ftp {

namespace {

constexpr std::array<std::string_view, 11> names{"atomic-moves", "envelopes",  "total-order", "causal-order",
                                                 "protection",   "duplicates", "preferred",   "exploration",
                                                 "hff",          "landmarks",  "hadd"};

}  // namespace

std::span<const std::string_view> guided_part_names() { return names; }

void GuidedParts::leave_out(std::string_view name) {
  // In the order of the names.
  const std::array<bool*, names.size()> parts{&atomic_moves, &envelopes,  &total_order, &causal_order,
                                              &protection,   &duplicates, &preferred,   &exploration,
                                              &lists[0],     &lists[1],   &lists[2]};
  const auto found = std::ranges::find(names, name);
  if (found == names.end())
    throw InvalidParameterError("The guided search has no part '") << std::string(name) << "'";
  *parts[static_cast<std::size_t>(found - names.begin())] = false;
  if (std::ranges::find(lists, true) == lists.end())
    throw InvalidParameterError("The guided search needs one of 'hff', 'landmarks' and 'hadd'");
}

}  // namespace zorvel::tp::ftp
