#pragma once

#include "framework/zel/Declare.h"

namespace Stp {

/// The state of one port in one spanning-tree instance.
class VARNOL_API StpiPortStatus final : public Zel::Object<StpiPortStatus, Zel::Entity> {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<StpiPortStatus>;
    static Zel::TypeNode const _zelType;

    /// Whether the port is an edge port in fact (operEdge, IEEE 802.1D-2004 17.19.17).
    ZEL_SCALAR(258, bool, operEdge)
};

} // namespace Stp
