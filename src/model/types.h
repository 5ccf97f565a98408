#pragma once

#include <iosfwd>
#include <memory>
#include <string>

#include "core/numbers.h"

namespace zorvel::model {

enum class TypeCode { BOOLEAN = 0, INTEGER, RATIONAL, STRING, USER, SET, UNRESOLVED, INTERVAL, VOID };

/// Root of the types. Types are made by the ModelFactory alone, one object a distinct type, so two types are
/// the same type exactly if they are the same pointer.
class TypeBase {
 public:
  virtual const std::string& reference_name() const = 0;  ///< The name of the type in ANML.
  virtual bool is_finite_domain() const = 0;
  virtual ~TypeBase() = default;
  TypeBase(const TypeBase&) = delete;
  TypeBase& operator=(const TypeBase&) = delete;

  TypeCode kind() const { return kind_; }
  bool is_boolean() const { return kind_ == TypeCode::BOOLEAN; }
  bool is_integer() const { return kind_ == TypeCode::INTEGER; }
  bool is_rational() const { return kind_ == TypeCode::RATIONAL; }
  bool is_string() const { return kind_ == TypeCode::STRING; }
  bool is_set() const { return kind_ == TypeCode::SET; }
  bool is_interval() const { return kind_ == TypeCode::INTERVAL; }
  bool is_void() const { return kind_ == TypeCode::VOID; }
  bool is_user_defined() const { return kind_ == TypeCode::USER; }  ///< False for an unresolved type.
  bool is_unresolved() const { return kind_ == TypeCode::UNRESOLVED; }
  bool is_equal(const TypeBase& other) const { return this == &other; }

 protected:
  explicit TypeBase(TypeCode kind) : kind_(kind) {}

 private:
  const TypeCode kind_;
};

using TypePtr = std::shared_ptr<TypeBase>;

std::ostream& operator<<(std::ostream& out, const TypePtr& type);

class BooleanTypeBase : public TypeBase {
 public:
  BooleanTypeBase() : TypeBase(TypeCode::BOOLEAN) {}
  const std::string& reference_name() const override;
  bool is_finite_domain() const override { return true; }
};

class StringTypeBase : public TypeBase {
 public:
  StringTypeBase() : TypeBase(TypeCode::STRING) {}
  const std::string& reference_name() const override;
  bool is_finite_domain() const override { return false; }
};

/// A numeric type with optional bounds; `Number` is integer or rational.
template <class Number, TypeCode code>
class NumericTypeBase : public TypeBase {
 public:
  NumericTypeBase() : TypeBase(code) {}
  NumericTypeBase(const Number& lower, const Number& upper)
      : TypeBase(code), lower_(lower), upper_(upper), has_upper_(true), has_lower_(true) {}
  /// One bound alone: the lower one if `is_lower`.
  NumericTypeBase(const Number& value, bool is_lower)
      : TypeBase(code), lower_(value), upper_(value), has_upper_(!is_lower), has_lower_(is_lower) {}

  bool has_lower_bound() const { return has_lower_; }
  bool has_upper_bound() const { return has_upper_; }
  const Number& lower_bound() const;  ///< InvalidParameterError "No lower bound exists." without one.
  const Number& upper_bound() const;  ///< InvalidParameterError "No upper bound exists." without one.
  /// "integer [0, 5]", "integer [-infinity, 5]"; rational types print as "float".
  const std::string& reference_name() const override;
  /// Integer: both bounds present. Rational: both present and equal.
  bool is_finite_domain() const override;

 private:
  Number lower_, upper_;
  bool has_upper_ = false, has_lower_ = false;
  mutable std::string name_;  // built on first use
};

using IntegerTypeBase = NumericTypeBase<integer, TypeCode::INTEGER>;
using RationalTypeBase = NumericTypeBase<rational, TypeCode::RATIONAL>;

class SetTypeBase : public TypeBase {
 public:
  explicit SetTypeBase(TypePtr element) : TypeBase(TypeCode::SET), element_(std::move(element)) {}
  const TypePtr& type() const { return element_; }  ///< The element type.
  const std::string& reference_name() const override;
  bool is_finite_domain() const override { return element_->is_finite_domain(); }

 private:
  TypePtr element_;
  mutable std::string name_;
};

/// Whether `value` (compared as a rational) lies within the bounds that a numeric type has; true of other
/// types.
bool within_bounds(const TypeBase& type, const rational& value);

}  // namespace zorvel::model
