#pragma once

#include "agent/control/AgentView.h"
#include "agent/control/Traces.h"

namespace Agent {

/// The bridge and its ports, as a switch shows its spanning tree; "-" for what is not known.
/// @param only    this port alone; null for all
/// @param detail  all that is known and counted, port by port
std::string showText(AgentView const& view, Port const* only, bool detail);
/// The four trees, attribute by attribute; values that are zero are left out.
std::string treesText(AgentView const& view);
/// What a port has heard last and what it says, field by field, and the octets of the frame heard.
std::string bpduText(AgentView const& view, Port const& port);
/// Each mirroring: whether its trees are in step, and, line by line, where they are not.
std::string mirrorText(AgentView const& view);
/// The trace handles and what is set for them.
std::string tracesText(TracesView const& view);
/// A change, as one line.
std::string changeText(Time at, Port const* port, std::string_view change);

} // namespace Agent
