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
auto keyOf(BlockRecord const& block, StatsBy by) {
    const U16 attribute = by == StatsBy::attribute ? block.attribute : U16{0};
    return std::tuple(block.kind, block.messageId, attribute, attribute != 0 ? block.typeId : 0);
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

Line lineOf(Names const& names, StatsRow const& row, StatsBy by) {
    return {microseconds(row.own) + (row.ownUnknown != 0 ? "+" : ""),
            microseconds(row.total),
            std::to_string(row.count),
            microseconds(row.median),
            microseconds(row.p99),
            microseconds(row.max),
            std::string(name(row.example.kind)),
            names.actor(row.example),
            by == StatsBy::attribute ? attributeText(names, row.example) : ""};
}

} // namespace

std::vector<StatsRow> stats(std::vector<std::vector<NestedBlock>> const& lanes, StatsBy by) {
    std::map<decltype(keyOf(BlockRecord{}, by)), Times> all;
    for (std::vector<NestedBlock> const& lane : lanes) {
        for (NestedBlock const& nested : lane) {
            if (nested.isOpen())
                continue;
            Times& times = all[keyOf(nested.block, by)];
            times.row.example = nested.block;
            times.row.total += nested.duration();
            if (nested.isWhole)
                times.row.own += nested.duration() - nested.childrenTime;
            else
                ++times.row.ownUnknown;
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

void printStats(std::ostream& out, Trace const& trace, std::vector<StatsRow> const& rows,
                StatsBy by) {
    const Names names(trace);
    const Line head{"own us",    "total us", "count",
                    "median us", "p99 us",   "max us",
                    "kind",      "actor",    by == StatsBy::attribute ? "attribute" : ""};
    std::array<std::size_t, std::tuple_size_v<Line>> widths{};
    const auto widen = [&](Line const& line) {
        for (std::size_t i = 0; i < line.size(); ++i)
            widths[i] = std::max(widths[i], std::min<std::size_t>(line[i].size(), 100));
    };
    widen(head);
    for (StatsRow const& row : rows)
        widen(lineOf(names, row, by));

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
    U64 ownUnknown = 0;
    for (StatsRow const& row : rows) {
        print(lineOf(names, row, by));
        ownUnknown += row.ownUnknown;
    }
    if (ownUnknown != 0)
        out << "\n+ without the own time of blocks within which others may be missing: "
            << ownUnknown << " in all\n";
}

void printStatsJson(std::ostream& out, Trace const& trace, std::vector<StatsRow> const& rows,
                    StatsBy by) {
    const Names names(trace);
    out << "{\n  \"processId\": " << trace.header.processId
        << ",\n  \"blocks\": " << trace.blocks.size()
        << ",\n  \"overwritten\": " << trace.overwritten()
        << ",\n  \"lost\": " << trace.header.lostRecords
        << ",\n  \"damage\": " << trace.damage.count()
        << ",\n  \"by\": " << (by == StatsBy::attribute ? "\"attribute\"" : "\"handler\"")
        << ",\n  \"rows\": [";
    const char* separator = "\n    ";
    for (StatsRow const& row : rows) {
        nlohmann::ordered_json entry{{"kind", name(row.example.kind)},
                                     {"actor", names.actor(row.example)}};
        if (by == StatsBy::attribute && row.example.attribute != 0) {
            entry["class"] = names.entityClass(row.example);
            entry["attribute"] = names.attribute(row.example);
        }
        entry.update({{"count", row.count},
                      {"totalNanoseconds", row.total},
                      {"ownNanoseconds", row.own},
                      {"ownUnknown", row.ownUnknown},
                      {"medianNanoseconds", row.median},
                      {"p99Nanoseconds", row.p99},
                      {"maxNanoseconds", row.max}});
        out << separator << entry.dump();
        separator = ",\n    ";
    }
    out << "\n  ]\n}\n";
}

} // namespace TraceTool
