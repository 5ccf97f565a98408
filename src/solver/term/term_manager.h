#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "solver/num/qnumber.h"
#include "solver/term/symbol.h"
#include "solver/term/term.h"
#include "solver/term/term_bank.h"
#include "solver/term/type.h"
#include "solver/util/hash_table.h"

namespace vesk {

/// An ill-typed or otherwise impossible term.
class TermError : public Exception {
 public:
  using Exception::Exception;
};

/// Makes terms, in a normal form, and owns them with their symbols and types.
///
/// The constructors do not build what was asked but the simplest equal term that local rules find: Boolean
/// units, folded numbers, and one form for each linear atom, `P = k`, `P <= k` or `k <= P`, with P a sum of
/// atoms in order of id whose coefficients are coprime integers, the first one positive, and k a number.
/// Arithmetic is over the integers when all arguments are, else over the rationals. Operators are binary.
/// Ill-typed arguments raise TermError.
///
/// Ids order children and so decide normal forms: never nest two constructor calls in one argument list,
/// whose order of evaluation is open.
class TermManager {
 public:
  static constexpr const char* bool_equality_text = "Equality arguments can't be Boolean";
  static constexpr const char* bool_ite_text = "Term-ITE arguments can't be Boolean";

  /// `simplify` off builds every term as it is asked for; types are still checked.
  explicit TermManager(bool simplify = true);
  TermManager(const TermManager&) = delete;
  TermManager& operator=(const TermManager&) = delete;

  /// Simplification as long as the object lives, whatever the manager was made with: stages that rewrite
  /// formulas rely on the normal forms.
  class SimplifyScope {
   public:
    explicit SimplifyScope(TermManager& terms) : terms_(terms), old_(terms.simplify_) {
      terms.simplify_ = true;
    }
    SimplifyScope(const SimplifyScope&) = delete;
    SimplifyScope& operator=(const SimplifyScope&) = delete;
    ~SimplifyScope() { terms_.simplify_ = old_; }

   private:
    TermManager& terms_;
    bool old_;
  };

  TypeUniverse& types() { return types_; }
  const TypeUniverse& types() const { return types_; }
  Signature& signature() { return signature_; }
  const Signature& signature() const { return signature_; }

  // Symbols.

  /// The symbol of that name and type; known already if the type is the same, SymbolError if it is another
  /// or the name is empty, reserved, or that of a numeral.
  const Symbol* declare(std::string_view name, const Type* type);
  /// A new symbol of the solver's own, named by the reserved character, `base` and a suffix.
  const Symbol* make_fresh_symbol(const std::string& base, const Type* type);
  /// An internal symbol with exactly the name '.' + `name`; the known one if there is one of that type.
  const Symbol* make_internal_symbol(const std::string& name, const Type* type);
  Term make_fresh_constant(const std::string& base, const Type* type);

  // Boolean terms.

  Term make_true() const { return true_; }
  Term make_false() const { return false_; }
  Term make_bool(bool value) const { return value ? true_ : false_; }
  Term make_not(Term a);
  Term make_and(Term a, Term b);
  Term make_or(Term a, Term b);
  Term make_iff(Term a, Term b);
  /// `(c and a) or (not c and b)`.
  Term make_bool_ite(Term c, Term a, Term b);

  // Terms of other types, and atoms.

  Term make_number(const QNumber& value);
  Term make_constant(const Symbol* symbol);
  /// Application of an uninterpreted symbol; as many arguments as its arity.
  Term make_uf(const Symbol* symbol, std::span<const Term> args);
  /// Application of any symbol of this manager, simplified by the rules of its tag.
  Term make_term(const Symbol* symbol, std::span<const Term> args);
  Term make_equal(Term a, Term b);
  Term make_leq(Term a, Term b);
  Term make_plus(Term a, Term b);
  Term make_times(Term a, Term b);
  Term make_divide(Term a, Term b);
  Term make_floor(Term a);
  Term make_term_ite(Term c, Term a, Term b);
  /// No two of the arguments are equal; linear in them. Types are as for make_equal(), or all are Boolean.
  Term make_distinct(std::span<const Term> args);
  /// `a` and `b`, both integers, leave the same rest when divided by the positive integer `modulus`.
  Term make_mod_congr(const QNumber& modulus, Term a, Term b);

  /// `(= a b)` with the children in order of id and no normal form: what theories exchange, and splits of
  /// an equality, must name the two terms themselves. Same type, or both numeric.
  Term make_raw_equal(Term a, Term b);
  /// `(<= a b)` as it stands.
  Term make_raw_leq(Term a, Term b);

  /// `not(a)` or, for a negation, what stands under it; no other simplification.
  Term negate(Term a);

  /// The given term with its children replaced, through make_term(); itself when they are the same.
  Term rebuild(Term term, std::span<const Term> children);

  /// Type of a sum of the two.
  const Type* supertype(const Type* a, const Type* b) const {
    return a->is_integer() && b->is_integer() ? a : types_.rational();
  }

  /// One more than the largest id in use: the size of a vector over terms.
  std::uint64_t id_bound() const { return bank_.id_bound(); }
  std::size_t num_terms() const { return bank_.size(); }

  /// Frees every term that is not reachable from `keep`, and the numerals and internal symbols that none
  /// of the others uses. Symbols that were declared from outside stay: their handles are the caller's.
  void gc(std::span<const Term> keep);

 private:
  const Symbol* make_op(Tag tag, const std::string& name, std::vector<const Type*> params, const Type* result,
                        const QNumber* number = nullptr);
  Term intern(const Symbol* symbol, std::span<const Term> args) { return bank_.intern(symbol, args); }
  Term intern(const Symbol* symbol, Term a) { return bank_.intern(symbol, {&a, 1}); }
  Term intern(const Symbol* symbol, Term a, Term b) {
    const Term args[2] = {a, b};
    return bank_.intern(symbol, args);
  }
  Term intern_by_id(const Symbol* symbol, Term a, Term b) {
    return b->id() < a->id() ? intern(symbol, b, a) : intern(symbol, a, b);
  }
  void check_type(const Symbol* symbol, std::span<const Term> args) const;
  void require_bools(const Symbol* symbol, std::span<const Term> args) const;
  void require_numbers(const Symbol* symbol, std::span<const Term> args) const;
  [[noreturn]] void type_error(const Symbol* symbol, std::span<const Term> args, Term bad,
                               const Type* expected) const;

  Term simplify_relation(bool equality, Term a, Term b);  // linear atoms
  Term relation(bool equality, Term a, Term b);           // as it stands

  TypeUniverse types_;
  Signature signature_;
  TermBank bank_;
  bool simplify_;
  hsh::Map<QNumber, Term> numbers_;
  hsh::Map<const Type*, const Symbol*> equality_symbols_;
  hsh::Map<const Type*, const Symbol*> ite_symbols_;
  hsh::Map<QNumber, const Symbol*> mod_symbols_;
  std::map<std::pair<std::size_t, const Type*>, const Symbol*> distinct_symbols_;  // by arity and type
  std::vector<Term> uf_args_;                                                      // scratch of make_uf
  const Symbol *not_, *and_, *or_, *iff_;
  const Symbol *plus_rat_, *plus_int_, *times_rat_, *times_int_, *divide_rat_, *leq_rat_, *leq_int_, *floor_;
  Term true_, false_;
};

}  // namespace vesk
