#include "agent/control/Traces.h"

#include "framework/zel/Exception.h"
#include "framework/zel/Trace.h"

#include <algorithm>

namespace Agent {
namespace {

/// Those of the agent and of the library, which know of themselves only when they first speak.
constexpr std::string_view knownHandles[] = {"StpAgent", "StpTxStatusSyncer", "StpRxStatusSyncer",
                                             "Varnol"};

/// The levels of a handle that has not spoken: those that are set for its name.
Zel::U32 levelsSet(std::string_view handle) {
    Zel::U32 levels = 0;
    for (unsigned level = 0; level <= Zel::TraceLevel::highest; ++level)
        if (Zel::traceLevel(handle, level))
            levels |= Zel::U32{1} << level;
    return levels;
}

} // namespace

TracesView tracesView() {
    TracesView view{Zel::traceHandles(), Zel::traceSettings(), Zel::tracesLost()};
    for (const std::string_view name : knownHandles)
        if (std::ranges::find(view.handles, name, &Zel::TraceHandleLevels::handle) ==
            view.handles.end())
            view.handles.push_back({std::string(name), levelsSet(name)});
    std::ranges::sort(view.handles, {}, &Zel::TraceHandleLevels::handle);
    return view;
}

std::string checkTraces(std::string_view text) {
    try {
        std::vector<Zel::TraceHandleLevels> const handles = tracesView().handles;
        for (Zel::TraceSetting const& setting : Zel::traceSettingsOf(text)) {
            std::string names;
            bool matches = false;
            for (Zel::TraceHandleLevels const& handle : handles) {
                matches = matches || setting.matches(handle.handle);
                names += (names.empty() ? "" : ", ") + handle.handle;
            }
            if (!matches)
                return "'" + setting.pattern + "' matches no trace handle; there are: " + names;
        }
        return {};
    } catch (Zel::RangeException const& exception) {
        return exception.what();
    }
}

std::string levelsText(Zel::U32 levels) {
    std::string text;
    for (unsigned level = 0; level <= Zel::TraceLevel::highest; ++level) {
        const auto isOn = [levels](unsigned one) { return (levels >> one & 1) != 0; };
        if (!isOn(level))
            continue;
        text += (text.empty() ? "" : ",") + std::to_string(level);
        const unsigned first = level;
        while (level < Zel::TraceLevel::highest && isOn(level + 1))
            ++level;
        if (level != first)
            text += "-" + std::to_string(level);
    }
    return text.empty() ? "-" : text;
}

std::vector<unsigned> levelsOf(Zel::U32 levels) {
    std::vector<unsigned> all;
    for (unsigned level = 0; level <= Zel::TraceLevel::highest; ++level)
        if ((levels >> level & 1) != 0)
            all.push_back(level);
    return all;
}

} // namespace Agent
