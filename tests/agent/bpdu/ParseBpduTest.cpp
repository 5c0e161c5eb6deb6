// What a BPDU says, and which BPDUs are taken as what.

#include "agent/bpdu/Layouts.h"
#include "agent/bpdu/Parse.h"

#include "tests/agent/bpdu/Frames.h"
#include "tests/agent/bpdu/Parsed.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace Agent {
namespace {

using Frames::frame;
using Frames::Octets;
using Frames::with;
using Stp::BridgeId;
using Stp::PortId;
using Stp::TimerVal;

// Offsets in a frame.
constexpr std::size_t version = 19;
constexpr std::size_t type = 20;
constexpr std::size_t messageAge = 44;
constexpr std::size_t maxAge = 46;
constexpr std::size_t version1Length = 52;
constexpr std::size_t version3Length = 53;

constexpr Kolvu::EthAddr source{0x00, 0x1c, 0x73, 0x41, 0x42, 0x43};

/// The frame of a BPDU's first octets.
Octets frameOfFirst(std::span<Zel::U8 const> bpdu, std::size_t size) {
    return frame(bpdu.first(size));
}

TEST(ConfigurationBpdu, SaysEveryField) {
    ReceivedBpdu expected;
    expected.kind = BpduKind::configuration;
    expected.source = source;
    expected.version = 0;
    expected.type = 0;
    expected.flags = 0x81;
    expected.rootId = BridgeId(8192, 1, {0x00, 0x1c, 0x73, 0x11, 0x12, 0x13});
    expected.rootPathCost = 20000;
    expected.bridgeId = BridgeId(36864, 2, {0x00, 0x1c, 0x73, 0x14, 0x15, 0x16});
    expected.portId = PortId(64, 7);
    expected.messageAge = TimerVal::units(384);
    expected.maxAge = TimerVal::seconds(19);
    expected.helloTime = TimerVal::seconds(3);
    expected.fwdDelay = TimerVal::units(4160);
    EXPECT_EQ(taken(frame(Frames::configuration)), expected);
}

TEST(TopologyChangeNotification, SaysItsVersionAndTypeOnly) {
    ReceivedBpdu expected;
    expected.kind = BpduKind::topologyChangeNotification;
    expected.source = source;
    expected.version = 0;
    expected.type = 0x80;
    EXPECT_EQ(taken(frame(Frames::notification)), expected);
}

ReceivedBpdu rstExpected() {
    ReceivedBpdu expected;
    expected.kind = BpduKind::rst;
    expected.source = source;
    expected.version = 2;
    expected.type = 2;
    expected.flags = 0x3c;
    expected.rootId = BridgeId(4096, 5, {0x00, 0x1c, 0x73, 0x01, 0x02, 0x03});
    expected.rootPathCost = 200000;
    expected.bridgeId = BridgeId(32768, 6, {0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c});
    expected.portId = PortId(128, 3);
    expected.messageAge = TimerVal::seconds(1);
    expected.maxAge = TimerVal::seconds(20);
    expected.helloTime = TimerVal::units(640);
    expected.fwdDelay = TimerVal::seconds(15);
    return expected;
}

TEST(RstBpdu, SaysEveryField) { EXPECT_EQ(taken(frame(Frames::rst)), rstExpected()); }

ReceivedBpdu mstExpected() {
    ReceivedBpdu expected;
    expected.kind = BpduKind::mst;
    expected.source = source;
    expected.version = 3;
    expected.type = 2;
    expected.flags = 0x7c;
    expected.rootId = BridgeId(4096, 0, {0x00, 0x1c, 0x73, 0x21, 0x22, 0x23});
    expected.rootPathCost = 100000;
    expected.bridgeId = BridgeId(20480, 0, {0x00, 0x1c, 0x73, 0x27, 0x28, 0x29});
    expected.portId = PortId(32, 10);
    expected.messageAge = TimerVal::seconds(2);
    expected.maxAge = TimerVal::seconds(21);
    expected.helloTime = TimerVal::seconds(2);
    expected.fwdDelay = TimerVal::seconds(14);
    expected.regionalRootId = BridgeId(12288, 0, {0x00, 0x1c, 0x73, 0x24, 0x25, 0x26});
    expected.configurationId.formatSelector = 0;
    std::ranges::copy(std::string_view("region-1"), expected.configurationId.name.begin());
    expected.configurationId.revisionLevel = 0x1234;
    expected.configurationId.digest =
        Stp::MstpConfigDigest({0xac, 0x36, 0x17, 0x7f, 0x50, 0x28, 0x3c, 0xd4, 0xb8, 0x38, 0x21,
                               0xd8, 0xab, 0x26, 0xde, 0x62});
    expected.internalRootPathCost = 2000;
    expected.remainingHops = 19;
    return expected;
}

TEST(MstBpdu, WithoutMstisSaysEveryFieldOfTheCist) {
    EXPECT_EQ(taken(frame(Frames::mst)), mstExpected());
}

TEST(MstBpdu, WithOneMstiSaysEveryFieldOfIt) {
    Octets bpdu = Frames::joined(Frames::mst, Frames::msti);
    Frames::put16(bpdu, 36, 64 + 16);
    ReceivedBpdu expected = mstExpected();
    expected.mstiCount = 1;
    expected.mstiRecords[0] = {
        .flags = 0x8e,
        .regionalRootId = BridgeId(24576, 11, {0x00, 0x1c, 0x73, 0x31, 0x32, 0x33}),
        .internalRootPathCost = 3000,
        .bridgePriority = 7,
        .portPriority = 14,
        .remainingHops = 18,
    };
    const ReceivedBpdu bpduTaken = taken(frame(bpdu));
    EXPECT_EQ(bpduTaken, expected);
    EXPECT_EQ(bpduTaken.mstis().front().instance(), 11);
}

TEST(MstBpdu, KeepsTheFormatSelectorThatItHas) {
    EXPECT_EQ(taken(with(frame(Frames::mst), 17 + 38, 0xa5)).configurationId.formatSelector, 0xa5);
}

TEST(MstBpdu, IgnoresTheBitsBelowThePrioritiesOfAnMsti) {
    Octets octets = frame(Frames::mstWith(1));
    const ReceivedBpdu before = taken(octets);
    octets[17 + 102 + 13] |= 0x0f;
    octets[17 + 102 + 14] |= 0x0f;
    EXPECT_EQ(taken(octets), before);
}

TEST(MstBpdu, SaysEveryMstiInTheOrderOfTheFrame) {
    for (const std::size_t count : {0U, 1U, 2U, 63U, 64U}) {
        const ReceivedBpdu bpdu = taken(frame(Frames::mstWith(count)));
        EXPECT_EQ(bpdu.kind, BpduKind::mst);
        ASSERT_EQ(bpdu.mstis().size(), count);
        for (std::size_t i = 0; i < count; ++i) {
            const auto record = Frames::mstiOf(static_cast<Zel::U16>(i + 1));
            const auto number = static_cast<unsigned>(i + 1);
            MstiRecord const& msti = bpdu.mstis()[i];
            EXPECT_EQ(msti.instance(), static_cast<Zel::U16>(number));
            EXPECT_EQ(msti.flags, record[0]);
            EXPECT_EQ(msti.regionalRootId.priority(), number % 16 * 4096);
            EXPECT_EQ(msti.regionalRootId.address(),
                      Kolvu::EthAddr(0x00, 0x1c, 0x73, 0x31, 0x32, record[8]));
            EXPECT_EQ(msti.internalRootPathCost, 0x0b00U + record[12]);
            EXPECT_EQ(msti.bridgePriority.value(), 15 - number % 16);
            EXPECT_EQ(msti.portPriority.value(), (number + 5) % 16);
            EXPECT_EQ(msti.remainingHops, record[15]);
        }
    }
}

TEST(MstBpdu, KeepsRecordsOfOneMstiAndOfNone) {
    const std::array<Zel::U16, 5> instances{7, 0, 4095, 7, 0};
    const ReceivedBpdu bpdu = taken(frame(Frames::mstWith(instances)));
    ASSERT_EQ(bpdu.mstis().size(), instances.size());
    for (std::size_t i = 0; i < instances.size(); ++i)
        EXPECT_EQ(bpdu.mstis()[i].instance(), instances[i]);
}

TEST(MstConfigurationId, HasANameThatEndsBeforeItsZeroOctets) {
    MstConfigurationId id;
    EXPECT_EQ(id.nameText(), "");
    id.name[0] = 'a';
    EXPECT_EQ(id.nameText(), "a");
    id.name[2] = 'b';
    EXPECT_EQ(id.nameText(), std::string_view("a\0b", 3));
    id.name.fill('x');
    EXPECT_EQ(id.nameText(), std::string(32, 'x'));
}

TEST(Bpdu, BelowFourOctetsHasNoType) {
    for (std::size_t size = 0; size < 4; ++size)
        EXPECT_EQ(refusal(frameOfFirst(Frames::mst, size)), Refusal::headerTruncated) << size;
}

TEST(Bpdu, TruncatedIsRefusedOrTakenAsTheKindThatIsWhole) {
    for (std::size_t size = 4; size <= Frames::configuration.size(); ++size) {
        const Octets octets = frameOfFirst(Frames::configuration, size);
        EXPECT_EQ(refusal(octets),
                  size < 35 ? std::optional(Refusal::configurationTruncated) : std::nullopt)
            << size;
    }
    for (std::size_t size = 4; size <= Frames::rst.size(); ++size) {
        const Octets octets = frameOfFirst(Frames::rst, size);
        EXPECT_EQ(refusal(octets), size < 36 ? std::optional(Refusal::rstTruncated) : std::nullopt)
            << size;
    }
    const Octets mst = Frames::mstWith(3);
    for (std::size_t size = 4; size <= mst.size(); ++size) {
        const Octets octets = frameOfFirst(mst, size);
        if (size < 36)
            EXPECT_EQ(refusal(octets), Refusal::rstTruncated) << size;
        else
            EXPECT_EQ(taken(octets).kind, size < mst.size() ? BpduKind::rst : BpduKind::mst)
                << size;
    }
}

TEST(Bpdu, LongerThanItsKindSaysTheSame) {
    for (Octets const& bpdu :
         {Octets(Frames::configuration.begin(), Frames::configuration.end()),
          Octets(Frames::notification.begin(), Frames::notification.end()),
          Octets(Frames::rst.begin(), Frames::rst.end()), Frames::mstWith(2)}) {
        const ReceivedBpdu expected = taken(frame(bpdu));
        Octets longer = bpdu;
        while (longer.size() < bpdu.size() + 120) {
            longer.push_back(0x02);
            ASSERT_EQ(taken(frame(longer)), expected) << longer.size();
        }
    }
}

TEST(Bpdu, OfAnyOtherProtocolIdentifierIsRefused) {
    Octets octets = frame(Frames::rst);
    for (unsigned id = 0; id <= 0xffff; ++id) {
        Frames::put16(octets, 17, id);
        ASSERT_EQ(refusal(octets),
                  id == 0 ? std::nullopt : std::optional(Refusal::protocolIdentifier))
            << id;
    }
}

TEST(Bpdu, IsTakenAsItsTypeAndVersionSayForEveryPairOfThem) {
    // Long enough and well enough formed to be of any kind.
    Octets octets = frame(Frames::mstWith(2));
    for (unsigned aType = 0; aType <= 0xff; ++aType) {
        for (unsigned aVersion = 0; aVersion <= 0xff; ++aVersion) {
            octets[type] = static_cast<Zel::U8>(aType);
            octets[version] = static_cast<Zel::U8>(aVersion);
            const auto parsed = parseFrame(octets);
            const auto is = [&](BpduKind kind) {
                auto const* bpdu = std::get_if<ReceivedBpdu>(&parsed);
                return bpdu && bpdu->kind == kind && bpdu->version == octets[version] &&
                       bpdu->type == octets[type];
            };
            const auto isRefused = [&](Refusal why) {
                auto const* refusal = std::get_if<Refusal>(&parsed);
                return refusal && *refusal == why;
            };
            const bool asExpected = aType == 0      ? is(BpduKind::configuration)
                                    : aType == 0x80 ? is(BpduKind::topologyChangeNotification)
                                    : aType != 2    ? isRefused(Refusal::type)
                                    : aVersion < 2  ? isRefused(Refusal::version)
                                    : aVersion == 2 ? is(BpduKind::rst)
                                                    : is(BpduKind::mst);
            ASSERT_TRUE(asExpected) << "type " << aType << " version " << aVersion;
        }
    }
}

TEST(Bpdu, OfVersion3WithAnyVersion1LengthButZeroIsAnRstBpdu) {
    for (unsigned length = 0; length <= 0xff; ++length)
        EXPECT_EQ(taken(with(frame(Frames::mstWith(1)), version1Length, length)).kind,
                  length == 0 ? BpduKind::mst : BpduKind::rst)
            << length;
}

/// The number of records that a Version 3 Length stands for, if it does for any number up to 64.
std::optional<std::size_t> recordsOf(unsigned length) {
    std::optional<std::size_t> records;
    for (std::size_t count = 0; count <= 64; ++count) {
        if (length == 64 + 16 * count)
            records = count;
    }
    return records;
}

TEST(Bpdu, OfVersion3IsAnMstBpduForTheVersion3LengthsOfZeroTo64RecordsOnly) {
    EXPECT_FALSE(recordsOf(0) || recordsOf(63) || recordsOf(65) || recordsOf(64 + 16 * 65) ||
                 recordsOf(65535));
    // Room for more records than there may be.
    Octets octets = frame(Frames::mstWith(87));
    for (unsigned length = 0; length <= 0xffff; ++length) {
        Frames::put16(octets, version3Length, length);
        const ReceivedBpdu bpdu = taken(octets);
        const auto records = recordsOf(length);
        ASSERT_EQ(bpdu.kind, records ? BpduKind::mst : BpduKind::rst) << length;
        ASSERT_EQ(bpdu.mstis().size(), records.value_or(0)) << length;
    }
}

TEST(Bpdu, OfVersion3WhoseRecordsAreNotAllThereIsAnRstBpdu) {
    for (std::size_t count = 1; count <= 64; ++count) {
        Octets bpdu = Frames::mstWith(count);
        EXPECT_EQ(taken(frame(bpdu)).mstis().size(), count);
        bpdu.pop_back();
        EXPECT_EQ(taken(frame(bpdu)).kind, BpduKind::rst) << count;
    }
}

TEST(Bpdu, OfVersion3TakenAsAnRstBpduSaysWhatAnRstBpduSays) {
    ReceivedBpdu expected = mstExpected();
    expected.kind = BpduKind::rst;
    expected.bridgeId = expected.regionalRootId;
    expected.regionalRootId = {};
    expected.configurationId = {};
    expected.internalRootPathCost = 0;
    expected.remainingHops = 0;
    Octets octets = frame(Frames::mstWith(4));
    Frames::put16(octets, version3Length, 63);
    EXPECT_EQ(taken(octets), expected);
}

TEST(ConfigurationBpdu, AsOldAsItsMaxAgeOrOlderIsRefused) {
    const auto ofAges = [](unsigned age, unsigned max) {
        Octets octets = frame(Frames::configuration);
        Frames::put16(octets, messageAge, age);
        Frames::put16(octets, maxAge, max);
        return octets;
    };
    for (const unsigned max : {1U, 255U, 256U, 5120U, 65535U}) {
        EXPECT_TRUE(isTaken(ofAges(0, max))) << max;
        EXPECT_TRUE(isTaken(ofAges(max - 1, max))) << max;
        EXPECT_EQ(refusal(ofAges(max, max)), Refusal::messageAge) << max;
        EXPECT_EQ(refusal(ofAges(65535, max)), Refusal::messageAge) << max;
    }
    EXPECT_EQ(refusal(ofAges(0, 0)), Refusal::messageAge);
}

TEST(Bpdu, OfAnotherKindThanConfigurationIsTakenAtAnyAge) {
    for (Octets octets : {frame(Frames::rst), frame(Frames::mstWith(1))}) {
        const BpduKind kind = taken(octets).kind;
        for (const unsigned age : {5119U, 5120U, 5121U, 65535U}) {
            Frames::put16(octets, messageAge, age);
            Frames::put16(octets, maxAge, 5120);
            EXPECT_EQ(taken(octets).kind, kind) << age;
            EXPECT_EQ(taken(octets).messageAge.units(), age);
        }
    }
}

TEST(Layouts, AreAsLongAsTheStandardSays) {
    EXPECT_EQ(TcnLayout::octets, Frames::notification.size());
    EXPECT_EQ(ConfigurationLayout::octets, Frames::configuration.size());
    EXPECT_EQ(MstLayout::octets, Frames::mst.size());
    EXPECT_EQ(MstiLayout::octets, Frames::msti.size());
}

} // namespace
} // namespace Agent
