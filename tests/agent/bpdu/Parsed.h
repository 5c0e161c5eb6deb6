#pragma once

#include "agent/bpdu/Parse.h"

#include <optional>
#include <ostream>

#include <gtest/gtest.h>

/// What the tests ask of a parsed frame.
namespace Agent {

inline std::ostream& operator<<(std::ostream& stream, Refusal refusal) {
    return stream << name(refusal);
}
inline std::ostream& operator<<(std::ostream& stream, BpduKind kind) {
    return stream << name(kind);
}

inline bool isTaken(std::span<Zel::U8 const> frame) {
    return std::holds_alternative<ReceivedBpdu>(parseFrame(frame));
}

/// None for a frame that is taken.
inline std::optional<Refusal> refusal(std::span<Zel::U8 const> frame) {
    const auto parsed = parseFrame(frame);
    auto const* refusal = std::get_if<Refusal>(&parsed);
    return refusal ? std::optional(*refusal) : std::nullopt;
}

/// Fails the test, and returns an empty one, for a frame that is refused.
inline ReceivedBpdu taken(std::span<Zel::U8 const> frame) {
    const auto parsed = parseFrame(frame);
    if (auto const* refusal = std::get_if<Refusal>(&parsed)) {
        ADD_FAILURE() << "refused: " << name(*refusal);
        return {};
    }
    return std::get<ReceivedBpdu>(parsed);
}

} // namespace Agent
