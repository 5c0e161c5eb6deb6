#pragma once

#include <chrono>

namespace Agent {

/// A point in time: microseconds since a beginning that the program chooses. Everything below the
/// event loop is told the time and never asks for it, so that a replay repeats.
using Time = std::chrono::microseconds;

} // namespace Agent
