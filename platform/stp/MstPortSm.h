#pragma once

#include "platform/stp/Port.h"

namespace Stp {

/// The state machine of one port.
class VARNOL_API MstPortSm final : public Zel::Object<MstPortSm, Zel::PtrInterface> {
  public:
    static Zel::TypeNode const _zelType;

    /// Throws Zel::RangeException when the port is null.
    explicit MstPortSm(Port::Ptr port);

    /// The port that the machine works for; never null.
    Port::Ptr const& port() const noexcept { return port_; }

  private:
    Port::Ptr port_;
};

} // namespace Stp
