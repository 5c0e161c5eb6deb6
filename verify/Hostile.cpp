// Frames that nobody should have sent, given to the agent's parser: those that are a valid one but
// for any two octets, of any values, and BPDUs of every version and type, and of many lengths.
//
// The parser's verdicts and what it read are judged by Rule, the standards' text said a second
// time; those on versions, types and lengths by the table below, too.

#include "agent/bpdu/Parse.h"
#include "tests/agent/bpdu/Frames.h"
#include "tests/agent/bpdu/Rule.h"
#include "verify/Verify.h"

#include <array>
#include <cstdio>
#include <numeric>

namespace {

using Agent::BpduKind;
using Agent::Refusal;
using Frames::Octets;
using Verify::Run;
using Zel::U16;
using Zel::U64;
using Zel::U8;

constexpr unsigned octetValues = 256;
constexpr unsigned octetPairs = octetValues * octetValues;

std::string hex(Octets const& octets) {
    std::string text;
    for (const U8 octet : octets) {
        char digits[4];
        std::snprintf(digits, sizeof(digits), "%02x ", octet);
        text += digits;
    }
    return text;
}

/// Frames that were judged.
struct Judged {
    U64 frames = 0;
    U64 accepted = 0;
};

void judge(Octets const& frame, Judged& judged) {
    const std::string_view contradiction = Rule::contradiction(frame);
    if (!contradiction.empty())
        Verify::found(std::string(contradiction) + ": " + hex(frame));
    ++judged.frames;
    judged.accepted += std::holds_alternative<Rule::Taken>(Rule::verdict(frame));
}

/// So many of the numbers below count as the run has to do; all of them in the whole.
std::vector<unsigned> someBelow(unsigned count, Run& run) {
    std::vector<unsigned> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 0U);
    for (unsigned left = count; left > 1; --left)
        std::swap(numbers[left - 1], numbers[run.below(left)]);
    numbers.resize(run.times(count));
    return numbers;
}

/// Every value of any two of these octets of the frame, the other octets as they are.
Judged judgePairs(Octets frame, std::span<std::size_t const> octets, Run& run) {
    std::vector<std::array<std::size_t, 2>> pairs;
    for (std::size_t first = 0; first < octets.size(); ++first) {
        for (std::size_t second = first + 1; second < octets.size(); ++second)
            pairs.push_back({octets[first], octets[second]});
    }
    Judged judged;
    for (const unsigned pair : someBelow(static_cast<unsigned>(pairs.size()), run)) {
        const auto [first, second] = pairs[pair];
        const U8 before[] = {frame[first], frame[second]};
        for (unsigned values = 0; values < octetPairs; ++values) {
            frame[first] = static_cast<U8>(values / octetValues);
            frame[second] = static_cast<U8>(values % octetValues);
            judge(frame, judged);
        }
        frame[first] = before[0];
        frame[second] = before[1];
    }
    return judged;
}

/// There have to be just as many frames that were judged.
void expectFrames(Judged const& judged, U64 expected) {
    if (judged.frames != expected)
        Verify::found(Verify::grouped(judged.frames) + " frames instead of " +
                      Verify::grouped(expected));
}

/// How many pairs of octets there are in as many.
constexpr U64 pairsOf(U64 octets) { return octets * (octets - 1) / 2; }

/// What IEEE 802.1D-2004 9.3.4 and IEEE 802.1Q-2014 14.5 say of a BPDU by its type, its version and
/// how many octets it has. The first row counts that has all three; BPDUs of no row are of no type
/// that is known.
struct Row {
    unsigned type, types;       ///< the first, and how many
    unsigned version, versions; ///< the first, and how many
    std::size_t size, sizes;    ///< the least, and how many
    std::variant<BpduKind, Refusal> verdict;
};

constexpr unsigned any = octetValues;
constexpr std::size_t orMore = 1500;

constexpr Row table[] = {
    {0x00, any, 0, any, 0, 4, Refusal::headerTruncated},
    {0x00, 1, 0, any, 4, 31, Refusal::configurationTruncated},
    {0x00, 1, 0, any, 35, orMore, BpduKind::configuration},
    {0x80, 1, 0, any, 4, orMore, BpduKind::topologyChangeNotification},
    {0x02, 1, 0, 2, 4, orMore, Refusal::version},
    {0x02, 1, 2, any, 4, 32, Refusal::rstTruncated},
    {0x02, 1, 2, 1, 36, orMore, BpduKind::rst},
    {0x02, 1, 3, any, 36, 66, BpduKind::rst},
    {0x02, 1, 3, any, 102, orMore, BpduKind::mst},
    {0x00, any, 0, any, 4, orMore, Refusal::type},
};

std::variant<BpduKind, Refusal> inTable(unsigned version, unsigned type, std::size_t size) {
    const auto has = [](auto number, auto first, auto count) {
        return number >= first && number - first < count;
    };
    for (Row const& row : table) {
        if (has(type, row.type, row.types) && has(version, row.version, row.versions) &&
            has(size, row.size, row.sizes))
            return row.verdict;
    }
    Verify::found("the table has no row");
}

std::variant<BpduKind, Refusal> parsed(Octets const& frame) {
    const auto result = Agent::parseFrame(frame);
    if (auto const* refusal = std::get_if<Refusal>(&result))
        return *refusal;
    return std::get<Agent::ReceivedBpdu>(result).kind;
}

/// BPDUs of 0 to 60 octets, and as long as an MST BPDU or nearly so.
std::vector<std::size_t> sizes() {
    std::vector<std::size_t> all{101, 102, 103};
    for (std::size_t size = 0; size <= 60; ++size)
        all.push_back(size);
    return all;
}

/// What could be a whole BPDU of each version and type, cut off at each of the sizes: what the
/// frame has then is less, or padding.
/// @param pairs  counts the versions and types
Judged judgeVersions(Run& run, U64& pairs) {
    Octets whole(Frames::mst.begin(), Frames::mst.end());
    whole.push_back(0xff);
    Judged judged;
    for (const unsigned pair : someBelow(octetPairs, run)) {
        const unsigned version = pair / octetValues;
        const unsigned type = pair % octetValues;
        const Octets padded = Frames::frame(Frames::with(Frames::with(whole, 2, version), 3, type));
        for (const std::size_t size : sizes()) {
            Octets frame = Frames::withLength(padded, static_cast<Zel::U32>(3 + size));
            for (const std::size_t end : {frame.size(), 17 + size}) {
                frame.resize(end);
                if (parsed(frame) != inTable(version, type, size))
                    Verify::found("the table says otherwise: " + hex(frame));
                judge(frame, judged);
            }
        }
        ++pairs;
    }
    return judged;
}

/// A valid frame, as long as Ethernet's shortest without check sequence, changed anywhere.
Judged judgePaddedRst(Run& run) {
    Octets frame = Frames::frame(Frames::rst);
    frame.resize(60);
    std::vector<std::size_t> octets(frame.size());
    std::iota(octets.begin(), octets.end(), 0U);
    return judgePairs(frame, octets, run);
}

/// An MST BPDU with three records, changed where octets decide what it is: length, LLC header, and
/// all of the BPDU's that are no values.
Judged judgeMst(Run& run) {
    constexpr std::size_t octets[] = {12, 13, 14, 15, 16, 17, 18, 19, 20, 52, 53, 54};
    return judgePairs(Frames::frame(Frames::mstWith(3)), octets, run);
}

std::string judgeAll(Run& run) {
    const auto said = [](Judged const& judged, std::string const& what) {
        return Verify::grouped(judged.frames) + what + " (" + Verify::grouped(judged.accepted) +
               " to be taken)";
    };
    const Judged rst = judgePaddedRst(run);
    // Ethernet's shortest frame without check sequence has 60 octets.
    expectFrames(rst, run.times(pairsOf(60)) * octetPairs);
    const Judged mst = judgeMst(run);
    // Length, LLC header, protocol, version, type, and version 1 and 3 lengths.
    expectFrames(mst, run.times(pairsOf(2 + 3 + 2 + 1 + 1 + 1 + 2)) * octetPairs);
    U64 pairs = 0;
    const Judged versions = judgeVersions(run, pairs);
    Verify::expect(pairs == run.times(octetPairs), "not every pair of version and type was seen");
    // 0 to 60 octets and 101 to 103, each with padding and without.
    expectFrames(versions, pairs * (61 + 3) * 2);
    return said(rst, " frames that are an RST BPDU's but for any two octets") + "; " +
           said(mst, " that are an MST BPDU's but for any two of its header") + "; " +
           Verify::grouped(pairs) + " version and type pairs in " + said(versions, " frames");
}

} // namespace

int main(int argc, char** argv) { return Run::main(argc, argv, judgeAll); }
