#pragma once

#include "tools/trace/Octets.h"

#include <span>
#include <string>

namespace TraceTool::Test {

/// What became of octets that were read as a trace.
struct Outcome {
    bool refused = false;
    bool damaged = false;
    std::size_t blocks = 0; ///< finished ones
    std::size_t leftOut = 0;
    std::size_t open = 0;
    std::string said; ///< the refusal, or the first damage
    /// What does not hold of the outputs, which is a mistake of the program; empty: all does.
    std::string contradiction;
};

/// Reads the octets, and has every output made of what could be read.
Outcome allOutputs(std::span<std::byte const> octets);

} // namespace TraceTool::Test
