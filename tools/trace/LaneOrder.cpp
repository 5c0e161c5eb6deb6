#include "tools/trace/LaneOrder.h"

#include <algorithm>

namespace TraceTool {
namespace {

/// The records, by their places in `blocks`, that are to be kept of one lane: the longest run whose
/// ends do not fall.
std::vector<std::size_t> longestRising(std::vector<BlockRecord> const& blocks,
                                       std::vector<std::size_t> const& ofLane) {
    constexpr std::size_t none = static_cast<std::size_t>(-1);
    std::vector<std::size_t> last; // of each length of a run, the one that ends it the earliest
    std::vector<std::size_t> before(ofLane.size(), none);
    for (std::size_t i = 0; i < ofLane.size(); ++i) {
        const U64 end = blocks[ofLane[i]].end;
        const auto at = std::ranges::upper_bound(
            last, end, {}, [&](std::size_t j) { return blocks[ofLane[j]].end; });
        if (at != last.begin())
            before[i] = *(at - 1);
        if (at == last.end())
            last.push_back(i);
        else
            *at = i;
    }
    std::vector<std::size_t> kept;
    for (std::size_t i = last.empty() ? none : last.back(); i != none; i = before[i])
        kept.push_back(ofLane[i]);
    return kept;
}

void keepChunksWhole(Trace& trace, U64 chunkSize, std::vector<bool>& kept) {
    auto& blocks = trace.blocks;
    for (std::size_t first = 0; first < blocks.size();) {
        const U64 chunk = (blocks[first].sequence - 1) / chunkSize;
        std::size_t end = first;
        // Who has more than half of the chunk's records, if anyone has.
        U16 lane = 0;
        std::size_t votes = 0;
        for (; end < blocks.size() && (blocks[end].sequence - 1) / chunkSize == chunk; ++end) {
            if (votes == 0)
                lane = blocks[end].lane;
            votes = blocks[end].lane == lane ? votes + 1 : votes - 1;
        }
        for (; first < end; ++first) {
            kept[first] = blocks[first].lane == lane;
            if (!kept[first])
                leaveOut(trace, blocks[first], "is in a chunk of another lane");
        }
    }
}

void closeFrom(Lane& lane, std::size_t depth) {
    lane.open.resize(depth);
    lane.depth = depth;
}

} // namespace

void putInOrder(Trace& trace, U64 chunkSize) {
    auto& blocks = trace.blocks;
    std::vector<bool> kept(blocks.size());
    keepChunksWhole(trace, chunkSize, kept);

    std::vector<std::vector<std::size_t>> lanes;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        if (!kept[i])
            continue;
        if (lanes.size() <= blocks[i].lane)
            lanes.resize(std::size_t{blocks[i].lane} + 1);
        lanes[blocks[i].lane].push_back(i);
        kept[i] = false;
    }
    for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
        for (const std::size_t i : longestRising(blocks, lanes[lane]))
            kept[i] = true;
        std::vector<BlockRecord>* const open =
            lane < trace.lanes.size() ? &trace.lanes[lane].open : nullptr;
        for (const std::size_t i : lanes[lane]) {
            BlockRecord const& block = blocks[i];
            if (!kept[i])
                leaveOut(trace, block, "ended before one that is older in its lane");
            // A frame stays until its block has been recorded, but not until the next one is.
            else if (i == lanes[lane].back() && open &&
                     open->size() == std::size_t{block.depth} + 1 &&
                     open->back().begin == block.begin && open->back().messageId == block.messageId)
                closeFrom(trace.lanes[lane], block.depth);
        }
    }
    std::size_t at = 0;
    std::erase_if(blocks, [&](BlockRecord const&) { return !kept[at++]; });
}

} // namespace TraceTool
