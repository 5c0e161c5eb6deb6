#pragma once

#include "agent/io/MappedFile.h"
#include "framework/fennic/TraceFile.h"

namespace Agent {

/// As long as it is there, the library's block timers write into a file, which stays when this
/// object ends or the process is killed. There is one at a time.
class TraceMap {
  public:
    // In octets.
    static constexpr std::size_t smallestSize = Fennic::TraceFile::minimumMemorySize;
    static constexpr std::size_t defaultSize = std::size_t{1} << 20;
    static constexpr std::size_t largestSize = std::size_t{1} << 30;

    /// @param size  smallestSize to largestSize
    /// Throws std::runtime_error, whose text has the path, for another size; as MappedFile; and
    /// when the library does not take the memory.
    TraceMap(std::string const& path, std::size_t size);
    TraceMap(TraceMap const&) = delete;
    TraceMap& operator=(TraceMap const&) = delete;
    ~TraceMap();

  private:
    MappedFile file_;
};

} // namespace Agent
