#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "transformers/grounding/static_program.h"

// Which combinations of parameter values an action can be grounded with, found by a join instead of a look at
// every combination.
//
// A check that can only pass where a table of a constant has a row (`connected(a, b)` with the default false,
// `duration := distance(a, b)` without one) becomes a relation: the rows that pass it, as digits of its
// parameters. The search then binds one parameter after the other and takes for each only the digits that
// every relation over it still allows, in the manner of the leapfrog triejoin (Veldhuizen, 2014). All other
// checks are tested as soon as their parameters are bound.

namespace zorvel::model {

/// A test on the parameters of an action, in the action's program.
struct StaticCheck {
  StaticProgram::Slot slot;
  /// Whether FALSE makes a combination useless; UNDEFINED always does.
  bool false_fails;
};

class CombinationSearch {
 public:
  /// Index of a value in the domain of its parameter.
  using Digit = std::uint32_t;
  using Visit = std::function<void(std::span<const Digit>)>;

  /// `domains` has the values of each parameter of the program. The program must outlive the search.
  CombinationSearch(StaticProgram& program, std::vector<std::vector<StaticValue>> domains,
                    const std::vector<StaticCheck>& checks);

  /// Calls `visit` with the digits of every combination that no check refuses, in the order of the
  /// combinations' numbers: the first parameter turns fastest.
  void for_each(const Visit& visit);

  /// Combinations there are; saturates.
  std::uint64_t combinations() const;
  std::uint64_t tries() const { return tries_; }  ///< Digits that `for_each` has bound so far.

 private:
  using Parameter = std::uint32_t;
  struct Check {
    std::vector<StaticProgram::Slot> cone;
    std::vector<Parameter> parameters;
    bool false_fails;
  };
  struct Relation {
    std::vector<Parameter> parameters;  // those bound earlier first, once the order is chosen
    std::vector<Digit> rows;            // parameters.size() digits a row, sorted
    std::vector<std::size_t> distinct;  // by column: how many digits occur
    std::size_t size() const { return rows.size() / parameters.size(); }
    Digit at(std::size_t row, std::size_t column) const { return rows[row * parameters.size() + column]; }
  };
  /// Rows of a relation that agree with all digits bound before some level.
  struct Range {
    std::size_t begin, end;
  };
  /// The place of a level's parameter in one relation.
  struct Column {
    std::size_t relation, column;
    Range outer{0, 0};     // on entering the level
    std::size_t next = 0;  // row behind those of the digits tried since
  };
  /// One parameter in the order of the search.
  struct Level {
    Parameter parameter;
    std::vector<Column> columns;     // the first one has the fewest rows and proposes the digits
    std::vector<std::size_t> tests;  // into tests_
    std::size_t next_candidate = 0;  // where there are no columns
  };

  bool fails(const Check& check, const StaticValue& value) const {
    return value.is_undefined() || (check.false_fails && value.is_false());
  }
  bool fails_now(const Check& check) { return fails(check, program_.evaluate(check.cone)); }
  void restrict_candidates(const Check& check);
  /// Turns the check into a relation where it can; whether it is thereby settled.
  bool make_relation(const Check& check);
  bool make_relation(const Check& check, const StaticProgram::Application& application);
  std::vector<Digit> passing_rows(const Check& check, const StaticProgram::Application& application,
                                  const std::vector<Parameter>& parameters);
  bool has_unknown_values(const std::vector<Parameter>& parameters) const;

  std::vector<Parameter> choose_order() const;
  double branching(Parameter parameter, const std::vector<bool>& is_bound) const;
  void make_levels(const std::vector<Parameter>& order);
  void search(const Visit& visit);
  void enter(Level& level);
  void leave(const Level& level);
  /// Binds the next digit that the relations and tests allow; false if there is none.
  bool advance(Level& level);
  std::optional<Digit> propose(Level& level);
  bool narrow(Column& column, Digit digit);

  StaticProgram& program_;
  std::vector<std::vector<StaticValue>> domains_;
  std::vector<std::vector<Digit>> candidates_;  // by parameter: the digits that its own checks allow
  std::vector<Relation> relations_;
  std::vector<Check> tests_;
  std::vector<Level> levels_;
  std::vector<Range> ranges_;  // by relation: the rows that agree with the digits bound now
  std::vector<Digit> digits_;  // by parameter
  bool is_impossible_ = false;
  std::uint64_t tries_ = 0;
};

}  // namespace zorvel::model
