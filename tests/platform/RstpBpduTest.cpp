#include "platform/stp/RstpBpdu.h"
#include "platform/stp/CommonBpdu.h"
#include "tests/platform/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

namespace {

using Kolvu::EthAddr;
using Stp::BridgeId;
using Stp::PortId;
using Stp::RstpBpdu;
using Stp::RstpBpduView;
using Stp::TimerVal;
using Bpdu = std::array<Zel::U8, 36>;

/// A BPDU of a designated port, every field of which differs from the others.
constexpr Bpdu golden{
    0x00, 0x00,                                     // Protocol Identifier 0
    0x02,                                           // Protocol Version Identifier: RSTP
    0x02,                                           // BPDU Type: RST
    0x3c,                                           // Flags: designated, learning, forwarding
    0x10, 0x05, 0x00, 0x1c, 0x73, 0x01, 0x02, 0x03, // Root Identifier: 4096, 5
    0x00, 0x03, 0x0d, 0x40,                         // Root Path Cost 200000
    0x80, 0x05, 0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c, // Bridge Identifier: 32768, 5
    0x80, 0x03,                                     // Port Identifier: 128, 3
    0x01, 0x00,                                     // Message Age 1 s
    0x14, 0x00,                                     // Max Age 20 s
    0x02, 0x80,                                     // Hello Time 2.5 s
    0x0f, 0x00,                                     // Forward Delay 15 s
    0x00,                                           // Version 1 Length
};

constexpr BridgeId root(4096, 5, EthAddr(0x00, 0x1c, 0x73, 0x01, 0x02, 0x03));
constexpr BridgeId bridge(32768, 5, EthAddr(0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c));

void writeGolden(RstpBpdu bpdu) {
    bpdu.protocolIdentifierIs(0);
    bpdu.versionIs(Stp::StpBpduVersion::rstp);
    bpdu.typeIs(Stp::StpBpduType::rst);
    bpdu.rstpFlagsIs(0x3c);
    bpdu.rootIdIs(root);
    bpdu.rootPathCostIs(200000);
    bpdu.bridgeIdIs(bridge);
    bpdu.portIdIs(PortId(128, 3));
    bpdu.messageAgeIs(TimerVal::seconds(1));
    bpdu.maxAgeIs(TimerVal::seconds(20));
    bpdu.helloTimeIs(TimerVal::units(640));
    bpdu.fwdDelayIs(TimerVal::seconds(15));
    bpdu.version1LengthIs(0);
}

TEST(RstpBpdu, IsThirtySixOctetsInTheOrderOfTheStandard) {
    EXPECT_EQ(RstpBpdu::octets, 36U);
    for (Zel::U8 before : std::to_array<Zel::U8>({0x00, 0xff})) {
        Bpdu octets;
        octets.fill(before);
        writeGolden(RstpBpdu(octets));
        EXPECT_EQ(octets, golden);
    }
}

/// The first octet that the mutator writes and how many it writes, which must follow each other.
std::pair<std::size_t, std::size_t> written(void (*mutator)(RstpBpdu)) {
    Bpdu zeros{};
    Bpdu ones;
    ones.fill(0xff);
    mutator(RstpBpdu(zeros));
    mutator(RstpBpdu(ones));
    std::size_t first = 0;
    while (first < zeros.size() && zeros[first] != ones[first])
        ++first;
    std::size_t end = first;
    while (end < zeros.size() && zeros[end] == ones[end])
        ++end;
    for (std::size_t i = 0; i < zeros.size(); ++i) {
        const bool outside = i < first || i >= end;
        EXPECT_EQ(zeros[i], outside ? 0x00 : ones[i]) << i;
        EXPECT_EQ(ones[i], outside ? 0xff : zeros[i]) << i;
    }
    return {first, end - first};
}

TEST(RstpBpdu, AMutatorWritesItsOwnFieldOnly) {
    using Place = std::pair<std::size_t, std::size_t>;
    EXPECT_EQ(written([](RstpBpdu b) { b.protocolIdentifierIs(0x0102); }), Place(0, 2));
    EXPECT_EQ(written([](RstpBpdu b) { b.versionIs(3); }), Place(2, 1));
    EXPECT_EQ(written([](RstpBpdu b) { b.typeIs(0x80); }), Place(3, 1));
    EXPECT_EQ(written([](RstpBpdu b) { b.rstpFlagsIs(0x7e); }), Place(4, 1));
    EXPECT_EQ(written([](RstpBpdu b) { b.rootIdIs(root); }), Place(5, 8));
    EXPECT_EQ(written([](RstpBpdu b) { b.rootPathCostIs(0x01020304); }), Place(13, 4));
    EXPECT_EQ(written([](RstpBpdu b) { b.bridgeIdIs(bridge); }), Place(17, 8));
    EXPECT_EQ(written([](RstpBpdu b) { b.portIdIs(PortId(16, 0xabc)); }), Place(25, 2));
    EXPECT_EQ(written([](RstpBpdu b) { b.messageAgeIs(TimerVal::units(258)); }), Place(27, 2));
    EXPECT_EQ(written([](RstpBpdu b) { b.maxAgeIs(TimerVal::units(258)); }), Place(29, 2));
    EXPECT_EQ(written([](RstpBpdu b) { b.helloTimeIs(TimerVal::units(258)); }), Place(31, 2));
    EXPECT_EQ(written([](RstpBpdu b) { b.fwdDelayIs(TimerVal::units(258)); }), Place(33, 2));
    EXPECT_EQ(written([](RstpBpdu b) { b.version1LengthIs(1); }), Place(35, 1));
}

TEST(RstpBpdu, EncodesIdentifiersThatDoNotFitAsTheirOwnEncodingDoes) {
    Bpdu octets{};
    RstpBpdu bpdu(octets);
    bpdu.portIdIs(PortId(0x8f, 0x1003));
    bpdu.rootIdIs(BridgeId(0x8fff, 0xf005, EthAddr()));
    EXPECT_EQ(octets[25], 0x80);
    EXPECT_EQ(octets[26], 0x03);
    EXPECT_EQ(octets[5], 0x80);
    EXPECT_EQ(octets[6], 0x05);
}

TEST(RstpBpdu, LetsItsOctetsBeRead) {
    Bpdu octets = golden;
    RstpBpdu bpdu(octets);
    EXPECT_EQ(bpdu.view().rootPathCost(), 200000);
    bpdu.rootPathCostIs(7);
    EXPECT_EQ(bpdu.view().rootPathCost(), 7);
}

TEST(RstpBpduView, ReadsEveryField) {
    const RstpBpduView bpdu(golden);
    EXPECT_EQ(bpdu.protocolIdentifier(), 0);
    EXPECT_EQ(bpdu.version(), 2);
    EXPECT_EQ(bpdu.type(), 2);
    EXPECT_EQ(bpdu.rstpFlags(), 0x3c);
    EXPECT_EQ(bpdu.rootId(), root);
    EXPECT_EQ(bpdu.rootPathCost(), 200000);
    EXPECT_EQ(bpdu.bridgeId(), bridge);
    EXPECT_EQ(bpdu.portId(), PortId(128, 3));
    EXPECT_EQ(bpdu.messageAge(), TimerVal::seconds(1));
    EXPECT_EQ(bpdu.maxAge(), TimerVal::seconds(20));
    EXPECT_EQ(bpdu.helloTime(), TimerVal::units(640));
    EXPECT_EQ(bpdu.fwdDelay(), TimerVal::seconds(15));
    EXPECT_EQ(bpdu.version1Length(), 0);
}

TEST(RstpBpduView, ReadsOctetsThatNoWriterWouldWrite) {
    Bpdu octets;
    octets.fill(0xff);
    const RstpBpduView bpdu(octets);
    EXPECT_EQ(bpdu.protocolIdentifier(), 0xffff);
    EXPECT_EQ(bpdu.version(), 0xff);
    EXPECT_EQ(bpdu.type(), 0xff);
    EXPECT_EQ(bpdu.version1Length(), 0xff);
    EXPECT_EQ(bpdu.portId(), PortId(240, 4095));
}

TEST(RstpBpduView, NeedsThirtySixReceivedOctets) {
    const std::vector<Zel::U8> received(golden.begin(), golden.end());
    for (std::size_t size = 0; size < 36; ++size) {
        // A block of its own, so that a sanitizer sees an octet read beyond it.
        const std::vector<Zel::U8> part(received.begin(),
                                        received.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_FALSE(RstpBpduView::in(part)) << size;
    }
    ASSERT_TRUE(RstpBpduView::in(received));
    EXPECT_EQ(RstpBpduView::in(received)->fwdDelay(), TimerVal::seconds(15));
}

TEST(RstpBpduView, IgnoresWhatFollowsTheBpdu) {
    std::vector<Zel::U8> received(golden.begin(), golden.end());
    received.insert(received.end(), 20, 0xee);
    ASSERT_TRUE(RstpBpduView::in(received));
    EXPECT_EQ(RstpBpduView::in(received)->version1Length(), 0);
}

TEST(RstpBpduView, PrintsEveryFieldWithItsName) {
    EXPECT_EQ(textOf(RstpBpduView(golden)),
              "Protocol Identifier 0, Protocol Version Identifier 2, BPDU Type 2, "
              "Flags 60(designated learning forwarding), "
              "Root Identifier 4096.5.00:1c:73:01:02:03, Root Path Cost 200000, "
              "Bridge Identifier 32768.5.00:1c:73:0a:0b:0c, Port Identifier 128.3, "
              "Message Age 1s, Max Age 20s, Hello Time 2.5s, Forward Delay 15s, "
              "Version 1 Length 0");
}

TEST(CommonBpdu, StandsAtTheFirstOctetOfTheBpdu) {
    std::array<Zel::U8, 53> frame{};
    Stp::CommonBpdu* common = Stp::CommonBpdu::at(&frame[17]);
    EXPECT_EQ(static_cast<void*>(common), &frame[17]);
    writeGolden(RstpBpdu(common->octets<36>()));
    EXPECT_TRUE(std::equal(golden.begin(), golden.end(), frame.begin() + 17));
    EXPECT_TRUE(std::all_of(frame.begin(), frame.begin() + 17, [](auto o) { return o == 0; }));
}

} // namespace
