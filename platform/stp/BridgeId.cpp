#include "platform/stp/BridgeId.h"

#include "framework/zel/Trace.h"

namespace Stp {

Zel::TraceStream& operator<<(Zel::TraceStream& stream, BridgeId const& id) {
    return stream << unsigned{id.priority_} << "." << unsigned{id.systemIdExtension_} << "."
                  << id.address_;
}

} // namespace Stp
