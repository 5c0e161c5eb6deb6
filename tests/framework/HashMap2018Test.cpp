#include "framework/zel/HashMap2018.h"

#include "tests/framework/FailingAllocation.h"
#include "tests/framework/MapItems.h"
#include "tests/framework/MapTestAccess.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

namespace Zel::Test {
namespace {

using Access = MapTestAccess;
using Counters = HashMap2018<Owner, Key, unsigned>;

static_assert(sizeof(Counters) <= 24);
static_assert(!std::is_copy_constructible_v<Counters> && !std::is_copy_assignable_v<Counters>);
static_assert(std::is_same_v<decltype(*std::declval<Counters&>().begin()), Counters::Node const&>);

TEST(HashMap2018, AValueIsWhatItWasSetToLast) {
    Counters counters;
    EXPECT_EQ(counters.lookupNodeG({1}), nullptr);
    counters.valueIs({1}, 10);
    counters.valueIs({2}, 20);
    Counters::Node const* node = counters.lookupNodeG({1});
    counters.valueIs({1}, 11);
    EXPECT_EQ(counters.members(), 2U);
    EXPECT_EQ(counters.lookupNodeG({1}), node);
    EXPECT_EQ(node->key(), Key{1});
    EXPECT_EQ(node->value(), 11U);
    EXPECT_EQ(counters.lookupNodeG({2})->value(), 20U);
}

TEST(HashMap2018, ErasingTellsWhetherThereWasAnEntry) {
    Counters counters;
    counters.valueIs({1}, 10);
    EXPECT_FALSE(counters.valueDel({2}));
    EXPECT_TRUE(counters.valueDel({1}));
    EXPECT_FALSE(counters.valueDel({1}));
    EXPECT_EQ(counters.members(), 0U);
}

TEST(HashMap2018, ANodeStaysValidInTheBodyOfALoopThatErasesIt) {
    Counters counters;
    for (U32 key = 1; key <= 20; ++key)
        counters.valueIs({key}, 10 * key);
    U32 sum = 0;
    for (Counters::Node const& node : counters) {
        EXPECT_TRUE(counters.valueDel(node.key()));
        EXPECT_EQ(node.value(), 10 * node.key().value);
        sum += node.key().value;
    }
    EXPECT_EQ(sum, 210U);
    EXPECT_EQ(counters.members(), 0U);
}

TEST(HashMap2018, AdvancingAnIteratorVisitsWhatALoopVisits) {
    Counters counters;
    for (U32 key = 1; key <= 20; ++key)
        counters.valueIs({key}, key);
    auto iterator = counters.begin();
    for (Counters::Node const& node : counters) {
        ASSERT_FALSE(iterator == counters.end());
        EXPECT_EQ(&*iterator, &node);
        Counters::advance(iterator);
    }
    EXPECT_TRUE(iterator == counters.end());
}

TEST(HashMap2018, AValueThatIsReleasedByItsOverwritingMayEraseItsEntry) {
    HashMap2018<Owner, Key, Ptr<Item>> items;
    items.valueIs({1}, made<Item>(1));
    const AtDeath action([&](U32) { items.valueDel({1}); });
    items.valueIs({1}, made<Item>(2));
    EXPECT_EQ(items.members(), 0U);
    EXPECT_TRUE(items.check());
    EXPECT_EQ(Life::live, 0);
}

TEST(HashMap2018, ValuesThatAreOnlyMovedAreKeptAndReleased) {
    HashMap2018<Owner, Key, std::unique_ptr<std::string>> texts;
    texts.valueIs({1}, std::make_unique<std::string>("one"));
    texts.valueIs({1}, std::make_unique<std::string>("first"));
    EXPECT_EQ(*texts.lookupNodeG({1})->value(), "first");
}

TEST(HashMap2018, AFailedAllocationThrowsAndChangesNothing) {
    for (const std::size_t failed : {1U, 2U}) { // the entry, and the first buckets
        Counters counters;
        const auto before = FailingAllocation::outstanding();
        FailingAllocation failing(failed);
        EXPECT_THROW(counters.valueIs({1}, 10), std::bad_alloc);
        EXPECT_TRUE(failing.happened());
        EXPECT_EQ(counters.members(), 0U);
        EXPECT_TRUE(counters.check());
        EXPECT_EQ(FailingAllocation::outstanding(), before);
        counters.valueIs({1}, 10);
        EXPECT_EQ(counters.lookupNodeG({1})->value(), 10U);
    }
}

TEST(HashMap2018, AFailedAllocationLeavesTheOtherEntriesAlone) {
    Counters counters;
    for (U32 key = 1; key <= 4; ++key)
        counters.valueIs({key}, key);
    {
        FailingAllocation failing(1); // the entry
        EXPECT_THROW(counters.valueIs({5}, 5), std::bad_alloc);
    }
    EXPECT_EQ(counters.members(), 4U);
    EXPECT_EQ(counters.lookupNodeG({5}), nullptr);
    {
        FailingAllocation failing(2); // the growth, which can wait
        counters.valueIs({5}, 5);
        EXPECT_TRUE(failing.happened());
    }
    EXPECT_TRUE(counters.check());
    for (U32 key = 1; key <= 5; ++key)
        EXPECT_EQ(counters.lookupNodeG({key})->value(), key);
}

TEST(HashMap2018, OverwritingAllocatesNothing) {
    Counters counters;
    counters.valueIs({1}, 10);
    const auto made = FailingAllocation::made();
    counters.valueIs({1}, 11);
    EXPECT_EQ(FailingAllocation::made(), made);
}

TEST(HashMap2018, CheckSeesABrokenTable) {
    Counters counters;
    for (U32 key = 1; key <= 4; ++key)
        counters.valueIs({key}, key);
    auto& table = Access::core(Access::nodes(counters));
    Access::members(table) = 3;
    EXPECT_FALSE(counters.check());
    Access::members(table) = 4;
    EXPECT_TRUE(counters.check());
}

} // namespace
} // namespace Zel::Test
