#pragma once

#include "platform/kolvu/Number.h"

namespace Stp {

/// A bridge priority divided by 4096: 0 to 15.
class CompressedBridgePriority : public Kolvu::Number<CompressedBridgePriority, Zel::U16> {
  public:
    using Number::Number;
};

} // namespace Stp
