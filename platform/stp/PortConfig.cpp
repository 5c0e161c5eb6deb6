#include "platform/stp/PortConfig.h"

#include "framework/zel/Trace.h"
#include "framework/zel/TypeNodeOf.h"

namespace Stp {

constinit Zel::TypeNode const PortConfig::_zelType = Zel::typeNodeOf<PortConfig>("Stp::PortConfig");
static const bool registered = Zel::typeNodeIs(PortConfig::_zelType);

Zel::TraceStream& operator<<(Zel::TraceStream& stream, BpduFilter mode) {
    switch (mode) {
    case BpduFilter::notSet:
        return stream << "notSet";
    case BpduFilter::enabled:
        return stream << "enabled";
    case BpduFilter::disabled:
        return stream << "disabled";
    }
    return stream << static_cast<Zel::U32>(mode);
}

} // namespace Stp
