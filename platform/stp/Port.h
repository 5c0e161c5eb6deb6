#pragma once

#include "framework/zel/Declare.h"
#include "platform/kolvu/EthAddr.h"

namespace Stp {

/// A port of the bridge.
class VARNOL_API Port final : public Zel::Object<Port, Zel::Entity> {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<Port>;
    static Zel::TypeNode const _zelType;

    /// The port's own MAC address, source of the frames that it sends.
    ZEL_SCALAR(258, Kolvu::EthAddr, ethAddr)
};

} // namespace Stp
