#include "validation/plan_rows.h"

// Plans with durations that the world chooses, and verdicts found by hand: a plan is valid if it works for
// every duration. Effects are seen from behind their instant on.

namespace zorvel {
namespace {

/// `boil` ends at any moment from 2 to 5 behind its start.
#define KETTLE                                                             \
  "fluent boolean hot := false; fluent boolean seen := false;"             \
  "action boil() { duration :in [2, 5]; [end] hot := true; };"             \
  "action cool() { duration := 1; [start] hot := false; };"                \
  "action need_hot() { duration := 1; [start] hot; [end] seen := true; };" \
  "action need_cold() { duration := 1; [start] not hot; [end] seen := true; };"

TEST(UncertaintyPlans, ConditionsReadTheOldValueBeforeTheStretchAndTheNewOneBehindIt) {
  expect_verdicts(
      KETTLE "goal [end] hot;",
      {
          {"nothing else happens", "0: boil() [5]"},
          {"the plan has to name the longest duration", "0: boil() [4.9]", "duration"},
          {"and not the shortest one", "0: boil() [2]", "duration"},
          {"a longer one neither", "0: boil() [6]", "duration"},
          {"hot before it began", "1: need_hot() [1]\n1: boil() [5]", "Condition hot is violated"},
          {"hot at the earliest end", "0: boil() [5]\n2: need_hot() [1]", "Condition hot"},
          {"hot in the middle of the stretch", "0: boil() [5]\n4: need_hot() [1]", "Condition hot"},
          {"hot at the latest end", "0: boil() [5]\n5: need_hot() [1]", "Condition hot"},
          {"hot behind the latest end", "0: boil() [5]\n5.00001: need_hot() [1]"},
          {"cold before the stretch", "0: boil() [5]\n1: need_cold() [1]"},
          {"cold at the earliest end", "0: boil() [5]\n2: need_cold() [1]"},
          {"cold just behind the earliest end", "0: boil() [5]\n2.00001: need_cold() [1]",
           "Condition (not hot_sigma) is violated"},
          {"cold at the latest end", "0: boil() [5]\n5: need_cold() [1]",
           "Condition (not hot_sigma) is violated"},
          {"all times are shifted with the start", "3: boil() [5]\n5: need_cold() [1]"},
          {"and so is the end", "3: boil() [5]\n8: need_hot() [1]", "Condition hot"},
      });
}

TEST(UncertaintyPlans, NothingElseMayChangeTheFluentInTheStretch) {
  expect_verdicts(
      KETTLE "goal [end] hot;",
      {
          {"before it", "0: boil() [5]\n1.99999: cool() [1]"},
          {"at the earliest end", "0: boil() [5]\n2: cool() [1]", "Double effect on hot_sigma"},
          {"in it", "0: boil() [5]\n3: cool() [1]", "hot_sigma == true"},
          {"at the latest end", "0: boil() [5]\n5: cool() [1]", "Double effect on hot"},
          {"behind it the goal fails", "0: boil() [5]\n5.1: cool() [1]", "Condition hot is violated"},
          {"and the next boiling mends that", "0: boil() [5]\n5.1: cool() [1]\n5.2: boil() [5]"},
          {"two boilings may overlap", "0: boil() [5]\n1: boil() [5]"},
      });
  const std::string doors =
      "fluent boolean open := false;"
      "action push() { duration :in [2, 5]; [end] open := true; };"
      "action pull() { duration :in [2, 5]; [end] open := false; };";
  expect_verdicts(doors + "goal [end] not open;",
                  {
                      {"one behind the other", "0: push() [5]\n5.00001: pull() [5]"},
                      {"stretches one behind the other", "0: push() [5]\n3.00001: pull() [5]"},
                      {"the longest end meets the shortest", "0: push() [5]\n3: pull() [5]", "Double effect"},
                      {"stretches that overlap", "0: push() [5]\n2: pull() [5]", "open_sigma == true"},
                      {"twice the same is no news", "0: pull() [5]\n1: pull() [5]"},
                  });
  // Whoever reads what he writes needs it certain.
  expect_verdicts(doors + "action toggle() { duration :in [1, 3]; [end] open := not open; };",
                  {
                      {"twice there and back", "0: toggle() [3]\n2.1: toggle() [3]"},
                      {"but not at once", "0: toggle() [3]\n1: toggle() [3]", "open == open_sigma"},
                      {"nor one beside another's end", "0: push() [5]\n4: toggle() [3]\n10: pull() [5]",
                       "open == open_sigma"},
                  });
}

TEST(UncertaintyPlans, DurativeConditionsAndGoalsHoldForEveryDuration) {
  const std::string kettle = KETTLE
      "action freeze() { duration := 4; [start, end] not hot; }; action steam() { duration := 4; (start, "
      "end] "
      "hot; }; action glow() { duration := 4; [start, end) hot or seen; };";
  expect_verdicts(kettle,
                  {
                      {"over before the stretch", "3: boil() [5]\n0: freeze() [4]"},
                      {"up to its very beginning", "3: boil() [5]\n1: freeze() [4]"},
                      {"reaching into it", "3: boil() [5]\n1.5: freeze() [4]", "not hot_sigma"},
                      {"from its end, which is not included", "3: boil() [5]\n8: steam() [4]"},
                      {"from before its end", "3: boil() [5]\n7.9: steam() [4]", "Durative Condition hot"},
                      {"either of two may hold", "0: need_cold() [1]\n1.5: glow() [4]\n2: boil() [5]"},
                      {"where neither does for sure", "0: boil() [5]\n4: glow() [4]", "hot"},
                  });
  const std::string cooling =
      "fluent boolean hot := true; action cool_down() { duration :in [2, 5]; [end] hot := false; };";
  expect_verdicts(cooling + "goal [end] not hot;", {{"goal behind all", "0: cool_down() [5]"}});
  expect_verdicts(cooling + "goal [end] hot;", {{"in both readings", "0: cool_down() [5]", "Condition hot"}});
  // The end of the problem lies 1 behind the last event.
  expect_verdicts(cooling + "[4] hot;", {{"a time in the stretch", "0: cool_down() [5]", "hot_sigma"},
                                         {"a time before it", "2: cool_down() [5]"}});
  expect_verdicts(cooling + "[4, 5.5] contains hot; goal [end] true;",
                  {{"hot may be over by then", "0: cool_down() [5]", "Contains condition"},
                   {"hot for a moment at least", "2.1: cool_down() [5]"}});
}

TEST(UncertaintyPlans, ConditionsOfTheActionItselfAreMetWhenItEnds) {
  const std::string lamp =
      "fluent boolean lit := true;"
      "action off() { duration := 1; [start] lit := false; }; action on() { duration := 1; [start] lit := "
      "true; };";
  expect_verdicts(
      lamp + "action read() { duration :in [2, 5]; [end] lit; };",
      {
          {"lit all the time", "0: read() [5]"},
          {"lit from shortly before the earliest end", "0: off() [1]\n1.99999: on() [1]\n0: read() [5]"},
          {"lit from the earliest end", "0: off() [1]\n2: on() [1]\n0: read() [5]", "Durative Condition lit"},
          {"off in the stretch", "0: read() [5]\n3: off() [1]\n4: on() [1]", "Durative Condition lit"},
          {"off at the latest end", "0: read() [5]\n5: off() [1]"},
      });
  expect_verdicts(lamp + "action read() { duration :in [2, 5]; [start, end - 1] lit; };",
                  {
                      {"off at the end of the longest condition", "0: read() [5]\n4: off() [1]"},
                      {"off before it", "0: read() [5]\n3.9: off() [1]", "Durative Condition lit"},
                  });
  const std::string candle =
      lamp + "action burn() { duration :in [2, 5]; [start, end] lit; [end] lit := false; };";
  expect_verdicts(candle, {
                              {"its own effect comes behind its condition", "0: burn() [5]"},
                              {"put out by somebody else", "0: burn() [5]\n1: off() [1]", "lit"},
                              {"put out in the stretch, as it may be already", "0: burn() [5]\n3: off() [1]",
                               "Durative Condition lit"},
                              {"two of them", "0: burn() [5]\n1: burn() [5]", "lit"},
                              {"lit again between two", "0: burn() [5]\n5.1: on() [1]\n5.2: burn() [5]"},
                          });
}

TEST(UncertaintyPlans, EffectsBeforeTheEndAndValuesThatArePassedOn) {
  const std::string oven =
      "fluent boolean ready := false; fluent integer [0, 9] loaves := 0; fluent integer [0, 9] sold := 0;"
      "action bake() { duration :in [4, 6]; [end - 2] ready := true; [end] loaves := loaves + 1; };"
      "action look() { duration := 1; [start] ready; }; action blind_look() { duration := 1; [start] not "
      "ready; };"
      "action sell() { duration := 1; [end] sold := loaves; };";
  expect_verdicts(oven, {
                            {"ready for sure", "0: bake() [6]\n4.1: look() [1]"},
                            {"perhaps not yet", "0: bake() [6]\n4: look() [1]", "Condition ready"},
                            {"not yet for sure", "0: bake() [6]\n2: blind_look() [1]"},
                            {"perhaps already", "0: bake() [6]\n2.1: blind_look() [1]", "not ready_sigma"},
                            {"sold before the stretch", "0: bake() [6]\n3: sell() [1]"},
                            {"sold in it, with a number that nobody knows", "0: bake() [6]\n4: sell() [1]",
                             "loaves == loaves_sigma"},
                            {"sold behind it", "0: bake() [6]\n5.1: sell() [1]"},
                        });
  expect_verdicts(
      oven + "goal [end] sold == 2;",
      {
          {"counted one by one", "0: bake() [6]\n6.1: bake() [6]\n12: sell() [1]"},
          {"counted one too early", "0: bake() [6]\n6: sell() [1]\n6.1: bake() [6]", "Condition (sold == 2)"},
      });
}

TEST(UncertaintyPlans, WhatIsWrittenAtTheEndMayDependOnAFluent) {
  const std::string places =
      "type Place; instance Place a, b, c; fluent Place at := a; fluent Place beside(Place p);"
      "fluent boolean seen(Place p); forall (Place p) { [start] seen(p) := false; };"
      "[start] beside(a) := b; [start] beside(b) := c;"
      "[start] beside(c) := c;"
      "action go(Place to) { duration := 2; [end] at := to; };"
      "action look() { duration :in [1, 3]; [end] seen(at) := true; };"
      "action look_beside() { duration :in [1, 3]; [end - 1] seen(beside(at)) := true; };";
  expect_verdicts(places + "[end] seen(b);",
                  {
                      {"the place stays", "0: go(b) [2]\n3: look() [3]"},
                      {"the place is the one before the step", "0: go(b) [2]\n2: look() [3]"},
                      {"another place", "0: look() [3]", "Condition seen(b)"},
                      {"the place may change while it is written", "0: go(b) [2]\n0.5: look() [3]", "at"},
                      {"it changes at the earliest end", "0: go(b) [2]\n1: look() [3]", "at"},
                      {"two fluents deep", "0: look_beside() [3]"},
                      {"two fluents deep, elsewhere", "0: go(c) [2]\n3: look_beside() [3]", "seen(b)"},
                  });
  expect_verdicts(places + "[3.5] not seen(b); [end] seen(b);",
                  {{"never before the earliest end", "0: go(b) [2]\n3: look() [3]"},
                   {"or perhaps before", "0: go(b) [2]\n2.2: look() [3]", "seen_sigma(b)"}});
}

}  // namespace
}  // namespace zorvel
