#include "tools/trace/Tree.h"

#include "tools/trace/Names.h"
#include "tools/trace/Text.h"

#include <algorithm>
#include <ostream>

namespace TraceTool {
namespace {

std::string sentence(Names const& names, BlockRecord const& block, std::string const& known) {
    const std::string actor = names.actor(block);
    const std::string about = names.about(block);
    const std::string something = about.empty() ? "something" : about;
    switch (block.kind) {
    case BlockKind::reaction:
        return something + " has changed: " + actor + " reacts";
    case BlockKind::write:
        return actor + " writes " + something;
    case BlockKind::handler:
        break;
    }
    return actor + (about.empty() || about == known ? "" : " for " + about);
}

} // namespace

void printTree(std::ostream& out, Trace const& trace,
               std::vector<std::vector<NestedBlock>> const& lanes, U64 now) {
    const Names names(trace);
    bool first = true;
    for (std::size_t i = 0; i < lanes.size(); ++i) {
        if (lanes[i].empty())
            continue;
        out << (first ? "" : "\n") << "lane " << i;
        if (i < trace.lanes.size() && trace.lanes[i].threadId != 0)
            out << ", thread " << trace.lanes[i].threadId;
        out << "\n";
        first = false;
        for (NestedBlock const& nested : lanes[i]) {
            BlockRecord const& block = nested.block;
            const bool within = nested.parent != NestedBlock::none && nested.missing == 0;
            if (nested.level == 0)
                out << timeText(trace, block.begin) << "  ";
            else
                out << indentation(U64{nested.level} + 1);
            if (nested.missing != 0)
                out << "(" << nested.missing << " around it, not in the trace) ";
            out << sentence(names, block, within ? names.about(lanes[i][nested.parent].block) : "");
            if (nested.isOpen())
                out << "  (OPEN for " << durationText(std::max(now, block.begin) - block.begin)
                    << ")\n";
            else
                out << "  (" << durationText(nested.duration()) << ")\n";
        }
        if (i < trace.lanes.size() && trace.lanes[i].depth > trace.lanes[i].open.size())
            out << "(" << trace.lanes[i].depth - trace.lanes[i].open.size()
                << " more are OPEN, not in the trace)\n";
    }
}

} // namespace TraceTool
