#pragma once

#include <array>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/picker.h"

namespace zorvel::pddl {

/// A small domain and problem in which all that PDDL has may meet: types below types and `either`, constants,
/// overloaded names and names that are keywords elsewhere, actions with and without a duration, all forms of
/// durations, conditions with all connectives, `when`, `forall`, several effects on one atom, numbers, timed
/// facts, constraints. The features are drawn.
class RandomPddl {
 public:
  explicit RandomPddl(unsigned seed) : random_(seed) {}

  /// The domain, with a problem that wants nothing.
  void make() {
    has_hierarchy_ = !chance(4);
    for (int i = 0, actions = random_.between(2, 3); i < actions; ++i) make_action(i);
    std::ostringstream out;
    out << "(define (domain "
        << "d"
        << ")\n(:requirements :adl :durative-actions)\n(:types "
        << (has_hierarchy_ ? "car boat - thing thing place - object" : "car boat thing place") << ")\n"
        << "(:constants " << (chance(2) ? "l1 - place" : "") << ")\n"
        << "(:predicates (at ?x - " << movable() << " ?p - place) (done ?x - " << movable()
        << ") (done) (done ?x - " << movable()
        << " ?p - place) (road ?a ?b - place) (end ?p))\n(:functions (fuel ?x - " << movable() << ") (total)"
        << (chance(2) ? " - number" : "") << " (rate ?x - " << movable() << "))\n"
        << actions_.str() << ")\n";
    domain = out.str();
    make_problem();
    if (chance(6))
      for (char& c : domain) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }

  /// The problem with this goal, and perhaps more that is drawn.
  void set_goal(const std::string& goal) {
    std::string more;
    if (chance(6)) more = formula({});
    problem = beginning_ + "(:goal (and " + goal + more + "))\n" + constraints_ + ")\n";
  }
  Picker& random() { return random_; }

  std::string domain, problem;

 private:
  struct Variable {
    std::string name, type;
  };
  using Scope = std::vector<Variable>;

  bool chance(int one_in) { return random_.chance(one_in); }
  int pick(int bound) { return random_.pick(bound); }
  std::string one_of(const std::vector<std::string>& choices) { return random_.one_of(choices); }
  std::string movable() const { return has_hierarchy_ ? "thing" : "(either car boat)"; }
  std::string some_movable() { return chance(2) ? movable() : one_of({"car", "boat", "(either boat car)"}); }

  static bool is_place(const std::string& type) { return type == "place"; }
  std::string argument(const Scope& scope, bool place) {
    std::vector<std::string> choices;
    for (const Variable& variable : scope)
      if (is_place(variable.type) == place) choices.insert(choices.end(), 3, "?" + variable.name);
    if (place)
      choices.insert(choices.end(), {"l1", "l2"});
    else
      choices.insert(choices.end(), {"c1", "b1"});
    return one_of(choices);
  }
  std::string thing(const Scope& scope) { return argument(scope, false); }
  std::string place(const Scope& scope) { return argument(scope, true); }

  std::string changing_atom(const Scope& scope) {
    switch (pick(6)) {
      case 0: return "(done)";
      case 1: return "(done " + thing(scope) + ")";
      case 2: return "(done " + thing(scope) + " " + place(scope) + ")";
      case 3: return "(end " + place(scope) + ")";
      default: return "(at " + thing(scope) + " " + place(scope) + ")";
    }
  }
  std::string atom(const Scope& scope) {
    return chance(6) ? "(road " + place(scope) + " " + place(scope) + ")" : changing_atom(scope);
  }
  std::string function(const Scope& scope) {
    return chance(2) ? (chance(4) ? "total" : "(total)") : "(fuel " + thing(scope) + ")";
  }
  std::string number(const Scope& scope, bool has_duration = false) {
    if (has_duration && chance(2)) return chance(2) ? "?duration" : "(* 2 ?duration)";
    switch (pick(7)) {
      case 0: return "(rate " + thing(scope) + ")";
      case 1: return function(scope);
      case 2: return "(+ " + number(scope) + " 1)";
      case 3: return "(- (/ " + function(scope) + " 2))";
      default: return one_of({"1", "2", "0.5", "1e0", "3"});
    }
  }
  std::string comparison(const Scope& scope) {
    return "(" + one_of({"<", "<=", ">", ">=", "="}) + " " + function(scope) + " " + number(scope) + ")";
  }
  std::string formula(const Scope& scope, int depth = 2) {
    if (depth == 0 || chance(3)) return atom(scope);
    switch (pick(10)) {
      case 0: return "(not " + formula(scope, depth - 1) + ")";
      case 1: return "(or " + formula(scope, depth - 1) + " " + formula(scope, depth - 1) + ")";
      case 2: return "(and " + formula(scope, depth - 1) + " " + formula(scope, depth - 1) + ")";
      case 3: return "(imply " + formula(scope, depth - 1) + " " + formula(scope, depth - 1) + ")";
      case 4:
      case 5: {
        const Variable bound{"z", chance(2) ? "place" : some_movable()};
        return "(" + one_of({"forall", "exists"}) + " (?z - " + bound.type + ") " +
               formula(with(scope, bound), depth - 1) + ")";
      }
      case 6: {
        const bool of_places = chance(2);
        return "(= " + argument(scope, of_places) + " " + argument(scope, of_places) + ")";
      }
      case 7:
      case 8: return comparison(scope);
      default: return "(not " + atom(scope) + ")";
    }
  }
  static Scope with(Scope scope, const Variable& variable) {
    std::erase_if(scope, [&](const Variable& other) { return other.name == variable.name; });
    scope.push_back(variable);
    return scope;
  }

  std::string timed_condition(const Scope& scope) {
    const std::string time = one_of({"at start", "at  start", "over all", "at end"});
    if (chance(6))
      return "(forall (?z - place) (" + time + " " + formula(with(scope, {"z", "place"}), 1) + "))";
    return "(" + time + " " + formula(scope, chance(2) ? 0 : 2) + ")";
  }

  void make_action(int number) {
    const bool is_durative = !chance(3);
    Scope scope;
    std::string parameters;
    const int count = pick(3);
    for (int i = 0; i < count; ++i) {
      scope.push_back({std::string(1, static_cast<char>('x' + i)), chance(2) ? "place" : some_movable()});
      parameters += " ?" + scope.back().name + " - " + scope.back().type;
    }
    actions_ << (is_durative ? "(:durative-action a" : "(:action a") << number;
    if (count > 0 || chance(2)) actions_ << " :parameters (" << parameters << ")";
    bool has_duration = false;
    if (is_durative) has_duration = write_duration(scope);
    actions_ << "\n  " << (is_durative ? ":condition" : ":precondition") << " (and";
    for (int i = pick(3); i > 0; --i)
      actions_ << " " << (is_durative ? timed_condition(scope) : formula(scope));
    actions_ << ")\n  :effect (and";
    assigned_.clear();
    summed_.clear();
    for (int i = random_.between(1, 4); i > 0; --i) {
      if (!is_durative) {
        actions_ << " " << effect(scope, 0, false);
        continue;
      }
      const bool at_end = !chance(3);
      const std::string time = at_end ? "at end" : "at start";
      if (chance(8)) {
        // A condition at another time than the effect.
        actions_ << " (when (" << (at_end ? one_of(other_times_) : std::string("at start")) << " "
                 << formula(scope, 1) << ") (" << time << " " << simple_effect(scope, at_end, has_duration)
                 << "))";
      } else if (chance(8)) {
        actions_ << " (forall (?z - place) (" << time << " "
                 << simple_effect(with(scope, {"z", "place"}), at_end, false) << "))";
      } else {
        actions_ << " (" << time << " " << effect(scope, at_end, has_duration) << ")";
      }
    }
    actions_ << "))\n";
  }

  /// Whether `?duration` may be used.
  bool write_duration(const Scope& scope) {
    actions_ << "\n  ";
    switch (pick(9)) {
      case 0: actions_ << ":duration ()"; return false;
      case 1: return false;
      case 2: actions_ << ":duration (<= ?duration " << random_.between(1, 3) << ")"; return false;
      case 3:
        actions_ << ":duration (and (>= ?duration " << random_.between(1, 2) << ") (at start (<= ?duration "
                 << number(scope) << ")))";
        return false;
      case 4: actions_ << ":duration (= (+ 1 " << function(scope) << ") ?duration)"; return true;
      case 5: actions_ << ":duration (at start (= ?duration (rate " << thing(scope) << ")))"; return true;
      default: actions_ << ":duration (= ?duration " << one_of({"1", "2", "3", "1.5"}) << ")"; return true;
    }
  }

  std::string simple_effect(const Scope& scope, bool at_end, bool has_duration) {
    if (chance(4)) return change(scope, at_end, has_duration);
    return chance(3) ? "(not " + changing_atom(scope) + ")" : changing_atom(scope);
  }
  /// The reader refuses what never goes together, so a function that is assigned is changed but once at a
  /// time.
  std::string change(const Scope& scope, bool at_end, bool has_duration) {
    const std::string target = function(scope);
    const bool in_quantifier = !scope.empty() && scope.back().name == "z";
    const std::string kind =
        in_quantifier ? "increase"
                      : one_of({"increase", "increase", "decrease", "assign", "scale-up", "scale-down"});
    const std::string moment = (target == "total" ? "(total)" : target) + (at_end ? " end" : " start");
    const bool is_sum = kind == "increase" || kind == "decrease";
    if (assigned_.contains(moment) || (!is_sum && summed_.contains(moment))) return "(done)";
    (is_sum ? summed_ : assigned_).insert(moment);
    return "(" + kind + " " + target + " " +
           (kind == "scale-down" ? std::string("2") : number(scope, has_duration)) + ")";
  }
  std::string effect(const Scope& scope, bool at_end, bool has_duration) {
    switch (pick(7)) {
      case 0: return "(when " + formula(scope, 1) + " " + simple_effect(scope, at_end, has_duration) + ")";
      case 1: {
        const Variable bound{"z", chance(2) ? "place" : some_movable()};
        const Scope inner = with(scope, bound);
        return "(forall (?z - " + bound.type + ") (when " + formula(inner, 1) + " " +
               (chance(2) ? changing_atom(inner) : "(not " + changing_atom(inner) + ")") + "))";
      }
      case 2: {
        // Often one atom, where parameters stand for one object.
        if (chance(2)) return "(and (not (end " + place(scope) + ")) (end " + place(scope) + "))";
        return "(and (not (at " + thing(scope) + " " + place(scope) + ")) (at " + thing(scope) + " " +
               place(scope) + "))";
      }
      default: return simple_effect(scope, at_end, has_duration);
    }
  }

  void make_problem() {
    std::ostringstream out;
    out << "(define (problem e) (:domain d)\n(:objects c1 - car b1 - "
        << (chance(4) ? "(either boat car)" : "boat") << " l1 l2 - place)\n(:init";
    for (const char* thing : {"c1", "b1"}) {
      out << " (= (fuel " << thing << ") " << pick(3) << ") (= (rate " << thing << ") "
          << one_of({"1", "2", "1.5"}) << ")";
      if (!chance(4)) out << " (at " << thing << " " << place({}) << ")";
    }
    out << " (= (total) " << pick(3) << ")";
    for (const char* road : {"l1 l2", "l2 l1", "l1 l1"})
      if (chance(2)) out << " (road " << road << ")";
    for (int i = pick(3); i > 0; --i) out << " " << changing_atom({});
    if (chance(4)) out << " (not (done b1))";
    for (int i = chance(3) ? random_.between(1, 2) : 0; i > 0; --i)
      out << " (at " << one_of({"1", "2", "2.5", "4"}) << " "
          << (chance(4)   ? "(= (total) " + one_of({"0", "2"}) + ")"
              : chance(2) ? changing_atom({})
                          : "(not " + changing_atom({}) + ")")
          << ")";
    beginning_ = out.str() + ")\n";
    if (chance(3)) {
      constraints_ = "(:constraints (and " + constraint();
      if (chance(3)) constraints_ += " (forall (?z - place) " + constraint({{"z", "place"}}) + ")";
      constraints_ += "))\n";
    }
    problem = beginning_ + "(:goal ())\n" + constraints_ + ")\n";
  }

  std::string constraint(const Scope& scope = {}) {
    switch (pick(10)) {
      case 0: return "(at end " + formula(scope) + ")";
      case 1: return "(always " + formula(scope, 1) + ")";
      case 2: return "(sometime " + formula(scope, 1) + ")";
      case 3: return "(within " + one_of({"2", "3.5", "5"}) + " " + formula(scope, 1) + ")";
      case 4: return "(hold-during " + one_of({"0.5 2", "1 3"}) + " " + formula(scope, 1) + ")";
      case 5: return "(hold-after " + one_of({"1", "3"}) + " " + formula(scope, 1) + ")";
      case 6: return "(sometime-after " + formula(scope, 1) + " " + formula(scope, 1) + ")";
      case 7: return "(sometime-before " + formula(scope, 1) + " " + formula(scope, 1) + ")";
      case 8:
        return "(always-within " + one_of({"1", "2.5"}) + " " + formula(scope, 1) + " " + formula(scope, 1) +
               ")";
      default: return "(at-most-once " + formula(scope, 1) + ")";
    }
  }

  Picker random_;
  bool has_hierarchy_ = true;
  std::ostringstream actions_;
  std::string beginning_, constraints_;      // of the problem
  std::set<std::string> assigned_, summed_;  // functions of the action at hand, with the time
  const std::vector<std::string> other_times_{"at start", "at end", "over all"};
};

}  // namespace zorvel::pddl
