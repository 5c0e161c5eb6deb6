#pragma once

#include "tools/trace/Trace.h"

#include <string_view>

namespace TraceTool {

/// The text as valid UTF-8 on one line: control characters, and octets that are no UTF-8, are
/// escaped as in C ("\n", "\x1b"). What is longer than `limit` octets ends with "...".
std::string escaped(std::string_view text, std::size_t limit = 1024);

/// Nanoseconds in microseconds, "12.345 us", and from ten seconds on in seconds, "12.345 s".
std::string durationText(U64 nanoseconds);

/// A moment of the trace's clock as the time of day was, in UTC: "2026-11-21 20:59:57.123456789".
std::string timeText(Trace const& trace, U64 time);

/// The same as nanoseconds since 1970; negative where the header is damaged.
long long realtime(Trace const& trace, U64 time);

/// Two blanks for each level, up to a width that leaves room for a text.
std::string indentation(U64 levels);

/// The text, filled up with blanks in front of it, or behind it.
std::string toTheRight(std::string_view text, std::size_t width);
std::string toTheLeft(std::string_view text, std::size_t width);

} // namespace TraceTool
