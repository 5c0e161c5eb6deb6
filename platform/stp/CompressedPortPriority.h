#pragma once

#include "platform/kolvu/Number.h"

namespace Stp {

/// A port priority divided by 16: 0 to 15.
class CompressedPortPriority : public Kolvu::Number<CompressedPortPriority, Zel::U8> {
  public:
    using Number::Number;
};

} // namespace Stp
