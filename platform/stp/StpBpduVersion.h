#pragma once

#include "platform/kolvu/Number.h"

namespace Stp {

/// Protocol Version Identifier of a BPDU, IEEE 802.1D-2004 9.2.2. A received BPDU may hold any.
class StpBpduVersion : public Kolvu::Number<StpBpduVersion, Zel::U8> {
  public:
    using Number::Number;

    static StpBpduVersion const stp;  ///< Configuration and TCN BPDUs
    static StpBpduVersion const rstp; ///< RST BPDUs
    static StpBpduVersion const mstp; ///< MST BPDUs, IEEE 802.1Q
};

inline constexpr StpBpduVersion StpBpduVersion::stp{0};
inline constexpr StpBpduVersion StpBpduVersion::rstp{2};
inline constexpr StpBpduVersion StpBpduVersion::mstp{3};

} // namespace Stp
