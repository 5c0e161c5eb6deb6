#pragma once

#include "framework/fennic/TraceFile.h"

namespace Fennic {

/// The way of the tests into a trace file.
struct TraceFileTestAccess {
    /// Which attaching of memory the present one is; 0 while off.
    static U64 epoch(TraceFile const& file) { return file.epoch_.load(); }
};

} // namespace Fennic
