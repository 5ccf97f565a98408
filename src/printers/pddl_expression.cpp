#include "printers/pddl_expression.h"

#include <cassert>
#include <ostream>
#include <string_view>
#include <vector>

#include "core/decimals.h"
#include "core/errors.h"
#include "model/expression_factory.h"
#include "model/expression_payloads.h"

namespace zorvel {

using namespace model;

namespace {

using F = ExpressionFactory;

template <class P>
const P& data_of(const Node& node) {
  return static_cast<const P&>(*node.payload);
}

constexpr std::string_view line_break = "\n                ";

/// Whether the value is true or false.
bool is_formula(const Node& node) {
  switch (node.kind()) {
    case NodeKind::AND:
    case NodeKind::OR:
    case NodeKind::NOT:
    case NodeKind::IMPLY:
    case NodeKind::EQUALS:
    case NodeKind::IFF:
    case NodeKind::LT:
    case NodeKind::LE:
    case NodeKind::GT:
    case NodeKind::GE:
    case NodeKind::TRUE:
    case NodeKind::FALSE: return true;
    case NodeKind::FLUENT_REFERENCE:
      return lock_or_raise(data_of<FluentPayload>(node).object)->type()->is_boolean();
    default: return false;
  }
}

/// Whether the text of an operand begins a form, and needs no blank behind a word.
bool begins_form(const Node& node) {
  switch (node.kind()) {
    case NodeKind::PARAMETER_REFERENCE:
    case NodeKind::INSTANCE_REFERENCE:
    case NodeKind::INTEGER_CONSTANT:
    case NodeKind::RATIONAL_CONSTANT:
    case NodeKind::DURATION: return false;
    default: return true;
  }
}

/// Writes the parts of an expression from a stack of what is still to be written, words and nodes.
class PddlWriter {
 public:
  PddlWriter(std::string& text, const PddlNames& names, PddlForm form)
      : text_(text), names_(names), form_(form) {}

  void write(const Node* root) {
    assert(root != nullptr);
    open_.push_back({{}, root, false});
    while (!open_.empty()) {
      const Item item = open_.back();
      open_.pop_back();
      if (item.node == nullptr)
        text_ += item.word;
      else
        begin(*item.node, item.is_formula);
    }
  }

 private:
  struct Item {
    std::string_view word;
    const Node* node;  // null for a word
    bool is_formula;   // true and false are forms here
  };
  static Item word(std::string_view text) { return {text, nullptr, false}; }
  static Item operand(const Node* node) { return {{}, node, false}; }
  static Item formula(const Node* node) { return {{}, node, true}; }

  /// What comes next, in this order.
  void next(std::initializer_list<Item> items) {
    open_.insert(open_.end(), std::rbegin(items), std::rend(items));
  }

  void begin(const Node& node, bool is_formula_wanted) {
    switch (node.kind()) {
      case NodeKind::AND: return chain("(and", node, true);
      case NodeKind::OR: return chain("(or", node, true);
      case NodeKind::TIMES: return chain("(*", node, false);
      case NodeKind::PLUS: return chain("(+", node, false);
      case NodeKind::NOT: return next({word("(not "), formula(node.children[0]), word(")")});
      case NodeKind::IMPLY:
        return next(
            {word("(imply "), formula(node.children[0]), word(" "), formula(node.children[1]), word(")")});
      case NodeKind::EQUALS:
      case NodeKind::IFF: return equality(node);
      case NodeKind::ASSIGN: return assignment(node);
      case NodeKind::LT: return binary("(< ", node);
      case NodeKind::LE: return binary("(<= ", node);
      case NodeKind::GT: return binary("(> ", node);
      case NodeKind::GE: return binary("(>= ", node);
      case NodeKind::DIV: return binary("(/ ", node);
      case NodeKind::MINUS: return binary("(- ", node);
      case NodeKind::INTERVAL: return interval(node);
      case NodeKind::TEMPORAL_EXPRESSION: return timed(node);
      case NodeKind::START: text_ += "start"; return;
      case NodeKind::END: text_ += "end"; return;
      case NodeKind::DURATION: text_ += "?duration"; return;
      case NodeKind::TRUE: text_ += is_formula_wanted ? "(and)" : "true"; return;
      case NodeKind::FALSE: text_ += is_formula_wanted ? "(or)" : "false"; return;
      case NodeKind::RATIONAL_CONSTANT:
        append_pddl_number(text_, data_of<RationalPayload>(node).value);
        return;
      case NodeKind::INTEGER_CONSTANT: text_ += data_of<IntegerPayload>(node).value.str(); return;
      case NodeKind::FLUENT_REFERENCE: return reference(node);
      case NodeKind::PARAMETER_REFERENCE:
        text_ += '?';
        text_ += names_.of(*lock_or_raise(data_of<ParameterPayload>(node).object));
        return;
      case NodeKind::INSTANCE_REFERENCE:
        text_ += names_.of(lock_or_raise(data_of<InstancePayload>(node).object)->name());
        return;
      default: throw InternalError("Unknown Node type Encountered in Pddl Expression Printing");
    }
  }

  void chain(std::string_view head, const Node& node, bool are_formulas) {
    text_ += head;
    if (node.arity > 0 && !are_formulas && !begins_form(*node.children[0])) text_ += ' ';
    open_.push_back(word(")"));
    for (std::uint64_t i = node.arity; i-- > 0;) {
      open_.push_back({{}, node.children[i], are_formulas});
      if (i > 0) open_.push_back(word("\n"));
    }
  }

  void binary(std::string_view head, const Node& node) {
    next({word(head), operand(node.children[0]), word(" "), operand(node.children[1]), word(")")});
  }

  void truth(const Node* what, const Node* value) {
    if (value->kind() == NodeKind::TRUE)
      next({formula(what)});
    else
      next({word("(not "), formula(what), word(")")});
  }

  /// PDDL has no equality of formulas.
  void equality(const Node& node) {
    const Node* const a = node.children[0];
    const Node* const b = node.children[1];
    if (F::is_boolean_constant(b)) return truth(a, b);
    if (F::is_boolean_constant(a)) return truth(b, a);
    if (!is_formula(*a) || !is_formula(*b)) return binary("(= ", node);
    next({word("(or (and "), formula(a), word(" "), formula(b), word(") (and (not "), formula(a),
          word(") (not "), formula(b), word(")))")});
  }

  void assignment(const Node& node) {
    const Node* const target = node.children[0];
    const Node* const value = node.children[1];
    if (F::is_boolean_constant(value)) return truth(target, value);
    const bool is_number = !is_formula(*target) && target->kind() != NodeKind::DURATION;
    if (form_ == PddlForm::standard && is_number) return binary("(assign ", node);
    next({word("(= "), operand(target), word(" "), is_number ? operand(value) : formula(value), word(")")});
  }

  void reference(const Node& node) {
    text_ += '(';
    text_ += names_.of(lock_or_raise(data_of<FluentPayload>(node).object)->name());
    open_.push_back(word(")"));
    for (std::uint64_t i = node.arity; i-- > 0;) next({word(" "), operand(node.children[i])});
  }

  void interval(const Node& node) {
    if (node.arity == 1) return next({word("at "), operand(node.children[0])});
    if (node.arity != 2 || !F::is_start_anchor(node.children[0]) || !F::is_end_anchor(node.children[1]))
      throw InternalError("Intervals with arity greater than 1 must have START and END as bounds!");
    text_ += "over all";
  }

  void timed(const Node& node) {
    const Node* const when = node.children[0];
    const Node* const body = node.children[1];
    if (F::is_assign(body) && when->arity != 1)
      throw InternalError("Temporal expression of an effect must has only point interval!");
    if (when->arity == 1) return next({word("("), operand(when), word(" "), formula(body), word(")\n")});
    if (when->arity != 2) throw InternalError("Intermediate effects are forbidden!");
    const IntervalPayload& ends = data_of<IntervalPayload>(*when);
    const bool has_ends = ends.left_closed || ends.right_closed;
    open_.push_back(word(has_ends ? "))\n" : ")\n"));
    if (ends.right_closed) {
      next({word(")"), word(line_break), word("(at "), operand(when->children[1]), word(" "), formula(body)});
    }
    // What is pushed last is written first.
    next({word("("), operand(when), word(" "), formula(body)});
    if (ends.left_closed)
      next({word("(at "), operand(when->children[0]), word(" "), formula(body), word(")"), word(line_break)});
    if (has_ends) text_ += "(and ";
  }

  std::string& text_;
  const PddlNames& names_;
  const PddlForm form_;
  std::vector<Item> open_;
};

}  // namespace

void append_pddl(std::string& text, const Node* expression, const PddlNames& names, PddlForm form) {
  PddlWriter(text, names, form).write(expression);
}

void append_pddl_number(std::string& text, const rational& number) {
  if (const auto decimals = exact_decimal_text(number))
    text += *decimals;
  else
    text.append("(/ ").append(number.numerator().str()).append(" ").append(number.denominator().str()) += ')';
}

std::ostream& operator<<(std::ostream& out, const print_pddl_expression& expression) {
  std::string text;
  append_pddl(text, expression.node, PddlNames(), PddlForm::own);
  return out << text;
}

}  // namespace zorvel
