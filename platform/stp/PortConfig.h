#pragma once

#include "framework/zel/Declare.h"

namespace Zel {
class TraceStream;
}

namespace Stp {

/// Whether a port keeps BPDUs back, as configured on the port. The zero value is the default.
enum class BpduFilter : Zel::U32 {
    notSet = 0, ///< the default of the configuration decides, for edge ports
    enabled = 1,
    disabled = 2,
};

VARNOL_API Zel::TraceStream& operator<<(Zel::TraceStream& stream, BpduFilter mode);

/// What is configured on one port.
class VARNOL_API PortConfig final : public Zel::Object<PortConfig, Zel::Entity> {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<PortConfig>;
    static Zel::TypeNode const _zelType;

    /// Decides before Config::edgePortBpduFilter() does.
    ZEL_SCALAR(258, BpduFilter, bpduFilter)
    /// Whether the port is configured as an edge port (AdminEdge, IEEE 802.1D-2004 17.13.1).
    ZEL_SCALAR(259, bool, adminEdge)
};

} // namespace Stp
