#include "bpdu/LlcHeader.h"

#include "tests/bpdu/Frames.h"

#include <array>

#include <gtest/gtest.h>

namespace Varnol {
namespace {

constexpr Kolvu::EthAddr source{0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c};
constexpr Zel::U8 untouched = 0xa5;

/// The header and the octets behind it, which nobody may write.
std::string written(Bridging::VlanIdOrNone vlan, U32 size) {
    std::array<Zel::U8, 24> frame;
    frame.fill(untouched);
    LlcHeader::write(frame.data(), vlan, source, size);
    return Frames::hex(frame);
}

// The headers can be computed by the compiler.
static_assert([] {
    std::array<Zel::U8, LlcHeader::Tagged::octets> frame{};
    LlcHeader::write(frame.data(), 5, source, 36);
    return frame[12] == 0x81 && frame[15] == 0x05 && frame[20] == 0x03;
}());
static_assert(LlcHeader::octets(0) == 17);
static_assert(LlcHeader::octets(1) == 21);
static_assert(LlcHeader::octets(0x1000) == 21);
static_assert(LlcHeader::octets(0xffff) == 21);

TEST(LlcHeader, IsFourOctetsLongerWithAVlan) {
    EXPECT_EQ(LlcHeader::octets(0), 17U);
    EXPECT_EQ(LlcHeader::octets(1), 21U);
}

TEST(LlcHeader, WithoutAVlanHasNoTag) {
    EXPECT_EQ(written(0, 36), "01 80 c2 00 00 00 "     // destination: bridge group address
                              "00 1c 73 0a 0b 0c "     // source
                              "00 27 "                 // length: LLC 3 + BPDU 36
                              "42 42 03 "              // DSAP, SSAP, control: UI
                              "a5 a5 a5 a5 a5 a5 a5"); // not the header's
}

TEST(LlcHeader, WithAVlanHasATagBeforeTheLength) {
    EXPECT_EQ(written(5, 36), "01 80 c2 00 00 00 " // destination: bridge group address
                              "00 1c 73 0a 0b 0c " // source
                              "81 00 "             // tag protocol identifier
                              "e0 05 "             // priority 7, DEI 0, VLAN 5
                              "00 27 "             // length: LLC 3 + BPDU 36
                              "42 42 03 "          // DSAP, SSAP, control: UI
                              "a5 a5 a5");         // not the header's
}

TEST(LlcHeader, TheLengthIsBigEndianAndCountsTheLlcOctets) {
    const auto lengthOf = [](Bridging::VlanIdOrNone vlan, U32 size) {
        return written(vlan, size).substr(vlan == 0 ? 3 * 12 : 3 * 16, 5);
    };
    EXPECT_EQ(lengthOf(0, 0), "00 03");
    EXPECT_EQ(lengthOf(0, 0xfc), "00 ff");
    EXPECT_EQ(lengthOf(0, 0xfd), "01 00");
    EXPECT_EQ(lengthOf(0, 0x1231), "12 34");
    EXPECT_EQ(lengthOf(0, LlcHeader::maxBpduOctets), "ff ff");
    EXPECT_EQ(lengthOf(7, 0), "00 03");
    EXPECT_EQ(lengthOf(7, 0x1231), "12 34");
    EXPECT_EQ(lengthOf(7, LlcHeader::maxBpduOctets), "ff ff");
}

TEST(LlcHeader, TheTagHasPrioritySevenNoDropEligibilityAndTheLow12BitsOfTheVlan) {
    EXPECT_EQ(LlcHeader::tagControlInformation(1), 0xe001);
    EXPECT_EQ(LlcHeader::tagControlInformation(0x0fff), 0xefff);
    EXPECT_EQ(LlcHeader::tagControlInformation(0x1000), 0xe000);
    EXPECT_EQ(LlcHeader::tagControlInformation(0x1005), 0xe005);
    EXPECT_EQ(LlcHeader::tagControlInformation(0xffff), 0xefff);
    for (U32 vlan = 0; vlan <= 0xffff; ++vlan) {
        const Kolvu::NetU16 tci = LlcHeader::tagControlInformation(static_cast<U16>(vlan));
        ASSERT_EQ(tci, 0xe000 | (vlan & 0x0fff)) << vlan;
        ASSERT_EQ(tci.octets()[0], 0xe0 | (vlan >> 8 & 0x0f)) << vlan;
        ASSERT_EQ(tci.octets()[1], vlan & 0xff) << vlan;
    }
}

} // namespace
} // namespace Varnol
