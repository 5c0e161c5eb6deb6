#include "tools/trace/Trace.h"

#include <algorithm>
#include <limits>

namespace TraceTool {

U64 Trace::latest() const {
    U64 latest = 0;
    for (BlockRecord const& block : blocks)
        latest = std::max(latest, block.end);
    for (Lane const& lane : lanes)
        if (!lane.open.empty())
            latest = std::max(latest, lane.open.back().begin);
    return latest;
}

U64 Trace::overwritten() const {
    U64 written = 0;
    for (Lane const& lane : lanes)
        written += std::min(lane.recordCount, std::numeric_limits<U64>::max() - written);
    const U64 found = blocks.size() + leftOut;
    return written > found ? written - found : 0;
}

void leaveOut(Trace& trace, BlockRecord const& block, const char* why) {
    trace.damage.add("record " + std::to_string(block.sequence) + " " + why);
    ++trace.leftOut;
}

} // namespace TraceTool
