#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <unordered_map>
#include <vector>

#include "core/environment.h"
#include "core/node.h"
#include "model/fluent.h"
#include "model/function_value.h"
#include "validation/value.h"

namespace zorvel::validation {

/// Dense number of a ground fluent, good as a vector index.
enum class Slot : std::uint32_t {};
inline std::size_t index(Slot slot) { return static_cast<std::size_t>(slot); }

/// Dense number of a fluent.
enum class FluentId : std::uint32_t {};

/// Numbers the ground fluents that statements and plans name, in order of first mention.
class FluentSlots : public EnvObject {
 public:
  using EnvObject::EnvObject;

  FluentId fluent(const std::shared_ptr<model::FluentImpl>& fluent);
  /// The slot of the fluent with these arguments: constants and instance references, each in the form that
  /// `as_argument` gives.
  Slot slot(FluentId fluent, const std::vector<Node*>& arguments);

  /// Gives all slots of the fluent this value where nothing else was written to them.
  void set_default(FluentId fluent, const Value& value);
  const Value& initial_value(Slot slot) const { return info(owner(slot)).initial; }
  /// Brings the world to the present number of slots.
  void extend(std::vector<Value>& world) const;

  /// The argument in the form that identifies it, an integer where the parameter is one; null if it is
  /// outside the bounds of the parameter's type. `value` is known.
  Node* as_argument(FluentId fluent, std::size_t position, const Value& value) const;
  /// The value in the form that the fluent holds.
  Value as_content(FluentId fluent, const Value& value) const;
  bool within_bounds(FluentId fluent, const Value& value) const;

  std::size_t size() const { return owners_.size(); }
  FluentId owner(Slot slot) const { return owners_[index(slot)].fluent; }
  Node* reference(Slot slot) const;  ///< The ground fluent reference.
  const std::string& type_name(FluentId fluent) const { return info(fluent).type->reference_name(); }

 private:
  struct Fluent {
    std::shared_ptr<model::FluentImpl> fluent;
    model::TypePtr type;
    std::vector<model::TypePtr> parameter_types;
    Value initial;
    std::unordered_map<std::vector<Node*>, Slot, model::NodeVectorHash> slots;
  };
  struct Owner {
    FluentId fluent;
    const std::vector<Node*>* arguments;  // the key in the fluent's table
  };
  const Fluent& info(FluentId fluent) const { return fluents_[static_cast<std::size_t>(fluent)]; }

  std::deque<Fluent> fluents_;  // a deque, since owners_ points into the tables
  std::unordered_map<const model::FluentImpl*, FluentId> ids_;
  std::vector<Owner> owners_;  // by slot
};

/// The values of all slots at one moment.
using World = std::vector<Value>;

}  // namespace zorvel::validation
