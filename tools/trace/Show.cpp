#include "tools/trace/Show.h"

#include "tools/trace/Names.h"
#include "tools/trace/Text.h"

#include <algorithm>
#include <ostream>
#include <tuple>

namespace TraceTool {
namespace {

void laneHead(std::ostream& out, Trace const& trace, std::size_t lane) {
    out << "\nlane " << lane;
    if (lane < trace.lanes.size() && trace.lanes[lane].threadId != 0)
        out << ", thread " << trace.lanes[lane].threadId;
}

void line(std::ostream& out, Trace const& trace, Names const& names, BlockRecord const& block,
          std::string const& duration) {
    out << timeText(trace, block.begin) << "  " << toTheRight(duration, 16) << "  "
        << toTheLeft(name(block.kind), 8) << "  " << indentation(block.depth)
        << names.blockText(block) << "\n";
}

/// What a process that is gone was doing: its innermost open block.
void lastWords(std::ostream& out, Trace const& trace, Names const& names, std::size_t index,
               bool several) {
    Lane const& lane = trace.lanes[index];
    out << "process " << trace.header.processId << " is gone; ";
    if (several)
        out << "thread " << lane.threadId << " was in ";
    else
        out << "it was in ";
    if (lane.open.empty())
        out << "a block that was not kept";
    else if (lane.open.size() < lane.depth)
        out << "a block that was not kept, within " << names.blockText(lane.open.back());
    else
        out << names.blockText(lane.open.back());
    out << ", at depth " << lane.depth << "\n";
}

} // namespace

void showHead(std::ostream& out, Trace const& trace, Writer const& writer) {
    out << "process " << trace.header.processId << (writer.lives ? " is alive" : " is gone")
        << "; trace attached " << timeText(trace, trace.header.attachedAt) << "; times are UTC\n"
        << trace.blocks.size() << " finished blocks in the ring, " << trace.overwritten()
        << " overwritten, " << trace.header.lostRecords << " not recorded for want of a lane\n";
    if (trace.header.descriptorsMissing != 0)
        out << trace.header.descriptorsMissing << " descriptors found no room\n";
}

void showBlocks(std::ostream& out, Trace const& trace) {
    std::vector<BlockRecord const*> blocks;
    blocks.reserve(trace.blocks.size());
    for (BlockRecord const& block : trace.blocks)
        blocks.push_back(&block);
    std::ranges::sort(blocks, [](BlockRecord const* left, BlockRecord const* right) {
        const auto order = [](BlockRecord const& block) {
            return std::tuple(block.lane, block.begin, block.depth, block.sequence);
        };
        return order(*left) < order(*right);
    });
    const Names names(trace);
    BlockRecord const* before = nullptr;
    for (BlockRecord const* const block : blocks) {
        if (!before || before->lane != block->lane) {
            laneHead(out, trace, block->lane);
            out << "\n";
        }
        line(out, trace, names, *block, durationText(block->end - block->begin));
        before = block;
    }
}

void showOpen(std::ostream& out, Trace const& trace, Writer const& writer) {
    const Names names(trace);
    const U64 latest = trace.latest();
    const U64 now = writer.lives ? std::max(writer.now, latest) : latest;
    std::vector<std::size_t> open;
    for (std::size_t i = 0; i < trace.lanes.size(); ++i) {
        Lane const& lane = trace.lanes[i];
        if (lane.depth == 0)
            continue;
        open.push_back(i);
        laneHead(out, trace, i);
        out << (writer.lives ? ", open now, outermost first; open for:\n"
                             : ", open in the end, outermost first; open for at least:\n");
        for (BlockRecord const& block : lane.open)
            line(out, trace, names, block, durationText(now - block.begin));
        if (lane.depth > lane.open.size())
            out << "and " << lane.depth - lane.open.size() << " within, which were not kept\n";
    }
    if (writer.lives)
        return;
    out << "\n";
    for (const std::size_t i : open)
        lastWords(out, trace, names, i, open.size() > 1);
    if (open.empty())
        out << "process " << trace.header.processId << " is gone; it was in no block\n";
}

void show(std::ostream& out, Trace const& trace, Writer const& writer) {
    showHead(out, trace, writer);
    showBlocks(out, trace);
    showOpen(out, trace, writer);
}

} // namespace TraceTool
