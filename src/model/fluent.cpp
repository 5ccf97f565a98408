#include "model/fluent.h"

#include <ostream>

#include "model/model_factory.h"

namespace zorvel::model {

FluentImpl::FluentImpl(std::weak_ptr<ModelFactory> factory, std::string name, std::vector<std::string> path,
                       const TypePtr& type)
    : factory_(std::move(factory)), name_(std::move(name)), path_(std::move(path)), type_(type) {}

FluentImpl::~FluentImpl() {
  if (!shared_) return;
  if (const auto factory = factory_.lock()) factory->remove_fluent(this);
}

void FluentImpl::add_parameter(const std::shared_ptr<ParameterImpl>& parameter) {
  append_parameter(parameters_, parameter, "fluent");
}

bool operator==(const FluentImpl& a, const FluentImpl& b) {
  return a.name_ == b.name_ && a.path_ == b.path_ && a.parameters_ == b.parameters_ &&
         a.type_.lock() == b.type_.lock();
}

std::size_t FluentImpl::hash() const { return hash_signature(name_, path_, parameters_); }

std::ostream& operator<<(std::ostream& out, const FluentImpl& fluent) {
  out << fluent.name();
  print_parameters(out, fluent.parameters());
  return out;
}

}  // namespace zorvel::model
