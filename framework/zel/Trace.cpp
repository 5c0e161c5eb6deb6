#include "framework/zel/Trace.h"

#include "framework/zel/Exception.h"

#include <charconv>
#include <mutex>
#include <type_traits>
#include <utility>

namespace Zel {

/// The handles in use and the levels set by name. Constant-initialised and never destroyed, so that
/// it serves static objects at both ends of their lives.
class TraceRegistry {
  public:
    U32 add(TraceHandle& handle) noexcept {
        const std::lock_guard lock(mutex_);
        U32 mask = handle.mask_.load(std::memory_order_relaxed);
        if ((mask & TraceHandle::unregistered) == 0)
            return mask;
        mask &= ~TraceHandle::unregistered;
        for (Setting const* setting = settings_; setting; setting = setting->next) {
            if (setting->concerns(handle.name()))
                mask = (mask & ~setting->decided) | setting->on;
        }
        handle.next_ = handles_;
        handles_ = &handle;
        handle.mask_.store(mask, std::memory_order_relaxed);
        return mask;
    }

    void remove(TraceHandle& handle) noexcept {
        const std::lock_guard lock(mutex_);
        for (TraceHandle** link = &handles_; *link; link = &(*link)->next_) {
            if (*link == &handle) {
                *link = handle.next_;
                break;
            }
        }
        // Statements that run after the handle's end, as the process exits, stay silent.
        handle.mask_.store(0, std::memory_order_relaxed);
    }

    void levelIs(std::string_view name, U32 bit, bool on) {
        const std::lock_guard lock(mutex_);
        Setting* setting = find(name);
        if (!setting)
            setting = settings_ = new Setting{std::string(name), 0, 0, settings_};
        setting->decided |= bit;
        setting->on = on ? setting->on | bit : setting->on & ~bit;
        for (TraceHandle* handle = handles_; handle; handle = handle->next_) {
            if (!setting->concerns(handle->name()))
                continue;
            if (on)
                handle->mask_.fetch_or(bit, std::memory_order_relaxed);
            else
                handle->mask_.fetch_and(~bit, std::memory_order_relaxed);
        }
    }

    bool level(std::string_view name, U32 bit) {
        const std::lock_guard lock(mutex_);
        Setting const* setting = find(name);
        return setting && (setting->on & bit) != 0;
    }

  private:
    /// The levels set for one name; lives until the process ends.
    struct Setting {
        bool concerns(std::string_view handle) const noexcept { return handle == name; }

        std::string name;
        U32 decided;
        U32 on;
        Setting* next;
    };

    Setting* find(std::string_view name) const noexcept {
        Setting* setting = settings_;
        while (setting && setting->name != name)
            setting = setting->next;
        return setting;
    }

    std::mutex mutex_;
    TraceHandle* handles_ = nullptr;
    Setting* settings_ = nullptr;
};

namespace {

constinit TraceRegistry registry;
static_assert(std::is_trivially_destructible_v<TraceRegistry>);

constinit std::mutex sinkMutex;
constinit TraceSink currentSink;
constinit thread_local bool inSink = false;
constinit std::atomic<U64> lost{0};

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

TraceHandle::~TraceHandle() { registry.remove(*this); }

U32 TraceHandle::registeredMask() noexcept {
    const U32 mask = mask_.load(std::memory_order_relaxed);
    return (mask & unregistered) == 0 ? mask : registry.add(*this);
}

void traceLevelIs(std::string_view handle, unsigned level, bool on) {
    registry.levelIs(handle, checkedLevelBit(handle, level), on);
}

bool traceLevel(std::string_view handle, unsigned level) {
    return registry.level(handle, checkedLevelBit(handle, level));
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

U64 tracesLost() noexcept { return lost.load(std::memory_order_relaxed); }

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
