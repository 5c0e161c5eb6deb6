#pragma once

#include "tools/trace/Trace.h"

namespace TraceTool {

/// What is known of the process that writes a trace.
struct Writer {
    /// False when there is no such process, or it has ended and is yet to be waited for, or another
    /// one has its number, or it cannot be told.
    bool lives = false;
    /// This moment on the trace's clock.
    U64 now = 0;
};

Writer writerOf(Fennic::FileHeader const& header);

} // namespace TraceTool
