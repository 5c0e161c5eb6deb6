#include "platform/kolvu/EthAddr.h"

#include "framework/zel/Exception.h"
#include "tests/platform/Text.h"
#include "tests/platform/Wire.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using Kolvu::EthAddr;

constexpr EthAddr bridgeGroup(0x01, 0x80, 0xc2, 0x00, 0x00, 0x00);

TEST(EthAddr, IsAllZeroByDefault) {
    EXPECT_EQ(EthAddr().octets(), (EthAddr::Octets{0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(EthAddr(), EthAddr(0, 0, 0, 0, 0, 0));
    EXPECT_EQ(textOf(EthAddr()), "00:00:00:00:00:00");
}

TEST(EthAddr, KeepsTheOrderOfItsOctets) {
    EXPECT_EQ(bridgeGroup.octets(), (EthAddr::Octets{0x01, 0x80, 0xc2, 0x00, 0x00, 0x00}));
    EXPECT_EQ(wireOf(EthAddr(1, 2, 3, 4, 5, 6)), (Octets{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(fromWire<EthAddr>({1, 2, 3, 4, 5, 6}), EthAddr(1, 2, 3, 4, 5, 6));
}

TEST(EthAddr, TakesSixOctetsOfMemory) {
    EXPECT_EQ(sizeof(EthAddr), 6U);
    EXPECT_EQ(alignof(EthAddr), 1U);
}

TEST(EthAddr, ParsesColonsAndHyphensInEitherCase) {
    EXPECT_EQ(EthAddr::parse("01:80:c2:00:00:00"), bridgeGroup);
    EXPECT_EQ(EthAddr::parse("01-80-C2-00-00-00"), bridgeGroup);
    EXPECT_EQ(EthAddr::parse("fF:Ff:ff:FF:a9:0B"), EthAddr(0xff, 0xff, 0xff, 0xff, 0xa9, 0x0b));
}

TEST(EthAddr, ItsTextParsesToTheSameAddress) {
    const EthAddr address(0x00, 0x1c, 0x73, 0xfe, 0x09, 0xa0);
    EXPECT_EQ(textOf(address), "00:1c:73:fe:09:a0");
    EXPECT_EQ(EthAddr::parse(textOf(address)), address);
}

TEST(EthAddr, RefusesTextOfAnyOtherForm) {
    for (const char* text : {"",
                             ":",
                             "01:80:c2:00:00",
                             "01:80:c2:00:00:",
                             "01:80:c2:00:00:0",
                             "01:80:c2:00:00:000",
                             "01:80:c2:00:00:00:",
                             "01:80:c2:00:00:00:00",
                             " 01:80:c2:00:00:00",
                             "1:80:c2:00:00:000",
                             "01:80-c2:00:00:00",
                             "01-80:c2-00-00-00",
                             "01:80:c2:00:00-00",
                             "01.80.c2.00.00.00",
                             "0180c2000000",
                             "01:80:g2:00:00:00",
                             "01:80:0x:00:00:00",
                             "01:80:-1:00:00:00",
                             "01:80:+1:00:00:00",
                             "01:80: 1:00:00:00",
                             "0180.c200.0000",
                             "::::::::::::::::::"})
        EXPECT_THROW(EthAddr::parse(text), Zel::RangeException) << text;
}

TEST(EthAddr, SaysWhichTextItRefusesAndWhatItExpects) {
    try {
        EthAddr::parse("Et1");
        FAIL();
    } catch (Zel::RangeException const& error) {
        EXPECT_STREQ(error.what(), "\"Et1\" is not a MAC address (six pairs of hexadecimal digits, "
                                   "with colons or hyphens between them)");
    }
}

TEST(EthAddr, OrdersByTheFirstOctetThatDiffers) {
    EXPECT_LT(EthAddr(0, 0, 0, 0, 0, 0xff), EthAddr(0, 0, 0, 0, 1, 0));
    EXPECT_LT(EthAddr(0x7f, 0, 0, 0, 0, 0), EthAddr(0x80, 0, 0, 0, 0, 0));
    EXPECT_GT(EthAddr(1, 0, 0, 0, 0, 0), EthAddr(0, 0xff, 0xff, 0xff, 0xff, 0xff));
    EXPECT_NE(EthAddr(0, 0, 0, 0, 0, 1), EthAddr());
    EXPECT_EQ(EthAddr(0, 0, 0, 0, 0, 1) <=> EthAddr(0, 0, 0, 0, 0, 1), std::strong_ordering::equal);
}

TEST(EthAddr, AddressesOfOneVendorHaveDifferentHashes) {
    std::set<Zel::U32> hashes;
    for (Zel::U32 i = 0; i < 65536; ++i)
        hashes.insert(
            EthAddr(0x00, 0x1c, 0x73, 0x42, static_cast<Zel::U8>(i >> 8), static_cast<Zel::U8>(i))
                .hash());
    EXPECT_EQ(hashes.size(), 65536U);
    EXPECT_EQ(bridgeGroup.hash(), EthAddr::parse("01:80:c2:00:00:00").hash());
    EXPECT_NE(EthAddr(1, 0, 0, 0, 0, 0).hash(), EthAddr(0, 1, 0, 0, 0, 0).hash());
}

} // namespace
