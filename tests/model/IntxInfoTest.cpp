#include "model/IntxInfo.h"

#include "framework/zel/Exception.h"
#include "tests/framework/AttributeTest.h"
#include "tests/framework/EachAllocation.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/Thrown.h"
#include "tests/model/Journal.h"
#include "tests/model/Records.h"
#include "tests/model/Samples.h"
#include "tests/platform/Text.h"

#include <algorithm>
#include <array>
#include <type_traits>

namespace Varnol {
namespace {

using Samples::record;

// The mutators, as the service calls them.
static_assert(
    std::is_same_v<decltype(&IntxInfo::neighborAddrIs), void (IntxInfo::*)(Kolvu::EthAddr const&)>);
static_assert(
    std::is_same_v<decltype(&IntxInfo::stpVersionIs), void (IntxInfo::*)(Stp::StpBpduVersion)>);
static_assert(
    std::is_same_v<decltype(&IntxInfo::intxInfoTypeIs), void (IntxInfo::*)(Stp::StpBpduType)>);
static_assert(
    std::is_same_v<decltype(&IntxInfo::configRevisionLevelIs), void (IntxInfo::*)(unsigned short)>);
static_assert(
    std::is_same_v<decltype(&IntxInfo::configNameStringIs), void (IntxInfo::*)(Zel::String)>);
static_assert(std::is_same_v<decltype(&IntxInfo::configDigestIs),
                             void (IntxInfo::*)(Stp::MstpConfigDigest const&)>);
static_assert(std::is_same_v<decltype(&IntxInfo::mstiNIs),
                             Zel::Ptr<IntxMstiInfo> (IntxInfo::*)(Stp::BridgeSystemId)>);
static_assert(
    std::is_same_v<decltype(&IntxInfo::mstiNDel), void (IntxInfo::*)(Stp::BridgeSystemId)>);
static_assert(std::is_same_v<decltype(&IntxInfo::mstiNMemberIs),
                             Zel::Ptr<IntxMstiInfo> (IntxInfo::*)(Zel::Ptr<IntxMstiInfo> const&)>);

static_assert(std::is_same_v<IntxInfo::Ptr, Zel::Ptr<IntxInfo>>);
static_assert(std::is_base_of_v<Zel::Entity, IntxInfo>);
static_assert(!std::is_copy_constructible_v<IntxInfo> && !std::is_copy_assignable_v<IntxInfo>);

template <class E>
concept KeyCanBeWritten = requires(E& info) {
    info.vlanIdIs(Bridging::VlanIdOrNone());
};
static_assert(!KeyCanBeWritten<IntxInfo>);

// A read-only view reads everything and writes nothing.
using View = Zel::Ptr<IntxInfo const>;
static_assert(std::is_convertible_v<IntxInfo::Ptr, View>);
static_assert(!std::is_convertible_v<View, IntxInfo::Ptr>);
static_assert(std::is_same_v<decltype(std::declval<View>()->mstiN(Stp::BridgeSystemId())),
                             Zel::Ptr<IntxMstiInfo const>>);
static_assert(std::is_same_v<decltype(std::declval<IntxInfo::Ptr>()->mstiN(Stp::BridgeSystemId())),
                             Zel::Ptr<IntxMstiInfo>>);
static_assert(std::is_same_v<decltype(*std::declval<View>()->mstiN().begin()),
                             Zel::Ptr<IntxMstiInfo const> const&>);

template <class Pointer>
concept CanWriteScalar = requires(Pointer info) {
    info->stpVersionIs(Stp::StpBpduVersion());
};
template <class Pointer>
concept CanCreate = requires(Pointer info) {
    info->mstiNIs(Stp::BridgeSystemId());
};
template <class Pointer>
concept CanDelete = requires(Pointer info) {
    info->mstiNDel(Stp::BridgeSystemId());
};
static_assert(CanWriteScalar<IntxInfo::Ptr> && CanCreate<IntxInfo::Ptr> &&
              CanDelete<IntxInfo::Ptr>);
static_assert(!CanWriteScalar<View> && !CanCreate<View> && !CanDelete<View>);

using TreeText::Lines;

TEST(IntxInfo, HasItsEightAttributesInOrderAndNoOther) {
    using enum Zel::AttributeKind;
    const auto table = IntxInfo::_zelType.attributes();
    ASSERT_EQ(table.size(), 8U);
    expectRow(table[0], 258, "neighborAddr", scalar, typeid(Kolvu::EthAddr));
    expectRow(table[1], 259, "vlanId", key, typeid(Bridging::VlanIdOrNone));
    expectRow(table[2], 260, "stpVersion", scalar, typeid(Stp::StpBpduVersion));
    expectRow(table[3], 261, "intxInfoType", scalar, typeid(Stp::StpBpduType));
    expectRow(table[4], 262, "configRevisionLevel", scalar, typeid(unsigned short));
    expectRow(table[5], 263, "configNameString", scalar, typeid(Zel::String));
    expectRow(table[6], 264, "configDigest", scalar, typeid(Stp::MstpConfigDigest));
    expectRow(table[7], 265, "mstiN", collection, typeid(IntxMstiInfo),
              &typeid(Stp::BridgeSystemId));
}

TEST(IntxInfo, IsRegisteredUnderItsQualifiedName) {
    EXPECT_EQ(IntxInfo::_zelType.name(), "Varnol::IntxInfo");
    EXPECT_EQ(Zel::typeNode("Varnol::IntxInfo"), &IntxInfo::_zelType);
    EXPECT_EQ(record(0)->fwkType(), &IntxInfo::_zelType);
}

TEST(IntxInfo, BeginsAllZeroAndWithoutEntries) {
    const View info = record(4094);
    EXPECT_EQ(info->vlanId(), 4094);
    EXPECT_EQ(info->fwkKey(), 4094);
    EXPECT_EQ(info->neighborAddr(), Kolvu::EthAddr());
    EXPECT_EQ(info->stpVersion(), 0);
    EXPECT_EQ(info->intxInfoType(), 0);
    EXPECT_EQ(info->configRevisionLevel(), 0);
    EXPECT_TRUE(info->configNameString().empty());
    EXPECT_EQ(info->configDigest(), Stp::MstpConfigDigest());
    EXPECT_EQ(info->mstiN().members(), 0U);
    EXPECT_TRUE(keysOf(*info).empty());
    EXPECT_EQ(info->mstiN(0), nullptr);
}

TEST(IntxInfo, EachMutatorStoresAndThenNotifiesOnceEqualValuesIncluded) {
    const IntxInfo::Ptr info = record(0);
    const auto check = [&](Zel::AttributeId id, auto read, auto write, auto const& value) {
        expectEachWriteStoresThenNotifies(info, id, read, write, value);
    };
    check(258, &IntxInfo::neighborAddr, &IntxInfo::neighborAddrIs, Samples::neighbor);
    check(260, &IntxInfo::stpVersion, &IntxInfo::stpVersionIs, Stp::StpBpduVersion(255));
    check(261, &IntxInfo::intxInfoType, &IntxInfo::intxInfoTypeIs, Stp::StpBpduType(128));
    check(262, &IntxInfo::configRevisionLevel, &IntxInfo::configRevisionLevelIs,
          static_cast<unsigned short>(65535));
    check(263, &IntxInfo::configNameString, &IntxInfo::configNameStringIs, Zel::String("region"));
    check(264, &IntxInfo::configDigest, &IntxInfo::configDigestIs, Samples::digest);
}

TEST(IntxInfo, KeepsDistinctValuesApart) {
    const IntxInfo::Ptr info = record(12);
    Samples::fill(*info);
    EXPECT_EQ(info->neighborAddr(), Samples::neighbor);
    EXPECT_EQ(info->vlanId(), 12);
    EXPECT_EQ(info->stpVersion(), 2);
    EXPECT_EQ(info->intxInfoType(), 128);
    EXPECT_EQ(info->configRevisionLevel(), 65535);
    EXPECT_EQ(info->configNameString(), "region one");
    EXPECT_EQ(info->configDigest(), Samples::digest);
    EXPECT_EQ(info->mstiN().members(), 0U);
}

TEST(IntxInfo, TakesTheDigestAsOpaqueOctets) {
    const IntxInfo::Ptr info = record(0);
    Stp::MstpConfigDigest::Octets octets;
    octets.fill(0xff);
    octets.front() = 0;
    octets.back() = 0x80;
    info->configDigestIs(Stp::MstpConfigDigest(octets));
    EXPECT_EQ(info->configDigest().octets(), octets);
}

TEST(IntxInfo, CreatingAnEntryStoresItAndThenNotifiesOnceWithItsKey) {
    const IntxInfo::Ptr info = record(0);
    Journal journal(info);
    journal.look = [&](std::string const&) {
        EXPECT_NE(info->mstiN(7), nullptr);
        EXPECT_EQ(info->mstiN().members(), 1U);
    };
    const IntxMstiInfo::Ptr entry = info->mstiNIs(7);
    EXPECT_EQ(journal.take(), Lines{"mstiN[7]"});
    EXPECT_EQ(entry->mstiId(), 7);
    EXPECT_EQ(info->mstiN(7), entry);
    EXPECT_EQ(std::as_const(*info).mstiN(7), entry);
    EXPECT_EQ(info->mstiN(0), nullptr);
}

TEST(IntxInfo, AskingForAnExistingEntryReturnsItAsItIsAndNotifiesNobody) {
    const IntxInfo::Ptr info = record(0, {0, 7});
    const IntxMstiInfo::Ptr entry = info->mstiN(7);
    Samples::fill(*entry);
    Journal journal(info);
    EXPECT_EQ(info->mstiNIs(7), entry);
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(info->mstiN().members(), 2U);
    EXPECT_EQ(entry->flags(), 0x3c);
    EXPECT_EQ(entry->bridgeId(), Samples::bridge);
    EXPECT_EQ(entry->remainingHops(), 19);
    EXPECT_EQ(entry->fwdDelay(), Stp::TimerVal::seconds(15));
}

TEST(IntxInfo, DeletingAnEntryTakesItOutAndThenNotifiesOnceWithItsKey) {
    const IntxInfo::Ptr info = record(0, {0, 7, 9});
    Journal journal(info);
    journal.look = [&](std::string const&) {
        EXPECT_EQ(info->mstiN(7), nullptr);
        EXPECT_EQ(info->mstiN().members(), 2U);
    };
    info->mstiNDel(7);
    EXPECT_EQ(journal.take(), Lines{"mstiN[7] deleted"});
    EXPECT_EQ(keysOf(*info), (std::vector<unsigned>{0, 9}));
}

TEST(IntxInfo, DeletingAnAbsentEntryNotifiesNobody) {
    const IntxInfo::Ptr info = record(0, {0, 9});
    Journal journal(info);
    info->mstiNDel(7);
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(keysOf(*info), (std::vector<unsigned>{0, 9}));
}

TEST(IntxInfo, ADeletedEntryCreatedAgainIsANewOneAllZero) {
    const IntxInfo::Ptr info = record(0, {7});
    const IntxMstiInfo::Ptr former = info->mstiN(7);
    former->remainingHopsIs(19);
    info->mstiNDel(7);
    EXPECT_NE(info->mstiNIs(7), former);
    EXPECT_EQ(info->mstiN(7)->remainingHops(), 0);
}

TEST(IntxInfo, AddingAnEntryPutsItUnderItsOwnKeyAndNotifiesOnce) {
    const IntxInfo::Ptr info = record(0);
    const IntxMstiInfo::Ptr entry = Samples::entry(7);
    Journal journal(info);
    journal.look = [&](std::string const&) { EXPECT_EQ(info->mstiN(7), entry); };
    EXPECT_EQ(info->mstiNMemberIs(entry), nullptr);
    EXPECT_EQ(journal.take(), Lines{"mstiN[7]"});
    EXPECT_EQ(info->mstiN().members(), 1U);
}

TEST(IntxInfo, AddingAnEntryInThePlaceOfAnotherReturnsThatOneAndNotifiesOnce) {
    const IntxInfo::Ptr info = record(0, {0, 7, 9});
    const IntxMstiInfo::Ptr former = info->mstiN(7);
    const IntxMstiInfo::Ptr entry = Samples::entry(7);
    Journal journal;
    journal.watch(info);
    journal.look = [&](std::string const&) { EXPECT_EQ(info->mstiN(7), entry); };
    EXPECT_EQ(info->mstiNMemberIs(entry), former);
    EXPECT_EQ(journal.take(), Lines{"mstiN[7]"});
    EXPECT_EQ(keysOf(*info), (std::vector<unsigned>{0, 7, 9}));
    EXPECT_EQ(former->references(), 1U);
}

TEST(IntxInfo, AddingTheEntryThatIsThereChangesNothingAndNotifiesNobody) {
    const IntxInfo::Ptr info = record(0, {7});
    Journal journal(info);
    EXPECT_EQ(info->mstiNMemberIs(info->mstiN(7)), nullptr);
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(info->mstiN().members(), 1U);
}

TEST(IntxInfo, AddingANullEntryIsOutOfRange) {
    const IntxInfo::Ptr info = record(0, {7});
    Journal journal(info);
    EXPECT_EQ(textThrown<Zel::RangeException>([&] { info->mstiNMemberIs(nullptr); }),
              "null _mstiN parameter to mutator for Varnol::IntxInfo::mstiN not allowed\"");
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(info->mstiN().members(), 1U);
}

TEST(IntxInfo, AWriteToAnEntryNotifiesTheEntrysReactorsAlone) {
    const IntxInfo::Ptr info = record(0, {0});
    Journal journal(info);
    info->mstiN(0)->flagsIs(1);
    EXPECT_EQ(journal.take(), Lines{"0/flags=1(unknown topologyChange)"});
}

TEST(IntxInfo, IteratesInAscendingOrderOfKeysWhateverTheOrderOfCreation) {
    std::array<Zel::U16, 6> instances{0, 1, 2, 4094, 32768, 65535};
    const std::vector<unsigned> ascending(instances.begin(), instances.end());
    do {
        const IntxInfo::Ptr info = record(0);
        for (Zel::U16 instance : instances)
            info->mstiNIs(instance);
        ASSERT_EQ(keysOf(*info), ascending);
    } while (std::ranges::next_permutation(instances).found);
}

TEST(IntxInfo, CountsItsEntries) {
    const IntxInfo::Ptr info = record(0);
    for (Zel::U16 instance = 0; instance < 65; ++instance) {
        ASSERT_EQ(info->mstiN().members(), instance);
        info->mstiNIs(instance);
    }
    for (Zel::U16 instance = 65; instance-- > 0;) {
        info->mstiNDel(instance);
        ASSERT_EQ(info->mstiN().members(), instance);
    }
}

TEST(IntxInfo, AnEntryLivesAfterItsDeletionWhileItIsReferenced) {
    const auto& allocations = IntxMstiInfo::_zelType.allocations();
    const auto before = allocations.liveCount();
    const IntxInfo::Ptr info = record(0, {7});
    Zel::Ptr<IntxMstiInfo const> entry = info->mstiN(7);
    info->mstiN(7)->remainingHopsIs(19);
    info->mstiNDel(7);
    EXPECT_EQ(allocations.liveCount(), before + 1);
    EXPECT_EQ(entry->mstiId(), 7);
    EXPECT_EQ(entry->remainingHops(), 19);
    entry = nullptr;
    EXPECT_EQ(allocations.liveCount(), before);
}

TEST(IntxInfo, AnEntryLivesLongerThanItsRecordWhileItIsReferenced) {
    const auto& allocations = IntxMstiInfo::_zelType.allocations();
    const auto before = allocations.liveCount();
    IntxInfo::Ptr info = record(0, {0, 7});
    IntxMstiInfo::Ptr entry = info->mstiN(7);
    info = nullptr;
    EXPECT_EQ(allocations.liveCount(), before + 1);
    entry->remainingHopsIs(19);
    EXPECT_EQ(entry->remainingHops(), 19);
    entry = nullptr;
    EXPECT_EQ(allocations.liveCount(), before);
}

TEST(IntxInfo, HoldsOneReferenceToEachEntry) {
    const IntxInfo::Ptr info = record(0, {7});
    const IntxMstiInfo::Ptr entry = info->mstiNIs(7);
    EXPECT_EQ(entry->references(), 2U);
    info->mstiNDel(7);
    EXPECT_EQ(entry->references(), 1U);
}

TEST(IntxInfo, IsCountedWithItsEntriesWhileItLives) {
    const auto& records = IntxInfo::_zelType.allocations();
    const auto& entries = IntxMstiInfo::_zelType.allocations();
    const auto recordsBefore = records.liveCount();
    const auto entriesBefore = entries.liveCount();
    {
        const IntxInfo::Ptr info = record(0, {0, 1, 2});
        EXPECT_EQ(records.liveCount(), recordsBefore + 1);
        EXPECT_EQ(entries.liveCount(), entriesBefore + 3);
        EXPECT_TRUE(*records.type() == typeid(IntxInfo));
        EXPECT_EQ(records.objectSize(), sizeof(IntxInfo));
    }
    EXPECT_EQ(records.liveCount(), recordsBefore);
    EXPECT_EQ(entries.liveCount(), entriesBefore);
}

TEST(IntxInfo, IsAsItWasWhereMemoryForANewEntryIsExhausted) {
    const unsigned failures = failEachAllocation([](Attempt& attempt) {
        const auto& entries = IntxMstiInfo::_zelType.allocations();
        const IntxInfo::Ptr info = record(0, {0, 9});
        unsigned notified = 0;
        const auto watcher = watch(info, [&](Zel::AttributeId id, void const* key) {
            EXPECT_EQ(id, 265U);
            EXPECT_EQ(*static_cast<Stp::BridgeSystemId const*>(key), 7);
            ++notified;
        });
        const auto before = entries.liveCount();
        const auto outstanding = FailingAllocation::outstanding();
        if (attempt([&] { info->mstiNIs(7); })) {
            EXPECT_EQ(notified, 1U);
            EXPECT_EQ(keysOf(*info), (std::vector<unsigned>{0, 7, 9}));
        } else {
            EXPECT_EQ(FailingAllocation::outstanding(), outstanding);
            EXPECT_EQ(entries.liveCount(), before);
            EXPECT_EQ(notified, 0U);
            EXPECT_EQ(keysOf(*info), (std::vector<unsigned>{0, 9}));
            EXPECT_EQ(info->mstiN(7), nullptr);
        }
    });
    EXPECT_GE(failures, 1U);
}

TEST(IntxInfo, IsNotCountedWhereMemoryForItIsExhausted) {
    const auto& records = IntxInfo::_zelType.allocations();
    const auto before = records.liveCount();
    FailingAllocation failing(1);
    EXPECT_THROW(record(0), std::bad_alloc);
    EXPECT_TRUE(failing.happened());
    EXPECT_EQ(records.liveCount(), before);
}

TEST(IntxInfo, AllocatesNothingForWritesLookupsDeletionsAndWalks) {
    const IntxInfo::Ptr info = record(0, {0, 7});
    const Zel::String name("region");
    const auto before = FailingAllocation::made();
    info->configNameStringIs(name);
    info->neighborAddrIs(Samples::neighbor);
    Samples::fill(*info->mstiN(7));
    info->mstiNIs(7);
    info->mstiNMemberIs(info->mstiN(7));
    Zel::U32 count = 0;
    for (auto const& entry : info->mstiN())
        count += entry->mstiId().value();
    info->mstiNDel(7);
    EXPECT_EQ(FailingAllocation::made(), before);
    EXPECT_EQ(count, 7U);
}

TEST(IntxInfo, PrintsEveryAttributeAndEntryOnOneLine) {
    const IntxInfo::Ptr info = record(12, {0, 9});
    Samples::fill(*info);
    Samples::fill(*info->mstiN(9));
    EXPECT_EQ(textOf(static_cast<IntxInfo const*>(info.ptr())),
              "neighborAddr=00:1c:73:0a:0b:0c vlanId=12 stpVersion=2 intxInfoType=128 "
              "configRevisionLevel=65535 configNameString=region one "
              "configDigest=ac36177f50283cd4b83821d8ab26de62 "
              "mstiN={0: {mstiId=0 flags=0(unknown) bridgeId=0.0.00:00:00:00:00:00 portId=0.0 "
              "cistRootBridgeId=0.0.00:00:00:00:00:00 cistExtRootPathCost=0 "
              "cistRegionalRootBridgeId=0.0.00:00:00:00:00:00 intRootPathCost=0 "
              "regionalRootBridgeId=0.0.00:00:00:00:00:00 remainingHops=0 messageAge=0s "
              "maxAge=0s helloTime=0s fwdDelay=0s}, "
              "9: {mstiId=9 flags=60(designated learning forwarding) "
              "bridgeId=32768.5.00:1c:73:01:02:03 portId=128.3 "
              "cistRootBridgeId=4096.6.00:1c:73:04:05:06 cistExtRootPathCost=200000 "
              "cistRegionalRootBridgeId=8192.7.00:1c:73:07:08:09 intRootPathCost=2000 "
              "regionalRootBridgeId=61440.4095.00:1c:73:0d:0e:0f remainingHops=19 "
              "messageAge=0.00390625s maxAge=20s helloTime=2.5s fwdDelay=15s}}");
}

TEST(IntxInfo, PrintsNoEntriesAsEmptyBraces) {
    EXPECT_EQ(textOf(static_cast<IntxInfo const*>(record(0).ptr())),
              "neighborAddr=00:00:00:00:00:00 vlanId=0 stpVersion=0 intxInfoType=0 "
              "configRevisionLevel=0 configNameString= "
              "configDigest=00000000000000000000000000000000 mstiN={}");
}

TEST(IntxInfo, PrintsNullAsNull) {
    EXPECT_EQ(textOf(static_cast<IntxInfo const*>(nullptr)), "null");
}

} // namespace
} // namespace Varnol
