#include "search/heuristics/heuristic.h"

#include "search/frame/search_weight.h"

namespace zorvel {

double Heuristic::weight() const { return search_weight(env()); }

double HCustom::estimate(const StateView& state) {
  SearchState plain = tables_->layout.unpack(state.values, 1);
  plain.set_g(state.depth);
  return function_(&plain, tables_->layout.index());
}

}  // namespace zorvel
