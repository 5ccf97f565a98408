#include "printers/anml_expression.h"

#include <cassert>
#include <vector>

#include "core/decimals.h"
#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/expression_factory.h"
#include "model/expression_payloads.h"
#include "model/unsupported_statement.h"

namespace zorvel {

using namespace model;

namespace {

using F = ExpressionFactory;

template <class P>
const P& payload(const Node& node) {
  return static_cast<const P&>(*node.payload);
}

/// What stands between two operands; empty for a kind that is no operator between operands.
std::string_view infix_of(NodeKind kind) {
  switch (kind) {
    case NodeKind::AND: return " and ";
    case NodeKind::OR: return " or ";
    case NodeKind::IMPLY: return " implies ";
    case NodeKind::EQUALS:
    case NodeKind::IFF: return " == ";
    case NodeKind::LT: return " < ";
    case NodeKind::LE: return " <= ";
    case NodeKind::GT: return " > ";
    case NodeKind::GE: return " >= ";
    case NodeKind::TIMES: return " * ";
    case NodeKind::PLUS: return " + ";
    case NodeKind::DIV: return " / ";
    case NodeKind::MINUS: return " - ";
    case NodeKind::ASSIGN: return " := ";
    case NodeKind::INCREASE: return " :+= ";
    case NodeKind::DECREASE: return " :-= ";
    case NodeKind::IN_ASSIGN: return " :in ";
    case NodeKind::IN: return " in ";
    case NodeKind::SUBSET: return " subset ";
    case NodeKind::UNION: return " union ";
    case NodeKind::INTERSECTION: return " intersection ";
    case NodeKind::DIFFERENCE: return " \\ ";
    default: return {};
  }
}

std::string_view separator_of(NodeKind kind) {
  switch (kind) {
    case NodeKind::TEMPORAL_EXPRESSION: return " ";
    case NodeKind::DOT: return ".";
    case NodeKind::CONTAINS: return " contains [";
    case NodeKind::FORALL: return "; ";
    default: return infix_of(kind).empty() ? ", " : infix_of(kind);
  }
}

/// Operators that take any number of operands.
bool is_chain(NodeKind kind) {
  return kind == NodeKind::AND || kind == NodeKind::OR || kind == NodeKind::PLUS || kind == NodeKind::TIMES;
}

/// What a chain without operands comes to.
std::string_view neutral_text(NodeKind kind) {
  switch (kind) {
    case NodeKind::AND: return "true";
    case NodeKind::OR: return "false";
    case NodeKind::TIMES: return "1";
    default: return "0";
  }
}

bool is_whole_interval(const Node& interval) {
  const IntervalPayload& flags = payload<IntervalPayload>(interval);
  return interval.arity == 2 && F::is_start_anchor(interval.children[0]) &&
         F::is_end_anchor(interval.children[1]) && flags.left_closed == flags.right_closed;
}

/// Where an expression stands; decides what can be read there, and whether it needs parentheses.
enum class Place { STATEMENT, UNDER_INTERVAL, INTERVAL_END, ARGUMENT, OPERAND, CHAIN_TAIL };

class Writer {
 public:
  Writer(std::string& text, const AnmlNames& names) : text_(text), names_(names) {}

  void write(const Node* root) {
    assert(root != nullptr);
    root_ = root;
    enter(root, Place::STATEMENT);
    while (!open_.empty()) {
      Open& last = open_.back();
      if (last.next == last.node->arity) {
        leave(last);
        open_.pop_back();
        continue;
      }
      const Node* const node = last.node;
      const std::uint64_t operand = last.next++;
      if (operand > 0) text_ += separator_of(node->kind());
      enter(node->children[operand], place_in(*node, operand));  // `last` may dangle from here on
    }
  }

 private:
  struct Open {
    const Node* node;
    std::uint64_t next;  // the operand to write next
    bool in_parentheses;
  };

  static Place place_in(const Node& parent, std::uint64_t operand) {
    switch (parent.kind()) {
      case NodeKind::TEMPORAL_EXPRESSION: return operand == 0 ? Place::ARGUMENT : Place::UNDER_INTERVAL;
      case NodeKind::FORALL: return Place::STATEMENT;
      case NodeKind::INTERVAL: return Place::INTERVAL_END;
      case NodeKind::FLUENT_REFERENCE:
      case NodeKind::CONSTANT_REFERENCE:
      case NodeKind::SET_CONSTANT: return Place::ARGUMENT;
      default:
        return is_chain(parent.kind()) && operand + 1 == parent.arity ? Place::CHAIN_TAIL : Place::OPERAND;
    }
  }

  [[noreturn]] void refuse() const {
    throw UnsupportedStatementError("This cannot be written in ANML", root_);
  }

  void enter(const Node* node, Place place) {
    const NodeKind chain = node->kind();
    bool is_tail = place == Place::CHAIN_TAIL && open_.back().node->kind() == chain;
    // why a loop: a chain of one operand is that operand.
    while (is_chain(node->kind()) && node->arity == 1) {
      node = node->children[0];
      is_tail = place == Place::CHAIN_TAIL && open_.back().node->kind() == node->kind();
    }
    require_readable(*node, place);
    const bool in_parentheses = needs_parentheses(*node, place, is_tail);
    if (in_parentheses) text_ += '(';
    const bool is_complete = begin(*node);
    open_.push_back({node, is_complete ? node->arity : 0, in_parentheses});
  }

  /// The grammar has intervals in front of statements alone, and `:in` in statements of their own.
  void require_readable(const Node& node, Place place) const {
    const bool stands_alone = place == Place::STATEMENT;
    if (node.kind() == NodeKind::TEMPORAL_EXPRESSION && !stands_alone) refuse();
    if (node.kind() == NodeKind::IN_ASSIGN && (!stands_alone || open_.size() > 0)) refuse();
  }

  bool needs_parentheses(const Node& node, Place place, bool is_tail) const {
    const bool is_delimited = place != Place::OPERAND && place != Place::CHAIN_TAIL;
    if (is_delimited || is_tail) return false;
    if (is_chain(node.kind()) && node.arity == 0) return false;
    return !infix_of(node.kind()).empty() || node.kind() == NodeKind::NOT || node.kind() == NodeKind::FORALL;
  }

  /// Writes what stands before the operands. True if nothing of them is to follow.
  bool begin(const Node& node) {
    switch (node.kind()) {
      case NodeKind::AND:
      case NodeKind::OR:
      case NodeKind::PLUS:
      case NodeKind::TIMES:
        if (node.arity == 0) text_ += neutral_text(node.kind());
        return false;
      case NodeKind::NOT: text_ += "not "; return false;
      case NodeKind::SQRT: text_ += "sqrt("; return false;
      case NodeKind::INTERVAL: return begin_interval(node);
      case NodeKind::START: text_ += "start"; return false;
      case NodeKind::END: text_ += "end"; return false;
      case NodeKind::DURATION: text_ += "duration"; return false;
      case NodeKind::TIME: text_ += "#t"; return false;
      case NodeKind::TRUE: text_ += "true"; return false;
      case NodeKind::FALSE: text_ += "false"; return false;
      case NodeKind::RATIONAL_CONSTANT:
        append_anml_fraction(text_, payload<RationalPayload>(node).value);
        return false;
      case NodeKind::INTEGER_CONSTANT: text_ += payload<IntegerPayload>(node).value.str(); return false;
      case NodeKind::FLUENT_REFERENCE: return begin_reference(payload<FluentPayload>(node), node);
      case NodeKind::CONSTANT_REFERENCE: return begin_reference(payload<ConstantPayload>(node), node);
      case NodeKind::INSTANCE_REFERENCE: return begin_reference(payload<InstancePayload>(node), node);
      case NodeKind::PARAMETER_REFERENCE:
        text_ += names_.of(*lock_or_raise(payload<ParameterPayload>(node).object));
        return false;
      case NodeKind::LABEL_REFERENCE:
        text_.append("start(").append(names_.of(payload<IdentifierPayload>(node).name)) += ')';
        return false;
      case NodeKind::SET_CONSTANT: text_ += '{'; return false;
      case NodeKind::FORALL: begin_forall(payload<ForallPayload>(node)); return false;
      case NodeKind::ACTION_STATUS_IS: refuse();
      case NodeKind::UNRESOLVED_SYMBOL: throw InternalError("A name without a meaning was to be printed");
      default: return false;
    }
  }

  bool begin_interval(const Node& node) {
    text_ += payload<IntervalPayload>(node).left_closed || node.arity == 1 ? '[' : '(';
    if (!is_whole_interval(node)) return false;
    text_ += "all";
    return true;
  }

  template <class Reference>
  bool begin_reference(const Reference& reference, const Node& node) {
    text_ += names_.of(lock_or_raise(reference.object)->name());
    if (node.arity > 0) text_ += '(';
    return false;
  }

  void begin_forall(const ForallPayload& forall) {
    text_ += "forall (";
    std::string_view separator = "";
    for (const auto& variable : forall.parameters) {
      text_ += separator;
      append_anml_type(text_, *variable->type(), names_, "variable of a forall");
      text_.append(" ").append(names_.of(*variable));
      separator = ", ";
    }
    text_ += ") {";
  }

  void leave(const Open& last) {
    const Node& node = *last.node;
    switch (node.kind()) {
      case NodeKind::INTERVAL:
        text_ += payload<IntervalPayload>(node).right_closed || node.arity == 1 ? ']' : ')';
        break;
      case NodeKind::FLUENT_REFERENCE:
      case NodeKind::CONSTANT_REFERENCE:
        if (node.arity > 0) text_ += ')';
        break;
      case NodeKind::SQRT: text_ += ')'; break;
      case NodeKind::SET_CONSTANT: text_ += '}'; break;
      case NodeKind::FORALL: text_ += node.arity > 0 ? ";}" : "}"; break;
      case NodeKind::CONTAINS: leave_contains(node); break;
      default: break;
    }
    if (last.in_parentheses) text_ += ')';
  }

  void leave_contains(const Node& node) {
    text_ += node.arity > 1 ? "]" : " contains";
    const std::string& label = payload<IdentifierPayload>(node).name;
    if (!label.empty()) text_.append(" ").append(names_.of(label)) += ':';
  }

  std::string& text_;
  const AnmlNames& names_;
  const Node* root_ = nullptr;
  std::vector<Open> open_;
};

void append_bound(std::string& text, const integer& bound) { text += bound.str(); }
void append_bound(std::string& text, const rational& bound) { append_anml_fraction(text, bound); }
bool can_be_written(const integer&) { return true; }
bool can_be_written(const rational& bound) { return decimals_of(bound).has_value(); }

template <class Numeric>
void append_numeric_type(std::string& text, const Numeric& type, std::string_view word,
                         std::string_view owner) {
  text += word;
  if (!type.has_lower_bound() && !type.has_upper_bound()) return;
  if (!type.has_lower_bound() || !type.has_upper_bound() || !can_be_written(type.lower_bound()) ||
      !can_be_written(type.upper_bound()))
    throw UnsupportedProblemError("ANML cannot say the type ")
        << type.reference_name() << " of the " << owner;
  text += " [";
  append_bound(text, type.lower_bound());
  text += ", ";
  append_bound(text, type.upper_bound());
  text += ']';
}

}  // namespace

void append_anml(std::string& text, const Node* expression, const AnmlNames& names) {
  Writer(text, names).write(expression);
}

void append_anml_type(std::string& text, const TypeBase& type, const AnmlNames& names,
                      std::string_view owner) {
  switch (type.kind()) {
    case TypeCode::INTEGER:
      append_numeric_type(text, static_cast<const IntegerTypeBase&>(type), "integer", owner);
      return;
    case TypeCode::RATIONAL:
      append_numeric_type(text, static_cast<const RationalTypeBase&>(type), "float", owner);
      return;
    case TypeCode::SET:
      text += "set(";
      append_anml_type(text, *static_cast<const SetTypeBase&>(type).type(), names, owner);
      text += ')';
      return;
    default: text += names.of(type.reference_name());
  }
}

void append_anml_fraction(std::string& text, const rational& number) {
  if (number.is_integer()) {
    text.append(number.str()) += ".0";
  } else if (const auto decimals = exact_decimal_text(number)) {
    text += *decimals;
  } else {
    text.append("(").append(number.numerator().str()).append(".0 / ");
    text.append(number.denominator().str()).append(".0)");
  }
}

}  // namespace zorvel
