#include "framework/zel/AllocTrack.h"

#include "framework/zel/Object.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/ToyModel.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <thread>
#include <typeinfo>
#include <vector>

using Zel::AllocTrackTypeInfo;
using Zel::Ptr;
using Zel::U64;

namespace {

template <class T> U64 liveCount() { return T::_zelType.allocations().liveCount(); }

class Tracked : public Zel::Object<Tracked, Zel::PtrInterface> {
  public:
    static Zel::TypeNode const _zelType;
    explicit Tracked(bool fails = false) {
        duringConstruction = liveCount<Tracked>();
        if (fails)
            throw std::runtime_error("construction fails");
    }
    ~Tracked() override { duringDestruction = liveCount<Tracked>(); }

    static inline U64 duringConstruction = 0;
    static inline U64 duringDestruction = 0;
};
constinit Zel::TypeNode const Tracked::_zelType{"Tracked", {}};

class DerivedTracked final : public Zel::Object<DerivedTracked, Tracked> {
  public:
    static Zel::TypeNode const _zelType;
    U64 more[4] = {};
};
constinit Zel::TypeNode const DerivedTracked::_zelType{"DerivedTracked", {}};

/// Fails in the constructor of a member, when its base is made already.
class FailingMember final : public Zel::Object<FailingMember, Zel::PtrInterface> {
  public:
    static Zel::TypeNode const _zelType;
    struct Member {
        Member() { throw std::runtime_error("construction fails"); }
    };
    Zel::Ptr<Tracked> built{new Tracked};
    Member member;
};
constinit Zel::TypeNode const FailingMember::_zelType{"FailingMember", {}};

TEST(AllocTrack, ASlotBeginsEmpty) {
    const AllocTrackTypeInfo::Slot slot;
    EXPECT_EQ(slot.liveCount(), 0u);
    EXPECT_EQ(slot.objectSize(), 0u);
    EXPECT_EQ(slot.type(), nullptr);
}

TEST(AllocTrack, ASlotCountsUpAndDown) {
    AllocTrackTypeInfo::Slot slot;
    AllocTrackTypeInfo::trackAllocation(slot, typeid(int), 4);
    AllocTrackTypeInfo::trackAllocation(slot, typeid(int), 4);
    EXPECT_EQ(slot.liveCount(), 2u);
    EXPECT_EQ(slot.objectSize(), 4u);
    EXPECT_EQ(*slot.type(), typeid(int));
    AllocTrackTypeInfo::trackDeallocation(slot);
    EXPECT_EQ(slot.liveCount(), 1u);
    AllocTrackTypeInfo::trackDeallocation(slot);
    EXPECT_EQ(slot.liveCount(), 0u);
    EXPECT_EQ(slot.objectSize(), 4u) << "what is known of the class stays known";
    AllocTrackTypeInfo::trackAllocation(slot, typeid(int), 4);
    EXPECT_EQ(slot.liveCount(), 1u);
}

TEST(AllocTrack, LiveObjectsOfAClassAreCounted) {
    ASSERT_EQ(liveCount<Tracked>(), 0u);
    Ptr<Tracked> first(new Tracked);
    EXPECT_EQ(liveCount<Tracked>(), 1u);
    Ptr<Tracked> second(new Tracked);
    EXPECT_EQ(liveCount<Tracked>(), 2u);
    const Ptr<Tracked> same = second;
    EXPECT_EQ(liveCount<Tracked>(), 2u);
    first = nullptr;
    EXPECT_EQ(liveCount<Tracked>(), 1u);
    second = nullptr;
    EXPECT_EQ(liveCount<Tracked>(), 1u);
}

TEST(AllocTrack, TheClassAndItsSizeAreRecorded) {
    { const Ptr<DerivedTracked> object(new DerivedTracked); }
    EXPECT_EQ(DerivedTracked::_zelType.allocations().objectSize(), sizeof(DerivedTracked));
    ASSERT_NE(DerivedTracked::_zelType.allocations().type(), nullptr);
    EXPECT_EQ(*DerivedTracked::_zelType.allocations().type(), typeid(DerivedTracked));
}

TEST(AllocTrack, AnObjectIsCountedWhileItIsConstructedAndWhileItIsDestroyed) {
    { const Ptr<Tracked> object(new Tracked); }
    EXPECT_EQ(Tracked::duringConstruction, 1u);
    EXPECT_EQ(Tracked::duringDestruction, 1u);
    EXPECT_EQ(liveCount<Tracked>(), 0u);
}

TEST(AllocTrack, ADerivedClassIsCountedByItself) {
    Ptr<Tracked> object = Ptr(new DerivedTracked);
    EXPECT_EQ(liveCount<DerivedTracked>(), 1u);
    EXPECT_EQ(liveCount<Tracked>(), 0u);
    object = nullptr; // through a pointer to its base
    EXPECT_EQ(liveCount<DerivedTracked>(), 0u);
    EXPECT_EQ(liveCount<Tracked>(), 0u);
}

TEST(AllocTrack, EachClassIsCountedApart) {
    const auto before = Toy::liveObjects();
    {
        const Ptr<Toy::Record> record(new Toy::Record);
        record->itemIs(1);
        record->itemIs(2);
        record->groupIs("g")->itemIs(1);
        auto expected = before;
        expected["Toy::Record"] += 1;
        expected["Toy::Item"] += 3;
        expected["Toy::Group"] += 1;
        EXPECT_EQ(Toy::liveObjects(), expected);
    }
    EXPECT_EQ(Toy::liveObjects(), before);
}

TEST(AllocTrack, AConstructorThatThrowsUndoesTheRecord) {
    const std::ptrdiff_t memory = FailingAllocation::outstanding();
    EXPECT_THROW(new Tracked(true), std::runtime_error);
    EXPECT_EQ(Tracked::duringConstruction, 1u);
    EXPECT_EQ(liveCount<Tracked>(), 0u);
    EXPECT_EQ(FailingAllocation::outstanding(), memory);
}

TEST(AllocTrack, AMemberThatThrowsUndoesTheRecordAndWhatWasBuilt) {
    const std::ptrdiff_t memory = FailingAllocation::outstanding();
    EXPECT_THROW(new FailingMember, std::runtime_error);
    EXPECT_EQ(liveCount<FailingMember>(), 0u);
    EXPECT_EQ(liveCount<Tracked>(), 0u);
    EXPECT_EQ(FailingAllocation::outstanding(), memory);
}

TEST(AllocTrack, ExhaustedMemoryUndoesTheRecord) {
    const Ptr<Tracked> another(new Tracked);
    const std::ptrdiff_t memory = FailingAllocation::outstanding();
    {
        const FailingAllocation exhausted(1);
        EXPECT_THROW(new Tracked, std::bad_alloc);
        EXPECT_TRUE(exhausted.happened());
    }
    EXPECT_EQ(liveCount<Tracked>(), 1u);
    EXPECT_EQ(FailingAllocation::outstanding(), memory);
}

TEST(AllocTrack, NewActiveUndoesTheRecordToo) {
    EXPECT_THROW(Zel::newActive<Tracked>(true), std::runtime_error);
    EXPECT_EQ(liveCount<Tracked>(), 0u);
}

TEST(AllocTrack, TwoThreadsAreCountedExactly) {
    const auto makeMany = [](std::vector<Ptr<Toy::Item>>& items) {
        for (int i = 0; i < 5'000; ++i) {
            items.emplace_back(new Toy::Item(1));
            const Ptr<Toy::Item> temporary(new Toy::Item(2));
        }
    };
    const U64 before = liveCount<Toy::Item>();
    std::vector<Ptr<Toy::Item>> items[2];
    std::thread other(makeMany, std::ref(items[1]));
    makeMany(items[0]);
    other.join();
    EXPECT_EQ(liveCount<Toy::Item>(), before + 10'000);
    items[0].clear();
    items[1].clear();
    EXPECT_EQ(liveCount<Toy::Item>(), before);
}

} // namespace
