#include "model/IntxMstiInfo.h"

#include "tests/framework/AttributeTest.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/model/Samples.h"
#include "tests/platform/Text.h"

#include <type_traits>

namespace Varnol {
namespace {

using Stp::TimerVal;

// The mutators, as the service calls them.
static_assert(
    std::is_same_v<decltype(&IntxMstiInfo::flagsIs), void (IntxMstiInfo::*)(Stp::RstpBpduFlags)>);
static_assert(std::is_same_v<decltype(&IntxMstiInfo::bridgeIdIs),
                             void (IntxMstiInfo::*)(Stp::BridgeId const&)>);
static_assert(
    std::is_same_v<decltype(&IntxMstiInfo::portIdIs), void (IntxMstiInfo::*)(Stp::PortId)>);
static_assert(std::is_same_v<decltype(&IntxMstiInfo::cistRootBridgeIdIs),
                             void (IntxMstiInfo::*)(Stp::BridgeId const&)>);
static_assert(std::is_same_v<decltype(&IntxMstiInfo::cistExtRootPathCostIs),
                             void (IntxMstiInfo::*)(Stp::PathCost)>);
static_assert(std::is_same_v<decltype(&IntxMstiInfo::cistRegionalRootBridgeIdIs),
                             void (IntxMstiInfo::*)(Stp::BridgeId const&)>);
static_assert(std::is_same_v<decltype(&IntxMstiInfo::intRootPathCostIs),
                             void (IntxMstiInfo::*)(Stp::PathCost)>);
static_assert(std::is_same_v<decltype(&IntxMstiInfo::regionalRootBridgeIdIs),
                             void (IntxMstiInfo::*)(Stp::BridgeId const&)>);
static_assert(std::is_same_v<decltype(&IntxMstiInfo::remainingHopsIs),
                             void (IntxMstiInfo::*)(unsigned char)>);
static_assert(
    std::is_same_v<decltype(&IntxMstiInfo::messageAgeIs), void (IntxMstiInfo::*)(TimerVal)>);
static_assert(std::is_same_v<decltype(&IntxMstiInfo::maxAgeIs), void (IntxMstiInfo::*)(TimerVal)>);
static_assert(
    std::is_same_v<decltype(&IntxMstiInfo::helloTimeIs), void (IntxMstiInfo::*)(TimerVal)>);
static_assert(
    std::is_same_v<decltype(&IntxMstiInfo::fwdDelayIs), void (IntxMstiInfo::*)(TimerVal)>);

template <class E>
concept KeyCanBeWritten = requires(E& entry) {
    entry.mstiIdIs(Stp::BridgeSystemId());
};
static_assert(!KeyCanBeWritten<IntxMstiInfo>);
static_assert(!std::is_copy_constructible_v<IntxMstiInfo> &&
              !std::is_copy_assignable_v<IntxMstiInfo>);
static_assert(std::is_same_v<IntxMstiInfo::Ptr, Zel::Ptr<IntxMstiInfo>>);
static_assert(std::is_base_of_v<Zel::Entity, IntxMstiInfo>);

TEST(IntxMstiInfo, HasItsFourteenAttributesInOrderAndNoOther) {
    using enum Zel::AttributeKind;
    const auto table = IntxMstiInfo::_zelType.attributes();
    ASSERT_EQ(table.size(), 14U);
    expectRow(table[0], 258, "mstiId", key, typeid(Stp::BridgeSystemId));
    expectRow(table[1], 259, "flags", scalar, typeid(Stp::RstpBpduFlags));
    expectRow(table[2], 260, "bridgeId", scalar, typeid(Stp::BridgeId));
    expectRow(table[3], 261, "portId", scalar, typeid(Stp::PortId));
    expectRow(table[4], 262, "cistRootBridgeId", scalar, typeid(Stp::BridgeId));
    expectRow(table[5], 263, "cistExtRootPathCost", scalar, typeid(Stp::PathCost));
    expectRow(table[6], 264, "cistRegionalRootBridgeId", scalar, typeid(Stp::BridgeId));
    expectRow(table[7], 265, "intRootPathCost", scalar, typeid(Stp::PathCost));
    expectRow(table[8], 266, "regionalRootBridgeId", scalar, typeid(Stp::BridgeId));
    expectRow(table[9], 267, "remainingHops", scalar, typeid(unsigned char));
    expectRow(table[10], 268, "messageAge", scalar, typeid(TimerVal));
    expectRow(table[11], 269, "maxAge", scalar, typeid(TimerVal));
    expectRow(table[12], 270, "helloTime", scalar, typeid(TimerVal));
    expectRow(table[13], 271, "fwdDelay", scalar, typeid(TimerVal));
}

TEST(IntxMstiInfo, IsRegisteredUnderItsQualifiedName) {
    EXPECT_EQ(IntxMstiInfo::_zelType.name(), "Varnol::IntxMstiInfo");
    EXPECT_EQ(Zel::typeNode("Varnol::IntxMstiInfo"), &IntxMstiInfo::_zelType);
    EXPECT_EQ(Samples::entry(0)->fwkType(), &IntxMstiInfo::_zelType);
}

TEST(IntxMstiInfo, BeginsAllZero) {
    const Zel::Ptr<IntxMstiInfo const> entry = Samples::entry(4094);
    EXPECT_EQ(entry->mstiId(), 4094);
    EXPECT_EQ(entry->fwkKey(), 4094);
    EXPECT_EQ(entry->flags(), 0);
    EXPECT_EQ(entry->bridgeId(), Stp::BridgeId());
    EXPECT_EQ(entry->portId(), Stp::PortId());
    EXPECT_EQ(entry->cistRootBridgeId(), Stp::BridgeId());
    EXPECT_EQ(entry->cistExtRootPathCost(), 0U);
    EXPECT_EQ(entry->cistRegionalRootBridgeId(), Stp::BridgeId());
    EXPECT_EQ(entry->intRootPathCost(), 0U);
    EXPECT_EQ(entry->regionalRootBridgeId(), Stp::BridgeId());
    EXPECT_EQ(entry->remainingHops(), 0);
    EXPECT_EQ(entry->messageAge(), TimerVal());
    EXPECT_EQ(entry->maxAge(), TimerVal());
    EXPECT_EQ(entry->helloTime(), TimerVal());
    EXPECT_EQ(entry->fwdDelay(), TimerVal());
}

TEST(IntxMstiInfo, EachMutatorStoresAndThenNotifiesOnceEqualValuesIncluded) {
    using E = IntxMstiInfo;
    const E::Ptr entry = Samples::entry(0);
    const auto check = [&](Zel::AttributeId id, auto read, auto write, auto const& value) {
        expectEachWriteStoresThenNotifies(entry, id, read, write, value);
    };
    check(259, &E::flags, &E::flagsIs, Stp::RstpBpduFlags(0xff));
    check(260, &E::bridgeId, &E::bridgeIdIs, Samples::bridge);
    check(261, &E::portId, &E::portIdIs, Stp::PortId(128, 3));
    check(262, &E::cistRootBridgeId, &E::cistRootBridgeIdIs, Samples::root);
    check(263, &E::cistExtRootPathCost, &E::cistExtRootPathCostIs, Stp::PathCost(0xffffffff));
    check(264, &E::cistRegionalRootBridgeId, &E::cistRegionalRootBridgeIdIs,
          Samples::cistRegionalRoot);
    check(265, &E::intRootPathCost, &E::intRootPathCostIs, Stp::PathCost(1));
    check(266, &E::regionalRootBridgeId, &E::regionalRootBridgeIdIs, Samples::regionalRoot);
    check(267, &E::remainingHops, &E::remainingHopsIs, static_cast<unsigned char>(255));
    check(268, &E::messageAge, &E::messageAgeIs, TimerVal::units(1));
    check(269, &E::maxAge, &E::maxAgeIs, TimerVal::units(0xffff));
    check(270, &E::helloTime, &E::helloTimeIs, TimerVal::seconds(2));
    check(271, &E::fwdDelay, &E::fwdDelayIs, TimerVal::seconds(15));
}

TEST(IntxMstiInfo, KeepsThirteenDistinctValuesApart) {
    const IntxMstiInfo::Ptr entry = Samples::entry(9);
    Samples::fill(*entry);
    EXPECT_EQ(entry->mstiId(), 9);
    EXPECT_EQ(entry->flags(), 0x3c);
    EXPECT_EQ(entry->bridgeId(), Samples::bridge);
    EXPECT_EQ(entry->portId(), Stp::PortId(128, 3));
    EXPECT_EQ(entry->cistRootBridgeId(), Samples::root);
    EXPECT_EQ(entry->cistExtRootPathCost(), 200000U);
    EXPECT_EQ(entry->cistRegionalRootBridgeId(), Samples::cistRegionalRoot);
    EXPECT_EQ(entry->intRootPathCost(), 2000U);
    EXPECT_EQ(entry->regionalRootBridgeId(), Samples::regionalRoot);
    EXPECT_EQ(entry->remainingHops(), 19);
    EXPECT_EQ(entry->messageAge(), TimerVal::units(1));
    EXPECT_EQ(entry->maxAge(), TimerVal::seconds(20));
    EXPECT_EQ(entry->helloTime(), TimerVal::units(640));
    EXPECT_EQ(entry->fwdDelay(), TimerVal::seconds(15));
}

TEST(IntxMstiInfo, KeepsIdentifiersAsGivenWhateverABpduHasRoomFor) {
    const IntxMstiInfo::Ptr entry = Samples::entry(0);
    entry->bridgeIdIs({0x8fff, 0xf005, {}});
    entry->portIdIs({0x8f, 0x1003});
    EXPECT_EQ(entry->bridgeId().priority(), 0x8fff);
    EXPECT_EQ(entry->bridgeId().systemIdExtension(), 0xf005);
    EXPECT_EQ(entry->portId().priority(), 0x8f);
    EXPECT_EQ(entry->portId().number(), 0x1003);
}

TEST(IntxMstiInfo, PrintsEveryAttributeOnOneLine) {
    const IntxMstiInfo::Ptr entry = Samples::entry(9);
    Samples::fill(*entry);
    EXPECT_EQ(textOf(entry.ptr()),
              "mstiId=9 flags=60(designated learning forwarding) "
              "bridgeId=32768.5.00:1c:73:01:02:03 portId=128.3 "
              "cistRootBridgeId=4096.6.00:1c:73:04:05:06 cistExtRootPathCost=200000 "
              "cistRegionalRootBridgeId=8192.7.00:1c:73:07:08:09 intRootPathCost=2000 "
              "regionalRootBridgeId=61440.4095.00:1c:73:0d:0e:0f remainingHops=19 "
              "messageAge=0.00390625s maxAge=20s helloTime=2.5s fwdDelay=15s");
}

TEST(IntxMstiInfo, PrintsNullAsNull) {
    EXPECT_EQ(textOf(static_cast<IntxMstiInfo const*>(nullptr)), "null");
}

TEST(IntxMstiInfo, IsCountedWhileItLivesEvenWhereMemoryFailed) {
    const auto& allocations = IntxMstiInfo::_zelType.allocations();
    const auto before = allocations.liveCount();
    {
        const IntxMstiInfo::Ptr entry = Samples::entry(0);
        EXPECT_EQ(allocations.liveCount(), before + 1);
        EXPECT_EQ(allocations.objectSize(), sizeof(IntxMstiInfo));
        EXPECT_TRUE(*allocations.type() == typeid(IntxMstiInfo));
        FailingAllocation failing(1);
        EXPECT_THROW(Samples::entry(1), std::bad_alloc);
        EXPECT_TRUE(failing.happened());
        EXPECT_EQ(allocations.liveCount(), before + 1);
    }
    EXPECT_EQ(allocations.liveCount(), before);
}

} // namespace
} // namespace Varnol
