#pragma once

#include "tools/trace/Nesting.h"

#include <iosfwd>

namespace TraceTool {

/// What the finished blocks of one message or class, kind and attribute took, in nanoseconds.
struct StatsRow {
    BlockRecord example; ///< one of them
    U64 count = 0;
    U64 total = 0;
    /// Without the blocks within them.
    U64 own = 0;
    /// The middle one, and the one that 99 of 100 do not exceed: the nearest rank.
    U64 median = 0;
    U64 p99 = 0;
    U64 max = 0;
};

/// The one with the most own time first.
std::vector<StatsRow> stats(std::vector<std::vector<NestedBlock>> const& lanes);

void printStats(std::ostream& out, Trace const& trace, std::vector<StatsRow> const& rows);
void printStatsJson(std::ostream& out, Trace const& trace, std::vector<StatsRow> const& rows);

} // namespace TraceTool
