#include "validation/plan_rows.h"

// Plans for problems with statements that something holds at some moment of an interval, and verdicts found
// by hand. An effect is seen from behind its instant on.

namespace zorvel {
namespace {

/// The last statement lets time pass behind all intervals.
#define LAMP                                                   \
  "fluent boolean lit := false; fluent boolean late := false;" \
  "action on() { duration := 1; [start] lit := true; };"       \
  "action off() { duration := 1; [start] lit := false; };"     \
  "[20] late := true; goal [end] late;"

TEST(ContainsPlans, AnyMomentOfAClosedIntervalWillDo) {
  expect_verdicts(LAMP "[5, 10] contains lit;",
                  {
                      {"never", "", "Contains condition lit is violated"},
                      {"from before it on", "1: on() [1]"},
                      {"before it only", "1: on() [1]\n4: off() [1]", "Contains condition lit"},
                      {"up to its very beginning", "1: on() [1]\n5: off() [1]"},
                      {"between two events inside, with none in between", "6: on() [1]\n8: off() [1]"},
                      {"for a hundred-thousandth", "6: on() [1]\n6.00001: off() [1]"},
                      {"from shortly before its end", "9.99999: on() [1]"},
                      {"by an effect at its end, seen behind it", "10: on() [1]", "Contains condition lit"},
                      {"behind it", "12: on() [1]", "Contains condition lit"},
                      {"by an effect at its beginning", "5: on() [1]"},
                      {"once is enough", "6: on() [1]\n7: off() [1]\n8: on() [1]\n9: off() [1]"},
                  });
}

TEST(ContainsPlans, ExcludedEndsDoNotCount) {
  expect_verdicts(
      LAMP "(5, 10) contains lit;",
      {
          {"up to its beginning, which is excluded", "1: on() [1]\n5: off() [1]", "Contains condition lit"},
          {"up to just behind its beginning", "1: on() [1]\n5.00001: off() [1]"},
          {"from its beginning on", "5: on() [1]"},
          {"between two events inside", "6: on() [1]\n8: off() [1]"},
          {"from its end on", "10: on() [1]", "Contains condition lit"},
      });
  expect_verdicts(LAMP "(5, 10] contains not lit;",
                  {
                      {"off all the time", ""},
                      {"on before it, and off inside", "1: on() [1]\n7: off() [1]"},
                      {"on from its beginning", "5: on() [1]", "Contains condition (not lit)"},
                      {"on until its end", "1: on() [1]\n10: off() [1]", "Contains condition (not lit)"},
                  });
}

TEST(ContainsPlans, StatementsAreIndependentOfOneAnother) {
  expect_verdicts(LAMP "[2, 6] contains lit; [4, 8] contains not lit; [start, 3] contains (lit and late);",
                  {{"the last one never", "3: on() [1]\n5: off() [1]", "Contains condition (lit and late)"}});
  expect_verdicts(LAMP "[2, 6] contains lit; [4, 8] contains not lit;",
                  {
                      {"on, then off", "3: on() [1]\n5: off() [1]"},
                      {"off, then on", "5: on() [1]"},
                      {"on all the time", "1: on() [1]", "Contains condition (not lit)"},
                      {"off all the time", "", "Contains condition lit"},
                      {"one moment each, at a common event", "3.9: on() [1]\n4: off() [1]"},
                  });
}

TEST(ContainsPlans, IntervalsMayReachToTheEnd) {
  const char* const lamp =
      "fluent boolean lit := true; fluent boolean done := false; goal [end] done;"
      "action off() { duration := 1; [start] lit := false; };"
      "action on() { duration := 1; [start] lit := true; };"
      "action work() { duration := 3; [end] done := true; };";
  expect_verdicts(lamp + std::string("[start, end] contains not lit;"),
                  {{"off now and then", "0: work() [3]\n1: off() [1]\n2: on() [1]"},
                   {"off at last", "0: work() [3]\n4: off() [1]"}});
  // The plan's end lies 1 behind the last event, so the second one ends where the plan does.
  expect_verdicts(lamp + std::string("[end - 4, end - 2] contains not lit;"),
                  {{"too early", "0: off() [1]\n1: on() [1]\n7: work() [3]", "Contains condition (not lit)"},
                   {"in it", "0: off() [1]\n7.5: on() [1]\n7: work() [3]"},
                   {"too late", "7: work() [3]\n9.5: off() [1]", "Contains condition (not lit)"}});
}

TEST(ContainsPlans, TheEndOfThePlanLiesBehindAllThatIsMeasuredFromItsStart) {
  const std::string lamp =
      "fluent boolean lit := false; fluent boolean done := true; goal [end] done;"
      "action on() { duration := 1; [start] lit := true; };"
      "action off() { duration := 1; [start] lit := false; };";
  expect_verdicts(lamp + "[start, end] contains lit;", {{"never", "", "Contains condition lit"},
                                                        {"once", "0: on() [1]\n1: off() [1]"},
                                                        {"at last", "7: on() [1]"}});
  // The last event of the plan comes before the interval begins.
  expect_verdicts(lamp + "[start + 5, end] contains lit;", {{"never", "", "Contains condition lit"},
                                                            {"too early", "0: on() [1]\n2: off() [1]", "lit"},
                                                            {"on in time", "0: on() [1]"}});
  expect_verdicts(lamp + "(4, end) contains lit;",
                  {{"never", "", "Contains condition lit"}, {"on in time", "0: on() [1]"}});
  expect_verdicts(lamp + "[start + 5, end] lit;", {{"never", "", "Durative Condition lit"},
                                                   {"too early", "0: on() [1]\n2: off() [1]", "lit"},
                                                   {"on in time", "0: on() [1]"}});
  expect_verdicts(lamp + "(3, 3) contains done;", {{"no moment", "", "Contains condition done"}});
}

}  // namespace
}  // namespace zorvel
