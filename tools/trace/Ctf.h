#pragma once

#include "tools/trace/Trace.h"

#include <iosfwd>

namespace TraceTool {

/// A trace in the Common Trace Format, version 1.8: a text `metadata`, and a stream for each lane
/// that has blocks. A finished block is one event, `block`, at the time of its end, which rises
/// within a stream; an open one is an event `open` at the latest time of the trace.
void writeCtfMetadata(std::ostream& out, Trace const& trace);

/// @param lane  index of the lane
/// @return how many events it has; 0: nothing has been written
U64 writeCtfStream(std::ostream& out, Trace const& trace, std::size_t lane);

/// How many lanes may have blocks.
std::size_t laneCount(Trace const& trace);

} // namespace TraceTool
