#pragma once

#include "tools/trace/Octets.h"
#include "tools/trace/Stats.h"

#include <optional>

namespace TraceTool {

/// What the command line asks for.
struct Options {
    enum class Command { show, stats, tree, exportAs };

    Command command = Command::show;
    std::string file;
    std::optional<U64> at; ///< where in the file the trace begins
    bool find = false;     ///< look where
    // show
    bool follow = false;
    unsigned poll = 100; ///< milliseconds
    // stats
    bool json = false;
    StatsBy by = StatsBy::attribute;
    // export; one of them
    std::string chrome;
    std::string ctf;
};

/// Reads the command line. Prints what was asked for (--help), or what is wrong and what is
/// allowed, and ends the process, with 0 or 2, where nothing is left to do.
Options parseOptions(int argc, char** argv);

} // namespace TraceTool
