#pragma once

// What every map promises, tested against a model. A map takes part through a subject: a class with
//   Element                an Item, which the map holds (itself, or as a value)
//   map                    the map
//   insert, replace, erase, find, clear
//   keyAt(walk)            the key on which a walk stands
//   elementAt(walk)        the element with it
//   precedes(key, key)     the order in which the map is to be walked

#include "framework/zel/HashTable.h"
#include "framework/zel/Int.h"
#include "framework/zel/Ptr.h"
#include "framework/zel/PtrInterface.h"
#include "tests/framework/FailingAllocation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <iterator>
#include <map>
#include <numeric>
#include <optional>
#include <random>
#include <utility>
#include <vector>

namespace Zel {

/// The way of the tests into the links of a map, to break them.
struct MapTestAccess {
    template <class Map> static auto& core(Map& map) { return map.core_; }
    template <class Map> static auto& nodes(Map& map) { return map.nodes_; }

    template <class Core> static U32& members(Core& core) { return core.members_; }
    template <class Tree> static auto& root(Tree& tree) { return tree.root_; }
    template <class Member> static auto& parentAndBits(Member& member) {
        return member.parentAndBits_;
    }
    template <class Member> static auto& child(Member& member, int side) {
        return member.child_[side];
    }

    template <class Table> static auto& chains(Table& table) { return table.chains_; }
    template <class Table> static auto& chain(Table& table, U32 bucket) {
        return table.chains_[bucket];
    }
    template <class Member> static auto& next(Member& member) { return member.next_; }
    template <class Member> static U32& hash(Member& member) { return member.hash_; }
    template <class Member> static bool& linked(Member& member) { return member.linked_; }
};

namespace Test {

/// Owns the maps of these tests. No more than its name is needed.
class Owner;

struct Key {
    U32 value;

    U32 hash() const noexcept { return value; }
    bool operator==(Key const& other) const noexcept { return value == other.value; }
    bool operator<(Key const& other) const noexcept { return value < other.value; }
};

struct ConstantHash {
    static U32 hash(Key const&) noexcept { return 77; }
};

/// The order of the hash maps.
template <class Hash> bool precedesByHash(U32 left, U32 right) {
    const U32 leftHash = HashTable::mixed(Hash::hash(Key{left}));
    const U32 rightHash = HashTable::mixed(Hash::hash(Key{right}));
    return leftHash < rightHash || (leftHash == rightHash && left < right);
}

/// How many items live, and what is to be done when one with this key dies.
struct Life {
    static inline int live = 0;
    static inline std::function<void(U32)> onDeath;
};

/// What is to be done at deaths while this object lives.
struct AtDeath {
    explicit AtDeath(std::function<void(U32)> action) { Life::onDeath = std::move(action); }
    AtDeath(AtDeath const&) = delete;
    AtDeath& operator=(AtDeath const&) = delete;
    ~AtDeath() { Life::onDeath = nullptr; }
};

struct NoHook {};

template <class Hook> class Item final : public PtrInterface, public Hook {
  public:
    explicit Item(U32 key)
        : key_{key} {
        ++Life::live;
    }
    ~Item() override {
        --Life::live;
        if (Life::onDeath)
            Life::onDeath(key_.value);
    }
    Key const& fwkKey() const noexcept { return key_; }
    void keyIs(U32 key) { key_.value = key; }
    TypeNode const* fwkType() const override { return nullptr; }

  private:
    Key key_;
};

template <class Element> Ptr<Element> made(U32 key) { return Ptr<Element>(new Element(key)); }

/// A map and its model, which are told the same and must agree.
template <class Subject> class Modelled {
  public:
    using Element = typename Subject::Element;
    using Walk = decltype(std::declval<Subject&>().map.begin());
    struct Precedes {
        bool operator()(U32 left, U32 right) const { return Subject::precedes(left, right); }
    };

    Modelled() = default;
    explicit Modelled(std::vector<U32> const& keys) {
        for (const U32 key : keys)
            put(key);
    }

    bool has(U32 key) const { return model_.count(key) != 0; }
    std::size_t size() const { return model_.size(); }

    /// Inserts an element, or replaces the one that has the key.
    void put(U32 key) {
        const Ptr<Element> element = made<Element>(key);
        const auto [place, isNew] = model_.insert_or_assign(key, element.ptr());
        if (isNew)
            subject_.insert(element);
        else
            subject_.replace(element);
    }
    void erase(U32 key) {
        if (model_.erase(key) != 0)
            subject_.erase(key);
    }
    void clear() {
        model_.clear();
        subject_.clear();
    }

    /// Whether a lookup of this key finds what the model has under it.
    bool agreesOn(U32 key) const {
        const auto place = model_.find(key);
        return subject_.find(key) == (place == model_.end() ? nullptr : place->second);
    }
    /// Whether lookups of all keys that there are find what the model has.
    bool agreesOnAll() const {
        return std::all_of(model_.begin(), model_.end(), [this](auto const& member) {
            return subject_.find(member.first) == member.second;
        });
    }
    /// Whether the map is sound and a walk finds just what the model has, in its order.
    bool agreesInOrder() const {
        auto place = model_.begin();
        for (auto walk = subject_.map.begin(); walk != subject_.map.end(); ++walk, ++place)
            if (place == model_.end() || Subject::keyAt(walk) != place->first ||
                Subject::elementAt(walk) != place->second)
                return false;
        return place == model_.end() && subject_.map.check() &&
               subject_.map.members() == model_.size();
    }
    bool agrees() const { return agreesInOrder() && agreesOnAll(); }

    Walk walk() { return subject_.map.begin(); }
    bool atEnd(Walk const& walk) const { return walk == subject_.map.end(); }
    static U32 keyAt(Walk const& walk) { return Subject::keyAt(walk); }

    std::optional<U32> firstKey() const { return keyOf(model_.begin()); }
    std::optional<U32> keyAfter(U32 key) const { return keyOf(model_.upper_bound(key)); }
    std::optional<U32> keyBefore(U32 key) const {
        const auto place = model_.lower_bound(key);
        return place == model_.begin() ? std::nullopt : keyOf(std::prev(place));
    }
    std::vector<U32> keys() const {
        std::vector<U32> all;
        for (auto const& [key, element] : model_)
            all.push_back(key);
        return all;
    }

    Subject& subject() { return subject_; }

  private:
    using Model = std::map<U32, Element const*, Precedes>;

    std::optional<U32> keyOf(typename Model::const_iterator place) const {
        return place == model_.end() ? std::nullopt : std::optional<U32>(place->first);
    }

    Subject subject_;
    Model model_;
};

template <class Subject> class MapTest : public ::testing::Test {
  protected:
    using Maps = Modelled<Subject>;
    using Element = typename Subject::Element;
    using Change = std::function<void(Maps&, U32 key)>;

    void TearDown() override { EXPECT_EQ(Life::live, 0); }

    /// Walks maps of up to nine elements and changes each at one place, at every place in turn.
    /// Each step must lead to the first key that then follows.
    /// @param visits  what the walk must have visited, given the keys there were and that place
    void changeAtEveryPlace(
        Change const& change,
        std::function<std::vector<U32>(std::vector<U32> keys, std::size_t place)> const& visits) {
        for (U32 size = 1; size <= 9; ++size) {
            for (std::size_t place = 0; place < size; ++place) {
                Maps maps;
                for (U32 i = 1; i <= size; ++i)
                    maps.put(10 * i);
                const std::vector<U32> keys = maps.keys();
                std::vector<U32> visited;
                auto walk = maps.walk();
                while (!maps.atEnd(walk)) {
                    const U32 key = Maps::keyAt(walk);
                    visited.push_back(key);
                    if (visited.size() == place + 1)
                        change(maps, key);
                    ASSERT_EQ(Maps::keyAt(walk), key);
                    const std::optional<U32> expected = maps.keyAfter(key);
                    ++walk;
                    ASSERT_EQ(maps.atEnd(walk), !expected.has_value());
                    if (expected) {
                        ASSERT_EQ(Maps::keyAt(walk), *expected);
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

        Maps maps;
        std::optional<typename Maps::Walk> walk; // one is under way most of the time
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
                ASSERT_EQ(maps.atEnd(*walk), !first.has_value()) << "step " << step;
                if (!first)
                    walk.reset();
                else
                    ASSERT_EQ(maps.keyAt(*walk), *first) << "step " << step;
            } else {
                const std::optional<U32> expected = maps.keyAfter(maps.keyAt(*walk));
                ++*walk;
                ASSERT_EQ(maps.atEnd(*walk), !expected.has_value()) << "step " << step;
                if (!expected)
                    walk.reset();
                else
                    ASSERT_EQ(maps.keyAt(*walk), *expected) << "step " << step;
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

    /// Inserts up to six keys in every order and erases them in every order. After each step, the
    /// map must be sound and have just the keys that are in it. The steps that a pair of orders has
    /// in common with the pair before, from the first one on, are not looked at again.
    void changeInEveryOrder() {
        constexpr U32 most = 6;
        std::vector<Ptr<Element>> elements;
        std::vector<U32> inOrder; // of a walk
        for (U32 key = 0; key < most; ++key) {
            elements.push_back(made<Element>(key));
            inOrder.push_back(key);
        }
        std::sort(inOrder.begin(), inOrder.end(), Subject::precedes);

        U32 pairs = 0;
        for (U32 size = 1; size <= most; ++size) {
            std::vector<U32> steps(2 * size); // the keys inserted, then the keys erased
            std::vector<U32> former(2 * size, most);
            const auto half = steps.begin() + size;
            std::iota(steps.begin(), half, 0U);
            do {
                std::iota(half, steps.end(), 0U);
                do {
                    ++pairs;
                    Subject subject;
                    std::array<bool, most> present{};
                    const auto known =
                        std::mismatch(steps.begin(), steps.end(), former.begin()).first;
                    for (auto step = steps.begin(); step != steps.end(); ++step) {
                        present[*step] = step < half;
                        if (step < half)
                            subject.insert(elements[*step]);
                        else
                            subject.erase(*step);
                        if (step < known)
                            continue;
                        auto walk = subject.map.begin();
                        U32 members = 0;
                        for (const U32 key : inOrder) {
                            Element const* element = present[key] ? elements[key].ptr() : nullptr;
                            ASSERT_EQ(subject.find(key), element) << "pair " << pairs;
                            if (!element)
                                continue;
                            ASSERT_FALSE(walk == subject.map.end()) << "pair " << pairs;
                            ASSERT_EQ(Subject::elementAt(walk), element) << "pair " << pairs;
                            ASSERT_EQ(Subject::keyAt(walk), key) << "pair " << pairs;
                            ++walk;
                            ++members;
                        }
                        ASSERT_TRUE(walk == subject.map.end()) << "pair " << pairs;
                        ASSERT_TRUE(subject.map.check()) << "pair " << pairs;
                        ASSERT_EQ(subject.map.members(), members) << "pair " << pairs;
                    }
                    former = steps;
                } while (std::next_permutation(half, steps.end()));
            } while (std::next_permutation(steps.begin(), half));
        }
        EXPECT_EQ(pairs, 533'417U);
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

TYPED_TEST_SUITE_P(MapTest);

TYPED_TEST_P(MapTest, TheFirstQuarterOfAMillionRandomOperationsKeepsTheMapSoundAndLikeItsModel) {
    this->changeAtRandom(20250317);
}

TYPED_TEST_P(MapTest, TheSecondQuarterOfAMillionRandomOperationsKeepsTheMapSoundAndLikeItsModel) {
    this->changeAtRandom(20250318);
}

TYPED_TEST_P(MapTest, TheThirdQuarterOfAMillionRandomOperationsKeepsTheMapSoundAndLikeItsModel) {
    this->changeAtRandom(20250319);
}

TYPED_TEST_P(MapTest, TheLastQuarterOfAMillionRandomOperationsKeepsTheMapSoundAndLikeItsModel) {
    this->changeAtRandom(20250320);
}

TYPED_TEST_P(MapTest, EveryOrderOfInsertingAndErasingUpToSixKeysIsSound) {
    this->changeInEveryOrder();
}

TYPED_TEST_P(MapTest, AnEmptyMapHasNothingToFindOrToWalk) {
    Modelled<TypeParam> maps;
    EXPECT_TRUE(maps.agrees());
    EXPECT_TRUE(maps.agreesOn(1));
    EXPECT_TRUE(maps.atEnd(maps.walk()));
}

TYPED_TEST_P(MapTest, AWalkOfAnUnchangedMapVisitsAllInOrder) {
    this->changeAtEveryPlace([](auto&, U32) {}, this->all);
}

TYPED_TEST_P(MapTest, ErasingTheCurrentElementSkipsNothing) {
    this->changeAtEveryPlace([](auto& maps, U32 key) { maps.erase(key); }, this->all);
}

TYPED_TEST_P(MapTest, ErasingTheNextElementSkipsNoOther) {
    this->changeAtEveryPlace(
        [](auto& maps, U32 key) {
            if (const auto next = maps.keyAfter(key))
                maps.erase(*next);
        },
        this->allButTheNext);
}

TYPED_TEST_P(MapTest, ErasingThePreviousElementSkipsAndRepeatsNothing) {
    this->changeAtEveryPlace(
        [](auto& maps, U32 key) {
            if (const auto previous = maps.keyBefore(key))
                maps.erase(*previous);
        },
        this->all);
}

TYPED_TEST_P(MapTest, ErasingTheCurrentElementAndBothNeighboursSkipsNoOther) {
    this->changeAtEveryPlace(
        [](auto& maps, U32 key) {
            for (const auto other : {maps.keyBefore(key), maps.keyAfter(key)})
                if (other)
                    maps.erase(*other);
            maps.erase(key);
        },
        this->allButTheNext);
}

TYPED_TEST_P(MapTest, EmptyingTheMapEndsTheWalk) {
    this->changeAtEveryPlace([](auto& maps, U32) { maps.clear(); }, this->upToPlace);
}

TYPED_TEST_P(MapTest, ErasingAllOtherElementsEndsTheWalk) {
    this->changeAtEveryPlace(
        [](auto& maps, U32 key) {
            for (const U32 other : maps.keys())
                if (other != key)
                    maps.erase(other);
        },
        this->upToPlace);
}

TYPED_TEST_P(MapTest, WhatIsErasedAndInsertedAnewIsVisitedOnce) {
    this->changeAtEveryPlace(
        [](auto& maps, U32) {
            const auto keys = maps.keys();
            maps.clear();
            for (const U32 key : keys)
                maps.put(key);
        },
        this->all);
}

TYPED_TEST_P(MapTest, TheCurrentElementErasedAndInsertedAnewIsNotVisitedAgain) {
    this->changeAtEveryPlace(
        [](auto& maps, U32 key) {
            maps.erase(key);
            maps.put(key);
        },
        this->all);
}

TYPED_TEST_P(MapTest, ReplacingElementsSkipsAndRepeatsNothing) {
    this->changeAtEveryPlace(
        [](auto& maps, U32) {
            for (const U32 key : maps.keys())
                maps.put(key);
        },
        this->all);
}

TYPED_TEST_P(MapTest, ReplacingTheCurrentElementSkipsAndRepeatsNothing) {
    this->changeAtEveryPlace([](auto& maps, U32 key) { maps.put(key); }, this->all);
}

TYPED_TEST_P(MapTest, WhatIsInsertedAheadIsVisitedAndWhatIsInsertedBehindIsNot) {
    for (const U32 inserted : {5U, 15U, 44U, 95U, 1000U})
        this->changeAtEveryPlace([&](auto& maps, U32) { maps.put(inserted); },
                                 [&](std::vector<U32> keys, std::size_t place) {
                                     Modelled<TypeParam> after(keys);
                                     after.put(inserted);
                                     if (TypeParam::precedes(inserted, keys[place]))
                                         after.erase(inserted);
                                     return after.keys();
                                 });
}

TYPED_TEST_P(MapTest, GrowingTheMapDuringAWalkSkipsAndRepeatsNothing) {
    this->changeAtEveryPlace(
        [](auto& maps, U32) {
            for (U32 key = 1000; key < 1200; ++key)
                maps.put(key);
            for (U32 key = 1000; key < 1200; ++key)
                maps.erase(key);
        },
        this->all);
    this->changeAtEveryPlace(
        [](auto& maps, U32 key) {
            for (U32 other = 1000; other < 1200; ++other)
                if (TypeParam::precedes(other, key))
                    maps.put(other);
            maps.erase(key);
        },
        this->all);
}

TYPED_TEST_P(MapTest, AWalkWithinAWalkMayEraseWhatTheOuterOneStandsOn) {
    Modelled<TypeParam> maps({1, 2, 3, 4, 5});
    const std::vector<U32> keys = maps.keys();
    std::vector<U32> visited;
    for (auto outer = maps.walk(); !maps.atEnd(outer); ++outer) {
        visited.push_back(maps.keyAt(outer));
        for (auto inner = maps.walk(); !maps.atEnd(inner); ++inner)
            if (maps.keyAt(inner) != keys.back())
                maps.erase(maps.keyAt(inner));
    }
    EXPECT_EQ(visited, (std::vector<U32>{keys.front(), keys.back()}));
    EXPECT_TRUE(maps.agrees());
}

TYPED_TEST_P(MapTest, AnErasedElementLivesUntilTheWalkLeavesIt) {
    Modelled<TypeParam> maps({1, 2});
    auto walk = maps.walk();
    maps.erase(maps.keyAt(walk));
    EXPECT_EQ(Life::live, 2);
    ++walk;
    EXPECT_EQ(Life::live, 1);
    maps.clear();
    EXPECT_EQ(Life::live, 1);
    ++walk;
    EXPECT_EQ(Life::live, 0);
}

TYPED_TEST_P(MapTest, AWalkComesToNoElementThatWasErasedOnItsWayThere) {
    Modelled<TypeParam> maps({1, 2, 3, 4, 5});
    const std::vector<U32> keys = maps.keys();
    // The second element is released by the walk that leaves it, and takes the next two along.
    const AtDeath action([&](U32 key) {
        if (key == keys[1]) {
            maps.erase(keys[2]);
            maps.erase(keys[3]);
        }
    });
    std::vector<U32> visited;
    for (auto walk = maps.walk(); !maps.atEnd(walk); ++walk) {
        visited.push_back(maps.keyAt(walk));
        if (maps.keyAt(walk) == keys[1])
            maps.erase(keys[1]);
    }
    EXPECT_EQ(visited, (std::vector<U32>{keys[0], keys[1], keys[4]}));
    EXPECT_TRUE(maps.agrees());
}

TYPED_TEST_P(MapTest, AWalkComesToTheElementThatReplacedTheNextOnItsWayThere) {
    Modelled<TypeParam> maps({1, 2, 3});
    const std::vector<U32> keys = maps.keys();
    const AtDeath action([&](U32 key) {
        if (key == keys[0])
            maps.put(keys[1]);
    });
    auto walk = maps.walk();
    maps.erase(keys[0]);
    ++walk;
    ASSERT_EQ(maps.keyAt(walk), keys[1]);
    EXPECT_TRUE(maps.agrees());
    ++walk;
    EXPECT_EQ(maps.keyAt(walk), keys[2]);
    EXPECT_EQ(Life::live, 2);
}

TYPED_TEST_P(MapTest, AMapHoldsOneReferenceToEachElementAndReleasesIt) {
    const auto kept = made<typename TypeParam::Element>(1);
    {
        Modelled<TypeParam> maps({2, 3});
        maps.subject().insert(kept);
        EXPECT_EQ(kept->references(), 2U);
        EXPECT_EQ(Life::live, 3);
        maps.subject().erase(1);
        EXPECT_EQ(kept->references(), 1U);
        maps.subject().insert(kept);
        maps.subject().replace(made<typename TypeParam::Element>(1));
        EXPECT_EQ(kept->references(), 1U);
        EXPECT_EQ(Life::live, 4);
        maps.subject().erase(1);
        EXPECT_EQ(Life::live, 3);
        maps.subject().insert(kept);
        maps.subject().clear();
        EXPECT_EQ(kept->references(), 1U);
        EXPECT_EQ(Life::live, 1);
        maps.subject().insert(kept);
    }
    EXPECT_EQ(kept->references(), 1U);
    EXPECT_EQ(Life::live, 1);
}

TYPED_TEST_P(MapTest, AFindAllocatesNothingAndTakesNoReference) {
    Modelled<TypeParam> maps({1, 2, 3});
    const auto made = FailingAllocation::made();
    auto const* found = maps.subject().find(2);
    auto const* missing = maps.subject().find(4);
    EXPECT_EQ(FailingAllocation::made(), made);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->references(), 1U);
    EXPECT_EQ(missing, nullptr);
}

TYPED_TEST_P(MapTest, AMapWithoutElementsOwnsNoMemory) {
    const auto before = FailingAllocation::outstanding();
    TypeParam subject;
    EXPECT_EQ(FailingAllocation::outstanding(), before);
    for (U32 key = 0; key < 100; ++key)
        subject.insert(made<typename TypeParam::Element>(key));
    EXPECT_GT(FailingAllocation::outstanding(), before);
    for (U32 key = 0; key < 100; ++key)
        subject.erase(key);
    EXPECT_EQ(FailingAllocation::outstanding(), before);
    subject.insert(made<typename TypeParam::Element>(1));
    EXPECT_GT(FailingAllocation::outstanding(), before);
    subject.clear();
    EXPECT_EQ(FailingAllocation::outstanding(), before);
}

TYPED_TEST_P(MapTest, AnElementIsReleasedWhenItIsNoMemberAnyMore) {
    TypeParam subject;
    for (U32 key = 0; key < 20; ++key)
        subject.insert(made<typename TypeParam::Element>(key));
    U32 deaths = 0;
    const AtDeath action([&](U32 key) {
        EXPECT_EQ(subject.find(key), nullptr);
        EXPECT_TRUE(subject.map.check());
        EXPECT_EQ(subject.map.members(), 20 - ++deaths);
        U32 rest = 0;
        for (auto walk = subject.map.begin(); walk != subject.map.end(); ++walk)
            ++rest;
        EXPECT_EQ(rest, 20 - deaths);
    });
    subject.erase(7);
    EXPECT_EQ(deaths, 1U);
    subject.clear();
    EXPECT_EQ(deaths, 20U);
}

TYPED_TEST_P(MapTest, EmptyingAMapStandsElementsThatEraseOthersWhenTheyDie) {
    TypeParam subject;
    for (U32 key = 0; key < 50; ++key)
        subject.insert(made<typename TypeParam::Element>(key));
    const AtDeath action([&](U32 key) {
        for (const U32 other : {key + 1, key + 7, key / 2})
            if (subject.find(other))
                subject.erase(other);
        EXPECT_TRUE(subject.map.check());
    });
    subject.clear();
    EXPECT_EQ(subject.map.members(), 0U);
    EXPECT_TRUE(subject.map.check());
    EXPECT_EQ(Life::live, 0);
}

TYPED_TEST_P(MapTest, EmptyingAMapStandsElementsThatEmptyItWhenTheyDie) {
    TypeParam subject;
    for (U32 key = 0; key < 50; ++key)
        subject.insert(made<typename TypeParam::Element>(key));
    const AtDeath action([&](U32) { subject.clear(); });
    subject.clear();
    EXPECT_EQ(subject.map.members(), 0U);
    EXPECT_TRUE(subject.map.check());
    EXPECT_EQ(Life::live, 0);
}

TYPED_TEST_P(MapTest, EmptyingAMapRemovesWhatElementsInsertWhenTheyDie) {
    std::optional<TypeParam> subject(std::in_place);
    U32 inserted = 100;
    for (U32 key = 0; key < 10; ++key)
        subject->insert(made<typename TypeParam::Element>(key));
    const AtDeath action([&](U32) {
        if (inserted < 200)
            subject->insert(made<typename TypeParam::Element>(inserted++));
        EXPECT_TRUE(subject->map.check());
    });
    subject->clear();
    EXPECT_EQ(inserted, 200U);
    EXPECT_EQ(subject->map.members(), 0U);
    EXPECT_EQ(Life::live, 0);

    inserted = 100;
    subject->insert(made<typename TypeParam::Element>(1));
    subject.reset(); // the destructor does as well
    EXPECT_EQ(inserted, 200U);
    EXPECT_EQ(Life::live, 0);
}

REGISTER_TYPED_TEST_SUITE_P(
    MapTest, TheFirstQuarterOfAMillionRandomOperationsKeepsTheMapSoundAndLikeItsModel,
    TheSecondQuarterOfAMillionRandomOperationsKeepsTheMapSoundAndLikeItsModel,
    TheThirdQuarterOfAMillionRandomOperationsKeepsTheMapSoundAndLikeItsModel,
    TheLastQuarterOfAMillionRandomOperationsKeepsTheMapSoundAndLikeItsModel,
    EveryOrderOfInsertingAndErasingUpToSixKeysIsSound, AnEmptyMapHasNothingToFindOrToWalk,
    AWalkOfAnUnchangedMapVisitsAllInOrder, ErasingTheCurrentElementSkipsNothing,
    ErasingTheNextElementSkipsNoOther, ErasingThePreviousElementSkipsAndRepeatsNothing,
    ErasingTheCurrentElementAndBothNeighboursSkipsNoOther, EmptyingTheMapEndsTheWalk,
    ErasingAllOtherElementsEndsTheWalk, WhatIsErasedAndInsertedAnewIsVisitedOnce,
    TheCurrentElementErasedAndInsertedAnewIsNotVisitedAgain,
    ReplacingElementsSkipsAndRepeatsNothing, ReplacingTheCurrentElementSkipsAndRepeatsNothing,
    WhatIsInsertedAheadIsVisitedAndWhatIsInsertedBehindIsNot,
    GrowingTheMapDuringAWalkSkipsAndRepeatsNothing, AWalkWithinAWalkMayEraseWhatTheOuterOneStandsOn,
    AnErasedElementLivesUntilTheWalkLeavesIt, AWalkComesToNoElementThatWasErasedOnItsWayThere,
    AWalkComesToTheElementThatReplacedTheNextOnItsWayThere,
    AMapHoldsOneReferenceToEachElementAndReleasesIt, AFindAllocatesNothingAndTakesNoReference,
    AMapWithoutElementsOwnsNoMemory, AnElementIsReleasedWhenItIsNoMemberAnyMore,
    EmptyingAMapStandsElementsThatEraseOthersWhenTheyDie,
    EmptyingAMapStandsElementsThatEmptyItWhenTheyDie,
    EmptyingAMapRemovesWhatElementsInsertWhenTheyDie);

} // namespace Test
} // namespace Zel
