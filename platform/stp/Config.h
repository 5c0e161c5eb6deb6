#pragma once

#include "framework/zel/Declare.h"

namespace Stp {

/// What is configured for all ports of the bridge.
class VARNOL_API Config final : public Zel::Object<Config, Zel::Entity> {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<Config>;
    static Zel::TypeNode const _zelType;

    /// Whether edge ports keep BPDUs back where their BpduFilter is not set.
    ZEL_SCALAR(258, bool, edgePortBpduFilter)
};

} // namespace Stp
