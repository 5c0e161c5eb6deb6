#pragma once

#include "tools/trace/Names.h"
#include "tools/trace/Nesting.h"

#include <iosfwd>

namespace TraceTool {

/// A trace in the Common Trace Format, version 1.8: a text `metadata`, and a stream for each lane
/// that has blocks, in packets. A finished block is one event, `block`, at the time of its end,
/// which rises within a stream; an open one is an event `open` at the latest time of the trace.
void writeCtfMetadata(std::ostream& out, Trace const& trace);

/// Writes nothing for a lane without blocks.
/// @param lane    index of the lane
/// @param blocks  its blocks
/// @return how many events the stream has: as many as there are blocks
U64 writeCtfStream(std::ostream& out, Trace const& trace, Names const& names, std::size_t lane,
                   std::vector<NestedBlock> const& blocks);

} // namespace TraceTool
