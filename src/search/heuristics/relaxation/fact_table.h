#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <unordered_map>
#include <vector>

#include "search/frame/evaluation_tables.h"
#include "search/heuristics/relaxation/linear_form.h"
#include "state/compiled_condition.h"
#include "state/compiled_effect.h"

namespace zorvel {

/// Dense number of a fact of a FactTable.
using FactId = std::uint32_t;
inline constexpr FactId no_fact = ~FactId{0};

/// The facts of a delete relaxation that some condition asks for, by number.
///
/// Five kinds, in this order:
///  - literals: a slot holds a value, or (not of booleans) any other value;
///  - predicates: conditions that are no literals, such as `fuel >= 3` or `f == g`;
///  - formulas: a disjunction, or a conjunction inside of one. Rules say what makes them true, so that
///  nothing
///    is multiplied out;
///  - changes: what an effect does to a slot that a predicate reads, such as "adds 2 to slot 7";
///  - marks: facts of the caller's own, which no value of a slot makes true.
///
/// It is filled in three steps: all conditions are asked for; after `freeze` they are read as facts, and the
/// effects too, whose changes get numbers on the way; marks come last.
class FactTable {
 public:
  struct Literal {
    std::uint32_t slot;
    ValueId value;
    bool is_equal;  ///< Otherwise: any other value.
    bool holds(const ValueId* slots) const {
      return (slots[slot] == value) == is_equal && slots[slot] != unset_value;
    }
  };
  /// A predicate; if it is a comparison of linear forms then as `form >= 0`, `form > 0` or `form == 0`.
  struct Predicate {
    enum class Kind : std::uint8_t { opaque, at_least, above, equal };
    CompiledExpression program;
    Kind kind = Kind::opaque;
    LinearForm form;
  };
  struct Change {
    enum class Kind : std::uint8_t { unknown, addition, assignment };
    std::uint32_t slot;
    Kind kind;
    double amount;
  };
  /// If all of `body` hold, `head` does.
  struct Rule {
    FactId head;
    std::vector<FactId> body;
  };
  static constexpr std::uint32_t never = std::numeric_limits<std::uint32_t>::max();

  /// `tables` must outlive the facts.
  explicit FactTable(EvaluationTables& tables);

  void ask(const CompiledCondition& condition);
  void freeze();

  /// Appends the facts whose conjunction the condition is. It was asked for.
  void append_facts(const CompiledCondition& condition, std::vector<FactId>& facts) const;
  /// Appends what the effect makes true whenever it takes place, and what it may make true beside that.
  void append_effect(const CompiledEffect& effect, std::vector<FactId>& certain,
                     std::vector<FactId>& possible);

  FactId new_mark() { return first_mark() + marks_++; }

  std::size_t size() const { return first_mark() + marks_; }
  std::size_t literals() const { return literals_.size(); }
  FactId first_predicate() const { return static_cast<FactId>(literals_.size()); }
  FactId first_formula() const { return first_predicate() + static_cast<FactId>(predicates_.size()); }
  FactId first_change() const { return first_formula() + static_cast<FactId>(formula_slots_.size()); }
  FactId first_mark() const { return first_change() + static_cast<FactId>(changes_.size()); }
  bool is_literal(FactId fact) const { return fact < first_predicate(); }
  bool is_predicate(FactId fact) const { return fact >= first_predicate() && fact < first_formula(); }
  bool is_formula(FactId fact) const { return fact >= first_formula() && fact < first_change(); }
  bool is_change(FactId fact) const { return fact >= first_change() && fact < first_mark(); }

  const Literal& literal(FactId fact) const { return literals_[fact]; }
  const Predicate& predicate(FactId fact) const { return predicates_[fact - first_predicate()]; }
  const std::vector<Predicate>& predicates() const { return predicates_; }
  const Change& change(FactId fact) const { return changes_[fact - first_change()]; }
  const std::vector<Rule>& rules() const { return rules_; }

  /// The literals of a slot: [first, last).
  std::pair<FactId, FactId> literals_of(std::uint32_t slot) const {
    return {slot_offsets_[slot], slot_offsets_[slot + 1]};
  }
  /// The numbers of the predicates that read a slot.
  std::span<const std::uint32_t> predicates_reading(std::uint32_t slot) const {
    return {readers_.data() + reader_offsets_[slot], readers_.data() + reader_offsets_[slot + 1]};
  }
  /// The changes of a slot.
  const std::vector<FactId>& changes_of(std::uint32_t slot) const { return changes_of_slot_[slot]; }
  /// Every slot on which the truth of a fact rests, ascending; none of a change.
  std::span<const std::uint32_t> slots_of(FactId fact) const;
  /// How often the change has to happen, from these values and on its own, for the predicate to hold; `never`
  /// if it does not help. 1 where it cannot be told.
  std::uint32_t repetitions(const Change& change, std::uint32_t predicate, const ValueId* values) const;
  std::size_t slots() const { return slot_offsets_.size() - 1; }
  const ValueTable& values() const { return tables_.values; }

 private:
  /// What a conjunct that is no literal stands for.
  struct Formula {
    enum class Kind : std::uint8_t { literal, predicate, all_of, one_of };
    Kind kind;
    std::uint32_t number = 0;  // of the predicate; of a disjunction or an inner conjunction: from 0
    Literal literal{};
    std::vector<std::uint32_t> parts;  // formulas
  };

  static Literal as_positive(const CompiledCondition::Literal& literal);
  void ask(const Literal& literal);
  std::uint32_t formula(Node* node);
  std::uint32_t leaf(Node* node);
  std::uint32_t add_predicate(Node* node);
  FactId literal_fact(const Literal& literal) const;
  /// The facts whose conjunction the formula is.
  void append_formula(std::uint32_t formula, std::vector<FactId>& facts) const;
  void add_rules();
  void index_predicates();
  void append_value(std::uint32_t slot, ValueId value, std::vector<FactId>& facts) const;
  void append_any_value(std::uint32_t slot, std::vector<FactId>& facts) const;
  FactId change_of(std::uint32_t slot, Change::Kind kind, double amount);
  void append_change(std::uint32_t slot, const CompiledExpression& value, std::vector<FactId>& facts);

  EvaluationTables& tables_;
  bool is_frozen_ = false;
  std::vector<Literal> literals_;
  std::vector<FactId> slot_offsets_;  // into literals_
  std::vector<Predicate> predicates_;
  std::vector<std::uint32_t> reader_offsets_, readers_;
  std::vector<Formula> formulas_;
  std::unordered_map<Node*, std::uint32_t> formula_numbers_;
  std::unordered_map<Node*, std::uint32_t> predicate_numbers_;
  std::uint32_t formula_facts_ = 0;
  std::vector<std::vector<std::uint32_t>> formula_slots_;  // by formula fact
  std::vector<Rule> rules_;
  std::vector<Change> changes_;
  std::vector<std::vector<FactId>> changes_of_slot_;
  std::uint32_t marks_ = 0;
};

}  // namespace zorvel
