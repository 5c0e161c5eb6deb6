#include "tests/tools/ChromeNesting.h"

#include <cmath>
#include <map>

#include <gtest/gtest.h>

namespace TraceTool::Test {
namespace {

using nlohmann::json;

/// A time of a Chrome trace in nanoseconds.
U64 nanoseconds(json const& microseconds) {
    return static_cast<U64>(std::llround(microseconds.get<double>() * 1000));
}

struct Span {
    U64 begin;
    U64 end;
};

Span spanOf(json const& event) {
    const U64 begin = nanoseconds(event.at("ts"));
    return {begin, event.at("ph") == "B" ? ~U64{0} : begin + nanoseconds(event.at("dur"))};
}

} // namespace

void expectNested(json const& events, Trace trace) {
    std::map<U64, std::vector<json const*>> ofLanes;
    for (json const& event : events)
        if (event.at("ph") != "M")
            ofLanes[event.at("args").at("lane").get<U64>()].push_back(&event);
    const auto lanes = nested(trace);
    for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
        std::vector<json const*> const& ofLane = ofLanes[lane];
        ASSERT_EQ(ofLane.size(), lanes[lane].size());
        std::vector<Span> around;
        for (std::size_t i = 0; i < ofLane.size(); ++i) {
            NestedBlock const& block = lanes[lane][i];
            const std::size_t depth = block.block.depth;
            const Span span = spanOf(*ofLane[i]);
            ASSERT_EQ(ofLane[i]->at("ph"), block.isOpen() ? "B" : "X");
            if (!block.isOpen()) {
                ASSERT_EQ(span.end - span.begin, block.duration());
            }
            ASSERT_LE(depth, around.size()) << "none is around it";
            const U64 siblingsEnd = depth < around.size() ? around[depth].end : 0;
            ASSERT_LE(siblingsEnd, span.begin) << "the one before it at its depth has not ended";
            around.resize(depth);
            if (depth > 0) {
                ASSERT_GE(span.begin, around.back().begin);
                ASSERT_LE(span.end, around.back().end);
            }
            around.push_back(span);
        }
    }
}

} // namespace TraceTool::Test
