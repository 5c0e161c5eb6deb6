#include "syncers/RxMstPortStatusToRxDynamicSyncer.h"

#include "syncers/RxMstStatusToRxDynamicSyncer.h"
#include "tests/framework/EachAllocation.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/NothingLeft.h"
#include "tests/framework/TimedBlocks.h"
#include "tests/framework/TraceNotes.h"
#include "tests/model/Journal.h"
#include "tests/model/Samples.h"
#include "tests/syncers/Onlooker.h"

#include <new>
#include <stdexcept>
#include <type_traits>

namespace Varnol {
namespace {

using Bridging::VlanIdOrNone;
using Samples::counters;
using Samples::et;
using Samples::fill;
using TreeText::contents;
using TreeText::Lines;
using Syncer = RxMstPortStatusToRxDynamicSyncer;
using Source = Zel::Ptr<RxMstPortStatus const>;

static_assert(
    std::is_same_v<decltype(&Syncer::dest), Zel::Ptr<RxMstPortStatus> (Syncer::*)() const>);
static_assert(std::is_same_v<decltype(&Syncer::handleRxUpdate), void (Syncer::*)(VlanIdOrNone)>);
static_assert(std::is_same_v<decltype(&rxMstPortStatusToRxDynamicSyncerFactory),
                             Zel::Ptr<Syncer> (*)(Zel::Name, Kolvu::IntfId, Source const&,
                                                  Zel::Ptr<RxStatus> const&)>);
static_assert(std::is_same_v<decltype(&Syncer::RxMstPortStatusToRxDynamicSyncerIs),
                             decltype(&rxMstPortStatusToRxDynamicSyncerFactory)>);

constexpr std::string_view traceName = "StpRxStatusSyncer";

const Lines scalarNames{"bpduCount",        "rateLimitInterval", "rateLimitMaxCount",
                        "rateLimitEnabled", "counters",          "localCounters"};

/// A trace line of a handler of the syncer of mst1 and Et1, and what comes with it.
std::string line(unsigned level, std::string const& handler, std::string const& message = "") {
    return std::to_string(level) + " " + handler +
           ": RxMstPortStatusToRxDynamicSyncer[mst1|Et1]::" + handler + "() " + message;
}

class RxMstPortStatusSyncer : public NothingLeft {
  protected:
    void start() {
        syncer = rxMstPortStatusToRxDynamicSyncerFactory("mst1", et(1), source, dynamic);
    }
    /// A started syncer, the notifications of the destination noted from then on.
    void startNoting() {
        start();
        journal.watch(dest);
    }
    void dropDestination() { dynamic->rxMstStatusDel("mst1"); }
    /// A started syncer, a source with a record and its update, and no destination.
    /// @return what the destination is to be made in
    RxMstStatus::Ptr startWithAnUpdateButNoDestination() {
        sourceRecord(10, {0, 1, 2});
        source->rxUpdateInc(10, 1);
        start();
        const RxMstStatus::Ptr mst = dynamic->rxMstStatus("mst1");
        mst->rxMstPortStatusDel(et(1));
        return mst;
    }

    /// A record of the source, filled, with these instances.
    IntxInfo::Ptr sourceRecord(VlanIdOrNone vlan, std::initializer_list<Zel::U16> instances = {}) {
        const IntxInfo::Ptr record = source->rxInfoIs(vlan);
        Samples::fill(*record);
        for (Zel::U16 instance : instances)
            Samples::fill(*record->mstiNIs(instance));
        return record;
    }
    /// Starts with VLAN 10 mirrored, has the source change, and expects that it is deleted, the
    /// record first.
    void expectDeletedBy(auto const& change) {
        sourceRecord(10);
        startNoting();
        source->rxUpdateInc(10, 1);
        journal.take();
        {
            const TraceNotes tracing(traceName, journal.lines);
            change();
        }
        EXPECT_EQ(journal.take(), (Lines{line(8, "handleRxUpdate", "deleting vlan=10"),
                                         "rxInfo[10] deleted", "rxUpdate[10] deleted"}));
        EXPECT_EQ(dest->rxInfo(10), nullptr);
        EXPECT_EQ(dest->rxUpdate().members(), 0U);
    }
    /// The handlers of the scalars, in the order in which a new source has them called.
    void callScalarHandlers() {
        syncer->handleBpduCount();
        syncer->handleRateLimitInterval();
        syncer->handleRateLimitMaxCount();
        syncer->handleRateLimitEnabled();
        syncer->handleCounters();
        syncer->handleLocalCounters();
    }

    RxStatus::Ptr dynamic{new RxStatus};
    RxMstPortStatus::Ptr dest{dynamic->rxMstStatusIs("mst1")->rxMstPortStatusIs(et(1))};
    RxMstPortStatus::Ptr source{new RxMstPortStatus(et(1))};
    RxMstPortStatus::Ptr other{new RxMstPortStatus(et(1))};
    Journal journal{Journal::names};
    Zel::Ptr<Syncer> syncer;
};
using RxMstPortStatusSyncerDeathTest = RxMstPortStatusSyncer;
WITH_BOTH_WAYS_OF_COUNTING(RxMstPortStatusSyncer);
INSTANTIATE_TEST_SUITE_P(DeathTests, RxMstPortStatusSyncerDeathTest, ::testing::Values(false),
                         nameOfCounting);

// Construction

TEST_P(RxMstPortStatusSyncer, TheFactoryReturnsTheOnlyReferenceToAnActiveSyncerThatIsComplete) {
    start();
    EXPECT_EQ(syncer->references(), 1U);
    EXPECT_TRUE(syncer->hasNotificationActive());
    EXPECT_FALSE(syncer->zelMarkedForDeletion());
    EXPECT_TRUE(syncer->initialized());
    EXPECT_EQ(syncer->mstName(), "mst1");
    EXPECT_EQ(syncer->intfId(), et(1));
    EXPECT_EQ(syncer->fwkKey(), et(1));
    EXPECT_EQ(syncer->source(), source);
    EXPECT_EQ(syncer->rxStatus(), dynamic);
    EXPECT_EQ(syncer->keyInfo(), "[mst1|Et1]");
    EXPECT_EQ(syncer->fwkType(), &Syncer::_zelType);
    EXPECT_EQ(Syncer::ZelSource::_zelType.allocations().liveCount(), 1U);
}

TEST_P(RxMstPortStatusSyncer, TheTypesAreRegisteredUnderTheirQualifiedNames) {
    EXPECT_EQ(Zel::typeNode("Varnol::RxMstPortStatusToRxDynamicSyncer"), &Syncer::_zelType);
    EXPECT_EQ(Zel::typeNode("Varnol::RxMstPortStatusToRxDynamicSyncer::ZelSource"),
              &Syncer::ZelSource::_zelType);
}

TEST_P(RxMstPortStatusSyncer, ConstructionTracesOnceAndWritesTheSixScalarsInOrder) {
    fill(*source, 0);
    journal.watch(dest);
    const TraceNotes tracing(traceName, journal.lines);
    start();
    Lines expected{line(8, "handleInitialized")};
    expected.insert(expected.end(), scalarNames.begin(), scalarNames.end());
    EXPECT_EQ(journal.take(), expected);
    EXPECT_EQ(contents(dest), contents(source));
}

TEST_P(RxMstPortStatusSyncer, InitializedIsSetAfterTheWrites) {
    start();
    syncer->initializedIs(false);
    bool during = true;
    const auto looking = onWrite(dest, [&](std::string const&) { during = syncer->initialized(); });
    syncer->handleInitialized();
    EXPECT_FALSE(during);
    EXPECT_TRUE(syncer->initialized());
}

TEST_P(RxMstPortStatusSyncer, WithoutADestinationConstructionTracesSoAndIsInitializedAllTheSame) {
    dropDestination();
    fill(*source, 0);
    const TraceNotes tracing(traceName, journal.lines);
    start();
    EXPECT_EQ(journal.take(), (Lines{line(8, "handleInitialized"),
                                     line(7, "handleInitialized", "no destination")}));
    EXPECT_TRUE(syncer->initialized());
    EXPECT_EQ(dynamic->rxMstStatus().members(), 0U);
    // A later call does not try again.
    const auto late = dynamic->rxMstStatusIs("mst1")->rxMstPortStatusIs(et(1));
    syncer->handleInitialized();
    EXPECT_EQ(journal.take(), Lines{line(8, "handleInitialized")});
    EXPECT_EQ(late->bpduCount(), 0U);
}

TEST_P(RxMstPortStatusSyncer, AnotherHandleInitializedTracesAndDoesNothingElse) {
    fill(*source, 0);
    startNoting();
    const TraceNotes tracing(traceName, journal.lines);
    syncer->handleInitialized();
    EXPECT_EQ(journal.take(), Lines{line(8, "handleInitialized")});
}

TEST_P(RxMstPortStatusSyncer, RecordsThatAreThereBeforeAreNotCopiedUntilTheirUpdateCountChanges) {
    sourceRecord(10);
    source->rxUpdateInc(10, 3);
    startNoting();
    EXPECT_EQ(dest->rxInfo().members(), 0U);
    EXPECT_EQ(dest->rxUpdate().members(), 0U);
    source->rxUpdateInc(10, 1);
    EXPECT_EQ(contents(dest->rxInfo(10)), contents(source->rxInfo(10)));
    EXPECT_EQ(dest->rxUpdate(10), 1U);
}

TEST_P(RxMstPortStatusSyncer, WithANullSourceAndNoDestinationThereIsNoReactor) {
    dropDestination();
    syncer = rxMstPortStatusToRxDynamicSyncerFactory("mst1", et(1), nullptr, dynamic);
    EXPECT_EQ(syncer->source(), nullptr);
    EXPECT_TRUE(syncer->initialized());
    EXPECT_EQ(Syncer::ZelSource::_zelType.allocations().liveCount(), 0U);
    syncer->sourceDel();
    syncer->hasNotificationActiveIs(false);
    syncer->zelDoZombieReactors(true);
}

TEST_P(RxMstPortStatusSyncerDeathTest, ANullDestinationRootIsAnAssertion) {
    EXPECT_DEATH(rxMstPortStatusToRxDynamicSyncerFactory("mst1", et(1), source, nullptr),
                 "StpRxStatusSyncer\\.cpp:[0-9]+: "
                 "Varnol::RxMstPortStatusToRxDynamicSyncer::RxMstPortStatusToRxDynamicSyncer\\("
                 ".*\\): Assertion `rxStatus' failed\\.");
    EXPECT_DEATH(rxMstPortStatusToRxDynamicSyncerFactory("mst1", et(1), nullptr, nullptr),
                 "Assertion `rxStatus' failed\\.");
}

TEST_P(RxMstPortStatusSyncerDeathTest, ANullSourceWhereThereIsADestinationIsAnAssertion) {
    EXPECT_DEATH(rxMstPortStatusToRxDynamicSyncerFactory("mst1", et(1), nullptr, dynamic),
                 "StpRxStatusSyncer\\.cpp:[0-9]+: "
                 "Varnol::RxMstPortStatusToRxDynamicSyncer::RxMstPortStatusToRxDynamicSyncer\\("
                 ".*\\): Assertion `source' failed\\.");
}

// The destination

TEST_P(RxMstPortStatusSyncer, TheDestinationIsFoundByNameAndInterfaceAndNeverCreatedNorTraced) {
    start();
    EXPECT_EQ(syncer->dest(), dest);
    const TraceNotes tracing(traceName, journal.lines);
    dynamic->rxMstStatus("mst1")->rxMstPortStatusDel(et(1));
    dynamic->rxMstStatus("mst1")->rxMstPortStatusIs(et(2));
    dynamic->rxMstStatusIs("mst2")->rxMstPortStatusIs(et(1));
    EXPECT_EQ(syncer->dest(), nullptr);
    dynamic->rxMstStatusDel("mst1");
    const auto before = contents(dynamic);
    EXPECT_EQ(syncer->dest(), nullptr);
    EXPECT_EQ(contents(dynamic), before);
    EXPECT_EQ(journal.take(), Lines{});
}

TEST_P(RxMstPortStatusSyncer, WithoutADestinationEveryHandlerTracesSoAndChangesNothing) {
    start();
    fill(*source, 5);
    sourceRecord(10);
    const auto held = contents(dest);
    for (const bool withoutName : {false, true}) {
        if (withoutName)
            dynamic->rxMstStatusDel("mst1");
        else
            dynamic->rxMstStatus("mst1")->rxMstPortStatusDel(et(1));
        const auto before = contents(dynamic);
        {
            const TraceNotes tracing(traceName, journal.lines);
            fill(*source, 6);
            source->rxUpdateInc(10, 1);
            source->rxUpdateDel(10);
        }
        EXPECT_EQ(journal.take(), (Lines{line(7, "handleBpduCount", "no destination"),
                                         line(7, "handleRateLimitInterval", "no destination"),
                                         line(7, "handleRateLimitMaxCount", "no destination"),
                                         line(7, "handleRateLimitEnabled", "no destination"),
                                         line(7, "handleCounters", "no destination"),
                                         line(7, "handleLocalCounters", "no destination"),
                                         line(7, "handleRxUpdate", "no destination"),
                                         line(7, "handleRxUpdate", "no destination")}));
        EXPECT_EQ(contents(dynamic), before);
    }
    EXPECT_EQ(contents(dest), held) << "the former destination";
}

TEST_P(RxMstPortStatusSyncer, ADestinationThatComesLaterIsPickedUpByTheNextChangeAlone) {
    dropDestination();
    start();
    fill(*source, 5);
    sourceRecord(10);
    source->rxUpdateInc(10, 1);
    dest = dynamic->rxMstStatusIs("mst1")->rxMstPortStatusIs(et(1));
    const RxMstPortStatus::Ptr expected(new RxMstPortStatus(et(1)));
    EXPECT_EQ(contents(dest), contents(expected)) << "what was dropped is not remembered";
    source->bpduCountIs(77);
    expected->bpduCountIs(77);
    EXPECT_EQ(contents(dest), contents(expected));
    source->rxUpdateInc(10, 1);
    EXPECT_EQ(contents(dest->rxInfo(10)), contents(source->rxInfo(10)));
    EXPECT_EQ(dest->rxUpdate(10), 1U);
}

TEST_P(RxMstPortStatusSyncer, ADestinationThatIsReplacedIsFoundAnew) {
    start();
    dynamic->rxMstStatus("mst1")->rxMstPortStatusDel(et(1));
    const auto replacement = dynamic->rxMstStatus("mst1")->rxMstPortStatusIs(et(1));
    source->bpduCountIs(9);
    EXPECT_EQ(replacement->bpduCount(), 9U);
    EXPECT_EQ(dest->bpduCount(), 0U);
}

// The scalars

TEST_P(RxMstPortStatusSyncer, EachScalarIsTracedThenWrittenByItself) {
    startNoting();
    {
        const TraceNotes tracing(traceName, journal.lines);
        fill(*source, 5);
    }
    EXPECT_EQ(
        journal.take(),
        (Lines{line(8, "handleBpduCount"), "bpduCount", line(8, "handleRateLimitInterval"),
               "rateLimitInterval", line(8, "handleRateLimitMaxCount"), "rateLimitMaxCount",
               line(8, "handleRateLimitEnabled"), "rateLimitEnabled", line(8, "handleCounters"),
               "counters", line(8, "handleLocalCounters"), "localCounters"}));
    EXPECT_EQ(contents(dest), contents(source));
}

TEST_P(RxMstPortStatusSyncer, AnEqualValueIsWrittenAgain) {
    startNoting();
    source->bpduCountIs(0);
    source->bpduCountIs(0);
    EXPECT_EQ(journal.take(), (Lines{"bpduCount", "bpduCount"}));
}

TEST_P(RxMstPortStatusSyncer, AHandlerWritesTheCurrentValueOverWhatTheDestinationHas) {
    fill(*source, 5);
    start();
    fill(*dest, 90);
    callScalarHandlers();
    EXPECT_EQ(contents(dest), contents(source));
}

TEST_P(RxMstPortStatusSyncer, TheCountersAndTheLocalCountersNeverFeedEachOther) {
    startNoting();
    source->countersIs(counters(100));
    EXPECT_EQ(dest->counters(), counters(100));
    EXPECT_EQ(dest->localCounters(), PortCounters());
    source->localCountersIs(counters(200));
    EXPECT_EQ(dest->counters(), counters(100));
    EXPECT_EQ(dest->localCounters(), counters(200));
    EXPECT_EQ(journal.take(), (Lines{"counters", "localCounters"}));
    source->countersIs({});
    EXPECT_EQ(dest->counters(), PortCounters()) << "copied, not added";
    EXPECT_EQ(dest->localCounters(), counters(200));
}

TEST_P(RxMstPortStatusSyncer, ValuesAreCopiedAsTheyAre) {
    start();
    source->bpduCountIs(0xffffffff);
    source->rateLimitMaxCountIs(0xffffffff);
    source->rateLimitIntervalIs(-1e300);
    EXPECT_EQ(dest->bpduCount(), 0xffffffffU);
    EXPECT_EQ(dest->rateLimitMaxCount(), 0xffffffffU);
    EXPECT_EQ(dest->rateLimitInterval(), -1e300);
}

// The records

TEST_P(RxMstPortStatusSyncer, AnUpdateCopiesTheRecordAndThenRaisesTheCountByOne) {
    sourceRecord(10, {0, 3});
    startNoting();
    Lines atRaise;
    const auto looking = onWrite(dest, [&](std::string const& what) {
        if (what == "rxUpdate[10]")
            atRaise = contents(dest->rxInfo(10));
    });
    {
        const TraceNotes tracing(traceName, journal.lines);
        source->rxUpdateInc(10, 1);
    }
    EXPECT_EQ(journal.take(), (Lines{line(8, "handleRxUpdate", "creating/updating vlan=10"),
                                     "rxInfo[10]", "rxUpdate[10]"}));
    EXPECT_EQ(atRaise, contents(source->rxInfo(10)))
        << "the record is whole when the count is raised";
    EXPECT_EQ(dest->rxUpdate(10), 1U);
}

TEST_P(RxMstPortStatusSyncer, ARecordIsCopiedInPlaceBeforeTheCountIsRaised) {
    sourceRecord(10, {3});
    dest->rxInfoIs(10)->mstiNIs(5);
    startNoting();
    const IntxInfo::Ptr record = dest->rxInfo(10);
    journal.watch(record, "record ");
    source->rxUpdateInc(10, 1);
    EXPECT_EQ(journal.take(),
              (Lines{"record neighborAddr", "record stpVersion", "record intxInfoType",
                     "record configRevisionLevel", "record configNameString", "record configDigest",
                     "record mstiN[3]", "record mstiN[5] deleted", "rxUpdate[10]"}));
    EXPECT_EQ(dest->rxInfo(10), record) << "created or gotten";
    EXPECT_EQ(contents(record), contents(source->rxInfo(10)));
}

TEST_P(RxMstPortStatusSyncer, ASecondUpdateAddsOneWhateverTheSourcesCountIs) {
    sourceRecord(10);
    start();
    source->rxUpdateInc(10, 1);
    source->rxUpdateInc(10, 41);
    EXPECT_EQ(dest->rxUpdate(10), 2U) << "a count that jumps adds exactly 1";
    source->rxUpdateIs(10, 5);
    source->rxUpdateIs(10, 5);
    EXPECT_EQ(dest->rxUpdate(10), 4U);
    EXPECT_EQ(source->rxUpdate(10), 5U);
}

TEST_P(RxMstPortStatusSyncer, TheDestinationsOwnCountGoesOn) {
    sourceRecord(10);
    dest->rxUpdateInc(10, 100);
    start();
    source->rxUpdateInc(10, 1);
    EXPECT_EQ(dest->rxUpdate(10), 101U);
}

TEST_P(RxMstPortStatusSyncer, EachVlanIsMirroredByItself) {
    sourceRecord(10);
    sourceRecord(VlanIdOrNone(), {0});
    sourceRecord(4094);
    start();
    source->rxUpdateInc(10, 1);
    source->rxUpdateInc(VlanIdOrNone(), 1);
    EXPECT_EQ(dest->rxInfo().members(), 2U);
    EXPECT_EQ(contents(dest->rxInfo(VlanIdOrNone())), contents(source->rxInfo(VlanIdOrNone())));
    EXPECT_EQ(dest->rxInfo(4094), nullptr);
    source->rxUpdateDel(10);
    EXPECT_EQ(dest->rxInfo(10), nullptr);
    EXPECT_EQ(dest->rxUpdate(VlanIdOrNone()), 1U);
}

TEST_P(RxMstPortStatusSyncer, AnUpdateOfAVlanWhoseRecordIsMissingDeletesRecordAndCount) {
    expectDeletedBy([&] {
        source->rxInfoDel(10);
        EXPECT_EQ(journal.take(), Lines{});
        source->rxUpdateInc(10, 1);
    });
}

TEST_P(RxMstPortStatusSyncer, ACountThatIsRemovedDeletesRecordAndCount) {
    expectDeletedBy([&] { source->rxUpdateDel(10); });
}

TEST_P(RxMstPortStatusSyncer, ACountOfZeroDeletesRecordAndCount) {
    expectDeletedBy([&] { source->rxUpdateIs(10, 0); });
    EXPECT_NE(source->rxUpdate().lookupNodeG(10), nullptr);
}

TEST_P(RxMstPortStatusSyncer, ACountBeginsAnewAfterADeletion) {
    sourceRecord(10);
    start();
    source->rxUpdateInc(10, 1);
    source->rxUpdateInc(10, 1);
    source->rxUpdateDel(10);
    source->rxUpdateInc(10, 7);
    EXPECT_EQ(dest->rxUpdate(10), 1U);
}

TEST_P(RxMstPortStatusSyncer, DeletingWhatIsMissingAlreadyIsHarmless) {
    sourceRecord(10);
    startNoting();
    source->rxUpdateInc(10, 1);
    dest->rxInfoDel(10);
    journal.take();
    source->rxUpdateDel(10);
    EXPECT_EQ(journal.take(), Lines{"rxUpdate[10] deleted"});
    const TraceNotes tracing(traceName, journal.lines);
    syncer->handleRxUpdate(10);
    EXPECT_EQ(journal.take(), Lines{line(8, "handleRxUpdate", "deleting vlan=10")});
}

TEST_P(RxMstPortStatusSyncer, AChangeOfARecordAloneIsNotMirrored) {
    start();
    sourceRecord(10, {1});
    EXPECT_EQ(dest->rxInfo().members(), 0U);
    source->rxInfoDel(10);
    EXPECT_EQ(dest->rxUpdate().members(), 0U);
}

// Notifications

TEST_P(RxMstPortStatusSyncer, EachIdentifierReachesItsHandlerAndEveryOtherIsIgnored) {
    start();
    const TraceNotes tracing(traceName, journal.lines);
    const VlanIdOrNone vlan = 10;
    for (Zel::AttributeId id = 0; id < 400; ++id)
        source->notify(id, id == 259 || id == 260 || id == 263 ? &vlan : nullptr);
    EXPECT_EQ(journal.take(),
              (Lines{line(8, "handleRxUpdate", "deleting vlan=10"), line(8, "handleCounters"),
                     line(8, "handleLocalCounters"), line(8, "handleBpduCount"),
                     line(8, "handleRateLimitInterval"), line(8, "handleRateLimitMaxCount"),
                     line(8, "handleRateLimitEnabled")}));
}

TEST_P(RxMstPortStatusSyncer, AnUpdateWithoutAKeyIsIgnored) {
    startNoting();
    const TraceNotes tracing(traceName, journal.lines);
    source->notify(259, nullptr);
    EXPECT_EQ(journal.take(), Lines{});
}

TEST_P(RxMstPortStatusSyncer, AZombieDropsEveryNotificationUntilItIsNoneAnyMore) {
    startNoting();
    const Zel::Ptr<Syncer::ZelSource> reactor(new Syncer::ZelSource(source, syncer.ptr()));
    reactor->zelMarkedForDeletionIs(true);
    const VlanIdOrNone vlan = 10;
    for (Zel::AttributeId id = 258; id < 270; ++id)
        reactor->onAttribute(id, id < 261 ? &vlan : nullptr);
    EXPECT_EQ(journal.take(), Lines{});
    syncer->zelDoZombieReactors(true);
    EXPECT_TRUE(syncer->zelMarkedForDeletion());
    fill(*source, 3);
    source->rxUpdateInc(10, 1);
    EXPECT_EQ(journal.take(), Lines{});
    syncer->zelDoZombieReactors(false);
    source->bpduCountIs(1);
    EXPECT_EQ(journal.take(), Lines{"bpduCount"});
}

TEST_P(RxMstPortStatusSyncer, SwitchedOffItTakesNoNotificationAndDoesNotCatchUp) {
    startNoting();
    syncer->hasNotificationActiveIs(false);
    EXPECT_FALSE(syncer->hasNotificationActive());
    source->bpduCountIs(4);
    EXPECT_EQ(journal.take(), Lines{});
    syncer->hasNotificationActiveIs(true);
    EXPECT_EQ(journal.take(), Lines{});
    source->bpduCountIs(5);
    EXPECT_EQ(journal.take(), Lines{"bpduCount"});
}

// Other sources

TEST_P(RxMstPortStatusSyncer, AReboundReactorReplaysTheScalarsInOrderAndNoRecord) {
    fill(*other, 7);
    other->rxInfoIs(10);
    other->rxUpdateInc(10, 1);
    startNoting();
    const Zel::Ptr<Syncer::ZelSource> reactor =
        Zel::newActive<Syncer::ZelSource>(source, syncer.ptr());
    syncer->sourceIs(other); // the handlers read the syncer's source
    journal.take();
    {
        const TraceNotes tracing(traceName, journal.lines);
        reactor->notifierIs(other);
    }
    EXPECT_EQ(
        journal.take(),
        (Lines{line(8, "handleBpduCount"), "bpduCount", line(8, "handleRateLimitInterval"),
               "rateLimitInterval", line(8, "handleRateLimitMaxCount"), "rateLimitMaxCount",
               line(8, "handleRateLimitEnabled"), "rateLimitEnabled", line(8, "handleCounters"),
               "counters", line(8, "handleLocalCounters"), "localCounters"}));
    EXPECT_EQ(dest->bpduCount(), 8U);
    EXPECT_EQ(dest->rxInfo().members(), 0U);
    EXPECT_TRUE(reactor->isRegisteredNotifiee());
    reactor->notifierIs(other);
    EXPECT_EQ(journal.take(), Lines{}) << "the same entity again";
    reactor->notifierIs(nullptr);
    EXPECT_EQ(journal.take(), Lines{}) << "null only unregisters";
    EXPECT_EQ(reactor->notifier(), nullptr);
    EXPECT_FALSE(reactor->isRegisteredNotifiee());
}

TEST_P(RxMstPortStatusSyncer, AReboundZombieReplaysNothing) {
    startNoting();
    const Zel::Ptr<Syncer::ZelSource> reactor(new Syncer::ZelSource(source, syncer.ptr()));
    reactor->zelMarkedForDeletionIs(true);
    reactor->notifierIs(other);
    EXPECT_EQ(journal.take(), Lines{});
}

TEST_P(RxMstPortStatusSyncer, AReplayEndsWhenTheReactorBecomesAZombieMidway) {
    startNoting();
    const Zel::Ptr<Syncer::ZelSource> reactor(new Syncer::ZelSource(source, syncer.ptr()));
    const auto marking = onWrite(dest, [&](std::string const& what) {
        reactor->zelMarkedForDeletionIs(what == "rateLimitMaxCount");
    });
    reactor->notifierIs(other);
    EXPECT_EQ(journal.take(), (Lines{"bpduCount", "rateLimitInterval", "rateLimitMaxCount"}));
}

TEST_P(RxMstPortStatusSyncer, AReplayEndsWhenTheReactorIsBoundAnewMidwayWhichReplaysAll) {
    startNoting();
    const Zel::Ptr<Syncer::ZelSource> reactor(new Syncer::ZelSource(source, syncer.ptr()));
    const RxMstPortStatus::Ptr latest(new RxMstPortStatus(et(1)));
    const auto rebinding = onWrite(dest, [&](std::string const& what) {
        if (what == "rateLimitMaxCount" && reactor->notifier() == other)
            reactor->notifierIs(latest);
    });
    reactor->notifierIs(other);
    Lines expected{"bpduCount", "rateLimitInterval", "rateLimitMaxCount"};
    expected.insert(expected.end(), scalarNames.begin(), scalarNames.end());
    EXPECT_EQ(journal.take(), expected);
    EXPECT_EQ(reactor->notifier(), latest);
}

TEST_P(RxMstPortStatusSyncer, AnotherSourceIsWatchedThroughANewReactorAndNoHandlerRuns) {
    fill(*other, 7);
    startNoting();
    const TraceNotes tracing(traceName, journal.lines);
    syncer->sourceIs(other);
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(syncer->source(), other);
    EXPECT_TRUE(source->notifieeList()->empty());
    EXPECT_EQ(other->notifieeList()->members(), 1U);
    EXPECT_EQ(Syncer::ZelSource::_zelType.allocations().liveCount(), 1U);
    source->bpduCountIs(1);
    EXPECT_EQ(journal.take(), Lines{});
    other->bpduCountIs(2);
    EXPECT_EQ(journal.take(), (Lines{line(8, "handleBpduCount"), "bpduCount"}));
}

TEST_P(RxMstPortStatusSyncer, TheSameSourceAgainChangesNothing) {
    start();
    const auto references = source->references();
    syncer->hasNotificationActiveIs(false);
    syncer->sourceIs(source);
    EXPECT_EQ(source->references(), references);
    EXPECT_EQ(source->notifieeList()->members(), 1U);
    source->bpduCountIs(1);
    EXPECT_EQ(dest->bpduCount(), 0U) << "the reactor is the one that was switched off";
}

TEST_P(RxMstPortStatusSyncer,
       ANullSourceLaterOrItsRemovalRetiresTheReactorAndLeavesTheDestination) {
    for (const bool remove : {false, true}) {
        fill(*source, 7);
        startNoting();
        const auto before = contents(dest);
        if (remove)
            syncer->sourceDel();
        else
            syncer->sourceIs(nullptr);
        EXPECT_EQ(syncer->source(), nullptr);
        EXPECT_TRUE(source->notifieeList()->empty());
        EXPECT_EQ(Syncer::ZelSource::_zelType.allocations().liveCount(), 0U);
        fill(*source, 8);
        EXPECT_EQ(journal.take(), Lines{});
        EXPECT_EQ(contents(dest), before);
        syncer->sourceDel();
        syncer->sourceIs(source);
        source->bpduCountIs(1);
        EXPECT_EQ(journal.take(), Lines{"bpduCount"});
        journal.close();
    }
}

TEST_P(RxMstPortStatusSyncer, ARetiredReactorThatIsStillHeldIsAZombieWithoutOwner) {
    start();
    const Zel::Ptr<Syncer::ZelSource> reactor =
        Zel::newActive<Syncer::ZelSource>(source, syncer.ptr());
    Zel::retire(*reactor);
    EXPECT_TRUE(reactor->zelMarkedForDeletion());
    EXPECT_EQ(reactor->owner(), nullptr);
    EXPECT_FALSE(reactor->hasNotificationActive());
}

// The end

TEST_P(RxMstPortStatusSyncer, ItsEndLeavesTheDestinationAndAllItsDataInPlace) {
    fill(*source, 7);
    sourceRecord(10, {0, 1});
    startNoting();
    source->rxUpdateInc(10, 1);
    const auto before = contents(dynamic);
    journal.take();
    const TraceNotes tracing(traceName, journal.lines);
    syncer = nullptr;
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(contents(dynamic), before);
    EXPECT_TRUE(source->notifieeList()->empty());
    EXPECT_EQ(Syncer::_zelType.allocations().liveCount(), 0U);
    EXPECT_EQ(source->references(), 1U);
    EXPECT_EQ(dynamic->references(), 1U);
}

// Disturbances

TEST_P(RxMstPortStatusSyncer, ADestinationReactorMayDropTheSyncerInAnyWrite) {
    sourceRecord(10, {0});
    for (std::string const& when :
         Lines{"bpduCount", "counters", "rateLimitInterval", "rxInfo[10]", "rxUpdate[10]"}) {
        dest->rxInfoDel(10);
        dest->rxUpdateDel(10);
        start();
        const auto dropping = onWrite(dest, [&](std::string const& what) {
            if (what == when)
                syncer = nullptr;
        });
        fill(*source, 3);
        source->rxUpdateInc(10, 1);
        EXPECT_EQ(syncer, nullptr) << when;
        EXPECT_TRUE(source->notifieeList()->empty()) << when;
        EXPECT_EQ(Syncer::_zelType.allocations().liveCount(), 0U) << when;
        // The handler that was running has done its work.
        const bool copied = when.starts_with("rx");
        EXPECT_EQ(dest->rxInfo().members(), copied ? 1U : 0U) << when;
        EXPECT_EQ(dest->rxUpdate(10), copied ? 1U : 0U) << when;
        if (copied) {
            EXPECT_EQ(contents(dest->rxInfo(10)), contents(source->rxInfo(10))) << when;
        }
    }
}

TEST_P(RxMstPortStatusSyncer, ADestinationReactorMayDropTheSyncerWhileARecordIsCopied) {
    sourceRecord(10, {0});
    dest->rxInfoIs(10);
    start();
    const auto dropping = onWrite(dest->rxInfo(10), [&](std::string const&) { syncer = nullptr; });
    source->rxUpdateInc(10, 1);
    EXPECT_EQ(syncer, nullptr);
    EXPECT_EQ(contents(dest->rxInfo(10)), contents(source->rxInfo(10)));
    EXPECT_EQ(dest->rxUpdate(10), 1U);
}

TEST_P(RxMstPortStatusSyncer, ADestinationReactorMayDropTheSyncerWhileItsReactorReplays) {
    start();
    const Zel::Ptr<Syncer::ZelSource> reactor(new Syncer::ZelSource(source, syncer.ptr()));
    const auto dropping = onWrite(dest, [&](std::string const&) {
        if (syncer)
            Zel::retire(*reactor);
        syncer = nullptr;
    });
    fill(*other, 3);
    reactor->notifierIs(other);
    EXPECT_EQ(dest->rateLimitMaxCount(), 0U);
    EXPECT_EQ(Syncer::_zelType.allocations().liveCount(), 0U);
}

TEST_P(RxMstPortStatusSyncer, ADestinationReactorMayRemoveTheSource) {
    sourceRecord(10);
    start();
    const auto removing = onWrite(dest, [&](std::string const&) { syncer->sourceDel(); });
    source->rxUpdateInc(10, 1);
    EXPECT_EQ(dest->rxUpdate(10), 1U) << "the handler ends its work";
    source->rxUpdateInc(10, 1);
    EXPECT_EQ(dest->rxUpdate(10), 1U);
    EXPECT_TRUE(source->notifieeList()->empty());
}

TEST_P(RxMstPortStatusSyncer, ADestinationReactorMayDeleteTheSourcesRecordWhileItIsCopied) {
    sourceRecord(10, {0, 1});
    const auto expected = contents(source->rxInfo(10));
    start();
    Lines seen;
    const auto deleting = onWrite(dest, [&](std::string const& what) {
        if (what == "rxInfo[10]")
            source->rxInfoDel(10);
        if (what == "rxUpdate[10]")
            seen = contents(dest->rxInfo(10));
    });
    source->rxUpdateInc(10, 1);
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(dest->rxUpdate(10), 1U);
    source->rxUpdateInc(10, 1);
    EXPECT_EQ(dest->rxInfo().members(), 0U);
    EXPECT_EQ(dest->rxUpdate().members(), 0U);
}

TEST_P(RxMstPortStatusSyncer, ADestinationReactorMayDeleteTheDestinationWhileItIsWritten) {
    sourceRecord(10, {0});
    start();
    const auto deleting = onWrite(dest, [&](std::string const& what) {
        if (what == "rxInfo[10]")
            dynamic->rxMstStatusDel("mst1");
    });
    source->rxUpdateInc(10, 1);
    EXPECT_EQ(dynamic->rxMstStatus().members(), 0U);
    EXPECT_EQ(syncer->dest(), nullptr);
    EXPECT_EQ(dest->rxUpdate(10), 1U) << "the entity that was the destination when it began";
    source->rxUpdateInc(10, 1);
    EXPECT_EQ(dest->rxUpdate(10), 1U);
}

TEST_P(RxMstPortStatusSyncer, ADestinationReactorMayMakeARecordAgainInItsOwnDeletion) {
    sourceRecord(10);
    start();
    source->rxUpdateInc(10, 1);
    const auto making = onWrite(dest, [&](std::string const& what) {
        if (what == "rxInfo[10] deleted")
            dest->rxInfoIs(10)->stpVersionIs(9);
    });
    source->rxUpdateDel(10);
    ASSERT_NE(dest->rxInfo(10), nullptr);
    EXPECT_EQ(dest->rxInfo(10)->stpVersion(), 9);
    EXPECT_EQ(dest->rxUpdate().members(), 0U);
    EXPECT_TRUE(dest->rxInfo().check());
    source->rxUpdateInc(10, 1);
    EXPECT_EQ(contents(dest->rxInfo(10)), contents(source->rxInfo(10)));
    EXPECT_EQ(dest->rxUpdate(10), 1U);
}

TEST_P(RxMstPortStatusSyncer, ADestinationReactorMayChangeTheSourceInAWrite) {
    start();
    const auto changing = onWrite(dest, [&](std::string const& what) {
        if (what == "bpduCount" && source->bpduCount() < 5)
            source->bpduCountIs(source->bpduCount() + 1);
    });
    source->bpduCountIs(1);
    EXPECT_EQ(source->bpduCount(), 5U);
    EXPECT_EQ(dest->bpduCount(), 5U) << "the last value stays";
}

// Who looks on

TEST_P(RxMstPortStatusSyncer, WhoLooksOnIsToldTheKeyOfAnElementAndNoneOfAScalar) {
    sourceRecord(10);
    start();
    Lines writes;
    {
        const Onlooker onlooker([&](Zel::Activity const& write) {
            const auto* const attribute = write.entity.fwkType()->attribute(write.attribute);
            writes.push_back((attribute ? std::string(attribute->name) : "all") +
                             (write.key
                                  ? "[" + std::to_string(attribute->keyView(write.key).number) + "]"
                                  : ""));
        });
        source->bpduCountIs(5);
        source->rxUpdateInc(10, 1);
        source->rxUpdateDel(10);
    }
    EXPECT_EQ(writes, (Lines{"bpduCount", "rxInfo[10]", "all", "rxUpdate[10]", "rxInfo[10]",
                             "rxUpdate[10]"}));
}

TEST_P(RxMstPortStatusSyncer, AWriteThatAReactorOfTheDestinationThrowsInEndsForWhoLooksOn) {
    for (const bool observed : {true, false}) {
        for (const std::string thrownAt : {"bpduCount", "rxInfo[10]", "record", "rxUpdate[10]",
                                           "rxInfo[10] deleted", "rxUpdate[10] deleted"}) {
            SCOPED_TRACE(thrownAt);
            sourceRecord(10);
            start();
            source->rxUpdateInc(10, 1);
            if (!thrownAt.ends_with("deleted"))
                dest->rxInfoDel(10);
            const auto refuse = [&](std::string const& write) {
                if (write == thrownAt)
                    throw std::runtime_error("refused");
            };
            const auto port = onWrite(dest, refuse);
            if (thrownAt == "record")
                dest->rxInfoIs(10);
            const auto record =
                thrownAt == "record"
                    ? onWrite(dest->rxInfo(10),
                              [](std::string const&) { throw std::runtime_error("refused"); })
                    : nullptr;
            const auto change = [&] {
                if (thrownAt == "bpduCount")
                    source->bpduCountIs(5);
                else if (thrownAt.ends_with("deleted"))
                    source->rxUpdateDel(10);
                else
                    source->rxUpdateInc(10, 1);
            };
            if (observed) {
                const Onlooker onlooker;
                EXPECT_THROW(change(), std::runtime_error);
            } else {
                EXPECT_THROW(change(), std::runtime_error);
            }
            syncer = nullptr;
            source->rxUpdateDel(10);
            dest->rxUpdateDel(10);
        }
    }
}

// Exhausted memory

TEST_P(RxMstPortStatusSyncer, ExhaustedMemoryInTheFactoryLeaksNothingAndReachesTheCaller) {
    const Zel::Name name("a name that is too long to be kept within the object that has it");
    dynamic->rxMstStatusIs(name)->rxMstPortStatusIs(et(1));
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        attempt([&] { rxMstPortStatusToRxDynamicSyncerFactory(name, et(1), source, dynamic); });
    });
    EXPECT_GE(failures, 2U) << "the syncer and its reactor";
    EXPECT_TRUE(source->notifieeList()->empty());
    EXPECT_EQ(source->references(), 1U);
    EXPECT_EQ(dynamic->references(), 1U);
}

TEST_P(RxMstPortStatusSyncer,
       ExhaustedMemoryInAnUpdateReachesTheWriterAndTheNextUpdateMakesItGood) {
    const RxMstStatus::Ptr mst = startWithAnUpdateButNoDestination();
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        dest = mst->rxMstPortStatusIs(et(1));
        if (!attempt([&] { syncer->handleRxUpdate(10); }))
            syncer->handleRxUpdate(10);
        EXPECT_EQ(contents(dest->rxInfo(10)), contents(source->rxInfo(10)));
        EXPECT_EQ(dest->rxUpdate(10), 1U);
        mst->rxMstPortStatusDel(et(1));
        dest = nullptr;
    });
    EXPECT_GT(failures, 3U);
}

TEST_P(RxMstPortStatusSyncer, AWriteThatMemoryIsExhaustedInEndsForWhoLooksOn) {
    const RxMstStatus::Ptr mst = startWithAnUpdateButNoDestination();
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        dest = mst->rxMstPortStatusIs(et(1));
        {
            const Onlooker onlooker;
            attempt([&] { syncer->handleRxUpdate(10); });
        }
        mst->rxMstPortStatusDel(et(1));
        dest = nullptr;
    });
    EXPECT_GT(failures, 3U);
}

TEST_P(RxMstPortStatusSyncer,
       OutOfMemoryForAnotherSourceReachesTheCallerAndTheFormerIsStillWatched) {
    startNoting();
    {
        const FailingAllocation failing(1);
        EXPECT_THROW(syncer->sourceIs(other), std::bad_alloc);
    }
    EXPECT_EQ(syncer->source(), source);
    EXPECT_TRUE(other->notifieeList()->empty());
    source->bpduCountIs(1);
    EXPECT_EQ(journal.take(), Lines{"bpduCount"});
}

// Block timers

TEST_P(RxMstPortStatusSyncer, EveryHandlerIsTimedUnderItsQualifiedName) {
    start();
    const TimedBlocks blocks = timedBlocks("StpRxStatusSyncer.cpp", [&] {
        syncer->handleInitialized();
        callScalarHandlers();
        syncer->handleRxUpdate(10);
    });
    const std::string prefix = "Varnol::RxMstPortStatusToRxDynamicSyncer::";
    EXPECT_EQ(blocks.names,
              (Lines{prefix + "handleInitialized", prefix + "handleBpduCount",
                     prefix + "handleRateLimitInterval", prefix + "handleRateLimitMaxCount",
                     prefix + "handleRateLimitEnabled", prefix + "handleCounters",
                     prefix + "handleLocalCounters", prefix + "handleRxUpdate"}));
}

} // namespace
} // namespace Varnol
