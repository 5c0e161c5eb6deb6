#include "tools/trace/Chrome.h"

#include "tools/trace/Names.h"
#include "tools/trace/Text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ostream>
#include <set>

#include <nlohmann/json.hpp>

namespace TraceTool {
namespace {

std::string jsonText(std::string_view text) { return nlohmann::json(text).dump(); }

/// Nanoseconds as microseconds, exactly.
std::string microseconds(U64 nanoseconds) {
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%llu.%03u",
                  static_cast<unsigned long long>(nanoseconds / 1000),
                  static_cast<unsigned>(nanoseconds % 1000));
    return text.data();
}

/// A number of its own for each lane's row.
std::vector<U64> threadsOf(Trace const& trace, std::size_t lanes) {
    std::set<U64> used;
    std::vector<U64> threads(lanes, 0);
    for (std::size_t i = 0; i < std::min(lanes, trace.lanes.size()); ++i)
        if (used.insert(trace.lanes[i].threadId).second)
            threads[i] = trace.lanes[i].threadId;
    for (U64& thread : threads)
        if (thread == 0)
            thread = *used.insert(used.empty() ? 1 : *used.rbegin() + 1).first;
    return threads;
}

std::string arguments(Names const& names, BlockRecord const& block) {
    std::string text = "{\"lane\":" + std::to_string(block.lane);
    const auto add = [&](const char* name, std::string const& value) {
        if (!value.empty())
            text += std::string(",\"") + name + "\":" + jsonText(value);
    };
    add("class", names.entityClass(block));
    add("entityKey", names.entityKey(block));
    std::array<char, 24> address;
    std::snprintf(address.data(), address.size(), "0x%llx",
                  static_cast<unsigned long long>(block.entity));
    add("entity", block.entity != 0 ? address.data() : "");
    add("attribute", names.attribute(block));
    add("key", names.key(block));
    return text + "}";
}

} // namespace

void writeChrome(std::ostream& out, Trace const& trace,
                 std::vector<std::vector<NestedBlock>> const& lanes) {
    const Names names(trace);
    const std::vector<U64> threads = threadsOf(trace, lanes.size());
    const std::string process = "\"pid\":" + std::to_string(trace.header.processId);
    U64 start = trace.latest();
    for (auto const& lane : lanes)
        if (!lane.empty())
            start = std::min(start, lane.front().block.begin);

    out << "{\"displayTimeUnit\":\"ns\",\"otherData\":{\"start\":"
        << jsonText(timeText(trace, start) + " UTC") << "},\"traceEvents\":[";
    const char* separator = "\n";
    for (std::size_t i = 0; i < lanes.size(); ++i) {
        if (lanes[i].empty())
            continue;
        const std::string place = process + ",\"tid\":" + std::to_string(threads[i]);
        out << separator << "{\"ph\":\"M\",\"name\":\"thread_name\"," << place
            << ",\"args\":{\"name\":\"lane " << i << "\"}}";
        separator = ",\n";
        for (NestedBlock const& nested : lanes[i]) {
            BlockRecord const& block = nested.block;
            out << separator << "{\"ph\":\"" << (nested.isOpen() ? 'B' : 'X')
                << "\",\"name\":" << jsonText(names.actor(block)) << ",\"cat\":\""
                << name(block.kind) << "\"," << place
                << ",\"ts\":" << microseconds(block.begin - start);
            if (!nested.isOpen())
                out << ",\"dur\":" << microseconds(nested.duration());
            out << ",\"args\":" << arguments(names, block) << "}";
        }
    }
    out << "\n]}\n";
}

} // namespace TraceTool
