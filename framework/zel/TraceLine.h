#pragma once

/// Trace records as lines of text, for sinks that write such.

#include "framework/zel/Api.h"
#include "framework/zel/Trace.h"

#include <chrono>
#include <string>

namespace Zel {

/// What a line has besides handle, level and text.
struct TraceLineFormat {
    /// The time of writing: UTC, as ISO 8601 has it, with microseconds.
    bool time = false;
    /// Source file, line and function.
    bool place = true;

    friend bool operator==(TraceLineFormat const&, TraceLineFormat const&) noexcept = default;
};

/// The record as a line, without an end of line: with all that a format can have,
///
///     2026-02-28T09:05:07.000042Z StpTxStatusSyncer/8 StpTxStatusSyncer.cpp:212 handleTxMstStatus:
///     ...
///
/// and with none of it, `StpTxStatusSyncer/8: ...`. Each control character of the text, 0x00 to
/// 0x1f and 0x7f, appears as '?', every other octet as it is. Throws std::bad_alloc.
VARNOL_API std::string traceLine(TraceRecord const& record, TraceLineFormat format,
                                 std::chrono::system_clock::time_point time);

/// A sink as traceToStderr() that writes lines of that format; for the default format it is that
/// one.
VARNOL_API TraceSink traceStderrSink(TraceLineFormat format) noexcept;

} // namespace Zel
