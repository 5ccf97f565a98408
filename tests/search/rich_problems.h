#pragma once

#include <random>
#include <sstream>
#include <string>

namespace zorvel {

/// Small problems in which several modelling features meet: types with fluents, constants and actions of
/// their own, parameters, forall, nested references, counters, sets, durations that the world chooses,
/// statements that hold at some moment. The features are drawn; many problems have a plan of a few steps.
class RichProblem {
 public:
  explicit RichProblem(unsigned seed) : random_(seed) {}

  std::string text() {
    has_sets_ = chance(2);
    has_contains_ = chance(3);
    declare();
    for (int i = 0; i < 2; ++i) add_robot_action(i);
    if (chance(2)) add_load();
    if (chance(2)) add_clean_all();
    if (chance(2)) add_follow();
    initialize();
    add_goals();
    return out_.str();
  }

 private:
  int pick(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }
  bool chance(int one_in) { return pick(one_in) == 0; }
  std::string place() { return "l" + std::to_string(pick(2)); }
  std::string robot() { return "r" + std::to_string(pick(2)); }

  void declare() {
    out_ << "type Place; instance Place l0, l1;\n"
            "fluent boolean clean(Place p); fluent integer [0, 3] count; fluent boolean busy;\n"
            "fluent Place goal_of(Place p);\n";
    if (has_sets_)
      out_ << "fluent set(Place) seen; constant set(Place) all_places; all_places := {l0, l1};\n";
    out_ << "type Robot with {\n  fluent Place at; fluent boolean idle; constant integer pace;\n"
            "  action go(Place from, Place to) {\n";
    duration("pace");
    out_ << "    [start] from != to; [start] at == from; [start] idle;\n"
            "    [start] idle := false; [end] at := to; [end] idle := true;\n";
    if (chance(2)) out_ << "    (start, end) clean(from);\n";
    if (has_sets_ && chance(2)) out_ << "    [end] seen := seen union {to};\n";
    out_ << "  };\n};\ninstance Robot r0, r1;\nr0.pace := " << 1 + pick(3) << "; r1.pace := " << 1 + pick(3)
         << ";\n";
  }

  void duration(const std::string& fixed) {
    const int low = 1 + pick(3);
    switch (pick(4)) {
      case 0: out_ << "    duration := " << fixed << ";\n"; break;
      case 1: out_ << "    duration >= " << low << " and duration <= " << low + 2 << ";\n"; break;
      case 2: out_ << "    duration :in [" << low << ", " << low + pick(3) << "];\n"; break;
      default: out_ << "    duration := " << low << ";\n"; break;
    }
  }

  void add_robot_action(int number) {
    out_ << "action work" << number << "(Robot r, Place p) {\n";
    duration("r.pace");
    out_ << "    "
         << (chance(2)   ? "[start]"
             : chance(2) ? "[start, end]"
                         : "(start, end]")
         << " r.at == p;\n";
    if (chance(2)) out_ << "    [start] not busy; [start] busy := true; [end] busy := false;\n";
    if (chance(3)) out_ << "    [start] count >= 1;\n";
    if (has_sets_ && chance(3)) out_ << "    [start] p in seen;\n";
    switch (pick(3)) {
      case 0: out_ << "    [end] clean(p) := true;\n"; break;
      case 1: out_ << "    [start] clean(p) := false; [end] clean(p) := true;\n"; break;
      default: out_ << "    [start] clean(p) := true;\n"; break;
    }
    if (chance(2)) out_ << "    [" << (chance(2) ? "start" : "end") << "] count :+= 1;\n";
    out_ << "};\n";
  }

  void add_load() {
    out_ << "action reset(Place p) {\n    duration := 1; [start] count >= 1; [start] count := count - 1;\n";
    if (has_sets_)
      out_ << "    [end] seen := " << (chance(2) ? "seen \\ {p}" : chance(2) ? "all_places" : "{p}") << ";\n";
    out_ << "    [end] goal_of(p) := " << place() << ";\n};\n";
  }

  void add_clean_all() {
    out_ << "action sweep() {\n    duration := 2; [start] not busy;\n"
            "    [start] forall (Place p) { clean(p) := false; };\n"
            "    [end] forall (Place p) { clean(p) := true; };\n};\n";
  }

  void add_follow() {
    out_ << "action follow(Robot r) {\n";
    duration("2");
    out_ << "    [start] clean(goal_of(r.at)); [end] count :+= 1;\n};\n";
  }

  void initialize() {
    out_ << "[start] {\n  forall (Place p) { clean(p) := " << (chance(3) ? "true" : "false")
         << "; };\n  goal_of(l0) := " << place() << "; goal_of(l1) := " << place()
         << ";\n  count := " << pick(2) << "; busy := false;\n  r0.at := " << place()
         << "; r1.at := " << place() << "; r0.idle := true; r1.idle := " << (chance(2) ? "true" : "false")
         << ";\n";
    if (has_sets_) out_ << "  seen := " << (chance(2) ? "{}" : "{" + place() + "}") << ";\n";
    out_ << "};\n";
  }

  void add_goals() {
    if (has_contains_)
      out_ << (chance(2) ? "[start, end]" : "[1, 6]") << " contains " << (chance(2) ? "busy" : "clean(l0)")
           << ";\n";
    if (has_sets_ && chance(2))
      out_ << "goal [end] " << (chance(2) ? "all_places subset seen" : place() + " in seen") << ";\n";
    switch (pick(4)) {
      case 0: out_ << "goal [end] clean(" << place() << ");\n"; break;
      case 1: out_ << "goal [end] " << robot() << ".at == " << place() << ";\n"; break;
      case 2: out_ << "goal [end] count >= 2;\n"; break;
      default: out_ << "goal [end] forall (Place p) { clean(p); };\n"; break;
    }
  }

  std::mt19937 random_;
  std::ostringstream out_;
  bool has_sets_ = false, has_contains_ = false;
};

}  // namespace zorvel
