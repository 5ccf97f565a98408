#pragma once

#include <memory>
#include <string>
#include <utility>

#include "core/node.h"
#include "core/numbers.h"
#include "model/action.h"
#include "model/constant.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/parameter.h"

/// The data that nodes carry beside their children. Only the expression factory makes them, one for each
/// distinct datum; model objects are held weakly, so that no expression keeps an object alive.
namespace zorvel::model {

struct IntervalPayload : Payload {
  IntervalPayload(bool left, bool right)
      : Payload(NodeKind::INTERVAL), left_closed(left), right_closed(right) {}
  const bool left_closed, right_closed;
};

/// A name: of an unresolved symbol, a label, or (perhaps empty) of a `contains`.
struct IdentifierPayload : Payload {
  IdentifierPayload(NodeKind node_kind, std::string text) : Payload(node_kind), name(std::move(text)) {}
  const std::string name;
};

struct RationalPayload : Payload {
  explicit RationalPayload(rational number)
      : Payload(NodeKind::RATIONAL_CONSTANT), value(std::move(number)) {}
  const rational value;
};

struct IntegerPayload : Payload {
  explicit IntegerPayload(integer number) : Payload(NodeKind::INTEGER_CONSTANT), value(std::move(number)) {}
  const integer value;
};

template <class T, NodeKind kind_of_reference>
struct ReferencePayload : Payload {
  explicit ReferencePayload(std::weak_ptr<T> referred)
      : Payload(kind_of_reference), object(std::move(referred)) {}
  const std::weak_ptr<T> object;
};
using FluentPayload = ReferencePayload<FluentImpl, NodeKind::FLUENT_REFERENCE>;
using ConstantPayload = ReferencePayload<ConstantImpl, NodeKind::CONSTANT_REFERENCE>;
using ParameterPayload = ReferencePayload<ParameterImpl, NodeKind::PARAMETER_REFERENCE>;
using InstancePayload = ReferencePayload<InstanceImpl, NodeKind::INSTANCE_REFERENCE>;

struct ActionStatusIsPayload : Payload {
  ActionStatusIsPayload(std::weak_ptr<InstanceImpl> of, std::weak_ptr<ActionImpl> what, std::string text,
                        bool with_instance)
      : Payload(NodeKind::ACTION_STATUS_IS),
        instance(std::move(of)),
        action(std::move(what)),
        status(std::move(text)),
        has_instance(with_instance) {}
  const std::weak_ptr<InstanceImpl> instance;  // empty without instance
  const std::weak_ptr<ActionImpl> action;
  const std::string status;
  const bool has_instance;
};

/// Holds its parameters strongly: nothing else does, they belong to the quantifier alone.
struct ForallPayload : Payload {
  explicit ForallPayload(ParameterVector quantified)
      : Payload(NodeKind::FORALL), parameters(std::move(quantified)) {}
  const ParameterVector parameters;
};

}  // namespace zorvel::model
