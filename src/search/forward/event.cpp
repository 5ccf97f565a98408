#include "search/forward/event.h"

#include <ostream>

#include "model/expression_factory.h"

namespace zorvel::tp {

namespace {

const char* name_of(EventKind kind) {
  switch (kind) {
    case EventKind::START_PLAN: return "START_PLAN";
    case EventKind::END_PLAN: return "END_PLAN";
    case EventKind::START_ACTION: return "START_ACTION";
    case EventKind::END_ACTION: return "END_ACTION";
    case EventKind::CONDITION: return "CONDITION";
    case EventKind::EFFECT: return "EFFECT";
    case EventKind::SIMULATED_EFFECT: return "";
  }
  return "";
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Event& event) {
  out << '(' << name_of(event.kind);
  if (event.expression != nullptr) out << ", " << model::print_expression{event.expression};
  if (event.action) out << ", " << event.action->name();
  if (event.is_start_durative) out << ", start";
  return out << ')';
}

}  // namespace zorvel::tp
