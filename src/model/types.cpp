#include "model/types.h"

#include <ostream>
#include <type_traits>

#include "core/errors.h"

namespace zorvel::model {

std::ostream& operator<<(std::ostream& out, const TypePtr& type) { return out << type->reference_name(); }

const std::string& BooleanTypeBase::reference_name() const {
  static const std::string name = "boolean";
  return name;
}

const std::string& StringTypeBase::reference_name() const {
  static const std::string name = "string";
  return name;
}

template <class Number, TypeCode code>
const Number& NumericTypeBase<Number, code>::lower_bound() const {
  if (!has_lower_) throw InvalidParameterError("No lower bound exists.");
  return lower_;
}

template <class Number, TypeCode code>
const Number& NumericTypeBase<Number, code>::upper_bound() const {
  if (!has_upper_) throw InvalidParameterError("No upper bound exists.");
  return upper_;
}

template <class Number, TypeCode code>
const std::string& NumericTypeBase<Number, code>::reference_name() const {
  if (name_.empty()) {
    name_ = code == TypeCode::INTEGER ? "integer" : "float";
    if (has_lower_ || has_upper_)
      name_ += " [" + (has_lower_ ? lower_.str() : "-infinity") + ", " +
               (has_upper_ ? upper_.str() : "infinity") + "]";
  }
  return name_;
}

template <class Number, TypeCode code>
bool NumericTypeBase<Number, code>::is_finite_domain() const {
  if (!has_lower_ || !has_upper_) return false;
  return code == TypeCode::INTEGER || lower_ == upper_;
}

template class NumericTypeBase<integer, TypeCode::INTEGER>;
template class NumericTypeBase<rational, TypeCode::RATIONAL>;

const std::string& SetTypeBase::reference_name() const {
  if (name_.empty()) name_ = "set(" + element_->reference_name() + ")";
  return name_;
}

namespace {

template <class Numeric>
bool lies_within(const Numeric& type, const rational& value) {
  if (type.has_lower_bound() && value < rational(type.lower_bound())) return false;
  return !type.has_upper_bound() || value <= rational(type.upper_bound());
}

}  // namespace

bool within_bounds(const TypeBase& type, const rational& value) {
  if (type.is_integer()) return lies_within(static_cast<const IntegerTypeBase&>(type), value);
  if (type.is_rational()) return lies_within(static_cast<const RationalTypeBase&>(type), value);
  return true;
}

}  // namespace zorvel::model
