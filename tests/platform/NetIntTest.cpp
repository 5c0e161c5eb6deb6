#include "platform/kolvu/NetInt.h"

#include "tests/platform/Text.h"
#include "tests/platform/Wire.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using Kolvu::NetU16;
using Kolvu::NetU32;
using Kolvu::NetU8;

TEST(NetInt, HoldsTheMostSignificantOctetFirst) {
    EXPECT_EQ(NetU16(0x1234).octets(), (NetU16::Octets{0x12, 0x34}));
    EXPECT_EQ(NetU32(0x12345678).octets(), (NetU32::Octets{0x12, 0x34, 0x56, 0x78}));
    EXPECT_EQ(wireOf(NetU8(0xfe)), (Octets{0xfe}));
    EXPECT_EQ(wireOf(NetU16(0xfedc)), (Octets{0xfe, 0xdc}));
    EXPECT_EQ(wireOf(NetU32(0xfedcba98)), (Octets{0xfe, 0xdc, 0xba, 0x98}));
}

TEST(NetInt, IsZeroByDefault) {
    EXPECT_EQ(NetU16(), 0);
    EXPECT_EQ(NetU32(), 0U);
}

TEST(NetInt, StandsAtAnyAddress) {
    unsigned char memory[] = {0xff, 0x01, 0x02, 0xff};
    NetU16 number;
    static_assert(alignof(NetU16) == 1 && alignof(NetU32) == 1);
    std::memcpy(&number, memory + 1, sizeof(number));
    EXPECT_EQ(number, 0x0102);
}

TEST(NetInt, EveryNumberOfSixteenBitsComesBack) {
    for (Zel::U32 i = 0; i <= 0xffff; ++i) {
        const auto host = static_cast<Zel::U16>(i);
        const NetU16 number(host);
        ASSERT_EQ(number, host);
        ASSERT_EQ(number.octets()[0], host / 256);
        ASSERT_EQ(number.octets()[1], host % 256);
        ASSERT_EQ(NetU16::decode(number.octets()), host);
    }
}

TEST(NetInt, NumbersOfThirtyTwoBitsComeBack) {
    for (Zel::U32 host : {0U, 1U, 0x80U, 0xffU, 0x8000U, 200000U, 0x80000000U, 0xffffffffU}) {
        EXPECT_EQ(NetU32(host), host);
        EXPECT_EQ(NetU32::decode(NetU32(host).octets()), host);
    }
    EXPECT_EQ(fromWire<NetU32>({0x00, 0x03, 0x0d, 0x40}), 200000U);
}

TEST(NetInt, SetsAndClearsBitsOfTheHostsNumber) {
    NetU16 tag;
    tag |= 0xe000;
    EXPECT_EQ(tag.octets(), (NetU16::Octets{0xe0, 0x00}));
    tag |= 0xffff;
    tag &= 0xefff;
    EXPECT_EQ(tag.octets(), (NetU16::Octets{0xef, 0xff}));
}

TEST(NetInt, PrintsInDecimal) {
    EXPECT_EQ(textOf(NetU8(200)), "200");
    EXPECT_EQ(textOf(NetU16(65535)), "65535");
    EXPECT_EQ(textOf(NetU32(4294967295)), "4294967295");
}

} // namespace
