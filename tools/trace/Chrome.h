#pragma once

#include "tools/trace/Nesting.h"

#include <iosfwd>

namespace TraceTool {

/// The blocks as JSON in the trace event format that chrome://tracing and Perfetto read: a complete
/// event (X) for each finished block, a begin (B) without an end for each open one, each before
/// those within it. Times are microseconds since the first block began. A lane's thread number is
/// its `tid`, unless that is unknown or an earlier lane's.
void writeChrome(std::ostream& out, Trace const& trace,
                 std::vector<std::vector<NestedBlock>> const& lanes);

} // namespace TraceTool
