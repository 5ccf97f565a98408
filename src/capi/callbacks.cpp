#include "capi/frame.h"
#include "state/search_state.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;

namespace {

std::vector<Node*>& to_nodes(zorvel_vector_expr vector) {
  if (vector.repr == nullptr) refuse_error_handle();
  return *static_cast<std::vector<Node*>*>(vector.repr);
}

}  // namespace

extern "C" {

zorvel_simulated_effect zorvel_simulated_effect_new(zorvel_expr timing, const zorvel_expr* fluents, int n,
                                                    zorvel_simulated_effect_callback callback,
                                                    void* user_data) {
  return at_boundary([&] {
    if (callback == nullptr) refuse_null("callback");
    const auto compute = [callback, user_data](const SearchState& state, const StateIndex& index,
                                               const std::vector<Node*>& parameters) {
      // A handle does not know const: the callback gets a list of its own.
      std::vector<Node*> arguments = parameters, result;
      callback({const_cast<SearchState*>(&state)}, {const_cast<StateIndex*>(&index)}, {&arguments}, {&result},
               user_data);
      return result;
    };
    return to_handle<zorvel_simulated_effect>(std::make_shared<model::SimulatedEffectImpl>(
        model::SimulatedEffectImpl{to_cxx(timing), to_vector(fluents, n, "fluents"), compute}));
  });
}

zorvel_expr zorvel_state_get_value(zorvel_classical_state state, zorvel_interpretation interpretation,
                                   zorvel_expr fluent) {
  return at_boundary([&] {
    if (state.repr == nullptr || interpretation.repr == nullptr) refuse_error_handle();
    return to_handle(static_cast<const SearchState*>(state.repr)
                         ->value(*static_cast<const StateIndex*>(interpretation.repr), to_cxx(fluent)));
  });
}

int zorvel_vector_get_size(zorvel_vector_expr vector) {
  return at_boundary([&] { return static_cast<int>(to_nodes(vector).size()); });
}
zorvel_expr zorvel_vector_get_expr(zorvel_vector_expr vector, unsigned int i) {
  return at_boundary([&] { return to_handle(at(to_nodes(vector), i, "expressions")); });
}
int zorvel_vector_add_expr(zorvel_vector_expr vector, zorvel_expr expr) {
  return at_boundary([&] {
    to_nodes(vector).push_back(to_cxx(expr));
    return 0;
  });
}
int zorvel_vector_clear(zorvel_vector_expr vector) {
  return at_boundary([&] {
    to_nodes(vector).clear();
    return 0;
  });
}
}
