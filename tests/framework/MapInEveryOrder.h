#pragma once

#include "tests/framework/MapUnderTest.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

namespace Zel::Test {

/// The steps that a pair of orders has in common with the pair before, from the first one on: they
/// are made again, but need not be looked at again.
enum class KnownSteps { skipped, lookedAtAgain };

struct OrdersSeen {
    U64 pairs = 0;
    /// The steps after which the map was looked at.
    U64 steps = 0;
};

/// Inserts up to this many keys, eight at most, in every order and erases them in every order.
/// After each step, the map must be sound and have just the keys that are in it.
/// Throws std::logic_error where it is not.
inline OrdersSeen changeInEveryOrder(MapKind const& kind, U32 most, KnownSteps knownSteps) {
    OrdersSeen seen;
    std::vector<Ptr<Item>> elements;
    std::vector<U32> inOrder; // of a walk
    for (U32 key = 0; key < most; ++key) {
        elements.push_back(kind.item(key));
        inOrder.push_back(key);
    }
    std::sort(inOrder.begin(), inOrder.end(), kind.precedes);

    for (U32 size = 1; size <= most; ++size) {
        std::vector<U32> steps(2 * size); // the keys inserted, then the keys erased
        std::vector<U32> former(2 * size, most);
        const auto half = steps.begin() + size;
        std::iota(steps.begin(), half, 0U);
        do {
            std::iota(half, steps.end(), 0U);
            do {
                ++seen.pairs;
                const auto owned = kind.map();
                MapUnderTest& map = *owned;
                std::array<bool, 8> present{};
                const auto known = static_cast<std::size_t>(
                    std::mismatch(steps.begin(), steps.end(), former.begin()).first -
                    steps.begin());
                for (std::size_t step = 0; step < 2 * size; ++step) {
                    const U32 changed = steps[step];
                    present[changed] = step < size;
                    if (step < size)
                        map.insert(elements[changed]);
                    else
                        map.erase(changed);
                    if (step < known && knownSteps == KnownSteps::skipped)
                        continue;
                    const auto expect = [&](bool holds, const char* what) {
                        if (!holds)
                            throw std::logic_error("pair " + std::to_string(seen.pairs) +
                                                   " of orders, step " + std::to_string(step) +
                                                   ": " + what);
                    };
                    const auto begun = map.walk();
                    MapUnderTest::Walk& walk = *begun;
                    U32 members = 0;
                    for (const U32 key : inOrder) {
                        Item const* element = present[key] ? elements[key].ptr() : nullptr;
                        expect(map.find(key) == element, "a key is not found, or is yet");
                        if (!element)
                            continue;
                        expect(!walk.atEnd() && walk.item() == element && walk.key() == key,
                               "a walk misses a key");
                        walk.advance();
                        ++members;
                    }
                    expect(walk.atEnd(), "a walk does not end");
                    expect(map.check(), "the map is not sound");
                    expect(map.members() == members, "the number of members is wrong");
                    ++seen.steps;
                }
                former = steps;
            } while (std::next_permutation(half, steps.end()));
        } while (std::next_permutation(steps.begin(), half));
    }
    return seen;
}

} // namespace Zel::Test
