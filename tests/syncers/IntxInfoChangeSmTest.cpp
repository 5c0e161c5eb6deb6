#include "syncers/IntxInfoChangeSm.h"

#include "framework/zel/Exception.h"
#include "tests/framework/AttributeTest.h"
#include "tests/framework/EachAllocation.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/NothingLeft.h"
#include "tests/framework/Thrown.h"
#include "tests/framework/TimedBlocks.h"
#include "tests/framework/TraceCapture.h"
#include "tests/model/Journal.h"
#include "tests/model/Samples.h"
#include "tests/syncers/EntryReactors.h"

#include <array>
#include <limits>
#include <new>
#include <type_traits>

namespace Varnol {
namespace {

using Samples::record;
using TreeText::Lines;
using Reactor = IntxInfoChangeSm::ZelMstiN;
using Keys = std::vector<unsigned>;

static_assert(std::is_same_v<decltype(&intxInfoChangeSmFactory),
                             IntxInfoChangeSm::Ptr (*)(Zel::Ptr<IntxInfo const> const&,
                                                       Bridging::VlanIdOrNone)>);
static_assert(std::is_same_v<decltype(&IntxInfoChangeSm::IntxInfoChangeSmIs),
                             decltype(&intxInfoChangeSmFactory)>);

IntxInfoChangeSm::Ptr counterOn(Zel::Ptr<IntxInfo const> const& info) {
    return intxInfoChangeSmFactory(info, 7);
}

class IntxInfoChangeSmTest : public NothingLeft {};
WITH_BOTH_WAYS_OF_COUNTING(IntxInfoChangeSmTest);

// ---- the table of counts ----

/// A record with entries 0, 3 and 5, its counter, and what a case needs besides.
struct Scene {
    IntxInfo::Ptr info = record(9, {0, 3, 5});
    IntxInfo::Ptr other = record(9, {3, 5, 6, 7});
    IntxInfoChangeSm::Ptr counter = counterOn(info);
    IntxMstiInfo::Ptr entry = info->mstiN(3);
};

struct Case {
    const char* name;
    void (*events)(Scene&);
    /// What the events add to the 1 that a counter starts with.
    unsigned counts;
    /// The instances that have a reactor in the end.
    Keys reactors;
};

const Case cases[] = {
    {"nothing", [](Scene&) {}, 0, {0, 3, 5}},

    // The record's own attributes: 1 each.
    {"neighborAddr", [](Scene& s) { s.info->neighborAddrIs(Samples::neighbor); }, 1, {0, 3, 5}},
    {"stpVersion", [](Scene& s) { s.info->stpVersionIs(2); }, 1, {0, 3, 5}},
    {"intxInfoType", [](Scene& s) { s.info->intxInfoTypeIs(2); }, 1, {0, 3, 5}},
    {"configRevisionLevel", [](Scene& s) { s.info->configRevisionLevelIs(2); }, 1, {0, 3, 5}},
    {"configNameString", [](Scene& s) { s.info->configNameStringIs("a"); }, 1, {0, 3, 5}},
    {"configDigest", [](Scene& s) { s.info->configDigestIs(Samples::digest); }, 1, {0, 3, 5}},
    {"the VLAN key", [](Scene& s) { s.info->notify(259); }, 0, {0, 3, 5}},
    {"stpVersion and then configDigest",
     [](Scene& s) {
         s.info->stpVersionIs(3);
         s.info->configDigestIs(Samples::digest);
     },
     2,
     {0, 3, 5}},
    {"an equal value", [](Scene& s) { s.info->stpVersionIs(s.info->stpVersion()); }, 1, {0, 3, 5}},
    {"unknown attributes of the record",
     [](Scene& s) {
         for (Zel::AttributeId id : {0U, 257U, 266U, 289U, 290U})
             s.info->notify(id);
     },
     0,
     {0, 3, 5}},
    {"the entries without a key", [](Scene& s) { s.info->notify(265); }, 0, {0, 3, 5}},
    {"an entry reported again",
     [](Scene& s) {
         const Stp::BridgeSystemId key = 3;
         s.info->notify(265, &key);
     },
     0,
     {0, 3, 5}},
    {"an absent entry reported",
     [](Scene& s) {
         const Stp::BridgeSystemId key = 4;
         s.info->notify(265, &key);
     },
     0,
     {0, 3, 5}},

    // An entry's attributes: 1 each.
    {"portId and then helloTime of an entry",
     [](Scene& s) {
         s.entry->portIdIs({16, 1});
         s.entry->helloTimeIs(Stp::TimerVal::seconds(2));
     },
     2,
     {0, 3, 5}},
    {"all thirteen attributes of an entry",
     [](Scene& s) { Samples::fill(*s.entry); },
     13,
     {0, 3, 5}},
    {"all attributes of the record and of two entries",
     [](Scene& s) {
         Samples::fill(*s.info);
         Samples::fill(*s.info->mstiN(0));
         Samples::fill(*s.info->mstiN(5));
     },
     6 + 13 + 13,
     {0, 3, 5}},
    {"an entry's key and unknown attributes of it",
     [](Scene& s) {
         for (Zel::AttributeId id : {0U, 257U, 258U, 272U, 289U})
             s.entry->notify(id);
     },
     0,
     {0, 3, 5}},

    // Entries that come, go and are replaced.
    {"an entry more", [](Scene& s) { s.info->mstiNIs(4); }, 0, {0, 3, 4, 5}},
    {"an entry more, and a change of it",
     [](Scene& s) { s.info->mstiNIs(4)->remainingHopsIs(1); },
     1,
     {0, 3, 4, 5}},
    {"an entry that is there already", [](Scene& s) { s.info->mstiNIs(3); }, 0, {0, 3, 5}},
    {"an entry less", [](Scene& s) { s.info->mstiNDel(3); }, 1, {0, 5}},
    {"an entry less that is not there", [](Scene& s) { s.info->mstiNDel(4); }, 0, {0, 3, 5}},
    {"an entry less, and a change of it",
     [](Scene& s) {
         s.info->mstiNDel(3);
         s.entry->remainingHopsIs(1);
     },
     1,
     {0, 5}},
    {"an entry less and there anew",
     [](Scene& s) {
         s.info->mstiNDel(3);
         s.info->mstiNIs(3);
     },
     1,
     {0, 3, 5}},
    {"all entries less",
     [](Scene& s) {
         for (Zel::U16 key : std::array<Zel::U16, 3>{0, 3, 5})
             s.info->mstiNDel(key);
     },
     3,
     {}},
    {"another entity in an entry's place",
     [](Scene& s) { s.info->mstiNMemberIs(Samples::entry(3)); },
     13,
     {0, 3, 5}},
    {"another entity in an entry's place, and a change of each",
     [](Scene& s) {
         s.info->mstiNMemberIs(Samples::entry(3));
         s.entry->remainingHopsIs(1);
         s.info->mstiN(3)->remainingHopsIs(1);
     },
     13 + 1,
     {0, 3, 5}},
    {"an entity under a new key",
     [](Scene& s) { s.info->mstiNMemberIs(Samples::entry(4)); },
     0,
     {0, 3, 4, 5}},
    {"the same entity in its own place",
     [](Scene& s) { s.info->mstiNMemberIs(s.entry); },
     0,
     {0, 3, 5}},

    // Another record: 1, 13 for each key in both, 1 for each key of the former alone.
    {"another record",
     [](Scene& s) { s.counter->intxInfoIs(s.other); },
     1 + 13 + 13 + 1,
     {3, 5, 6, 7}},
    {"another record and back",
     [](Scene& s) {
         s.counter->intxInfoIs(s.other);
         s.counter->intxInfoIs(s.info);
     },
     (1 + 2 * 13 + 1) + (1 + 2 * 13 + 2),
     {0, 3, 5}},
    {"the same record again", [](Scene& s) { s.counter->intxInfoIs(s.info); }, 0, {0, 3, 5}},
    {"a record without entries", [](Scene& s) { s.counter->intxInfoIs(record(9)); }, 1 + 3, {}},
    {"another record, and changes of the former",
     [](Scene& s) {
         s.counter->intxInfoIs(s.other);
         Samples::fill(*s.info);
         Samples::fill(*s.entry);
         s.info->mstiNDel(3);
     },
     28,
     {3, 5, 6, 7}},
    {"no record any more", [](Scene& s) { s.counter->intxInfoDel(); }, 0, {0, 3, 5}},
    {"no record any more, and changes of it and of an entry",
     [](Scene& s) {
         s.counter->intxInfoDel();
         s.info->stpVersionIs(3);
         s.info->mstiNDel(5);
         s.entry->remainingHopsIs(1);
     },
     1,
     {0, 3, 5}},
    {"no record any more, and another one: a new reactor counts nothing",
     [](Scene& s) {
         s.counter->intxInfoDel();
         s.counter->intxInfoIs(s.other);
     },
     0,
     {0, 3, 5}},
    {"the null record, and changes",
     [](Scene& s) {
         s.counter->intxInfoIs(nullptr);
         s.info->stpVersionIs(3);
         s.info->mstiNDel(5);
     },
     0,
     {0, 3, 5}},
    {"the null record, and another one",
     [](Scene& s) {
         s.counter->intxInfoIs(nullptr);
         s.counter->intxInfoIs(s.other);
     },
     28,
     {3, 5, 6, 7}},

    // The child mutator and the deleters.
    {"mstiNIs of the entry that is watched",
     [](Scene& s) { s.counter->mstiNIs(s.entry); },
     0,
     {0, 3, 5}},
    {"mstiNIs of another entry of a key",
     [](Scene& s) { s.counter->mstiNIs(s.other->mstiN(3)); },
     13,
     {0, 3, 5}},
    {"mstiNIs of an entry of a new key",
     [](Scene& s) { s.counter->mstiNIs(s.other->mstiN(6)); },
     0,
     {0, 3, 5, 6}},
    {"mstiNDel", [](Scene& s) { s.counter->mstiNDel(3); }, 1, {0, 5}},
    {"mstiNDel twice",
     [](Scene& s) {
         s.counter->mstiNDel(3);
         s.counter->mstiNDel(3);
     },
     1,
     {0, 5}},
    {"mstiNDel, and a change of the entry",
     [](Scene& s) {
         s.counter->mstiNDel(3);
         s.entry->remainingHopsIs(1);
     },
     1,
     {0, 5}},
    {"mstiNDel by a walk",
     [](Scene& s) { s.counter->mstiNDel(s.counter->children().begin()); },
     1,
     {3, 5}},
    {"mstiNDelAll", [](Scene& s) { s.counter->mstiNDelAll(); }, 3, {}},

    // Zombies: each reactor of an entry counts 1, in both directions.
    {"a zombie reactor",
     [](Scene& s) { s.counter->mstiN(3)->zelDoZombieReactors(true); },
     1,
     {0, 3, 5}},
    {"a zombie reactor, twice",
     [](Scene& s) {
         s.counter->mstiN(3)->zelDoZombieReactors(true);
         s.counter->mstiN(3)->zelDoZombieReactors(true);
     },
     1,
     {0, 3, 5}},
    {"a zombie reactor, and a change of its entry",
     [](Scene& s) {
         s.counter->mstiN(3)->zelDoZombieReactors(true);
         s.entry->remainingHopsIs(1);
     },
     1,
     {0, 3, 5}},
    {"a zombie reactor that is called all the same",
     [](Scene& s) {
         s.counter->mstiN(3)->zelDoZombieReactors(true);
         s.counter->mstiN(3)->onAttribute(259, nullptr);
     },
     1,
     {0, 3, 5}},
    {"a zombie reactor and back, and a change",
     [](Scene& s) {
         s.counter->mstiN(3)->zelDoZombieReactors(true);
         s.counter->mstiN(3)->zelDoZombieReactors(false);
         s.entry->remainingHopsIs(1);
     },
     1 + 1 + 1,
     {0, 3, 5}},
    {"a zombie reactor removed",
     [](Scene& s) {
         s.counter->mstiN(3)->zelDoZombieReactors(true);
         s.counter->mstiNDel(3);
     },
     1,
     {0, 5}},
    {"a zombie reactor given another entry: no handler, but it comes back with its owner's flag",
     [](Scene& s) {
         s.counter->mstiN(3)->zelDoZombieReactors(true);
         s.counter->mstiNIs(s.other->mstiN(3));
     },
     1 + 0 + 1,
     {0, 3, 5}},
    {"a zombie counter", [](Scene& s) { s.counter->zelDoZombieReactors(true); }, 3, {0, 3, 5}},
    {"a zombie counter, twice",
     [](Scene& s) {
         s.counter->zelDoZombieReactors(true);
         s.counter->zelDoZombieReactors(true);
     },
     3,
     {0, 3, 5}},
    {"a zombie counter, and changes",
     [](Scene& s) {
         s.counter->zelDoZombieReactors(true);
         Samples::fill(*s.info);
         Samples::fill(*s.entry);
         s.info->mstiNDel(5);
         s.info->mstiNIs(6);
     },
     3,
     {0, 3, 5}},
    {"a zombie counter and back, and changes",
     [](Scene& s) {
         s.counter->zelDoZombieReactors(true);
         s.counter->zelDoZombieReactors(false);
         s.info->stpVersionIs(3);
         s.entry->remainingHopsIs(1);
     },
     3 + 3 + 2,
     {0, 3, 5}},
    {"a reactor created by a zombie counter turns into one and counts",
     [](Scene& s) {
         s.counter->zelDoZombieReactors(true);
         s.counter->mstiNIs(s.other->mstiN(6));
     },
     3 + 1,
     {0, 3, 5, 6}},
    {"another entry for a zombie counter",
     [](Scene& s) {
         s.counter->zelDoZombieReactors(true);
         s.counter->mstiNIs(s.other->mstiN(3));
     },
     3,
     {0, 3, 5}},
    {"another record for a zombie counter: 6 and 7 are new zombies, 0 is one already",
     [](Scene& s) {
         s.counter->zelDoZombieReactors(true);
         s.counter->intxInfoIs(s.other);
     },
     3 + 0 + 2 + 0,
     {3, 5, 6, 7}},

    // Switched off.
    {"switched off, and changes",
     [](Scene& s) {
         s.counter->hasNotificationActiveIs(false);
         Samples::fill(*s.info);
         Samples::fill(*s.entry);
         s.info->mstiNDel(5);
     },
     0,
     {0, 3, 5}},
    {"switched off and on, and changes",
     [](Scene& s) {
         s.counter->hasNotificationActiveIs(false);
         s.counter->hasNotificationActiveIs(true);
         s.info->stpVersionIs(3);
         s.entry->remainingHopsIs(1);
     },
     2,
     {0, 3, 5}},
    {"switched off, and a reactor removed",
     [](Scene& s) {
         s.counter->hasNotificationActiveIs(false);
         s.counter->mstiNDel(3);
     },
     1,
     {0, 5}},

    // The user's own writes.
    {"incUpdatedFieldCount", [](Scene& s) { s.counter->incUpdatedFieldCount(); }, 1, {0, 3, 5}},
    {"set to 0, and one change",
     [](Scene& s) {
         s.counter->updatedFieldCountIs(0);
         s.info->stpVersionIs(3);
     },
     0, // reads 1
     {0, 3, 5}},
    {"set to the highest value, and two changes",
     [](Scene& s) {
         s.counter->updatedFieldCountIs(4294967295);
         s.info->stpVersionIs(3);
         s.entry->remainingHopsIs(1);
     },
     0, // reads 0 and then 1
     {0, 3, 5}},
};

TEST_P(IntxInfoChangeSmTest, CountsWhatTheTableSays) {
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        Scene scene;
        ASSERT_EQ(scene.counter->updatedFieldCount(), 1U);
        c.events(scene);
        EXPECT_EQ(scene.counter->updatedFieldCount(), 1 + c.counts);
        EXPECT_EQ(reactorsOf(*scene.counter), c.reactors);
    }
}

// ---- construction ----

TEST_P(IntxInfoChangeSmTest, ANewCounterReadsOneAndHasAReactorForEachEntry) {
    const IntxInfo::Ptr info = record(9, {4, 0, 2});
    const auto counter = counterOn(info);
    EXPECT_EQ(counter->updatedFieldCount(), 1U);
    EXPECT_EQ(reactorsOf(*counter), (Keys{0, 2, 4}));
    EXPECT_EQ(counter->intxInfo(), info);
    EXPECT_EQ(counter->vlanId(), 7);
    EXPECT_TRUE(counter->hasNotificationActive());
    EXPECT_FALSE(counter->zelMarkedForDeletion());
    EXPECT_EQ(counter->references(), 1U);
    EXPECT_EQ(counter->mstiN(2)->owner(), counter.ptr());
    EXPECT_EQ(counter->mstiN(2)->notifier(), info->mstiN(2));
    EXPECT_TRUE(counter->mstiN(2)->hasNotificationActive());
    EXPECT_EQ(counter->mstiN(1), nullptr);
}

TEST_P(IntxInfoChangeSmTest, OnANullRecordItReadsOneHasNoReactorAndNeverChangesByItself) {
    const auto counter = counterOn(nullptr);
    EXPECT_EQ(counter->updatedFieldCount(), 1U);
    EXPECT_EQ(counter->intxInfo(), nullptr);
    EXPECT_EQ(counter->vlanId(), 7);
    EXPECT_EQ(reactorsOf(*counter), Keys());
    Samples::fill(*record(7, {0}));
    counter->hasNotificationActiveIs(false);
    counter->hasNotificationActiveIs(true);
    counter->zelDoZombieReactors(true);
    counter->zelDoZombieReactors(false);
    counter->intxInfoDel();
    EXPECT_EQ(counter->updatedFieldCount(), 1U);
}

TEST_P(IntxInfoChangeSmTest, ARecordGivenLaterIsFollowedFromItsNextChangesOn) {
    const IntxInfo::Ptr info = record(9, {0, 3});
    const auto counter = counterOn(nullptr);
    counter->intxInfoIs(info);
    EXPECT_EQ(counter->updatedFieldCount(), 1U);
    EXPECT_EQ(counter->intxInfo(), info);
    EXPECT_EQ(reactorsOf(*counter), Keys());
    info->stpVersionIs(3);
    EXPECT_EQ(counter->updatedFieldCount(), 2U);
    info->mstiNIs(5)->remainingHopsIs(1);
    EXPECT_EQ(counter->updatedFieldCount(), 3U);
    EXPECT_EQ(reactorsOf(*counter), Keys{5});
}

TEST_P(IntxInfoChangeSmTest, SeveralCountersOnOneRecordCountForThemselves) {
    const IntxInfo::Ptr info = record(9, {0});
    const auto first = counterOn(info);
    info->stpVersionIs(1);
    const auto second = counterOn(info);
    info->mstiN(0)->remainingHopsIs(1);
    EXPECT_EQ(first->updatedFieldCount(), 3U);
    EXPECT_EQ(second->updatedFieldCount(), 2U);
}

// ---- the handlers by name ----

constexpr auto handlers = entryHandlers<Reactor>;

TEST_P(IntxInfoChangeSmTest, EachHandlerHasItsNameAndCountsOne) {
    const auto counter = counterOn(record(9, {0}));
    unsigned expected = 1;
    for (auto handler : handlers) {
        (*counter->mstiN(0).*handler)();
        EXPECT_EQ(counter->updatedFieldCount(), ++expected);
    }
    counter->mstiN(0)->zel_handleMstiN();
    EXPECT_EQ(counter->updatedFieldCount(), ++expected) << "the body that they share";
}

TEST_P(IntxInfoChangeSmTest, EachIdentifierOfAnEntryCountsOne) {
    const IntxInfo::Ptr info = record(9, {0});
    const auto counter = counterOn(info);
    unsigned expected = 1;
    for (Zel::AttributeId id = 250; id < 290; ++id) {
        info->mstiN(0)->notify(id);
        expected += id >= 259 && id <= 271 ? 1 : 0;
        EXPECT_EQ(counter->updatedFieldCount(), expected) << id;
    }
}

// ---- the count as an attribute ----

TEST_P(IntxInfoChangeSmTest, TheCountIsItsFirstAttribute) {
    const auto table = IntxInfoChangeSm::_zelType.attributes();
    ASSERT_FALSE(table.empty());
    expectRow(table[0], 258, "updatedFieldCount", Zel::AttributeKind::scalar, typeid(unsigned));
    EXPECT_EQ(Zel::typeNode("Varnol::IntxInfoChangeSm"), &IntxInfoChangeSm::_zelType);
}

TEST_P(IntxInfoChangeSmTest, TheCountIsReadAndSetThroughItsAttribute) {
    const auto counter = counterOn(record(9));
    unsigned read = 0;
    EXPECT_TRUE(Zel::dispatchAttribute<IntxInfoChangeSm>(258, [&](auto attribute) {
        using A = decltype(attribute);
        if constexpr (A::id == 258) {
            read = A::read(*counter);
            A::write(*counter, 40);
        }
    }));
    EXPECT_EQ(read, 1U);
    EXPECT_EQ(counter->updatedFieldCount(), 40U);
}

TEST_P(IntxInfoChangeSmTest, TheCountWrapsAtItsHighestValue) {
    const IntxInfo::Ptr info = record(9);
    const auto counter = counterOn(info);
    counter->updatedFieldCountIs(std::numeric_limits<unsigned>::max());
    EXPECT_EQ(counter->updatedFieldCount(), 4294967295U);
    info->stpVersionIs(1);
    EXPECT_EQ(counter->updatedFieldCount(), 0U);
}

TEST_P(IntxInfoChangeSmTest, TheCountSetToZeroReadsOneAfterOneChange) {
    const IntxInfo::Ptr info = record(9);
    const auto counter = counterOn(info);
    counter->updatedFieldCountIs(0);
    EXPECT_EQ(counter->updatedFieldCount(), 0U);
    info->stpVersionIs(1);
    EXPECT_EQ(counter->updatedFieldCount(), 1U);
}

// ---- the reactors ----

TEST_P(IntxInfoChangeSmTest, ANullEntryThrowsTheRangeExceptionAndChangesNothing) {
    const auto counter = counterOn(record(9, {0}));
    EXPECT_EQ(textThrown<Zel::RangeException>([&] { counter->mstiNIs(nullptr); }),
              "null _mstiN parameter to mutator for Varnol::IntxInfoChangeSm::mstiN not "
              "allowed\"");
    EXPECT_EQ(counter->updatedFieldCount(), 1U);
    EXPECT_EQ(reactorsOf(*counter), Keys{0});
}

TEST_P(IntxInfoChangeSmTest, AnotherEntryKeepsTheReactor) {
    const IntxInfo::Ptr info = record(9, {3});
    const auto counter = counterOn(info);
    const auto reactor = counter->mstiN(3);
    const IntxMstiInfo::Ptr other = Samples::entry(3);
    EXPECT_EQ(counter->mstiNIs(other), reactor);
    EXPECT_EQ(reactor->notifier(), other);
    EXPECT_EQ(counter->mstiNIs(other), reactor);
    EXPECT_EQ(counter->updatedFieldCount(), 14U);
}

TEST_P(IntxInfoChangeSmTest, ARemovedReactorIsCutOffAfterItHasCounted) {
    const IntxInfo::Ptr info = record(9, {3});
    const auto counter = counterOn(info);
    const auto removed = counter->mstiN(3);
    info->mstiNDel(3);
    EXPECT_EQ(counter->updatedFieldCount(), 2U);
    EXPECT_EQ(removed->owner(), nullptr);
    EXPECT_TRUE(removed->zelMarkedForDeletion());
    EXPECT_FALSE(removed->hasNotificationActive());
}

TEST_P(IntxInfoChangeSmTest, SwitchesReachEveryReactorUnlessTheyAreSoAlready) {
    const auto counter = counterOn(record(9, {0, 3}));
    counter->hasNotificationActiveIs(false);
    EXPECT_FALSE(counter->mstiN(0)->hasNotificationActive());
    EXPECT_FALSE(counter->mstiN(3)->hasNotificationActive());
    counter->mstiN(3)->hasNotificationActiveIs(true);
    counter->hasNotificationActiveIs(false);
    EXPECT_TRUE(counter->mstiN(3)->hasNotificationActive());
    counter->mstiN(3)->zelDoZombieReactors(true);
    counter->zelDoZombieReactors(false);
    EXPECT_TRUE(counter->mstiN(3)->zelMarkedForDeletion());
}

TEST_P(IntxInfoChangeSmTest, ABoundReactorTakesNoNotificationsWhileItIsAZombie) {
    const auto counter = counterOn(record(9, {3}));
    const auto reactor = counter->mstiN(3);
    reactor->zelDoZombieReactors(true);
    EXPECT_FALSE(reactor->hasNotificationActive());
    reactor->zelDoZombieReactors(false);
    EXPECT_TRUE(reactor->hasNotificationActive());
}

TEST_P(IntxInfoChangeSmTest, AnUnboundReactorCountsWhenItTurnsIntoAZombieAndKeepsItsNotification) {
    const auto counter = counterOn(record(9, {3}));
    const auto reactor = counter->mstiN(3);
    reactor->notifierIs(nullptr);
    EXPECT_EQ(counter->updatedFieldCount(), 1U);
    unsigned count = 1;
    for (const bool active : {true, false}) {
        reactor->hasNotificationActiveIs(active);
        for (const bool zombie : {true, false}) {
            reactor->zelDoZombieReactors(zombie);
            EXPECT_EQ(counter->updatedFieldCount(), ++count);
            EXPECT_EQ(reactor->zelMarkedForDeletion(), zombie);
            EXPECT_EQ(reactor->hasNotificationActive(), active);
        }
    }
}

TEST_P(IntxInfoChangeSmTest, AZombieThatIsStillNotifiedFollowsTheEntriesOnly) {
    const IntxInfo::Ptr info = record(9, {0});
    const auto counter = counterOn(info);
    counter->hasNotificationActiveIs(false);
    counter->zelDoZombieReactors(true);
    counter->hasNotificationActiveIs(true);
    EXPECT_EQ(counter->updatedFieldCount(), 2U) << "the reactor of entry 0 became a zombie";
    info->stpVersionIs(9);
    info->mstiN(0)->remainingHopsIs(3);
    EXPECT_EQ(counter->updatedFieldCount(), 2U);
    info->mstiNIs(4);
    EXPECT_EQ(counter->updatedFieldCount(), 3U) << "its new reactor became a zombie";
    EXPECT_TRUE(counter->mstiN(4)->zelMarkedForDeletion());
    info->mstiNDel(0);
    EXPECT_EQ(counter->updatedFieldCount(), 3U) << "it was a zombie already";
    EXPECT_EQ(reactorsOf(*counter), Keys{4});
}

TEST_P(IntxInfoChangeSmTest, WritesNothingIntoTheRecord) {
    const IntxInfo::Ptr info = record(9, {0, 3});
    Journal log(info, Journal::names);
    auto counter = counterOn(info);
    counter->updatedFieldCountIs(7);
    counter->zelDoZombieReactors(true);
    counter->zelDoZombieReactors(false);
    counter = nullptr;
    EXPECT_EQ(log.take(), Lines());
}

TEST_P(IntxInfoChangeSmTest, DroppedItLeavesTheRecordUnwatched) {
    const IntxInfo::Ptr info = record(9, {0, 3});
    auto counter = counterOn(info);
    const auto reactor = counter->mstiN(3);
    counter = nullptr;
    EXPECT_EQ(reactor->owner(), nullptr);
    EXPECT_TRUE(info->notifieeList()->empty());
    EXPECT_TRUE(info->mstiN(0)->notifieeList()->empty());
    Samples::fill(*info);
    Samples::fill(*info->mstiN(3));
    info->mstiNDel(3);
}

TEST_P(IntxInfoChangeSmTest, TracesNothingAndTimesNothing) {
    TraceCapture capture("Varnol", allTraceLevels);
    capture.levelsOn("StpTxStatusSyncer", allTraceLevels);
    capture.levelsOn("StpRxStatusSyncer", allTraceLevels);
    const TimedBlocks blocks = timedBlocks("", [] {
        const IntxInfo::Ptr info = record(9, {0});
        const auto counter = counterOn(info);
        Samples::fill(*info);
        Samples::fill(*info->mstiNIs(3));
        info->mstiNDel(0);
    });
    EXPECT_TRUE(capture.records().empty());
    EXPECT_EQ(blocks.names, Lines());
}

TEST_P(IntxInfoChangeSmTest, OutOfMemoryInTheFactoryReachesTheCallerAndLeaksNothing) {
    const IntxInfo::Ptr info = record(9, {0, 3});
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        IntxInfoChangeSm::Ptr counter;
        if (attempt([&] { counter = counterOn(info); })) {
            EXPECT_NE(counter, nullptr);
        } else {
            EXPECT_EQ(counter, nullptr);
            EXPECT_TRUE(info->notifieeList()->empty());
            EXPECT_TRUE(info->mstiN(0)->notifieeList()->empty());
            EXPECT_TRUE(info->mstiN(3)->notifieeList()->empty());
        }
    });
    EXPECT_EQ(failures, 4U) << "the counter and three reactors";
}

TEST_P(IntxInfoChangeSmTest, OutOfMemoryForAReactorReachesTheMutatorAndCountsNothing) {
    const IntxInfo::Ptr info = record(9, {0});
    const auto counter = counterOn(info);
    {
        const FailingAllocation failing(2); // the first is the entry
        EXPECT_THROW(info->mstiNIs(3), std::bad_alloc);
    }
    EXPECT_EQ(reactorsOf(*counter), Keys{0});
    EXPECT_EQ(counter->updatedFieldCount(), 1U);
    const Stp::BridgeSystemId key = 3;
    info->notify(265, &key);
    info->mstiN(3)->remainingHopsIs(1);
    EXPECT_EQ(counter->updatedFieldCount(), 2U);
}

TEST_P(IntxInfoChangeSmTest, OutOfMemoryForAnotherRecordCountsItOnceWhenItIsGivenAgain) {
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        const auto counter = counterOn(record(9, {0}));
        const IntxInfo::Ptr other = record(9, {0, 3, 5});
        if (!attempt([&] { counter->intxInfoIs(other); }))
            counter->intxInfoIs(other);
        EXPECT_EQ(reactorsOf(*counter), (Keys{0, 3, 5}));
        EXPECT_EQ(counter->updatedFieldCount(), 1U + 1U + 13U);
    });
    EXPECT_EQ(failures, 2U) << "the reactors on the entries 3 and 5";
}

// ---- disturbances ----

TEST_P(IntxInfoChangeSmTest, MayBeDroppedByAnotherReactorInsideANotification) {
    for (bool before : {true, false}) {
        for (const char* moment : {"stpVersion", "mstiN[4]", "mstiN[3] deleted", "0/flags"}) {
            SCOPED_TRACE(moment);
            const IntxInfo::Ptr info = record(9, {0, 3});
            IntxInfoChangeSm::Ptr counter = before ? nullptr : counterOn(info);
            Journal log(info, Journal::names);
            if (before)
                counter = counterOn(info);
            log.look = [&](std::string const& write) {
                if (write == moment)
                    counter = nullptr;
            };
            info->stpVersionIs(3);
            info->mstiNIs(4);
            info->mstiNDel(3);
            info->mstiN(0)->flagsIs(1);
            EXPECT_EQ(counter, nullptr);
            EXPECT_EQ(log.take(), (Lines{"stpVersion", "mstiN[4]", "mstiN[3] deleted", "0/flags"}));
        }
    }
}

TEST_P(IntxInfoChangeSmTest, AKeyCreatedAnewByAnEarlierReactorCountsAsAnotherEntry) {
    const IntxInfo::Ptr info = record(9, {0, 3});
    Journal log(info, Journal::names);
    bool done = false;
    log.look = [&](std::string const& write) {
        if (write == "mstiN[3] deleted" && !std::exchange(done, true))
            info->mstiNIs(3);
    };
    const auto counter = counterOn(info);
    info->mstiNDel(3);
    EXPECT_EQ(counter->updatedFieldCount(), 1U + 13U) << "it never saw the key absent";
    EXPECT_EQ(counter->mstiN(3)->notifier(), info->mstiN(3));
}

TEST_P(IntxInfoChangeSmTest, AKeyCreatedAnewByALaterReactorCountsAsRemovedAndAdded) {
    const IntxInfo::Ptr info = record(9, {0, 3});
    const auto counter = counterOn(info);
    Journal log(info, Journal::names);
    bool done = false;
    log.look = [&](std::string const& write) {
        if (write == "mstiN[3] deleted" && !std::exchange(done, true))
            info->mstiNIs(3);
    };
    info->mstiNDel(3);
    EXPECT_EQ(counter->updatedFieldCount(), 1U + 1U);
    EXPECT_EQ(counter->mstiN(3)->notifier(), info->mstiN(3));
}

} // namespace
} // namespace Varnol
