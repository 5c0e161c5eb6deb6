#pragma once

#include "agent/control/Census.h"
#include "agent/trees/Bridge.h"

#include <optional>
#include <string>
#include <string_view>

namespace Agent {

/// What happened on the control socket.
struct ControlCounts {
    Zel::U64 requests = 0;
    Zel::U64 refusedClients = 0;   ///< turned away because there were too many
    Zel::U64 badRequests = 0;      ///< answered with an error
    Zel::U64 longRequests = 0;     ///< cut off above the longest request
    Zel::U64 silentClients = 0;    ///< cut off because they did not say what they want
    Zel::U64 unreadingClients = 0; ///< cut off because they did not read
};

/// What the views show.
struct AgentView {
    Bridge const& bridge;
    Time now;
    ControlCounts control{};
    Census census{};
};

/// The best root among the agent's own claim and what is heard, by the priority vectors of IEEE
/// 802.1D-2004 17.6; what the receiving port would add to the cost is not known here, and left out.
struct RootView {
    Stp::BridgeId root;
    Stp::PathCost cost;
    /// Null when the agent's own claim is the best.
    Port const* port;
};
RootView rootView(Bridge const& bridge);

/// The CIST's entry of what a port has heard; null when that is nothing.
Zel::Ptr<Varnol::IntxMstiInfo const> heardCist(Bridge const& bridge, Port const& port);

/// As "designated"; none when the BPDU does not say.
std::optional<std::string_view> roleText(BpduKind kind, Stp::RstpBpduFlags flags);
/// As "forwarding"; none when the BPDU does not say.
std::optional<std::string_view> stateText(BpduKind kind, Stp::RstpBpduFlags flags);

/// Seconds, exact to the microsecond.
std::string secondsText(Time time);

} // namespace Agent
