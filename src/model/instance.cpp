#include "model/instance.h"

#include <functional>

#include "model/model_factory.h"

namespace zorvel::model {

InstanceImpl::InstanceImpl(std::weak_ptr<ModelFactory> factory, std::string name,
                           const std::shared_ptr<UserTypeImpl>& type)
    : factory_(std::move(factory)), name_(std::move(name)), type_(type) {}

InstanceImpl::~InstanceImpl() {
  if (!shared_) return;
  if (const auto factory = factory_.lock()) factory->remove_instance(this);
}

bool operator==(const InstanceImpl& a, const InstanceImpl& b) {
  return a.name_ == b.name_ && a.type_.lock() == b.type_.lock();
}

std::size_t InstanceImpl::hash() const { return std::hash<std::string>()(name_); }

}  // namespace zorvel::model
