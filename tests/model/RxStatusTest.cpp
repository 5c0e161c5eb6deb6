#include "model/RxStatus.h"

#include "tests/framework/FailingAllocation.h"
#include "tests/model/AttributeTest.h"
#include "tests/model/ReceiveTrees.h"

#include <limits>
#include <new>
#include <type_traits>

namespace Varnol {
namespace {

using namespace ReceiveTrees;
using Bridging::VlanIdOrNone;

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

class RxStatusTree : public Fixture {
  protected:
    RxStatus::Ptr root{new RxStatus};
    RxMstStatus::Ptr mst{new RxMstStatus("mst1")};
    RxMstPortStatus::Ptr port{new RxMstPortStatus(et(1))};
    Steps steps;
};
INSTANTIATE_TEST_SUITE_P(, RxStatusTree, ::testing::Bool(), parameterName);

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
    EXPECT_EQ(textOf(*root), Steps{" localHeartbeat=0 peerHeartbeat=0 updateCtrTime=0.000000 "
                                   "localUpdateCtrTime=0.000000 peerUpdateCtrTime=0.000000"});
    EXPECT_EQ(mst->name(), "mst1");
    EXPECT_EQ(textOf(*mst), Steps{});
    EXPECT_EQ(port->intfId(), et(1));
    EXPECT_EQ(textOf(*port),
              Steps{" counters=0/0/0/0/0/0 localCounters=0/0/0/0/0/0 bpduCount=0 "
                    "rateLimitInterval=0.000000 rateLimitMaxCount=0 rateLimitEnabled=false"});
}

/// The mutator has to store, then notify once, also when the value is the same.
template <class E, class Accessor, class Mutator, class T>
void expectStoresThenNotifies(Zel::Ptr<E> const& entity, const char* name, Accessor read,
                              Mutator write, T const& value) {
    Steps seen;
    const auto watcher = watch<E>(entity, [&](std::string const& text) {
        EXPECT_TRUE(((*entity).*read)() == value) << name << " notifies before it stores";
        seen.push_back(text);
    });
    EXPECT_FALSE(((*entity).*read)() == value) << "the sample is the zero value";
    ((*entity).*write)(value);
    ((*entity).*write)(value);
    EXPECT_EQ(seen, (Steps{name, name}));
    EXPECT_TRUE(((*entity).*read)() == value);
}

TEST_P(RxStatusTree, EachScalarOfTheRootStoresThenNotifiesAlsoForAnEqualValue) {
#define EXPECT_SCALAR(ENTITY, CLASS, NAME, VALUE)                                                  \
    expectStoresThenNotifies(ENTITY, #NAME, &CLASS::NAME, &CLASS::NAME##Is, VALUE)
    EXPECT_SCALAR(root, RxStatus, localHeartbeat, std::numeric_limits<unsigned>::max());
    EXPECT_SCALAR(root, RxStatus, peerHeartbeat, 8U);
    EXPECT_SCALAR(root, RxStatus, updateCtrTime, 1e300);
    EXPECT_SCALAR(root, RxStatus, localUpdateCtrTime, -0.25);
    EXPECT_SCALAR(root, RxStatus, peerUpdateCtrTime, std::numeric_limits<double>::infinity());
}

TEST_P(RxStatusTree, EachScalarOfAPortStoresThenNotifiesAlsoForAnEqualValue) {
    EXPECT_SCALAR(port, RxMstPortStatus, counters, counters(1));
    EXPECT_SCALAR(port, RxMstPortStatus, localCounters, counters(0xfffffff0));
    EXPECT_SCALAR(port, RxMstPortStatus, bpduCount, std::numeric_limits<unsigned>::max());
    EXPECT_SCALAR(port, RxMstPortStatus, rateLimitInterval, 0.125);
    EXPECT_SCALAR(port, RxMstPortStatus, rateLimitMaxCount, 10U);
    EXPECT_SCALAR(port, RxMstPortStatus, rateLimitEnabled, true);
#undef EXPECT_SCALAR
}

TEST_P(RxStatusTree, AWriteOfOneScalarChangesNoOther) {
    fill(*port, 0);
    EXPECT_EQ(textOf(*port),
              Steps{" counters=10/11/12/13/14/15 localCounters=20/21/22/23/24/25 bpduCount=1 "
                    "rateLimitInterval=0.500000 rateLimitMaxCount=2 rateLimitEnabled=true"});
    fill(*root, 0);
    EXPECT_EQ(textOf(*root), Steps{" localHeartbeat=1 peerHeartbeat=2 updateCtrTime=3.500000 "
                                   "localUpdateCtrTime=4.500000 peerUpdateCtrTime=5.500000"});
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
    EXPECT_EQ(valueText(counters(4294967290U)),
              "4294967290/4294967291/4294967292/4294967293/4294967294/4294967295");
}

TEST_P(RxStatusTree, ALookupOfWhatIsMissingReturnsNullAndChangesNothing) {
    root->rxMstStatusIs("a")->rxMstPortStatusIs(et(1));
    const auto before = textOf(*root);
    const auto watching = note<RxStatus>(root, steps);
    const auto watchingMst = note<RxMstStatus>(root->rxMstStatus("a"), steps);
    const auto watchingPort =
        note<RxMstPortStatus>(root->rxMstStatus("a")->rxMstPortStatus(et(1)), steps);
    const View view = root;
    EXPECT_EQ(view->rxMstStatus("b"), nullptr);
    EXPECT_EQ(root->rxMstStatus("b"), nullptr);
    EXPECT_EQ(root->rxMstStatus(""), nullptr);
    EXPECT_EQ(view->rxMstStatus("a")->rxMstPortStatus(et(2)), nullptr);
    EXPECT_EQ(root->rxMstStatus("a")->rxMstPortStatus(Kolvu::IntfId()), nullptr);
    EXPECT_EQ(view->rxMstStatus("a")->rxMstPortStatus(et(1))->rxInfo(1), nullptr);
    EXPECT_EQ(view->rxMstStatus("a")->rxMstPortStatus(et(1))->rxUpdate(1), 0U);
    EXPECT_EQ(view->rxMstStatus("a")->rxMstPortStatus(et(1))->rxUpdate().lookupNodeG(1), nullptr);
    EXPECT_EQ(textOf(*root), before);
    EXPECT_EQ(take(steps), Steps{});
}

TEST_P(RxStatusTree, AnMstNameIsCreatedOnceAndNotifiedWithItsName) {
    const auto watching = note<RxStatus>(root, steps);
    const RxMstStatus::Ptr made = root->rxMstStatusIs("mst1");
    EXPECT_EQ(take(steps), Steps{"rxMstStatus mst1"});
    EXPECT_EQ(root->rxMstStatusIs(std::string_view("mst1")), made) << "by equality of the string";
    EXPECT_EQ(take(steps), Steps{});
    EXPECT_EQ(root->rxMstStatus("mst1"), made);
    EXPECT_EQ(made->name(), "mst1");
    EXPECT_NE(root->rxMstStatusIs("MST1"), made);
    EXPECT_EQ(root->rxMstStatus().members(), 2U);
}

TEST_P(RxStatusTree, AnMstNameIsDeletedOnceAndNotifiedWithItsName) {
    root->rxMstStatusIs("mst1");
    const auto watching = note<RxStatus>(root, steps);
    root->rxMstStatusDel("other");
    EXPECT_EQ(take(steps), Steps{});
    root->rxMstStatusDel("mst1");
    EXPECT_EQ(take(steps), Steps{"rxMstStatus mst1"});
    EXPECT_EQ(root->rxMstStatus("mst1"), nullptr);
    root->rxMstStatusDel("mst1");
    EXPECT_EQ(take(steps), Steps{});
}

TEST_P(RxStatusTree, APortIsCreatedAndDeletedOnceAndNotifiedWithItsInterface) {
    const auto watching = note<RxMstStatus>(mst, steps);
    const RxMstPortStatus::Ptr made = mst->rxMstPortStatusIs(et(1));
    EXPECT_EQ(mst->rxMstPortStatusIs(et(1)), made);
    EXPECT_EQ(made->intfId(), et(1));
    EXPECT_EQ(take(steps), Steps{"rxMstPortStatus Et1"});
    EXPECT_NE(mst->rxMstPortStatusIs(Kolvu::IntfId::portChannel(1)), made);
    EXPECT_EQ(take(steps), Steps{"rxMstPortStatus Po1"});
    mst->rxMstPortStatusDel(et(1));
    mst->rxMstPortStatusDel(et(1));
    EXPECT_EQ(take(steps), Steps{"rxMstPortStatus Et1"});
    EXPECT_EQ(mst->rxMstPortStatus(et(1)), nullptr);
    EXPECT_NE(mst->rxMstPortStatus(Kolvu::IntfId::portChannel(1)), nullptr);
}

TEST_P(RxStatusTree, AWalkYieldsEveryKeyOnce) {
    std::map<std::string, int> names;
    std::map<Kolvu::IntfId, int> ports;
    for (unsigned i = 0; i < 100; ++i) {
        root->rxMstStatusIs(std::string_view(std::to_string(i)));
        mst->rxMstPortStatusIs(et(static_cast<Zel::U16>(i)));
    }
    for (Zel::Ptr<RxMstStatus const> const& at : std::as_const(*root).rxMstStatus())
        ++names[keyText(at->name())];
    for (Zel::Ptr<RxMstPortStatus const> const& at : std::as_const(*mst).rxMstPortStatus())
        ++ports[at->intfId()];
    EXPECT_EQ(names.size(), 100U);
    EXPECT_EQ(ports.size(), 100U);
    EXPECT_TRUE(std::ranges::all_of(names, [](auto const& each) { return each.second == 1; }));
    EXPECT_TRUE(std::ranges::all_of(ports, [](auto const& each) { return each.second == 1; }));
}

TEST_P(RxStatusTree, ARecordIsCreatedOnceAlsoForNoVlanAndItsPointerReturned) {
    const auto watching = note<RxMstPortStatus>(port, steps);
    const IntxInfo::Ptr none = port->rxInfoIs(VlanIdOrNone());
    const IntxInfo::Ptr record = port->rxInfoIs(4094);
    EXPECT_EQ(port->rxInfoIs(4094), record);
    EXPECT_EQ(record->vlanId(), 4094);
    EXPECT_EQ(none->vlanId(), VlanIdOrNone());
    EXPECT_EQ(port->rxInfo(VlanIdOrNone()), none);
    EXPECT_EQ(take(steps), (Steps{"rxInfo 0", "rxInfo 4094"}));
}

TEST_P(RxStatusTree, AChangeOfAReceivedRecordAloneNotifiesNoReactorOfThePort) {
    const IntxInfo::Ptr record = port->rxInfoIs(10);
    const auto watching = note<RxMstPortStatus>(port, steps);
    Samples::fill(*record);
    Samples::fill(*record->mstiNIs(0));
    EXPECT_EQ(take(steps), Steps{});
}

TEST_P(RxStatusTree, AnUpdateCountIsCreatedWithTheAmountAndRaisedByIt) {
    const auto watching = note<RxMstPortStatus>(port, steps);
    port->rxUpdateInc(10, 7);
    EXPECT_EQ(port->rxUpdate(10), 7U);
    port->rxUpdateInc(10, 3);
    EXPECT_EQ(port->rxUpdate(10), 10U);
    port->rxUpdateInc(VlanIdOrNone(), 1);
    EXPECT_EQ(port->rxUpdate(VlanIdOrNone()), 1U);
    EXPECT_EQ(port->rxUpdate().members(), 2U);
    EXPECT_EQ(take(steps), (Steps{"rxUpdate 10", "rxUpdate 10", "rxUpdate 0"}));
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
    const auto watching = note<RxMstPortStatus>(port, steps);
    port->rxUpdateDel(11);
    EXPECT_EQ(take(steps), Steps{});
    port->rxUpdateDel(10);
    EXPECT_EQ(take(steps), Steps{"rxUpdate 10"});
    EXPECT_EQ(port->rxUpdate().members(), 0U);
    port->rxUpdateDel(10);
    EXPECT_EQ(take(steps), Steps{});
}

TEST_P(RxStatusTree, DeletingARecordDoesNotTouchTheUpdateCountNorTheReverse) {
    for (const VlanIdOrNone vlan : {VlanIdOrNone(10), VlanIdOrNone(20)}) {
        port->rxInfoIs(vlan);
        port->rxUpdateInc(vlan, 5);
    }
    const auto watching = note<RxMstPortStatus>(port, steps);
    port->rxInfoDel(10);
    EXPECT_EQ(take(steps), Steps{"rxInfo 10"});
    EXPECT_EQ(port->rxUpdate(10), 5U);
    port->rxUpdateDel(20);
    EXPECT_EQ(take(steps), Steps{"rxUpdate 20"});
    EXPECT_NE(port->rxInfo(20), nullptr);
    port->rxInfoDel(30);
    EXPECT_EQ(take(steps), Steps{});
}

TEST_P(RxStatusTree, AnEntityThatIsHeldOutlivesItsDeletionFromTheTree) {
    const RxMstPortStatus::Ptr held = root->rxMstStatusIs("a")->rxMstPortStatusIs(et(1));
    held->bpduCountIs(5);
    root->rxMstStatusDel("a");
    EXPECT_EQ(RxMstStatus::_zelType.allocations().liveCount(), 1U) << "the fixture's";
    EXPECT_EQ(held->bpduCount(), 5U);
    EXPECT_NE(root->rxMstStatusIs("a")->rxMstPortStatusIs(et(1)), held);
}

TEST_P(RxStatusTree, ExhaustedMemoryLeavesTheTreeAsItWasAndReachesTheCaller) {
    const auto exhausted = [&](const char* what, auto const& action) {
        const Steps rootBefore = textOf(*root), mstBefore = textOf(*mst),
                    portBefore = textOf(*port);
        unsigned failures = 0;
        for (std::size_t n = 1;; ++n) {
            const auto outstanding = FailingAllocation::outstanding();
            bool thrown = false;
            bool happened = false;
            {
                const FailingAllocation failing(n);
                try {
                    action();
                } catch (std::bad_alloc const&) {
                    thrown = true;
                }
                happened = failing.happened();
            }
            EXPECT_EQ(thrown, happened) << what << " " << n;
            if (!thrown)
                break;
            ++failures;
            EXPECT_EQ(FailingAllocation::outstanding(), outstanding) << what << " " << n;
            EXPECT_EQ(textOf(*root), rootBefore) << what << " " << n;
            EXPECT_EQ(textOf(*mst), mstBefore) << what << " " << n;
            EXPECT_EQ(textOf(*port), portBefore) << what << " " << n;
        }
        EXPECT_GE(failures, 1U) << what;
    };
    exhausted("rxMstStatusIs", [&] { root->rxMstStatusIs("a"); });
    exhausted("rxMstPortStatusIs", [&] { mst->rxMstPortStatusIs(et(1)); });
    exhausted("rxInfoIs", [&] { port->rxInfoIs(10); });
    exhausted("rxUpdateInc", [&] { port->rxUpdateInc(10, 1); });
}

} // namespace
} // namespace Varnol
