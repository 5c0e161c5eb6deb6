#pragma once

#include "agent/control/AgentView.h"
#include "agent/control/Traces.h"

namespace Agent {

// The views in JSON: an array each, and a line feed; null for what is not known. The schemas stand
// in agent/schema/, one of the name of each view.

std::string showJson(AgentView const& view, Port const* only);
std::string treesJson(AgentView const& view);
std::string mirrorJson(AgentView const& view);
std::string tracesJson(TracesView const& view);
std::string bpduJson(AgentView const& view, Port const& port);

} // namespace Agent
