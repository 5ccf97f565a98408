#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "solver/num/qnumber.h"
#include "solver/term/symbol.h"
#include "solver/term/type.h"

namespace vesk {

class Term_;

/// Handle of a term. Terms are interned: equal terms are the same pointer. Owned by the TermManager.
using Term = const Term_*;

/// What occurs in a term, itself included; computed when it is made, so that a stage can pass over a
/// formula that holds nothing for it.
enum TermFlag : std::uint32_t {
  has_arith = 1,            ///< an arithmetic operator, relation or numeric equality
  has_ite = 2,              ///< a term-ite
  has_product = 4,          ///< a product of two non-numeric factors
  has_divide = 8,           ///< a division that is left over
  has_floor = 16,           ///< a floor or a modular congruence
  has_function = 32,        ///< an uninterpreted symbol of positive arity
  has_int_symbol = 64,      ///< an uninterpreted symbol of integer result
  has_bool_argument = 256,  ///< a function applied to a Boolean other than true and false
  has_sum_product = 128,    ///< a product with a sum as a factor
  has_distinct = 512,       ///< a `distinct` of many arguments
};

/// One node of the term DAG: an id, a symbol and the children in line. Immutable.
class Term_ {
 public:
  /// Rises in the order of creation, from 1; dense enough to index a vector. Never used twice in the life
  /// of a manager.
  std::uint64_t id() const { return id_; }
  const Symbol* symbol() const { return symbol_; }
  Tag tag() const { return symbol_->tag(); }
  const Type* type() const { return symbol_->output_type(); }
  std::size_t arity() const { return arity_; }
  Term child(std::size_t index) const { return children()[index]; }
  std::span<const Term> children() const { return {reinterpret_cast<const Term*>(this + 1), arity_}; }
  std::uint32_t flags() const { return flags_; }
  bool has(TermFlag flag) const { return (flags_ & flag) != 0; }

  bool is_true() const { return tag() == Tag::true_value; }
  bool is_false() const { return tag() == Tag::false_value; }
  bool is_number() const { return tag() == Tag::number; }
  /// The value of a numeral; only if is_number().
  const QNumber& number() const { return *symbol_->number(); }
  /// An uninterpreted symbol without arguments.
  bool is_constant() const { return arity_ == 0 && tag() == Tag::uninterpreted; }
  bool is_connective() const {
    return tag() == Tag::and_op || tag() == Tag::or_op || tag() == Tag::not_op || tag() == Tag::iff;
  }
  /// A Boolean term that is neither a connective nor true or false.
  bool is_atom() const { return type()->is_bool() && !is_connective() && !is_true() && !is_false(); }

  /// The symbol's name, or "(name arg arg)" with one blank before each argument.
  std::string to_str() const;
  /// As to_str(), cut after 200 characters: for messages.
  std::string to_short_str() const;
  /// Appends the text until it is longer than `limit`; false then, with the text cut somewhere behind it.
  bool append_text(std::string* text, std::size_t limit) const;

 private:
  friend class TermBank;
  Term_() = default;

  std::uint64_t id_ = 0;
  const Symbol* symbol_ = nullptr;
  std::uint32_t flags_ = 0;
  std::uint32_t arity_ = 0;  // the children follow in the same cell
};

/// Order by id: the order of creation.
struct TermIdLess {
  bool operator()(Term a, Term b) const { return a->id() < b->id(); }
};

}  // namespace vesk
