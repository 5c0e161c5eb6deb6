#pragma once

#include "framework/fennic/TraceFormat.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// The blocks that were timed, in the order in which they ended.
struct TimedBlocks {
    /// A block's message is its qualified function's name with "():line", of which the name.
    std::vector<std::string> names;
    std::vector<Fennic::U32> messageIds;
};

/// Runs the action, with the default trace file recording its blocks, all of which have to be of
/// that source file.
TimedBlocks timedBlocks(std::string_view sourceFileName, std::function<void()> const& action);
