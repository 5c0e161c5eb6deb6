#include "framework/zel/Exception.h"
#include "framework/zel/Strep.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/ToySyncer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <initializer_list>
#include <map>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using Toy::Group;
using Toy::GroupSyncer;
using Toy::groupSyncerFactory;
using Toy::Item;
using Toy::ItemId;
using Toy::ItemSyncer;
using Toy::itemSyncerFactory;
using Toy::Log;
using Toy::logOf;
using Toy::Record;
using Toy::Recorder;
using Toy::RevisionSyncer;
using Toy::SyncerSet;
using Zel::AttributeId;
using Zel::Ptr;

namespace {

using Steps = std::vector<std::string>;

Steps operator+(Steps left, Steps const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// "WHO what" for each.
Steps steps(const char* who, std::initializer_list<const char*> whats) {
    Steps result;
    for (const char* what : whats)
        result.push_back(std::string(who) + " " + what);
    return result;
}

/// All scalar handlers of the reactor on an item, in the order of declaration.
Steps itemHandlers(const char* who) {
    return steps(who, {"count", "ratio", "label", "enabled", "octet", "port", "total", "offset",
                       "tag", "colour", "digest", "weight", "age"});
}

Steps itemInitialized(const char* who) {
    return steps(who, {"handleInitialized"}) + itemHandlers(who);
}

/// A child reactor on an item is made, by an owner that is no zombie.
Steps itemMade(const char* who) {
    return steps(who, {"construct"}) + itemInitialized(who) + steps(who, {"active 1", "zombie 0"});
}

/// A child reactor on an item is removed and dies.
Steps itemRemoved(const char* who) {
    return steps(who, {"zombie 1", "active 0", "owner null", "active 0", "destroy"});
}

std::vector<unsigned> keysOf(Record const& record) {
    std::vector<unsigned> keys;
    for (Ptr<Item const> const& item : record.item())
        keys.push_back(item->id().value());
    return keys;
}

using Keys = std::vector<unsigned>;

/// The record must have items with just these keys.
void expectItems(Record const& record, std::initializer_list<unsigned> keys,
                 int line = __builtin_LINE()) {
    const ::testing::ScopedTrace trace(__FILE__, line, "");
    EXPECT_EQ(keysOf(record), Keys(keys));
}

class PatternTest : public ::testing::Test {
  protected:
    ~PatternTest() override {
        tape.at = nullptr;
        syncer = nullptr;
        groups = nullptr;
        source = other = destination = nullptr;
        EXPECT_EQ(Toy::liveObjects(), before_);
    }

    /// A syncer from the source to the destination.
    void start() { syncer = itemSyncerFactory(source, destination, &tape); }
    void startGroups() { groups = groupSyncerFactory(source, destination, &tape); }
    /// The same, its steps left out.
    void startQuietly() {
        start();
        tape.steps.clear();
    }

    /// Does this once, when that step is noted.
    void when(std::string step, std::function<void()> action) {
        tape.at = [this, step = std::move(step),
                   action = std::move(action)](std::string const& noted) {
            if (noted == step) {
                const auto once = action;
                tape.at = nullptr;
                once();
            }
        };
    }

    /// The steps since the last look at the tape must be these.
    void expectSteps(Steps const& expected, int line = __builtin_LINE()) {
        const ::testing::ScopedTrace trace(__FILE__, line, "");
        EXPECT_EQ(tape.rewind(), expected);
    }
    void expectSteps(const char* who, std::initializer_list<const char*> whats,
                     int line = __builtin_LINE()) {
        expectSteps(steps(who, whats), line);
    }
    void expectNoSteps(int line = __builtin_LINE()) { expectSteps(Steps(), line); }

    /// The syncer must have child reactors with just these keys, each with its owner and its item.
    void expectChildren(std::initializer_list<unsigned> keys, int line = __builtin_LINE()) {
        const ::testing::ScopedTrace trace(__FILE__, line, "");
        EXPECT_EQ(childKeys(), Keys(keys));
    }

    Keys childKeys() {
        Keys keys;
        for (Ptr<ItemSyncer::ZelItem const> const& child :
             std::as_const(syncer->children()).map()) {
            keys.push_back(child->fwkKey().value());
            EXPECT_EQ(child->owner(), syncer.ptr());
            EXPECT_EQ(child->watched(), syncer->source()->item(child->fwkKey()).ptr());
        }
        return keys;
    }

    template <class Action> static std::string textOfRangeException(Action const& action) {
        try {
            action();
        } catch (Zel::RangeException const& exception) {
            return exception.what();
        }
        return "no exception";
    }

  private:
    std::map<std::string, Zel::U64> before_ = Toy::liveObjects();

  protected:
    Toy::Tape tape;
    Ptr<Record> source{new Record};
    Ptr<Record> other{new Record};
    Ptr<Record> destination{new Record};
    Ptr<ItemSyncer> syncer;
    Ptr<GroupSyncer> groups;
};

using PatternDeathTest = PatternTest;

// The factory and the creator

TEST_F(PatternTest, TheFactoryReturnsTheOnlyReferenceToAnActiveSyncer) {
    start();
    EXPECT_EQ(syncer->references(), 1u);
    EXPECT_TRUE(syncer->hasNotificationActive());
    EXPECT_FALSE(syncer->zelMarkedForDeletion());
    EXPECT_EQ(ItemSyncer::_zelType.allocations().liveCount(), 1u);
    EXPECT_EQ(syncer->fwkType(), &ItemSyncer::_zelType);
    EXPECT_EQ(syncer->notifieeList(), nullptr);
}

TEST_F(PatternTest, TheCreatorSwitchesNotificationOnAfterTheConstructor) {
    bool initialized = false;
    when("ItemSyncer active 1", [&] { initialized = tape.itemSyncer->initialized(); });
    start();
    EXPECT_TRUE(initialized);
}

// Construction of a root syncer

TEST_F(PatternTest, ARootIsConstructedBeforeItsChildrenAndInitializedLast) {
    source->itemIs(2);
    source->itemIs(1);
    start();
    expectSteps(steps("ItemSyncer", {"construct"}) + steps("ZelSource", {"construct", "active 1"}) +
                itemMade("ZelItem(1)") + itemMade("ZelItem(2)") +
                steps("ItemSyncer", {"handleInitialized"}) + itemInitialized("ZelItem(1)") +
                itemInitialized("ZelItem(2)") + steps("ItemSyncer", {"active 1"}) +
                steps("ZelSource", {"active 1"}) + steps("ZelItem(1)", {"active 1"}) +
                steps("ZelItem(2)", {"active 1"}));
}

TEST_F(PatternTest, ARootHoldsItsSourceAndItsDestination) {
    start();
    EXPECT_EQ(syncer->source(), source);
    EXPECT_EQ(source->references(), 2u) << "by the reactor on it";
    EXPECT_EQ(destination->references(), 2u);
    EXPECT_EQ(source->notifieeList()->members(), 1u);
    EXPECT_TRUE(destination->notifieeList()->empty());
}

TEST_F(PatternTest, ARootOnANullSourceHasNoReactorsAndIsInitializedAllTheSame) {
    destination->itemIs(7);
    syncer = itemSyncerFactory(nullptr, destination, &tape);
    expectSteps("ItemSyncer", {"construct", "handleInitialized", "active 1"});
    EXPECT_TRUE(syncer->initialized());
    EXPECT_EQ(syncer->source(), nullptr);
    EXPECT_EQ(tape.source, nullptr);
    EXPECT_EQ(syncer->children().map().members(), 0u);
    expectItems(*destination, {7});
}

TEST_F(PatternTest, ARootHasAChildForEachElementOfItsSource) {
    for (const unsigned key : {3u, 1u, 2u})
        source->itemIs(key);
    start();
    expectChildren({1, 2, 3});
    EXPECT_TRUE(syncer->children().map().check());
}

TEST_F(PatternTest, AChildWhoseElementGoesDuringTheConstructionIsRemoved) {
    for (const unsigned key : {1u, 2u, 3u})
        source->itemIs(key);
    when("ZelItem(2) construct", [&] {
        source->itemDel(1);
        source->itemDel(2);
    });
    start();
    expectChildren({3});
    expectItems(*destination, {3});
}

TEST_F(PatternTest, AChildWhoseElementComesDuringTheConstructionIsMade) {
    source->itemIs(2);
    when("ZelItem(2) construct", [&] {
        source->itemIs(1);
        source->itemIs(3);
    });
    start();
    expectChildren({1, 2, 3});
    expectItems(*destination, {1, 2, 3});
}

TEST_F(PatternTest, AChildWhoseElementIsReplacedDuringTheConstructionWatchesTheNewOne) {
    source->itemIs(1);
    const Ptr<Item> replacement(new Item(1));
    when("ZelItem(1) construct", [&] { source->itemMemberIs(replacement); });
    start();
    expectChildren({1});
    EXPECT_EQ(syncer->item(1)->watched(), replacement.ptr());
    EXPECT_EQ(ItemSyncer::ZelItem::_zelType.allocations().liveCount(), 1u);
}

TEST_F(PatternTest, ChildReactorsMayHaveChildReactors) {
    source->groupIs("g")->itemIs(1);
    source->groupIs("h")->itemIs(2)->countIs(5);
    startGroups();
    EXPECT_EQ(groups->children().map().members(), 2u);
    EXPECT_EQ(groups->group("g")->watched(), source->group("g").ptr());
    EXPECT_EQ(groups->group("h")->item(2)->watched(), source->group("h")->item(2).ptr());
    EXPECT_EQ(groups->group("h")->item(2)->owner(), groups->group("h").ptr());
    EXPECT_EQ(groups->group("h")->owner(), groups.ptr());
    EXPECT_EQ(destination->group("h")->item(2)->count(), 5u);
    EXPECT_TRUE(groups->group("h")->item(2)->hasNotificationActive());
}

// Construction of a reactor

TEST_F(PatternTest, AReactorIsBornBoundRegisteredAndOwnedAndCallsNoHandler) {
    startQuietly();
    const Ptr<ItemSyncer::ZelSource> reactor(new ItemSyncer::ZelSource(source, syncer.ptr()));
    expectSteps("ZelSource", {"construct"});
    EXPECT_EQ(reactor->notifier(), source);
    EXPECT_EQ(reactor->owner(), syncer.ptr());
    EXPECT_TRUE(reactor->isRegisteredNotifiee());
    EXPECT_FALSE(reactor->hasNotificationActive()) << "its creator does that";
    EXPECT_FALSE(reactor->zelMarkedForDeletion());
    source->titleIs("new");
    EXPECT_EQ(tape.rewind(), steps("ZelSource", {"title"})) << "the active one's";
}

TEST_F(PatternTest, AReactorInitializesItselfWhereItsClassDoes) {
    const Ptr<Item> item = source->itemIs(1);
    startQuietly();
    const Ptr<ItemSyncer::ZelItem> child(new ItemSyncer::ZelItem(item, syncer.ptr()));
    expectSteps(steps("ZelItem(1)", {"construct"}) + itemInitialized("ZelItem(1)"));
    EXPECT_TRUE(child->initialized());
    EXPECT_FALSE(child->hasNotificationActive());
}

// The initial synchronisation

TEST_F(PatternTest, InitializedIsSetAtTheEndAndStays) {
    bool during = true;
    when("ItemSyncer handleInitialized", [&] { during = tape.itemSyncer->initialized(); });
    start();
    EXPECT_FALSE(during);
    EXPECT_TRUE(syncer->initialized());
    syncer->sourceIs(other);
    EXPECT_TRUE(syncer->initialized());
}

TEST_F(PatternTest, TheInitialSynchronisationGivesWhatTheHandlersWouldHave) {
    const auto fill = [](Record& record) {
        record.titleIs("title");
        record.revisionIs(3);
        record.validIs(true);
        record.modeIs(4);
        record.tallyIs(1, 7);
        record.itemIs(1)->countIs(11);
        record.itemIs(2)->labelIs("second");
        record.itemIs(2)->totalIs(12);
    };
    const Ptr<Record> byHandlers(new Record);
    {
        const auto early = itemSyncerFactory(source, byHandlers);
        fill(*source);
    }
    destination->tallyIs(5, 5); // what the source lacks goes
    destination->itemIs(5);
    start();
    for (Ptr<Record> const& record : {byHandlers, destination}) {
        EXPECT_EQ(record->title(), "title");
        EXPECT_EQ(record->revision(), 3u);
        EXPECT_TRUE(record->valid());
        EXPECT_EQ(record->mode(), 4);
        EXPECT_EQ(record->tally().members(), 1u);
        EXPECT_EQ(record->tally(1), 7u);
        expectItems(*record, {1, 2});
        EXPECT_EQ(record->item(1)->count(), 11u);
        EXPECT_EQ(record->item(2)->label(), "second");
        EXPECT_EQ(record->item(2)->total(), 12u);
    }
}

// Reaction

TEST_F(PatternTest, AScalarRunsItsHandlerOnce) {
    startQuietly();
    source->titleIs("title");
    source->validIs(true);
    expectSteps("ZelSource", {"title", "valid"});
    EXPECT_EQ(destination->title(), "title");
    EXPECT_TRUE(destination->valid());
}

TEST_F(PatternTest, AScalarOfAnElementRunsTheHandlerOfItsChild) {
    const Ptr<Item> item = source->itemIs(1);
    source->itemIs(2);
    startQuietly();
    item->countIs(9);
    item->ageIs(0.5);
    expectSteps("ZelItem(1)", {"count", "age"});
    EXPECT_EQ(destination->item(1)->count(), 9u);
    EXPECT_EQ(destination->item(1)->age(), 0.5);
    EXPECT_EQ(destination->item(2)->count(), 0u);
}

TEST_F(PatternTest, AHandlerWritesEqualValuesToo) {
    const Ptr<Item> item = source->itemIs(1);
    startQuietly();
    Log log;
    const auto reactor = watch(destination->item(1), "a", log);
    item->countIs(9);
    item->countIs(9);
    EXPECT_EQ(log, Log(2, {"a", 259, "-"}));
}

TEST_F(PatternTest, AHandlerWithANameOfItsOwnIsCalledByThatName) {
    const Ptr<Item> item = source->itemIs(1);
    startQuietly();
    source->modeIs(3); // the reactor has such a function itself
    item->totalIs(4);  // that reactor has it from NamedHandlers
    expectSteps(steps("ZelSource", {"the mode"}) + steps("ZelItem(1)", {"total"}));
    EXPECT_EQ(destination->mode(), 3);
    EXPECT_EQ(destination->item(1)->total(), 4u);
    syncer->item(1)->handleTotal();
    expectSteps("ZelItem(1)", {"total"});
}

TEST_F(PatternTest, AMapOfValuesRunsItsHandlerWithTheKey) {
    startQuietly();
    source->tallyIs(5, 7);
    source->tallyInc(5, 1);
    EXPECT_EQ(destination->tally(5), 8u);
    source->tallyDel(5);
    expectSteps("ZelSource", {"tally 5", "tally 5", "tally 5"});
    EXPECT_EQ(destination->tally().members(), 0u);
}

TEST_F(PatternTest, TheHandlerRunsBeforeTheChildIsMade) {
    startQuietly();
    bool childBefore = true;
    when("ZelSource item 3", [&] { childBefore = syncer->item(3) != nullptr; });
    source->itemIs(3);
    EXPECT_FALSE(childBefore);
    expectSteps(steps("ZelSource", {"item 3"}) + itemMade("ZelItem(3)"));
    expectChildren({3});
    expectItems(*destination, {3});
}

TEST_F(PatternTest, TheHandlerRunsBeforeTheChildIsRemoved) {
    source->itemIs(3);
    startQuietly();
    bool childStill = false;
    when("ZelSource item 3", [&] { childStill = syncer->item(3) != nullptr; });
    source->itemDel(3);
    EXPECT_TRUE(childStill);
    expectSteps(steps("ZelSource", {"item 3"}) + itemRemoved("ZelItem(3)"));
    expectChildren({});
    expectItems(*destination, {});
}

TEST_F(PatternTest, TheHandlerRunsBeforeTheChildIsRebound) {
    source->itemIs(3);
    startQuietly();
    const Ptr<Item> replacement(new Item(3));
    source->itemMemberIs(replacement);
    expectSteps(steps("ZelSource", {"item 3"}) + steps("ZelItem(3)", {"notifier"}) +
                itemHandlers("ZelItem(3)") + steps("ZelItem(3)", {"zombie 0"}));
}

TEST_F(PatternTest, ChildrenOfChildrenFollowTheirElementsToo) {
    source->groupIs("g");
    startGroups();
    tape.steps.clear();
    source->group("g")->itemIs(3);
    expectSteps(steps("ZelGroup(g)", {"item 3"}) + itemMade("ZelItem(3)"));
    source->group("g")->item(3)->countIs(8);
    expectSteps("ZelItem(3)", {"count"});
    EXPECT_EQ(destination->group("g")->item(3)->count(), 8u);
    source->group("g")->itemDel(3);
    expectSteps(steps("ZelGroup(g)", {"item 3"}) + itemRemoved("ZelItem(3)"));
    EXPECT_EQ(destination->group("g")->item(3), nullptr);
}

TEST_F(PatternTest, AttributesThatAreNotWatchedAreIgnored) {
    const Ptr<Item> item = source->itemIs(1);
    startQuietly();
    const Zel::Name name("g");
    const ItemId key = 1;
    source->groupIs(name); // an attribute that this reactor has no handler for
    source->groupDel(name);
    source->notify(260);       // a gap
    source->notify(999, &key); // no attribute at all
    item->notify(258);         // a key, which does not change
    item->notify(258, &key);
    expectNoSteps();
    EXPECT_EQ(destination->group().members(), 0u);
}

TEST_F(PatternTest, ANullKeyOfACollectionIsIgnored) {
    source->itemIs(1);
    startQuietly();
    source->notify(261);
    source->notify(266);
    expectNoSteps();
    expectChildren({1});
}

TEST_F(PatternTest, ANoticeThatComesAgainRunsTheHandlerAndLeavesTheChildAlone) {
    source->itemIs(1);
    startQuietly();
    const auto child = syncer->item(1);
    const ItemId key = 1;
    source->notify(261, &key);
    expectSteps("ZelSource", {"item 1"});
    EXPECT_EQ(syncer->item(1), child);
    const ItemId absent = 2;
    source->notify(261, &absent);
    expectSteps("ZelSource", {"item 2"});
    expectChildren({1});
}

TEST_F(PatternTest, AReactorMarkedForDeletionThatIsActiveRunsNoHandlerButKeepsItsChildren) {
    source->itemIs(1);
    startQuietly();
    tape.source->zelMarkedForDeletionIs(true);
    source->titleIs("ignored");
    source->tallyIs(1, 1);
    expectNoSteps();
    EXPECT_TRUE(destination->title().empty());
    source->itemIs(2);
    source->itemDel(1);
    expectSteps(itemMade("ZelItem(2)") + itemRemoved("ZelItem(1)"));
    expectChildren({2});
    EXPECT_EQ(keysOf(*destination), Keys{1}) << "that is the handler's work";
}

TEST_F(PatternTest, AReactorWithoutAnOwnerKeepsNoChildren) {
    source->itemIs(1);
    startQuietly();
    auto& reactor = static_cast<ItemSyncer::ZelSource&>(*tape.source);
    reactor.zelMarkedForDeletionIs(true); // no handler: it would miss its owner
    reactor.ownerDel();
    tape.steps.clear();
    source->itemIs(2);
    source->itemDel(1);
    expectNoSteps();
    EXPECT_NE(syncer->item(1), nullptr);
    EXPECT_EQ(syncer->item(2), nullptr);
}

TEST_F(PatternTest, AnUnboundReactorKeepsNoChildren) {
    source->itemIs(1);
    startQuietly();
    tape.source->notifierIs(nullptr);
    tape.source->zelMarkedForDeletionIs(true);
    tape.steps.clear();
    const ItemId key = 1;
    tape.source->onAttribute(261, &key);
    expectNoSteps();
    EXPECT_NE(syncer->item(1), nullptr);
}

// Another notifier

TEST_F(PatternTest, TheSameNotifierAgainDoesNothing) {
    source->itemIs(1);
    Log log;
    startQuietly();
    const auto later = watch(source, "later", log);
    syncer->sourceIs(source);
    expectSteps("ZelSource", {"notifier"});
    when("ZelSource title", [&] { EXPECT_EQ(log, Log()) << "it has kept its place"; });
    source->titleIs("title");
    EXPECT_EQ(log.size(), 1u);
}

TEST_F(PatternTest, ANewNotifierRunsEveryScalarHandlerInTheOrderOfDeclarationThenTheChildren) {
    source->itemIs(1);
    source->itemIs(2);
    other->itemIs(2);
    other->itemIs(3);
    startQuietly();
    syncer->sourceIs(other);
    expectSteps(steps("ZelSource", {"notifier", "title", "revision", "valid", "the mode"}) +
                steps("ZelItem(2)", {"notifier"}) + itemHandlers("ZelItem(2)") +
                steps("ZelItem(2)", {"zombie 0"}) + itemMade("ZelItem(3)") +
                itemRemoved("ZelItem(1)"));
    EXPECT_EQ(syncer->source(), other);
    expectChildren({2, 3});
}

TEST_F(PatternTest, AfterANewNotifierOnlyThatOneIsHeard) {
    const Ptr<Item> former = source->itemIs(1);
    const Ptr<Item> now = other->itemIs(1);
    start();
    const auto child = syncer->item(1);
    syncer->sourceIs(other);
    EXPECT_EQ(syncer->item(1), child) << "it is bound anew, not made anew";
    tape.steps.clear();
    source->titleIs("former");
    former->countIs(1);
    expectNoSteps();
    other->titleIs("now");
    now->countIs(2);
    expectSteps(steps("ZelSource", {"title"}) + steps("ZelItem(1)", {"count"}));
    EXPECT_EQ(destination->title(), "now");
    EXPECT_EQ(destination->item(1)->count(), 2u);
    EXPECT_TRUE(source->notifieeList()->empty());
    EXPECT_EQ(source->references(), 1u);
    EXPECT_TRUE(tape.source->isRegisteredNotifiee());
}

TEST_F(PatternTest, AZombieWithANewNotifierRunsNoHandlerButBringsItsChildrenInLine) {
    source->itemIs(1);
    other->itemIs(2);
    startQuietly();
    tape.source->zelDoZombieReactors(true);
    tape.steps.clear();
    syncer->sourceIs(other);
    expectSteps(steps("ZelSource", {"notifier"}) + itemMade("ZelItem(2)") +
                itemRemoved("ZelItem(1)"));
    expectChildren({2});
}

TEST_F(PatternTest, AReactorThatBecomesAZombieAmidItsHandlersRunsNoMore) {
    startQuietly();
    when("ZelSource revision", [&] { tape.source->zelDoZombieReactors(true); });
    syncer->sourceIs(other);
    expectSteps("ZelSource", {"notifier", "title", "revision", "zombie 1", "active 0"});
}

TEST_F(PatternTest, AReactorThatIsReboundAmidItsHandlersStartsAgainWithTheLatestNotifier) {
    const Ptr<Record> latest(new Record);
    latest->titleIs("latest");
    other->titleIs("passing");
    startQuietly();
    when("ZelSource revision", [&] { syncer->sourceIs(latest); });
    syncer->sourceIs(other);
    expectSteps("ZelSource", {"notifier", "title", "revision", "notifier", "title", "revision",
                              "valid", "the mode"});
    EXPECT_EQ(syncer->source(), latest);
    EXPECT_EQ(destination->title(), "latest");
}

TEST_F(PatternTest, AReactorThatIsReboundAmidItsChildrenEndsWithThoseOfTheLatestNotifier) {
    const Ptr<Record> latest(new Record);
    for (const unsigned key : {1u, 2u, 3u})
        other->itemIs(key);
    for (const unsigned key : {2u, 4u})
        latest->itemIs(key);
    startQuietly();
    when("ZelItem(2) construct", [&] { syncer->sourceIs(latest); });
    syncer->sourceIs(other);
    EXPECT_EQ(syncer->source(), latest);
    expectChildren({2, 4});
}

TEST_F(PatternTest, AReactorThatAnotherHasComeBeforeIsLetGo) {
    startQuietly();
    Ptr<Item::NotifieeConst> made;
    Ptr<ItemSyncer::ZelItem> first;
    when("ZelItem(1) handleInitialized", [&] {
        made = Ptr(tape.item);
        first = syncer->itemIs(source->item(1));
    });
    source->itemIs(1);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(syncer->item(1), first);
    EXPECT_NE(made.ptr(), first.ptr());
    EXPECT_TRUE(made->zelMarkedForDeletion());
    EXPECT_FALSE(made->hasNotificationActive());
    EXPECT_EQ(static_cast<ItemSyncer::ZelItem&>(*made).owner(), nullptr);
    EXPECT_FALSE(first->zelMarkedForDeletion());
}

TEST_F(PatternTest, ANullNotifierUnbindsAndRunsNothing) {
    source->itemIs(1);
    startQuietly();
    syncer->sourceIs(nullptr);
    expectSteps("ZelSource", {"notifier null"});
    EXPECT_EQ(syncer->source(), nullptr);
    EXPECT_NE(tape.source, nullptr) << "the reactor stays";
    EXPECT_NE(syncer->item(1), nullptr);
    EXPECT_EQ(source->references(), 1u);
    source->titleIs("unheard");
    expectNoSteps();
    syncer->sourceIs(source);
    expectSteps("ZelSource", {"notifier", "title", "revision", "valid", "the mode"});
}

TEST_F(PatternTest, ANotifierOfAnotherClassIsRefusedWithNothingChanged) {
    source->itemIs(1);
    startQuietly();
    EXPECT_EQ(textOfRangeException([&] { tape.source->notifierIs(Ptr(new Group("g"))); }),
              "a reactor on Toy::Record cannot watch a Toy::Group");
    EXPECT_EQ(syncer->source(), source);
    expectSteps("ZelSource", {"notifier"});
    source->titleIs("title");
    expectSteps("ZelSource", {"title"});
}

TEST_F(PatternTest, AHandlerThatSeveralAttributesShareRunsOnceForANewNotifier) {
    const auto revisions = Zel::newActive<RevisionSyncer>("r", source, destination);
    other->titleIs("other");
    other->revisionIs(2);
    Log log;
    const auto reactor = watch(destination, "a", log);
    revisions->sourceIs(other);
    EXPECT_EQ(log, logOf({{"a", 258, "-"}, {"a", 259, "-"}}));
    EXPECT_EQ(destination->title(), "other");
    EXPECT_EQ(destination->revision(), 2u);
}

TEST_F(PatternTest, ANewNotifierOfAChildWithChildrenBringsThoseInLine) {
    source->groupIs("g")->itemIs(1);
    const Ptr<Group> replacement(new Group("g"));
    replacement->itemIs(2);
    replacement->levelIs(5);
    startGroups();
    const auto child = groups->group("g");
    source->groupMemberIs(replacement);
    EXPECT_EQ(groups->group("g"), child);
    EXPECT_EQ(child->watched(), replacement.ptr());
    EXPECT_EQ(child->item(1), nullptr);
    ASSERT_NE(child->item(2), nullptr);
    EXPECT_EQ(child->item(2)->watched(), replacement->item(2).ptr());
    EXPECT_EQ(destination->group("g")->level(), 5u);
}

// The child mutator

TEST_F(PatternTest, ANullElementIsRefusedWithNothingChanged) {
    source->itemIs(1);
    source->groupIs("g");
    startGroups();
    startQuietly();
    EXPECT_EQ(textOfRangeException([&] { syncer->itemIs(nullptr); }),
              R"(null _item parameter to mutator for Toy::ItemSyncer::item not allowed")");
    EXPECT_EQ(textOfRangeException([&] { groups->children().is(*groups, nullptr); }),
              R"(null _group parameter to mutator for Toy::GroupSyncer::group not allowed")");
    const auto group = groups->group("g");
    EXPECT_EQ(
        textOfRangeException([&] { group->children().is(*group, nullptr); }),
        R"(null _item parameter to mutator for Toy::GroupSyncer::ZelGroup::item not allowed")");
    expectNoSteps();
    expectChildren({1});
    EXPECT_EQ(group->children().map().members(), 0u);
}

TEST_F(PatternTest, TheElementThatTheChildWatchesAlreadyChangesNothing) {
    const Ptr<Item> item = source->itemIs(1);
    startQuietly();
    const auto child = syncer->item(1);
    EXPECT_EQ(syncer->itemIs(item), child);
    expectNoSteps();
    EXPECT_EQ(child->references(), 2u);
    EXPECT_EQ(ItemSyncer::ZelItem::_zelType.allocations().liveCount(), 1u);
}

TEST_F(PatternTest, AnotherElementUnderTheKeyRebindsTheChildAndMakesNone) {
    source->itemIs(1);
    startQuietly();
    const auto child = syncer->item(1);
    const Ptr<Item> replacement(new Item(1));
    replacement->countIs(6);
    EXPECT_EQ(syncer->itemIs(replacement), child);
    expectSteps(steps("ZelItem(1)", {"notifier"}) + itemHandlers("ZelItem(1)") +
                steps("ZelItem(1)", {"zombie 0"}));
    EXPECT_EQ(syncer->item(1), child);
    EXPECT_EQ(child->watched(), replacement.ptr());
    EXPECT_EQ(destination->item(1)->count(), 6u);
    EXPECT_EQ(ItemSyncer::ZelItem::_zelType.allocations().liveCount(), 1u);
}

TEST_F(PatternTest, ANewChildIsConstructedSwitchedOnAndThenInserted) {
    startQuietly();
    const Ptr<Item> item(new Item(3));
    bool insertedWhenSwitchedOn = true;
    bool insertedAtLast = false;
    tape.at = [&](std::string const& step) {
        if (step == "ZelItem(3) active 1")
            insertedWhenSwitchedOn = syncer->item(3) != nullptr;
        if (step == "ZelItem(3) zombie 0")
            insertedAtLast = syncer->item(3) != nullptr;
    };
    const auto child = syncer->itemIs(item);
    expectSteps(itemMade("ZelItem(3)"));
    EXPECT_FALSE(insertedWhenSwitchedOn);
    EXPECT_TRUE(insertedAtLast);
    EXPECT_EQ(syncer->item(3), child);
    EXPECT_EQ(child->references(), 2u) << "the collection's, and the test's";
    EXPECT_TRUE(child->hasNotificationActive());
    EXPECT_EQ(child->owner(), syncer.ptr());
}

TEST_F(PatternTest, AChildMadeUnderAZombieIsAZombieAtOnceAndRunsNoHandler) {
    startQuietly();
    destination->itemIs(3)->countIs(77);
    syncer->zelDoZombieReactors(true);
    const Ptr<Item> item(new Item(3));
    item->countIs(5);
    tape.steps.clear();
    const auto child = syncer->itemIs(item);
    expectSteps("ZelItem(3)", {"construct", "active 1", "zombie 1", "active 0"});
    EXPECT_EQ(destination->item(3)->count(), 77u);
    EXPECT_TRUE(child->zelMarkedForDeletion());
    EXPECT_FALSE(child->hasNotificationActive());
    tape.steps.clear();
    item->countIs(4);
    expectNoSteps();
    const ItemId key = 3;
    child->onAttribute(259, nullptr); // not even when it is called
    child->onAttribute(258, &key);
    expectNoSteps();
}

TEST_F(PatternTest, TheChildrenOfAChildMadeUnderAZombieRunNoHandlerEither) {
    startGroups();
    const Ptr<Item> written = destination->groupIs("g")->itemIs(1);
    written->countIs(77);
    const Ptr<Group> group(new Group(Zel::Name("g")));
    const Ptr<Item> item = group->itemIs(1);
    item->countIs(5);
    groups->zelDoZombieReactors(true);
    tape.steps.clear();
    const auto child = groups->children().is(*groups, group);
    EXPECT_EQ(written->count(), 77u);
    EXPECT_EQ(std::ranges::count(tape.steps, "ZelGroup(g) handleInitialized"), 0);
    EXPECT_EQ(std::ranges::count(tape.steps, "ZelItem(1) handleInitialized"), 0);
    ASSERT_NE(child->item(1), nullptr);
    EXPECT_TRUE(child->item(1)->zelMarkedForDeletion());
    item->countIs(6);
    EXPECT_EQ(written->count(), 77u);
    groups->zelDoZombieReactors(false);
    item->countIs(7);
    EXPECT_EQ(written->count(), 7u) << "the tree is whole, and followed when it comes back";
}

TEST_F(PatternTest, AChildReboundUnderAZombieIsAZombieToo) {
    source->itemIs(3);
    startQuietly();
    syncer->zelMarkedForDeletionIs(true); // the owner only
    const auto child = syncer->itemIs(Ptr(new Item(3)));
    EXPECT_TRUE(child->zelMarkedForDeletion());
    EXPECT_FALSE(child->hasNotificationActive());
}

TEST_F(PatternTest, AChildThatIsRemovedWhileItIsReboundStaysRemoved) {
    source->itemIs(1);
    startQuietly();
    const auto child = syncer->item(1);
    const Ptr<Item> replacement(new Item(1));
    when("ZelItem(1) count", [&] { source->itemDel(1); });
    source->itemMemberIs(replacement);
    EXPECT_EQ(syncer->item(1), nullptr);
    EXPECT_EQ(child->owner(), nullptr);
    EXPECT_TRUE(child->zelMarkedForDeletion());
    EXPECT_FALSE(child->hasNotificationActive());
    tape.steps.clear();
    replacement->countIs(2);
    expectNoSteps();
}

TEST_F(PatternTest, AChildThatIsMadeWhileAnotherIsMadeUnderItsKeyIsTheOneThatStays) {
    startQuietly();
    const Ptr<Item> item(new Item(1));
    Ptr<ItemSyncer::ZelItem> inner;
    when("ZelItem(1) count", [&] { inner = syncer->itemIs(item); });
    EXPECT_EQ(syncer->itemIs(item), inner);
    EXPECT_EQ(syncer->item(1), inner);
    EXPECT_TRUE(inner->hasNotificationActive());
    EXPECT_EQ(ItemSyncer::ZelItem::_zelType.allocations().liveCount(), 1u);
}

TEST_F(PatternTest, AChildThatIsMadeInVainAndHeldElsewhereIsAZombieWithoutAnOwner) {
    startQuietly();
    const Ptr<Item> item(new Item(1));
    Ptr<Item::NotifieeConst> inVain;
    when("ZelItem(1) count", [&] {
        inVain = Ptr<Item::NotifieeConst>(tape.item);
        syncer->itemIs(item);
    });
    const auto stayed = syncer->itemIs(item);
    ASSERT_NE(inVain, nullptr);
    EXPECT_NE(stayed, inVain);
    EXPECT_EQ(static_cast<ItemSyncer::ZelItem&>(*inVain).owner(), nullptr);
    EXPECT_TRUE(inVain->zelMarkedForDeletion());
    tape.steps.clear();
    item->countIs(3);
    EXPECT_EQ(tape.rewind(), steps("ZelItem(1)", {"count"})) << "the one that stayed";
}

TEST_F(PatternTest, ARootMayBeDroppedByTheChildThatItIsAskedFor) {
    startQuietly();
    ItemSyncer* const root = syncer.ptr();
    const Ptr<Item> item(new Item(1));
    when("ZelItem(1) count", [&] { syncer = nullptr; });
    const auto child = root->itemIs(item);
    EXPECT_EQ(ItemSyncer::_zelType.allocations().liveCount(), 0u);
    EXPECT_EQ(child->owner(), nullptr);
    EXPECT_TRUE(child->zelMarkedForDeletion());
}

TEST_F(PatternTest, ARootMayBeDroppedWhileItsChildrenAreBroughtInLine) {
    startQuietly();
    ItemSyncer* const root = syncer.ptr();
    for (const unsigned key : {1u, 2u, 3u})
        other->itemIs(key);
    when("ZelItem(2) count", [&] { syncer = nullptr; });
    root->children().resync(*root, Ptr<Record const>(other));
    EXPECT_EQ(ItemSyncer::_zelType.allocations().liveCount(), 0u);
    EXPECT_EQ(ItemSyncer::ZelItem::_zelType.allocations().liveCount(), 0u);
    EXPECT_TRUE(other->item(3)->notifieeList()->empty());
}

// Names in use

TEST_F(PatternTest, ANamedSyncerIsMadeOnceForEqualParameters) {
    const Ptr<SyncerSet> set(new SyncerSet);
    const auto first = set->syncerIs("r", source, destination);
    EXPECT_EQ(set->syncerIs("r", source, destination), first);
    EXPECT_NE(set->syncerIs("s", source, destination), first);
    EXPECT_EQ(set->syncers().map().members(), 2u);
    source->revisionIs(5);
    EXPECT_EQ(destination->revision(), 5u);
}

TEST_F(PatternTest, ANamedSyncerIsNotMadeAgainForAnotherParameter) {
    const Ptr<SyncerSet> set(new SyncerSet);
    const auto first = set->syncerIs("r", source, destination);
    const auto textOf = [](auto const& action) -> std::string {
        try {
            action();
        } catch (Zel::NameInUseException const& exception) {
            return exception.what();
        }
        return "no exception";
    };
    const auto printed = [](Record const* record, std::type_info const& type) {
        return std::string(Zel::valueToStrepOfRawPtr(record, type).view());
    };
    const std::string begin =
        "Reinstantiating the pointer interface where constructor parameter attribute ";
    EXPECT_EQ(textOf([&] { set->syncerIs("r", other, destination); }),
              begin + "_source has a different value of " + printed(other.ptr(), typeid(Record)) +
                  " than the current value of " + printed(source.ptr(), typeid(Record)) +
                  " not allowed");
    EXPECT_EQ(textOf([&] { set->syncerIs("r", source, other); }),
              begin + "_dest has a different value of " + printed(other.ptr(), typeid(Record)) +
                  " than the current value of " + printed(destination.ptr(), typeid(Record)) +
                  " not allowed");
    EXPECT_EQ(textOf([&] { set->syncerIs("r", nullptr, destination); }),
              begin + "_source has a different value of Toy::Record(null)" +
                  " than the current value of " + printed(source.ptr(), typeid(Record)) +
                  " not allowed");
    EXPECT_EQ(set->syncers().find("r"), first.ptr());
    EXPECT_EQ(first->source(), source);
    EXPECT_EQ(first->destination(), destination);
    EXPECT_EQ(RevisionSyncer::_zelType.allocations().liveCount(), 1u);
}

TEST_F(PatternTest, ARemovedNamedSyncerRunsNoHandlerAndItsNameIsFree) {
    const Ptr<SyncerSet> set(new SyncerSet);
    const auto first = set->syncerIs("r", source, destination);
    set->syncers().del("r");
    EXPECT_TRUE(first->zelMarkedForDeletion());
    EXPECT_FALSE(first->hasNotificationActive());
    source->revisionIs(5);
    EXPECT_EQ(destination->revision(), 0u);
    EXPECT_NE(set->syncerIs("r", other, destination), first);
}

TEST_F(PatternTest, SyncersAreReleasedWithTheirOwner) {
    Ptr<SyncerSet> set(new SyncerSet);
    for (const char* name : {"a", "b", "c", "d", "e", "f"})
        set->syncerIs(name, source, destination);
    const auto kept = set->syncerIs("c", source, destination);
    EXPECT_EQ(source->notifieeList()->members(), 6u);
    set = nullptr;
    EXPECT_EQ(RevisionSyncer::_zelType.allocations().liveCount(), 1u);
    EXPECT_TRUE(kept->zelMarkedForDeletion()) << "nobody owns it any more";
    source->revisionIs(5);
    EXPECT_EQ(destination->revision(), 0u);
}

TEST_F(PatternTest, AllSyncersCanBeRemovedAndSomeDuringAWalk) {
    const Ptr<SyncerSet> set(new SyncerSet);
    for (const char* name : {"a", "b", "c", "d", "e", "f"})
        set->syncerIs(name, source, destination);
    auto& syncers = set->syncers();
    unsigned walked = 0;
    for (auto at = syncers.begin(); at != syncers.end(); ++at) {
        ++walked;
        if ((*at)->fwkKey() < Zel::Name("d"))
            syncers.del(at);
    }
    EXPECT_EQ(walked, 6u);
    EXPECT_EQ(syncers.map().members(), 3u);
    EXPECT_EQ(RevisionSyncer::_zelType.allocations().liveCount(), 3u);
    EXPECT_EQ(syncers.find("c"), nullptr);
    EXPECT_NE(syncers.find("d"), nullptr);
    syncers.delAll();
    EXPECT_EQ(syncers.map().members(), 0u);
    EXPECT_EQ(RevisionSyncer::_zelType.allocations().liveCount(), 0u);
}

// The child deleter

TEST_F(PatternTest, DeletingAnAbsentChildDoesNothing) {
    source->itemIs(1);
    startQuietly();
    syncer->itemDel(2);
    expectNoSteps();
    expectChildren({1});
}

TEST_F(PatternTest, AChildIsAZombieBeforeItLosesItsOwnerAndItsNotification) {
    source->itemIs(1);
    startQuietly();
    bool inCollection = true;
    when("ZelItem(1) zombie 1", [&] { inCollection = syncer->item(1) != nullptr; });
    syncer->itemDel(1);
    EXPECT_FALSE(inCollection);
    expectSteps(itemRemoved("ZelItem(1)"));
    EXPECT_EQ(keysOf(*destination), Keys{1}) << "the destination is the handler's";
}

TEST_F(PatternTest, ARemovedChildThatIsHeldElsewhereIsAZombieWithoutAnOwner) {
    const Ptr<Item> item = source->itemIs(1);
    startQuietly();
    const auto child = syncer->item(1);
    source->itemDel(1);
    EXPECT_EQ(child->owner(), nullptr);
    EXPECT_TRUE(child->zelMarkedForDeletion());
    EXPECT_FALSE(child->hasNotificationActive());
    EXPECT_EQ(child->references(), 1u);
    EXPECT_EQ(child->watched(), item.ptr()) << "it stays bound";
    tape.steps.clear();
    item->countIs(5);
    expectNoSteps();
}

TEST_F(PatternTest, AChildThatFindsNoPlaceAndIsHeldElsewhereIsAZombieWithoutAnOwner) {
    startGroups(); // without groups: the map of the children has no buckets yet
    Ptr<GroupSyncer::ZelGroup> child;
    std::optional<FailingAllocation> exhausted;
    when("ZelGroup(g) active 1", [&] {
        child = Zel::ptrCast<GroupSyncer::ZelGroup>(Ptr(tape.group));
        exhausted.emplace(1);
    });
    EXPECT_THROW(source->groupIs("g"), std::bad_alloc);
    EXPECT_TRUE(exhausted->happened());
    exhausted.reset();
    ASSERT_TRUE(child);
    EXPECT_EQ(groups->group("g"), nullptr);
    EXPECT_EQ(child->owner(), nullptr);
    EXPECT_TRUE(child->zelMarkedForDeletion());
    EXPECT_FALSE(child->hasNotificationActive());
    EXPECT_EQ(child->references(), 1u);
    groups = nullptr;
    tape.steps.clear();
    source->group("g")->levelIs(5);
    expectNoSteps();
}

TEST_F(PatternTest, AChildThatIsMadeAgainIsAnotherOne) {
    source->itemIs(1);
    startQuietly();
    const auto former = syncer->item(1);
    source->itemDel(1);
    source->itemIs(1);
    EXPECT_NE(syncer->item(1), former);
    EXPECT_EQ(former->owner(), nullptr);
    expectChildren({1});
}

TEST_F(PatternTest, DeletingAllChildrenDeletesEach) {
    for (const unsigned key : {1u, 2u, 3u})
        source->itemIs(key);
    startQuietly();
    const auto kept = syncer->item(2);
    syncer->itemDelAll();
    expectSteps(itemRemoved("ZelItem(1)") +
                steps("ZelItem(2)", {"zombie 1", "active 0", "owner null", "active 0"}) +
                itemRemoved("ZelItem(3)"));
    EXPECT_EQ(syncer->children().map().members(), 0u);
    EXPECT_EQ(kept->owner(), nullptr);
    expectItems(*destination, {1, 2, 3});
    syncer->itemDelAll();
    expectNoSteps();
}

TEST_F(PatternTest, ReleasingTheChildrenReleasesThoseThatAreMadeMeanwhile) {
    for (const unsigned key : {2u, 3u})
        source->itemIs(key);
    const Ptr<Item> behind = other->itemIs(1);
    startQuietly();
    when("ZelItem(3) owner null", [&] { syncer->itemIs(behind); });
    syncer->children().release();
    expectSteps(itemRemoved("ZelItem(2)") +
                steps("ZelItem(3)", {"zombie 1", "active 0", "owner null"}) +
                itemMade("ZelItem(1)") + steps("ZelItem(3)", {"active 0", "destroy"}) +
                itemRemoved("ZelItem(1)"));
    EXPECT_EQ(syncer->children().map().members(), 0u);
    EXPECT_TRUE(behind->notifieeList()->empty());
}

TEST_F(PatternTest, ARemovedChildWithChildrenThatIsHeldElsewhereRunsNoHandlerNorDoTheyBelow) {
    const Ptr<Group> group = source->groupIs("g");
    const Ptr<Item> item = group->itemIs(1);
    startGroups();
    const auto child = groups->group("g");
    source->groupDel("g");
    tape.steps.clear();
    item->countIs(5);
    group->levelIs(6);
    group->itemIs(2);
    expectNoSteps();
    EXPECT_TRUE(child->item(1)->zelMarkedForDeletion());
    EXPECT_EQ(child->item(1)->owner(), child.ptr());
    EXPECT_EQ(child->owner(), nullptr);
}

// Switching notification

TEST_F(PatternTest, ARootSwitchesItsWholeTree) {
    const Ptr<Item> item = source->itemIs(1);
    startQuietly();
    syncer->hasNotificationActiveIs(false);
    expectSteps(steps("ItemSyncer", {"active 0"}) + steps("ZelSource", {"active 0"}) +
                steps("ZelItem(1)", {"active 0"}));
    EXPECT_FALSE(syncer->hasNotificationActive());
    EXPECT_FALSE(tape.source->hasNotificationActive());
    EXPECT_FALSE(syncer->item(1)->hasNotificationActive());
    EXPECT_FALSE(syncer->zelMarkedForDeletion());
    source->titleIs("unheard");
    item->countIs(1);
    source->itemIs(2);
    expectNoSteps();
    syncer->hasNotificationActiveIs(true);
    expectSteps(steps("ItemSyncer", {"active 1"}) + steps("ZelSource", {"active 1"}) +
                steps("ZelItem(1)", {"active 1"}));
    source->titleIs("heard");
    EXPECT_EQ(destination->title(), "heard");
}

TEST_F(PatternTest, SwitchingToWhatIsSetAlreadyIsNotPassedOn) {
    source->itemIs(1);
    startQuietly();
    syncer->item(1)->hasNotificationActiveIs(false);
    tape.source->hasNotificationActiveIs(false);
    tape.steps.clear();
    syncer->hasNotificationActiveIs(true); // it is
    expectSteps("ItemSyncer", {"active 1"});
    EXPECT_FALSE(syncer->item(1)->hasNotificationActive());
    EXPECT_FALSE(tape.source->hasNotificationActive());
}

TEST_F(PatternTest, ARootWithoutASourceOrWithoutChildrenCanBeSwitched) {
    syncer = itemSyncerFactory(nullptr, destination, &tape);
    syncer->hasNotificationActiveIs(false);
    EXPECT_FALSE(syncer->hasNotificationActive());
    const auto revisions = Zel::newActive<RevisionSyncer>("r", source, destination);
    revisions->hasNotificationActiveIs(false);
    source->revisionIs(3);
    EXPECT_EQ(destination->revision(), 0u);
    revisions->hasNotificationActiveIs(true);
    source->revisionIs(4);
    EXPECT_EQ(destination->revision(), 4u);
}

TEST_F(PatternTest, AReactorSwitchesItsOwnChildrenToo) {
    source->groupIs("g")->itemIs(1);
    startGroups();
    groups->hasNotificationActiveIs(false);
    EXPECT_FALSE(groups->group("g")->hasNotificationActive());
    EXPECT_FALSE(groups->group("g")->item(1)->hasNotificationActive());
    groups->hasNotificationActiveIs(true);
    EXPECT_TRUE(groups->group("g")->item(1)->hasNotificationActive());
    source->group("g")->item(1)->countIs(3);
    EXPECT_EQ(destination->group("g")->item(1)->count(), 3u);
}

// Zombies

TEST_F(PatternTest, ARootBecomesAZombieWithItsWholeTree) {
    const Ptr<Item> item = source->itemIs(1);
    startQuietly();
    bool markedLast = false;
    when("ZelItem(1) active 0", [&] { markedLast = !syncer->zelMarkedForDeletion(); });
    syncer->zelDoZombieReactors(true);
    expectSteps(steps("ItemSyncer", {"zombie 1"}) + steps("ZelSource", {"zombie 1", "active 0"}) +
                steps("ZelItem(1)", {"zombie 1", "active 0"}));
    EXPECT_TRUE(markedLast);
    EXPECT_TRUE(syncer->zelMarkedForDeletion());
    EXPECT_TRUE(tape.source->zelMarkedForDeletion());
    EXPECT_TRUE(syncer->item(1)->zelMarkedForDeletion());
    source->titleIs("unheard");
    item->countIs(1);
    source->itemIs(2);
    source->tallyIs(2, 2);
    expectNoSteps();
    EXPECT_EQ(syncer->source(), source) << "a zombie lives on, bound";
}

TEST_F(PatternTest, BecomingWhatItIsAlreadyIsNotPassedOn) {
    source->itemIs(1);
    startQuietly();
    syncer->item(1)->zelDoZombieReactors(true);
    tape.steps.clear();
    syncer->zelDoZombieReactors(false); // it is none
    expectSteps("ItemSyncer", {"zombie 0"});
    EXPECT_TRUE(syncer->item(1)->zelMarkedForDeletion());
    syncer->zelDoZombieReactors(true);
    syncer->item(1)->zelDoZombieReactors(false);
    tape.steps.clear();
    syncer->zelDoZombieReactors(true); // it is one
    expectSteps("ItemSyncer", {"zombie 1"});
    EXPECT_FALSE(syncer->item(1)->zelMarkedForDeletion());
}

TEST_F(PatternTest, AReactorThatBecomesWhatItIsAlreadyDoesNotPassItOn) {
    source->groupIs("g")->itemIs(1);
    startGroups();
    const auto group = groups->group("g");
    group->item(1)->zelDoZombieReactors(true);
    group->zelDoZombieReactors(false); // it is none
    EXPECT_TRUE(group->item(1)->zelMarkedForDeletion());
    group->zelDoZombieReactors(true);
    group->item(1)->zelDoZombieReactors(false);
    group->zelDoZombieReactors(true); // it is one
    EXPECT_FALSE(group->item(1)->zelMarkedForDeletion());
    group->item(1)->hasNotificationActiveIs(true);
    group->hasNotificationActiveIs(false); // it is
    EXPECT_TRUE(group->item(1)->hasNotificationActive());
}

TEST_F(PatternTest, AZombieTreeCanComeBack) {
    const Ptr<Item> item = source->itemIs(1);
    startQuietly();
    syncer->zelDoZombieReactors(true);
    syncer->zelDoZombieReactors(false);
    EXPECT_FALSE(syncer->zelMarkedForDeletion());
    source->titleIs("heard");
    item->countIs(2);
    EXPECT_EQ(destination->title(), "heard");
    EXPECT_EQ(destination->item(1)->count(), 2u);
}

TEST_F(PatternTest, AnUnboundReactorThatBecomesAZombieKeepsItsNotificationFlag) {
    startQuietly();
    syncer->sourceIs(nullptr);
    syncer->zelDoZombieReactors(true);
    EXPECT_TRUE(tape.source->zelMarkedForDeletion());
    EXPECT_TRUE(tape.source->hasNotificationActive());
}

TEST_F(PatternTest, AZombieReactorWithChildrenTurnsThemIntoZombies) {
    const Ptr<Item> item = source->groupIs("g")->itemIs(1);
    startGroups();
    const auto group = groups->group("g");
    groups->zelDoZombieReactors(true);
    EXPECT_TRUE(group->zelMarkedForDeletion());
    EXPECT_TRUE(group->item(1)->zelMarkedForDeletion());
    tape.steps.clear();
    item->countIs(1);
    source->group("g")->itemIs(2);
    expectNoSteps();
    groups->zelDoZombieReactors(false);
    item->countIs(2);
    EXPECT_EQ(tape.rewind().back(), "ZelItem(1) count");
}

// The end of a syncer

TEST_F(PatternTest, ARootIsTornDownAsAZombieItsChildrenBeforeItsSource) {
    source->itemIs(1);
    source->itemIs(2);
    startQuietly();
    syncer = nullptr;
    const Steps taken = tape.rewind();
    // First all become zombies, then the children go, then the reactor on the source.
    const auto first = [&](std::string const& step) {
        return std::find(taken.begin(), taken.end(), step) - taken.begin();
    };
    const Steps order = {"ItemSyncer destroy",  "ItemSyncer zombie 1", "ZelSource zombie 1",
                         "ZelItem(1) zombie 1", "ZelItem(2) zombie 1", "ZelItem(1) destroy",
                         "ZelItem(2) destroy",  "ZelSource destroy"};
    for (std::size_t i = 0; i + 1 < order.size(); ++i)
        EXPECT_LT(first(order[i]), first(order[i + 1])) << order[i];
    for (std::string const& step : order)
        EXPECT_EQ(std::count(taken.begin(), taken.end(), step) > 0, true) << step;
    for (const char* who : {"ZelItem(1)", "ZelItem(2)", "ZelSource", "ItemSyncer"})
        EXPECT_EQ(std::count(taken.begin(), taken.end(), std::string(who) + " destroy"), 1) << who;
}

TEST_F(PatternTest, TheReactorOnTheSourceGoesBeforeTheStoredParameters) {
    startQuietly();
    std::size_t records = 0;
    destination = nullptr; // held by the syncer only
    when("ZelSource destroy", [&] { records = Record::_zelType.allocations().liveCount(); });
    syncer = nullptr;
    EXPECT_EQ(records, 3u) << "the destination still lives then";
    EXPECT_EQ(Record::_zelType.allocations().liveCount(), 2u);
}

TEST_F(PatternTest, TheEndOfARootLeavesTheDestinationAsItIs) {
    source->titleIs("title");
    source->itemIs(1)->countIs(4);
    start();
    syncer = nullptr;
    EXPECT_EQ(destination->title(), "title");
    EXPECT_EQ(destination->item(1)->count(), 4u);
    EXPECT_EQ(destination->references(), 1u);
}

TEST_F(PatternTest, TheEndOfARootLeavesNothingBoundToTheSource) {
    const Ptr<Item> item = source->itemIs(1);
    start();
    syncer = nullptr;
    EXPECT_TRUE(source->notifieeList()->empty());
    EXPECT_TRUE(item->notifieeList()->empty());
    EXPECT_EQ(source->references(), 1u);
    tape.steps.clear();
    source->titleIs("unheard");
    item->countIs(1);
    expectNoSteps();
}

TEST_F(PatternTest, AChildThatOutlivesItsRootIsAZombieWithoutAnOwner) {
    const Ptr<Item> item = source->itemIs(1);
    start();
    const auto child = syncer->item(1);
    syncer = nullptr;
    EXPECT_EQ(child->owner(), nullptr);
    EXPECT_TRUE(child->zelMarkedForDeletion());
    tape.steps.clear();
    item->countIs(2);
    expectNoSteps();
}

TEST_F(PatternTest, AReactorWithChildrenThatOutlivesItsRootKeepsThemAsZombies) {
    const Ptr<Item> item = source->groupIs("g")->itemIs(1);
    startGroups();
    Ptr<GroupSyncer::ZelGroup> group = groups->group("g");
    groups = nullptr;
    EXPECT_EQ(group->owner(), nullptr);
    EXPECT_EQ(group->item(1)->owner(), group.ptr());
    tape.steps.clear();
    item->countIs(2);
    source->group("g")->itemIs(2);
    expectNoSteps();
    const auto child = group->item(1);
    group = nullptr;
    EXPECT_EQ(child->owner(), nullptr);
}

TEST_F(PatternTest, AReactorOnTheSourceThatOutlivesItsRootHasNoOwner) {
    source->itemIs(1);
    start();
    const Ptr<Record::NotifieeConst> reactor(tape.source);
    syncer = nullptr;
    EXPECT_EQ(static_cast<ItemSyncer::ZelSource&>(*reactor).owner(), nullptr);
    EXPECT_TRUE(reactor->zelMarkedForDeletion());
    tape.steps.clear();
    source->titleIs("unheard");
    source->itemIs(2);
    expectNoSteps();
}

TEST_F(PatternTest, AReactorWithoutAnOwnerIsOfAZombieWhenItIsOneItself) {
    start();
    const Ptr<Record::NotifieeConst> held(tape.source);
    auto& reactor = static_cast<ItemSyncer::ZelSource&>(*held);
    EXPECT_FALSE(reactor.isOfZombie());
    syncer = nullptr;
    EXPECT_TRUE(reactor.isOfZombie());
    reactor.zelDoZombieReactors(false);
    EXPECT_FALSE(reactor.isOfZombie());
}

TEST_F(PatternTest, ADestructorThatChangesTheSourceDisturbsNothing) {
    source->itemIs(1);
    source->itemIs(2);
    start();
    when("ZelItem(1) destroy", [&] {
        source->titleIs("late");
        source->itemIs(3);
        source->itemDel(2);
    });
    syncer = nullptr;
    EXPECT_TRUE(source->notifieeList()->empty());
    EXPECT_EQ(ItemSyncer::ZelItem::_zelType.allocations().liveCount(), 0u);
}

TEST_F(PatternDeathTest, WhatADestructorThrowsEndsTheProcess) {
    source->itemIs(1);
    start();
    EXPECT_EXIT(
        {
            when("ZelItem(1) zombie 1", [] { throw std::runtime_error("refused"); });
            syncer = nullptr;
        },
        ::testing::KilledBySignal(SIGABRT), "^terminate called");
}

// Another source

TEST_F(PatternTest, ASourceGivenToAZombieIsNotHeard) {
    syncer = itemSyncerFactory(nullptr, destination, &tape);
    syncer->zelDoZombieReactors(true);
    syncer->sourceIs(source);
    source->titleIs("heard");
    EXPECT_EQ(destination->title(), "");
    syncer->zelDoZombieReactors(false);
    source->titleIs("heard again");
    EXPECT_EQ(destination->title(), "heard again");
}

TEST_F(PatternTest, ASourceIsGivenToARootWithoutOne) {
    syncer = itemSyncerFactory(nullptr, destination, &tape);
    tape.steps.clear();
    syncer->sourceIs(source);
    expectSteps("ZelSource", {"construct", "active 1"});
    EXPECT_EQ(syncer->source(), source);
    source->titleIs("heard");
    source->itemIs(1);
    EXPECT_EQ(destination->title(), "heard");
    expectChildren({1});
}

TEST_F(PatternTest, ASourceThatThereIsIsBoundAnewByTheSameReactor) {
    start();
    Record::NotifieeConst* const reactor = tape.source;
    syncer->sourceIs(other);
    EXPECT_EQ(tape.source, reactor);
    EXPECT_EQ(reactor->notifier(), other);
}

TEST_F(PatternTest, RemovingTheSourceRemovesItsReactorAndLeavesChildrenAndDestination) {
    source->titleIs("title");
    const Ptr<Item> item = source->itemIs(1);
    startQuietly();
    syncer->sourceDel();
    expectSteps("ZelSource", {"zombie 1", "active 0", "owner null", "active 0", "destroy"});
    EXPECT_EQ(syncer->source(), nullptr);
    EXPECT_EQ(tape.source, nullptr);
    EXPECT_TRUE(source->notifieeList()->empty());
    EXPECT_EQ(destination->title(), "title");
    source->titleIs("unheard");
    source->itemIs(2);
    expectNoSteps();
    item->countIs(3);
    EXPECT_EQ(tape.rewind(), steps("ZelItem(1)", {"count"})) << "the children stay as they are";
    syncer->sourceDel();
    expectNoSteps();
}

TEST_F(PatternTest, ARemovedSourceReactorThatIsHeldElsewhereIsAZombieWithoutAnOwner) {
    startQuietly();
    const Ptr<Record::NotifieeConst> reactor(tape.source);
    syncer->sourceDel();
    EXPECT_EQ(static_cast<ItemSyncer::ZelSource&>(*reactor).owner(), nullptr);
    EXPECT_TRUE(reactor->zelMarkedForDeletion());
    tape.steps.clear();
    source->titleIs("unheard");
    expectNoSteps();
}

TEST_F(PatternTest, ASourceCanBeGivenAgainAfterItsRemoval) {
    source->itemIs(1);
    start();
    syncer->sourceDel();
    syncer->sourceIs(other);
    EXPECT_EQ(syncer->source(), other);
    tape.steps.clear();
    other->titleIs("heard");
    expectSteps("ZelSource", {"title"});
}

TEST_F(PatternTest, ASourceGivenAfterTheRemovalOfAnotherLeavesTheChildrenWhereTheyAre) {
    const Ptr<Item> former = source->itemIs(1);
    source->itemIs(2);
    other->itemIs(1)->countIs(11);
    other->itemIs(3)->countIs(13);
    other->titleIs("other");
    startQuietly();
    const auto child = syncer->item(1);
    syncer->sourceDel();
    tape.steps.clear();
    syncer->sourceIs(other);
    EXPECT_EQ(tape.rewind(), steps("ZelSource", {"construct", "active 1"})) << "no handler";
    EXPECT_EQ(destination->title(), "");
    EXPECT_EQ(syncer->item(1), child);
    EXPECT_EQ(child->watched(), former.ptr());
    EXPECT_EQ(syncer->item(2)->watched(), source->item(2).ptr());
    EXPECT_EQ(syncer->item(3), nullptr);
    expectItems(*destination, {1, 2});

    former->countIs(5);
    EXPECT_EQ(tape.rewind(), steps("ZelItem(1)", {"count"})) << "once";
    EXPECT_EQ(destination->item(1)->count(), 5u);
    other->item(1)->countIs(12);
    other->item(3)->countIs(14);
    source->titleIs("unheard");
    source->itemDel(2);
    expectNoSteps();
    EXPECT_EQ(destination->item(1)->count(), 5u);
}

TEST_F(PatternTest, AChildOfARemovedSourceIsReboundOnceTheNewOneReportsItsKey) {
    const Ptr<Item> former = source->itemIs(1);
    const Ptr<Item> now = other->itemIs(1);
    startQuietly();
    const auto child = syncer->item(1);
    syncer->sourceDel();
    syncer->sourceIs(other);
    tape.steps.clear();
    const ItemId key = 1;
    other->notify(261, &key);
    expectSteps(steps("ZelSource", {"item 1"}) + steps("ZelItem(1)", {"notifier"}) +
                itemHandlers("ZelItem(1)") + steps("ZelItem(1)", {"zombie 0"}));
    EXPECT_EQ(syncer->item(1), child);
    EXPECT_EQ(child->watched(), now.ptr());
    EXPECT_TRUE(former->notifieeList()->empty());
    former->countIs(5);
    expectNoSteps();
    now->countIs(6);
    EXPECT_EQ(tape.rewind(), steps("ZelItem(1)", {"count"})) << "once";
    other->itemDel(1);
    expectSteps(steps("ZelSource", {"item 1"}) +
                steps("ZelItem(1)", {"zombie 1", "active 0", "owner null", "active 0"}));
    EXPECT_EQ(syncer->item(1), nullptr);
}

TEST_F(PatternTest, ChildrenOfARemovedSourceAreInLineAgainWithTheNextSourceThatIsBoundAnew) {
    const Ptr<Item> former = source->itemIs(1);
    source->itemIs(2);
    const Ptr<Record> latest(new Record);
    latest->itemIs(1)->countIs(21);
    latest->itemIs(3);
    startQuietly();
    syncer->sourceDel();
    syncer->sourceIs(other);
    tape.steps.clear();
    syncer->sourceIs(latest);
    expectSteps(steps("ZelSource", {"notifier", "title", "revision", "valid", "the mode"}) +
                steps("ZelItem(1)", {"notifier"}) + itemHandlers("ZelItem(1)") +
                steps("ZelItem(1)", {"zombie 0"}) + itemMade("ZelItem(3)") +
                itemRemoved("ZelItem(2)"));
    expectChildren({1, 3});
    EXPECT_EQ(destination->item(1)->count(), 21u);
    former->countIs(5);
    expectNoSteps();
}

TEST_F(PatternTest, ASourceCanBeReplacedTogetherWithItsReactor) {
    source->itemIs(1);
    startQuietly();
    syncer->sourceReplace(source);
    EXPECT_EQ(tape.rewind(), Steps()) << "it is the same";
    syncer->sourceReplace(other);
    expectSteps("ZelSource", {"construct", "active 1", "zombie 1", "active 0", "owner null",
                              "active 0", "destroy"});
    EXPECT_EQ(syncer->source(), other);
    syncer->sourceReplace(nullptr);
    EXPECT_EQ(syncer->source(), nullptr);
    EXPECT_EQ(tape.source, nullptr);
}

TEST_F(PatternTest, ASourceMayBeGivenByTheReferenceThatDiesWithTheFormerOne) {
    start();
    Ptr<Record const> next = other;
    when("ZelSource title", [&] { next = nullptr; });
    syncer->sourceIs(next);
    EXPECT_EQ(syncer->source(), other);
    next = source;
    when("ZelSource destroy", [&] { next = nullptr; });
    syncer->sourceReplace(next);
    EXPECT_EQ(syncer->source(), source);
}

// Exceptions

TEST_F(PatternTest, WhatAHandlerThrowsLeavesTheMutatorAfterTheStore) {
    source->itemIs(1);
    startQuietly();
    when("ZelSource title", [] { throw std::runtime_error("refused"); });
    EXPECT_THROW(source->titleIs("title"), std::runtime_error);
    EXPECT_EQ(source->title(), "title");
    EXPECT_TRUE(destination->title().empty());
    source->titleIs("again");
    EXPECT_EQ(destination->title(), "again");
}

TEST_F(PatternTest, AnElementWhoseHandlerThrowsGetsItsChildWithTheNextNotice) {
    startQuietly();
    when("ZelSource item 1", [] { throw std::runtime_error("refused"); });
    EXPECT_THROW(source->itemIs(1), std::runtime_error);
    EXPECT_NE(source->item(1), nullptr);
    EXPECT_EQ(syncer->item(1), nullptr);
    const ItemId key = 1;
    source->notify(261, &key);
    expectChildren({1});
    expectItems(*destination, {1});
}

TEST_F(PatternTest, AChildWhoseConstructionThrowsIsReleased) {
    startQuietly();
    for (const char* step : {"ZelItem(1) construct", "ZelItem(1) handleInitialized",
                             "ZelItem(1) total", "ZelItem(1) active 1"}) {
        when(step, [] { throw std::runtime_error("refused"); });
        EXPECT_THROW(source->itemIs(1), std::runtime_error);
        EXPECT_EQ(syncer->item(1), nullptr) << step;
        EXPECT_EQ(ItemSyncer::ZelItem::_zelType.allocations().liveCount(), 0u) << step;
        EXPECT_TRUE(source->item(1)->notifieeList()->empty()) << step;
        source->itemDel(1);
        EXPECT_EQ(keysOf(*destination), Keys()) << step;
    }
    source->itemIs(1);
    expectChildren({1});
}

TEST_F(PatternTest, AChildWhoseRebindingThrowsWatchesTheNewElement) {
    source->itemIs(1);
    startQuietly();
    const Ptr<Item> replacement(new Item(1));
    when("ZelItem(1) label", [] { throw std::runtime_error("refused"); });
    EXPECT_THROW(source->itemMemberIs(replacement), std::runtime_error);
    expectChildren({1});
    EXPECT_TRUE(syncer->item(1)->isRegisteredNotifiee());
    replacement->countIs(7);
    EXPECT_EQ(destination->item(1)->count(), 7u);
}

TEST_F(PatternTest, AReactorThatIsBehindStaysSoWhenItRefusesAnObjectOfAnotherClass) {
    const Ptr<Item> item = source->itemIs(1);
    startQuietly();
    const Ptr<Item> replacement(new Item(1));
    replacement->labelIs("new");
    when("ZelItem(1) label", [] { throw std::runtime_error("refused"); });
    EXPECT_THROW(source->itemMemberIs(replacement), std::runtime_error);
    const auto reactor = syncer->item(1);
    EXPECT_THROW(reactor->notifierIs(Ptr(new Group("g"))), Zel::RangeException);
    destination->item(1)->labelIs("");
    reactor->notifierIs(replacement);
    EXPECT_EQ(destination->item(1)->label(), "new");
    destination->item(1)->labelIs("");
    reactor->notifierIs(replacement);
    EXPECT_EQ(destination->item(1)->label(), "") << "it is in line, and nothing is to be done";
}

TEST_F(PatternTest, ARootWhoseChildThrowsIsReleasedWithAllThatWasBuilt) {
    for (const unsigned key : {1u, 2u, 3u})
        source->itemIs(key);
    when("ZelItem(2) construct", [] { throw std::runtime_error("refused"); });
    EXPECT_THROW(start(), std::runtime_error);
    EXPECT_EQ(ItemSyncer::_zelType.allocations().liveCount(), 0u);
    EXPECT_EQ(ItemSyncer::ZelSource::_zelType.allocations().liveCount(), 0u);
    EXPECT_EQ(ItemSyncer::ZelItem::_zelType.allocations().liveCount(), 0u);
    EXPECT_TRUE(source->notifieeList()->empty());
    EXPECT_TRUE(source->item(1)->notifieeList()->empty());
    EXPECT_EQ(source->references(), 1u);
    EXPECT_EQ(destination->references(), 1u);
}

TEST_F(PatternTest, AChildHeldElsewhereWhenItsRootFailsIsAZombieWithoutAnOwner) {
    const Ptr<Item> item = source->itemIs(1);
    Ptr<ItemSyncer::ZelItem> kept;
    when("ItemSyncer handleInitialized", [&] {
        kept = tape.itemSyncer->item(1);
        throw std::runtime_error("refused");
    });
    EXPECT_THROW(start(), std::runtime_error);
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(kept->owner(), nullptr);
    EXPECT_TRUE(kept->zelMarkedForDeletion());
    tape.steps.clear();
    item->countIs(4);
    expectNoSteps();
}

TEST_F(PatternTest, AReactorOnTheSourceHeldElsewhereWhenItsRootFailsIsAZombieWithoutAnOwner) {
    Ptr<Record::NotifieeConst> kept;
    when("ItemSyncer handleInitialized", [&] {
        kept = Ptr<Record::NotifieeConst>(tape.source);
        throw std::runtime_error("refused");
    });
    EXPECT_THROW(start(), std::runtime_error);
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(static_cast<ItemSyncer::ZelSource&>(*kept).owner(), nullptr);
    EXPECT_TRUE(kept->zelMarkedForDeletion());
    tape.steps.clear();
    source->titleIs("unheard");
    expectNoSteps();
}

/// Counts of the classes of syncers and reactors alone.
std::map<std::string, Zel::U64> liveReactors() {
    auto counts = Toy::liveObjects();
    for (const char* entity : {"Toy::Item", "Toy::Group", "Toy::Record"})
        counts.erase(entity);
    return counts;
}

/// Whether an exception may come out of a step: not where objects end.
bool mayThrow(std::string const& step) {
    for (const char* part : {"destroy", "owner null", "zombie 1", "active 0"}) {
        if (step.find(part) != step.npos)
            return false;
    }
    return true;
}

class FailingConstruction : public PatternTest {
  protected:
    FailingConstruction() {
        source->titleIs("a title that no short buffer holds");
        for (const unsigned key : {1u, 2u}) {
            source->itemIs(key)->labelIs("a label that no short buffer holds");
            source->tallyIs(key, key);
        }
        for (const char* name : {"g", "h"}) {
            source->groupIs(name)->itemIs(1);
            source->groupIs(name)->itemIs(2);
        }
    }

    void expectNothingLeft(std::string const& what) {
        EXPECT_TRUE(liveReactors().empty()) << what;
        EXPECT_TRUE(source->notifieeList()->empty()) << what;
        EXPECT_TRUE(source->item(1)->notifieeList()->empty()) << what;
        EXPECT_TRUE(source->group("g")->notifieeList()->empty()) << what;
        EXPECT_TRUE(source->group("g")->item(1)->notifieeList()->empty()) << what;
        EXPECT_EQ(source->references(), 1u) << what;
        EXPECT_EQ(source->group("g")->references(), 2u) << what << ": the record's, and this one";
        EXPECT_EQ(destination->references(), 1u) << what;
    }

    /// Lets the construction fail at each step that may throw, one after the other.
    template <class Make> void failAtEachStep(Make const& make) {
        std::size_t failures = 0;
        for (bool made = false; !made;) {
            destination = Ptr(new Record);
            std::size_t step = 0;
            bool thrown = false;
            std::string where;
            tape.at = [&](std::string const& noted) {
                if (!thrown && mayThrow(noted) && step++ == failures) {
                    thrown = true;
                    where = noted;
                    throw std::runtime_error("refused");
                }
            };
            try {
                make();
                made = true;
                EXPECT_FALSE(thrown) << where << ": the exception was swallowed";
            } catch (std::runtime_error const&) {
                ++failures;
                expectNothingLeft(where);
            }
        }
        tape.at = nullptr;
        EXPECT_GT(failures, 50u);
    }

    /// Lets each allocation of the construction fail, one after the other.
    template <class Make> void failAtEachAllocation(Make const& make) {
        std::size_t failures = 0;
        for (bool made = false; !made;) {
            destination = Ptr(new Record);
            const std::ptrdiff_t memory = FailingAllocation::outstanding();
            bool failed = false;
            {
                const FailingAllocation exhausted(failures + 1);
                try {
                    make();
                    made = true;
                } catch (std::bad_alloc const&) {
                    failed = true;
                }
            }
            if (failed) {
                ++failures;
                expectNothingLeft("allocation " + std::to_string(failures));
                destination = Ptr(new Record); // with all that had been written
                EXPECT_EQ(FailingAllocation::outstanding(), memory) << failures;
            }
        }
        EXPECT_GT(failures, 5u);
    }
};

TEST_F(FailingConstruction, OfARootAtAnyStepReleasesAllThatWasBuilt) {
    failAtEachStep([&] { start(); });
    expectChildren({1, 2});
}

TEST_F(FailingConstruction, OfARootWhoseChildrenHaveChildrenAtAnyStepReleasesAllThatWasBuilt) {
    failAtEachStep([&] { startGroups(); });
    EXPECT_EQ(groups->group("h")->item(2)->watched(), source->group("h")->item(2).ptr());
}

TEST_F(FailingConstruction, OfARootAtAnyAllocationReleasesAllThatWasBuilt) {
    failAtEachAllocation([&] { syncer = itemSyncerFactory(source, destination); });
    expectChildren({1, 2});
    expectItems(*destination, {1, 2});
}

TEST_F(FailingConstruction, OfARootWhoseChildrenHaveChildrenAtAnyAllocationReleasesAll) {
    failAtEachAllocation([&] { groups = groupSyncerFactory(source, destination); });
    EXPECT_EQ(groups->group("h")->item(2)->watched(), source->group("h")->item(2).ptr());
    EXPECT_NE(destination->group("h")->item(2), nullptr);
}

TEST_F(FailingConstruction, OfARootIsNotDisturbedByADestructorThatChangesTheSource) {
    when("GroupSyncer handleInitialized", [&] {
        when("ZelGroup(g) destroy", [&] { source->groupDel("h"); });
        throw std::runtime_error("refused");
    });
    EXPECT_THROW(startGroups(), std::runtime_error);
    EXPECT_EQ(source->group("h"), nullptr) << "the destructor has run";
    EXPECT_TRUE(liveReactors().empty());
    EXPECT_TRUE(source->notifieeList()->empty());
}

TEST_F(FailingConstruction, OfAReactorIsNotDisturbedByADestructorThatChangesItsEntity) {
    const Ptr<Group> group = source->group("g");
    when("ZelGroup(g) handleInitialized", [&] {
        when("ZelItem(1) destroy", [&] { group->itemDel(2); });
        throw std::runtime_error("refused");
    });
    EXPECT_THROW(startGroups(), std::runtime_error);
    EXPECT_EQ(group->item(2), nullptr) << "the destructor has run";
    EXPECT_TRUE(liveReactors().empty());
    EXPECT_TRUE(group->notifieeList()->empty());
}

TEST_F(FailingConstruction, OfANamedSyncerAtAnyAllocationLeavesTheNameFree) {
    const Zel::Name name("r");
    std::size_t failures = 0;
    for (bool made = false; !made;) {
        Ptr<SyncerSet> set(new SyncerSet); // its map has no buckets yet
        bool failed = false;
        {
            const FailingAllocation exhausted(failures + 1);
            try {
                set->syncerIs(name, source, destination);
                made = true;
            } catch (std::bad_alloc const&) {
                failed = true;
            }
        }
        if (failed) {
            ++failures;
            EXPECT_EQ(set->syncers().find(name), nullptr);
            EXPECT_EQ(RevisionSyncer::_zelType.allocations().liveCount(), 0u);
            EXPECT_TRUE(source->notifieeList()->empty());
        }
    }
    EXPECT_EQ(failures, 3u) << "the syncer, its reactor and the buckets";
}

TEST_F(FailingConstruction, OfTheReactorOnAnotherSourceLeavesTheFormerOneWatched) {
    start();
    {
        const FailingAllocation exhausted(1);
        EXPECT_THROW(syncer->sourceReplace(other), std::bad_alloc);
    }
    EXPECT_EQ(syncer->source(), source);
    tape.steps.clear();
    source->titleIs("heard");
    expectSteps("ZelSource", {"title"});
    EXPECT_TRUE(other->notifieeList()->empty());
}

TEST_F(FailingConstruction, OfAChildAtAnyAllocationLeavesTheTreeUsable) {
    syncer = itemSyncerFactory(source, destination);
    groups = groupSyncerFactory(source, destination);
    const Zel::Name name("new");
    std::size_t failures = 0;
    for (bool made = false; !made;) {
        {
            const FailingAllocation exhausted(failures + 1);
            try {
                source->itemIs(5);
                source->groupIs(name)->itemIs(5);
                made = true;
            } catch (std::bad_alloc const&) {
                ++failures;
            }
        }
        if (!made) {
            // What was stored is notified once more, what was not is made now: all is well then.
            source->itemDel(5);
            source->groupDel(name);
            EXPECT_EQ(syncer->item(5), nullptr);
            EXPECT_EQ(groups->group(name), nullptr);
            source->itemIs(5);
            source->groupIs(name)->itemIs(5);
            EXPECT_EQ(syncer->item(5)->watched(), source->item(5).ptr()) << failures;
            EXPECT_EQ(groups->group(name)->item(5)->watched(), source->group(name)->item(5).ptr());
            source->itemDel(5);
            source->groupDel(name);
        }
    }
    EXPECT_GE(failures, 7u) << "entities and reactors";
    expectChildren({1, 2, 5});
}

} // namespace
