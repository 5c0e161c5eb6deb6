#include "framework/zel/Ptr.h"

#include "framework/zel/Object.h"

#include <gtest/gtest.h>

#include <functional>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

using Zel::Ptr;
using Zel::ptrCast;

namespace {

int destroyed = 0;

class Base : public Zel::Object<Base, Zel::PtrInterface> {
  public:
    static Zel::TypeNode const _zelType;
    ~Base() override {
        ++destroyed;
        if (onDestruction)
            onDestruction();
    }

    Zel::Ptr<Base> next;
    std::function<void()> onDestruction;
};
constinit Zel::TypeNode const Base::_zelType{"Base", {}};

class Derived final : public Zel::Object<Derived, Base> {
  public:
    static Zel::TypeNode const _zelType;
};
constinit Zel::TypeNode const Derived::_zelType{"Derived", {}};

class Unrelated final : public Zel::Object<Unrelated, Zel::PtrInterface> {
  public:
    static Zel::TypeNode const _zelType;
};
constinit Zel::TypeNode const Unrelated::_zelType{"Unrelated", {}};

class PtrTest : public ::testing::Test {
  protected:
    PtrTest() { destroyed = 0; }
};

// What must not compile.

template <class From, class To>
constexpr bool nothingMakes =
    !std::is_convertible_v<From, To> && !std::is_constructible_v<To, From> &&
    !std::is_assignable_v<To&, From>;

template <class Left, class Right>
concept EqualityComparable = requires(Left left, Right right) {
    left == right;
};
template <class Left, class Right>
concept Ordered = requires(Left left, Right right) {
    left < right;
};
// What must.

static_assert(std::is_constructible_v<Ptr<Base>, Base*>);
static_assert(std::is_constructible_v<Ptr<Base>, Derived*>);
static_assert(std::is_constructible_v<Ptr<Base const>, Base*>);
static_assert(std::is_convertible_v<std::nullptr_t, Ptr<Base>>);
static_assert(std::is_convertible_v<Ptr<Derived>, Ptr<Base>>);
static_assert(std::is_convertible_v<Ptr<Derived> const&, Ptr<Base const>>);
static_assert(std::is_convertible_v<Ptr<Base>, Ptr<Base const>>);
static_assert(std::is_assignable_v<Ptr<Base const>&, Ptr<Derived>>);
static_assert(std::is_same_v<Ptr<Base const>::element_type, Base const>);
static_assert(std::is_same_v<decltype(Ptr(static_cast<Derived*>(nullptr))), Ptr<Derived>>);
static_assert(std::is_nothrow_default_constructible_v<Ptr<Base>>);
static_assert(std::is_nothrow_copy_constructible_v<Ptr<Base>>);
static_assert(std::is_nothrow_move_constructible_v<Ptr<Base>>);
static_assert(std::is_nothrow_swappable_v<Ptr<Base>>);
static_assert(sizeof(Ptr<Base>) == sizeof(Base*));

TEST_F(PtrTest, ConversionsThatMustNotCompileDoNot) {
    EXPECT_TRUE((nothingMakes<Ptr<Base const>, Ptr<Base>>)) << "const is not cast away";
    EXPECT_TRUE((nothingMakes<Ptr<Base const> const&, Ptr<Base>>));
    EXPECT_TRUE((nothingMakes<Ptr<Derived const>, Ptr<Base>>));
    EXPECT_TRUE((nothingMakes<Ptr<Base>, Ptr<Derived>>))
        << "nothing becomes a derived class by itself";
    EXPECT_TRUE((nothingMakes<Ptr<Base> const&, Ptr<Derived>>));
    EXPECT_TRUE((nothingMakes<Ptr<Unrelated>, Ptr<Base>>));
    EXPECT_TRUE((nothingMakes<Base const*, Ptr<Base>>));
    EXPECT_TRUE((nothingMakes<Unrelated*, Ptr<Base>>));
    EXPECT_TRUE((nothingMakes<Base&, Ptr<Base>>));
    EXPECT_TRUE((nothingMakes<int, Ptr<Base>>));
    EXPECT_TRUE((nothingMakes<bool, Ptr<Base>>));
    EXPECT_TRUE((nothingMakes<void*, Ptr<Base>>));
    EXPECT_TRUE((nothingMakes<Ptr<Base>, Base*>)) << "a reference is not lost by accident";
    EXPECT_TRUE((nothingMakes<Ptr<Base>, Base&>));
    EXPECT_TRUE((nothingMakes<Ptr<Base>, int>));
    EXPECT_FALSE((std::is_convertible_v<Base*, Ptr<Base>>))
        << "a raw pointer is taken up on request only";
    EXPECT_FALSE((std::is_assignable_v<Ptr<Base>&, Base*>));
    EXPECT_FALSE((std::is_convertible_v<Ptr<Base>, bool>))
        << "the test for null is for conditions only";
}

TEST_F(PtrTest, ComparisonsThatMustNotCompileDoNot) {
    EXPECT_FALSE((EqualityComparable<Ptr<Base>, Ptr<Unrelated>>));
    EXPECT_FALSE((EqualityComparable<Ptr<Base>, int>));
    EXPECT_FALSE((Ordered<Ptr<Base>, Ptr<Base>>)) << "addresses are no order";
}

TEST_F(PtrTest, IsNullUnlessItIsGivenAnObject) {
    const Ptr<Base> made;
    const Ptr<Base> given = nullptr;
    const Ptr<Base> taken(static_cast<Base*>(nullptr));
    EXPECT_FALSE(made);
    EXPECT_FALSE(given);
    EXPECT_FALSE(taken);
    EXPECT_EQ(made.ptr(), nullptr);
}

TEST_F(PtrTest, PointsAtItsObject) {
    Base* const raw = new Base;
    const Ptr<Base> pointer(raw);
    EXPECT_TRUE(pointer);
    EXPECT_EQ(pointer.ptr(), raw);
    EXPECT_EQ(pointer.operator->(), raw);
    EXPECT_EQ(&*pointer, raw);
}

TEST_F(PtrTest, TakesOneReferenceAndGivesItBack) {
    Base* const raw = new Base;
    {
        const Ptr<Base> pointer(raw);
        EXPECT_EQ(raw->references(), 1u);
        {
            const Ptr<Base> second(raw);
            EXPECT_EQ(raw->references(), 2u);
        }
        EXPECT_EQ(raw->references(), 1u);
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
}

TEST_F(PtrTest, AdoptsAnObjectWithoutTheReferencesThatOthersHold) {
    Base* const raw = new Base;
    raw->referenceInc(); // not a pointer's
    {
        const Ptr<Base> adopting(raw);
        EXPECT_EQ(raw->references(), 2u);
    }
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(raw->references(), 1u);
    const Ptr<Base> last(raw);
    raw->referenceDec();
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(last->references(), 1u);
}

TEST_F(PtrTest, CopyingTakesAReference) {
    const Ptr<Base> first(new Base);
    const Ptr<Base> copy(first);
    Ptr<Base> assigned;
    assigned = copy;
    const Ptr<Base const> toConst(first);
    EXPECT_EQ(first->references(), 4u);
    EXPECT_EQ(copy, first);
    EXPECT_EQ(assigned, first);
    EXPECT_EQ(toConst, first);
}

TEST_F(PtrTest, MovingHandsTheReferenceOver) {
    Ptr<Base> first(new Base);
    Base* const raw = first.ptr();
    Ptr<Base> second(std::move(first));
    EXPECT_EQ(first, nullptr); // moved from on purpose
    EXPECT_EQ(second.ptr(), raw);
    EXPECT_EQ(raw->references(), 1u);

    Ptr<Base> third;
    third = std::move(second);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(third.ptr(), raw);
    EXPECT_EQ(raw->references(), 1u);
    EXPECT_EQ(destroyed, 0);
}

TEST_F(PtrTest, MovingToABaseOrToConstHandsTheReferenceOver) {
    Ptr<Derived> derived(new Derived);
    Derived* const raw = derived.ptr();
    Ptr<Base> base(std::move(derived));
    EXPECT_EQ(derived, nullptr);
    EXPECT_EQ(raw->references(), 1u);
    const Ptr<Base const> constant(std::move(base));
    EXPECT_EQ(base, nullptr);
    EXPECT_EQ(constant.ptr(), raw);
    EXPECT_EQ(raw->references(), 1u);
}

TEST_F(PtrTest, AssigningAnotherObjectReleasesTheFormerOne) {
    Ptr<Base> pointer(new Base);
    const Ptr<Base> other(new Base);
    pointer = other;
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(other->references(), 2u);
    pointer = nullptr;
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(other->references(), 1u);
}

TEST_F(PtrTest, AssigningItselfChangesNothing) {
    Ptr<Base> pointer(new Base);
    Ptr<Base>& same = pointer;
    pointer = same;
    EXPECT_EQ(destroyed, 0);
    ASSERT_TRUE(pointer);
    EXPECT_EQ(pointer->references(), 1u);
}

TEST_F(PtrTest, MovingItselfIntoItselfChangesNothing) {
    Ptr<Base> pointer(new Base);
    Ptr<Base>& same = pointer;
    pointer = std::move(same);
    EXPECT_EQ(destroyed, 0);
    ASSERT_TRUE(pointer);
    EXPECT_EQ(pointer->references(), 1u);
}

TEST_F(PtrTest, AssigningItsOwnObjectChangesNothing) {
    Ptr<Base> pointer(new Base);
    pointer.ptrAssign(pointer.ptr());
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(pointer->references(), 1u);
}

TEST_F(PtrTest, PtrAssignExchangesTheObject) {
    Ptr<Base> pointer(new Base);
    Base* const second = new Base;
    pointer.ptrAssign(second);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(pointer.ptr(), second);
    EXPECT_EQ(second->references(), 1u);
    pointer.ptrAssign(nullptr);
    EXPECT_EQ(destroyed, 2);
    EXPECT_EQ(pointer, nullptr);
}

TEST_F(PtrTest, CrossAssignmentSwapsTheObjects) {
    Ptr<Base> left(new Base);
    Ptr<Base> right(new Base);
    Base* const first = left.ptr();
    Base* const second = right.ptr();
    const Ptr<Base> kept = left;
    left = right;
    right = kept;
    EXPECT_EQ(left.ptr(), second);
    EXPECT_EQ(right.ptr(), first);
    EXPECT_EQ(second->references(), 1u);
    EXPECT_EQ(first->references(), 2u);
    std::swap(left, right);
    EXPECT_EQ(left.ptr(), first);
    EXPECT_EQ(second->references(), 1u);
    EXPECT_EQ(destroyed, 0);
}

TEST_F(PtrTest, ObjectsThatPointAtEachOtherCanBeCrossAssigned) {
    Ptr<Base> left(new Base);
    Ptr<Base> right(new Base);
    left->next = right;
    right->next = left;
    left = left->next;   // now the right one
    right = right->next; // now the left one
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(left->next, right);
    EXPECT_EQ(right->next, left);
    left->next = nullptr;
    left = nullptr;
    EXPECT_EQ(destroyed, 0);
    right->next = nullptr;
    EXPECT_EQ(destroyed, 1);
}

TEST_F(PtrTest, WalksAListThatDiesBehindIt) {
    Ptr<Base> pointer(new Base);
    pointer->next = Ptr(new Base);
    pointer->next->next = Ptr(new Base);
    int steps = 0;
    while (pointer) {
        EXPECT_EQ(destroyed, steps);
        pointer = pointer->next;
        ++steps;
    }
    EXPECT_EQ(steps, 3);
    EXPECT_EQ(destroyed, 3);
}

TEST_F(PtrTest, WalksAListByMovingThatDiesBehindIt) {
    Ptr<Base> pointer(new Base);
    pointer->next = Ptr(new Base);
    pointer = std::move(pointer->next);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(pointer->references(), 1u);
}

TEST_F(PtrTest, WalksAListByRawPointerThatDiesBehindIt) {
    Ptr<Base> pointer(new Base);
    pointer->next = Ptr(new Base);
    pointer.ptrAssign(pointer->next.ptr());
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(pointer->references(), 1u);
}

TEST_F(PtrTest, APointerThatOwnsItselfCanBeCleared) {
    Ptr<Base> pointer(new Base);
    Base* const raw = pointer.ptr();
    raw->next = pointer;
    pointer = nullptr;
    EXPECT_EQ(destroyed, 0);
    raw->next = nullptr; // the pointer lies in the object that dies
    EXPECT_EQ(destroyed, 1);
}

TEST_F(PtrTest, APointerThatOwnsItselfCanBeMovedOut) {
    Base* const raw = new Base;
    raw->next = Ptr(raw);
    { const Ptr<Base> out = std::move(raw->next); }
    EXPECT_EQ(destroyed, 1);
}

TEST_F(PtrTest, IsNullBeforeTheOldObjectDies) {
    Ptr<Base> pointer(new Base);
    bool wasNull = false;
    pointer->onDestruction = [&] { wasNull = pointer == nullptr; };
    pointer = nullptr;
    EXPECT_TRUE(wasNull);
    EXPECT_EQ(destroyed, 1);
}

TEST_F(PtrTest, HasItsNewValueBeforeTheOldObjectDies) {
    Ptr<Base> pointer(new Base);
    const Ptr<Base> next(new Base);
    Base* seen = nullptr;
    const auto look = [&] { seen = pointer.ptr(); };
    pointer->onDestruction = look;
    pointer = next;
    EXPECT_EQ(seen, next.ptr());

    seen = nullptr;
    pointer = Ptr(new Base);
    pointer->onDestruction = look;
    pointer.ptrAssign(next.ptr());
    EXPECT_EQ(seen, next.ptr());
}

TEST_F(PtrTest, AnOldObjectMayAssignThePointerThatLeavesIt) {
    Ptr<Base> pointer(new Base);
    const Ptr<Base> last(new Base);
    pointer->onDestruction = [&] { pointer = last; };
    pointer = Ptr(new Base);
    EXPECT_EQ(pointer, last);
    EXPECT_EQ(destroyed, 2);
    EXPECT_EQ(last->references(), 2u);
}

TEST_F(PtrTest, ReleaseHandsTheReferenceOver) {
    Ptr<Base> pointer(new Base);
    Base* const raw = pointer.release();
    EXPECT_EQ(pointer, nullptr);
    EXPECT_EQ(raw->references(), 1u);
    raw->referenceDec();
    EXPECT_EQ(destroyed, 1);
}

TEST_F(PtrTest, PointersAreEqualWhenTheirObjectsAre) {
    const Ptr<Derived> derived(new Derived);
    const Ptr<Base> base = derived;
    const Ptr<Base const> constant = base;
    const Ptr<Base> other(new Base);
    EXPECT_TRUE(derived == base);
    EXPECT_TRUE(base == derived);
    EXPECT_TRUE(constant == derived);
    EXPECT_FALSE(base != constant);
    EXPECT_TRUE(base != other);
    EXPECT_FALSE(base == nullptr);
    EXPECT_TRUE(nullptr != base);
    EXPECT_TRUE(Ptr<Base>() == nullptr);
    EXPECT_TRUE(Ptr<Base>() == Ptr<Derived>());
}

TEST_F(PtrTest, PtrCastFindsTheClassAndIsNullForAnother) {
    const Ptr<Base> derived = Ptr(new Derived);
    const Ptr<Base> base(new Base);
    const Ptr<Derived> found = ptrCast<Derived>(derived);
    EXPECT_EQ(found, derived);
    EXPECT_EQ(derived->references(), 2u);
    EXPECT_EQ(ptrCast<Derived>(base), nullptr);
    EXPECT_EQ(base->references(), 1u);
    EXPECT_EQ(ptrCast<Derived>(Ptr<Base>()), nullptr);
    const Ptr<Zel::PtrInterface> unrelated = Ptr(new Unrelated);
    EXPECT_EQ(ptrCast<Base>(unrelated), nullptr);
    EXPECT_EQ(ptrCast<Unrelated>(unrelated), unrelated);
    const Ptr<Base const> constant = derived;
    EXPECT_EQ(ptrCast<Derived const>(constant), derived);
    EXPECT_EQ(ptrCast<Base>(Ptr<Zel::PtrInterface>(derived)), derived);
}

TEST_F(PtrTest, CanBeHashed) {
    const Ptr<Base> first(new Base);
    const Ptr<Base> second(new Base);
    std::unordered_set<Ptr<Base>> set{first, second, first, nullptr};
    EXPECT_EQ(set.size(), 3u);
    EXPECT_EQ(set.count(first), 1u);
    EXPECT_EQ(set.count(Ptr<Base>(second.ptr())), 1u);
    EXPECT_EQ(set.count(Ptr<Base>(new Base)), 0u);
    EXPECT_EQ(std::hash<Ptr<Base>>{}(first), std::hash<Base*>{}(first.ptr()));
    EXPECT_EQ(first->references(), 2u);
}

TEST_F(PtrTest, AContainerOfPointersReleasesItsObjects) {
    std::vector<Ptr<Base>> pointers;
    for (int i = 0; i < 100; ++i)
        pointers.push_back(Ptr(new Base)); // moves the others as it grows
    EXPECT_EQ(destroyed, 0);
    for (Ptr<Base> const& pointer : pointers)
        EXPECT_EQ(pointer->references(), 1u);
    pointers.erase(pointers.begin(), pointers.begin() + 40);
    EXPECT_EQ(destroyed, 40);
    pointers.clear();
    EXPECT_EQ(destroyed, 100);
}

} // namespace
