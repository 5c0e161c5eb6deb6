#include "model/TxStatus.h"

#include "tests/framework/FailingAllocation.h"
#include "tests/framework/MixedHash.h"
#include "tests/framework/NothingLeft.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace Varnol {
namespace {

// The maps that keep the entities, as they are in them.
using ByName = std::remove_cvref_t<decltype(std::declval<TxStatus const&>().txMstStatus())>;
using ByInstance = std::remove_cvref_t<decltype(std::declval<IntxInfo const&>().mstiN())>;

void insert(ByName& map, Zel::Name const& name) {
    map.newMemberG(TxMstStatus::Ptr(new TxMstStatus(name)), name);
}

void insert(ByInstance& map, Stp::BridgeSystemId instance) {
    map.memberNewChild(IntxMstiInfo::Ptr(new IntxMstiInfo(instance)));
}

void erase(ByName& map, Zel::Name const& name) { map.deleteMember(map.find(name)); }
void erase(ByInstance& map, Stp::BridgeSystemId instance) { map._memberDelG(map.find(instance)); }

template <class Map> std::vector<typename Map::key_type> keysOf(Map& map) {
    std::vector<typename Map::key_type> keys;
    for (auto const& element : map)
        keys.push_back(element->fwkKey());
    return keys;
}

/// Of each pair, the first comes first among names of the same hash.
constexpr std::pair<const char*, const char*> sameHashes[] = {
    {"costarring", "liquid"}, {"altarage", "zinke"}, {"declinate", "macallums"}};

void fill(ByName& map) {
    for (auto const& [first, second] : sameHashes) {
        insert(map, second);
        insert(map, first);
    }
    for (int number = 1; number <= 100; ++number)
        insert(map, ("mst" + std::to_string(number)).c_str());
}
void fill(ByInstance& map) {
    for (Zel::U16 instance = 0; instance <= 100; ++instance)
        insert(map, instance);
}

template <class Map> class Collection : public testing::Test {
  protected:
    Collection() { fill(map); }

    Map map;
};
using Maps = testing::Types<ByName, ByInstance>;
class MapNames {
  public:
    template <class Map> static std::string GetName(int) {
        return std::is_same_v<Map, ByName> ? "Hashed" : "Ordered";
    }
};
TYPED_TEST_SUITE(Collection, Maps, MapNames);

TYPED_TEST(Collection, FindsEachElementUnderItsKeyAndNoneThatWasErased) {
    auto const keys = keysOf(this->map);
    EXPECT_EQ(keys.size(), this->map.members());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        ASSERT_NE(this->map.find(keys[i]), nullptr);
        EXPECT_EQ(this->map.find(keys[i])->fwkKey(), keys[i]);
        if (i % 2 != 0)
            erase(this->map, keys[i]);
        EXPECT_EQ(this->map.find(keys[i]) == nullptr, i % 2 != 0);
        EXPECT_TRUE(this->map.check());
    }
}

TYPED_TEST(Collection, AWalkThatErasesEverySecondElementComesToEachOnce) {
    auto const keys = keysOf(this->map);
    std::vector<typename TypeParam::key_type> visited;
    for (auto const& element : this->map) {
        visited.push_back(element->fwkKey());
        if (visited.size() % 2 == 0)
            erase(this->map, visited.back());
    }
    EXPECT_EQ(visited, keys);
}

TYPED_TEST(Collection, AWalkComesToNoElementThatIsErasedWhileItLeavesTheOneBefore) {
    auto const keys = keysOf(this->map);
    auto walk = this->map.begin();
    erase(this->map, keys[0]);
    {
        const AtDeallocation atTheEndOfTheFirst([&] {
            erase(this->map, keys[1]);
            erase(this->map, keys[2]);
        });
        ++walk;
    }
    ASSERT_NE(*walk, nullptr);
    EXPECT_EQ((*walk)->fwkKey(), keys[3]);
}

TYPED_TEST(Collection, AWalkEndsBehindTheLastElementThoughItsDestructionErasesAnother) {
    auto const keys = keysOf(this->map);
    auto walk = this->map.begin();
    while ((*walk)->fwkKey() != keys.back())
        ++walk;
    erase(this->map, keys.back());
    {
        const AtDeallocation atTheEndOfTheLast([&] { erase(this->map, keys[0]); });
        ++walk;
    }
    EXPECT_EQ(*walk, nullptr);
    EXPECT_EQ(this->map.members(), keys.size() - 2);
}

TEST(HashedCollection, NamesOfOneHashStandInTheirOwnOrderAndOthersByTheMixedHash) {
    for (auto const& [first, second] : sameHashes)
        EXPECT_EQ(Zel::Name(first).hash(), Zel::Name(second).hash());
    ByName map;
    fill(map);
    auto const keys = keysOf(map);
    EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end(), [](auto const& left, auto const& right) {
        return std::make_tuple(Zel::Test::mixedHash(left.hash()), left) <
               std::make_tuple(Zel::Test::mixedHash(right.hash()), right);
    }));
}

template <class Map> class CollectionDeathTest : public Collection<Map> {};
TYPED_TEST_SUITE(CollectionDeathTest, Maps, MapNames);

TYPED_TEST(CollectionDeathTest, AKeyThatIsThereCannotBeInserted) {
    auto const keys = keysOf(this->map);
    for (std::size_t i = 0; i < keys.size(); i += 5)
        EXPECT_DEATH(insert(this->map, keys[i]), "Map of Varnol::\\w+: duplicate key");
}

TYPED_TEST(CollectionDeathTest, OnlyAMemberCanBeErased) {
    auto const key = keysOf(this->map).front();
    auto const erased = this->map[key];
    erase(this->map, key);
    constexpr auto text = "Map of Varnol::\\w+: the element is not a member";
    EXPECT_DEATH(erase(this->map, key), text);
    if constexpr (std::is_same_v<TypeParam, ByName>)
        EXPECT_DEATH(this->map.deleteMember(erased.ptr()), text);
    else
        EXPECT_DEATH(this->map._memberDelG(erased.ptr()), text);
}

TYPED_TEST(CollectionDeathTest, OnlyAnElementThatStandsNowhereCanBeInserted) {
    auto const key = keysOf(this->map).front();
    TypeParam other;
    const auto insertInOther = [&](auto const& element) {
        if constexpr (std::is_same_v<TypeParam, ByName>)
            other.newMemberG(element, key);
        else
            other.memberNewChild(element);
    };
    EXPECT_DEATH(insertInOther(this->map[key]),
                 "Map of Varnol::\\w+: the element is linked already");
    EXPECT_DEATH(insertInOther(decltype(this->map[key])()), "Map of Varnol::\\w+: null element");
}

TEST(HashedCollectionDeathTest, AnElementStandsUnderItsOwnKeyOnly) {
    ByName map;
    EXPECT_DEATH(map.newMemberG(TxMstStatus::Ptr(new TxMstStatus("mst1")), "mst2"),
                 "HashMap of Varnol::TxStatus: the element has another key");
}

} // namespace
} // namespace Varnol
