#include "framework/zel/Trace.h"

#include "framework/zel/Exception.h"
#include "framework/zel/Start.h"
#include "framework/zel/TraceRegistry.h"

#include <charconv>
#include <mutex>
#include <utility>

namespace Zel {

namespace {

constinit std::mutex sinkMutex;
constinit TraceSink currentSink;
constinit thread_local bool inSink = false;
constinit std::atomic<U64> lost{counterStart<U64>()};

U32 checkedLevelBit(std::string_view handle, unsigned level) {
    if (handle.empty())
        throwRangeException("the name of a trace handle is empty");
    if (level > TraceLevel::highest)
        throwRangeException("a trace level is above 9");
    return U32{1} << level;
}

std::string_view withoutFolders(std::string_view path) noexcept {
    return path.substr(path.find_last_of('/') + 1);
}

} // namespace

TraceHandle::~TraceHandle() { traceRegistry.remove(*this); }

U32 TraceHandle::registeredMask() noexcept {
    const U32 mask = mask_.load(std::memory_order_relaxed);
    return (mask & unregistered) == 0 ? mask : traceRegistry.add(*this);
}

void traceLevelIs(std::string_view handle, unsigned level, bool on) {
    traceRegistry.levelIs(handle, checkedLevelBit(handle, level), on);
}

bool traceLevel(std::string_view handle, unsigned level) {
    return traceRegistry.level(handle, checkedLevelBit(handle, level));
}

TraceStream& TraceStream::operator<<(std::string_view text) {
    text_ += text;
    return *this;
}

TraceStream& TraceStream::decimal(unsigned long long value) {
    char digits[20];
    const auto [end, error] = std::to_chars(std::begin(digits), std::end(digits), value);
    return *this << std::string_view(digits, end);
}

TraceStream& TraceStream::shortest(double value) {
    char text[24]; // -2.2250738585072014e-308
    const auto [end, error] = std::to_chars(std::begin(text), std::end(text), value);
    return *this << std::string_view(text, end);
}

TraceSink traceSinkIs(TraceSink sink) {
    if (!sink.function)
        throwRangeException("the function of a trace sink is null");
    std::unique_lock lock(sinkMutex, std::defer_lock);
    if (!inSink)
        lock.lock();
    return std::exchange(currentSink, sink);
}

void traceSinkDel(TraceSink sink) noexcept {
    std::unique_lock lock(sinkMutex, std::defer_lock);
    if (!inSink)
        lock.lock();
    if (currentSink == sink)
        currentSink = {};
}

U64 tracesLost() noexcept { return lost.load(std::memory_order_relaxed) - counterStart<U64>(); }

TraceHelper::TraceHelper(TraceHandle const& handle, TraceLevel level) noexcept
    : handle_(handle)
    , level_(level) {}

TraceHelper::~TraceHelper() = default;

void TraceHelper::trace(const char* file, unsigned line, const char* function) noexcept {
    if (inSink) {
        traceGivenUp();
        return;
    }
    const std::lock_guard lock(sinkMutex);
    const TraceSink sink = currentSink;
    inSink = true;
    try {
        sink.function({.text = stream_.text(),
                       .file = withoutFolders(file),
                       .line = line,
                       .function = function,
                       .handle = handle_.name(),
                       .level = level_.value()},
                      sink.context);
    } catch (...) {
        traceGivenUp();
    }
    inSink = false;
}

void traceGivenUp() noexcept { lost.fetch_add(1, std::memory_order_relaxed); }

} // namespace Zel
