#pragma once

#include "framework/zel/TraceLevels.h"

#include <string>
#include <string_view>
#include <vector>

namespace Agent {

/// What the traces are, of the agent and of the library in it.
struct TracesView {
    /// By name; also those of which no statement has run.
    std::vector<Zel::TraceHandleLevels> handles;
    /// The oldest first.
    std::vector<Zel::TraceSetting> settings;
    /// How many traces could not be written.
    Zel::U64 lost = 0;
};
TracesView tracesView();

/// What is wrong with a text as for Zel::traceSettingsAre(), which is to name handles that there
/// are; empty when nothing is.
std::string checkTraces(std::string_view text);

/// A set of levels as "0-5,8", or "-".
std::string levelsText(Zel::U32 levels);
/// A set of levels one by one, the lowest first.
std::vector<unsigned> levelsOf(Zel::U32 levels);

} // namespace Agent
