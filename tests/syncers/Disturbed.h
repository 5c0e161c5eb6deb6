#pragma once

#include <cstdint>

/// How often the syncers of a world were disturbed.
struct Disturbed {
    std::uint64_t paused = 0;    ///< switched off while they were on
    std::uint64_t rebound = 0;   ///< given another source than they had
    std::uint64_t dropped = 0;   ///< given up, and none made in their place
    std::uint64_t recreated = 0; ///< made anew, in the place of others or of none

    Disturbed& operator+=(Disturbed const& other) noexcept {
        paused += other.paused;
        rebound += other.rebound;
        dropped += other.dropped;
        recreated += other.recreated;
        return *this;
    }
    /// Whether each of these has happened so often and more.
    bool eachAtLeast(std::uint64_t times) const noexcept {
        return paused >= times && rebound >= times && dropped >= times && recreated >= times;
    }
};
