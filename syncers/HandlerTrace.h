#pragma once

#include "framework/zel/Trace.h"

namespace Varnol {

/// Traces a line of a handler: who it belongs to, "::", the handler's name, "() " and a message.
/// @param syncer   its `traceName(out)` writes the class prefix and the key text, in its own order
/// @param message  `message(out)` writes the message
template <class Syncer, class Message>
void traceHandler(Zel::TraceHandle& handle, Zel::TraceLevel level, Syncer const& syncer,
                  Message const& message, const char* file = __builtin_FILE(),
                  unsigned line = __builtin_LINE(), const char* function = __builtin_FUNCTION()) {
    Zel::trace(
        handle, level,
        [&](Zel::TraceStream& out) {
            syncer.traceName(out);
            out << "::" << function << "() ";
            message(out);
        },
        file, line, function);
}

/// The message of a handler that has nothing to add.
inline void noMessage(Zel::TraceStream&) {}

} // namespace Varnol
