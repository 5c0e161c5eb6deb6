#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace Verify {

/// Which pointer points at which object, and so which objects live: the model of Pointers.cpp. It
/// keeps no counts; it counts anew, pointer by pointer, after every step.
///
/// Objects are numbered; a number is given again when its object is dead.
struct PointerModel {
    static constexpr int none = -1;
    static constexpr int variableCount = 8;
    static constexpr int objectCount = 32;
    static constexpr int slotCount = 2;

    struct Object {
        bool lives = false;
        bool derived = false;
        /// The variable that its destructor sets to null; none, where it sets none.
        int lastWill = none;
        bool active = false;
        bool marked = false;
        std::array<int, slotCount> slots{none, none};
    };

    PointerModel() {
        variables.fill(none);
        constants.fill(none);
        deriveds.fill(none);
    }

    std::array<int, variableCount> variables;
    std::array<int, 4> constants;
    std::array<int, 4> deriveds;
    std::array<std::vector<int>, 2> containers;
    /// References taken without a pointer.
    std::vector<int> byHand;
    std::array<Object, objectCount> objects;

    std::array<unsigned, objectCount> counts() const {
        std::array<unsigned, objectCount> counts{};
        const auto count = [&](auto const& pointers) {
            for (const int object : pointers) {
                if (object != none)
                    ++counts[static_cast<std::size_t>(object)];
            }
        };
        count(variables);
        count(constants);
        count(deriveds);
        count(containers[0]);
        count(containers[1]);
        count(byHand);
        for (Object const& object : objects) {
            if (object.lives)
                count(object.slots);
        }
        return counts;
    }

    /// Has the objects die that nothing points at, and those that only they point at, and so on.
    /// @return the counts that are left, of those that live
    std::array<unsigned, objectCount> settled() {
        for (;;) {
            const auto counted = counts();
            bool deaths = false;
            for (std::size_t i = 0; i < objects.size(); ++i) {
                if (!objects[i].lives || counted[i] != 0)
                    continue;
                if (objects[i].lastWill != none)
                    variables[static_cast<std::size_t>(objects[i].lastWill)] = none;
                objects[i] = {};
                deaths = true;
            }
            if (!deaths)
                return counted;
        }
    }

    unsigned living() const {
        return static_cast<unsigned>(std::count_if(objects.begin(), objects.end(),
                                                   [](Object const& it) { return it.lives; }));
    }

    /// How many objects live only because they point at one another.
    unsigned lost() const {
        std::array<bool, objectCount> reached{};
        std::vector<int> open(byHand);
        for (auto const& container : containers)
            open.insert(open.end(), container.begin(), container.end());
        open.insert(open.end(), variables.begin(), variables.end());
        open.insert(open.end(), constants.begin(), constants.end());
        open.insert(open.end(), deriveds.begin(), deriveds.end());
        unsigned found = 0;
        while (!open.empty()) {
            const int object = open.back();
            open.pop_back();
            if (object == none || reached[static_cast<std::size_t>(object)])
                continue;
            reached[static_cast<std::size_t>(object)] = true;
            ++found;
            for (const int slot : objects[static_cast<std::size_t>(object)].slots)
                open.push_back(slot);
        }
        return living() - found;
    }
};

} // namespace Verify
