#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "solver/capi/solver_script.h"

namespace {

struct Polls {
  int count = 0;
  int stop_at = 0;  // 0: never
};

extern "C" int count_poll(void* user_data) {
  Polls& polls = *static_cast<Polls*>(user_data);
  return ++polls.count == polls.stop_at || (polls.stop_at != 0 && polls.count > polls.stop_at) ? 1 : 0;
}

/// Equations with coefficients of several thousand bits: nearly all of the work is in a few row operations.
void add_large_rows(SolverScript& s) {
  for (int row = 0; row < 14; ++row) {
    vesk_term sum = s.num("0");
    for (int i = 0; i < 14; ++i) {
      const std::string digits = std::string(2000, static_cast<char>('1' + (row * 5 + i * 7) % 9));
      sum = s.plus(sum, s.times(s.num((digits + std::to_string(row * 31 + i)).c_str()),
                                s.real("x" + std::to_string(i))));
    }
    s.add(s.leq(sum, s.real("b" + std::to_string(row))));
    s.add(s.leq(s.num("1"), s.real("b" + std::to_string(row))));
  }
}

/// Decisions and nothing else: no conflict, no theory.
void add_choices(SolverScript& s) {
  for (int i = 0; i < 4000; ++i)
    s.add(s.neg(s.conj(s.boolean("p" + std::to_string(i)), s.boolean("p" + std::to_string(i + 1)))));
}

/// Wherever a check is stopped, the answer is `unknown`, and the right one when it may run again.
void stop_everywhere(const std::function<void(SolverScript&)>& add, int least_polls) {
  Polls polls;
  {
    SolverScript s;
    add(s);
    ASSERT_EQ(vesk_set_termination_test(s.env, count_poll, &polls), 0);
    ASSERT_EQ(s.solve(), 1);
  }
  EXPECT_GE(polls.count, least_polls);
  for (int part = 1; part <= 4; ++part) {
    SolverScript s;
    add(s);
    Polls stopping{0, std::max(polls.count * part / 5, 1)};
    ASSERT_EQ(vesk_set_termination_test(s.env, count_poll, &stopping), 0);
    EXPECT_EQ(s.solve(), -1) << part;
    EXPECT_NE(s.error().find("stopped by the termination test"), std::string::npos) << s.error();
    ASSERT_EQ(vesk_set_termination_test(s.env, nullptr, nullptr), 0);
    EXPECT_EQ(s.solve(), 1);
  }
}

TEST(Polling, RowsOfLargeNumbersAreLeftInTheMiddle) { stop_everywhere(add_large_rows, 140); }

TEST(Polling, ASearchWithoutConflictsAsks) { stop_everywhere(add_choices, 90); }

}  // namespace
