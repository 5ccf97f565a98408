#pragma once

#include <vector>

#include "search/forward/ftp_model.h"
#include "search/forward/plain/ftp_state.h"
#include "search/frame/evaluation_tables.h"
#include "search/frame/state_view.h"

namespace zorvel::tp::ftp {

/// Shows plain states to heuristics.
class PlainView {
 public:
  /// Both are referred to; the tables are those of the heuristics.
  PlainView(const FtpModel& model, const EvaluationTables& tables);
  /// Valid until the next call. The cursors of the problem's own chains are 0: no estimate reads them.
  StateView of(PlainState<double>& state);

 private:
  const FtpModel& model_;
  const EvaluationTables& tables_;
  std::vector<std::uint32_t> chain_lengths_;
  std::vector<ValueId> values_;
  std::vector<OpenChain> open_;
};

}  // namespace zorvel::tp::ftp
