#include <gtest/gtest.h>

#include "search/frame/search_guard.h"

namespace zorvel {
namespace {

TEST(SearchGuard, TheLimitOfExpansionsIsExactAndFinal) {
  SearchLimits limits;
  limits.expansions = 3;
  SearchGuard guard(limits);
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(guard.must_stop_expanding());
  EXPECT_TRUE(guard.must_stop_expanding());
  EXPECT_EQ(guard.outcome(), SearchOutcome::expansion_limit);
  EXPECT_TRUE(guard.must_stop(1));
  EXPECT_TRUE(guard.must_stop_now());
  EXPECT_EQ(guard.outcome(), SearchOutcome::expansion_limit);
}

TEST(SearchGuard, ALoopWithoutASearchIsInterruptedWithinAFewUnitsOfWork) {
  std::atomic<bool> interrupted{false};
  SearchLimits limits;
  limits.interrupted = &interrupted;
  SearchGuard guard(limits);
  for (int i = 0; i < 1000; ++i) ASSERT_FALSE(guard.must_stop(1));
  interrupted = true;
  int calls = 0;
  while (!guard.must_stop(1)) ASSERT_LT(++calls, 100);
  EXPECT_EQ(guard.outcome(), SearchOutcome::interrupted);
}

TEST(SearchGuard, ALimitThatWasOverBeforeTheSearchEndsItAtTheFirstState) {
  SearchLimits limits;
  limits.seconds = 1e-9;
  SearchGuard guard(limits);
  EXPECT_TRUE(guard.must_stop_expanding());
  EXPECT_EQ(guard.outcome(), SearchOutcome::time_limit);
}

TEST(SearchGuard, MemoryIsThatOfTheSearchThatIsWatched) {
  SearchLimits limits;
  limits.memory_bytes = 100;
  SearchGuard guard(limits);
  std::uint64_t bytes = 100;
  {
    const SearchGuard::Watch watch(guard, [&](SearchProgress& progress) { progress.stored_bytes = bytes; });
    EXPECT_FALSE(guard.must_stop_now());
    bytes = 101;
  }
  EXPECT_FALSE(guard.must_stop_now());  // nothing is searched
  const SearchGuard::Watch watch(guard, [&](SearchProgress& progress) { progress.stored_bytes = bytes; });
  EXPECT_TRUE(guard.must_stop_now());
  EXPECT_EQ(guard.outcome(), SearchOutcome::memory_limit);
}

}  // namespace
}  // namespace zorvel
