#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/Int.h"

namespace Zel {
class TraceStream;
}

namespace Interface {

/// Whether events of an interface are logged.
enum class IntfLoggingMode : Zel::U32 {
    on = 0,
    off = 1,
    useDefault = 2, ///< as the mode that holds for all interfaces says
};

VARNOL_API Zel::TraceStream& operator<<(Zel::TraceStream& stream, IntfLoggingMode mode);

} // namespace Interface
