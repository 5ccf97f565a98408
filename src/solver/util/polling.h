#pragma once

#include "solver/util/termination.h"

namespace vesk {

/// While it lives, poll_now_and_then() asks `test` on this thread. Only where Terminated may be thrown out of
/// any call: on the way of a formula to the search, which is made anew after an interruption.
class PollingScope {
 public:
  explicit PollingScope(TerminationTest* test);
  PollingScope(const PollingScope&) = delete;
  PollingScope& operator=(const PollingScope&) = delete;
  ~PollingScope();

 private:
  TerminationTest* before_;
};

/// For what is done many times in preprocessing, as making a term or walking over one: at every so-manieth
/// call polls the test of the scope, if there is one.
void poll_now_and_then();

}  // namespace vesk
