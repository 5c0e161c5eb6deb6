#include "framework/zel/PtrInterface.h"

#include "framework/zel/Object.h"
#include "tests/framework/FailingAllocation.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using Zel::Ptr;
using Zel::PtrInterface;
using Zel::U32;

namespace {

constexpr U32 active = U32{1} << 29;
constexpr U32 marked = U32{1} << 31;
constexpr U32 mostReferences = (U32{1} << 29) - 1;

static_assert(PtrInterface::countMask == 0x5fffffff);
static_assert(PtrInterface::notificationActiveBit == active);
static_assert(PtrInterface::markedForDeletionBit == marked);
static_assert((PtrInterface::countMask & (active | marked)) == 0);
static_assert(sizeof(PtrInterface) == sizeof(void*) + 8, "the virtual table, one word and padding");
static_assert(!std::is_copy_constructible_v<PtrInterface>);
static_assert(!std::is_copy_assignable_v<PtrInterface>);

/// What happened to objects, in its order.
std::vector<std::string> events;

class Thing final : public Zel::Object<Thing, PtrInterface> {
  public:
    static Zel::TypeNode const _zelType;

    Thing() = default;
    /// Runs the action as the constructor of a class does whose construction runs handlers.
    explicit Thing(std::function<void(Thing&)> const& construction) {
        const Construction guard(*this);
        construction(*this);
    }
    ~Thing() override {
        destroyedThings.fetch_add(1, std::memory_order_relaxed);
        if (onDestruction)
            onDestruction(*this);
    }

    void zeroReferencesIs(bool zero) override {
        if (onZero)
            onZero(*this, zero);
    }

    std::function<void(Thing&, bool)> onZero;
    std::function<void(Thing&)> onDestruction;

    static inline std::atomic<int> destroyedThings = 0;
};
constinit Zel::TypeNode const Thing::_zelType{"Thing", {}};

/// The word itself: it lies behind the pointer to the virtual table.
std::atomic<U32>& word(PtrInterface& object) {
    return *reinterpret_cast<std::atomic<U32>*>(reinterpret_cast<char*>(&object) + sizeof(void*));
}

/// Sets the process-wide switch for as long as this object lives.
class ThreadSafePointers {
  public:
    explicit ThreadSafePointers(bool on)
        : before_(std::exchange(Zel::VFPtrInterface::threadSafePointers_, on)) {}
    ThreadSafePointers(ThreadSafePointers const&) = delete;
    ThreadSafePointers& operator=(ThreadSafePointers const&) = delete;
    ~ThreadSafePointers() { Zel::VFPtrInterface::threadSafePointers_ = before_; }

  private:
    bool before_;
};

/// Each test runs with the switch off and with the switch on.
class PtrInterfaceTest : public ::testing::TestWithParam<bool> {
  protected:
    PtrInterfaceTest()
        : switch_(GetParam()) {
        Thing::destroyedThings = 0;
        events.clear();
    }

    static int destroyed() { return Thing::destroyedThings; }

  private:
    ThreadSafePointers switch_;
};

using PtrInterfaceDeathTest = PtrInterfaceTest;

std::string switchName(::testing::TestParamInfo<bool> const& info) {
    return info.param ? "ThreadSafe" : "Plain";
}
INSTANTIATE_TEST_SUITE_P(Counting, PtrInterfaceTest, ::testing::Bool(), switchName);
INSTANTIATE_TEST_SUITE_P(Counting, PtrInterfaceDeathTest, ::testing::Bool(), switchName);

TEST(ThreadSafePointersSwitch, IsOffUnlessTheServiceSetsIt) {
    EXPECT_FALSE(Zel::VFPtrInterface::threadSafePointers_);
}

TEST_P(PtrInterfaceTest, IsBornWithoutReferencesAndWithItsFlagsClear) {
    Thing thing;
    EXPECT_EQ(thing.references(), 0u);
    EXPECT_FALSE(thing.hasNotificationActive());
    EXPECT_FALSE(thing.zelMarkedForDeletion());
    EXPECT_EQ(word(thing), 0u);
}

TEST_P(PtrInterfaceTest, KnowsItsClassAndHasNoReactors) {
    const Ptr<PtrInterface> thing(new Thing);
    EXPECT_EQ(thing->fwkType(), &Thing::_zelType);
    EXPECT_EQ(thing->notifieeList(), nullptr);
}

TEST_P(PtrInterfaceTest, TheFlagsAreBit29AndBit31) {
    Thing thing;
    thing.hasNotificationActiveIs(true);
    EXPECT_EQ(word(thing), active);
    EXPECT_TRUE(thing.hasNotificationActive());
    EXPECT_FALSE(thing.zelMarkedForDeletion());
    thing.zelMarkedForDeletionIs(true);
    EXPECT_EQ(word(thing), active | marked);
    EXPECT_TRUE(thing.zelMarkedForDeletion());
    thing.hasNotificationActiveIs(false);
    EXPECT_EQ(word(thing), marked);
    EXPECT_FALSE(thing.hasNotificationActive());
    EXPECT_TRUE(thing.zelMarkedForDeletion());
    thing.zelMarkedForDeletionIs(false);
    EXPECT_EQ(word(thing), 0u);
}

TEST_P(PtrInterfaceTest, AFlagCanBeSetAndClearedTwice) {
    Thing thing;
    thing.hasNotificationActiveIs(true);
    thing.hasNotificationActiveIs(true);
    thing.zelMarkedForDeletionIs(true);
    thing.zelMarkedForDeletionIs(true);
    EXPECT_EQ(word(thing), active | marked);
    thing.hasNotificationActiveIs(false);
    thing.hasNotificationActiveIs(false);
    thing.zelMarkedForDeletionIs(false);
    thing.zelMarkedForDeletionIs(false);
    EXPECT_EQ(word(thing), 0u);
}

TEST_P(PtrInterfaceTest, TheFlagsLeaveTheCountAlone) {
    Thing thing;
    for (const U32 count : {U32{0}, U32{1}, U32{2}, U32{0x0fffffff}, U32{0x10000000},
                            mostReferences, U32{0x5fffffff}}) {
        word(thing) = count;
        for (const bool first : {true, false}) {
            thing.hasNotificationActiveIs(first);
            EXPECT_EQ(thing.references(), count);
            thing.zelMarkedForDeletionIs(first);
            EXPECT_EQ(thing.references(), count);
        }
        EXPECT_EQ(word(thing), count);
    }
    word(thing) = 0;
}

TEST_P(PtrInterfaceTest, TheCountLeavesTheFlagsAlone) {
    Thing thing;
    for (const U32 flags : {U32{0}, active, marked, active | marked}) {
        for (const U32 count : {U32{1}, U32{2}, U32{0x0fffffff}, mostReferences - 1}) {
            word(thing) = flags | count;
            thing.referenceInc();
            EXPECT_EQ(word(thing), flags | (count + 1));
            EXPECT_EQ(thing.references(), count + 1);
            thing.referenceDec();
            EXPECT_EQ(word(thing), flags | count);
            EXPECT_EQ(thing.references(), count);
        }
    }
    word(thing) = 0;
}

TEST_P(PtrInterfaceTest, IsDestroyedExactlyWhenTheCountDropsToZero) {
    auto* const thing = new Thing;
    for (int i = 0; i < 5; ++i)
        thing->referenceInc();
    for (int i = 0; i < 4; ++i)
        thing->referenceDec();
    EXPECT_EQ(thing->references(), 1u);
    EXPECT_EQ(destroyed(), 0);
    thing->referenceDec();
    EXPECT_EQ(destroyed(), 1);
}

TEST_P(PtrInterfaceTest, IsDestroyedAtZeroWhateverItsFlags) {
    for (const U32 flags : {active, marked, active | marked}) {
        Thing::destroyedThings = 0;
        auto* const thing = new Thing;
        thing->referenceInc();
        word(*thing) |= flags;
        thing->referenceInc();
        thing->referenceDec();
        EXPECT_EQ(destroyed(), 0);
        thing->referenceDec();
        EXPECT_EQ(destroyed(), 1);
    }
}

TEST_P(PtrInterfaceTest, LivesWithoutReferencesUntilTheFirstOneGoes) {
    Thing thing; // never referenced, so never destroyed by counting
    EXPECT_EQ(destroyed(), 0);
}

TEST_P(PtrInterfaceTest, IsToldOfTheLastReferenceBeforeItIsDestroyed) {
    Ptr<Thing> thing(new Thing);
    thing->onZero = [](Thing&, bool zero) { events.push_back(zero ? "zero" : "not zero"); };
    thing->onDestruction = [](Thing&) { events.push_back("destroyed"); };
    { const Ptr<Thing> second = thing; }
    EXPECT_TRUE(events.empty());
    thing = nullptr;
    EXPECT_EQ(events, (std::vector<std::string>{"zero", "destroyed"}));
}

TEST_P(PtrInterfaceTest, HandleZeroRefDestroys) {
    auto* const thing = new Thing;
    thing->handleZeroRef();
    EXPECT_EQ(destroyed(), 1);
}

TEST_P(PtrInterfaceTest, TemporaryReferencesInDestructorsDoNoHarm) {
    Ptr<Thing> thing(new Thing);
    thing->hasNotificationActiveIs(true);
    thing->zelMarkedForDeletionIs(true);
    const auto touch = [](Thing& self) {
        {
            const Ptr<Thing> first(&self);
            const Ptr<Thing> second = first;
        }
        const Ptr<Thing> again(&self);
        EXPECT_TRUE(self.hasNotificationActive());
        EXPECT_TRUE(self.zelMarkedForDeletion());
    };
    thing->onZero = [touch](Thing& self, bool) { touch(self); };
    thing->onDestruction = touch;
    thing = nullptr;
    EXPECT_EQ(destroyed(), 1);
}

TEST_P(PtrInterfaceTest, FlagsCanBeSwitchedInDestructors) {
    Ptr<Thing> thing(new Thing);
    thing->onDestruction = [](Thing& self) {
        const Ptr<Thing> temporary(&self);
        self.hasNotificationActiveIs(true);
        self.zelMarkedForDeletionIs(true);
        self.hasNotificationActiveIs(false);
        EXPECT_TRUE(self.zelMarkedForDeletion());
        EXPECT_FALSE(self.hasNotificationActive());
    };
    thing = nullptr;
    EXPECT_EQ(destroyed(), 1);
}

TEST_P(PtrInterfaceTest, ADestructorMayDestroyOtherObjectsOfItsClass) {
    Ptr<Thing> first(new Thing);
    Ptr<Thing> second(new Thing);
    first->onDestruction = [&](Thing&) { second = nullptr; };
    second->onDestruction = [](Thing& self) { const Ptr<Thing> temporary(&self); };
    first = nullptr;
    EXPECT_EQ(destroyed(), 2);
}

TEST_P(PtrInterfaceTest, ReferencesGivenBackDuringConstructionDoNotDestroy) {
    const Ptr<Thing> thing(new Thing([](Thing& self) {
        { const Ptr<Thing> temporary(&self); }
        {
            const Ptr<Thing> first(&self);
            const Ptr<Thing> second = first;
        }
        EXPECT_EQ(destroyed(), 0);
    }));
    EXPECT_EQ(destroyed(), 0);
    EXPECT_EQ(thing->references(), 1u);
}

TEST_P(PtrInterfaceTest, ConstructionLeavesNoReferenceBehind) {
    Thing* const thing = new Thing([](Thing& self) { const Ptr<Thing> temporary(&self); });
    EXPECT_EQ(word(*thing), 0u);
    const Ptr<Thing> first(thing);
    EXPECT_EQ(thing->references(), 1u);
}

TEST_P(PtrInterfaceTest, AReferenceTakenDuringConstructionMayBeKept) {
    Ptr<Thing> kept;
    Thing* const thing = new Thing([&](Thing& self) { kept = Ptr<Thing>(&self); });
    EXPECT_EQ(kept.ptr(), thing);
    EXPECT_EQ(thing->references(), 1u);
    kept = nullptr;
    EXPECT_EQ(destroyed(), 1);
}

TEST_P(PtrInterfaceTest, ASecondConstructionOfTheSameObjectDoesNothing) {
    struct Nested final : Zel::PtrInterface {
        Nested() {
            const Construction outer(*this);
            const U32 before = ::word(*this);
            {
                const Construction inner(*this);
                EXPECT_EQ(::word(*this), before);
                EXPECT_FALSE(hasNotificationActive());
            }
            const Zel::Ptr<Nested> taken(this);
        }
        Zel::TypeNode const* fwkType() const override { return nullptr; }
    };
    const Zel::Ptr<Nested> object(new Nested);
    EXPECT_EQ(object->references(), 1u);
    EXPECT_FALSE(object->hasNotificationActive());
}

TEST_P(PtrInterfaceTest, FlagsSetDuringConstructionStay) {
    const Ptr<Thing> thing(new Thing([](Thing& self) {
        self.hasNotificationActiveIs(true);
        EXPECT_TRUE(self.hasNotificationActive());
        const Ptr<Thing> temporary(&self);
        self.zelMarkedForDeletionIs(true);
    }));
    EXPECT_EQ(word(*thing), active | marked | 1u);
}

TEST_P(PtrInterfaceTest, AConstructorThatThrowsAfterTemporaryReferencesFreesItsObjectOnce) {
    const std::ptrdiff_t before = FailingAllocation::outstanding();
    EXPECT_THROW(new Thing([](Thing& self) {
                     { const Ptr<Thing> temporary(&self); }
                     throw std::runtime_error("construction fails");
                 }),
                 std::runtime_error);
    EXPECT_EQ(destroyed(), 0); // it has never lived
    EXPECT_EQ(Thing::_zelType.allocations().liveCount(), 0u);
    EXPECT_EQ(FailingAllocation::outstanding(), before);
}

TEST_P(PtrInterfaceDeathTest, AsManyReferencesAsThereAreCanBeHeldAndNotOneMore) {
    for (const U32 flags : {U32{0}, active, marked, active | marked}) {
        Thing thing;
        word(thing) = flags | (mostReferences - 1);
        thing.referenceInc();
        EXPECT_EQ(thing.references(), mostReferences);
        EXPECT_EQ(word(thing), flags | mostReferences);
        EXPECT_EXIT(
            thing.referenceInc(), ::testing::KilledBySignal(SIGABRT),
            ::testing::Eq(std::string("Varnol: fatal: too many references to one object\n")));
        word(thing) = 0;
    }
}

TEST_P(PtrInterfaceDeathTest, AReferenceThatIsNotHeldCannotBeGivenBack) {
    for (const U32 flags : {U32{0}, active, marked, active | marked}) {
        Thing thing;
        word(thing) = flags;
        EXPECT_EXIT(thing.referenceDec(), ::testing::KilledBySignal(SIGABRT),
                    ::testing::Eq(std::string(
                        "Varnol: fatal: a reference was given back that was not held\n")));
        word(thing) = 0;
    }
}

constexpr const char* destroyedWhileHeld =
    "Varnol: fatal: an object was destroyed while references to it are held\n";

TEST_P(PtrInterfaceDeathTest, AnObjectCannotBeDestroyedWhileReferencesAreHeld) {
    EXPECT_EXIT(
        {
            auto* const thing = new Thing;
            thing->referenceInc();
            delete thing;
        },
        ::testing::KilledBySignal(SIGABRT), ::testing::Eq(std::string(destroyedWhileHeld)));
}

TEST_P(PtrInterfaceDeathTest, AnObjectOnTheStackCannotBeLeftToAPointer) {
    EXPECT_EXIT(
        {
            Ptr<Thing> outlives;
            Thing thing;
            outlives.ptrAssign(&thing);
            outlives->referenceInc();
            thing.~Thing();
        },
        ::testing::KilledBySignal(SIGABRT), ::testing::Eq(std::string(destroyedWhileHeld)));
}

TEST_P(PtrInterfaceDeathTest, ADestructorCannotKeepAReferenceToItsObject) {
    EXPECT_EXIT(
        {
            Ptr<Thing> kept;
            Ptr<Thing> thing(new Thing);
            thing->onDestruction = [&](Thing& self) { kept = Ptr<Thing>(&self); };
            thing = nullptr;
        },
        ::testing::KilledBySignal(SIGABRT), ::testing::Eq(std::string(destroyedWhileHeld)));
}

TEST_P(PtrInterfaceDeathTest, AnObjectToldOfItsLastReferenceCannotBeResurrected) {
    EXPECT_EXIT(
        {
            Ptr<Thing> kept;
            Ptr<Thing> thing(new Thing);
            thing->onZero = [&](Thing& self, bool) { kept = Ptr<Thing>(&self); };
            thing = nullptr;
        },
        ::testing::KilledBySignal(SIGABRT), ::testing::Eq(std::string(destroyedWhileHeld)));
}

TEST_P(PtrInterfaceDeathTest, AConstructorThatThrowsCannotKeepAReferenceToItsObject) {
    EXPECT_EXIT(
        {
            Ptr<Thing> kept;
            try {
                new Thing([&](Thing& self) {
                    kept = Ptr<Thing>(&self);
                    throw std::runtime_error("construction fails");
                });
            } catch (std::runtime_error const&) {
            }
        },
        ::testing::KilledBySignal(SIGABRT), ::testing::Eq(std::string(destroyedWhileHeld)));
}

TEST(PtrInterfaceMemory, IsAlignedForAnyType) {
    for (std::size_t size = 1; size < 200; size += 7) {
        void* const memory = PtrInterface::zelMemAlloc(size);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % alignof(std::max_align_t), 0u);
        std::memset(memory, 0xa5, size);
        PtrInterface::zelMemFree(memory);
    }
}

TEST(PtrInterfaceMemory, IsRefusedByAnException) {
    const FailingAllocation exhausted(1);
    EXPECT_THROW(PtrInterface::zelMemAlloc(16), std::bad_alloc);
}

// With the switch on, pointers are shared among threads.

class SharedPointers : public ::testing::Test {
  protected:
    SharedPointers() { Thing::destroyedThings = 0; }

    /// Runs the work in two threads at once, with 0 and 1, and waits for both.
    template <class Work> static void inTwoThreads(Work const& work) {
        std::atomic<int> ready = 0;
        const auto run = [&](unsigned which) {
            ++ready;
            while (ready != 2)
                std::this_thread::yield();
            work(which);
        };
        std::thread other(run, 1u);
        run(0);
        other.join();
    }

    /// After these, two threads that never meet give up: on one processor they take turns.
    static constexpr unsigned mostRounds = 20'000'000;

    /// Does rounds of the work, work(which, round), in two threads at once, until one has seen the
    /// other at work twenty thousand times: on a busy machine they seldom meet.
    template <class Work> static void inTwoThreadsUntilTheyMet(Work const& work) {
        std::atomic<unsigned> rounds[2]{};
        std::atomic<bool> met{false};
        inTwoThreads([&](unsigned which) {
            unsigned seen = 0;
            unsigned before = 0;
            for (unsigned round = 0; round < mostRounds && !met; ++round) {
                work(which, round);
                rounds[which].store(round + 1, std::memory_order_relaxed);
                const unsigned others = rounds[1 - which].load(std::memory_order_relaxed);
                if (others != before) {
                    before = others;
                    if (++seen == 20'000)
                        met = true;
                }
            }
        });
    }

  private:
    ThreadSafePointers switch_{true};
};

TEST_F(SharedPointers, TwoThreadsCountOneObjectExactly) {
    const Ptr<Thing> thing(new Thing);
    std::vector<Ptr<Thing>> kept[2];
    inTwoThreadsUntilTheyMet([&](unsigned which, unsigned round) {
        const Ptr<Thing> copy = thing;
        Ptr<Thing> moved = copy;
        if (round % 20 == 0 && kept[which].size() < 1000)
            kept[which].push_back(std::move(moved));
    });
    EXPECT_EQ(thing->references(), 1 + kept[0].size() + kept[1].size());
    inTwoThreads([&](unsigned which) { kept[which].clear(); });
    EXPECT_EQ(thing->references(), 1u);
    EXPECT_EQ(Thing::destroyedThings, 0);
}

TEST_F(SharedPointers, TheLastOfTwoThreadsDestroysTheObjectAndOnlyOnce) {
    constexpr int objects = 5'000;
    std::vector<Ptr<Thing>> held[2];
    for (int i = 0; i < objects; ++i) {
        held[0].push_back(Ptr(new Thing));
        held[1].push_back(held[0].back());
    }
    inTwoThreads([&](unsigned which) {
        for (Ptr<Thing>& pointer : held[which])
            pointer = nullptr;
    });
    EXPECT_EQ(Thing::destroyedThings, objects);
    EXPECT_EQ(Thing::_zelType.allocations().liveCount(), 0u);
}

TEST_F(SharedPointers, WhatOneThreadWroteIsSeenByTheOneThatDestroys) {
    struct Shared {
        int written[2] = {};
    };
    for (int round = 0; round < 200; ++round) {
        Shared shared;
        int sum = 0;
        Ptr<Thing> held[2] = {Ptr(new Thing), nullptr};
        held[1] = held[0];
        held[0]->onDestruction = [&](Thing&) { sum = shared.written[0] + shared.written[1]; };
        inTwoThreads([&](unsigned which) {
            shared.written[which] = round + 1;
            held[which] = nullptr;
        });
        ASSERT_EQ(sum, 2 * (round + 1));
    }
}

TEST_F(SharedPointers, TwoThreadsSwitchTheFlagsAndCountWithoutDisturbingEachOther) {
    const Ptr<Thing> thing(new Thing);
    const auto work = [&](auto flagIs, auto flag, bool on) {
        ((*thing).*flagIs)(on);
        ASSERT_EQ(((*thing).*flag)(), on);
        const Ptr<Thing> copy = thing;
    };
    inTwoThreadsUntilTheyMet([&](unsigned which, unsigned round) {
        const bool on = round % 2 == 0;
        if (which == 0)
            work(&Thing::hasNotificationActiveIs, &Thing::hasNotificationActive, on);
        else
            work(&Thing::zelMarkedForDeletionIs, &Thing::zelMarkedForDeletion, on);
    });
    thing->hasNotificationActiveIs(false);
    thing->zelMarkedForDeletionIs(false);
    EXPECT_EQ(word(*thing), 1u);
}

} // namespace
