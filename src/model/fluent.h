#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "model/parameter.h"

namespace zorvel::model {

class ModelFactory;

/// A state variable, perhaps with parameters. Interned by the factory: same name, path, parameter objects and
/// type give the same fluent.
class FluentImpl : public ParametricObject {
 public:
  FluentImpl(std::weak_ptr<ModelFactory> factory, std::string name, std::vector<std::string> path,
             const TypePtr& type);
  ~FluentImpl() override;

  const std::string& name() const { return name_; }
  /// Names of the enclosing user types, outermost first.
  const std::vector<std::string>& path() const { return path_; }
  TypePtr type() const { return lock_or_raise(type_); }
  std::size_t arity() const { return parameters_.size(); }
  bool has_parameters() const { return !parameters_.empty(); }
  const ParameterVector& parameters() const { return parameters_; }
  /// RedefinitionError "Parameter '<name>' already defined for this fluent".
  void add_parameter(const std::shared_ptr<ParameterImpl>& parameter);
  void set_shared() { shared_ = true; }  ///< Only a published object takes itself off the factory's table.
  friend bool operator==(const FluentImpl& a, const FluentImpl& b);
  std::size_t hash() const;

 private:
  std::weak_ptr<ModelFactory> factory_;
  std::string name_;
  std::vector<std::string> path_;
  std::weak_ptr<TypeBase> type_;
  bool shared_ = false;
  ParameterVector parameters_;
};

/// Name and parameter list, as in a declaration.
std::ostream& operator<<(std::ostream& out, const FluentImpl& fluent);

}  // namespace zorvel::model
