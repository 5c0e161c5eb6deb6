#include "platform/stp/PortId.h"

#include "framework/zel/Trace.h"

namespace Stp {

Zel::TraceStream& operator<<(Zel::TraceStream& stream, PortId id) {
    return stream << unsigned{id.priority_} << "." << unsigned{id.number_};
}

} // namespace Stp
