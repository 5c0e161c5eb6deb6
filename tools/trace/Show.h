#pragma once

#include "tools/trace/Writer.h"

#include <iosfwd>

namespace TraceTool {

/// Whose trace it is, and how much of it there is.
void showHead(std::ostream& out, Trace const& trace, Writer const& writer);

/// The finished blocks of each lane in the order in which they began, indented by their depth.
void showBlocks(std::ostream& out, Trace const& trace);

/// The open blocks of each lane, outermost first, and of a process that is gone where it was.
void showOpen(std::ostream& out, Trace const& trace, Writer const& writer);

/// All three.
void show(std::ostream& out, Trace const& trace, Writer const& writer);

} // namespace TraceTool
