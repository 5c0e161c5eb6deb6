#pragma once

#include "framework/zel/Api.h"

#include <string_view>

namespace Zel {

/// Writes one line, "Varnol: fatal: " and the text, to stderr and aborts the process.
/// For broken invariants of the framework that leave no state to return to. Allocates nothing.
[[noreturn]] VARNOL_API void fatal(std::string_view text) noexcept;

/// Ends the process as a failed assert() of the C library does (its line on stderr, then SIGABRT),
/// in every build and with the texts given, whichever compiler made the caller.
/// @param expression  the condition that does not hold, as it is to be printed
/// @param function    the signature to be printed
[[noreturn]] VARNOL_API void assertionFailed(const char* expression, const char* function,
                                             const char* file = __builtin_FILE(),
                                             unsigned line = __builtin_LINE()) noexcept;

} // namespace Zel
