#include "capi/frame.h"
#include "transformers/chain.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;

namespace {

template <class PlanType, class Handle>
Handle mapped_back(zorvel_transformation transformation, Handle plan) {
  return at_boundary([&] {
    const auto chain = to_cxx(transformation);
    return to_handle<Handle>(std::dynamic_pointer_cast<PlanType>(chain->map_back(to_cxx(plan))));
  });
}

}  // namespace

extern "C" {

int zorvel_transformation_is_error(zorvel_transformation transformation) {
  return transformation.repr == nullptr ? 1 : 0;
}
int zorvel_transformation_destroy(zorvel_transformation transformation) {
  return at_boundary([&] {
    destroy(transformation);
    return 0;
  });
}
zorvel_transformation zorvel_problem_transform(zorvel_problem problem, const char* const* names, int n,
                                               zorvel_problem bounding) {
  return at_boundary([&] {
    const auto chain = std::make_shared<model::TransformerChain>(to_cxx(problem));
    model::ChainOptions options;
    if (bounding.repr != nullptr) options.bounding_problem = to_cxx(bounding);
    for (const char* const text : to_span(names, n, "names")) {
      const std::string name = to_text(text, "names");
      if (model::find_transformer(name) == nullptr)
        throw InvalidParameterError("The transformer '") << name << "' is not available";
      chain->apply(name, options);
    }
    return to_handle<zorvel_transformation>(chain);
  });
}
zorvel_problem zorvel_transformation_get_problem(zorvel_transformation transformation) {
  return at_boundary([&] { return to_handle<zorvel_problem>(to_cxx(transformation)->problem()); });
}
zorvel_ttplan zorvel_transformation_map_back_ttplan(zorvel_transformation transformation,
                                                    zorvel_ttplan plan) {
  return mapped_back<TimeTriggeredPlan>(transformation, plan);
}
zorvel_potplan zorvel_transformation_map_back_potplan(zorvel_transformation transformation,
                                                      zorvel_potplan plan) {
  return mapped_back<POTPlan>(transformation, plan);
}
}
