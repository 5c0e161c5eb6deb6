#pragma once

#include "tools/trace/Octets.h"

#include <vector>

namespace TraceTool {

/// Where traces begin among other octets, as in the core of a process that had its trace in plain
/// memory: where the magic text and the mark of this machine's octet order are.
/// @return offsets, rising
std::vector<U64> findTraces(Octets const& octets);

} // namespace TraceTool
