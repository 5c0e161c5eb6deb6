// Frames read and written by programs that share nothing with this one.

#include "examples/bridge/Capture.h"
#include "examples/bridge/TemporaryFolder.h"
#include "tests/agent/bpdu/Frames.h"
#include "tests/agent/bpdu/Parsed.h"
#include "tests/bpdu/Programs.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Agent {
namespace {

using Frames::Octets;

std::string text(unsigned number) { return std::to_string(number); }

std::string hexadecimal(unsigned number, int digits) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%0*x", digits, number);
    return text;
}

template <class Range> std::string digits(Range const& octets, const char* between) {
    std::string text;
    for (const unsigned octet : octets)
        text += (text.empty() ? "" : between) + hexadecimal(octet, 2).substr(2);
    return text;
}

std::string address(Kolvu::EthAddr const& address) { return digits(address.octets(), ":"); }

/// tshark shows a time in seconds, with decimals enough to tell 1/256 s apart. This one is as
/// tshark's in units, so that both can be compared.
std::string units(std::string const& seconds) {
    char* end = nullptr;
    const double time = std::strtod(seconds.c_str(), &end);
    if (seconds.empty() || *end != '\0')
        return "no time: " + seconds;
    return text(static_cast<unsigned>(std::lround(time * 256)));
}
std::string asIs(std::string const& text) { return text; }

/// A field of tshark's.
struct Field {
    const char* name;
    std::string (*read)(std::string const& shown);
    /// What it is to be; empty for a BPDU that does not have it.
    std::function<std::string(ReceivedBpdu const&)> expected;
};

bool hasVector(ReceivedBpdu const& bpdu) {
    return bpdu.kind != BpduKind::topologyChangeNotification;
}
bool isMst(ReceivedBpdu const& bpdu) { return bpdu.kind == BpduKind::mst; }

/// A field that only BPDUs have that fulfil a condition.
template <bool (*has)(ReceivedBpdu const&), class Expected>
Field fieldIf(const char* name, Expected expected, decltype(Field::read) read = asIs) {
    return {name, read,
            [expected](ReceivedBpdu const& bpdu) { return has(bpdu) ? expected(bpdu) : ""; }};
}
template <class Expected>
Field ofVector(const char* name, Expected expected, decltype(Field::read) read = asIs) {
    return fieldIf<hasVector>(name, expected, read);
}
template <class Expected> Field ofMst(const char* name, Expected expected) {
    return fieldIf<isMst>(name, expected);
}
/// A field of MSTI records: their values with commas between them.
template <class Expected> Field ofMstis(const char* name, Expected expected) {
    return ofMst(name, [expected](ReceivedBpdu const& bpdu) {
        std::string all;
        for (MstiRecord const& msti : bpdu.mstis())
            all += (all.empty() ? "" : ",") + expected(msti);
        return all;
    });
}

std::vector<Field> const& fields() {
    using Bpdu = ReceivedBpdu const&;
    using Msti = MstiRecord const&;
    static const std::vector<Field> all{
        {"eth.src", asIs, [](Bpdu b) { return address(b.source); }},
        {"stp.protocol", asIs, [](Bpdu) { return "0x0000"; }},
        {"stp.version", asIs, [](Bpdu b) { return text(b.version.value()); }},
        {"stp.type", asIs, [](Bpdu b) { return hexadecimal(b.type.value(), 2); }},
        {"_ws.malformed", asIs, [](Bpdu) { return ""; }},
        ofVector("stp.flags", [](Bpdu b) { return hexadecimal(b.flags.value(), 2); }),
        ofVector("stp.root.prio", [](Bpdu b) { return text(b.rootId.priority()); }),
        ofVector("stp.root.ext", [](Bpdu b) { return text(b.rootId.systemIdExtension()); }),
        ofVector("stp.root.hw", [](Bpdu b) { return address(b.rootId.address()); }),
        ofVector("stp.root.cost", [](Bpdu b) { return text(b.rootPathCost.value()); }),
        ofVector(
            "stp.port",
            [](Bpdu b) { return hexadecimal(b.portId.priority() * 256U + b.portId.number(), 4); }),
        ofVector(
            "stp.msg_age", [](Bpdu b) { return text(b.messageAge.units()); }, units),
        ofVector(
            "stp.max_age", [](Bpdu b) { return text(b.maxAge.units()); }, units),
        ofVector(
            "stp.hello", [](Bpdu b) { return text(b.helloTime.units()); }, units),
        ofVector(
            "stp.forward", [](Bpdu b) { return text(b.fwdDelay.units()); }, units),
        // What the standard calls the CIST Regional Root Identifier in an MST BPDU.
        ofVector(
            "stp.bridge.prio",
            [](Bpdu b) { return text((isMst(b) ? b.regionalRootId : b.bridgeId).priority()); }),
        ofVector("stp.bridge.ext",
                 [](Bpdu b) {
                     return text((isMst(b) ? b.regionalRootId : b.bridgeId).systemIdExtension());
                 }),
        ofVector(
            "stp.bridge.hw",
            [](Bpdu b) { return address((isMst(b) ? b.regionalRootId : b.bridgeId).address()); }),
        ofMst("mstp.version_3_length", [](Bpdu b) { return text(64 + 16U * b.mstiCount); }),
        ofMst("mstp.config_format_selector",
              [](Bpdu b) { return text(b.configurationId.formatSelector); }),
        ofMst("mstp.config_name", [](Bpdu b) { return std::string(b.configurationId.nameText()); }),
        ofMst("mstp.config_revision_level",
              [](Bpdu b) { return text(b.configurationId.revisionLevel); }),
        ofMst("mstp.config_digest",
              [](Bpdu b) { return digits(b.configurationId.digest.octets(), ""); }),
        ofMst("mstp.cist_internal_root_path_cost",
              [](Bpdu b) { return text(b.internalRootPathCost.value()); }),
        ofMst("mstp.cist_bridge.prio", [](Bpdu b) { return text(b.bridgeId.priority()); }),
        ofMst("mstp.cist_bridge.ext", [](Bpdu b) { return text(b.bridgeId.systemIdExtension()); }),
        ofMst("mstp.cist_bridge.hw", [](Bpdu b) { return address(b.bridgeId.address()); }),
        ofMst("mstp.cist_remaining_hops", [](Bpdu b) { return text(b.remainingHops); }),
        ofMstis("mstp.msti.flags", [](Msti m) { return hexadecimal(m.flags.value(), 2); }),
        ofMstis("mstp.msti.priority",
                [](Msti m) { return hexadecimal(m.regionalRootId.priority() >> 12, 2); }),
        ofMstis("mstp.msti.msti_id", [](Msti m) { return text(m.instance().value()); }),
        ofMstis("mstp.msti.root.hw", [](Msti m) { return address(m.regionalRootId.address()); }),
        ofMstis("mstp.msti.root_cost", [](Msti m) { return text(m.internalRootPathCost.value()); }),
        ofMstis("mstp.msti.bridge_priority", [](Msti m) { return text(m.bridgePriority.value()); }),
        ofMstis("mstp.msti.port_priority", [](Msti m) { return text(m.portPriority.value()); }),
        ofMstis("mstp.msti.remaining_hops", [](Msti m) { return text(m.remainingHops); }),
    };
    return all;
}

void expectReadAlike(std::vector<Octets> const& frames) {
    const Examples::TemporaryFolder folder;
    const auto capture = folder.path() / "frames.pcap";
    Examples::writeCapture(capture, frames);
    std::vector<std::string> names;
    for (Field const& field : fields())
        names.push_back(field.name);
    const std::vector<Programs::Row> rows = Programs::readByTshark(capture, names);
    ASSERT_EQ(rows.size(), frames.size());
    for (std::size_t i = 0; i < frames.size(); ++i) {
        SCOPED_TRACE("frame " + text(static_cast<unsigned>(i)) + ": " + digits(frames[i], " "));
        const ReceivedBpdu bpdu = taken(frames[i]);
        ASSERT_EQ(rows[i].size(), fields().size());
        for (std::size_t column = 0; column < names.size(); ++column) {
            Field const& field = fields()[column];
            EXPECT_EQ(rows[i][column].empty() ? "" : field.read(rows[i][column]),
                      field.expected(bpdu))
                << field.name;
        }
    }
}

TEST(Wireshark, ReadsFramesAsTheyAreParsed) {
    std::vector<Octets> frames{
        Frames::frame(Frames::configuration), Frames::frame(Frames::notification),
        Frames::frame(Frames::rst),           Frames::frame(Frames::mst),
        Frames::frame(Frames::mstWith(1)),    Frames::frame(Frames::mstWith(5)),
        Frames::frame(Frames::mstWith(64)),
    };
    for (Octets octets : std::vector(frames)) {
        octets.resize(octets.size() + 14, 0); // padding
        frames.push_back(octets);
    }
    expectReadAlike(frames);
}

/// A BPDU with priority vector, with any numbers in all fields that need not be right.
Octets withAnyFields(Octets octets, std::mt19937& engine) {
    const auto randomise = [&](std::size_t from, std::size_t to) {
        for (std::size_t at = from; at < std::min(to, octets.size()); ++at)
            octets[at] = static_cast<Zel::U8>(engine());
    };
    randomise(6, 12);             // source address
    randomise(21, 52);            // flags to forward delay
    randomise(88, octets.size()); // what follows the configuration name
    octets[44] = 0;               // a message age below the max age
    octets[46] |= 1;
    return octets;
}

TEST(Wireshark, ReadsFramesWithAnyFieldsAsTheyAreParsed) {
    std::mt19937 engine(20240612);
    std::vector<Octets> frames;
    for (int i = 0; i < 40; ++i) {
        for (Octets const& bpdu :
             {Octets(Frames::configuration.begin(), Frames::configuration.end()),
              Octets(Frames::rst.begin(), Frames::rst.end()), Frames::mstWith(engine() % 9)})
            frames.push_back(withAnyFields(Frames::frame(bpdu), engine));
    }
    expectReadAlike(frames);
}

TEST(Scapy, WritesFramesThatAreParsed) {
    if (Programs::outputOf("/usr/bin/python3 -c 'import scapy.layers.l2' 2>&1").status != 0)
        GTEST_SKIP() << "scapy is not installed";
    const Programs::Output output = Programs::outputOf(R"(/usr/bin/python3 -c '
from scapy.layers.l2 import Dot3, LLC, STP
from scapy.packet import Raw
def show(**fields):
    version1 = b"" if fields["version"] < 2 else b"\0"
    frame = Dot3(dst="01:80:c2:00:00:00", src="00:1c:73:41:42:43") / LLC() / STP(**fields)
    print(bytes(frame / Raw(version1)).hex())
fields = dict(rootid=0x1005, rootmac="00:1c:73:01:02:03", pathcost=200000, bridgeid=0x8006,
              bridgemac="00:1c:73:0a:0b:0c", portid=0x8003, age=1.5, maxage=20, hellotime=2,
              fwddelay=15)
show(version=0, bpdutype=0, bpduflags=0x81, **fields)
show(version=2, bpdutype=2, bpduflags=0x3c, **fields)
')");
    ASSERT_EQ(output.status, 0);
    std::istringstream lines(output.text);
    std::vector<Octets> frames;
    for (std::string line; std::getline(lines, line);) {
        frames.emplace_back();
        for (std::size_t at = 0; at + 1 < line.size(); at += 2)
            frames.back().push_back(
                static_cast<Zel::U8>(std::stoul(line.substr(at, 2), nullptr, 16)));
    }
    ASSERT_EQ(frames.size(), 2U);

    ReceivedBpdu expected;
    expected.kind = BpduKind::configuration;
    expected.source = Kolvu::EthAddr(0x00, 0x1c, 0x73, 0x41, 0x42, 0x43);
    expected.flags = 0x81;
    expected.rootId = Stp::BridgeId(4096, 5, {0x00, 0x1c, 0x73, 0x01, 0x02, 0x03});
    expected.rootPathCost = 200000;
    expected.bridgeId = Stp::BridgeId(32768, 6, {0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c});
    expected.portId = Stp::PortId(128, 3);
    expected.messageAge = Stp::TimerVal::units(384);
    expected.maxAge = Stp::TimerVal::seconds(20);
    expected.helloTime = Stp::TimerVal::seconds(2);
    expected.fwdDelay = Stp::TimerVal::seconds(15);
    EXPECT_EQ(taken(frames[0]), expected);
    expected.kind = BpduKind::rst;
    expected.version = 2;
    expected.type = 2;
    expected.flags = 0x3c;
    EXPECT_EQ(taken(frames[1]), expected);
}

} // namespace
} // namespace Agent
