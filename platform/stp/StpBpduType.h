#pragma once

#include "platform/kolvu/Number.h"

namespace Stp {

/// Type of a BPDU, IEEE 802.1D-2004 9.2.3. A received BPDU may hold any.
class StpBpduType : public Kolvu::Number<StpBpduType, Zel::U8> {
  public:
    using Number::Number;

    static StpBpduType const config;               ///< Configuration BPDUs
    static StpBpduType const rst;                  ///< RST, and in IEEE 802.1Q MST
    static StpBpduType const topologyChangeNotice; ///< TCN
};

inline constexpr StpBpduType StpBpduType::config{0};
inline constexpr StpBpduType StpBpduType::rst{2};
inline constexpr StpBpduType StpBpduType::topologyChangeNotice{0x80};

} // namespace Stp
