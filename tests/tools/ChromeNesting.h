#pragma once

#include "tools/trace/Nesting.h"

#include <nlohmann/json.hpp>

namespace TraceTool::Test {

/// The events of a Chrome trace are the blocks of the trace that it was made of, and each is, by
/// its own times, within the event that is around it by its depth. For traces in which none is
/// missing.
void expectNested(nlohmann::json const& events, Trace trace);

} // namespace TraceTool::Test
