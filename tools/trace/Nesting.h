#pragma once

#include "tools/trace/Trace.h"

namespace TraceTool {

/// A block within the block that it ran in.
struct NestedBlock {
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    BlockRecord block; ///< open when its `end` is 0
    /// Where the block around it is among its lane's; none: there is none, or it is not in the
    /// trace.
    std::size_t parent = none;
    /// Blocks of the trace around it.
    U32 level = 0;
    /// Blocks between it and its parent that are not in the trace.
    U32 missing = 0;
    /// Nanoseconds that the finished blocks directly within it took.
    U64 childrenTime = 0;
    /// Of a finished block: all that ran within it are in the trace, as far as can be told.
    bool isWhole = true;

    bool isOpen() const { return block.end == 0; }
    U64 duration() const { return block.end - block.begin; }
};

/// The blocks of each lane, each followed by those within it; blocks within one that are not within
/// each other come one after the other. Those that overlap others otherwise are left out and added
/// to the trace's damage.
std::vector<std::vector<NestedBlock>> nested(Trace& trace);

} // namespace TraceTool
