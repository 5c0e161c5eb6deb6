#pragma once

#include "agent/bpdu/ReceivedBpdu.h"
#include "agent/bpdu/Refusal.h"
#include "agent/trees/Sender.h"
#include "agent/trees/Time.h"
#include "platform/kolvu/IntfId.h"
#include "syncers/IntxInfoChangeSm.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace Agent {

/// What is counted on a port since the start; a port that goes down keeps its counts.
struct PortCounts {
    Zel::U64 sent = 0;
    Zel::U64 sendErrors = 0;                  ///< frames that the system did not take
    Zel::U64 noPacket = 0;                    ///< frames that could not be made
    Zel::U64 received = 0;                    ///< BPDUs taken, notifications included
    Zel::U64 notifications = 0;               ///< topology change notifications
    std::array<Zel::U64, refusals> refused{}; ///< by Refusal
    Zel::U64 whileDown = 0;                   ///< frames dropped because the port was down
    Zel::U64 rateLimited = 0;                 ///< frames dropped above the rate limit
    Zel::U64 missed = 0;                      ///< frames that the kernel's queue had no room for
    Zel::U64 receiveErrors = 0;
    Zel::U64 agedOut = 0; ///< records dropped because nothing refreshed them
    Zel::U64 changes = 0; ///< changed fields of the records received, by the library's counter

    /// All frames refused, for whatever reason.
    Zel::U64 bad() const noexcept;
};

/// What a port has heard, and is not too old; what the BPDU said stands in the receive trees.
struct Heard {
    BpduKind kind;
    Time at;
    Time expires;
    std::vector<Zel::U8> frame;
};

/// One port of the agent.
struct Port {
    Kolvu::IntfId id;
    std::string name;       ///< the interface's, as the system has it
    Kolvu::EthAddr address; ///< source of the frames; as last known while the port is down
    bool up = false;        ///< has a place in the trees
    PortCounts counts;
    std::optional<Time> lastChange;
    std::optional<Heard> heard; ///< none before the first BPDU, and after the last has aged out

    // While up.
    Zel::Ptr<Sender> sender;
    // While a record is there.
    Varnol::IntxInfoChangeSm::Ptr changeCounter;
    // The rate limit's interval at present.
    Time intervalBegin{};
    unsigned intervalCount = 0;
};

} // namespace Agent
