#pragma once

namespace Fennic {

/// Has the default trace file record what reactors and syncers do, from now on, or no longer.
/// TraceFile::memoryIs() does that for the file.
void activityTraceIs(bool on) noexcept;

} // namespace Fennic
