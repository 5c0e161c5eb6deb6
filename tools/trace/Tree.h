#pragma once

#include "tools/trace/Nesting.h"

#include <iosfwd>

namespace TraceTool {

/// What triggered what: each block, and indented below it what ran within it. A reaction names what
/// has changed, a write what is written.
/// @param now  until when open blocks are said to be open
void printTree(std::ostream& out, Trace const& trace,
               std::vector<std::vector<NestedBlock>> const& lanes, U64 now);

} // namespace TraceTool
