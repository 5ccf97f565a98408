#include "solver/util/polling.h"

#include <cstdint>

namespace vesk {
namespace {

// why for each thread: terms are made for several environments, and by classes that know none.
// One object, as a shared library pays a call for each that it looks at.
struct Polling {
  TerminationTest* test = nullptr;
  std::uint32_t calls = 0;
};
constinit thread_local Polling polling;

constexpr std::uint32_t calls_between_polls = 1024;

}  // namespace

PollingScope::PollingScope(TerminationTest* test) : before_(polling.test) { polling.test = test; }
PollingScope::~PollingScope() { polling.test = before_; }

void poll_now_and_then() {
  Polling& here = polling;
  if (here.test == nullptr || ++here.calls % calls_between_polls != 0) return;
  TerminationTest::poll(here.test);
}

}  // namespace vesk
