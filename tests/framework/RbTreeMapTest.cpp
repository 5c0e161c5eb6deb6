#include "framework/zel/RbTreeMap.h"

#include "framework/zel/Name.h"
#include "tests/framework/MapItems.h"
#include "tests/framework/MapTestAccess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

namespace Zel::Test {
namespace {

using Access = MapTestAccess;
using Element = HookedItem<RbTreeMember>;
using Map = RbTreeMap<Element, Key, Owner>;

static_assert(sizeof(Map) <= 16);
static_assert(!std::is_copy_constructible_v<Map> && !std::is_copy_assignable_v<Map>);
static_assert(std::is_same_v<decltype(*std::declval<Map&>().begin()), Ptr<Element> const&>);
static_assert(
    std::is_same_v<decltype(*std::declval<Map const&>().begin()), Ptr<Element const> const&>);
static_assert(std::is_same_v<decltype(std::declval<Map&>()[Key()]), Ptr<Element>>);
static_assert(std::is_same_v<decltype(std::declval<Map const&>()[Key()]), Ptr<Element const>>);
static_assert(std::is_same_v<decltype(std::declval<Map&>().find(Key())), Element*>);
static_assert(std::is_same_v<decltype(std::declval<Map const&>().find(Key())), Element const*>);

/// A map of elements with the keys 1 to the given number, in a random order of insertion.
struct FilledMap {
    explicit FilledMap(U32 size) {
        std::vector<U32> keys(size);
        std::iota(keys.begin(), keys.end(), 1U);
        std::shuffle(keys.begin(), keys.end(), std::mt19937(7));
        for (const U32 key : keys)
            map.memberNewChild(made<Element>(key));
    }
    Map map;
};

TEST(RbTreeMap, NoWayDownIsLongerThanTwiceTheLogarithm) {
    constexpr U32 size = 4096;
    for (const bool ascending : {true, false}) {
        Map map;
        for (U32 i = 0; i < size; ++i)
            map.memberNewChild(made<Element>(ascending ? i : size - i));
        U32 longest = 0;
        const auto descend = [&](auto const& self, RbTreeMember const* member, U32 depth) -> void {
            longest = std::max(longest, depth);
            for (const auto side : {RbTree::left, RbTree::right})
                if (RbTreeMember const* child = RbTree::child(*member, side))
                    self(self, child, depth + 1);
        };
        descend(descend, Access::root(Access::core(map)), 1);
        EXPECT_LE(longest, 24U); // 2 log2(4096)
    }
}

TEST(RbTreeMap, EveryChangeMakesANewVersion) {
    Map map;
    auto const& tree = Access::core(map);
    U32 version = tree.version();
    map.memberNewChild(made<Element>(1));
    EXPECT_EQ(tree.version(), ++version);
    map.replaceMember(map.find({1}), made<Element>(1));
    EXPECT_EQ(tree.version(), ++version);
    map._memberDelG(map.find({1}));
    EXPECT_EQ(tree.version(), ++version);
}

TEST(RbTreeMap, ARemovedElementComesWithTheReferenceThatTheMapHeld) {
    FilledMap filled(3);
    Element* element = filled.map.find({2});
    const Ptr<Element> removed = filled.map._memberDelG(element);
    EXPECT_EQ(removed.ptr(), element);
    EXPECT_EQ(removed->references(), 1U);
    const Ptr<Element> replaced = filled.map.replaceMember(filled.map.find({1}), made<Element>(1));
    EXPECT_EQ(replaced->references(), 1U);
    filled.map.memberNewChild(removed);
    EXPECT_EQ(filled.map[{2}], removed);
}

TEST(RbTreeMap, ALookupOfAConstMapGivesPointersToConst) {
    FilledMap filled(3);
    Map const& map = filled.map;
    EXPECT_EQ(map[{2}], filled.map[{2}]);
    EXPECT_EQ(map[{4}], nullptr);
    EXPECT_EQ(map.members(), 3U);
    U32 key = 0;
    for (Ptr<Element const> const& element : map)
        EXPECT_EQ(element->fwkKey().value, ++key);
    EXPECT_EQ(key, 3U);
}

TEST(RbTreeMap, AnElementMayMoveToAnotherMapDuringAWalk) {
    FilledMap filled(9);
    Map other;
    U32 visits = 0;
    for (Ptr<Element> const& element : filled.map) {
        ++visits;
        other.memberNewChild(filled.map._memberDelG(element.ptr()));
    }
    EXPECT_EQ(visits, 9U);
    EXPECT_EQ(filled.map.members(), 0U);
    EXPECT_EQ(other.members(), 9U);
    EXPECT_TRUE(filled.map.check() && other.check());
}

TEST(RbTreeMap, CheckSeesEveryBitOfAParentAndItsColourAndWhetherItIsLinked) {
    FilledMap filled(20);
    for (Ptr<Element> const& element : filled.map) {
        for (U32 bit = 0; bit < 64; ++bit) {
            std::uintptr_t& word = Access::parentAndBits(*element);
            word ^= std::uintptr_t{1} << bit;
            ASSERT_FALSE(Access::core(filled.map).check())
                << "bit " << bit << " of " << element->fwkKey().value;
            word ^= std::uintptr_t{1} << bit;
        }
    }
    EXPECT_TRUE(filled.map.check());
}

TEST(RbTreeMap, CheckSeesEveryChildThatIsLostOrWrong) {
    FilledMap filled(20);
    std::vector<Element*> elements;
    for (Ptr<Element> const& element : filled.map)
        elements.push_back(element.ptr());
    for (Element* element : elements) {
        for (const int side : {0, 1}) {
            RbTreeMember*& child = Access::child(*element, side);
            RbTreeMember* const former = child;
            if (former) {
                child = nullptr;
                ASSERT_FALSE(filled.map.check());
            }
            for (Element* other : elements) {
                if (other == former)
                    continue;
                child = other; // loops too: they must end
                ASSERT_FALSE(Access::core(filled.map).check());
            }
            child = former;
        }
    }
    EXPECT_TRUE(filled.map.check());
}

TEST(RbTreeMap, CheckSeesAWrongCountARedRootAndALostRoot) {
    FilledMap filled(20);
    auto& tree = Access::core(filled.map);
    for (const U32 wrong : {0U, 19U, 21U}) {
        Access::members(tree) = wrong;
        EXPECT_FALSE(filled.map.check());
    }
    Access::members(tree) = 20;
    EXPECT_TRUE(filled.map.check());

    RbTreeMember* const root = std::exchange(Access::root(tree), nullptr);
    EXPECT_FALSE(filled.map.check());
    Access::root(tree) = Access::child(*root, 0);
    EXPECT_FALSE(filled.map.check());
    Access::root(tree) = root;
    EXPECT_TRUE(filled.map.check());

    FilledMap single(1);
    Access::parentAndBits(*Access::root(Access::core(single.map))) ^= 1;
    EXPECT_FALSE(single.map.check());
    Access::parentAndBits(*Access::root(Access::core(single.map))) ^= 1;
    EXPECT_TRUE(single.map.check());
}

TEST(RbTreeMap, CheckSeesARedMemberBelowARedOneWhereTheBlackHeightsAreRight) {
    FilledMap filled(3); // a black root and two red children
    auto& tree = Access::core(filled.map);
    RbTreeMember& root = *Access::root(tree);
    RbTreeMember& low = *Access::child(root, 0);
    Element lower(0);
    Access::parentAndBits(lower) = reinterpret_cast<std::uintptr_t>(&low) | 3;
    Access::child(low, 0) = &lower;
    Access::members(tree) = 4;
    EXPECT_FALSE(filled.map.check());
    Access::child(low, 0) = nullptr;
    Access::members(tree) = 3;
    EXPECT_TRUE(filled.map.check());
}

TEST(RbTreeMap, CheckSeesAFaultOnEachSide) {
    FilledMap filled(7);
    auto& tree = Access::core(filled.map);
    for (const int side : {0, 1})
        Access::parentAndBits(*Access::child(*Access::root(tree), side)) ^= 2;
    EXPECT_FALSE(tree.check());
    for (const int side : {0, 1})
        Access::parentAndBits(*Access::child(*Access::root(tree), side)) ^= 2;
    EXPECT_TRUE(tree.check());
}

TEST(RbTreeMap, CheckSeesTwoLinksToOneChildWhereTheCountIsThatOfTheOthers) {
    FilledMap filled(3);
    auto& tree = Access::core(filled.map);
    RbTreeMember*& high = Access::child(*Access::root(tree), 1);
    RbTreeMember* const former = std::exchange(high, Access::child(*Access::root(tree), 0));
    Access::members(tree) = 1;
    EXPECT_FALSE(tree.check());
    high = former;
    Access::members(tree) = 3;
    EXPECT_TRUE(tree.check());
}

TEST(RbTreeMap, CheckSeesKeysOutOfOrder) {
    FilledMap filled(20);
    for (U32 key = 1; key <= 20; ++key) {
        Element* element = filled.map.find({key});
        for (U32 wrong = 0; wrong <= 21; ++wrong) {
            element->keyIs(wrong);
            // No key lies between two neighbours, but the ends are free to move outwards.
            const bool inOrder =
                wrong == key || (key == 1 && wrong == 0) || (key == 20 && wrong == 21);
            ASSERT_EQ(filled.map.check(), inOrder) << key << " became " << wrong;
        }
        element->keyIs(key);
    }
    EXPECT_TRUE(filled.map.check());
}

TEST(RbTreeMapDeathTest, ADuplicateKeyIsFatalAndNamesTheOwner) {
    FilledMap filled(5);
    EXPECT_DEATH(filled.map.memberNewChild(made<Element>(3)),
                 "Varnol: fatal: RbTreeMap of Zel::Test::Owner: duplicate key");
    EXPECT_DEATH(filled.map.assertDupKey(),
                 "Varnol: fatal: RbTreeMap of Zel::Test::Owner: duplicate key");
}

/// An element that makes its key each time that it is asked.
class Named : public PtrInterface, public RbTreeMember {
  public:
    explicit Named(Name name)
        : name_(std::move(name)) {}
    Name fwkKey() const { return name_; }
    TypeNode const* fwkType() const override { return nullptr; }

  private:
    Name name_;
};

TEST(RbTreeMapDeathTest, ADuplicateNameIsFatal) {
    RbTreeMap<Named, Name, Owner> map;
    for (const char* name : {"b", "a", "c"})
        map.memberNewChild(Ptr<Named>(new Named(name)));
    EXPECT_EQ(map["a"]->fwkKey(), Name("a"));
    EXPECT_EQ(map["d"], nullptr);
    EXPECT_DEATH(map.memberNewChild(Ptr<Named>(new Named("a"))),
                 "Varnol: fatal: RbTreeMap of Zel::Test::Owner: duplicate key");
}

TEST(RbTreeMapDeathTest, AnElementThatIsLinkedAnywhereCannotBeInserted) {
    FilledMap filled(5);
    Map other;
    const Ptr<Element> element = filled.map[{3}];
    constexpr auto text = "RbTreeMap of Zel::Test::Owner: the element is linked already";
    EXPECT_DEATH(filled.map.memberNewChild(element), text);
    EXPECT_DEATH(other.memberNewChild(element), text);
    EXPECT_DEATH(filled.map.replaceMember(element.ptr(), element), text);
    FilledMap single(1);
    EXPECT_DEATH(other.memberNewChild(single.map[{1}]), text);
}

TEST(RbTreeMapDeathTest, ANullElementCannotBeInserted) {
    FilledMap filled(5);
    constexpr auto text = "RbTreeMap of Zel::Test::Owner: null element";
    EXPECT_DEATH(filled.map.memberNewChild(nullptr), text);
    EXPECT_DEATH(filled.map.replaceMember(filled.map.find({1}), nullptr), text);
}

TEST(RbTreeMapDeathTest, OnlyAMemberCanBeRemoved) {
    FilledMap filled(5);
    FilledMap other(5);
    const auto element = made<Element>(3);
    constexpr auto text = "RbTreeMap of Zel::Test::Owner: the element is not a member";
    EXPECT_DEATH(filled.map._memberDelG(nullptr), text);
    EXPECT_DEATH(filled.map._memberDelG(element.ptr()), text);
    for (Ptr<Element> const& foreign : other.map)
        EXPECT_DEATH(filled.map._memberDelG(foreign.ptr()), text);
}

TEST(RbTreeMapDeathTest, OnlyAMemberCanBeReplacedAndByTheSameKeyOnly) {
    FilledMap filled(5);
    FilledMap single(1);
    const auto element = made<Element>(1);
    constexpr auto text = "RbTreeMap of Zel::Test::Owner: the element is not a member";
    EXPECT_DEATH(filled.map.replaceMember(nullptr, element), text);
    EXPECT_DEATH(filled.map.replaceMember(made<Element>(1).ptr(), element), text);
    EXPECT_DEATH(filled.map.replaceMember(single.map.find({1}), element), text);
    EXPECT_DEATH(filled.map.replaceMember(filled.map.find({2}), element),
                 "RbTreeMap of Zel::Test::Owner: the replacement has another key");
}

} // namespace
} // namespace Zel::Test
