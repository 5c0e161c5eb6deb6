#pragma once

#include "tests/framework/MapUnderTest.h"
#include "verify/Verify.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>

namespace Verify {

/// From how many keys a turn of operations chooses, and how many of them are members at most.
struct MapTurn {
    Zel::U32 keys;
    std::size_t mostMembers;
};

using Precedes = bool (*)(Zel::U32 left, Zel::U32 right);

/// The first key of the model that a walk comes to after this one.
template <class Item>
std::optional<Zel::U32> keyAfter(std::map<Zel::U32, Item> const& model, Zel::U32 key, Precedes) {
    const auto place = model.upper_bound(key);
    return place == model.end() ? std::nullopt : std::optional(place->first);
}
template <class Item>
std::optional<Zel::U32> keyAfter(std::unordered_map<Zel::U32, Item> const& model, Zel::U32 key,
                                 Precedes precedes) {
    std::optional<Zel::U32> first;
    for (auto const& member : model) {
        if (precedes(key, member.first) && (!first || precedes(member.first, *first)))
            first = member.first;
    }
    return first;
}

/// Random operations on a map and on its model, a std::map or std::unordered_map from keys to
/// items. After each, the map must be sound and have just what its model has; walks that are under
/// way must come to the keys that then follow.
template <class Model> class MapSteps {
  public:
    MapSteps(Run& run, Zel::Test::MapKind const& kind)
        : run_(run)
        , kind_(kind)
        , map_(kind.map()) {}

    /// @param turns  by turns, each for the operations that a turn has
    void run(U64 operations, std::span<MapTurn const> turns) {
        while (done_ < operations) {
            // A turn first grows the map, and then shrinks it.
            const U64 place = done_ % turnLength;
            if (!operate(turns[done_ / turnLength % turns.size()], place < turnLength / 2))
                continue;
            ++done_;
            compare();
        }
        for (Walk& walk : walks_)
            walk.reset();
        clear();
        compare();
    }

    U64 done() const { return done_; }
    U64 stepsOfWalks() const { return stepsOfWalks_; }
    /// How often the map got more buckets while walks were under way.
    U64 growthsDuringWalks() const { return growthsDuringWalks_; }
    /// How often an element was erased while walks were under way, and while one stood on it.
    U64 erasedDuringWalks() const { return erasedDuringWalks_; }
    U64 erasedUnderWalks() const { return erasedUnderWalks_; }
    std::size_t longest() const { return longest_; }

  private:
    using U32 = Zel::U32;
    using Walk = std::unique_ptr<Zel::Test::MapUnderTest::Walk>;

    static constexpr U64 turnLength = 4096;

    [[noreturn]] void fail(std::string const& what) const {
        found(std::string(kind_.name) + ", operation " + std::to_string(done_) + ": " + what);
    }
    void expect(bool holds, const char* what) const {
        if (!holds)
            fail(what);
    }

    /// Inserts an element, or replaces the one that has the key.
    void put(U32 key) {
        const auto item = kind_.item(key);
        const auto [place, isNew] = model_.insert_or_assign(key, item.ptr());
        if (isNew)
            map_->insert(item);
        else
            map_->replace(item);
    }
    void clear() {
        model_.clear();
        map_->clear();
    }

    bool walking() const {
        return std::any_of(walks_.begin(), walks_.end(),
                           [](Walk const& walk) { return walk != nullptr; });
    }
    void countErasure(Zel::Test::Item const* item) {
        erasedDuringWalks_ += walking();
        erasedUnderWalks_ += std::any_of(walks_.begin(), walks_.end(), [item](Walk const& walk) {
            return walk && walk->item() == item;
        });
    }

    /// False, and nothing done, where there is nothing to do it with.
    bool operate(MapTurn turn, bool growing) {
        key_ = static_cast<U32>(run_.below(turn.keys));
        const bool has = model_.count(key_) != 0;
        const U64 operation = run_.below(16);
        const U64 puts = growing ? 7 : 3;
        if (operation < 10) {
            if (operation < puts || (has && operation == puts)) {
                if (!has && model_.size() >= turn.mostMembers)
                    return false;
                put(key_);
                return true;
            }
            if (!has)
                return false;
            countErasure(model_.find(key_)->second);
            model_.erase(key_);
            map_->erase(key_);
            return true;
        }
        if (operation == 10) { // any key at all
            key_ = static_cast<U32>(run_.random()());
            return true;
        }
        if (operation == 11 && run_.below(8 * turn.keys) == 0) {
            if (model_.empty())
                return false;
            clear();
            return true;
        }
        Walk& walk = walks_[run_.below(walks_.size())];
        if (!walk) {
            if (model_.empty())
                return false;
            walk = map_->walk();
            expect(!walk->atEnd(), "a walk finds nothing");
            return true;
        }
        ++stepsOfWalks_;
        const std::optional<U32> expected = keyAfter(model_, walk->key(), kind_.precedes);
        walk->advance();
        expect(walk->atEnd() == !expected.has_value(), "a walk ends too soon, or does not end");
        if (!expected)
            walk.reset();
        else
            expect(walk->key() == *expected && walk->item() == model_.find(*expected)->second,
                   "a walk leads elsewhere");
        return true;
    }

    void compare() {
        expect(map_->check(), "the map is not sound");
        expect(map_->members() == model_.size(), "the number of members is wrong");
        const auto place = model_.find(key_);
        expect(map_->find(key_) == (place == model_.end() ? nullptr : place->second),
               "a key is not found, or is yet");
        // As many as the model has, each of its members, and in order: just what the model has.
        std::size_t walked = 0;
        std::optional<U32> previous;
        for (const auto walk = map_->walk(); !walk->atEnd(); walk->advance()) {
            const auto member = model_.find(walk->key());
            expect(member != model_.end() && member->second == walk->item(),
                   "a walk finds what is not in the model");
            expect(!previous || kind_.precedes(*previous, walk->key()), "a walk is out of order");
            previous = walk->key();
            ++walked;
        }
        expect(walked == model_.size(), "a walk has not found all");
        if (done_ % 64 == 0) {
            for (auto const& [key, item] : model_)
                expect(map_->find(key) == item, "a member is not found");
        }
        expect(walking() || Zel::Test::Life::live == static_cast<int>(model_.size()),
               "an element lives that is no member, or the other way round");
        longest_ = std::max(longest_, model_.size());
        if (const std::optional<U32> buckets = map_->buckets()) {
            expect(model_.empty() ? *buckets == 0
                                  : std::has_single_bit(*buckets) && *buckets >= model_.size(),
                   "the number of buckets is wrong");
            growthsDuringWalks_ += walking() && buckets_ != 0 && *buckets > buckets_;
            buckets_ = *buckets;
        }
    }

    Run& run_;
    Zel::Test::MapKind const& kind_;
    std::unique_ptr<Zel::Test::MapUnderTest> map_;
    Model model_;
    std::array<Walk, 2> walks_; // under way, most of the time
    U32 key_ = 0;               // the last operation's
    U64 done_ = 0;
    U64 stepsOfWalks_ = 0;
    U64 growthsDuringWalks_ = 0;
    U64 erasedDuringWalks_ = 0;
    U64 erasedUnderWalks_ = 0;
    U32 buckets_ = 0;
    std::size_t longest_ = 0;
};

} // namespace Verify
