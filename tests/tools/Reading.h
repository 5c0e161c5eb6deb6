#pragma once

#include "tests/tools/TraceMaker.h"
#include "tools/trace/Chrome.h"
#include "tools/trace/Reader.h"
#include "tools/trace/Show.h"
#include "tools/trace/Stats.h"
#include "tools/trace/Tree.h"

#include <sstream>
#include <string>

namespace TraceTool::Test {

inline Trace read(std::span<std::byte const> octets) {
    const MemoryOctets memory(octets);
    return Reader(memory).read();
}

inline Trace read(TraceMaker& maker) { return read(std::span<std::byte const>(maker.octets())); }

inline std::string showText(Trace const& trace) {
    std::ostringstream out;
    show(out, trace, {});
    return out.str();
}

inline std::string treeText(Trace trace) {
    std::ostringstream out;
    const auto lanes = nested(trace);
    printTree(out, trace, lanes, trace.latest());
    return out.str();
}

inline std::string statsText(Trace trace, bool json = false, StatsBy by = StatsBy::attribute) {
    std::ostringstream out;
    const auto rows = stats(nested(trace), by);
    (json ? printStatsJson : printStats)(out, trace, rows, by);
    return out.str();
}

inline std::string chromeText(Trace trace) {
    std::ostringstream out;
    const auto lanes = nested(trace);
    writeChrome(out, trace, lanes);
    return out.str();
}

/// Whether one of the texts of damage contains this.
inline bool saysDamage(Trace const& trace, std::string const& text) {
    for (std::string const& said : trace.damage.texts())
        if (said.find(text) != said.npos)
            return true;
    return false;
}

} // namespace TraceTool::Test
