#pragma once

#include <string>

#include "model/problem_instance.h"

namespace zorvel {

/// The problem as a text of ANML that is read as the same problem: with its metrics, costs, processes and
/// orders of labels, with numbers that keep their values, and with names that are names there (see
/// AnmlNames). Declarations stand by name, statements by their moment and then by their text, so that a
/// problem that was read from such a text is written as that text.
///
/// UnsupportedProblemError or UnsupportedStatementError for what ANML cannot say: simulated effects, types
/// with one bound, the errors of `append_anml`, costs that are missing or that differ among processes.
std::string to_anml_text(const model::ProblemPtr& problem);

}  // namespace zorvel
