#include "model/RxStatus.h"

#include "tests/framework/AttributeTest.h"
#include "tests/framework/EachAllocation.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/NothingLeft.h"
#include "tests/model/Insertions.h"
#include "tests/model/Journal.h"
#include "tests/model/Samples.h"
#include "tests/platform/Text.h"

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <type_traits>

namespace Varnol {
namespace {

using Bridging::VlanIdOrNone;
using Samples::counters;
using Samples::et1;
using Samples::et2;
using Samples::po1;
using TreeText::contents;
using TreeText::Lines;

// The mutators and lookups, as the service calls them.
static_assert(std::is_same_v<decltype(&RxStatus::rxMstStatusIs),
                             Zel::Ptr<RxMstStatus> (RxStatus::*)(Zel::Name)>);
static_assert(std::is_same_v<decltype(&RxStatus::rxMstStatusDel), void (RxStatus::*)(Zel::Name)>);
static_assert(std::is_same_v<decltype(&RxStatus::localHeartbeatIs), void (RxStatus::*)(unsigned)>);
static_assert(std::is_same_v<decltype(&RxStatus::peerHeartbeatIs), void (RxStatus::*)(unsigned)>);
static_assert(
    std::is_same_v<decltype(&RxStatus::updateCtrTimeIs), void (RxStatus::*)(double const&)>);
static_assert(
    std::is_same_v<decltype(&RxStatus::localUpdateCtrTimeIs), void (RxStatus::*)(double const&)>);
static_assert(
    std::is_same_v<decltype(&RxStatus::peerUpdateCtrTimeIs), void (RxStatus::*)(double const&)>);
static_assert(std::is_same_v<decltype(&RxMstStatus::rxMstPortStatusIs),
                             Zel::Ptr<RxMstPortStatus> (RxMstStatus::*)(Kolvu::IntfId)>);
static_assert(std::is_same_v<decltype(&RxMstStatus::rxMstPortStatusDel),
                             void (RxMstStatus::*)(Kolvu::IntfId)>);
static_assert(std::is_same_v<decltype(&RxMstPortStatus::rxInfoIs),
                             Zel::Ptr<IntxInfo> (RxMstPortStatus::*)(VlanIdOrNone)>);
static_assert(
    std::is_same_v<decltype(&RxMstPortStatus::rxInfoDel), void (RxMstPortStatus::*)(VlanIdOrNone)>);
static_assert(std::is_same_v<decltype(&RxMstPortStatus::rxUpdateInc),
                             void (RxMstPortStatus::*)(VlanIdOrNone, unsigned)>);
static_assert(std::is_same_v<decltype(&RxMstPortStatus::rxUpdateDel),
                             void (RxMstPortStatus::*)(VlanIdOrNone)>);
static_assert(
    std::is_same_v<decltype(&RxMstPortStatus::bpduCountIs), void (RxMstPortStatus::*)(unsigned)>);
static_assert(std::is_same_v<decltype(&RxMstPortStatus::rateLimitEnabledIs),
                             void (RxMstPortStatus::*)(bool)>);
static_assert(std::is_same_v<decltype(&RxMstPortStatus::rateLimitIntervalIs),
                             void (RxMstPortStatus::*)(double const&)>);
static_assert(std::is_same_v<decltype(&RxMstPortStatus::rateLimitMaxCountIs),
                             void (RxMstPortStatus::*)(unsigned)>);
static_assert(std::is_same_v<decltype(&RxMstPortStatus::countersIs),
                             void (RxMstPortStatus::*)(PortCounters const&)>);
static_assert(std::is_same_v<decltype(&RxMstPortStatus::localCountersIs),
                             void (RxMstPortStatus::*)(PortCounters const&)>);

// A read-only view reads everything and writes nothing.
using View = Zel::Ptr<RxStatus const>;
template <class Pointer>
concept CanCreate = requires(Pointer root) {
    root->rxMstStatusIs("a");
};
static_assert(CanCreate<RxStatus::Ptr> && !CanCreate<View>);
static_assert(std::is_same_v<decltype(std::declval<View>()->rxMstStatus(Zel::Name())),
                             Zel::Ptr<RxMstStatus const>>);
static_assert(std::is_same_v<decltype(std::declval<Zel::Ptr<RxMstStatus const>>()->rxMstPortStatus(
                                 Kolvu::IntfId())),
                             Zel::Ptr<RxMstPortStatus const>>);
static_assert(std::is_same_v<
              decltype(std::declval<Zel::Ptr<RxMstPortStatus const>>()->rxInfo(VlanIdOrNone())),
              Zel::Ptr<IntxInfo const>>);

class RxStatusTree : public NothingLeft {
  protected:
    // Not below: there, g++ 12 forgets the object when making the name throws.
    static RxMstStatus::Ptr named(const char* name) {
        return RxMstStatus::Ptr(new RxMstStatus(name));
    }

    RxStatus::Ptr root{new RxStatus};
    RxMstStatus::Ptr mst = named("mst1");
    RxMstPortStatus::Ptr port{new RxMstPortStatus(et1)};
    Journal journal;
};
WITH_BOTH_WAYS_OF_COUNTING(RxStatusTree);

TEST_P(RxStatusTree, TheRootHasItsAttributesUnderTheirIdentifiersAndLeavesOneFree) {
    using enum Zel::AttributeKind;
    const auto table = RxStatus::_zelType.attributes();
    ASSERT_EQ(table.size(), 6U);
    expectRow(table[0], 258, "rxMstStatus", collection, typeid(RxMstStatus), &typeid(Zel::Name));
    expectRow(table[1], 259, "localHeartbeat", scalar, typeid(unsigned));
    expectRow(table[2], 260, "peerHeartbeat", scalar, typeid(unsigned));
    expectRow(table[3], 262, "updateCtrTime", scalar, typeid(double));
    expectRow(table[4], 263, "localUpdateCtrTime", scalar, typeid(double));
    expectRow(table[5], 264, "peerUpdateCtrTime", scalar, typeid(double));
    EXPECT_EQ(RxStatus::_zelType.attribute(261), nullptr);
}

TEST_P(RxStatusTree, AnMstNameHasOneAttribute) {
    using enum Zel::AttributeKind;
    const auto table = RxMstStatus::_zelType.attributes();
    ASSERT_EQ(table.size(), 1U);
    expectRow(table[0], 258, "rxMstPortStatus", collection, typeid(RxMstPortStatus),
              &typeid(Kolvu::IntfId));
}

TEST_P(RxStatusTree, APortHasItsAttributesUnderTheirIdentifiersAndLeavesOneFree) {
    using enum Zel::AttributeKind;
    const auto table = RxMstPortStatus::_zelType.attributes();
    ASSERT_EQ(table.size(), 9U);
    expectRow(table[0], 258, "intfId", key, typeid(Kolvu::IntfId));
    expectRow(table[1], 259, "rxUpdate", valueMap, typeid(unsigned), &typeid(VlanIdOrNone));
    expectRow(table[2], 260, "rxInfo", collection, typeid(IntxInfo), &typeid(VlanIdOrNone));
    expectRow(table[3], 261, "counters", scalar, typeid(PortCounters));
    expectRow(table[4], 262, "localCounters", scalar, typeid(PortCounters));
    expectRow(table[5], 264, "bpduCount", scalar, typeid(unsigned));
    expectRow(table[6], 265, "rateLimitInterval", scalar, typeid(double));
    expectRow(table[7], 266, "rateLimitMaxCount", scalar, typeid(unsigned));
    expectRow(table[8], 267, "rateLimitEnabled", scalar, typeid(bool));
    EXPECT_EQ(RxMstPortStatus::_zelType.attribute(263), nullptr);
}

TEST_P(RxStatusTree, TheTypesAreRegisteredUnderTheirQualifiedNames) {
    EXPECT_EQ(Zel::typeNode("Varnol::RxStatus"), &RxStatus::_zelType);
    EXPECT_EQ(Zel::typeNode("Varnol::RxMstStatus"), &RxMstStatus::_zelType);
    EXPECT_EQ(Zel::typeNode("Varnol::RxMstPortStatus"), &RxMstPortStatus::_zelType);
    EXPECT_EQ(root->fwkType(), &RxStatus::_zelType);
    EXPECT_EQ(mst->fwkType(), &RxMstStatus::_zelType);
    EXPECT_EQ(port->fwkType(), &RxMstPortStatus::_zelType);
}

TEST_P(RxStatusTree, BeginsEmptyAndZero) {
    EXPECT_EQ(contents(root), (Lines{"localHeartbeat=0", "localUpdateCtrTime=0", "peerHeartbeat=0",
                                     "peerUpdateCtrTime=0", "updateCtrTime=0"}));
    EXPECT_EQ(mst->name(), "mst1");
    EXPECT_EQ(contents(mst), Lines{});
    EXPECT_EQ(port->intfId(), et1);
    EXPECT_EQ(contents(port), (Lines{"bpduCount=0", "counters=0/0/0/0/0/0", "intfId=Et1",
                                     "localCounters=0/0/0/0/0/0", "rateLimitEnabled=false",
                                     "rateLimitInterval=0", "rateLimitMaxCount=0"}));
}

TEST_P(RxStatusTree, EachScalarOfTheRootStoresThenNotifiesAlsoForAnEqualValue) {
    using E = RxStatus;
    const auto check = [&](Zel::AttributeId id, auto read, auto write, auto const& value) {
        expectEachWriteStoresThenNotifies(root, id, read, write, value);
    };
    check(259, &E::localHeartbeat, &E::localHeartbeatIs, std::numeric_limits<unsigned>::max());
    check(260, &E::peerHeartbeat, &E::peerHeartbeatIs, 8U);
    check(262, &E::updateCtrTime, &E::updateCtrTimeIs, 1e300);
    check(263, &E::localUpdateCtrTime, &E::localUpdateCtrTimeIs, -0.25);
    check(264, &E::peerUpdateCtrTime, &E::peerUpdateCtrTimeIs,
          std::numeric_limits<double>::infinity());
}

TEST_P(RxStatusTree, EachScalarOfAPortStoresThenNotifiesAlsoForAnEqualValue) {
    using E = RxMstPortStatus;
    const auto check = [&](Zel::AttributeId id, auto read, auto write, auto const& value) {
        expectEachWriteStoresThenNotifies(port, id, read, write, value);
    };
    check(261, &E::counters, &E::countersIs, counters(1));
    check(262, &E::localCounters, &E::localCountersIs, counters(0xfffffff0));
    check(264, &E::bpduCount, &E::bpduCountIs, std::numeric_limits<unsigned>::max());
    check(265, &E::rateLimitInterval, &E::rateLimitIntervalIs, 0.125);
    check(266, &E::rateLimitMaxCount, &E::rateLimitMaxCountIs, 10U);
    check(267, &E::rateLimitEnabled, &E::rateLimitEnabledIs, true);
}

TEST_P(RxStatusTree, AWriteOfOneScalarChangesNoOther) {
    Samples::fill(*port, 0);
    EXPECT_EQ(contents(port), (Lines{"bpduCount=1", "counters=10/11/12/13/14/15", "intfId=Et1",
                                     "localCounters=20/21/22/23/24/25", "rateLimitEnabled=true",
                                     "rateLimitInterval=0.5", "rateLimitMaxCount=2"}));
    Samples::fill(*root, 0);
    EXPECT_EQ(contents(root),
              (Lines{"localHeartbeat=1", "localUpdateCtrTime=4.5", "peerHeartbeat=2",
                     "peerUpdateCtrTime=5.5", "updateCtrTime=3.5"}));
}

TEST_P(RxStatusTree, PortCountersAreAValueOfSixNumbers) {
    static_assert(sizeof(PortCounters) == 6 * sizeof(Zel::U32));
    static_assert(std::is_trivially_copyable_v<PortCounters>);
    EXPECT_EQ(counters(4294967290U), counters(4294967290U));
    for (unsigned at = 0; at < 6; ++at) {
        PortCounters other = counters(7);
        (at == 0   ? other.sent
         : at == 1 ? other.received
         : at == 2 ? other.taggedErrors
         : at == 3 ? other.otherErrors
         : at == 4 ? other.rateLimited
                   : other.filtered) = 99;
        EXPECT_FALSE(other == counters(7)) << at;
    }
    EXPECT_EQ(textOf(counters(4294967290U)),
              "4294967290/4294967291/4294967292/4294967293/4294967294/4294967295");
}

TEST_P(RxStatusTree, ALookupOfWhatIsMissingReturnsNullAndChangesNothing) {
    root->rxMstStatusIs("a")->rxMstPortStatusIs(et1);
    const auto before = contents(root);
    journal.follow(root);
    const View view = root;
    EXPECT_EQ(view->rxMstStatus("b"), nullptr);
    EXPECT_EQ(root->rxMstStatus("b"), nullptr);
    EXPECT_EQ(root->rxMstStatus(""), nullptr);
    EXPECT_EQ(view->rxMstStatus("a")->rxMstPortStatus(et2), nullptr);
    EXPECT_EQ(root->rxMstStatus("a")->rxMstPortStatus(Kolvu::IntfId()), nullptr);
    EXPECT_EQ(view->rxMstStatus("a")->rxMstPortStatus(et1)->rxInfo(1), nullptr);
    EXPECT_EQ(view->rxMstStatus("a")->rxMstPortStatus(et1)->rxUpdate(1), 0U);
    EXPECT_EQ(view->rxMstStatus("a")->rxMstPortStatus(et1)->rxUpdate().lookupNodeG(1), nullptr);
    EXPECT_EQ(contents(root), before);
    EXPECT_EQ(journal.take(), Lines{});
}

TEST_P(RxStatusTree, AnMstNameIsCreatedOnceAndNotifiedWithItsName) {
    journal.follow(root);
    const RxMstStatus::Ptr made = root->rxMstStatusIs("mst1");
    EXPECT_EQ(journal.take(), Lines{"rxMstStatus[mst1]"});
    EXPECT_EQ(root->rxMstStatusIs(std::string_view("mst1")), made) << "by equality of the string";
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(root->rxMstStatus("mst1"), made);
    EXPECT_EQ(made->name(), "mst1");
    EXPECT_NE(root->rxMstStatusIs("MST1"), made);
    EXPECT_EQ(root->rxMstStatus().members(), 2U);
}

TEST_P(RxStatusTree, AnMstNameIsDeletedOnceAndNotifiedWithItsName) {
    root->rxMstStatusIs("mst1");
    journal.follow(root);
    root->rxMstStatusDel("other");
    EXPECT_EQ(journal.take(), Lines{});
    root->rxMstStatusDel("mst1");
    EXPECT_EQ(journal.take(), Lines{"rxMstStatus[mst1] deleted"});
    EXPECT_EQ(root->rxMstStatus("mst1"), nullptr);
    root->rxMstStatusDel("mst1");
    EXPECT_EQ(journal.take(), Lines{});
}

TEST_P(RxStatusTree, APortIsCreatedAndDeletedOnceAndNotifiedWithItsInterface) {
    journal.follow(mst);
    const RxMstPortStatus::Ptr made = mst->rxMstPortStatusIs(et1);
    EXPECT_EQ(mst->rxMstPortStatusIs(et1), made);
    EXPECT_EQ(made->intfId(), et1);
    EXPECT_EQ(journal.take(), Lines{"rxMstPortStatus[Et1]"});
    EXPECT_NE(mst->rxMstPortStatusIs(po1), made);
    EXPECT_EQ(journal.take(), Lines{"rxMstPortStatus[Po1]"});
    mst->rxMstPortStatusDel(et1);
    mst->rxMstPortStatusDel(et1);
    EXPECT_EQ(journal.take(), Lines{"rxMstPortStatus[Et1] deleted"});
    EXPECT_EQ(mst->rxMstPortStatus(et1), nullptr);
    EXPECT_NE(mst->rxMstPortStatus(po1), nullptr);
}

TEST_P(RxStatusTree, AWalkYieldsEveryKeyOnce) {
    std::map<std::string, int> names;
    std::map<Kolvu::IntfId, int> ports;
    for (unsigned i = 0; i < 100; ++i) {
        root->rxMstStatusIs(std::string_view(std::to_string(i)));
        mst->rxMstPortStatusIs(Samples::et(static_cast<Zel::U16>(i)));
    }
    for (Zel::Ptr<RxMstStatus const> const& at : std::as_const(*root).rxMstStatus())
        ++names[TreeText::text(at->name())];
    for (Zel::Ptr<RxMstPortStatus const> const& at : std::as_const(*mst).rxMstPortStatus())
        ++ports[at->intfId()];
    EXPECT_EQ(names.size(), 100U);
    EXPECT_EQ(ports.size(), 100U);
    EXPECT_TRUE(std::ranges::all_of(names, [](auto const& each) { return each.second == 1; }));
    EXPECT_TRUE(std::ranges::all_of(ports, [](auto const& each) { return each.second == 1; }));
}

TEST_P(RxStatusTree, HasFourBucketsInEachHashedCollectionUntilTheyAreFull) {
    const Zel::Name names[]{"a", "b", "c", "d", "e", "f"};
    EXPECT_EQ(allocationsOfSix([&](Zel::U16 n) { root->rxMstStatusIs(names[n - 1]); }),
              fourBucketsFirst);
    EXPECT_EQ(allocationsOfSix([&](Zel::U16 n) { mst->rxMstPortStatusIs(Samples::et(n)); }),
              fourBucketsFirst);
    EXPECT_EQ(allocationsOfSix([&](Zel::U16 n) { port->rxUpdateIs(n, n); }), fourBucketsFirst);
}

TEST_P(RxStatusTree, ARecordIsCreatedOnceAlsoForNoVlanAndItsPointerReturned) {
    journal.follow(port);
    const IntxInfo::Ptr none = port->rxInfoIs(VlanIdOrNone());
    const IntxInfo::Ptr record = port->rxInfoIs(4094);
    EXPECT_EQ(port->rxInfoIs(4094), record);
    EXPECT_EQ(record->vlanId(), 4094);
    EXPECT_EQ(none->vlanId(), VlanIdOrNone());
    EXPECT_EQ(port->rxInfo(VlanIdOrNone()), none);
    EXPECT_EQ(journal.take(), (Lines{"rxInfo[0]", "rxInfo[4094]"}));
}

TEST_P(RxStatusTree, AChangeOfAReceivedRecordAloneNotifiesNoReactorOfThePort) {
    const IntxInfo::Ptr record = port->rxInfoIs(10);
    journal.watch(port);
    Samples::fill(*record);
    Samples::fill(*record->mstiNIs(0));
    EXPECT_EQ(journal.take(), Lines{});
}

TEST_P(RxStatusTree, AnUpdateCountIsCreatedWithTheAmountAndRaisedByIt) {
    journal.follow(port);
    port->rxUpdateInc(10, 7);
    EXPECT_EQ(port->rxUpdate(10), 7U);
    port->rxUpdateInc(10, 3);
    EXPECT_EQ(port->rxUpdate(10), 10U);
    port->rxUpdateInc(VlanIdOrNone(), 1);
    EXPECT_EQ(port->rxUpdate(VlanIdOrNone()), 1U);
    EXPECT_EQ(port->rxUpdate().members(), 2U);
    EXPECT_EQ(journal.take(), (Lines{"rxUpdate[10]=7", "rxUpdate[10]=10", "rxUpdate[0]=1"}));
}

TEST_P(RxStatusTree, AnUpdateCountIsCountedModulo32Bits) {
    port->rxUpdateInc(10, std::numeric_limits<unsigned>::max());
    port->rxUpdateInc(10, 1);
    EXPECT_EQ(port->rxUpdate(10), 0U);
    port->rxUpdateInc(10, 1);
    EXPECT_EQ(port->rxUpdate(10), 1U);
}

TEST_P(RxStatusTree, AnUpdateCountOfZeroReadsAsAMissingOne) {
    port->rxUpdateInc(10, 0);
    EXPECT_EQ(port->rxUpdate(10), port->rxUpdate(11));
    EXPECT_NE(port->rxUpdate().lookupNodeG(10), nullptr);
}

TEST_P(RxStatusTree, DeletingAnUpdateCountNotifiesAndDeletingAMissingOneDoesNothing) {
    port->rxUpdateInc(10, 7);
    journal.follow(port);
    port->rxUpdateDel(11);
    EXPECT_EQ(journal.take(), Lines{});
    port->rxUpdateDel(10);
    EXPECT_EQ(journal.take(), Lines{"rxUpdate[10] deleted"});
    EXPECT_EQ(port->rxUpdate().members(), 0U);
    port->rxUpdateDel(10);
    EXPECT_EQ(journal.take(), Lines{});
}

TEST_P(RxStatusTree, DeletingARecordDoesNotTouchTheUpdateCountNorTheReverse) {
    for (const VlanIdOrNone vlan : {VlanIdOrNone(10), VlanIdOrNone(20)}) {
        port->rxInfoIs(vlan);
        port->rxUpdateInc(vlan, 5);
    }
    journal.follow(port);
    port->rxInfoDel(10);
    EXPECT_EQ(journal.take(), Lines{"rxInfo[10] deleted"});
    EXPECT_EQ(port->rxUpdate(10), 5U);
    port->rxUpdateDel(20);
    EXPECT_EQ(journal.take(), Lines{"rxUpdate[20] deleted"});
    EXPECT_NE(port->rxInfo(20), nullptr);
    port->rxInfoDel(30);
    EXPECT_EQ(journal.take(), Lines{});
}

TEST_P(RxStatusTree, AnEntityThatIsHeldOutlivesItsDeletionFromTheTree) {
    const RxMstPortStatus::Ptr held = root->rxMstStatusIs("a")->rxMstPortStatusIs(et1);
    held->bpduCountIs(5);
    root->rxMstStatusDel("a");
    EXPECT_EQ(RxMstStatus::_zelType.allocations().liveCount(), 1U) << "the fixture's";
    EXPECT_EQ(held->bpduCount(), 5U);
    EXPECT_NE(root->rxMstStatusIs("a")->rxMstPortStatusIs(et1), held);
}

TEST_P(RxStatusTree, ExhaustedMemoryLeavesTheTreeAsItWasAndReachesTheCaller) {
    const auto exhausted = [&](auto const& change) {
        const unsigned failures = failEachAllocation([&](Attempt& attempt) {
            root = RxStatus::Ptr(new RxStatus);
            mst = RxMstStatus::Ptr(new RxMstStatus("mst1"));
            port = RxMstPortStatus::Ptr(new RxMstPortStatus(et1));
            const auto all = [&] {
                return std::array{contents(root), contents(mst), contents(port)};
            };
            const auto before = all();
            const auto outstanding = FailingAllocation::outstanding();
            if (!attempt(change)) {
                EXPECT_EQ(FailingAllocation::outstanding(), outstanding);
                EXPECT_EQ(all(), before);
            }
            root = nullptr;
            mst = nullptr;
            port = nullptr;
        });
        EXPECT_GE(failures, 1U);
    };
    exhausted([&] { root->rxMstStatusIs("a"); });
    exhausted([&] { mst->rxMstPortStatusIs(et1); });
    exhausted([&] { port->rxInfoIs(10); });
    exhausted([&] { port->rxUpdateInc(10, 1); });
}

} // namespace
} // namespace Varnol
