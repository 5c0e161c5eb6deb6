#pragma once

#include "framework/zel/Int.h"

namespace Agent {

/// What the library has allocated in this process and not given back, whoever holds it, and what it
/// has done.
struct Census {
    Zel::U64 liveObjects = 0;   ///< of every class that the framework knows, packets too
    Zel::U64 packets = 0;       ///< in use, of the packet manager's
    Zel::U64 writes = 0;        ///< that syncers have made into destinations
    Zel::U64 notifications = 0; ///< that reactors have taken
};

/// Counts at the call. An agent in the same state has the same objects and packets, however long it
/// has run. Throws std::bad_alloc.
Census census();

} // namespace Agent
