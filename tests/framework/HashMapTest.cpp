#include "framework/zel/HashMap.h"

#include "tests/framework/FailingAllocation.h"
#include "tests/framework/MapItems.h"
#include "tests/framework/MapTestAccess.h"
#include "tests/framework/MixedHash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <new>
#include <set>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

namespace Zel::Test {
namespace {

using Access = MapTestAccess;
using Element = HookedItem<HashMember>;
using Map = HashMap<Element, Key, Owner>;

static_assert(sizeof(Map) <= 24);
static_assert(!std::is_copy_constructible_v<Map> && !std::is_copy_assignable_v<Map>);
static_assert(std::is_same_v<decltype(*std::declval<Map&>().begin()), Ptr<Element> const&>);
static_assert(
    std::is_same_v<decltype(*std::declval<Map const&>().begin()), Ptr<Element const> const&>);
static_assert(std::is_same_v<decltype(std::declval<Map&>()[Key()]), Ptr<Element>>);
static_assert(std::is_same_v<decltype(std::declval<Map const&>()[Key()]), Ptr<Element const>>);
static_assert(std::is_same_v<decltype(std::declval<Map&>().find(Key())), Element*>);
static_assert(std::is_same_v<decltype(std::declval<Map const&>().find(Key())), Element const*>);

using OwnHash = HashHelper::Default<Key>;
static_assert(std::is_same_v<OwnHash, HashHelper::KeyAndRhashLegacy>);
static_assert(std::is_same_v<HashHelper::Default<Name>, HashHelper::KeyStringLegacy>);

template <class Map> void fill(Map& map, U32 size) {
    for (U32 key = 1; key <= size; ++key)
        map.newMemberG(made<Element>(key), {key});
}

template <class Map> std::vector<U32> keysOf(Map const& map) {
    std::vector<U32> keys;
    for (auto const& element : map)
        keys.push_back(element->fwkKey().value);
    return keys;
}

struct Mixing {
    U32 hash, mixed;
};

/// On which the order of every walk rests.
constexpr Mixing mixings[] = {
    {0x00000000, 0x00000000}, {0x00000001, 0x9e3779b1}, {0x00000002, 0x3c6ef362},
    {0x0000004d, 0x96af9a3d}, {0x000000ff, 0x9942374f}, {0x00008000, 0xbcd88000},
    {0x0000ffff, 0xdb79864f}, {0x00010000, 0x17e879b1}, {0x00010001, 0x79b10000},
    {0x12345678, 0xdebf248c}, {0x7fffffff, 0xc3278000}, {0x80000000, 0x3cd88000},
    {0xdeadbeef, 0x528cbfa2}, {0xfffffffe, 0x248679b1}, {0xffffffff, 0x864f0000},
};

TEST(HashMap, HashesAreMixedToTheSameValuesAsEver) {
    for (const Mixing mixing : mixings) {
        EXPECT_EQ(HashTable::mixed(mixing.hash), mixing.mixed) << mixing.hash;
        EXPECT_EQ(mixedHash(mixing.hash), mixing.mixed) << mixing.hash;
    }
}

TEST(HashMap, AWalkGoesByTheMixedHashes) {
    Map map;
    fill(map, 500);
    const std::vector<U32> keys = keysOf(map);
    EXPECT_EQ(keys.size(), 500U);
    EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end(), [](U32 left, U32 right) {
        return mixedHash(left) < mixedHash(right);
    }));
}

TEST(HashMap, MixingIsABijectionOnEveryPairOfBits) {
    std::set<U32> mixed{HashTable::mixed(0)};
    U32 hashes = 1;
    for (U32 high = 0; high < 32; ++high) {
        for (U32 low = 0; low <= high; ++low, ++hashes)
            mixed.insert(HashTable::mixed(U32{1} << high | U32{1} << low));
    }
    EXPECT_EQ(mixed.size(), hashes);
}

TEST(HashMap, NeighbouringHashesAndMultiplesSpreadOverTheBuckets) {
    for (const U32 stride : {1U, 2U, 16U, 4096U, 65536U, 1U << 20}) {
        HashTable table(1024);
        std::vector<U32> members(1024);
        for (U32 i = 0; i < 1024; ++i)
            ++members[table.bucket(HashTable::mixed(i * stride))];
        EXPECT_LE(*std::max_element(members.begin(), members.end()), 8U) << "stride " << stride;
    }
}

TEST(HashMap, TheHighestBitsOfAHashAreItsBucket) {
    const HashTable table(1024);
    EXPECT_EQ(table.bucket(0), 0U);
    EXPECT_EQ(table.bucket(0x003fffff), 0U);
    EXPECT_EQ(table.bucket(0x00400000), 1U);
    EXPECT_EQ(table.bucket(0x80000000), 512U);
    EXPECT_EQ(table.bucket(0xffffffff), 1023U);
}

TEST(HashMap, ATableGivesBackTheRoomThatNothingCameTo) {
    const auto before = FailingAllocation::outstanding();
    {
        HashTable table(4);
        table.makeRoom();
        EXPECT_EQ(FailingAllocation::outstanding(), before + 1);
    }
    EXPECT_EQ(FailingAllocation::outstanding(), before);
}

TEST(HashMap, TheOrderOfAWalkDoesNotDependOnTheNumberOfBuckets) {
    Map one(1);
    fill(one, 500);
    const std::vector<U32> keys = keysOf(one);
    EXPECT_EQ(keys.size(), 500U);
    for (const U32 buckets : {0U, 3U, 4U, 512U, 4096U}) {
        Map map(buckets);
        for (U32 key = 500; key >= 1; --key)
            map.newMemberG(made<Element>(key), {key});
        EXPECT_EQ(keysOf(map), keys) << buckets << " buckets to begin with";
    }
}

TEST(HashMap, BucketsBeginWithTheGivenPowerOfTwoAndDoubleWhenTheyAreAllTaken) {
    for (auto const& [given, first] : {std::pair{0U, 1U}, {1U, 1U}, {4U, 4U}, {5U, 8U}}) {
        Map map(given);
        EXPECT_EQ(Access::core(map).buckets(), 0U);
        for (U32 key = 1, buckets = first; key <= 100; ++key) {
            map.newMemberG(made<Element>(key), {key});
            while (buckets < key)
                buckets *= 2;
            ASSERT_EQ(Access::core(map).buckets(), buckets);
        }
    }
}

TEST(HashMap, AMapThatWasEmptiedBeginsAgainWithTheBucketsItWasGiven) {
    Map map(8);
    fill(map, 100);
    map.emptyAllBuckets();
    EXPECT_EQ(Access::core(map).buckets(), 0U);
    fill(map, 1);
    EXPECT_EQ(Access::core(map).buckets(), 8U);
}

TEST(HashMap, EveryChangeMakesANewVersion) {
    Map map;
    auto const& table = Access::core(map);
    U32 version = table.version();
    map.newMemberG(made<Element>(1), {1});
    EXPECT_EQ(table.version(), ++version);
    map.replaceMember(map.find({1}), made<Element>(1));
    EXPECT_EQ(table.version(), ++version);
    map.deleteMember(map.find({1}));
    EXPECT_EQ(table.version(), ++version);
}

TEST(HashMap, SteppingThroughTheBucketsVisitsWhatAWalkVisits) {
    for (const U32 size : {0U, 1U, 5U, 100U}) {
        Map map;
        fill(map, size);
        std::vector<U32> keys;
        U32 bucket = 0;
        for (Element* at = map.findNextBucket(bucket); at; at = map.findNextG(at, bucket)) {
            EXPECT_EQ(bucket, Access::core(map).bucket(Access::hash(*at)));
            keys.push_back(at->fwkKey().value);
        }
        EXPECT_EQ(bucket, Access::core(map).buckets());
        EXPECT_EQ(keys, keysOf(map));
        Map const& constMap = map;
        U32 from = 0;
        EXPECT_EQ(constMap.findNextBucket(from), size == 0 ? nullptr : map.find({keys.at(0)}));
    }
}

/// An element that makes its key each time that it is asked.
class Named : public PtrInterface, public HashMember {
  public:
    explicit Named(Name name)
        : name_(std::move(name)) {}
    Name fwkKey() const { return name_; }
    TypeNode const* fwkType() const override { return nullptr; }

  private:
    Name name_;
};

TEST(HashMap, NamesAreKeys) {
    HashMap<Named, Name, Owner> map(4);
    for (int i = 0; i < 300; ++i) {
        const Name name(std::to_string(i).c_str());
        map.newMemberG(Ptr<Named>(new Named(name)), name);
    }
    EXPECT_TRUE(map.check());
    for (int i = 0; i < 300; ++i) {
        const Name name(std::to_string(i).c_str());
        ASSERT_NE(map.find(name), nullptr);
        EXPECT_EQ(map.find(name)->fwkKey(), name);
    }
    EXPECT_EQ(map.find("300"), nullptr);
}

TEST(HashMap, ARemovedElementComesWithTheReferenceThatTheMapHeld) {
    Map map;
    fill(map, 3);
    Element* element = map.find({2});
    const Ptr<Element> removed = map.deleteMember(element);
    EXPECT_EQ(removed.ptr(), element);
    EXPECT_EQ(removed->references(), 1U);
    const Ptr<Element> replaced = map.replaceMember(map.find({1}), made<Element>(1));
    EXPECT_EQ(replaced->references(), 1U);
    map.newMemberG(removed, {2});
    EXPECT_EQ(map[{2}], removed);
}

TEST(HashMap, AnElementMayMoveToAMapWithAnotherHashDuringAWalk) {
    Map map;
    HashMap<Element, Key, Owner, ConstantHash> other;
    fill(map, 50);
    U32 visits = 0;
    for (Ptr<Element> const& element : map) {
        ++visits;
        other.newMemberG(map.deleteMember(element.ptr()), element->fwkKey());
    }
    EXPECT_EQ(visits, 50U);
    EXPECT_EQ(map.members(), 0U);
    EXPECT_EQ(other.members(), 50U);
    EXPECT_TRUE(map.check() && other.check());
}

TEST(HashMap, FindsNothingInTheMemoryThatItGrowsInto) {
    const DirtyMemory dirty;
    Map map;
    fill(map, 50);
    EXPECT_TRUE(map.check());
    EXPECT_EQ(keysOf(map).size(), 50U);
    EXPECT_EQ(map.find({51}), nullptr);
}

TEST(HashMap, WithoutMemoryForTheFirstBucketsAnInsertionThrowsAndChangesNothing) {
    Map map;
    const auto element = made<Element>(1);
    {
        FailingAllocation failing(1);
        EXPECT_THROW(map.newMemberG(element, {1}), std::bad_alloc);
        EXPECT_TRUE(failing.happened());
    }
    EXPECT_TRUE(map.check());
    EXPECT_EQ(map.members(), 0U);
    EXPECT_EQ(element->references(), 1U);
    EXPECT_EQ(map.find({1}), nullptr);
    map.newMemberG(element, {1});
    EXPECT_TRUE(map.check());
    EXPECT_EQ(map.find({1}), element.ptr());
}

TEST(HashMap, WithoutMemoryToGrowTheChainsGetLongerAndLaterGrowthMakesUpForIt) {
    Map map;
    fill(map, 4);
    U32 key = 4;
    for (; key < 40; ++key) {
        const auto element = made<Element>(key + 1);
        FailingAllocation failing(1);
        map.newMemberG(element, {key + 1});
        EXPECT_TRUE(failing.happened());
        ASSERT_TRUE(map.check());
        ASSERT_EQ(Access::core(map).buckets(), 4U);
    }
    for (; key < 50; ++key)
        map.newMemberG(made<Element>(key + 1), {key + 1});
    EXPECT_EQ(Access::core(map).buckets(), 64U);
    EXPECT_TRUE(map.check());
    Map other(64);
    fill(other, 50);
    EXPECT_EQ(keysOf(map), keysOf(other));
}

TEST(HashMap, CheckSeesEveryBitOfAHashAndWhetherAMemberIsLinked) {
    Map map;
    fill(map, 30);
    for (Ptr<Element> const& element : map) {
        for (U32 bit = 0; bit < 32; ++bit) {
            Access::hash(*element) ^= U32{1} << bit;
            ASSERT_FALSE(map.check()) << "bit " << bit << " of " << element->fwkKey().value;
            Access::hash(*element) ^= U32{1} << bit;
        }
        Access::linked(*element) = false;
        ASSERT_FALSE(map.check());
        Access::linked(*element) = true;
    }
    EXPECT_TRUE(map.check());
}

TEST(HashMap, CheckSeesEveryLinkThatIsLostOrWrong) {
    Map map;
    fill(map, 30);
    std::vector<Element*> elements;
    for (Ptr<Element> const& element : map)
        elements.push_back(element.ptr());
    for (Element* element : elements) {
        HashMember*& next = Access::next(*element);
        HashMember* const former = next;
        if (former) {
            next = nullptr;
            ASSERT_FALSE(map.check());
        }
        for (Element* other : elements) {
            if (other == former)
                continue;
            next = other; // loops too: they must end
            ASSERT_FALSE(map.check());
        }
        next = former;
    }
    EXPECT_TRUE(map.check());
}

TEST(HashMap, CheckSeesChainsInTheWrongBucketOrOrderAndAWrongCount) {
    HashMap<Element, Key, Owner, ConstantHash> map(2);
    map.newMemberG(made<Element>(1), {1});
    map.newMemberG(made<Element>(2), {2});
    auto& table = Access::core(map);
    const U32 bucket = table.bucket(HashTable::mixed(77));

    std::swap(Access::chain(table, 0), Access::chain(table, 1));
    EXPECT_FALSE(map.check());
    std::swap(Access::chain(table, 0), Access::chain(table, 1));

    HashMember* const first = Access::chain(table, bucket);
    HashMember* const second = Access::next(*first);
    Access::chain(table, bucket) = second;
    Access::next(*second) = first;
    Access::next(*first) = nullptr;
    EXPECT_FALSE(map.check()); // equal hashes, but keys out of order
    Access::chain(table, bucket) = first;
    Access::next(*first) = second;
    Access::next(*second) = nullptr;

    for (const U32 wrong : {0U, 1U, 3U}) {
        Access::members(table) = wrong;
        EXPECT_FALSE(map.check());
    }
    Access::members(table) = 2;
    EXPECT_TRUE(map.check());

    Map empty;
    HashMember* noChains[4] = {};
    Access::chains(Access::core(empty)) = noChains;
    EXPECT_FALSE(empty.check()); // memory that is not needed
    Access::chains(Access::core(empty)) = nullptr;
    EXPECT_TRUE(empty.check());
}

TEST(HashMap, CheckSeesAKeyThatIsNotTheOneThatWasHashed) {
    Map map;
    fill(map, 30);
    for (U32 key = 1; key <= 30; ++key) {
        Element* element = map.find({key});
        element->keyIs(key + 1000);
        EXPECT_FALSE(map.check());
        element->keyIs(key);
    }
    EXPECT_TRUE(map.check());
}

TEST(HashMapDeathTest, ADuplicateKeyIsFatalAndNamesTheOwner) {
    Map map;
    fill(map, 5);
    EXPECT_DEATH(map.newMemberG(made<Element>(3), {3}),
                 "Varnol: fatal: HashMap of Zel::Test::Owner: duplicate key");
    HashMap<Element, Key, Owner, ConstantHash> same;
    fill(same, 5);
    for (const U32 key : {1U, 3U, 5U})
        EXPECT_DEATH(same.newMemberG(made<Element>(key), {key}),
                     "Varnol: fatal: HashMap of Zel::Test::Owner: duplicate key");
}

TEST(HashMapDeathTest, ADuplicateNameIsFatal) {
    HashMap<Named, Name, Owner> map(4);
    map.newMemberG(Ptr<Named>(new Named("a")), "a");
    EXPECT_DEATH(map.newMemberG(Ptr<Named>(new Named("a")), "a"),
                 "Varnol: fatal: HashMap of Zel::Test::Owner: duplicate key");
}

TEST(HashMap, HasNoMoreBucketsThanHashesHaveBitsFor) {
    const auto bitsFor = [](U32 buckets) {
        HashTable table(buckets);
        return Access::bits(table);
    };
    EXPECT_EQ(bitsFor(U32{1} << 30), 30);
    EXPECT_EQ(bitsFor((U32{1} << 30) + 1), 31);
    EXPECT_EQ(bitsFor(U32{1} << 31), 31);
    EXPECT_EQ(bitsFor((U32{1} << 31) + 1), 31);
    EXPECT_EQ(bitsFor(0xffffffff), 31);
}

TEST(HashMap, WithAllTheBucketsThatItCanHaveGrowsNoMore) {
    HashTable table(1);
    table.makeRoom();
    auto* const chains = Access::chains(table);
    Access::bits(table) = 31;
    Access::members(table) = U32{1} << 31;
    {
        const FailingAllocation failing(1);
        table.makeRoom();
        EXPECT_FALSE(failing.happened()) << "it did not ask for memory";
    }
    EXPECT_EQ(Access::chains(table), chains);
    EXPECT_EQ(Access::bits(table), 31);
    Access::bits(table) = 0;
    Access::members(table) = 0;
    EXPECT_EQ(table.buckets(), 1U);
}

/// A type whose name no demangler can read: 'P' and what it points at.
struct UnreadablePointer : std::type_info {
    UnreadablePointer()
        : std::type_info("P?owner") {}
};

TEST(HashMapDeathTest, AnOwnerWhoseNameCannotBeReadIsNamedAsTheCompilerDoes) {
    EXPECT_DEATH(mapFatal("HashMap", UnreadablePointer(), "duplicate key"),
                 "Varnol: fatal: HashMap of \\?owner: duplicate key");
}

TEST(HashMapDeathTest, AMessageOfAnOwnerWithALongNameIsCutOff) {
    static const std::string pointer = "P?" + std::string(600, 'o');
    struct LongPointer : std::type_info {
        LongPointer()
            : std::type_info(pointer.c_str()) {}
    };
    const std::string message = ("HashMap of " + pointer.substr(1)).substr(0, 511);
    EXPECT_EXIT(mapFatal("HashMap", LongPointer(), "duplicate key"),
                ::testing::KilledBySignal(SIGABRT),
                ::testing::Eq("Varnol: fatal: " + message + "\n"));
}

TEST(HashMapDeathTest, AnElementThatIsLinkedAnywhereCannotBeInserted) {
    Map map;
    Map other;
    fill(map, 5);
    const Ptr<Element> element = map[{3}];
    constexpr auto text = "HashMap of Zel::Test::Owner: the element is linked already";
    EXPECT_DEATH(map.newMemberG(element, {3}), text);
    EXPECT_DEATH(other.newMemberG(element, {3}), text);
    EXPECT_DEATH(map.replaceMember(element.ptr(), element), text);
}

TEST(HashMapDeathTest, ANullElementOrOneWithAnotherKeyCannotBeInserted) {
    Map map;
    fill(map, 5);
    EXPECT_DEATH(map.newMemberG(nullptr, {6}), "HashMap of Zel::Test::Owner: null element");
    EXPECT_DEATH(map.replaceMember(map.find({1}), nullptr),
                 "HashMap of Zel::Test::Owner: null element");
    EXPECT_DEATH(map.newMemberG(made<Element>(7), {6}),
                 "HashMap of Zel::Test::Owner: the element has another key");
}

TEST(HashMapDeathTest, OnlyAMemberCanBeRemoved) {
    Map map;
    Map other;
    const auto element = made<Element>(3);
    constexpr auto text = "HashMap of Zel::Test::Owner: the element is not a member";
    EXPECT_DEATH(map.deleteMember(element.ptr()), text);
    fill(map, 5);
    fill(other, 5);
    EXPECT_DEATH(map.deleteMember(nullptr), text);
    EXPECT_DEATH(map.deleteMember(element.ptr()), text);
    for (Ptr<Element> const& foreign : other)
        EXPECT_DEATH(map.deleteMember(foreign.ptr()), text);
}

TEST(HashMapDeathTest, OnlyAMemberCanBeReplacedAndByTheSameKeyOnly) {
    Map map;
    Map other;
    fill(map, 5);
    fill(other, 5);
    const auto element = made<Element>(1);
    constexpr auto text = "HashMap of Zel::Test::Owner: the element is not a member";
    EXPECT_DEATH(map.replaceMember(nullptr, element), text);
    EXPECT_DEATH(map.replaceMember(made<Element>(1).ptr(), element), text);
    EXPECT_DEATH(map.replaceMember(other.find({1}), element), text);
    EXPECT_DEATH(map.replaceMember(map.find({2}), element),
                 "HashMap of Zel::Test::Owner: the replacement has another key");
}

} // namespace
} // namespace Zel::Test
