#pragma once

#include "agent/control/AgentView.h"

namespace Agent {

/// What a request on the control socket is answered with.
struct Answer {
    enum class Kind { text, error, watch };
    Kind kind;
    std::string text; ///< whole lines
};

/// Does what a request asks for, one line without its end:
///
///     show [PORT] [detail] [json]     show trees [json]     show bpdu PORT [json]
///     show traces [json]              show mirror [json]
///     watch                           set SETTING VALUE
///
/// The value of the setting "trace" is as for Zel::traceSettingsAre(). A port is named as its
/// interface, or as "Et1" or "Ethernet1". The request may be any octets.
Answer answer(Bridge& bridge, ControlCounts const& counts, Time now, std::string_view request);

/// What is wrong with that value of that setting; empty when nothing is.
std::string checkSetting(std::string_view name, std::string_view value);

} // namespace Agent
