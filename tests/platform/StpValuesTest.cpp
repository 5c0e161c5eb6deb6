#include "platform/stp/BridgeId.h"
#include "platform/stp/MstpConfigDigest.h"
#include "platform/stp/PortId.h"
#include "platform/stp/RstpBpduFlags.h"
#include "platform/stp/TimerVal.h"
#include "tests/platform/Text.h"
#include "tests/platform/Wire.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>

namespace {

using Kolvu::EthAddr;
using Stp::BridgeId;
using Stp::MstpConfigDigest;
using Stp::PortId;
using Stp::PortRole;
using Stp::RstpBpduFlags;
using Stp::TimerVal;

constexpr EthAddr address(0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c);

// BridgeId

TEST(BridgeId, IsZeroByDefault) {
    EXPECT_EQ(wireOf(BridgeId()), Octets(8, 0));
    EXPECT_EQ(BridgeId(), BridgeId(0, 0, EthAddr()));
    EXPECT_EQ(textOf(BridgeId()), "0.0.00:00:00:00:00:00");
}

TEST(BridgeId, PriorityAndExtensionShareTheFirstTwoOctets) {
    EXPECT_EQ(wireOf(BridgeId(32768, 5, address)),
              (Octets{0x80, 0x05, 0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c}));
    EXPECT_EQ(wireOf(BridgeId(61440, 4095, address)),
              (Octets{0xff, 0xff, 0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c}));
    EXPECT_EQ(wireOf(BridgeId(4096, 0x0abc, EthAddr(1, 2, 3, 4, 5, 6))),
              (Octets{0x1a, 0xbc, 1, 2, 3, 4, 5, 6}));
}

TEST(BridgeId, EncodesTheHighFourBitsOfEveryPriority) {
    for (Zel::U32 i = 0; i <= 0xffff; ++i) {
        const Octets octets = wireOf(BridgeId(static_cast<Zel::U16>(i), 0x0001, address));
        ASSERT_EQ(octets[0], i / 4096 * 16) << i;
        ASSERT_EQ(octets[1], 0x01U) << i;
    }
}

TEST(BridgeId, EncodesTheLowTwelveBitsOfEveryExtension) {
    for (Zel::U32 i = 0; i <= 0xffff; ++i) {
        const Octets octets = wireOf(BridgeId(32768, static_cast<Zel::U16>(i), address));
        ASSERT_EQ(octets[0], 0x80 + i % 4096 / 256) << i;
        ASSERT_EQ(octets[1], i % 256) << i;
    }
}

TEST(BridgeId, KeepsWhatItsEncodingLeavesOut) {
    const BridgeId id(4097, 0x1005, address);
    EXPECT_EQ(id.priority(), 4097);
    EXPECT_EQ(id.systemIdExtension(), 0x1005);
    EXPECT_EQ(id.address(), address);
    EXPECT_NE(id, BridgeId(4096, 5, address));
    EXPECT_EQ(wireOf(id), wireOf(BridgeId(4096, 5, address)));
}

TEST(BridgeId, EveryIdentifierOfABpduComesBack) {
    for (Zel::U32 i = 0; i <= 0xffff; ++i) {
        const BridgeId id = fromWire<BridgeId>(
            {static_cast<Zel::U8>(i >> 8), static_cast<Zel::U8>(i), 1, 2, 3, 4, 5, 6});
        ASSERT_EQ(id.priority(), i / 4096 * 4096);
        ASSERT_EQ(id.systemIdExtension(), i % 4096);
        ASSERT_EQ(id.address(), EthAddr(1, 2, 3, 4, 5, 6));
        ASSERT_EQ(wireOf(id), (Octets{i >> 8, i & 0xff, 1, 2, 3, 4, 5, 6}));
    }
}

TEST(BridgeId, DiffersWhenAnyOfItsPartsDiffers) {
    const BridgeId id(4096, 1, address);
    EXPECT_EQ(id, BridgeId(4096, 1, address));
    EXPECT_NE(id, BridgeId(8192, 1, address));
    EXPECT_NE(id, BridgeId(4096, 2, address));
    EXPECT_NE(id, BridgeId(4096, 1, EthAddr()));
}

TEST(BridgeId, PrintsPriorityExtensionAndAddress) {
    EXPECT_EQ(textOf(BridgeId(32768, 5, address)), "32768.5.00:1c:73:0a:0b:0c");
}

// PortId

TEST(PortId, IsZeroByDefault) {
    EXPECT_EQ(wireOf(PortId()), (Octets{0, 0}));
    EXPECT_EQ(PortId(), PortId(0, 0));
}

TEST(PortId, HasFourBitsOfPriorityAndTwelveOfNumber) {
    EXPECT_EQ(wireOf(PortId(128, 3)), (Octets{0x80, 0x03}));
    EXPECT_EQ(wireOf(PortId(128, 0x1003)), (Octets{0x80, 0x03}));
    EXPECT_EQ(wireOf(PortId(240, 4095)), (Octets{0xff, 0xff}));
    EXPECT_EQ(wireOf(PortId(0x1f, 0)), (Octets{0x10, 0x00}));
}

TEST(PortId, EncodesTheHighFourBitsOfEveryPriorityAndTheLowTwelveOfEveryNumber) {
    for (Zel::U32 priority = 0; priority <= 0xff; ++priority) {
        for (Zel::U32 number = 0; number <= 0xffff; number += priority % 16 == 0 ? 1 : 257) {
            Zel::U8 octets[2];
            PortId(static_cast<Zel::U8>(priority), static_cast<Zel::U16>(number)).encode(octets);
            ASSERT_EQ(octets[0], (priority & 0xf0) + number % 4096 / 256);
            ASSERT_EQ(octets[1], number % 256);
        }
    }
}

TEST(PortId, EveryIdentifierOfABpduComesBack) {
    for (Zel::U32 i = 0; i <= 0xffff; ++i) {
        const PortId id = fromWire<PortId>({static_cast<Zel::U8>(i >> 8), static_cast<Zel::U8>(i)});
        ASSERT_EQ(id.priority(), i / 4096 * 16);
        ASSERT_EQ(id.number(), i % 4096);
        ASSERT_EQ(wireOf(id), (Octets{i >> 8, i & 0xff}));
    }
}

TEST(PortId, KeepsWhatItsEncodingLeavesOut) {
    const PortId id(129, 0x1003);
    EXPECT_EQ(id.priority(), 129);
    EXPECT_EQ(id.number(), 0x1003);
    EXPECT_NE(id, PortId(128, 0x1003));
    EXPECT_NE(id, PortId(129, 3));
    EXPECT_EQ(textOf(id), "129.4099");
}

// TimerVal

TEST(TimerVal, IsZeroByDefault) {
    EXPECT_EQ(TimerVal().units(), 0);
    EXPECT_EQ(TimerVal(), TimerVal::units(0));
    EXPECT_EQ(textOf(TimerVal()), "0s");
}

TEST(TimerVal, HoldsTheOctetsOfABpdu) {
    EXPECT_EQ(TimerVal::seconds(20).octets(), (std::array<Zel::U8, 2>{20, 0}));
    EXPECT_EQ(TimerVal::units(0x1234).octets(), (std::array<Zel::U8, 2>{0x12, 0x34}));
    EXPECT_EQ(sizeof(TimerVal), 2U);
    EXPECT_EQ(alignof(TimerVal), 1U);
    const TimerVal timer = TimerVal::units(0x1234);
    EXPECT_EQ(reinterpret_cast<unsigned char const*>(&timer)[0], 0x12);
}

TEST(TimerVal, EveryTimeIsCopiedOctetForOctet) {
    for (Zel::U32 i = 0; i <= 0xffff; ++i) {
        const TimerVal timer = TimerVal::units(static_cast<Zel::U16>(i));
        ASSERT_EQ(timer.units(), i);
        ASSERT_EQ(wireOf(timer), (Octets{i >> 8, i & 0xff}));
        ASSERT_EQ(fromWire<TimerVal>({static_cast<Zel::U8>(i >> 8), static_cast<Zel::U8>(i)}),
                  timer);
    }
}

TEST(TimerVal, CountsTwoHundredFiftySixUnitsInASecond) {
    for (Zel::U32 i = 0; i <= 0xff; ++i)
        EXPECT_EQ(TimerVal::seconds(static_cast<Zel::U8>(i)).units(), i * 256);
    EXPECT_NE(TimerVal::seconds(1), TimerVal::units(1));
}

TEST(TimerVal, PrintsSecondsWithTheirFractions) {
    EXPECT_EQ(textOf(TimerVal::seconds(20)), "20s");
    EXPECT_EQ(textOf(TimerVal::seconds(255)), "255s");
    EXPECT_EQ(textOf(TimerVal::units(384)), "1.5s");
    EXPECT_EQ(textOf(TimerVal::units(1)), "0.00390625s");
    EXPECT_EQ(textOf(TimerVal::units(8)), "0.03125s");
    EXPECT_EQ(textOf(TimerVal::units(65535)), "255.99609375s");
}

// RstpBpduFlags

TEST(RstpBpduFlags, IsZeroByDefault) {
    EXPECT_EQ(RstpBpduFlags(), 0);
    EXPECT_EQ(RstpBpduFlags().portRole(), PortRole::unknown);
    EXPECT_EQ(textOf(RstpBpduFlags()), "0(unknown)");
}

TEST(RstpBpduFlags, EveryOctetIsReadBitByBitAndWrittenAsItIs) {
    for (Zel::U32 octet = 0; octet <= 0xff; ++octet) {
        const RstpBpduFlags flags(static_cast<Zel::U8>(octet));
        EXPECT_EQ(flags.topologyChange(), octet % 2 == 1);
        EXPECT_EQ(flags.proposal(), octet / 2 % 2 == 1);
        EXPECT_EQ(static_cast<Zel::U32>(flags.portRole()), octet / 4 % 4);
        EXPECT_EQ(flags.learning(), octet / 16 % 2 == 1);
        EXPECT_EQ(flags.forwarding(), octet / 32 % 2 == 1);
        EXPECT_EQ(flags.agreement(), octet / 64 % 2 == 1);
        EXPECT_EQ(flags.topologyChangeAck(), octet / 128 == 1);
        EXPECT_EQ(wireOf(flags), (Octets{octet}));
        EXPECT_EQ(fromWire<RstpBpduFlags>({static_cast<Zel::U8>(octet)}), flags);
    }
}

TEST(RstpBpduFlags, AMutatorChangesItsOwnBitsOnly) {
    for (Zel::U8 before : std::to_array<Zel::U8>({0x00, 0x55, 0xaa, 0xff})) {
        const auto after = [before](auto mutator, auto value) {
            RstpBpduFlags flags(before);
            (flags.*mutator)(value);
            return unsigned{flags.value()};
        };
        for (auto [mutator, bit] : {std::pair(&RstpBpduFlags::topologyChangeIs, 0x01U),
                                    std::pair(&RstpBpduFlags::proposalIs, 0x02U),
                                    std::pair(&RstpBpduFlags::learningIs, 0x10U),
                                    std::pair(&RstpBpduFlags::forwardingIs, 0x20U),
                                    std::pair(&RstpBpduFlags::agreementIs, 0x40U),
                                    std::pair(&RstpBpduFlags::topologyChangeAckIs, 0x80U)}) {
            EXPECT_EQ(after(mutator, true), before | bit);
            EXPECT_EQ(after(mutator, false), before & ~bit);
        }
        for (unsigned role = 0; role < 4; ++role)
            EXPECT_EQ(after(&RstpBpduFlags::portRoleIs, static_cast<PortRole>(role)),
                      (before & 0xf3U) + 4 * role);
    }
}

TEST(RstpBpduFlags, NumbersPortRolesAsTheStandardDoes) {
    EXPECT_EQ(RstpBpduFlags(0x04).portRole(), PortRole::alternateOrBackup);
    EXPECT_EQ(RstpBpduFlags(0x08).portRole(), PortRole::root);
    EXPECT_EQ(RstpBpduFlags(0x0c).portRole(), PortRole::designated);
}

TEST(RstpBpduFlags, PrintsTheNamesOfWhatIsSet) {
    EXPECT_EQ(textOf(RstpBpduFlags(0x3c)), "60(designated learning forwarding)");
    EXPECT_EQ(textOf(RstpBpduFlags(0xff)), "255(designated topologyChange proposal learning "
                                           "forwarding agreement topologyChangeAck)");
    EXPECT_EQ(textOf(RstpBpduFlags(0x04)), "4(alternateOrBackup)");
    EXPECT_EQ(textOf(RstpBpduFlags(0x08)), "8(root)");
}

// MstpConfigDigest

TEST(MstpConfigDigest, IsZeroByDefault) {
    EXPECT_EQ(MstpConfigDigest().octets(), MstpConfigDigest::Octets{});
    EXPECT_EQ(MstpConfigDigest(), MstpConfigDigest(MstpConfigDigest::Octets{}));
}

TEST(MstpConfigDigest, KeepsComparesAndPrintsAllOctets) {
    const MstpConfigDigest::Octets octets{0xac, 0x36, 0x17, 0x7f, 0x50, 0x28, 0x3c, 0xd4,
                                          0xb8, 0x38, 0x21, 0xd8, 0xab, 0x26, 0xde, 0x62};
    const MstpConfigDigest digest(octets);
    EXPECT_EQ(digest.octets(), octets);
    EXPECT_EQ(textOf(digest), "ac36177f50283cd4b83821d8ab26de62");
    EXPECT_EQ(sizeof(digest), 16U);
    for (std::size_t i = 0; i < octets.size(); ++i) {
        MstpConfigDigest::Octets other = octets;
        other[i] ^= 1;
        EXPECT_NE(digest, MstpConfigDigest(other)) << i;
    }
}

} // namespace
