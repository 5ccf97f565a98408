#pragma once

#include <memory>
#include <string>

#include "model/problem_source.h"
#include "parsers/name_resolver.h"
#include "parsers/source_lines.h"

namespace zorvel {

/// The places of what a problem declares and states, for a text called `file`. `raw` is the problem before
/// its names were resolved, whose objects `lines` knows.
std::shared_ptr<const model::ProblemSource> make_anml_source(const std::string& file,
                                                             const model::ProblemInstanceImpl& raw,
                                                             const SourceLines& lines,
                                                             const StatementSources& sources,
                                                             const model::ProblemInstanceImpl& problem);

}  // namespace zorvel
