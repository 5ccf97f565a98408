#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "solver/num/qnumber.h"
#include "solver/term/type.h"
#include "solver/util/exception.h"
#include "solver/util/pools.h"

namespace vesk {

class SymbolError : public Exception {
 public:
  using Exception::Exception;
};

/// What an interpreted symbol means. The numbers leave room for the other theories.
enum class Tag : std::uint8_t {
  uninterpreted = 0,
  true_value = 1,
  false_value = 2,
  and_op = 3,
  or_op = 4,
  not_op = 5,
  iff = 6,
  plus = 7,
  times = 8,
  divide = 9,
  floor = 10,
  leq = 11,
  equal = 12,
  ite = 13,
  mod_congr = 14,
  distinct = 15,  // of more arguments than are compared pair by pair
  number = 255,   // every numeral has a symbol of its own
};

/// Name, type and meaning of what stands at the head of a term.
class Symbol {
 public:
  std::uint64_t id() const { return id_; }
  const std::string& name() const { return name_; }
  const Type* type() const { return type_; }
  const Type* output_type() const { return type_->result(); }
  std::size_t arity() const { return type_->params().size(); }
  Tag tag() const { return tag_; }
  bool is_interpreted() const { return tag_ != Tag::uninterpreted; }

  /// The value of a numeral, the modulus of a modular congruence, null for any other symbol.
  const QNumber* number() const { return number_.get(); }

  /// Made by the solver itself (its name starts with the reserved character).
  bool is_internal() const { return name_[0] == '.'; }

 private:
  friend class Signature;

  std::uint64_t id_ = 0;
  std::string name_;
  const Type* type_ = nullptr;
  Tag tag_ = Tag::uninterpreted;
  std::unique_ptr<QNumber> number_;
};

/// The symbol table of one TermManager; owns the symbols.
class Signature {
 public:
  static constexpr char reserved = '.';

  Signature() = default;
  Signature(const Signature&) = delete;
  Signature& operator=(const Signature&) = delete;
  ~Signature();

  /// A new symbol. SymbolError when the name is empty or known. `number` is kept for numerals and moduli.
  const Symbol* add(std::string_view name, const Type* type, Tag tag = Tag::uninterpreted,
                    const QNumber* number = nullptr);

  /// Null when there is none.
  const Symbol* find(std::string_view name) const;
  /// SymbolError when there is none.
  const Symbol* get(std::string_view name) const;
  void remove(const Symbol* symbol);
  std::size_t size() const { return by_name_.size(); }

  /// Raises the error of a name that a caller may not give: empty, or with the reserved first character.
  static void check_user_name(std::string_view name);

  /// A name that starts with `base` and that no symbol has; one counter per base, so that many fresh names
  /// cost no more than a few.
  std::string unused_name(const std::string& base);

 private:
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };

  ObjectPool<Symbol> pool_;
  std::unordered_map<std::string_view, Symbol*, TextHash, std::equal_to<>> by_name_;  // key: its name
  std::unordered_map<std::string, std::uint64_t> suffixes_;
  std::uint64_t next_id_ = 1;
};

}  // namespace vesk
