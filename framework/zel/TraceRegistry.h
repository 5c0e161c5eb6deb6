#pragma once

#include "framework/zel/Trace.h"
#include "framework/zel/TraceLevels.h"

#include <list>
#include <mutex>
#include <vector>

namespace Zel {

/// The handles in use and the levels set for them. Constant-initialised and never destroyed, so
/// that it serves static objects at both ends of their lives.
class TraceRegistry {
  public:
    /// In the order in which they were made.
    using Settings = std::list<TraceSetting>;

    /// Makes a handle known, unless it is.
    /// @return the levels of it that are on
    U32 add(TraceHandle& handle) noexcept;
    void remove(TraceHandle& handle) noexcept;

    /// Switches one level of the handles of that name. Throws std::bad_alloc, having changed
    /// nothing.
    void levelIs(std::string_view name, U32 bit, bool on);
    bool level(std::string_view name, U32 bit) noexcept;

    /// Takes settings that decide each level. Throws std::bad_alloc, having changed nothing.
    void settingsAre(Settings settings);

    Settings settings();
    /// In no order.
    std::vector<TraceHandleLevels> handles();

  private:
    Settings& made();
    U32 decided(std::string_view name, U32 levels) const noexcept;

    std::mutex mutex_;
    TraceHandle* handles_ = nullptr;
    Settings* settings_ = nullptr; // made with the first, and left to the end of the process
};

/// The one that all handles make themselves known to.
extern constinit TraceRegistry traceRegistry;

} // namespace Zel
