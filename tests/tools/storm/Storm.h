#pragma once

#include <cstdint>

/// What a storm notes of itself, in a file that it maps, apart from its trace.
struct StormJournal {
    /// Rounds that it has begun, and those that it has ended.
    std::uint64_t begun;
    std::uint64_t ended;
};
