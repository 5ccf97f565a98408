#pragma once

#include <memory>
#include <string>

#include "model/parameter.h"
#include "model/user_type.h"

namespace zorvel::model {

/// An object of a user type. Interned: same name and same type object give the same instance.
class InstanceImpl {
 public:
  InstanceImpl(std::weak_ptr<ModelFactory> factory, std::string name,
               const std::shared_ptr<UserTypeImpl>& type);
  ~InstanceImpl();
  InstanceImpl(const InstanceImpl&) = delete;
  InstanceImpl& operator=(const InstanceImpl&) = delete;

  const std::string& name() const { return name_; }
  std::shared_ptr<UserTypeImpl> type() const { return lock_or_raise(type_); }
  void set_shared() { shared_ = true; }
  friend bool operator==(const InstanceImpl& a, const InstanceImpl& b);
  std::size_t hash() const;

 private:
  std::weak_ptr<ModelFactory> factory_;
  std::string name_;
  std::weak_ptr<UserTypeImpl> type_;
  bool shared_ = false;
};

}  // namespace zorvel::model
