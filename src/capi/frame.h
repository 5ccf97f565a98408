#pragma once

#include <concepts>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/environment.h"
#include "core/errors.h"
#include "core/node.h"
#include "model/action.h"
#include "model/constant.h"
#include "model/fluent.h"
#include "model/function_value.h"
#include "model/instance.h"
#include "model/problem_instance.h"
#include "model/simulated_effect.h"
#include "plans/partial_order_temporal_plan.h"
#include "plans/time_triggered_plan.h"
#include "zorvel.h"

namespace zorvel::model {
class TransformerChain;
}  // namespace zorvel::model

/// What every function of the C interface is made of. A body runs in `at_boundary`, which turns an exception
/// into the last error and the error result; inside, `to_cxx` opens handles and `to_handle` makes them.
namespace zorvel::capi {

/// Where in a text an error was found: the file as it was named, empty for a text in memory; line and column
/// from 1, 0 where they are not known.
struct ErrorPlace {
  std::string file;
  int line = 0;
  int column = 0;
};
/// Tells the place of the exception that is about to leave the body, for the last error.
void note_error_place(ErrorPlace place);

/// The result that says that a call has failed: an error handle, a null pointer, or -1.
template <class Result>
Result failure() {
  if constexpr (std::is_arithmetic_v<Result>)
    return static_cast<Result>(-1);
  else
    return Result{};
}

/// Runs `body`; nothing derived from std::exception leaves it.
template <class Body>
auto at_boundary(Body&& body) -> std::invoke_result_t<Body> {
  try {
    return body();
  } catch (const std::exception& error) {
    zorvel_set_last_error_message(error.what());
  }
  return failure<std::invoke_result_t<Body>>();
}

/// The class behind each handle whose word points to a cell, a shared pointer on the heap.
template <class Handle>
struct Cell;
// clang-format off
template <> struct Cell<zorvel_type> { using Object = model::TypeBase; };
template <> struct Cell<zorvel_param> { using Object = model::ParameterImpl; };
template <> struct Cell<zorvel_fluent> { using Object = model::FluentImpl; };
template <> struct Cell<zorvel_function_value> { using Object = model::FunctionValueImpl; };
template <> struct Cell<zorvel_constant> { using Object = model::ConstantImpl; };
template <> struct Cell<zorvel_instance> { using Object = model::InstanceImpl; };
template <> struct Cell<zorvel_simulated_effect> { using Object = model::SimulatedEffectImpl; };
template <> struct Cell<zorvel_action> { using Object = model::ActionImpl; };
template <> struct Cell<zorvel_problem> { using Object = model::ProblemInstanceImpl; };
template <> struct Cell<zorvel_transformation> { using Object = model::TransformerChain; };
template <> struct Cell<zorvel_ttplan> { using Object = TimeTriggeredPlan; };
template <> struct Cell<zorvel_ttplan_step> { using Object = TimeTriggeredStep; };
template <> struct Cell<zorvel_potplan> { using Object = POTPlan; };
template <> struct Cell<zorvel_potplan_step> { using Object = POTStep; };

/// The handle of the elements of each kind of iterator.
template <class Handle> struct Element;
template <> struct Element<zorvel_action_iter> { using Handle = zorvel_action; };
template <> struct Element<zorvel_fluent_iter> { using Handle = zorvel_fluent; };
template <> struct Element<zorvel_constant_iter> { using Handle = zorvel_constant; };
template <> struct Element<zorvel_instance_iter> { using Handle = zorvel_instance; };
template <> struct Element<zorvel_param_iter> { using Handle = zorvel_param; };
template <> struct Element<zorvel_expr_iter> { using Handle = zorvel_expr; };
template <> struct Element<zorvel_ttplan_step_iter> { using Handle = zorvel_ttplan_step; };
template <> struct Element<zorvel_potplan_step_iter> { using Handle = zorvel_potplan_step; };
// clang-format on

template <class Handle>
concept CellHandle = requires {
  typename Cell<Handle>::Object;
};
template <class Handle>
concept IteratorHandle = requires {
  typename Element<Handle>::Handle;
};

[[noreturn]] void refuse_error_handle();
/// The message names the argument as the header does.
[[noreturn]] void refuse_null(const char* argument);
[[noreturn]] void refuse_index(std::size_t index, std::size_t size, const char* what);

// Opening

inline Environment& to_cxx(zorvel_env env) {
  if (env.repr == nullptr) refuse_error_handle();
  return *static_cast<Environment*>(env.repr);
}
inline Node* to_cxx(zorvel_expr expr) {
  if (expr.repr == nullptr) refuse_error_handle();
  return static_cast<Node*>(expr.repr);
}
/// A share of the object, so that it cannot die during the call.
template <CellHandle Handle>
std::shared_ptr<typename Cell<Handle>::Object> to_cxx(Handle handle) {
  using Pointer = std::shared_ptr<typename Cell<Handle>::Object>;
  if (handle.repr == nullptr || *static_cast<Pointer*>(handle.repr) == nullptr) refuse_error_handle();
  return *static_cast<Pointer*>(handle.repr);
}
std::shared_ptr<model::UserTypeImpl> to_user_type(zorvel_type type);

/// The text of an argument; null is refused in the name of `argument`.
std::string to_text(const char* text, const char* argument);
/// The memory for a result.
template <class T>
T& to_place(T* place, const char* argument) {
  if (place == nullptr) refuse_null(argument);
  return *place;
}

/// An array and its length as C passes them; a null array is empty.
template <class T, std::integral Length>
std::span<const T> to_span(const T* array, Length length, const char* argument) {
  if (std::cmp_less(length, 0))
    throw InvalidParameterError("The length of '") << argument << "' is negative: " << length;
  if (length == 0) return {};
  if (array == nullptr) refuse_null(argument);
  return {array, static_cast<std::size_t>(length)};
}
/// The same, every element opened.
template <class Handle, std::integral Length>
auto to_vector(const Handle* handles, Length length, const char* argument) {
  std::vector<decltype(to_cxx(*handles))> result;
  for (const Handle handle : to_span(handles, length, argument)) result.push_back(to_cxx(handle));
  return result;
}
std::vector<std::string> to_texts(const char* const* texts, int length, const char* argument);

template <class T>
const T& at(const std::vector<T>& vector, std::size_t index, const char* what) {
  if (index >= vector.size()) refuse_index(index, vector.size(), what);
  return vector[index];
}

// Making. What is handed out is owned by the caller of the C interface, so ownership is released here and
// taken back in `destroy`, and nowhere else.

inline zorvel_expr to_handle(Node* node) { return {node}; }
/// A new cell; an error handle for null.
template <class Handle, class T>
Handle to_handle(std::shared_ptr<T> object) {
  static_assert(std::is_convertible_v<T*, typename Cell<Handle>::Object*>);
  if (object == nullptr) return Handle{nullptr};
  using Pointer = std::shared_ptr<typename Cell<Handle>::Object>;
  return Handle{std::make_unique<Pointer>(std::move(object)).release()};
}

/// What an iterator's handle points to: its own list of elements, so that it depends on no other object.
template <IteratorHandle Handle>
struct Iterator {
  static auto item_type() {
    using Item = typename Element<Handle>::Handle;
    if constexpr (std::is_same_v<Item, zorvel_expr>)
      return static_cast<Node*>(nullptr);
    else
      return std::shared_ptr<typename Cell<Item>::Object>();
  }
  std::vector<decltype(item_type())> items;
  std::size_t next = 0;
};

/// An iterator over the elements of a container, or over the values of a map.
template <IteratorHandle Handle, class Container>
Handle to_iterator(const Container& container) {
  auto iterator = std::make_unique<Iterator<Handle>>();
  for (const auto& element : container) {
    if constexpr (requires { typename Container::mapped_type; })
      iterator->items.push_back(element.second);
    else
      iterator->items.push_back(element);
  }
  return Handle{iterator.release()};
}

template <IteratorHandle Handle>
typename Element<Handle>::Handle next_of(Handle handle) {
  if (handle.repr == nullptr) refuse_error_handle();
  auto& iterator = *static_cast<Iterator<Handle>*>(handle.repr);
  if (iterator.next == iterator.items.size()) return {nullptr};
  const auto& item = iterator.items[iterator.next++];
  if constexpr (std::is_same_v<typename Element<Handle>::Handle, zorvel_expr>)
    return to_handle(item);
  else
    return to_handle<typename Element<Handle>::Handle>(item);
}

template <CellHandle Handle>
void destroy(Handle handle) {
  std::unique_ptr<std::shared_ptr<typename Cell<Handle>::Object>>(
      static_cast<std::shared_ptr<typename Cell<Handle>::Object>*>(handle.repr));
}
template <IteratorHandle Handle>
void destroy(Handle handle) {
  std::unique_ptr<Iterator<Handle>>(static_cast<Iterator<Handle>*>(handle.repr));
}

/// A copy that the caller releases with free().
char* to_c_text(const std::string& text);
/// The text that an object streams, likewise.
template <class T>
char* to_streamed_text(const T& object) {
  std::ostringstream out;
  out << object;
  return to_c_text(out.str());
}

}  // namespace zorvel::capi
