#include "model/parameter.h"

#include <algorithm>
#include <functional>
#include <ostream>

#include "model/hash_mix.h"

namespace zorvel::model {

void append_parameter(ParameterVector& parameters, const std::shared_ptr<ParameterImpl>& parameter,
                      const char* owner_kind) {
  const bool known = std::any_of(parameters.begin(), parameters.end(),
                                 [&](const auto& other) { return other->name() == parameter->name(); });
  if (known)
    throw RedefinitionError("Parameter '")
        << parameter->name() << "' already defined for this " << owner_kind;
  parameters.push_back(parameter);
}

std::size_t hash_signature(const std::string& name, const std::vector<std::string>& path,
                           const ParameterVector& parameters) {
  const std::hash<std::string> hash_text;
  std::size_t result = hash_text(name);
  for (const std::string& entry : path) result = mix_hash(result, hash_text(entry));
  for (const auto& parameter : parameters) result = mix_hash(result, hash_text(parameter->name()));
  return result;
}

void print_parameters(std::ostream& out, const ParameterVector& parameters) {
  if (parameters.empty()) return;
  const char* separator = "(";
  for (const auto& parameter : parameters) {
    out << separator << parameter->type() << ' ' << parameter->name();
    separator = ", ";
  }
  out << ')';
}

}  // namespace zorvel::model
