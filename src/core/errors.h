#pragma once

#include <concepts>
#include <exception>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace zorvel {

/// Root of every failure that the planner reports. The text begins with the class's own name, ": " and
/// the message; `error << value` appends to the message and keeps the error's static type, so that
/// `throw InternalError("bad ") << name;` throws an InternalError.
class ZorvelError : public std::exception {
 public:
  /// Class name, ": " and the message composed so far. Valid until the error changes or dies.
  const char* what() const noexcept override { return text_.c_str(); }
  const std::string& message() const { return text_; }
  void append(std::string_view more) { text_ += more; }
  /// Says the same in other words: `text` replaces class name and message.
  void reword(std::string text) { text_ = std::move(text); }

 protected:
  ZorvelError(std::string_view class_name, std::string_view message);

 private:
  std::string text_;
};

template <class E, class T>
requires std::derived_from<std::remove_cvref_t<E>, ZorvelError> E && operator<<(E&& error, const T& value) {
  if constexpr (std::is_convertible_v<const T&, std::string_view>) {
    error.append(value);
  } else {
    std::ostringstream text;
    text << value;
    error.append(text.str());
  }
  return std::forward<E>(error);
}

#define ZORVEL_DEFINE_ERROR(Name)                                                 \
  class Name : public ZorvelError {                                               \
   public:                                                                        \
    explicit Name(std::string_view message = {}) : ZorvelError(#Name, message) {} \
  }

ZORVEL_DEFINE_ERROR(
    InvalidParameterError);          ///< A bad argument: unknown option, wrong kind of node, missing file.
ZORVEL_DEFINE_ERROR(InternalError);  ///< A broken invariant, a null handle or an unsupported problem.
ZORVEL_DEFINE_ERROR(ParserError);    ///< A syntax error in a problem or plan text.
ZORVEL_DEFINE_ERROR(TypeCheckingError);       ///< An ill-typed expression.
ZORVEL_DEFINE_ERROR(RedefinitionError);       ///< A name defined twice.
ZORVEL_DEFINE_ERROR(GroundingFailedError);    ///< A problem that cannot be grounded.
ZORVEL_DEFINE_ERROR(UndefinedConstantError);  ///< A constant without a value.
ZORVEL_DEFINE_ERROR(OutOfBoundsValue);        ///< A value outside the bounds of its type, found in a search.
ZORVEL_DEFINE_ERROR(TemporalNetworkIsUnsat);  ///< A temporal network without a schedule.
ZORVEL_DEFINE_ERROR(UnresolvedSymbolError);   ///< A name that nothing declares.
ZORVEL_DEFINE_ERROR(LtlEncoderError);         ///< A construct that the LTL encoder cannot translate.
ZORVEL_DEFINE_ERROR(SmtSolverError);          ///< A failure reported by the solver.

#undef ZORVEL_DEFINE_ERROR

}  // namespace zorvel
