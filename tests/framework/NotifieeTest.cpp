#include "framework/zel/Notifiee.h"

#include "framework/zel/Exception.h"
#include "tests/framework/ToyModel.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>

using Toy::Item;
using Toy::Log;
using Toy::logOf;
using Toy::Record;
using Toy::Recorder;
using Zel::AttributeId;
using Zel::Ptr;

namespace {

/// A reactor that can watch an entity of any class.
class AnyReactor final : public Zel::Object<AnyReactor, Zel::Entity::NotifieeConst> {
  public:
    static Zel::TypeNode const _zelType;
    void onAttribute(AttributeId, void const*) override { ++calls; }
    int calls = 0;
};
constinit Zel::TypeNode const AnyReactor::_zelType{"AnyReactor", {}};

/// An object that is no entity.
class Thing final : public Zel::Object<Thing, Zel::PtrInterface> {
  public:
    static Zel::TypeNode const _zelType;
};
constinit Zel::TypeNode const Thing::_zelType{"Thing", {}};

/// An entity that says when it dies.
class Mortal final : public Zel::Object<Mortal, Zel::Entity> {
  public:
    static Zel::TypeNode const _zelType;
    ~Mortal() override {
        if (onDestruction)
            onDestruction();
    }
    std::function<void()> onDestruction;
};
constinit Zel::TypeNode const Mortal::_zelType{"Mortal", {}};

/// A reactor whose end changes the entity that it watches.
class LastWord final : public Zel::Object<LastWord, Item::NotifieeConst> {
  public:
    static Zel::TypeNode const _zelType;
    LastWord(Zel::Ptr<Item> item, int& calls)
        : item_(std::move(item))
        , calls_(calls) {
        notifierIs(item_);
    }
    ~LastWord() override { item_->countIs(1); }
    void onAttribute(AttributeId, void const*) override { ++calls_; }

  private:
    Zel::Ptr<Item> item_;
    int& calls_;
};
constinit Zel::TypeNode const LastWord::_zelType{"LastWord", {}};

/// An entity that has its place in memory for itself: there is one at a time.
class OnePlace final : public Zel::Object<OnePlace, Zel::Entity> {
  public:
    static Zel::TypeNode const _zelType;
    static void* operator new(std::size_t) noexcept { return place; }
    static void operator delete(void*) noexcept {}

  private:
    static std::byte place[];
};
constinit Zel::TypeNode const OnePlace::_zelType{"OnePlace", {}};
alignas(OnePlace) std::byte OnePlace::place[sizeof(OnePlace)];

/// A reactor that, notified, lets its entity end, watches the next one, and has that notify.
class Passage final : public Zel::Object<Passage, OnePlace::NotifieeConst> {
  public:
    static Zel::TypeNode const _zelType;
    explicit Passage(unsigned times)
        : left_(times) {}
    void start() {
        auto* const entity = new OnePlace;
        notifierIs(Zel::Ptr(entity));
        entity->notify(258);
    }
    void onAttribute(AttributeId, void const*) override {
        if (--left_ == 0)
            return;
        notifierIs(nullptr);
        start();
    }
    unsigned left() const noexcept { return left_; }

  private:
    unsigned left_;
};
constinit Zel::TypeNode const Passage::_zelType{"Passage", {}};

template <class Action> std::string textOfRangeException(Action const& action) {
    try {
        action();
    } catch (Zel::RangeException const& exception) {
        return exception.what();
    }
    return "no exception";
}

class NotifieeTest : public ::testing::Test {
  protected:
    ~NotifieeTest() override {
        item = nullptr;
        other = nullptr;
        EXPECT_EQ(Item::_zelType.allocations().liveCount(), 0u);
        EXPECT_EQ(Recorder<Item>::_zelType.allocations().liveCount(), 0u);
    }

    Log log;
    Ptr<Item> item{new Item(1)};
    Ptr<Item> other{new Item(2)};
};

using NotifieeDeathTest = NotifieeTest;

// How reactors are derived, which says what may be passed as which.
static_assert(std::is_base_of_v<Zel::PtrInterface, Zel::PtrInterface::NotifieeConst>);
static_assert(std::is_base_of_v<Zel::PtrInterface::NotifieeConst, Zel::Entity::NotifieeConst>);
static_assert(std::is_base_of_v<Zel::Entity::NotifieeConst, Item::NotifieeConst>);
static_assert(
    std::is_same_v<decltype(std::declval<Item::NotifieeConst&>().notifier()), Ptr<Item const>>,
    "a reactor only reads its entity");

TEST_F(NotifieeTest, ANewReactorIsUnboundInactiveAndNoZombie) {
    const Ptr<Recorder<Item>> reactor(new Recorder<Item>("a", log));
    EXPECT_EQ(reactor->notifier(), nullptr);
    EXPECT_FALSE(reactor->isRegisteredNotifiee());
    EXPECT_FALSE(reactor->hasNotificationActive());
    EXPECT_FALSE(reactor->zelMarkedForDeletion());
    EXPECT_EQ(reactor->notifieeList(), nullptr) << "a reactor is no entity";
}

TEST_F(NotifieeTest, AnEntityHasAListOfItsReactors) {
    ASSERT_NE(item->notifieeList(), nullptr);
    EXPECT_TRUE(item->notifieeList()->empty());
    const auto first = watch(item, "a", log);
    const auto second = watch(item, "b", log);
    EXPECT_FALSE(item->notifieeList()->empty());
    EXPECT_EQ(item->notifieeList()->members(), 2u);
    EXPECT_TRUE(other->notifieeList()->empty());
}

TEST_F(NotifieeTest, BindingCallsNoHandler) {
    const auto reactor = watch(item, "a", log);
    reactor->notifierIs(other);
    reactor->notifierIs(nullptr);
    EXPECT_EQ(log, Log());
}

TEST_F(NotifieeTest, ABoundReactorIsNotified) {
    const auto reactor = watch(item, "a", log);
    EXPECT_EQ(reactor->notifier(), item);
    EXPECT_TRUE(reactor->isRegisteredNotifiee());
    item->countIs(1);
    other->countIs(1);
    EXPECT_EQ(log, logOf({{"a", 259, "-"}}));
}

TEST_F(NotifieeTest, ReactorsAreNotifiedInTheOrderOfTheirRegistration) {
    std::vector<Ptr<Recorder<Item>>> made;
    for (const char* name : {"e", "c", "a", "d", "b"})
        made.push_back(Zel::newActive<Recorder<Item>>(name, log));
    for (const std::size_t place : {2u, 4u, 1u, 3u, 0u})
        made[place]->notifierIs(item);
    item->countIs(1);
    EXPECT_EQ(
        log,
        logOf(
            {{"a", 259, "-"}, {"b", 259, "-"}, {"c", 259, "-"}, {"d", 259, "-"}, {"e", 259, "-"}}));
}

TEST_F(NotifieeTest, AReactorBoundToAnotherEntityIsNotifiedByThatOneOnly) {
    const auto reactor = watch(item, "a", log);
    reactor->notifierIs(other);
    EXPECT_EQ(reactor->notifier(), other);
    EXPECT_EQ(item->notifieeList()->members(), 0u);
    EXPECT_EQ(other->notifieeList()->members(), 1u);
    item->countIs(1);
    EXPECT_EQ(log, Log());
    other->portIs(1);
    EXPECT_EQ(log, logOf({{"a", 264, "-"}}));
}

TEST_F(NotifieeTest, BindingAgainMovesAReactorToTheEnd) {
    const auto first = watch(item, "a", log);
    const auto second = watch(item, "b", log);
    first->notifierIs(item);
    item->countIs(1);
    EXPECT_EQ(log, logOf({{"b", 259, "-"}, {"a", 259, "-"}}));
    EXPECT_EQ(item->notifieeList()->members(), 2u);
}

TEST_F(NotifieeTest, NullUnbinds) {
    const auto first = watch(item, "a", log);
    const auto second = watch(item, "b", log);
    first->notifierIs(nullptr);
    EXPECT_EQ(first->notifier(), nullptr);
    EXPECT_FALSE(first->isRegisteredNotifiee());
    first->notifierIs(nullptr);
    item->countIs(1);
    EXPECT_EQ(log, logOf({{"b", 259, "-"}}));
}

TEST_F(NotifieeTest, EachPlaceInTheListCanBeLeft) {
    for (const std::size_t leaving : {0u, 1u, 2u}) {
        std::vector<Ptr<Recorder<Item>>> reactors;
        for (const char* name : {"a", "b", "c"})
            reactors.push_back(watch(item, name, log));
        Log expected;
        for (std::size_t i = 0; i < 3; ++i) {
            if (i != leaving)
                expected.push_back({reactors[i]->name(), 259, "-"});
        }
        reactors[leaving]->notifierIs(nullptr);
        log.clear();
        item->countIs(1);
        EXPECT_EQ(log, expected);
        EXPECT_EQ(item->notifieeList()->members(), 2u);
        reactors[leaving]->notifierIs(item);
        expected.push_back({reactors[leaving]->name(), 259, "-"});
        log.clear();
        item->countIs(1);
        EXPECT_EQ(log, expected);
    }
    EXPECT_TRUE(item->notifieeList()->empty());
}

// The active flag

TEST_F(NotifieeTest, AReactorIsNotifiedOnlyWhileItsNotificationIsActive) {
    const Ptr<Recorder<Item>> reactor(new Recorder<Item>("a", log));
    reactor->notifierIs(item);
    item->countIs(1);
    EXPECT_EQ(log, Log());
    reactor->hasNotificationActiveIs(true);
    item->countIs(2);
    EXPECT_EQ(log, logOf({{"a", 259, "-"}}));
    reactor->hasNotificationActiveIs(false);
    item->countIs(3);
    EXPECT_EQ(log.size(), 1u);
    EXPECT_EQ(reactor->notifier(), item) << "it stays bound";
    EXPECT_TRUE(reactor->isRegisteredNotifiee());
}

TEST_F(NotifieeTest, SwitchingOffAndOnKeepsThePlaceInTheOrder) {
    const auto first = watch(item, "a", log);
    const auto second = watch(item, "b", log);
    first->hasNotificationActiveIs(false);
    first->hasNotificationActiveIs(true);
    item->countIs(1);
    EXPECT_EQ(log, logOf({{"a", 259, "-"}, {"b", 259, "-"}}));
}

TEST_F(NotifieeTest, TheMarkForDeletionAloneDoesNotStopNotifications) {
    const auto reactor = watch(item, "a", log);
    reactor->zelMarkedForDeletionIs(true);
    item->countIs(1);
    EXPECT_EQ(log, logOf({{"a", 259, "-"}}));
}

// Zombies

TEST_F(NotifieeTest, AZombieTakesNoNotifications) {
    const auto reactor = watch(item, "a", log);
    reactor->zelDoZombieReactors(true);
    EXPECT_TRUE(reactor->zelMarkedForDeletion());
    EXPECT_FALSE(reactor->hasNotificationActive());
    item->countIs(1);
    EXPECT_EQ(log, Log());
    EXPECT_EQ(reactor->notifier(), item);
}

TEST_F(NotifieeTest, AZombieCanComeBack) {
    const auto reactor = watch(item, "a", log);
    reactor->zelDoZombieReactors(true);
    reactor->zelDoZombieReactors(false);
    EXPECT_FALSE(reactor->zelMarkedForDeletion());
    EXPECT_TRUE(reactor->hasNotificationActive());
    item->countIs(1);
    EXPECT_EQ(log, logOf({{"a", 259, "-"}}));
}

TEST_F(NotifieeTest, BecomingWhatItIsAlreadyChangesNothing) {
    const auto reactor = watch(item, "a", log);
    reactor->hasNotificationActiveIs(false);
    reactor->zelDoZombieReactors(false); // it is none
    EXPECT_FALSE(reactor->hasNotificationActive());
    reactor->zelDoZombieReactors(true);
    reactor->hasNotificationActiveIs(true);
    reactor->zelDoZombieReactors(true); // it is one
    EXPECT_TRUE(reactor->hasNotificationActive());
}

TEST_F(NotifieeTest, AnUnboundReactorThatBecomesAZombieIsOnlyMarked) {
    const auto reactor = Zel::newActive<Recorder<Item>>("a", log);
    reactor->zelDoZombieReactors(true);
    EXPECT_TRUE(reactor->zelMarkedForDeletion());
    EXPECT_TRUE(reactor->hasNotificationActive());
    reactor->zelDoZombieReactors(false);
    EXPECT_FALSE(reactor->zelMarkedForDeletion());
    EXPECT_TRUE(reactor->hasNotificationActive());
}

// The place in the list

TEST_F(NotifieeTest, AReactorCanBeTakenOutOfTheListAndStayBound) {
    const auto reactor = watch(item, "a", log);
    reactor->isRegisteredNotifieeIs(false);
    EXPECT_FALSE(reactor->isRegisteredNotifiee());
    EXPECT_EQ(reactor->notifier(), item);
    EXPECT_EQ(item->notifieeList()->members(), 0u);
    item->countIs(1);
    EXPECT_EQ(log, Log());
}

TEST_F(NotifieeTest, AReactorEntersTheListAtItsEnd) {
    const auto first = watch(item, "a", log);
    const auto second = watch(item, "b", log);
    first->isRegisteredNotifieeIs(false);
    first->isRegisteredNotifieeIs(true);
    item->countIs(1);
    EXPECT_EQ(log, logOf({{"b", 259, "-"}, {"a", 259, "-"}}));
}

TEST_F(NotifieeTest, EnteringTheListTwiceAndLeavingItTwiceDoesNothing) {
    const auto first = watch(item, "a", log);
    const auto second = watch(item, "b", log);
    first->isRegisteredNotifieeIs(true);
    EXPECT_EQ(item->notifieeList()->members(), 2u);
    item->countIs(1);
    EXPECT_EQ(log, logOf({{"a", 259, "-"}, {"b", 259, "-"}})) << "it keeps its place";
    first->isRegisteredNotifieeIs(false);
    first->isRegisteredNotifieeIs(false);
    EXPECT_EQ(item->notifieeList()->members(), 1u);
}

TEST_F(NotifieeTest, AnUnboundReactorEntersNoList) {
    const auto reactor = Zel::newActive<Recorder<Item>>("a", log);
    reactor->isRegisteredNotifieeIs(true);
    EXPECT_FALSE(reactor->isRegisteredNotifiee());
    reactor->isRegisteredNotifieeIs(false);
    EXPECT_FALSE(reactor->isRegisteredNotifiee());
}

// What cannot be watched

TEST_F(NotifieeTest, AnEntityOfAnotherClassIsRefusedWithNothingChanged) {
    const auto first = watch(item, "a", log);
    const auto second = watch(item, "b", log);
    const Ptr<Record> record(new Record);
    EXPECT_EQ(textOfRangeException([&] { first->notifierIs(record); }),
              "a reactor on Toy::Item cannot watch a Toy::Record");
    EXPECT_EQ(first->notifier(), item);
    EXPECT_EQ(record->references(), 1u);
    EXPECT_TRUE(record->notifieeList()->empty());
    item->countIs(1);
    EXPECT_EQ(log, logOf({{"a", 259, "-"}, {"b", 259, "-"}})) << "it keeps its place";
}

TEST_F(NotifieeTest, AnUnboundReactorThatRefusesAnEntityStaysUnbound) {
    const auto reactor = Zel::newActive<Recorder<Item>>("a", log);
    EXPECT_THROW(reactor->notifierIs(Ptr(new Record)), Zel::RangeException);
    EXPECT_EQ(reactor->notifier(), nullptr);
    EXPECT_FALSE(reactor->isRegisteredNotifiee());
}

TEST_F(NotifieeTest, AnObjectWithoutReactorsIsRefusedWithNothingChanged) {
    const auto reactor = Zel::newActive<AnyReactor>();
    const auto second = watch(item, "b", log);
    reactor->notifierIs(item);
    const Ptr<Thing> thing(new Thing);
    EXPECT_EQ(textOfRangeException([&] { reactor->notifierIs(thing); }),
              "a notifier must be an entity");
    EXPECT_EQ(reactor->notifier(), item);
    EXPECT_TRUE(reactor->isRegisteredNotifiee());
    EXPECT_EQ(thing->references(), 1u);
    EXPECT_EQ(textOfRangeException([&] { reactor->notifierIs(second); }),
              "a notifier must be an entity");
    item->countIs(1);
    EXPECT_EQ(reactor->calls, 1);
}

TEST_F(NotifieeTest, AReactorOnEntitiesOfAnyClassWatchesThemAll) {
    const auto reactor = Zel::newActive<AnyReactor>();
    reactor->notifierIs(item);
    item->countIs(1);
    const Ptr<Record> record(new Record);
    reactor->notifierIs(record);
    item->countIs(2);
    record->revisionIs(1);
    EXPECT_EQ(reactor->calls, 2);
}

// Lifetimes

TEST_F(NotifieeTest, AReactorKeepsItsNotifierAlive) {
    auto reactor = watch(item, "a", log);
    Item* const raw = item.ptr();
    item = nullptr;
    EXPECT_EQ(Item::_zelType.allocations().liveCount(), 2u);
    raw->countIs(1);
    EXPECT_EQ(log, logOf({{"a", 259, "-"}}));
    reactor->notifierIs(nullptr);
    EXPECT_EQ(Item::_zelType.allocations().liveCount(), 1u);
}

TEST_F(NotifieeTest, AnEntityDoesNotKeepItsReactorsAlive) {
    auto reactor = watch(item, "a", log);
    EXPECT_EQ(reactor->references(), 1u);
    reactor = nullptr;
    EXPECT_EQ(Recorder<Item>::_zelType.allocations().liveCount(), 0u);
}

TEST_F(NotifieeTest, DestroyingAReactorUnbindsIt) {
    auto first = watch(item, "a", log);
    const auto second = watch(item, "b", log);
    first = nullptr;
    EXPECT_EQ(item->notifieeList()->members(), 1u);
    EXPECT_EQ(item->references(), 2u) << "the test's, and the other reactor's";
    item->countIs(1);
    EXPECT_EQ(log, logOf({{"b", 259, "-"}}));
}

TEST_F(NotifieeTest, AReactorDoesNotHearOfItsOwnEnd) {
    int calls = 0;
    auto reactor = Zel::newActive<LastWord>(item, calls);
    const auto second = watch(item, "b", log);
    item->countIs(2);
    EXPECT_EQ(calls, 1);
    reactor = nullptr;
    EXPECT_EQ(item->count(), 1u);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(log, Log(2, {"b", 259, "-"}));
}

TEST_F(NotifieeTest, DestroyingTheLastHolderOfAnEntityDestroysTheEntity) {
    auto reactor = watch(item, "a", log);
    item = nullptr;
    reactor = nullptr;
    EXPECT_EQ(Item::_zelType.allocations().liveCount(), 1u);
}

TEST_F(NotifieeTest, TheFormerNotifierLivesUntilTheNewOneIsInPlace) {
    const auto reactor = Zel::newActive<AnyReactor>();
    Ptr<Mortal> former(new Mortal);
    Zel::PtrInterface const* seen = nullptr;
    bool registered = false;
    former->onDestruction = [&] {
        seen = reactor->notifier().ptr();
        registered = reactor->isRegisteredNotifiee();
        item->countIs(1);
    };
    reactor->notifierIs(std::exchange(former, nullptr));
    reactor->notifierIs(item);
    EXPECT_EQ(seen, item.ptr());
    EXPECT_TRUE(registered);
    EXPECT_EQ(reactor->calls, 1) << "it watches the new one while the former one dies";
}

TEST_F(NotifieeTest, TheEndOfTheFormerNotifierMayDestroyTheReactor) {
    auto reactor = Zel::newActive<AnyReactor>();
    Ptr<Mortal> former(new Mortal);
    former->onDestruction = [&] { reactor = nullptr; };
    reactor->notifierIs(std::exchange(former, nullptr));
    AnyReactor* const raw = reactor.ptr();
    raw->notifierIs(item);
    EXPECT_EQ(reactor, nullptr);
    EXPECT_TRUE(item->notifieeList()->empty());
    EXPECT_EQ(item->references(), 1u);
}

TEST_F(NotifieeTest, TheNotifierMayBeGivenByThePointerThatTheReactorKeeps) {
    const auto reactor = Zel::newActive<AnyReactor>();
    reactor->notifierIs(std::exchange(item, nullptr)); // now the reactor holds the only reference
    reactor->notifierIs(reactor->notifier());
    EXPECT_TRUE(reactor->isRegisteredNotifiee());
    EXPECT_EQ(Item::_zelType.allocations().liveCount(), 2u);
    reactor->notifierIs(nullptr);
    EXPECT_EQ(Item::_zelType.allocations().liveCount(), 1u);
}

TEST_F(NotifieeTest, AnEntityInThePlaceOfOneThatEndedAmidADeliveryHasNoPartInThatDelivery) {
    // More often than deliveries of one entity may be nested.
    const auto passage = Zel::newActive<Passage>(2 * Zel::NotifieeList::maxDepth);
    passage->start();
    EXPECT_EQ(passage->left(), 0u);
}

TEST_F(NotifieeDeathTest, AnEntityCannotBeDestroyedWhileReactorsAreBoundToIt) {
    EXPECT_EXIT(
        {
            const auto reactor = watch(item, "a", log);
            delete item.release();
        },
        ::testing::KilledBySignal(SIGABRT),
        ::testing::Eq(std::string(
            "Varnol: fatal: an entity was destroyed while reactors are bound to it\n")));
}

TEST_F(NotifieeTest, AReactorThatHasReferencesAgainStaysBound) {
    const auto reactor = watch(item, "a", log);
    reactor->zeroReferencesIs(false);
    item->countIs(1);
    EXPECT_EQ(log, logOf({{"a", 259, "-"}}));
    reactor->zeroReferencesIs(true);
    item->countIs(2);
    EXPECT_EQ(log.size(), 1u);
}

/// A reactor that does not say what it does with a notification.
class Silent final : public Zel::Object<Silent, Zel::NotifieeConstOf<Toy::Item>> {
  public:
    static Zel::TypeNode const _zelType;
};
constinit Zel::TypeNode const Silent::_zelType{"Silent", {}};

TEST_F(NotifieeTest, AReactorThatHandlesNothingIsNotifiedWithoutAnyEffect) {
    const auto silent = Zel::newActive<Silent>();
    silent->notifierIs(item);
    const auto behind = watch(item, "behind", log);
    const Zel::U64 before = Zel::notificationsDelivered();
    item->countIs(5);
    EXPECT_EQ(Zel::notificationsDelivered(), before + 2);
    EXPECT_EQ(log, logOf({{"behind", 259, "-"}}));
    EXPECT_EQ(item->count(), 5u);
    EXPECT_EQ(silent->notifier(), item);
}

// The hooks of the platform do nothing by themselves.

TEST_F(NotifieeTest, ThePlatformsHooksDoNothing) {
    const auto reactor = watch(item, "a", log);
    EXPECT_EQ(reactor->zelReactor(), nullptr);
    EXPECT_EQ(reactor->zelFwkActivity(), nullptr);
    EXPECT_EQ(reactor->actsm(), nullptr);
    reactor->handleNotification(nullptr);
    reactor->onNotificationException();
    reactor->onZeroReferences();
    EXPECT_EQ(reactor->references(), 1u);
    item->countIs(1);
    EXPECT_EQ(log, logOf({{"a", 259, "-"}}));
}

} // namespace
