#include <cassert>
#include <limits>
#include <ostream>
#include <sstream>
#include <string_view>
#include <vector>

#include "core/errors.h"
#include "model/expression_factory.h"
#include "model/expression_payloads.h"

namespace zorvel::model {

namespace {

template <class P>
const P& payload(const Node& node) {
  return static_cast<const P&>(*node.payload);
}

/// What stands before, between and after the operands of a node. Kinds whose texts depend on more than the
/// kind are written by `print_start` and `print_end`.
struct Frame {
  std::string_view open, separator, close;
};

Frame frame_of(NodeKind kind) {
  switch (kind) {
    case NodeKind::AND: return {"(", " and ", ")"};
    case NodeKind::OR: return {"(", " or ", ")"};
    case NodeKind::NOT: return {"(not ", "", ")"};
    case NodeKind::IMPLY: return {"(", " implies ", ")"};
    case NodeKind::EQUALS:
    case NodeKind::IFF: return {"(", " == ", ")"};
    case NodeKind::LT: return {"(", " < ", ")"};
    case NodeKind::LE: return {"(", " <= ", ")"};
    case NodeKind::GT: return {"(", " > ", ")"};
    case NodeKind::GE: return {"(", " >= ", ")"};
    case NodeKind::TIMES: return {"(", " * ", ")"};
    case NodeKind::PLUS: return {"(", " + ", ")"};
    case NodeKind::DIV: return {"(", " / ", ")"};
    case NodeKind::MINUS: return {"(", " - ", ")"};
    case NodeKind::SQRT: return {"(sqrt(", ", ", "))"};
    case NodeKind::ASSIGN: return {"(", " := ", ")"};
    case NodeKind::INCREASE: return {"(", " :+= ", ")"};
    case NodeKind::DECREASE: return {"(", " :-= ", ")"};
    case NodeKind::IN_ASSIGN: return {"(", " :in ", ")"};
    case NodeKind::TEMPORAL_EXPRESSION: return {"", " ", ""};
    case NodeKind::START: return {"start", "", ""};
    case NodeKind::END: return {"end", "", ""};
    case NodeKind::DURATION: return {"duration", "", ""};
    case NodeKind::TIME: return {"#t", "", ""};
    case NodeKind::DOT: return {"", ".", ""};
    case NodeKind::TRUE: return {"true", "", ""};
    case NodeKind::FALSE: return {"false", "", ""};
    case NodeKind::IN: return {"(", " in ", ")"};
    case NodeKind::SUBSET: return {"(", " subset ", ")"};
    case NodeKind::UNION: return {"(", " union ", ")"};
    case NodeKind::INTERSECTION: return {"(", " intersection ", ")"};
    case NodeKind::DIFFERENCE: return {"(", " \\ ", ")"};
    case NodeKind::SET_CONSTANT: return {"{", ", ", "}"};
    case NodeKind::INTERVAL:
    case NodeKind::UNRESOLVED_SYMBOL:
    case NodeKind::FLUENT_REFERENCE:
    case NodeKind::CONSTANT_REFERENCE: return {"", ", ", ""};
    case NodeKind::CONTAINS: return {"", " contains [", ""};
    case NodeKind::FORALL: return {"", ";", ""};
    case NodeKind::RATIONAL_CONSTANT:
    case NodeKind::INTEGER_CONSTANT:
    case NodeKind::PARAMETER_REFERENCE:
    case NodeKind::INSTANCE_REFERENCE:
    case NodeKind::LABEL_REFERENCE:
    case NodeKind::ACTION_STATUS_IS: return {"", "", ""};
  }
  throw InternalError("Unknown Node type Encountered in Expression Printing");
}

bool is_whole_interval(const Node& interval) {
  return interval.arity == 2 && interval.children[0]->kind() == NodeKind::START &&
         interval.children[1]->kind() == NodeKind::END;
}

void print_status(std::ostream& out, const ActionStatusIsPayload& status) {
  if (status.has_instance) out << lock_or_raise(status.instance)->name() << '.';
  out << lock_or_raise(status.action)->name() << ".action_status_is(" << status.status << ')';
}

void print_quantifier(std::ostream& out, const ForallPayload& forall) {
  out << "forall (";
  std::string_view separator = "";
  for (const std::shared_ptr<ParameterImpl>& parameter : forall.parameters) {
    out << separator << parameter->type() << ' ' << parameter->name();
    separator = ", ";
  }
  out << " ) {";
}

void print_rational(std::ostream& out, const rational& value) {
  out << value.str();
  if (value.is_integer()) out << ".0";
}

void print_start(std::ostream& out, const Node& node) {
  switch (node.kind()) {
    case NodeKind::INTERVAL:
      out << (payload<IntervalPayload>(node).left_closed ? '[' : '(');
      if (is_whole_interval(node)) out << "all";
      return;
    case NodeKind::RATIONAL_CONSTANT: print_rational(out, payload<RationalPayload>(node).value); return;
    case NodeKind::INTEGER_CONSTANT: out << payload<IntegerPayload>(node).value.str(); return;
    case NodeKind::UNRESOLVED_SYMBOL:
      out << "unresolved<" << payload<IdentifierPayload>(node).name << '>' << (node.arity > 0 ? "(" : "");
      return;
    case NodeKind::FLUENT_REFERENCE:
      out << lock_or_raise(payload<FluentPayload>(node).object)->name() << (node.arity > 0 ? "(" : "");
      return;
    case NodeKind::CONSTANT_REFERENCE:
      out << lock_or_raise(payload<ConstantPayload>(node).object)->name() << (node.arity > 0 ? "(" : "");
      return;
    case NodeKind::PARAMETER_REFERENCE:
      out << lock_or_raise(payload<ParameterPayload>(node).object)->name();
      return;
    case NodeKind::INSTANCE_REFERENCE:
      out << lock_or_raise(payload<InstancePayload>(node).object)->name();
      return;
    case NodeKind::LABEL_REFERENCE: out << "start(" << payload<IdentifierPayload>(node).name << ')'; return;
    case NodeKind::ACTION_STATUS_IS: print_status(out, payload<ActionStatusIsPayload>(node)); return;
    case NodeKind::FORALL: print_quantifier(out, payload<ForallPayload>(node)); return;
    default: out << frame_of(node.kind()).open;
  }
}

void print_end(std::ostream& out, const Node& node) {
  switch (node.kind()) {
    case NodeKind::INTERVAL: out << (payload<IntervalPayload>(node).right_closed ? ']' : ')'); return;
    case NodeKind::UNRESOLVED_SYMBOL:
    case NodeKind::FLUENT_REFERENCE:
    case NodeKind::CONSTANT_REFERENCE: out << (node.arity > 0 ? ")" : ""); return;
    case NodeKind::CONTAINS: {
      out << (node.arity > 1 ? "]" : " contains");
      const std::string& label = payload<IdentifierPayload>(node).name;
      if (!label.empty()) out << ' ' << label << ':';
      return;
    }
    case NodeKind::FORALL: out << (node.arity > 0 ? ";}" : "}"); return;
    default: out << frame_of(node.kind()).close;
  }
}

/// How much of an expression a message quotes. Parts are shared, so the text can be exponentially longer than
/// the expression is large.
constexpr std::size_t max_quoted_characters = 2000;

/// The text of the expression, of which no more than a name follows behind `most_characters`.
std::string text_of(const Node* root, std::size_t most_characters) {
  assert(root != nullptr);
  struct Open {
    const Node* node;
    std::uint64_t next;  // the operand to print next
  };
  std::ostringstream out;
  std::vector<Open> open;
  const auto enter = [&](const Node* node) {
    print_start(out, *node);
    const bool is_abbreviated = node->kind() == NodeKind::INTERVAL && is_whole_interval(*node);
    open.push_back({node, is_abbreviated ? node->arity : 0});
  };
  enter(root);
  while (!open.empty() && static_cast<std::size_t>(out.tellp()) <= most_characters) {
    Open& last = open.back();
    if (last.next == last.node->arity) {
      print_end(out, *last.node);
      open.pop_back();
      continue;
    }
    if (last.next > 0) out << frame_of(last.node->kind()).separator;
    enter(last.node->children[last.next++]);  // `last` may dangle from here on
  }
  return out.str();
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const print_expression& expression) {
  const std::string text = text_of(expression.node, max_quoted_characters);
  if (text.size() <= max_quoted_characters) return out << text;
  return out << text.substr(0, max_quoted_characters) << "...";
}

std::string to_anml(const Node* node) { return text_of(node, std::numeric_limits<std::size_t>::max()); }

}  // namespace zorvel::model
