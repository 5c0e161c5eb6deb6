#pragma once

#include "tools/trace/Trace.h"

namespace TraceTool {

/// Leaves out, as damage, finished blocks that contradict the others: of another lane than their
/// chunk, or which end before one that ended earlier in their lane. Of contradicting ones the
/// fewest are left out. Leaves out also open blocks that are among the finished ones: they have
/// ended since the ring was read.
/// @param chunkSize  places that one lane fills at a time
void putInOrder(Trace& trace, U64 chunkSize);

} // namespace TraceTool
