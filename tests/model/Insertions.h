#pragma once

#include "framework/zel/Int.h"
#include "tests/framework/FailingAllocation.h"

#include <vector>

/// How many allocations each of six insertions makes.
/// @param insert  inserts the element of a number, 1 to 6
template <class Insert> std::vector<std::size_t> allocationsOfSix(Insert const& insert) {
    std::vector<std::size_t> made;
    for (Zel::U16 number = 1; number <= 6; ++number) {
        const std::size_t before = FailingAllocation::made();
        insert(number);
        const std::size_t after = FailingAllocation::made();
        made.push_back(after - before);
    }
    return made;
}

/// Of elements that take one allocation each, in a table that begins with four buckets.
inline const std::vector<std::size_t> fourBucketsFirst{2, 1, 1, 1, 2, 1};
