#include "tools/trace/Stats.h"

#include "tools/trace/Names.h"
#include "tools/trace/Text.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <tuple>

#include <nlohmann/json.hpp>

namespace TraceTool {
namespace {

/// An attribute's identifier means nothing without its class.
auto keyOf(BlockRecord const& block) {
    return std::tuple(block.kind, block.messageId, block.attribute,
                      block.attribute != 0 ? block.typeId : 0);
}

struct Times {
    StatsRow row;
    std::vector<U64> durations;
};

/// @param percent  1 to 100
U64 rank(std::vector<U64> const& sorted, std::size_t percent) {
    return sorted[(sorted.size() * percent + 99) / 100 - 1];
}

std::string microseconds(U64 nanoseconds) {
    return std::to_string(nanoseconds / 1000) + "." +
           std::to_string(1000 + nanoseconds % 1000).substr(1);
}

std::string attributeText(Names const& names, BlockRecord const& block) {
    const std::string attribute = names.attribute(block);
    const std::string type = names.entityClass(block);
    return attribute.empty() || type.empty() ? attribute : type + "::" + attribute;
}

using Line = std::array<std::string, 9>;

Line lineOf(Names const& names, StatsRow const& row) {
    return {microseconds(row.own),
            microseconds(row.total),
            std::to_string(row.count),
            microseconds(row.median),
            microseconds(row.p99),
            microseconds(row.max),
            std::string(name(row.example.kind)),
            names.actor(row.example),
            attributeText(names, row.example)};
}

} // namespace

std::vector<StatsRow> stats(std::vector<std::vector<NestedBlock>> const& lanes) {
    std::map<decltype(keyOf(BlockRecord{})), Times> all;
    for (std::vector<NestedBlock> const& lane : lanes) {
        for (NestedBlock const& nested : lane) {
            if (nested.isOpen())
                continue;
            Times& times = all[keyOf(nested.block)];
            times.row.example = nested.block;
            times.row.total += nested.duration();
            times.row.own += nested.duration() - nested.childrenTime;
            times.durations.push_back(nested.duration());
        }
    }
    std::vector<StatsRow> rows;
    for (auto& [key, times] : all) {
        std::ranges::sort(times.durations);
        times.row.count = times.durations.size();
        times.row.median = rank(times.durations, 50);
        times.row.p99 = rank(times.durations, 99);
        times.row.max = times.durations.back();
        rows.push_back(times.row);
    }
    std::ranges::stable_sort(rows, std::greater(), &StatsRow::own);
    return rows;
}

void printStats(std::ostream& out, Trace const& trace, std::vector<StatsRow> const& rows) {
    const Names names(trace);
    const Line head{"own us", "total us", "count", "median us", "p99 us",
                    "max us", "kind",     "actor", "attribute"};
    std::array<std::size_t, std::tuple_size_v<Line>> widths{};
    const auto widen = [&](Line const& line) {
        for (std::size_t i = 0; i < line.size(); ++i)
            widths[i] = std::max(widths[i], std::min<std::size_t>(line[i].size(), 100));
    };
    widen(head);
    for (StatsRow const& row : rows)
        widen(lineOf(names, row));

    constexpr std::size_t numbers = 6;
    const auto print = [&](Line const& line) {
        std::string text;
        for (std::size_t i = 0; i < line.size(); ++i)
            text += (i < numbers ? toTheRight(line[i], widths[i]) : toTheLeft(line[i], widths[i])) +
                    "  ";
        text.erase(text.find_last_not_of(' ') + 1);
        out << text << "\n";
    };
    print(head);
    for (StatsRow const& row : rows)
        print(lineOf(names, row));
}

void printStatsJson(std::ostream& out, Trace const& trace, std::vector<StatsRow> const& rows) {
    const Names names(trace);
    out << "{\n  \"processId\": " << trace.header.processId
        << ",\n  \"blocks\": " << trace.blocks.size()
        << ",\n  \"overwritten\": " << trace.overwritten()
        << ",\n  \"lost\": " << trace.header.lostRecords
        << ",\n  \"damage\": " << trace.damage.count() << ",\n  \"rows\": [";
    const char* separator = "\n    ";
    for (StatsRow const& row : rows) {
        nlohmann::ordered_json entry{{"kind", name(row.example.kind)},
                                     {"actor", names.actor(row.example)}};
        if (row.example.attribute != 0) {
            entry["class"] = names.entityClass(row.example);
            entry["attribute"] = names.attribute(row.example);
        }
        entry.update({{"count", row.count},
                      {"totalNanoseconds", row.total},
                      {"ownNanoseconds", row.own},
                      {"medianNanoseconds", row.median},
                      {"p99Nanoseconds", row.p99},
                      {"maxNanoseconds", row.max}});
        out << separator << entry.dump();
        separator = ",\n    ";
    }
    out << "\n  ]\n}\n";
}

} // namespace TraceTool
