#pragma once

#include "tests/model/Samples.h"

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>

/// What was drawn, told and found, as one number (FNV-1a, 64 bits): equal for equal runs.
class Digest {
  public:
    void add(std::string_view text) noexcept {
        for (const char octet : text)
            add(static_cast<std::uint8_t>(octet));
        add(std::uint8_t{0}); // the end
    }
    void add(std::uint64_t number) noexcept {
        for (unsigned shift = 0; shift < 64; shift += 8)
            add(static_cast<std::uint8_t>(number >> shift));
    }
    std::uint64_t value() const noexcept { return value_; }

  private:
    void add(std::uint8_t octet) noexcept { value_ = (value_ ^ octet) * 0x100000001b3; }

    std::uint64_t value_ = 0xcbf29ce484222325;
};

/// Chance, the same from the same seed with every compiler and library; and the few keys among
/// which it chooses, so few that they meet. What is drawn goes into the digest.
class Dice {
  public:
    explicit Dice(std::uint64_t seed)
        : random_(seed) {}

    /// A number below the limit.
    unsigned below(unsigned limit) {
        const std::uint64_t drawn = random_() % limit;
        digest.add(drawn);
        return static_cast<unsigned>(drawn);
    }
    /// One time in so many.
    bool once(unsigned in) { return below(in) == 0; }

    std::string name() { return std::array{"a", "mst", "zz"}[below(3)]; }
    Kolvu::IntfId intf() { return std::array{Samples::et1, Samples::et3, Samples::po1}[below(3)]; }
    Zel::U16 vlan() { return std::array<Zel::U16, 3>{0, 10, 4094}[below(3)]; }
    Zel::U16 instance() { return std::array<Zel::U16, 3>{0, 1, 4095}[below(3)]; }

    Digest digest;

  private:
    std::mt19937_64 random_;
};
