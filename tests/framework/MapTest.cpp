#include "tests/framework/MapUnderTest.h"

#include "tests/framework/FailingAllocation.h"
#include "tests/framework/MapInEveryOrder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace Zel::Test {

void PrintTo(MapKind const& kind, std::ostream* out) { *out << kind.name; }

namespace {

/// A map and its model, which are told the same and must agree.
class Modelled {
  public:
    using Walk = std::unique_ptr<MapUnderTest::Walk>;

    explicit Modelled(MapKind const& kind, std::vector<U32> const& keys = {})
        : kind_{kind}
        , map_{kind.map()}
        , model_{kind.precedes} {
        for (const U32 key : keys)
            put(key);
    }

    bool has(U32 key) const { return model_.count(key) != 0; }
    std::size_t size() const { return model_.size(); }

    /// Inserts an element, or replaces the one that has the key.
    void put(U32 key) {
        const Ptr<Item> item = kind_.item(key);
        const auto [place, isNew] = model_.insert_or_assign(key, item.ptr());
        if (isNew)
            map_->insert(item);
        else
            map_->replace(item);
    }
    void erase(U32 key) {
        if (model_.erase(key) != 0)
            map_->erase(key);
    }
    void clear() {
        model_.clear();
        map_->clear();
    }

    /// Whether a lookup of this key finds what the model has under it.
    bool agreesOn(U32 key) const {
        const auto place = model_.find(key);
        return map_->find(key) == (place == model_.end() ? nullptr : place->second);
    }
    /// Whether lookups of all keys that there are find what the model has.
    bool agreesOnAll() const {
        return std::all_of(model_.begin(), model_.end(), [this](auto const& member) {
            return map_->find(member.first) == member.second;
        });
    }
    /// Whether the map is sound and a walk finds just what the model has, in its order.
    bool agreesInOrder() const {
        return map_->walksLike(model_) && map_->check() && map_->members() == model_.size();
    }
    bool agrees() const { return agreesInOrder() && agreesOnAll(); }

    Walk walk() { return map_->walk(); }

    std::optional<U32> firstKey() const { return keyOf(model_.begin()); }
    std::optional<U32> keyAfter(U32 key) const { return keyOf(model_.upper_bound(key)); }
    std::optional<U32> keyBefore(U32 key) const {
        const auto place = model_.lower_bound(key);
        return place == model_.begin() ? std::nullopt : keyOf(std::prev(place));
    }
    std::vector<U32> keys() const {
        std::vector<U32> all;
        for (auto const& [key, item] : model_)
            all.push_back(key);
        return all;
    }

    MapUnderTest& map() { return *map_; }

  private:
    using Model = MapUnderTest::Model;

    std::optional<U32> keyOf(Model::const_iterator place) const {
        return place == model_.end() ? std::nullopt : std::optional<U32>(place->first);
    }

    MapKind const& kind_;
    std::unique_ptr<MapUnderTest> map_;
    Model model_;
};

class MapTest : public ::testing::TestWithParam<MapKind> {
  protected:
    using Change = std::function<void(Modelled&, U32 key)>;

    static std::unique_ptr<MapUnderTest> mapOf(U32 size) {
        auto map = GetParam().map();
        for (U32 key = 0; key < size; ++key)
            map->insert(GetParam().item(key));
        return map;
    }

    void TearDown() override { EXPECT_EQ(Life::live, 0); }

    /// Walks maps of up to nine elements and changes each at one place, at every place in turn.
    /// Each step must lead to the first key that then follows.
    /// @param visits  what the walk must have visited, given the keys there were and that place
    void changeAtEveryPlace(
        Change const& change,
        std::function<std::vector<U32>(std::vector<U32> keys, std::size_t place)> const& visits) {
        for (U32 size = 1; size <= 9; ++size) {
            for (std::size_t place = 0; place < size; ++place) {
                Modelled maps(GetParam());
                for (U32 i = 1; i <= size; ++i)
                    maps.put(10 * i);
                const std::vector<U32> keys = maps.keys();
                std::vector<U32> visited;
                auto walk = maps.walk();
                while (!walk->atEnd()) {
                    const U32 key = walk->key();
                    visited.push_back(key);
                    if (visited.size() == place + 1)
                        change(maps, key);
                    ASSERT_EQ(walk->key(), key);
                    const std::optional<U32> expected = maps.keyAfter(key);
                    walk->advance();
                    ASSERT_EQ(walk->atEnd(), !expected.has_value());
                    if (expected) {
                        ASSERT_EQ(walk->key(), *expected);
                    }
                }
                ASSERT_TRUE(maps.agrees());
                ASSERT_EQ(visited, visits(keys, place)) << size << " elements, place " << place;
            }
        }
    }

    /// A quarter of a million random operations. After each, the map must be sound and have just
    /// what its model has.
    void changeAtRandom(U32 seed) {
        constexpr U32 wide = 256;
        constexpr std::array<U32, 16> ranges{4,  8,  16, 32, 96, 4,  8,  16, // of keys, by turns
                                             32, 96, 4,  8,  16, 32, 96, wide};
        constexpr U32 turn = 2048;
        constexpr std::size_t mostMembers = 64;
        constexpr std::size_t mostInWide = 128;
        std::printf("random seed %u\n", seed);
        std::mt19937 random(seed);

        Modelled maps(GetParam());
        Modelled::Walk walk; // one is under way most of the time
        std::size_t walks = 0;
        std::size_t longest = 0;
        for (U32 step = 0; step < 250'000; ++step) {
            const U32 range = ranges[step / turn % ranges.size()];
            const std::size_t most = range == wide ? mostInWide : mostMembers;
            const U32 key = static_cast<U32>(random()) % range;
            const U32 operation = static_cast<U32>(random()) % 16;
            if (operation < 5) {
                if (maps.size() < most || maps.has(key))
                    maps.put(key);
            } else if (operation < 9) {
                maps.erase(key);
            } else if (operation < 10) {
                if (maps.has(key))
                    maps.put(key);
            } else if (operation < 11) {
                ASSERT_TRUE(maps.agreesOn(static_cast<U32>(random()))) << "step " << step;
            } else if (operation < 12 && random() % (8 * range) == 0) {
                maps.clear();
            } else if (!walk) {
                walk = maps.walk();
                ++walks;
                const std::optional<U32> first = maps.firstKey();
                ASSERT_EQ(walk->atEnd(), !first.has_value()) << "step " << step;
                if (!first)
                    walk.reset();
                else
                    ASSERT_EQ(walk->key(), *first) << "step " << step;
            } else {
                const std::optional<U32> expected = maps.keyAfter(walk->key());
                walk->advance();
                ASSERT_EQ(walk->atEnd(), !expected.has_value()) << "step " << step;
                if (!expected)
                    walk.reset();
                else
                    ASSERT_EQ(walk->key(), *expected) << "step " << step;
            }
            ASSERT_TRUE(maps.agreesInOrder()) << "step " << step;
            ASSERT_TRUE(maps.agreesOn(key)) << "step " << step << ", key " << key;
            if (step % 16 == 0) {
                ASSERT_TRUE(maps.agreesOnAll()) << "step " << step;
            }
            if (!walk) {
                ASSERT_EQ(Life::live, static_cast<int>(maps.size())) << "step " << step;
            }
            longest = std::max(longest, maps.size());
        }
        // The operations were such as to say something.
        EXPECT_GT(walks, 250U);
        EXPECT_EQ(longest, mostInWide);
    }

    static std::vector<U32> all(std::vector<U32> const& keys, std::size_t) { return keys; }
    static std::vector<U32> upToPlace(std::vector<U32> keys, std::size_t place) {
        keys.resize(place + 1);
        return keys;
    }
    static std::vector<U32> allButTheNext(std::vector<U32> keys, std::size_t place) {
        if (place + 1 < keys.size())
            keys.erase(keys.begin() + static_cast<std::ptrdiff_t>(place) + 1);
        return keys;
    }
};

TEST_P(MapTest, TheFirstQuarterOfAMillionRandomOperationsKeepsTheMapSoundAndLikeItsModel) {
    changeAtRandom(20250317);
}

TEST_P(MapTest, TheSecondQuarterOfAMillionRandomOperationsKeepsTheMapSoundAndLikeItsModel) {
    changeAtRandom(20250318);
}

TEST_P(MapTest, TheThirdQuarterOfAMillionRandomOperationsKeepsTheMapSoundAndLikeItsModel) {
    changeAtRandom(20250319);
}

TEST_P(MapTest, TheLastQuarterOfAMillionRandomOperationsKeepsTheMapSoundAndLikeItsModel) {
    changeAtRandom(20250320);
}

TEST_P(MapTest, EveryOrderOfInsertingAndErasingUpToSixKeysIsSound) {
    EXPECT_EQ(changeInEveryOrder(GetParam(), 6, KnownSteps::skipped).pairs, 533'417U);
}

TEST_P(MapTest, AnEmptyMapHasNothingToFindOrToWalk) {
    Modelled maps(GetParam());
    EXPECT_TRUE(maps.agrees());
    EXPECT_TRUE(maps.agreesOn(1));
    EXPECT_TRUE(maps.walk()->atEnd());
}

TEST_P(MapTest, AWalkOfAnUnchangedMapVisitsAllInOrder) {
    changeAtEveryPlace([](Modelled&, U32) {}, all);
}

TEST_P(MapTest, ErasingTheCurrentElementSkipsNothing) {
    changeAtEveryPlace([](Modelled& maps, U32 key) { maps.erase(key); }, all);
}

TEST_P(MapTest, ErasingTheNextElementSkipsNoOther) {
    changeAtEveryPlace(
        [](Modelled& maps, U32 key) {
            if (const auto next = maps.keyAfter(key))
                maps.erase(*next);
        },
        allButTheNext);
}

TEST_P(MapTest, ErasingThePreviousElementSkipsAndRepeatsNothing) {
    changeAtEveryPlace(
        [](Modelled& maps, U32 key) {
            if (const auto previous = maps.keyBefore(key))
                maps.erase(*previous);
        },
        all);
}

TEST_P(MapTest, ErasingTheCurrentElementAndBothNeighboursSkipsNoOther) {
    changeAtEveryPlace(
        [](Modelled& maps, U32 key) {
            for (const auto other : {maps.keyBefore(key), maps.keyAfter(key)})
                if (other)
                    maps.erase(*other);
            maps.erase(key);
        },
        allButTheNext);
}

TEST_P(MapTest, AWalkFindsItsPlaceAgainWhereTheCountOfChangesWraps) {
    for (const U32 below : {1U, 2U, 3U, 4U}) {
        Modelled maps(GetParam());
        for (U32 i = 1; i <= 9; ++i)
            maps.put(10 * i);
        maps.map().version() = 0 - below;
        const std::vector<U32> keys = maps.keys();
        std::vector<U32> visited;
        for (auto walk = maps.walk(); !walk->atEnd(); walk->advance()) {
            visited.push_back(walk->key());
            maps.erase(walk->key());
        }
        EXPECT_EQ(visited, keys);
        EXPECT_EQ(maps.map().version(), 9 - below) << "the count has wrapped";
    }
}

TEST_P(MapTest, BetweenTwoStepsOfAWalkThereMayBeAllChangesThatItsCountCanTell) {
    changeAtEveryPlace(
        [](Modelled& maps, U32 key) {
            const U32 before = maps.map().version();
            maps.erase(key);
            maps.map().version() = before - 1; // 2^32 - 1 of them
        },
        all);
}

TEST_P(MapTest, EmptyingTheMapEndsTheWalk) {
    changeAtEveryPlace([](Modelled& maps, U32) { maps.clear(); }, upToPlace);
}

TEST_P(MapTest, ErasingAllOtherElementsEndsTheWalk) {
    changeAtEveryPlace(
        [](Modelled& maps, U32 key) {
            for (const U32 other : maps.keys())
                if (other != key)
                    maps.erase(other);
        },
        upToPlace);
}

TEST_P(MapTest, WhatIsErasedAndInsertedAnewIsVisitedOnce) {
    changeAtEveryPlace(
        [](Modelled& maps, U32) {
            const auto keys = maps.keys();
            maps.clear();
            for (const U32 key : keys)
                maps.put(key);
        },
        all);
}

TEST_P(MapTest, TheCurrentElementErasedAndInsertedAnewIsNotVisitedAgain) {
    changeAtEveryPlace(
        [](Modelled& maps, U32 key) {
            maps.erase(key);
            maps.put(key);
        },
        all);
}

TEST_P(MapTest, ReplacingElementsSkipsAndRepeatsNothing) {
    changeAtEveryPlace(
        [](Modelled& maps, U32) {
            for (const U32 key : maps.keys())
                maps.put(key);
        },
        all);
}

TEST_P(MapTest, ReplacingTheCurrentElementSkipsAndRepeatsNothing) {
    changeAtEveryPlace([](Modelled& maps, U32 key) { maps.put(key); }, all);
}

TEST_P(MapTest, WhatIsInsertedAheadIsVisitedAndWhatIsInsertedBehindIsNot) {
    for (const U32 inserted : {5U, 15U, 44U, 95U, 1000U})
        changeAtEveryPlace([&](Modelled& maps, U32) { maps.put(inserted); },
                           [&](std::vector<U32> keys, std::size_t place) {
                               Modelled after(GetParam(), keys);
                               after.put(inserted);
                               if (GetParam().precedes(inserted, keys[place]))
                                   after.erase(inserted);
                               return after.keys();
                           });
}

TEST_P(MapTest, GrowingTheMapDuringAWalkSkipsAndRepeatsNothing) {
    changeAtEveryPlace(
        [](Modelled& maps, U32) {
            for (U32 key = 1000; key < 1200; ++key)
                maps.put(key);
            for (U32 key = 1000; key < 1200; ++key)
                maps.erase(key);
        },
        all);
    changeAtEveryPlace(
        [](Modelled& maps, U32 key) {
            for (U32 other = 1000; other < 1200; ++other)
                if (GetParam().precedes(other, key))
                    maps.put(other);
            maps.erase(key);
        },
        all);
}

TEST_P(MapTest, AWalkWithinAWalkMayEraseWhatTheOuterOneStandsOn) {
    Modelled maps(GetParam(), {1, 2, 3, 4, 5});
    const std::vector<U32> keys = maps.keys();
    std::vector<U32> visited;
    for (auto outer = maps.walk(); !outer->atEnd(); outer->advance()) {
        visited.push_back(outer->key());
        for (auto inner = maps.walk(); !inner->atEnd(); inner->advance())
            if (inner->key() != keys.back())
                maps.erase(inner->key());
    }
    EXPECT_EQ(visited, (std::vector<U32>{keys.front(), keys.back()}));
    EXPECT_TRUE(maps.agrees());
}

TEST_P(MapTest, AnErasedElementLivesUntilTheWalkLeavesIt) {
    Modelled maps(GetParam(), {1, 2});
    auto walk = maps.walk();
    maps.erase(walk->key());
    EXPECT_EQ(Life::live, 2);
    walk->advance();
    EXPECT_EQ(Life::live, 1);
    maps.clear();
    EXPECT_EQ(Life::live, 1);
    walk->advance();
    EXPECT_EQ(Life::live, 0);
}

TEST_P(MapTest, AWalkComesToNoElementThatWasErasedOnItsWayThere) {
    Modelled maps(GetParam(), {1, 2, 3, 4, 5});
    const std::vector<U32> keys = maps.keys();
    // The second element is released by the walk that leaves it, and takes the next two along.
    const AtDeath action([&](U32 key) {
        if (key == keys[1]) {
            maps.erase(keys[2]);
            maps.erase(keys[3]);
        }
    });
    std::vector<U32> visited;
    for (auto walk = maps.walk(); !walk->atEnd(); walk->advance()) {
        visited.push_back(walk->key());
        if (walk->key() == keys[1])
            maps.erase(keys[1]);
    }
    EXPECT_EQ(visited, (std::vector<U32>{keys[0], keys[1], keys[4]}));
    EXPECT_TRUE(maps.agrees());
}

TEST_P(MapTest, AWalkComesToTheElementThatReplacedTheNextOnItsWayThere) {
    Modelled maps(GetParam(), {1, 2, 3});
    const std::vector<U32> keys = maps.keys();
    const AtDeath action([&](U32 key) {
        if (key == keys[0])
            maps.put(keys[1]);
    });
    auto walk = maps.walk();
    maps.erase(keys[0]);
    walk->advance();
    ASSERT_EQ(walk->key(), keys[1]);
    EXPECT_TRUE(maps.agrees());
    walk->advance();
    EXPECT_EQ(walk->key(), keys[2]);
    EXPECT_EQ(Life::live, 2);
}

TEST_P(MapTest, AMapHoldsOneReferenceToEachElementAndReleasesIt) {
    const auto kept = GetParam().item(1);
    {
        Modelled maps(GetParam(), {2, 3});
        maps.map().insert(kept);
        EXPECT_EQ(kept->references(), 2U);
        EXPECT_EQ(Life::live, 3);
        maps.map().erase(1);
        EXPECT_EQ(kept->references(), 1U);
        maps.map().insert(kept);
        maps.map().replace(GetParam().item(1));
        EXPECT_EQ(kept->references(), 1U);
        EXPECT_EQ(Life::live, 4);
        maps.map().erase(1);
        EXPECT_EQ(Life::live, 3);
        maps.map().insert(kept);
        maps.map().clear();
        EXPECT_EQ(kept->references(), 1U);
        EXPECT_EQ(Life::live, 1);
        maps.map().insert(kept);
    }
    EXPECT_EQ(kept->references(), 1U);
    EXPECT_EQ(Life::live, 1);
}

TEST_P(MapTest, AFindAllocatesNothingAndTakesNoReference) {
    Modelled maps(GetParam(), {1, 2, 3});
    const auto made = FailingAllocation::made();
    auto const* found = maps.map().find(2);
    auto const* missing = maps.map().find(4);
    EXPECT_EQ(FailingAllocation::made(), made);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->references(), 1U);
    EXPECT_EQ(missing, nullptr);
}

TEST_P(MapTest, AMapWithoutElementsOwnsNoMemory) {
    const auto without = FailingAllocation::outstanding();
    const auto map = GetParam().map();
    const auto before = FailingAllocation::outstanding();
    EXPECT_EQ(before, without + 1) << "the object that has the map in it";
    for (U32 key = 0; key < 100; ++key)
        map->insert(GetParam().item(key));
    EXPECT_GT(FailingAllocation::outstanding(), before);
    for (U32 key = 0; key < 100; ++key)
        map->erase(key);
    EXPECT_EQ(FailingAllocation::outstanding(), before);
    map->insert(GetParam().item(1));
    EXPECT_GT(FailingAllocation::outstanding(), before);
    map->clear();
    EXPECT_EQ(FailingAllocation::outstanding(), before);
}

TEST_P(MapTest, AnElementIsReleasedWhenItIsNoMemberAnyMore) {
    const auto map = mapOf(20);
    U32 deaths = 0;
    const AtDeath action([&](U32 key) {
        EXPECT_EQ(map->find(key), nullptr);
        EXPECT_TRUE(map->check());
        EXPECT_EQ(map->members(), 20 - ++deaths);
        U32 rest = 0;
        for (const auto walk = map->walk(); !walk->atEnd(); walk->advance())
            ++rest;
        EXPECT_EQ(rest, 20 - deaths);
    });
    map->erase(7);
    EXPECT_EQ(deaths, 1U);
    map->clear();
    EXPECT_EQ(deaths, 20U);
}

TEST_P(MapTest, EmptyingAMapStandsElementsThatEraseOthersWhenTheyDie) {
    const auto map = mapOf(50);
    const AtDeath action([&](U32 key) {
        for (const U32 other : {key + 1, key + 7, key / 2})
            if (map->find(other))
                map->erase(other);
        EXPECT_TRUE(map->check());
    });
    map->clear();
    EXPECT_EQ(map->members(), 0U);
    EXPECT_TRUE(map->check());
    EXPECT_EQ(Life::live, 0);
}

TEST_P(MapTest, EmptyingAMapStandsElementsThatEmptyItWhenTheyDie) {
    const auto map = mapOf(50);
    const AtDeath action([&](U32) { map->clear(); });
    map->clear();
    EXPECT_EQ(map->members(), 0U);
    EXPECT_TRUE(map->check());
    EXPECT_EQ(Life::live, 0);
}

TEST_P(MapTest, EmptyingAMapRemovesWhatElementsInsertWhenTheyDie) {
    auto owned = mapOf(10);
    MapUnderTest* const map = owned.get(); // for use while it is destroyed, too
    U32 inserted = 100;
    const AtDeath action([&](U32) {
        if (inserted < 200)
            map->insert(GetParam().item(inserted++));
        EXPECT_TRUE(map->check());
    });
    map->clear();
    EXPECT_EQ(inserted, 200U);
    EXPECT_EQ(map->members(), 0U);
    EXPECT_EQ(Life::live, 0);

    inserted = 100;
    map->insert(GetParam().item(1));
    owned.reset(); // the destructor does as well
    EXPECT_EQ(inserted, 200U);
    EXPECT_EQ(Life::live, 0);
}

INSTANTIATE_TEST_SUITE_P(Every, MapTest, ::testing::ValuesIn(mapKinds()),
                         [](auto const& kind) { return std::string(kind.param.name); });

} // namespace
} // namespace Zel::Test
