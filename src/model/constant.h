#pragma once

#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "model/function_value.h"
#include "model/parameter.h"

namespace zorvel::model {

class InstanceImpl;
class ModelFactory;

/// A function fixed for the problem. `values` is keyed by the name of the instance for a field of a user
/// type, by the empty string otherwise.
class ConstantImpl : public ParametricObject {
 public:
  using Values = std::map<std::string, std::shared_ptr<FunctionValueImpl>>;

  ConstantImpl(std::weak_ptr<ModelFactory> factory, std::string name, std::vector<std::string> path,
               const TypePtr& type);
  ~ConstantImpl() override;

  const std::string& name() const { return name_; }
  const std::vector<std::string>& path() const { return path_; }
  TypePtr type() const { return lock_or_raise(type_); }
  std::size_t arity() const { return parameters_.size(); }
  bool has_parameters() const { return !parameters_.empty(); }
  const ParameterVector& parameters() const { return parameters_; }
  /// RedefinitionError "Parameter '<name>' already defined for this constant".
  void add_parameter(const std::shared_ptr<ParameterImpl>& parameter);
  void set_shared() { shared_ = true; }

  /// The table of the key; null if there is none.
  std::shared_ptr<FunctionValueImpl> value(const std::string& path = {}) const;
  std::shared_ptr<FunctionValueImpl> value(const InstanceImpl& instance) const;
  void set_value(const std::shared_ptr<FunctionValueImpl>& value) { values_[{}] = value; }
  void set_value(const std::string& path, const std::shared_ptr<FunctionValueImpl>& value) {
    values_[path] = value;
  }
  void set_value(const InstanceImpl& instance, const std::shared_ptr<FunctionValueImpl>& value);
  const Values& all_values() const { return values_; }
  void set_all_values(Values values) { values_ = std::move(values); }

  friend bool operator==(const ConstantImpl& a, const ConstantImpl& b);
  std::size_t hash() const;

 private:
  std::weak_ptr<ModelFactory> factory_;
  std::string name_;
  std::vector<std::string> path_;
  std::weak_ptr<TypeBase> type_;
  bool shared_ = false;
  ParameterVector parameters_;
  Values values_;
};

std::ostream& operator<<(std::ostream& out, const ConstantImpl& constant);
/// The lines "name(args) := value;" of every entry of the constant.
void print_constant_values(std::ostream& out, const ConstantImpl& constant);

}  // namespace zorvel::model
