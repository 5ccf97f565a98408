#include "solver/util/polling.h"

#include <cstdint>

namespace vesk {
namespace {

// why for each thread: terms are made for several environments, and by classes that know none.
thread_local TerminationTest* test_in_force = nullptr;
thread_local std::uint32_t calls = 0;

constexpr std::uint32_t calls_between_polls = 1024;

}  // namespace

PollingScope::PollingScope(TerminationTest* test) : before_(test_in_force) { test_in_force = test; }
PollingScope::~PollingScope() { test_in_force = before_; }

void poll_now_and_then() {
  if (test_in_force == nullptr || ++calls % calls_between_polls != 0) return;
  TerminationTest::poll(test_in_force);
}

}  // namespace vesk
