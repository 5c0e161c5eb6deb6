#pragma once

#include "platform/kolvu/Number.h"

namespace Bridging {

/// A VLAN identifier; 0, the default, is no VLAN. Identifiers have 12 bits: whoever writes one to a
/// frame masks it.
class VlanIdOrNone : public Kolvu::Number<VlanIdOrNone, Zel::U16> {
  public:
    using Number::Number;
};

} // namespace Bridging
