// Frames read and written by programs that share nothing with this one.

#include "tests/agent/bpdu/Frames.h"
#include "tests/agent/bpdu/Parsed.h"
#include "tests/agent/bpdu/ReadAlike.h"
#include "tests/bpdu/Programs.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace Agent {
namespace {

using Frames::Octets;

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
    expectTsharkReadsAlike(frames);
}

TEST(Tcpdump, ReadsFramesAsTheyAreParsed) {
    std::vector<Octets> frames{Frames::frame(Frames::configuration),
                               Frames::frame(Frames::notification), Frames::frame(Frames::rst)};
    for (unsigned flags = 0; flags <= 0xff; ++flags)
        frames.push_back(Frames::with(Frames::frame(Frames::rst), 21, flags));
    expectTcpdumpReadsAlike(frames);
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
    expectTsharkReadsAlike(frames);
}

TEST(Scapy, WritesFramesThatAreParsed) {
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
    ASSERT_EQ(output.status, 0) << "python3-scapy is needed";
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
