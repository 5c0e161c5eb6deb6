#include "syncers/IntxInfoSyncer.h"

#include "framework/zel/Exception.h"
#include "tests/framework/EachAllocation.h"
#include "tests/framework/NothingLeft.h"
#include "tests/framework/Thrown.h"
#include "tests/framework/TimedBlocks.h"
#include "tests/framework/TraceNotes.h"
#include "tests/framework/Watcher.h"
#include "tests/model/Journal.h"
#include "tests/model/Records.h"
#include "tests/model/Samples.h"
#include "tests/syncers/EntryReactors.h"
#include "tests/syncers/InitializedLast.h"

#include <stdexcept>
#include <type_traits>
#include <utility>

namespace Varnol {
namespace {

using Samples::filled;
using Samples::record;
using TreeText::Lines;
using Reactor = IntxInfoSyncer::ZelMstiNSm;
using Keys = std::vector<unsigned>;

static_assert(std::is_same_v<decltype(&intxInfoSyncerFactory),
                             IntxInfoSyncer::Ptr (*)(Zel::Ptr<IntxInfo const>, IntxInfo::Ptr,
                                                     Bridging::VlanIdOrNone, Zel::String)>);
static_assert(
    std::is_same_v<decltype(&IntxInfoSyncer::IntxInfoSyncerIs), decltype(&intxInfoSyncerFactory)>);
static_assert(std::is_same_v<decltype(&Reactor::mstiN),
                             Zel::Ptr<IntxMstiInfo const> (Reactor::*)() const noexcept>);

constexpr auto handlers = entryHandlers<Reactor>;

/// Writes the zero value to one attribute.
template <class E> void zero(E& entity, std::string_view name) {
    Zel::forEachAttribute<E>([&](auto attribute) {
        using A = decltype(attribute);
        if constexpr (Zel::ScalarAttribute<A>) {
            if (A::name == name)
                A::write(entity, typename A::Value{});
        }
    });
}

/// A source record, its mirror, and what is written to a record that is followed.
class IntxInfoSyncerTest : public NothingLeft {
  protected:
    /// @param from  the source
    void start(IntxInfo::Ptr const& from) {
        source = from;
        syncer = intxInfoSyncerFactory(source, dest, 7, "Ethernet1");
    }
    /// Lets go of all, so that a test can begin anew with another destination.
    void drop() {
        log.close();
        syncer = nullptr;
        source = nullptr;
        dest = nullptr;
    }

    IntxInfo::Ptr source;
    IntxInfo::Ptr dest = record(9);
    IntxInfoSyncer::Ptr syncer;
    Journal log{Journal::names};
};
WITH_BOTH_WAYS_OF_COUNTING(IntxInfoSyncerTest);

// ---- construction ----

TEST_P(IntxInfoSyncerTest, StartsByWritingTheScalarsThenCreatesAndWritesEachEntry) {
    log.follow(dest);
    start(filled(9, {3, 0}));
    EXPECT_EQ(log.take(), scalarWrites + Lines{"mstiN[0]"} + entryWrites(0) + Lines{"mstiN[3]"} +
                              entryWrites(3));
    expectEqualRecords(*dest, *source);
    EXPECT_EQ(reactorsOf(*syncer), (Keys{0, 3}));
}

TEST_P(IntxInfoSyncerTest, WritesEntriesThatAreThereWithTheReactorAndAgainAtTheEnd) {
    dest = record(9, {0, 3});
    log.follow(dest);
    start(filled(9, {0, 3}));
    EXPECT_EQ(log.take(),
              scalarWrites + entryWrites(0) + entryWrites(3) + entryWrites(0) + entryWrites(3));
    expectEqualRecords(*dest, *source);
}

TEST_P(IntxInfoSyncerTest, DeletesWhatTheSourceLacksAfterEverythingElse) {
    dest = record(9, {5, 0, 8});
    log.follow(dest);
    start(filled(9, {0, 3}));
    EXPECT_EQ(log.take(), scalarWrites + entryWrites(0) + entryWrites(0) + Lines{"mstiN[3]"} +
                              entryWrites(3) + (Lines{"mstiN[5] deleted", "mstiN[8] deleted"}));
    expectEqualRecords(*dest, *source);
}

// What a reactor does in the middle makes the counts equal though the keys are not.
TEST_P(IntxInfoSyncerTest, SkipsTheDeletionWhenTheCountsAreEqualThoughTheKeysAreNot) {
    dest = record(9, {5});
    log.follow(dest);
    log.look = [&](std::string const& write) {
        if (write == "3/fwdDelay")
            dest->mstiNDel(0);
    };
    start(filled(9, {0, 3}));
    EXPECT_EQ(keysOf(*dest), (Keys{3, 5}));
}

TEST_P(IntxInfoSyncerTest, MirrorsARecordWithoutEntries) {
    dest = record(9, {1});
    start(filled(9, {}));
    expectEqualRecords(*dest, *source);
    EXPECT_EQ(reactorsOf(*syncer), Keys());
}

// There is one for each record and one for each entry: the mark that they are initialized stands
// beside their keys and takes no room of its own.
static_assert(sizeof(IntxInfoSyncer) == sizeof(Zel::RootSyncer<IntxInfoSyncer, IntxInfo>) +
                                            sizeof(Zel::RbTreeMember) + 3 * sizeof(void*) +
                                            sizeof(IntxInfoSyncer::MstiN));
static_assert(sizeof(IntxInfoSyncer::ZelMstiNSm) ==
              sizeof(Zel::Reactor<IntxInfoSyncer::ZelMstiNSm, IntxMstiInfo, IntxInfoSyncer>) +
                  sizeof(Zel::RbTreeMember) + 2 * sizeof(void*));

TEST_P(IntxInfoSyncerTest, IsInitializedAndActiveOnceTheFactoryReturns) {
    start(filled(9, {0}));
    EXPECT_TRUE(syncer->initialized());
    EXPECT_TRUE(syncer->hasNotificationActive());
    EXPECT_FALSE(syncer->zelMarkedForDeletion());
    EXPECT_EQ(syncer->references(), 1U);
    EXPECT_EQ(syncer->source(), source);
    EXPECT_EQ(syncer->dest(), dest);
    EXPECT_EQ(syncer->vlanIdOrZero(), 7);
    EXPECT_EQ(syncer->parentId(), "Ethernet1");
    const auto reactor = syncer->mstiN(0);
    EXPECT_TRUE(reactor->initialized());
    EXPECT_TRUE(reactor->hasNotificationActive());
    EXPECT_EQ(reactor->owner(), syncer.ptr());
    EXPECT_EQ(reactor->mstiN(), source->mstiN(0));
    EXPECT_EQ(reactor->dest(), dest->mstiN(0));
    EXPECT_EQ(reactor->fwkKey(), 0);
}

TEST_P(IntxInfoSyncerTest, ItAndItsReactorsAreInitializedAfterTheirLastWrite) {
    start(filled(9, {0}));
    log.follow(dest);
    dest->mstiNIs(8); // is deleted last
    expectInitializedLast(*syncer, log);
    EXPECT_EQ(keysOf(*dest), Keys{0});
    expectInitializedLast(*syncer->mstiN(0), log);
}

TEST_P(IntxInfoSyncerTest, OnANullSourceWritesZeroScalarsAndFollowsNothing) {
    dest = filled(9, {});
    log.follow(dest);
    start(nullptr);
    EXPECT_EQ(log.take(), scalarWrites);
    expectZeroScalars(*dest);
    EXPECT_EQ(dest->vlanId(), 9);
    EXPECT_EQ(syncer->source(), nullptr);
    EXPECT_EQ(reactorsOf(*syncer), Keys());
    EXPECT_TRUE(syncer->initialized());
}

TEST_P(IntxInfoSyncerTest, OnANullSourceDeletesTheEntriesOfTheDestination) {
    dest = filled(9, {0, 4});
    log.follow(dest);
    start(nullptr);
    EXPECT_EQ(log.take(), scalarWrites + (Lines{"mstiN[0] deleted", "mstiN[4] deleted"}));
}

TEST_P(IntxInfoSyncerTest, OnANullSourceDeletesTheOnlyEntryOfTheDestination) {
    dest = filled(9, {4});
    log.follow(dest);
    start(nullptr);
    EXPECT_EQ(log.take(), scalarWrites + Lines{"mstiN[4] deleted"});
}

TEST_P(IntxInfoSyncerTest, OnANullDestinationFollowsTheSourceAndWritesNothing) {
    dest = nullptr;
    start(filled(9, {0}));
    EXPECT_TRUE(syncer->initialized());
    EXPECT_EQ(reactorsOf(*syncer), Keys{0});
    EXPECT_EQ(syncer->mstiN(0)->dest(), nullptr);
    Samples::fill(*source);
    Samples::fill(*source->mstiN(0));
    source->mstiNIs(2);
    source->mstiNMemberIs(Samples::entry(0));
    EXPECT_EQ(reactorsOf(*syncer), (Keys{0, 2}));
    source->mstiNDel(0);
    EXPECT_EQ(reactorsOf(*syncer), Keys{2});
    for (auto handler : handlers)
        (*syncer->mstiN(2).*handler)();
}

TEST_P(IntxInfoSyncerTest, OnTwoNullsStillInitializes) {
    dest = nullptr;
    start(nullptr);
    EXPECT_TRUE(syncer->initialized());
}

// ---- following the source's scalars ----

TEST_P(IntxInfoSyncerTest, FollowsEachScalarWithOneWriteEqualValuesIncluded) {
    start(record(9));
    log.follow(dest);
    Samples::fill(*source);
    EXPECT_EQ(log.take(), scalarWrites);
    expectEqualRecords(*dest, *source);
    Samples::fill(*source);
    EXPECT_EQ(log.take(), scalarWrites) << "equal values";
}

TEST_P(IntxInfoSyncerTest, IgnoresTheVlanKeyAndUnknownAttributes) {
    dest = record(20);
    start(filled(9, {0}));
    log.follow(dest);
    const Stp::BridgeSystemId key = 0;
    for (Zel::AttributeId id : {0U, 1U, 257U, 259U, 266U, 271U, 289U, 290U}) {
        source->notify(id);
        source->notify(id, &key);
    }
    EXPECT_EQ(log.take(), Lines());
    EXPECT_EQ(dest->vlanId(), 20);
}

TEST_P(IntxInfoSyncerTest, IgnoresANotificationOfTheEntriesWithoutAKey) {
    start(filled(9, {0}));
    log.follow(dest);
    source->notify(265);
    EXPECT_EQ(log.take(), Lines());
    EXPECT_EQ(reactorsOf(*syncer), Keys{0});
}

TEST_P(IntxInfoSyncerTest, NeverWritesTheSource) {
    source = filled(9, {0, 3});
    dest = record(9, {7});
    log.follow(source);
    start(source);
    dest->mstiNDel(3);
    dest->stpVersionIs(4);
    syncer = nullptr;
    EXPECT_EQ(log.take(), Lines());
}

// ---- following the source's entries ----

TEST_P(IntxInfoSyncerTest, AnEntryThatAppearsIsCreatedInTheDestinationAndThenCopied) {
    start(record(9));
    log.follow(dest);
    bool reactorAtCreation = true;
    log.look = [&](std::string const& write) {
        if (write == "mstiN[3]")
            reactorAtCreation = syncer->mstiN(3) != nullptr;
    };
    source->mstiNIs(3);
    EXPECT_FALSE(reactorAtCreation) << "the reactor came before the entry";
    EXPECT_EQ(log.take(), Lines{"mstiN[3]"} + entryWrites(3));
    EXPECT_EQ(reactorsOf(*syncer), Keys{3});
    EXPECT_EQ(syncer->mstiN(3)->dest(), dest->mstiN(3));
    EXPECT_TRUE(syncer->mstiN(3)->hasNotificationActive());
}

TEST_P(IntxInfoSyncerTest, AnEntryThatGoesIsDeletedInTheDestinationBeforeItsReactor) {
    start(filled(9, {0, 3}));
    log.follow(dest);
    bool reactorAtDeletion = false;
    log.look = [&](std::string const& write) {
        if (write == "mstiN[3] deleted")
            reactorAtDeletion = syncer->mstiN(3) != nullptr;
    };
    source->mstiNDel(3);
    EXPECT_TRUE(reactorAtDeletion) << "the reactor went before the entry";
    EXPECT_EQ(log.take(), Lines{"mstiN[3] deleted"});
    EXPECT_EQ(reactorsOf(*syncer), Keys{0});
}

TEST_P(IntxInfoSyncerTest, FollowsEachAttributeOfAnEntryWithOneWriteEqualValuesIncluded) {
    start(record(9, {0, 3}));
    log.follow(dest);
    Samples::fill(*source->mstiN(3));
    EXPECT_EQ(log.take(), entryWrites(3));
    expectEqualRecords(*dest, *source);
    Samples::fill(*source->mstiN(3));
    EXPECT_EQ(log.take(), entryWrites(3)) << "equal values";
}

TEST_P(IntxInfoSyncerTest, IgnoresAnEntrysKeyAndUnknownAttributes) {
    start(filled(9, {0}));
    log.follow(dest);
    for (Zel::AttributeId id : {0U, 257U, 258U, 272U, 289U})
        source->mstiN(0)->notify(id);
    EXPECT_EQ(log.take(), Lines());
}

TEST_P(IntxInfoSyncerTest, EachHandlerHasItsNameAndWritesItsAttributeOnly) {
    start(filled(9, {3}));
    log.follow(dest);
    for (std::size_t i = 0; i < handlers.size(); ++i) {
        zero(*dest->mstiN(3), entryAttributes[i]);
        log.take();
        (*syncer->mstiN(3).*handlers[i])();
        EXPECT_EQ(log.take(), Lines{"3/" + entryAttributes[i]});
        expectEqualRecords(*dest, *source);
    }
}

TEST_P(IntxInfoSyncerTest, EachHandlerIsTheOneOfItsIdentifier) {
    start(filled(9, {3}));
    log.follow(dest);
    for (std::size_t i = 0; i < handlers.size(); ++i) {
        source->mstiN(3)->notify(static_cast<Zel::AttributeId>(259 + i));
        EXPECT_EQ(log.take(), Lines{"3/" + entryAttributes[i]});
    }
}

TEST_P(IntxInfoSyncerTest, AHandlerWritesTheZeroValueWhenTheSourceEntryIsGone) {
    start(filled(9, {3}));
    const auto reactor = syncer->mstiN(3);
    log.follow(dest);
    reactor->notifierIs(nullptr);
    EXPECT_EQ(log.take(), Lines());
    for (auto handler : handlers)
        (*reactor.*handler)();
    EXPECT_EQ(log.take(), entryWrites(3));
    expectZeroScalars(*dest->mstiN(3));
    Samples::fill(*dest->mstiN(3));
    log.take();
    reactor->copyAllData();
    EXPECT_EQ(log.take(), entryWrites(3));
    expectZeroScalars(*dest->mstiN(3));
}

TEST_P(IntxInfoSyncerTest, AReactorWithoutADestinationEntryWritesNothing) {
    start(filled(9, {3}));
    dest->mstiNDel(3);
    const auto reactor = syncer->mstiN(3);
    log.follow(dest);
    reactor->copyAllData();
    EXPECT_EQ(reactor->dest(), nullptr);
    for (auto handler : handlers)
        (*reactor.*handler)();
    Samples::fill(*source->mstiN(3));
    EXPECT_EQ(log.take(), Lines());
    EXPECT_EQ(keysOf(*dest), Keys()) << "the lookup must not create";
}

TEST_P(IntxInfoSyncerTest, OnlyCopyAllDataLooksTheDestinationEntryUp) {
    start(filled(9, {3}));
    const IntxMstiInfo::Ptr former = dest->mstiN(3);
    dest->mstiNDel(3);
    dest->mstiNIs(3);
    source->mstiN(3)->remainingHopsIs(99);
    EXPECT_EQ(former->remainingHops(), 99) << "the entry held is written";
    expectZeroScalars(*dest->mstiN(3));
    log.follow(dest);
    syncer->mstiN(3)->copyAllData();
    EXPECT_EQ(log.take(), entryWrites(3));
    EXPECT_EQ(syncer->mstiN(3)->dest(), dest->mstiN(3));
    expectEqualRecords(*dest, *source);
}

TEST_P(IntxInfoSyncerTest, InitializingAgainRestoresWhatOthersDidToTheDestination) {
    start(filled(9, {0, 3}));
    dest->mstiNDel(3);
    dest->mstiNIs(8);
    dest->mstiNIs(9);
    log.follow(dest);
    syncer->handleInitialized();
    EXPECT_EQ(log.take(), entryWrites(0) + Lines{"mstiN[3]"} + entryWrites(3) +
                              (Lines{"mstiN[8] deleted", "mstiN[9] deleted"}));
    expectEqualRecords(*dest, *source);
}

// ---- another entry under the same key ----

TEST_P(IntxInfoSyncerTest, AnotherEntryUnderAKeyRunsTheThirteenHandlersInOrder) {
    start(record(9, {3}));
    const auto reactor = syncer->mstiN(3);
    const IntxMstiInfo::Ptr destEntry = dest->mstiN(3);
    const IntxMstiInfo::Ptr other = Samples::entry(3);
    Samples::fill(*other);
    log.follow(dest);
    const IntxMstiInfo::Ptr former = source->mstiNMemberIs(other);
    EXPECT_EQ(log.take(), entryWrites(3));
    EXPECT_EQ(syncer->mstiN(3), reactor) << "the reactor is kept";
    EXPECT_EQ(reactor->mstiN(), other);
    EXPECT_EQ(dest->mstiN(3), destEntry);
    expectEqualRecords(*dest, *source);
    former->remainingHopsIs(1);
    EXPECT_EQ(log.take(), Lines()) << "the former entry is no longer followed";
    other->remainingHopsIs(2);
    EXPECT_EQ(log.take(), Lines{"3/remainingHops"});
}

TEST_P(IntxInfoSyncerTest, AnotherEntryUnderAKeyAlsoBringsBackADeletedDestinationEntry) {
    start(filled(9, {3}));
    const IntxMstiInfo::Ptr held = dest->mstiN(3);
    dest->mstiNDel(3);
    const IntxMstiInfo::Ptr other = Samples::entry(3);
    other->remainingHopsIs(77);
    source->mstiNMemberIs(other);
    EXPECT_EQ(keysOf(*dest), Keys{3});
    EXPECT_EQ(held->remainingHops(), 77) << "the handlers write the entry that is held";
    expectZeroScalars(*dest->mstiN(3));
}

TEST_P(IntxInfoSyncerTest, TheSameEntryAgainChangesNothing) {
    start(filled(9, {3}));
    const auto reactor = syncer->mstiN(3);
    log.follow(dest);
    EXPECT_EQ(syncer->mstiNIs(source->mstiN(3)), reactor);
    EXPECT_EQ(log.take(), Lines());
}

TEST_P(IntxInfoSyncerTest, ANullEntryThrowsTheRangeExceptionAndCreatesNothing) {
    start(filled(9, {3}));
    log.follow(dest);
    EXPECT_EQ(textThrown<Zel::RangeException>([&] { syncer->mstiNIs(nullptr); }),
              "null _mstiN parameter to mutator for Varnol::IntxInfoSyncer::mstiN not allowed\"");
    EXPECT_EQ(log.take(), Lines());
    EXPECT_EQ(reactorsOf(*syncer), Keys{3});
}

TEST_P(IntxInfoSyncerTest, AnEntryGivenByHandGetsAReactorButNoDestinationEntry) {
    start(record(9));
    const IntxMstiInfo::Ptr entry = Samples::entry(5);
    log.follow(dest);
    const auto reactor = syncer->mstiNIs(entry);
    EXPECT_EQ(reactor, syncer->mstiN(5));
    EXPECT_EQ(reactor->dest(), nullptr);
    EXPECT_TRUE(reactor->initialized());
    Samples::fill(*entry);
    EXPECT_EQ(log.take(), Lines());
}

TEST_P(IntxInfoSyncerTest, AReactorRemovedByKeyIsCutOffAndItsDestinationEntryStays) {
    start(filled(9, {0, 3}));
    const auto removed = syncer->mstiN(3);
    log.follow(dest);
    syncer->mstiNDel(3);
    syncer->mstiNDel(3);
    syncer->mstiNDel(4);
    EXPECT_EQ(reactorsOf(*syncer), Keys{0});
    EXPECT_EQ(removed->owner(), nullptr);
    EXPECT_FALSE(removed->hasNotificationActive());
    EXPECT_TRUE(removed->zelMarkedForDeletion());
    Samples::fill(*source->mstiN(3));
    EXPECT_EQ(log.take(), Lines());
    EXPECT_EQ(keysOf(*dest), (Keys{0, 3}));
}

TEST_P(IntxInfoSyncerTest, ReactorsAreRemovedWhereAWalkStandsAndAllAtOnce) {
    start(filled(9, {0, 3, 5}));
    for (auto at = syncer->children().begin(); at != syncer->children().end(); ++at) {
        if ((*at)->mstiId() == 3)
            syncer->mstiNDel(at);
    }
    EXPECT_EQ(reactorsOf(*syncer), (Keys{0, 5}));
    syncer->mstiNDelAll();
    EXPECT_EQ(reactorsOf(*syncer), Keys());
}

// ---- another source ----

TEST_P(IntxInfoSyncerTest, AnotherSourceRunsTheHandlersAndMatchesTheReactors) {
    const IntxInfo::Ptr other = filled(10, {3, 5});
    other->stpVersionIs(3);
    other->mstiN(3)->remainingHopsIs(77);
    start(filled(9, {0, 3}));
    const auto kept = syncer->mstiN(3);
    log.follow(dest);
    syncer->sourceIs(other);
    EXPECT_EQ(log.take(), scalarWrites + entryWrites(3));
    EXPECT_EQ(reactorsOf(*syncer), (Keys{3, 5}));
    EXPECT_EQ(syncer->mstiN(3), kept);
    EXPECT_EQ(syncer->mstiN(5)->dest(), nullptr) << "no handler created its destination entry";
    EXPECT_EQ(keysOf(*dest), (Keys{0, 3}));
    expectEqualScalars(*dest, *other);
    expectEqualScalars(*dest->mstiN(3), *other->mstiN(3));
    Samples::fill(*source);
    Samples::fill(*source->mstiN(0));
    EXPECT_EQ(log.take(), Lines()) << "the former source is no longer followed";
    other->configRevisionLevelIs(4);
    EXPECT_EQ(log.take(), Lines{"configRevisionLevel"});
    syncer->handleInitialized();
    expectEqualRecords(*dest, *other);
}

TEST_P(IntxInfoSyncerTest, TheSameSourceAgainChangesNothing) {
    start(filled(9, {0}));
    log.follow(dest);
    syncer->sourceIs(source);
    EXPECT_EQ(log.take(), Lines());
}

TEST_P(IntxInfoSyncerTest, WithoutItsSourceItFollowsTheEntriesOnly) {
    start(filled(9, {0}));
    log.follow(dest);
    syncer->sourceDel();
    syncer->sourceDel();
    EXPECT_EQ(syncer->source(), nullptr);
    EXPECT_EQ(reactorsOf(*syncer), Keys{0});
    source->stpVersionIs(9);
    source->mstiNIs(4);
    EXPECT_EQ(log.take(), Lines());
    source->mstiN(0)->remainingHopsIs(3);
    EXPECT_EQ(log.take(), Lines{"0/remainingHops"});
    syncer->sourceIs(source);
    EXPECT_EQ(log.take(), Lines()) << "a new reactor on the source runs no handler";
    source->stpVersionIs(8);
    EXPECT_EQ(log.take(), Lines{"stpVersion"});
}

TEST_P(IntxInfoSyncerTest, BoundToNoSourceItWritesNothingUntilBoundAgain) {
    start(filled(9, {0}));
    log.follow(dest);
    syncer->sourceIs(nullptr);
    EXPECT_EQ(syncer->source(), nullptr);
    source->stpVersionIs(9);
    EXPECT_EQ(log.take(), Lines());
    syncer->sourceIs(source);
    EXPECT_EQ(log.take(), scalarWrites);
    expectEqualRecords(*dest, *source);
}

TEST_P(IntxInfoSyncerTest, AnUnboundReactorOnTheRecordWritesNothing) {
    start(filled(9, {0}));
    const auto reactor = Zel::newActive<IntxInfoSyncer::ZelSource>(source, syncer.ptr());
    log.follow(dest);
    const auto tell = [&] {
        for (Zel::AttributeId id : {258U, 260U, 261U, 262U, 263U, 264U})
            reactor->onAttribute(id, nullptr);
    };
    tell();
    EXPECT_EQ(log.take(), scalarWrites);
    reactor->notifierIs(nullptr);
    tell();
    EXPECT_EQ(log.take(), Lines());
}

TEST_P(IntxInfoSyncerTest, ASourceGivenLaterIsFollowedButNotCopied) {
    start(nullptr);
    source = filled(9, {0});
    log.follow(dest);
    syncer->sourceIs(source);
    EXPECT_EQ(log.take(), Lines());
    EXPECT_EQ(reactorsOf(*syncer), Keys());
    source->mstiNIs(2);
    EXPECT_EQ(log.take(), Lines{"mstiN[2]"} + entryWrites(2));
    EXPECT_EQ(reactorsOf(*syncer), Keys{2});
}

// ---- switching off, zombies, the end ----

TEST_P(IntxInfoSyncerTest, SwitchedOffItMissesChangesAndSwitchedOnItFollowsAgain) {
    start(filled(9, {0}));
    log.follow(dest);
    syncer->hasNotificationActiveIs(false);
    EXPECT_FALSE(syncer->hasNotificationActive());
    EXPECT_FALSE(syncer->mstiN(0)->hasNotificationActive());
    source->stpVersionIs(9);
    source->mstiN(0)->remainingHopsIs(3);
    source->mstiNIs(4);
    EXPECT_EQ(log.take(), Lines());
    EXPECT_EQ(reactorsOf(*syncer), Keys{0});
    syncer->hasNotificationActiveIs(true);
    EXPECT_EQ(log.take(), Lines()) << "what was missed stays missed";
    source->stpVersionIs(10);
    source->mstiN(0)->maxAgeIs(Stp::TimerVal::units(3));
    EXPECT_EQ(log.take(), (Lines{"stpVersion", "0/maxAge"}));
}

TEST_P(IntxInfoSyncerTest, SwitchingToWhatItIsDoesNotReachTheReactors) {
    start(filled(9, {0}));
    syncer->mstiN(0)->hasNotificationActiveIs(false);
    syncer->hasNotificationActiveIs(true);
    EXPECT_FALSE(syncer->mstiN(0)->hasNotificationActive());
}

TEST_P(IntxInfoSyncerTest, ABindingThatEndsWithAnExceptionAfterALaterOneIsNotMadeGoodByThatAgain) {
    start(filled(100, {0}));
    const IntxInfo::Ptr second = filled(100, {0});
    const IntxInfo::Ptr third = filled(100, {0});
    unsigned writes = 0;
    const auto watcher = watch(dest, [&](Zel::AttributeId, void const*) {
        if (++writes > 1)
            return;
        syncer->sourceIs(third);
        throw std::runtime_error("interrupted");
    });
    EXPECT_THROW(syncer->sourceIs(second), std::runtime_error);
    EXPECT_EQ(syncer->source(), third);
    EXPECT_GT(writes, 1U);
    writes = 1;
    syncer->sourceIs(third);
    EXPECT_EQ(writes, 1U);
}

TEST_P(IntxInfoSyncerTest, AZombieRunsNoHandlerAndComesBack) {
    start(filled(9, {0}));
    log.follow(dest);
    syncer->zelDoZombieReactors(true);
    EXPECT_TRUE(syncer->zelMarkedForDeletion());
    EXPECT_TRUE(syncer->mstiN(0)->zelMarkedForDeletion());
    EXPECT_FALSE(syncer->mstiN(0)->hasNotificationActive());
    source->stpVersionIs(9);
    source->mstiN(0)->remainingHopsIs(3);
    source->mstiNIs(4);
    EXPECT_EQ(log.take(), Lines());
    syncer->zelDoZombieReactors(false);
    EXPECT_FALSE(syncer->mstiN(0)->zelMarkedForDeletion());
    EXPECT_EQ(log.take(), Lines());
    source->stpVersionIs(10);
    source->mstiN(0)->maxAgeIs(Stp::TimerVal::units(3));
    EXPECT_EQ(log.take(), (Lines{"stpVersion", "0/maxAge"}));
}

TEST_P(IntxInfoSyncerTest, TurningIntoWhatItIsDoesNotReachTheReactors) {
    start(filled(9, {0}));
    syncer->mstiN(0)->zelDoZombieReactors(true);
    syncer->zelDoZombieReactors(false);
    EXPECT_TRUE(syncer->mstiN(0)->zelMarkedForDeletion());
}

TEST_P(IntxInfoSyncerTest, AReactorCreatedUnderAZombieIsAZombieAtOnceAndRunsNoHandler) {
    start(filled(9, {0, 3}));
    syncer->mstiNDel(3);
    syncer->zelDoZombieReactors(true);
    log.follow(dest);
    const auto reactor = syncer->mstiNIs(source->mstiN(3));
    EXPECT_TRUE(reactor->zelMarkedForDeletion());
    EXPECT_FALSE(reactor->hasNotificationActive());
    EXPECT_FALSE(reactor->initialized());
    EXPECT_EQ(reactor->dest(), nullptr);
    Samples::fill(*source->mstiN(3));
    EXPECT_EQ(log.take(), Lines());
}

TEST_P(IntxInfoSyncerTest, ASourceGivenToAZombieIsNotFollowedUntilItComesBack) {
    start(filled(9, {0}));
    syncer->zelDoZombieReactors(true);
    syncer->sourceDel();
    log.follow(dest);
    syncer->sourceIs(source);
    source->stpVersionIs(77);
    EXPECT_EQ(log.take(), Lines());
    syncer->zelDoZombieReactors(false);
    source->stpVersionIs(78);
    EXPECT_EQ(log.take(), Lines{"stpVersion"});
}

TEST_P(IntxInfoSyncerTest, AZombieThatIsStillNotifiedFollowsTheEntriesWithoutHandlers) {
    start(filled(9, {0}));
    syncer->hasNotificationActiveIs(false);
    syncer->zelDoZombieReactors(true);
    syncer->hasNotificationActiveIs(true);
    log.follow(dest);
    source->stpVersionIs(9);
    source->mstiN(0)->remainingHopsIs(3);
    source->mstiNIs(4);
    EXPECT_EQ(reactorsOf(*syncer), (Keys{0, 4}));
    source->mstiNDel(0);
    EXPECT_EQ(reactorsOf(*syncer), Keys{4});
    EXPECT_EQ(log.take(), Lines());
}

TEST_P(IntxInfoSyncerTest, AZombieReactorGivenAnotherEntryRunsNoHandler) {
    start(filled(9, {3}));
    syncer->zelDoZombieReactors(true);
    const IntxMstiInfo::Ptr other = Samples::entry(3);
    log.follow(dest);
    syncer->mstiNIs(other);
    EXPECT_EQ(syncer->mstiN(3)->mstiN(), other);
    EXPECT_EQ(log.take(), Lines());
}

TEST_P(IntxInfoSyncerTest, DroppedItLeavesTheDestinationAsItIsAndTheSourceUnwatched) {
    start(filled(9, {0, 3}));
    const auto reactor = syncer->mstiN(3);
    log.follow(dest);
    syncer = nullptr;
    EXPECT_EQ(log.take(), Lines());
    expectEqualRecords(*dest, *source);
    EXPECT_TRUE(source->notifieeList()->empty());
    EXPECT_TRUE(source->mstiN(0)->notifieeList()->empty());
    EXPECT_EQ(reactor->owner(), nullptr);
    Samples::fill(*source->mstiN(3));
    source->stpVersionIs(77);
    EXPECT_EQ(log.take(), Lines());
}

// ---- traces ----

constexpr std::string_view traceName = "StpTxStatusSyncer";

TEST_P(IntxInfoSyncerTest, TracesItsHandlersOctetForOctet) {
    dest = record(4094, {5});
    Lines traces;
    const TraceNotes tracing(traceName, traces);
    start(filled(4094, {0, 3}));
    const std::string entryStart =
        "8 handleInitialized: [Ethernet1|4094]IntxInfoSyncer::ZelMstiNSm::handleInitialized() ";
    const std::string onEntry = "8 handleMstiN: [Ethernet1|4094]IntxInfoSyncer::handleMstiN() ";
    EXPECT_EQ(std::exchange(traces, {}),
              (Lines{entryStart, entryStart,
                     "8 handleInitialized: [Ethernet1|4094]IntxInfoSyncer::handleInitialized() ",
                     onEntry + "setting mstiId=0", onEntry + "setting mstiId=3",
                     onEntry + "deleting mstiId=5"}));
    source->mstiNIs(65535);
    EXPECT_EQ(std::exchange(traces, {}), (Lines{onEntry + "setting mstiId=65535", entryStart}));
    source->mstiNDel(0);
    EXPECT_EQ(std::exchange(traces, {}), Lines{onEntry + "deleting mstiId=0"});
    source->mstiNMemberIs(Samples::entry(3));
    EXPECT_EQ(std::exchange(traces, {}), Lines{onEntry + "setting mstiId=3"});
    Samples::fill(*source);
    Samples::fill(*source->mstiN(3));
    syncer = nullptr;
    EXPECT_EQ(traces, Lines());
}

TEST_P(IntxInfoSyncerTest, TracesTheSameWithoutADestination) {
    source = filled(0, {0});
    Lines traces;
    const TraceNotes tracing(traceName, traces);
    syncer = intxInfoSyncerFactory(source, nullptr, 0, "");
    source->mstiNDel(0);
    EXPECT_EQ(traces,
              (Lines{"8 handleInitialized: [|0]IntxInfoSyncer::ZelMstiNSm::handleInitialized() ",
                     "8 handleInitialized: [|0]IntxInfoSyncer::handleInitialized() ",
                     "8 handleMstiN: [|0]IntxInfoSyncer::handleMstiN() setting mstiId=0",
                     "8 handleMstiN: [|0]IntxInfoSyncer::handleMstiN() deleting mstiId=0"}));
}

TEST_P(IntxInfoSyncerTest, TracesItsOwnVlanWhileItHasNoSource) {
    Lines traces;
    const TraceNotes tracing(traceName, traces);
    syncer = intxInfoSyncerFactory(nullptr, record(3), 7, "Ethernet1");
    EXPECT_EQ(traces,
              Lines{"8 handleInitialized: [Ethernet1|7]IntxInfoSyncer::handleInitialized() "});
}

TEST_P(IntxInfoSyncerTest, TracesNothingWhileLevelEightIsOff) {
    TraceCapture capture(traceName, {0, 1, 2, 3, 4, 5, 6, 7, 9});
    start(filled(9, {0}));
    source->mstiNDel(0);
    EXPECT_TRUE(capture.records().empty());
}

TEST_P(IntxInfoSyncerTest, ItsKeyTextNamesItsParentAndTheSourcesVlan) {
    syncer = intxInfoSyncerFactory(record(12), nullptr, 7, "Port-Channel5");
    EXPECT_EQ(syncer->keyInfo(), "[Port-Channel5|12]");
}

TEST_P(IntxInfoSyncerTest, TimesItsHandlersUnderTheirQualifiedNames) {
    const auto timed = [](auto const& action) {
        return timedBlocks("StpTxStatusSyncer.cpp", action).names;
    };
    const std::string entryStart = "Varnol::IntxInfoSyncer::ZelMstiNSm::handleInitialized";
    const std::string onEntry = "Varnol::IntxInfoSyncer::handleMstiN";
    source = filled(9, {0});
    dest = record(9, {5});
    EXPECT_EQ(timed([&] { start(source); }),
              (Lines{entryStart, onEntry, onEntry, "Varnol::IntxInfoSyncer::handleInitialized"}));
    EXPECT_EQ(timed([&] { source->mstiNIs(1); }), (Lines{onEntry, entryStart}));
    EXPECT_EQ(timed([&] { source->mstiNDel(1); }), Lines{onEntry});
}

// ---- exhausted memory ----

TEST_P(IntxInfoSyncerTest, OutOfMemoryInTheFactoryReachesTheCallerAndLeaksNothing) {
    source = filled(9, {0, 3});
    source->configNameStringIs("a name too long to be kept without memory of its own");
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        dest = record(9, {5});
        const Zel::String parent("an interface name too long to be kept without memory");
        if (attempt([&] { syncer = intxInfoSyncerFactory(source, dest, 9, parent); })) {
            EXPECT_NE(syncer, nullptr);
            expectEqualRecords(*dest, *source);
        } else {
            EXPECT_EQ(syncer, nullptr);
            EXPECT_TRUE(source->notifieeList()->empty());
            EXPECT_TRUE(source->mstiN(0)->notifieeList()->empty());
            EXPECT_TRUE(source->mstiN(3)->notifieeList()->empty());
        }
        syncer = nullptr;
        dest = nullptr;
    });
    EXPECT_GE(failures, 6U) << "the syncer, three reactors and two entries";
}

TEST_P(IntxInfoSyncerTest, OutOfMemoryInAHandlerReachesTheMutatorAndTheNextChangeIsFollowed) {
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        dest = record(9);
        start(filled(9, {0}));
        attempt([&] { source->mstiNIs(3); });
        if (source->mstiN(3)) {
            const Stp::BridgeSystemId key = 3;
            source->notify(265, &key);
        } else {
            source->mstiNIs(3);
        }
        EXPECT_EQ(reactorsOf(*syncer), (Keys{0, 3}));
        Samples::fill(*source->mstiN(3));
        expectEqualRecords(*dest, *source);
        drop();
    });
    EXPECT_GE(failures, 3U) << "the two entries and the reactor";
}

TEST_P(IntxInfoSyncerTest, OutOfMemoryForAnotherSourceIsMadeGoodWhenThatIsGivenAgain) {
    const IntxInfo::Ptr other = filled(9, {0, 3, 5});
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        dest = record(9);
        start(filled(9, {0, 3}));
        if (!attempt([&] { syncer->sourceIs(other); })) {
            EXPECT_EQ(syncer->source(), other);
            other->stpVersionIs(77);
            EXPECT_EQ(dest->stpVersion(), 77);
            syncer->sourceIs(other);
        }
        EXPECT_EQ(syncer->source(), other);
        EXPECT_EQ(reactorsOf(*syncer), (Keys{0, 3, 5}));
        for (auto const& entry : std::as_const(*other).mstiN())
            EXPECT_EQ(syncer->mstiN(entry->mstiId())->watched(), entry.ptr());
        EXPECT_EQ(dest->stpVersion(), other->stpVersion());
        drop();
    });
    EXPECT_EQ(failures, 1U) << "the reactor on the entry 5";
}

// ---- disturbances ----

struct Action {
    const char* name;
    void (*run)(IntxInfo& source, IntxInfo::Ptr const& other, IntxInfoSyncer& syncer);
};

const Action actions[] = {
    {"scalars", [](IntxInfo& source, auto&, auto&) { Samples::fill(source); }},
    {"an entry's scalars", [](IntxInfo& source, auto&, auto&) { Samples::fill(*source.mstiN(0)); }},
    {"a new entry", [](IntxInfo& source, auto&, auto&) { source.mstiNIs(4); }},
    {"an entry less", [](IntxInfo& source, auto&, auto&) { source.mstiNDel(3); }},
    {"another entry",
     [](IntxInfo& source, auto&, auto&) { source.mstiNMemberIs(Samples::entry(3)); }},
    {"another source",
     [](IntxInfo&, IntxInfo::Ptr const& other, IntxInfoSyncer& syncer) { syncer.sourceIs(other); }},
    {"a new start", [](IntxInfo&, auto&, IntxInfoSyncer& syncer) { syncer.handleInitialized(); }},
};

TEST_P(IntxInfoSyncerTest, MayBeDroppedInsideAnyWriteOfTheDestination) {
    for (Action const& action : actions) {
        SCOPED_TRACE(action.name);
        bool dropped = true;
        std::size_t points = 0;
        for (std::size_t n = 1; dropped; ++n) {
            const IntxInfo::Ptr other = filled(9, {3, 5});
            dest = record(9);
            start(filled(9, {0, 3}));
            dest->mstiNIs(8);
            log.follow(dest);
            std::size_t writes = 0;
            log.look = [&](std::string const&) {
                if (++writes == n)
                    syncer = nullptr;
            };
            action.run(*source, other, *syncer);
            dropped = syncer == nullptr;
            if (dropped) {
                ++points;
                log.take();
                Samples::fill(*source);
                Samples::fill(*source->mstiNIs(3));
                Samples::fill(*other);
                EXPECT_EQ(log.take(), Lines()) << "dropped at write " << n;
                EXPECT_TRUE(source->notifieeList()->empty());
            }
            drop();
        }
        EXPECT_GE(points, 1U) << "the action writes nothing";
    }
}

TEST_P(IntxInfoSyncerTest, FollowsWhatTheDestinationsReactorsDoToTheSourcesScalars) {
    start(filled(9, {0}));
    log.follow(dest);
    log.look = [&](std::string const& write) {
        if (write == "stpVersion")
            source->intxInfoTypeIs(2);
        if (write == "intxInfoType")
            source->mstiN(0)->remainingHopsIs(5);
        if (write == "0/remainingHops" && source->configRevisionLevel() != 1)
            source->configRevisionLevelIs(1);
    };
    source->stpVersionIs(3);
    EXPECT_EQ(log.take(),
              (Lines{"stpVersion", "intxInfoType", "0/remainingHops", "configRevisionLevel"}));
    expectEqualRecords(*dest, *source);
}

TEST_P(IntxInfoSyncerTest, AWriteNestedInItsOwnNoticeEndsWithTheLastValue) {
    start(filled(9, {0}));
    log.follow(dest);
    log.look = [&](std::string const&) {
        if (source->stpVersion().value() < 10)
            source->stpVersionIs(10);
    };
    source->stpVersionIs(3);
    EXPECT_EQ(dest->stpVersion(), 10);
}

TEST_P(IntxInfoSyncerTest, FollowsDeletionsAndCreationsInTheMiddleOfItsWalk) {
    for (const char* moment :
         {"stpVersion", "mstiN[0]", "0/flags", "mstiN[3]", "3/fwdDelay", "mstiN[5]", "5/flags"}) {
        SCOPED_TRACE(moment);
        dest = record(9);
        log.follow(dest);
        bool done = false;
        log.look = [&](std::string const& write) {
            if (write != moment || std::exchange(done, true))
                return;
            source->mstiNDel(3);
            source->mstiNDel(5);
            Samples::fill(*source->mstiNIs(1));
            Samples::fill(*source->mstiNIs(9));
        };
        start(filled(9, {0, 3, 5}));
        EXPECT_TRUE(done);
        EXPECT_EQ(keysOf(*source), (Keys{0, 1, 9}));
        EXPECT_EQ(keysOf(*dest), keysOf(*source));
        EXPECT_EQ(reactorsOf(*syncer), keysOf(*source));
        drop();
    }
}

TEST_P(IntxInfoSyncerTest, FollowsDeletionsInTheMiddleOfItsWalkOverTheDestination) {
    dest = record(9, {5, 6, 7});
    log.follow(dest);
    log.look = [&](std::string const& write) {
        if (write == "mstiN[5] deleted") {
            dest->mstiNDel(6);
            source->mstiNDel(3);
        }
    };
    start(filled(9, {0, 3}));
    EXPECT_EQ(keysOf(*dest), Keys{0});
    EXPECT_EQ(reactorsOf(*syncer), Keys{0});
    expectEqualRecords(*dest, *source);
}

TEST_P(IntxInfoSyncerTest, AKeyCreatedAnewInItsOwnDeletionNoticeIsInBothRecordsAndHasOneReactor) {
    start(filled(9, {0, 3}));
    log.follow(dest);
    bool done = false;
    log.look = [&](std::string const& write) {
        if (write == "mstiN[3] deleted" && !std::exchange(done, true))
            source->mstiNIs(3);
    };
    source->mstiNDel(3);
    EXPECT_TRUE(done);
    EXPECT_EQ(keysOf(*source), (Keys{0, 3}));
    EXPECT_EQ(keysOf(*dest), (Keys{0, 3}));
    EXPECT_EQ(reactorsOf(*syncer), (Keys{0, 3}));
    EXPECT_EQ(syncer->mstiN(3)->mstiN(), source->mstiN(3));
    // The reactor keeps the entry that it has found, which is no longer in the record, until it
    // looks it up again.
    const IntxMstiInfo::Ptr held = syncer->mstiN(3)->dest();
    EXPECT_NE(held, dest->mstiN(3));
    Samples::fill(*source->mstiN(3));
    expectEqualScalars(*held, *source->mstiN(3));
    expectZeroScalars(*dest->mstiN(3));
    syncer->handleInitialized();
    EXPECT_EQ(syncer->mstiN(3)->dest(), dest->mstiN(3));
    expectEqualRecords(*dest, *source);
    source->mstiN(3)->remainingHopsIs(200);
    expectEqualRecords(*dest, *source);
}

TEST_P(IntxInfoSyncerTest, AKeyCreatedAnewByAnEarlierReactorOnTheSourceStaysMirrored) {
    source = filled(9, {0, 3});
    log.follow(source);
    bool done = false;
    log.look = [&](std::string const& write) {
        if (write == "mstiN[3] deleted" && !std::exchange(done, true))
            source->mstiNIs(3);
    };
    start(source);
    source->mstiNDel(3);
    EXPECT_EQ(reactorsOf(*syncer), (Keys{0, 3}));
    expectEqualRecords(*dest, *source);
    Samples::fill(*source->mstiN(3));
    expectEqualRecords(*dest, *source);
}

TEST_P(IntxInfoSyncerTest, AKeyDeletedInItsOwnCreationNoticeIsNowhere) {
    start(filled(9, {0}));
    log.follow(dest);
    for (const char* moment : {"mstiN[3]", "3/flags", "3/fwdDelay"}) {
        SCOPED_TRACE(moment);
        log.look = [&](std::string const& write) {
            if (write == moment)
                source->mstiNDel(3);
        };
        source->mstiNIs(3);
        EXPECT_EQ(keysOf(*source), Keys{0});
        EXPECT_EQ(keysOf(*dest), Keys{0});
        EXPECT_EQ(reactorsOf(*syncer), Keys{0});
    }
}

} // namespace
} // namespace Varnol
