#include "agent/io/TraceMap.h"

#include <stdexcept>

namespace Agent {
namespace {

std::size_t checkedSize(std::string const& path, std::size_t size) {
    if (size >= TraceMap::smallestSize && size <= TraceMap::largestSize)
        return size;
    throw std::runtime_error(
        path + ": a trace map of " + std::to_string(size) + " octets is not allowed; allowed: " +
        std::to_string(TraceMap::smallestSize) + " to " + std::to_string(TraceMap::largestSize));
}

} // namespace

TraceMap::TraceMap(std::string const& path, std::size_t size)
    : file_(path, checkedSize(path, size)) {
    Fennic::defaultTraceFile().memoryIs(file_.memory());
}

TraceMap::~TraceMap() { Fennic::defaultTraceFile().memoryIs({}); }

} // namespace Agent
