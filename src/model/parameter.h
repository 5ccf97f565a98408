#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "core/errors.h"
#include "model/types.h"

namespace zorvel::model {

/// The common face of things with formal parameters: fluents, constants, actions.
class ParametricObject {
 public:
  virtual ~ParametricObject() = default;
};

/// A weak pointer's object; a dead one raises InternalError "Trying to lock an expired weak_ptr!".
template <class T>
std::shared_ptr<T> lock_or_raise(const std::weak_ptr<T>& pointer) {
  std::shared_ptr<T> object = pointer.lock();
  if (!object) throw InternalError("Trying to lock an expired weak_ptr!");
  return object;
}

/// A formal parameter. Not interned: parameters compare by pointer.
class ParameterImpl {
 public:
  ParameterImpl(std::string name, const TypePtr& type) : name_(std::move(name)), type_(type) {}
  const std::string& name() const { return name_; }
  TypePtr type() const { return lock_or_raise(type_); }
  std::weak_ptr<ParametricObject> owner() const { return owner_; }
  void set_owner(std::weak_ptr<ParametricObject> owner) { owner_ = std::move(owner); }

 private:
  std::string name_;
  std::weak_ptr<TypeBase> type_;
  std::weak_ptr<ParametricObject> owner_;
};

using ParameterVector = std::vector<std::shared_ptr<ParameterImpl>>;

/// Appends `parameter`; a name that is there already raises RedefinitionError "Parameter '<name>' already
/// defined for this <owner_kind>".
void append_parameter(ParameterVector& parameters, const std::shared_ptr<ParameterImpl>& parameter,
                      const char* owner_kind);
/// Hash of a name, its path and the names of the parameters: what the interned classes start from.
std::size_t hash_signature(const std::string& name, const std::vector<std::string>& path,
                           const ParameterVector& parameters);
/// "(type name, ...)"; nothing if there is no parameter.
void print_parameters(std::ostream& out, const ParameterVector& parameters);

}  // namespace zorvel::model
