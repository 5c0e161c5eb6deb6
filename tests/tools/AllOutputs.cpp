#include "tests/tools/AllOutputs.h"

#include "tests/tools/Reading.h"
#include "tools/trace/Ctf.h"
#include "tools/trace/Find.h"
#include "tools/trace/Follow.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace TraceTool::Test {
namespace {

std::string wrongNesting(std::vector<std::vector<NestedBlock>> const& lanes) {
    for (std::vector<NestedBlock> const& lane : lanes) {
        for (std::size_t i = 0; i < lane.size(); ++i) {
            NestedBlock const& nested = lane[i];
            if (!nested.isOpen() && nested.childrenTime > nested.duration())
                return "the blocks within one take more time than it";
            if (nested.parent == NestedBlock::none)
                continue;
            NestedBlock const& parent = lane[nested.parent];
            if (nested.parent >= i || parent.level + 1 != nested.level)
                return "a block is not listed within its parent";
            if (nested.block.begin < parent.block.begin ||
                (!parent.isOpen() && (nested.isOpen() || nested.block.end > parent.block.end)))
                return "a block is not within its parent";
        }
    }
    return {};
}

std::string wrongChrome(std::string const& text, std::size_t finished, std::size_t open) {
    const auto json = nlohmann::json::parse(text, nullptr, false);
    if (json.is_discarded())
        return "the Chrome trace is no JSON";
    std::size_t complete = 0;
    std::size_t begins = 0;
    for (auto const& event : json.at("traceEvents")) {
        complete += event.at("ph") == "X";
        begins += event.at("ph") == "B";
    }
    return complete == finished && begins == open ? "" : "the Chrome trace has other events";
}

bool isOnePrintableText(std::string const& text) {
    return std::ranges::none_of(text, [](char c) {
        return (static_cast<unsigned char>(c) < 0x20 && c != '\n') || c == 0x7f;
    });
}

Outcome outputsOf(Octets const& octets) {
    Outcome outcome;
    Reader reader(octets);
    Trace trace = reader.read();
    const std::size_t read = trace.blocks.size() + trace.leftOut;
    const auto lanes = nested(trace);
    outcome.leftOut = trace.leftOut;
    std::size_t all = 0;
    for (std::vector<NestedBlock> const& lane : lanes) {
        for (NestedBlock const& block : lane)
            (block.isOpen() ? outcome.open : outcome.blocks) += 1;
        all += lane.size();
    }
    outcome.damaged = !trace.damage.none();
    if (outcome.damaged)
        outcome.said = trace.damage.texts().front();

    std::ostringstream text;
    const auto rows = stats(lanes);
    show(text, trace, {});
    printTree(text, trace, lanes, trace.latest());
    printStats(text, trace, rows);
    std::ostringstream json;
    printStatsJson(json, trace, rows);
    std::ostringstream chrome;
    writeChrome(chrome, trace, lanes);
    std::ostringstream ctf;
    writeCtfMetadata(ctf, trace);
    U64 events = 0;
    const Names names(trace);
    for (std::size_t lane = 0; lane < lanes.size(); ++lane)
        events += writeCtfStream(ctf, trace, names, lane, lanes[lane]);

    U64 counted = 0;
    for (StatsRow const& row : rows)
        counted += row.count;
    outcome.contradiction = wrongNesting(lanes);
    if (outcome.contradiction.empty())
        outcome.contradiction = wrongChrome(chrome.str(), outcome.blocks, outcome.open);
    if (outcome.contradiction.empty() && outcome.blocks + outcome.leftOut < read)
        outcome.contradiction = "a block was left out without being named";
    if (outcome.contradiction.empty() && counted != outcome.blocks)
        outcome.contradiction = "the statistics are of other blocks";
    if (outcome.contradiction.empty() && events != all)
        outcome.contradiction = "the CTF streams have other events";
    if (outcome.contradiction.empty() && !isOnePrintableText(text.str()))
        outcome.contradiction = "what is shown has control characters";
    if (outcome.contradiction.empty() &&
        nlohmann::json::parse(json.str(), nullptr, false).is_discarded())
        outcome.contradiction = "the statistics are no JSON";
    if (outcome.contradiction.empty() && !reader.read().blocks.empty())
        outcome.contradiction = "a block is returned twice";

    Reader again(octets);
    std::ostringstream followed;
    Follow follow(again, followed, followed);
    follow.look();
    follow.look();
    follow.finish();
    return outcome;
}

} // namespace

Outcome allOutputs(std::span<std::byte const> octets) {
    const MemoryOctets memory(octets);
    findTraces(memory);
    try {
        return outputsOf(memory);
    } catch (Refused const& refused) {
        Outcome outcome;
        outcome.refused = true;
        outcome.said = refused.what();
        return outcome;
    }
}

} // namespace TraceTool::Test
