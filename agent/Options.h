#pragma once

#include "agent/io/TraceMap.h"
#include "agent/trees/Settings.h"

#include <optional>
#include <string>
#include <vector>

namespace Agent {

/// What the command line asks for.
struct Options {
    enum class Command { run, replay, request };

    Command command = Command::request;
    // run and replay
    std::vector<std::string> interfaces;
    std::string capture; ///< the one to replay
    Settings settings;
    std::optional<Kolvu::EthAddr> address; ///< what --mac says
    std::string pcap;                      ///< where to write frames; empty for nowhere
    std::vector<std::string> traces;       ///< as for Zel::traceSettingsAre(), one after the other
    std::string traceFile;                 ///< where to write traces; empty for stderr
    std::string traceMap;                  ///< where the binary trace is to be; empty for nowhere
    std::size_t traceMapSize = TraceMap::defaultSize;
    double duration = 0; ///< seconds; 0 for no end
    bool json = false;
    // run and requests
    std::string socket;
    std::string request; ///< what to ask the running agent
};

/// Reads the command line. Prints what was asked for (--help), or what is wrong and what is
/// allowed, and ends the process, with 0 or 2, where nothing is left to do.
Options parseOptions(int argc, char** argv);

} // namespace Agent
