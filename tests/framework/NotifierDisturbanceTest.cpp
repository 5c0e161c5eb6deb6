#include "tests/framework/NotifierOracle.h"
#include "tests/framework/NotifierPlan.h"
#include "tests/framework/NotifierRealWorld.h"
#include "tests/framework/ToyModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using Notifying::difference;
using Notifying::Event;
using Notifying::Oracle;
using Notifying::Plan;
using Notifying::Player;
using Notifying::Random;
using Notifying::RealWorld;
using Notifying::World;
using Toy::Item;
using Toy::Log;
using Toy::logOf;
using Toy::Recorder;
using Zel::AttributeId;
using Zel::NotifieeList;
using Zel::Ptr;

namespace {

// The matrix: who is disturbed, how, and by which reactor. Five reactors are bound to the entity; a
// sixth is there to be bound.

enum class Target { self, earlier, later, all, entity };
enum class Disturbance { unbound, switchedOff, zombie, destroyed, bound };
enum class By { first, middle, last, nested };

struct Cell {
    Target target;
    Disturbance disturbance;
    By by;
};

constexpr unsigned bound = 5;

unsigned actor(By by) {
    switch (by) {
    case By::first:
        return 0;
    case By::middle:
    case By::nested:
        return 2;
    case By::last:
        return bound - 1;
    }
    return 0;
}

/// The reactors disturbed; none where the first is to disturb an earlier one, or the last a later.
std::vector<unsigned> targets(Cell cell) {
    const unsigned self = actor(cell.by);
    switch (cell.target) {
    case Target::self:
        return {self};
    case Target::earlier:
        return self == 0 ? std::vector<unsigned>{} : std::vector{self - 1};
    case Target::later:
        return self == bound - 1 ? std::vector<unsigned>{} : std::vector{self + 1};
    case Target::all:
    case Target::entity:
        break;
    }
    return {0, 1, 2, 3, 4};
}

void disturb(World& world, Cell cell) {
    if (cell.target == Target::entity && cell.disturbance == Disturbance::bound) {
        world.create(bound);
        world.bind(bound, 0);
        return;
    }
    if (cell.target == Target::entity && cell.disturbance == Disturbance::destroyed) {
        world.release(0);
        for (const unsigned reactor : targets(cell))
            world.unbind(reactor);
        return;
    }
    for (const unsigned reactor : targets(cell)) {
        switch (cell.disturbance) {
        case Disturbance::unbound:
            world.unbind(reactor);
            break;
        case Disturbance::switchedOff:
            world.activeIs(reactor, false);
            break;
        case Disturbance::zombie:
            world.zombieIs(reactor, true);
            break;
        case Disturbance::destroyed:
            world.destroy(reactor);
            break;
        case Disturbance::bound: // once more
            world.bind(reactor, 0);
            break;
        }
    }
}

/// One disturbed delivery, and an undisturbed one where the entity still lives.
void play(World& world, Cell cell) {
    for (unsigned reactor = 0; reactor < bound; ++reactor) {
        world.create(reactor);
        world.bind(reactor, 0);
    }
    int depth = 1;
    bool done = false;
    world.onCall = [&](unsigned reactor) {
        if (reactor != actor(cell.by) || done)
            return;
        if (cell.by == By::nested && depth == 1) {
            ++depth;
            world.notify(0);
            --depth;
        } else {
            done = true;
            disturb(world, cell);
        }
    };
    world.notify(0);
    world.onCall = nullptr;
    EXPECT_TRUE(done);
    if (world.alive(0))
        world.notify(0);
}

class NotifierDisturbanceMatrix : public ::testing::TestWithParam<Cell> {};

TEST_P(NotifierDisturbanceMatrix, IsDeliveredByTheRules) {
    Oracle oracle;
    play(oracle, GetParam());
    RealWorld real;
    play(real, GetParam());
    EXPECT_EQ(difference(real, oracle), "");
    oracle.showOrder();
    real.showOrder();
    oracle.end();
    real.end();
    EXPECT_EQ(difference(real, oracle), "");
}

std::string cellName(::testing::TestParamInfo<Cell> const& info) {
    const Cell cell = info.param;
    const char* const by[] = {"ByTheFirst", "ByAMiddleOne", "ByTheLast", "InANestedDelivery"};
    const std::string where = by[static_cast<int>(cell.by)];
    if (cell.target == Target::entity) {
        const char* const how[] = {"TheEntityIsLeftByAllReactors",
                                   "TheEntityHasAllItsReactorsSwitchedOff",
                                   "TheEntityHasAllItsReactorsTurnedIntoZombies",
                                   "TheEntityIsDestroyed", "TheEntityGetsANewReactor"};
        return how[static_cast<int>(cell.disturbance)] + where;
    }
    const char* const who[] = {"AReactorItself", "AnEarlierReactor", "ALaterReactor",
                               "EachReactor"};
    const char* const how[] = {"IsUnbound", "IsSwitchedOff", "IsTurnedIntoAZombie", "IsDestroyed",
                               "IsBoundAgain"};
    const std::string sentence = std::string(who[static_cast<int>(cell.target)]) +
                                 how[static_cast<int>(cell.disturbance)] + where;
    return targets(cell).empty() ? "ThereIsNoneSoThat" + sentence : sentence;
}

std::vector<Cell> allCells() {
    std::vector<Cell> cells;
    for (const Target target :
         {Target::self, Target::earlier, Target::later, Target::all, Target::entity}) {
        for (const Disturbance disturbance :
             {Disturbance::unbound, Disturbance::switchedOff, Disturbance::zombie,
              Disturbance::destroyed, Disturbance::bound}) {
            for (const By by : {By::first, By::middle, By::last, By::nested})
                cells.push_back({target, disturbance, by});
        }
    }
    return cells;
}

INSTANTIATE_TEST_SUITE_P(Notifier, NotifierDisturbanceMatrix, ::testing::ValuesIn(allCells()),
                         cellName);

// Random disturbances

TEST(RandomNotifierDisturbances, AreDeliveredByTheRules) {
    const auto given = static_cast<unsigned>(GTEST_FLAG_GET(random_seed));
    const unsigned seed = given ? given : 20250611;
    std::printf("random seed %u\n", seed);
    Random random(seed);

    std::size_t calls = 0;
    std::size_t deaths = 0;
    unsigned deepest = 0;
    unsigned refusals = 0;
    Plan plan;
    for (unsigned script = 0; script < 200'000; ++script) {
        makeRandom(plan, random);
        Oracle oracle;
        Player expected(oracle, plan);
        expected.start();
        expected.play();
        RealWorld real;
        Player actual(real, plan);
        actual.start();
        actual.play();

        ASSERT_EQ(difference(real, oracle), "") << "script " << script << " of seed " << seed;
        ASSERT_EQ(actual.refusals(), expected.refusals()) << script << " of seed " << seed;
        oracle.showOrder();
        real.showOrder();
        oracle.end();
        real.end();
        ASSERT_EQ(difference(real, oracle), "") << "script " << script << " of seed " << seed;
        for (const Event event : oracle.log)
            ++(event.what == Event::called ? calls : deaths);
        deepest = std::max(deepest, expected.deepest());
        refusals += expected.refusals();
    }
    // The scripts were worth it.
    EXPECT_GT(calls, 1'000'000u);
    EXPECT_GT(deaths, 1'000u);
    EXPECT_GT(refusals, 1'000u);
    EXPECT_GE(deepest, 6u);
}

// The rules one by one, with their outcome written out

class NotifierDisturbance : public ::testing::Test {
  protected:
    ~NotifierDisturbance() override {
        a = b = c = nullptr;
        item = nullptr;
        other = nullptr;
        EXPECT_EQ(Item::_zelType.allocations().liveCount(), 0u);
        EXPECT_EQ(Recorder<Item>::_zelType.allocations().liveCount(), 0u);
    }

    using Reactor = Recorder<Item>;

    /// The names of the reactors called so far, in order.
    std::string calls() {
        std::string names;
        for (Toy::Notification const& notification : std::exchange(log, {}))
            names += notification.reactor;
        return names;
    }

    /// Has the reactor do this at its next notification only.
    template <class Action> static void once(Ptr<Reactor> const& reactor, Action action) {
        reactor->scriptIs([action](Reactor& self, AttributeId, void const*) {
            self.scriptIs({});
            action();
        });
    }

    Log log;
    Ptr<Item> item{new Item(1)};
    Ptr<Item> other{new Item(2)};
    Ptr<Reactor> a = watch(item, "a", log);
    Ptr<Reactor> b = watch(item, "b", log);
    Ptr<Reactor> c = watch(item, "c", log);
};

using NotifierDisturbanceDeathTest = NotifierDisturbance;

TEST_F(NotifierDisturbance, NotificationsAreDeliveredAtOnceAndDepthFirst) {
    once(a, [&] { item->portIs(1); });
    once(b, [&] { item->octetIs(1); });
    item->countIs(1);
    // The octet is set by b's call for the port, deepest of all.
    EXPECT_EQ(log, logOf({{"a", 259, "-"},
                          {"a", 264, "-"},
                          {"b", 264, "-"},
                          {"a", 263, "-"},
                          {"b", 263, "-"},
                          {"c", 263, "-"},
                          {"c", 264, "-"},
                          {"b", 259, "-"},
                          {"c", 259, "-"}}));
}

TEST_F(NotifierDisturbance, ALaterReactorThatIsDestroyedIsNotCalled) {
    once(a, [&] { b = nullptr; });
    item->countIs(1);
    EXPECT_EQ(calls(), "ac");
}

TEST_F(NotifierDisturbance, AllLaterReactorsMayBeDestroyed) {
    once(a, [&] { b = c = nullptr; });
    item->countIs(1);
    EXPECT_EQ(calls(), "a");
}

TEST_F(NotifierDisturbance, AReactorThatDestroysItselfDoesNotDisturbTheOthers) {
    once(b, [&] { b = nullptr; });
    item->countIs(1);
    EXPECT_EQ(calls(), "abc");
    item->countIs(2);
    EXPECT_EQ(calls(), "ac");
}

TEST_F(NotifierDisturbance, AReactorThatIsUnboundAndBoundAgainIsNotCalledInTheSameDelivery) {
    once(a, [&] {
        b->notifierIs(nullptr);
        b->notifierIs(item);
    });
    item->countIs(1);
    EXPECT_EQ(calls(), "ac");
    item->countIs(2);
    EXPECT_EQ(calls(), "acb");
}

TEST_F(NotifierDisturbance, AReactorThatLeavesTheListAndEntersItAgainIsNotCalledTwice) {
    once(a, [&] {
        a->isRegisteredNotifieeIs(false);
        a->isRegisteredNotifieeIs(true);
    });
    item->countIs(1);
    EXPECT_EQ(calls(), "abc");
    item->countIs(2);
    EXPECT_EQ(calls(), "bca");
}

TEST_F(NotifierDisturbance, AReactorThatIsBoundIsNotCalledInTheSameDelivery) {
    Ptr<Reactor> d;
    once(c, [&] { d = watch(item, "d", log); });
    item->countIs(1);
    EXPECT_EQ(calls(), "abc");
    item->countIs(2);
    EXPECT_EQ(calls(), "abcd");
}

TEST_F(NotifierDisturbance, AReactorThatIsBoundIsCalledInADeliveryThatBeginsAfterwards) {
    Ptr<Reactor> d;
    once(b, [&] {
        d = watch(item, "d", log);
        item->portIs(1);
    });
    item->countIs(1);
    EXPECT_EQ(log, logOf({{"a", 259, "-"},
                          {"b", 259, "-"},
                          {"a", 264, "-"},
                          {"b", 264, "-"},
                          {"c", 264, "-"},
                          {"d", 264, "-"},
                          {"c", 259, "-"}}));
}

TEST_F(NotifierDisturbance, AReactorBoundByAnInnerDeliveryIsCalledInLaterOnesOnly) {
    Ptr<Reactor> d;
    once(a, [&] {
        once(b, [&] { d = watch(item, "d", log); });
        item->portIs(1); // here d is bound
        item->octetIs(1);
    });
    item->countIs(1);
    EXPECT_EQ(log, logOf({{"a", 259, "-"},
                          {"a", 264, "-"},
                          {"b", 264, "-"},
                          {"c", 264, "-"},
                          {"a", 263, "-"},
                          {"b", 263, "-"},
                          {"c", 263, "-"},
                          {"d", 263, "-"},
                          {"b", 259, "-"},
                          {"c", 259, "-"}}));
    log.clear();
    item->countIs(2);
    EXPECT_EQ(calls(), "abcd");
}

TEST_F(NotifierDisturbance, ReactorsBoundOneAfterTheOtherDuringADeliveryDoNotProlongIt) {
    std::vector<Ptr<Reactor>> made;
    for (Ptr<Reactor> const& reactor : {a, b, c}) {
        reactor->scriptIs([&](Reactor& self, AttributeId, void const*) {
            made.push_back(watch(item, self.name() + "'", log));
            made.push_back(watch(item, self.name() + "\"", log));
            made.erase(made.begin());
        });
    }
    item->countIs(1);
    EXPECT_EQ(calls(), "abc");
    for (Ptr<Reactor> const& reactor : {a, b, c})
        reactor->scriptIs({});
    item->countIs(2);
    EXPECT_EQ(calls(), "abcb\"c'c\"");
}

TEST_F(NotifierDisturbance, AReactorSwitchedOnDuringADeliveryIsCalledInItsTurn) {
    b->hasNotificationActiveIs(false);
    c->hasNotificationActiveIs(false);
    once(a, [&] { c->hasNotificationActiveIs(true); });
    item->countIs(1);
    EXPECT_EQ(calls(), "ac");
}

TEST_F(NotifierDisturbance, AReactorMayBindItselfToAnotherEntity) {
    once(b, [&] { b->notifierIs(other); });
    item->countIs(1);
    EXPECT_EQ(calls(), "abc");
    item->countIs(2);
    EXPECT_EQ(calls(), "ac");
    other->countIs(1);
    EXPECT_EQ(calls(), "b");
}

TEST_F(NotifierDisturbance, AReactorMayBindItselfToAnotherEntityThatIsDelivering) {
    const auto onOther = watch(other, "o", log);
    const auto lastOnOther = watch(other, "p", log);
    once(onOther, [&] { item->countIs(1); });
    once(b, [&] { b->notifierIs(other); });
    other->portIs(1); // o notifies the item, whose reactor b comes over
    EXPECT_EQ(calls(), "oabcp");
    other->portIs(2);
    EXPECT_EQ(calls(), "opb");
}

TEST_F(NotifierDisturbance, AReactorThatWalksRoundIsCalledOnceByEachDelivery) {
    b->scriptIs([&](Reactor& self, AttributeId, void const*) {
        const Ptr<Item> next = self.notifier() == item ? other : item;
        self.notifierIs(next);
        if (next->count() < 6)
            next->countIs(next->count() + 2);
    });
    item->countIs(0);
    EXPECT_EQ(item->count(), 6u);
    EXPECT_EQ(other->count(), 6u);
    // From the item, b goes to the other entity and notifies it; from there it goes back, to the
    // end of the item's reactors, and so on. The first delivery goes on with c when all that is
    // over.
    EXPECT_EQ(calls(), "ab"
                       "b"
                       "acb"
                       "b"
                       "acb"
                       "b"
                       "acb"
                       "c");
}

TEST_F(NotifierDisturbance, TheEntityMayDieInANestedDelivery) {
    once(a, [&] {
        once(b, [&] {
            once(c, [&] {
                item = nullptr;
                a->notifierIs(nullptr);
                b->notifierIs(other);
                c = nullptr;
            });
            item->octetIs(1);
        });
        item->portIs(1);
    });
    Item* const raw = item.ptr();
    raw->countIs(1);
    EXPECT_EQ(calls(), "aababc");
    EXPECT_EQ(Item::_zelType.allocations().liveCount(), 1u);
    other->countIs(1);
    EXPECT_EQ(calls(), "b");
}

TEST_F(NotifierDisturbance, TheEntityMayDieWithItsLastReactorsHoldingIt) {
    Item* const raw = item.ptr();
    item = nullptr; // held by its reactors only
    once(b, [&] { a = b = c = nullptr; });
    raw->countIs(1);
    EXPECT_EQ(calls(), "ab");
    EXPECT_EQ(Item::_zelType.allocations().liveCount(), 1u);
}

// Exceptions

TEST_F(NotifierDisturbance, AnExceptionEndsTheDeliveryAndLeavesTheMutator) {
    once(b, [] { throw std::runtime_error("refused"); });
    EXPECT_THROW(item->countIs(7), std::runtime_error);
    EXPECT_EQ(item->count(), 7u);
    EXPECT_EQ(calls(), "ab");
    item->countIs(8);
    EXPECT_EQ(calls(), "abc");
}

TEST_F(NotifierDisturbance, AnExceptionAfterTheEntitysEndLeavesTheMutator) {
    once(b, [&] {
        item = nullptr;
        a = b = c = nullptr;
        throw std::runtime_error("refused");
    });
    Item* const raw = item.ptr();
    EXPECT_THROW(raw->countIs(7), std::runtime_error);
    EXPECT_EQ(Item::_zelType.allocations().liveCount(), 1u);
}

TEST_F(NotifierDisturbance, AnExceptionThatAReactorCatchesLeavesTheOuterDeliveryAlone) {
    once(b, [&] {
        once(a, [] { throw std::runtime_error("refused"); });
        EXPECT_THROW(item->portIs(9), std::runtime_error);
    });
    item->countIs(7);
    EXPECT_EQ(item->port(), 9);
    EXPECT_EQ(calls(), "abac");
}

class ExceptionAtDepth : public NotifierDisturbance,
                         public ::testing::WithParamInterface<unsigned> {};

TEST_P(ExceptionAtDepth, LeavesEveryMutatorAndEverythingStaysUsable) {
    const unsigned deepest = GetParam();
    unsigned depth = 0;
    std::vector<unsigned> left;
    b->scriptIs([&](Reactor&, AttributeId, void const*) {
        const unsigned here = ++depth;
        if (here == deepest)
            throw std::runtime_error("refused");
        try {
            item->totalIs(here);
        } catch (...) {
            left.push_back(here);
            throw;
        }
    });
    EXPECT_THROW(item->countIs(7), std::runtime_error);

    EXPECT_EQ(item->count(), 7u);
    EXPECT_EQ(item->total(), deepest - 1) << "each mutator has stored";
    std::string expected;
    std::vector<unsigned> expectedLeft;
    for (unsigned i = deepest; i != 0; --i) {
        expected += "ab"; // c comes later in each delivery
        if (i != deepest)
            expectedLeft.push_back(i);
    }
    EXPECT_EQ(calls(), expected);
    EXPECT_EQ(left, expectedLeft);

    b->scriptIs({});
    const auto d = watch(item, "d", log);
    item->countIs(8);
    EXPECT_EQ(calls(), "abcd");
    depth = 0;
}

INSTANTIATE_TEST_SUITE_P(Notifier, ExceptionAtDepth, ::testing::Values(1u, 2u, 3u, 5u, 64u));

// Reactors that feed each other

/// Has the reactor set an attribute of the entity as long as the depth is below this.
void feed(Ptr<Recorder<Item>> const& reactor, Ptr<Item> const& target, unsigned& depth,
          unsigned limit) {
    reactor->scriptIs([target, &depth, limit](Recorder<Item>&, AttributeId, void const*) {
        if (depth < limit) {
            ++depth;
            target->countIs(depth);
            --depth;
        }
    });
}

TEST_F(NotifierDisturbance, DeliveriesMayBeNestedAsDeepAsTheLimit) {
    ASSERT_EQ(NotifieeList::maxDepth, 64u);
    b = c = nullptr;
    unsigned depth = 1;
    feed(a, item, depth, 64);
    item->countIs(1);
    EXPECT_EQ(item->count(), 64u);
    EXPECT_EQ(log.size(), 64u);
    log.clear();
    item->countIs(1); // nothing is left of the first time
    EXPECT_EQ(log.size(), 64u);
    a->scriptIs({}); // it holds the item
}

TEST_F(NotifierDisturbance, TheLimitHoldsForEachEntityByItself) {
    b = c = nullptr;
    const auto onOther = watch(other, "o", log);
    unsigned depth = 1;
    feed(a, other, depth, 128);
    feed(onOther, item, depth, 128);
    item->countIs(1);
    EXPECT_EQ(log.size(), 128u);
    EXPECT_EQ(item->count(), 127u);
    EXPECT_EQ(other->count(), 128u);
    a->scriptIs({});
    onOther->scriptIs({});
}

TEST_F(NotifierDisturbance, NotificationsOneAfterTheOtherAreNoNesting) {
    a->scriptIs([&](Reactor& self, AttributeId, void const*) {
        self.hasNotificationActiveIs(false);
        for (unsigned i = 0; i < 200; ++i)
            item->portIs(1);
        self.hasNotificationActiveIs(true);
    });
    item->countIs(1);
    EXPECT_EQ(log.size(), 3u + 2 * 200);
}

constexpr const char* feeding =
    "Varnol: fatal: reactors feed each other: notifications of Toy::Item::count are nested more "
    "than 64 deep\n";

TEST_F(NotifierDisturbanceDeathTest, OneLevelMoreThanTheLimitIsFatal) {
    unsigned depth = 1;
    feed(a, item, depth, 65);
    EXPECT_EXIT(item->countIs(1), ::testing::KilledBySignal(SIGABRT),
                ::testing::Eq(std::string(feeding)));
    a->scriptIs({});
}

TEST_F(NotifierDisturbanceDeathTest, OneLevelMoreThanTheLimitIsFatalForTheOnlyReactorToo) {
    b = c = nullptr;
    unsigned depth = 1;
    feed(a, item, depth, 65);
    EXPECT_EXIT(item->countIs(1), ::testing::KilledBySignal(SIGABRT),
                ::testing::Eq(std::string(feeding)));
    a->scriptIs({});
}

TEST_F(NotifierDisturbanceDeathTest, TwoReactorsOfOneEntityThatFeedEachOtherAreFatal) {
    a->scriptIs([&](Reactor&, AttributeId id, void const*) {
        if (id == 264)
            item->countIs(1);
    });
    b->scriptIs([&](Reactor&, AttributeId id, void const*) {
        if (id == 259)
            item->portIs(1);
    });
    EXPECT_EXIT(item->portIs(1), ::testing::KilledBySignal(SIGABRT),
                ::testing::Eq(std::string(
                    "Varnol: fatal: reactors feed each other: notifications of Toy::Item::port are "
                    "nested more than 64 deep\n")));
}

TEST_F(NotifierDisturbanceDeathTest, ReactorsOfTwoEntitiesThatFeedEachOtherAreFatal) {
    const auto onOther = watch(other, "o", log);
    a->scriptIs([&](Reactor&, AttributeId, void const*) { other->labelIs("a"); });
    onOther->scriptIs([&](Reactor&, AttributeId, void const*) { item->countIs(1); });
    EXPECT_EXIT(item->countIs(1), ::testing::KilledBySignal(SIGABRT),
                ::testing::Eq(std::string(feeding)));
}

TEST_F(NotifierDisturbanceDeathTest, AnAttributeWithoutANameIsNamedByItsIdentifier) {
    a->scriptIs([&](Reactor&, AttributeId, void const*) { item->notify(999); });
    EXPECT_EXIT(item->countIs(1), ::testing::KilledBySignal(SIGABRT),
                ::testing::Eq(std::string(
                    "Varnol: fatal: reactors feed each other: notifications of Toy::Item::999 are "
                    "nested more than 64 deep\n")));
}

} // namespace
