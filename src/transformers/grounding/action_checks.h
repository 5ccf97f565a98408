#pragma once

#include <vector>

#include "transformers/grounding/combination_search.h"
#include "transformers/grounding/static_program.h"

namespace zorvel::model {

/// Compiles what can make a combination of parameter values useless, as far as the parameters alone decide
/// it: a condition that becomes false, a constant without a value, an application of a fluent outside its
/// domain, with `refuses_clashes` two effects on one fluent at one time. Without `prune_actions` only
/// constants without a value count. `statements` must have binary sums and products only. Each check refuses
/// only combinations that building the action's statements would refuse as well.
std::vector<StaticCheck> compile_checks(Environment& env, StaticProgram& program,
                                        const std::vector<Node*>& statements, bool prune_actions,
                                        bool refuses_clashes);

}  // namespace zorvel::model
