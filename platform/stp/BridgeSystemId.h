#pragma once

#include "platform/kolvu/Number.h"

namespace Stp {

/// Identifies a spanning-tree instance within a bridge; 0, the default, is the CIST.
class BridgeSystemId : public Kolvu::Number<BridgeSystemId, Zel::U16> {
  public:
    using Number::Number;
};

} // namespace Stp
