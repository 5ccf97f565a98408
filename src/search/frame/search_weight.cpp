#include "search/frame/search_weight.h"

#include "core/configuration.h"
#include "core/errors.h"

namespace zorvel {

double search_weight(Environment& env) {
  const double weight = env.configuration().get_float_value("weight");
  // Not `weight < 0 || weight > 1`, which lets a NaN pass.
  if (!(weight >= 0 && weight <= 1))
    throw InvalidParameterError("The option 'weight' must lie between 0 and 1, but it is ") << weight;
  return weight;
}

}  // namespace zorvel
