#include "platform/bridging/VlanIdOrNone.h"
#include "platform/stp/BridgeSystemId.h"
#include "platform/stp/CompressedBridgePriority.h"
#include "platform/stp/CompressedPortPriority.h"
#include "platform/stp/PathCost.h"
#include "platform/stp/StpBpduType.h"
#include "platform/stp/StpBpduVersion.h"
#include "tests/platform/Text.h"
#include "tests/platform/Wire.h"

#include <gtest/gtest.h>

#include <concepts>
#include <limits>
#include <set>
#include <type_traits>

namespace {

template <class V> class Number : public testing::Test {};

using Numbers = testing::Types<Bridging::VlanIdOrNone, Stp::BridgeSystemId,
                               Stp::CompressedBridgePriority, Stp::CompressedPortPriority,
                               Stp::PathCost, Stp::StpBpduType, Stp::StpBpduVersion>;
TYPED_TEST_SUITE(Number, Numbers);

TYPED_TEST(Number, IsZeroByDefault) {
    EXPECT_EQ(TypeParam().value(), 0U);
    EXPECT_EQ(TypeParam(), 0);
    EXPECT_EQ(TypeParam(), TypeParam(0));
}

TYPED_TEST(Number, KeepsEveryValueOfItsWidth) {
    using T = decltype(TypeParam().value());
    for (T value : {T{0}, T{1}, T{15}, T{16}, T{200}, std::numeric_limits<T>::max()}) {
        EXPECT_EQ(TypeParam(value).value(), value);
        EXPECT_EQ(textOf(TypeParam(value)), std::to_string(value));
    }
}

TYPED_TEST(Number, ComparesAsItsValue) {
    EXPECT_TRUE(TypeParam(3) == TypeParam(3));
    EXPECT_TRUE(TypeParam(3) == 3);
    EXPECT_TRUE(TypeParam(3) != TypeParam(4));
    EXPECT_TRUE(TypeParam(3) < TypeParam(4));
    EXPECT_TRUE(TypeParam(4) > 3);
    EXPECT_FALSE(TypeParam(200) < TypeParam(4));
    EXPECT_EQ(TypeParam(3) <=> TypeParam(4), std::strong_ordering::less);
    EXPECT_EQ(TypeParam(4) <=> TypeParam(4), std::strong_ordering::equal);
    EXPECT_EQ(TypeParam(5) <=> TypeParam(4), std::strong_ordering::greater);
}

TYPED_TEST(Number, DifferentValuesHaveDifferentHashes) {
    std::set<Zel::U32> hashes;
    for (Zel::U8 value = 0; value < 255; ++value)
        hashes.insert(TypeParam(value).hash());
    EXPECT_EQ(hashes.size(), 255U);
    EXPECT_EQ(TypeParam(7).hash(), TypeParam(7).hash());
}

TYPED_TEST(Number, DoesNotTurnIntoANumberUnasked) {
    EXPECT_FALSE((std::convertible_to<TypeParam, Zel::U32>));
    EXPECT_FALSE((std::convertible_to<TypeParam, bool>));
}

TYPED_TEST(Number, IsAsSmallAsItsNumberAndTriviallyCopyable) {
    EXPECT_EQ(sizeof(TypeParam), sizeof(TypeParam().value()));
    EXPECT_TRUE(std::is_trivially_copyable_v<TypeParam>);
}

TEST(NumbersOfDifferentMeaning, DoNotMix) {
    EXPECT_FALSE((std::convertible_to<Stp::BridgeSystemId, Bridging::VlanIdOrNone>));
    EXPECT_FALSE((std::constructible_from<Bridging::VlanIdOrNone, Stp::BridgeSystemId>));
    EXPECT_FALSE((std::equality_comparable_with<Bridging::VlanIdOrNone, Stp::BridgeSystemId>));
    EXPECT_FALSE((std::constructible_from<Stp::StpBpduType, Stp::StpBpduVersion>));
}

TEST(VlanIdOrNone, ComparesWithZeroAsOneReadsIt) {
    const Bridging::VlanIdOrNone none;
    const Bridging::VlanIdOrNone vlan = 10;
    EXPECT_TRUE(none == 0);
    EXPECT_TRUE(vlan != 0);
    EXPECT_TRUE(0 == none);
}

TEST(VlanIdOrNone, KeepsAllSixteenBits) {
    for (Zel::U32 i = 0; i <= 0xffff; ++i)
        ASSERT_EQ(Bridging::VlanIdOrNone(static_cast<Zel::U16>(i)).value(), i);
}

TEST(PathCost, TakesFourOctetsMostSignificantFirst) {
    EXPECT_EQ(wireOf(Stp::PathCost(200000)), (Octets{0x00, 0x03, 0x0d, 0x40}));
    EXPECT_EQ(wireOf(Stp::PathCost(0xfedcba98)), (Octets{0xfe, 0xdc, 0xba, 0x98}));
    EXPECT_EQ(fromWire<Stp::PathCost>({0xfe, 0xdc, 0xba, 0x98}), Stp::PathCost(0xfedcba98));
}

TEST(StpBpduVersion, IsOneOctetAsNumberedByTheStandard) {
    EXPECT_EQ(Stp::StpBpduVersion::stp, 0);
    EXPECT_EQ(Stp::StpBpduVersion::rstp, 2);
    EXPECT_EQ(Stp::StpBpduVersion::mstp, 3);
    for (Zel::U32 i = 0; i <= 0xff; ++i) {
        const Stp::StpBpduVersion version(static_cast<Zel::U8>(i));
        EXPECT_EQ(wireOf(version), (Octets{i}));
        EXPECT_EQ(fromWire<Stp::StpBpduVersion>({static_cast<Zel::U8>(i)}), version);
    }
}

TEST(StpBpduType, IsOneOctetAsNumberedByTheStandard) {
    EXPECT_EQ(Stp::StpBpduType::config, 0);
    EXPECT_EQ(Stp::StpBpduType::rst, 2);
    EXPECT_EQ(Stp::StpBpduType::topologyChangeNotice, 0x80);
    EXPECT_EQ(wireOf(Stp::StpBpduType::topologyChangeNotice), (Octets{0x80}));
    EXPECT_EQ(fromWire<Stp::StpBpduType>({0x02}), Stp::StpBpduType::rst);
}

} // namespace
