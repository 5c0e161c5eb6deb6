#pragma once

#include "platform/kolvu/Number.h"

namespace Stp {

/// A path cost, IEEE 802.1D-2004 9.2.6; 4 octets in a BPDU.
class PathCost : public Kolvu::Number<PathCost, Zel::U32> {
  public:
    using Number::Number;
};

} // namespace Stp
