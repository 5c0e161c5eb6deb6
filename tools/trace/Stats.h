#pragma once

#include "tools/trace/Nesting.h"

#include <iosfwd>

namespace TraceTool {

/// Which blocks are in one row.
enum class StatsBy {
    attribute, ///< those of one message or class, kind and attribute
    handler,   ///< those of one message or class and kind, whatever they are about
};

/// What the finished blocks of one row took, in nanoseconds.
struct StatsRow {
    BlockRecord example; ///< one of them
    U64 count = 0;
    U64 total = 0;
    /// Without the blocks within them; of those blocks for which that is known.
    U64 own = 0;
    /// How many have no part in `own`, because blocks within them may be missing in the trace.
    U64 ownUnknown = 0;
    /// The middle one, and the one that 99 of 100 do not exceed: the nearest rank.
    U64 median = 0;
    U64 p99 = 0;
    U64 max = 0;
};

/// The one with the most own time first.
std::vector<StatsRow> stats(std::vector<std::vector<NestedBlock>> const& lanes,
                            StatsBy by = StatsBy::attribute);

/// @param by  as the rows were made
void printStats(std::ostream& out, Trace const& trace, std::vector<StatsRow> const& rows,
                StatsBy by = StatsBy::attribute);
void printStatsJson(std::ostream& out, Trace const& trace, std::vector<StatsRow> const& rows,
                    StatsBy by = StatsBy::attribute);

} // namespace TraceTool
