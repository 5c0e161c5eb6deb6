#pragma once

#include "framework/zel/Int.h"

namespace Agent {

/// What the library has allocated in this process and not given back, whoever holds it.
struct Census {
    Zel::U64 liveObjects = 0; ///< of every class that the framework knows, packets too
    Zel::U64 packets = 0;     ///< in use, of the packet manager's
};

/// Counts at the call. An agent in the same state has the same numbers, however long it has run.
Census census() noexcept;

} // namespace Agent
