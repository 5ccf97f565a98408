#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "solver/util/exception.h"

namespace vesk {

class TypeError : public Exception {
 public:
  using Exception::Exception;
};

/// A type of terms: one of the three standard types, a named simple type, or a function type. Types are
/// interned by their TypeUniverse, so equal types are the same pointer.
class Type {
 public:
  enum class Kind { boolean, rational, integer, simple, function };

  Kind kind() const { return kind_; }
  bool is_bool() const { return kind_ == Kind::boolean; }
  bool is_rational() const { return kind_ == Kind::rational; }
  bool is_integer() const { return kind_ == Kind::integer; }
  bool is_number() const { return is_rational() || is_integer(); }
  bool is_simple() const { return kind_ == Kind::simple; }
  bool is_function() const { return kind_ == Kind::function; }

  /// Number of the type in its universe, in order of creation.
  std::size_t id() const { return id_; }

  /// "Bool", "Real", "Int", the name of a simple type, or "(-> A B R)" for a function from A and B to R.
  const std::string& name() const { return name_; }

  /// Parameters of a function type; empty for any other.
  const std::vector<const Type*>& params() const { return params_; }
  /// Result of a function type; the type itself for any other.
  const Type* result() const { return result_; }

 private:
  friend class TypeUniverse;
  Type() = default;

  Kind kind_ = Kind::simple;
  std::size_t id_ = 0;
  std::string name_;
  std::vector<const Type*> params_;
  const Type* result_ = nullptr;
};

/// Makes and owns types.
class TypeUniverse {
 public:
  TypeUniverse();
  TypeUniverse(const TypeUniverse&) = delete;
  TypeUniverse& operator=(const TypeUniverse&) = delete;

  const Type* boolean() const { return boolean_; }
  const Type* rational() const { return rational_; }
  const Type* integer() const { return integer_; }

  /// The simple type of that name; TypeError for an empty name or that of a standard type other than the
  /// three above, which are returned as they are.
  const Type* simple_type(std::string_view name);

  /// `params` is not empty, and neither it nor `result` holds a function type, else TypeError.
  const Type* function_type(const std::vector<const Type*>& params, const Type* result);

  /// Integer is a subtype of rational; every type is one of itself.
  bool is_subtype(const Type* sub, const Type* super) const {
    return sub == super || (sub->is_integer() && super->is_rational());
  }

 private:
  const Type* make(Type::Kind kind, std::string name, std::vector<const Type*> params, const Type* result);

  std::vector<std::unique_ptr<Type>> types_;
  std::unordered_map<std::string, const Type*> simple_;
  std::unordered_map<std::string, const Type*> functions_;  // by the ids of the components
  const Type* boolean_;
  const Type* rational_;
  const Type* integer_;
};

}  // namespace vesk
