#pragma once

#include "platform/stp/BridgeId.h"
#include "platform/stp/PathCost.h"
#include "platform/stp/TimerVal.h"

#include <string>
#include <string_view>

namespace Agent {

/// What the agent is told to say, that its bridge is the root; and how much to listen to.
struct Settings {
    /// The bridge's address.
    Kolvu::EthAddr address;
    /// Bridge priority, a multiple of 4096 up to 61440.
    Zel::U16 priority = 32768;
    /// Root path cost; a root's is 0, another one shows where it arrives.
    Stp::PathCost cost = 0;
    /// Priority of each port, a multiple of 16 up to 240.
    Zel::U8 portPriority = 128;
    /// Seconds between two BPDUs of a port, 1 to 9 (IEEE 802.1D-2004 17.14: twice one second more
    /// is not to exceed the max age).
    Zel::U8 hello = 2;
    /// Frames that each port takes in a second, 1 to 1000000; more are dropped.
    Zel::U32 rateLimit = 100;

    static constexpr Stp::TimerVal maxAge = Stp::TimerVal::seconds(20);
    static constexpr Stp::TimerVal forwardDelay = Stp::TimerVal::seconds(15);

    Stp::BridgeId bridgeId() const noexcept { return {priority, 0, address}; }
};

/// Changes the setting of that name, "priority", "cost", "port-priority", "hello" or "rate-limit".
/// @param value  a decimal number
/// @param others  what can be set besides, as ", trace", to be told with a name that is not known
/// @return empty; or what is wrong and what is allowed, and nothing is changed
std::string settingIs(Settings& settings, std::string_view name, std::string_view value,
                      std::string_view others = "");

} // namespace Agent
