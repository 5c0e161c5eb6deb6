#pragma once

/// Text tracing.
///
/// A source file has one handle, and its statements say at which level they speak:
///
///     static constinit Zel::TraceHandle traceHandle("StpTxStatusSyncer", false);
///     ...
///     Zel::trace(traceHandle, 8, [&](Zel::TraceStream& out) { out << "TxToRx" << "::" << ...; });
///
/// While the level is off a statement costs one load and test, and its text is not composed. While
/// it is on, the text goes to the sink. A trace statement lets no exception out: a text that cannot
/// be composed or written is given up and counted in tracesLost().
///
/// Handles, levels and the sink may be used from any thread. Levels are switched by the names of
/// handles, see traceLevelIs(), or by patterns, see TraceLevels.h. Besides the default sink there
/// is one that writes a file, see TraceFileSink.h.

#include "framework/zel/Api.h"
#include "framework/zel/Int.h"
#include "framework/zel/String.h"

#include <atomic>
#include <concepts>
#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <string_view>

namespace Zel {

/// The level of a trace statement: 0, the rarest and gravest, to 9, the finest detail. A literal
/// beyond does not compile.
class TraceLevel {
  public:
    static constexpr unsigned highest = 9; ///< the finest detail

    /// A literal stands for its level.
    consteval TraceLevel(unsigned level)
        : value_(level > highest ? throw "0 to 9" : level) {} // not covered: consteval
    /// 0 to highest.
    constexpr unsigned value() const noexcept { return value_; }
    /// The level in a set of levels: bit n for level n.
    constexpr U32 bit() const noexcept { return U32{1} << value_; }

  private:
    unsigned value_;
};

/// The switch of one source file's trace statements: a bit for each level.
///
/// A static object, constant-initialised; it makes itself known under its name when the first
/// statement runs, and takes the levels that were set for the name until then.
class VARNOL_API TraceHandle {
  public:
    /// @param name         what levels are switched by, perhaps shared with others; not copied
    /// @param initiallyOn  whether all levels are on, or all off, until they are switched
    constexpr TraceHandle(std::string_view name, bool initiallyOn) noexcept
        : mask_(unregistered | (initiallyOn ? allLevels : 0))
        , name_(name) {}
    TraceHandle(TraceHandle const&) = delete;
    TraceHandle& operator=(TraceHandle const&) = delete;
    /// No other thread may use the handle any more.
    ~TraceHandle();

    /// What levels are switched by.
    std::string_view name() const noexcept { return name_; }

    /// Whether statements of the level are to trace. The first call makes the handle known.
    bool levelIsOn(TraceLevel level) noexcept {
        if ((mask_.load(std::memory_order_relaxed) & (unregistered | level.bit())) == 0) [[likely]]
            return false;
        return (registeredMask() & level.bit()) != 0;
    }

  private:
    friend class TraceRegistry;

    static constexpr U32 allLevels = (U32{2} << TraceLevel::highest) - 1;
    static constexpr U32 unregistered = U32{1} << 31;

    U32 registeredMask() noexcept;

    std::atomic<U32> mask_;
    std::string_view name_;
    TraceHandle* next_ = nullptr;
};

/// Switches one level of all handles of that name on or off, also of those that come later.
/// Throws Zel::RangeException for a level above 9 or an empty name, and std::bad_alloc.
VARNOL_API void traceLevelIs(std::string_view handle, unsigned level, bool on);

/// Whether that level was last switched on, by the name or by a pattern that matches it; false when
/// it was never switched. Throws as traceLevelIs().
VARNOL_API bool traceLevel(std::string_view handle, unsigned level);

/// The numbers that a trace text may hold.
template <class T>
concept TraceNumber = std::same_as<T, unsigned short> || std::same_as<T, unsigned> ||
    std::same_as<T, unsigned long> || std::same_as<T, unsigned long long>;

/// Puts a text together from values. Other types join in with a free function beside them,
/// `TraceStream& operator<<(TraceStream&, T const&)`. Nothing is converted silently: signed
/// numbers, characters, octets and pointers have no meaning here and do not compile.
class VARNOL_API TraceStream {
  public:
    ///@{
    /// The text as it is. Throws std::bad_alloc, as the others do.
    TraceStream& operator<<(std::string_view text);
    TraceStream& operator<<(String const& text) { return *this << text.view(); }
    ///@}
    /// @param text  never null
    TraceStream& operator<<(const char* text) { return *this << std::string_view(text); }
    TraceStream& operator<<(std::nullptr_t) = delete;
    /// "true" or "false".
    template <std::same_as<bool> Bool> TraceStream& operator<<(Bool value) {
        return *this << (value ? "true" : "false");
    }
    /// In decimal.
    template <TraceNumber Number> TraceStream& operator<<(Number value) { return decimal(value); }
    /// The shortest decimal text that reads back as the same value: 0, 2.5, 1e+100, -inf, nan.
    template <std::same_as<double> Double> TraceStream& operator<<(Double value) {
        return shortest(value);
    }

    /// Valid until the stream changes.
    std::string_view text() const noexcept { return text_; }

  private:
    TraceStream& decimal(unsigned long long value);
    TraceStream& shortest(double value);

    std::string text_;
};

/// What a sink is given. The texts are valid during the call only.
struct TraceRecord {
    /// As it was composed, with whatever control characters it has.
    std::string_view text;
    /// The source file's name, without folders.
    std::string_view file;
    unsigned line; ///< counted from 1
    /// The function's name alone.
    std::string_view function;
    /// The name of the statement's handle.
    std::string_view handle;
    unsigned level; ///< 0 to 9
};

/// The default sink. Writes one line to stderr with a single write(2), as
///
///     StpTxStatusSyncer/8 StpTxStatusSyncer.cpp:212 handleTxMstStatus: TxToRx::... mst1
///
/// (handle/level, file:line, function, text); control characters of the text appear as '?'. Other
/// lines are to be had from traceStderrSink(), see TraceLine.h.
/// Throws std::bad_alloc, and std::system_error when the line could not be written whole.
VARNOL_API void traceToStderr(TraceRecord const& record, void* context);

/// Where trace texts go: a function, and what it wants to be given back. A plain pair, so that a
/// sink can be compared, put back and kept without memory or ownership.
struct TraceSink {
    /// @param context  the sink's
    using Function = void(TraceRecord const& record, void* context);

    /// Called by one thread at a time. What is traced meanwhile on that thread is dropped and
    /// counted as lost, and so is a record whose call ends with an exception.
    Function* function = &traceToStderr;
    /// Passed on as it is; owned by nobody here.
    void* context = nullptr;

    friend bool operator==(TraceSink const&, TraceSink const&) noexcept = default;
};

/// Replaces the sink and returns the former one, which is then no longer running (unless it is the
/// caller) and is not called any more. Throws Zel::RangeException for a null function.
VARNOL_API TraceSink traceSinkIs(TraceSink sink);

/// Puts the default sink in the place of one that is to end, if it is the one in use; either way it
/// is then no longer running (unless it is the caller).
VARNOL_API void traceSinkDel(TraceSink sink) noexcept;

/// The number of texts that no sink took, because they were traced by a sink or because composing
/// or writing them ended with an exception.
VARNOL_API U64 tracesLost() noexcept;

/// One trace statement at work: exists only while its level is on, in a buffer on the caller's
/// stack. Zel::trace() below is the short way to use it.
class VARNOL_API TraceHelper {
  public:
    /// Room for one helper.
    struct Buffer;

    /// Destroys the helper and leaves the buffer alone.
    struct Destroyer {
        /// What std::unique_ptr calls.
        void operator()(TraceHelper* helper) const noexcept { helper->~TraceHelper(); }
    };
    /// Owns a helper, and not the buffer that it lies in.
    using InBuffer = std::unique_ptr<TraceHelper, Destroyer>;

    /// Null while the level is off.
    static InBuffer createIfEnabled(TraceHandle& handle, TraceLevel level, Buffer& buffer) noexcept;

    TraceHelper(TraceHelper const&) = delete;
    TraceHelper& operator=(TraceHelper const&) = delete;

    /// The text to be traced.
    TraceStream& stream() noexcept { return stream_; }

    /// Hands the text to the sink.
    /// @param file  path of the source file
    void trace(const char* file, unsigned line, const char* function) noexcept;

  private:
    [[gnu::cold]] TraceHelper(TraceHandle const& handle, TraceLevel level) noexcept;
    ~TraceHelper();

    TraceHandle const& handle_;
    TraceLevel level_;
    TraceStream stream_;
};

/// Memory for one helper.
struct TraceHelper::Buffer {
    /// Of no value while no helper lies here.
    alignas(TraceHelper) std::byte octets[sizeof(TraceHelper)];
};

[[gnu::always_inline]] inline TraceHelper::InBuffer
TraceHelper::createIfEnabled(TraceHandle& handle, TraceLevel level, Buffer& buffer) noexcept {
    if (!handle.levelIsOn(level)) [[likely]]
        return nullptr;
    return InBuffer(::new (&buffer) TraceHelper(handle, level));
}

/// Counts a text that an exception kept from being composed.
[[gnu::cold]] VARNOL_API void traceGivenUp() noexcept;

/// A trace statement: while the level is on, has `compose` write the text into a stream and hands
/// it to the sink. The place is that of the call.
template <std::invocable<TraceStream&> Compose>
[[gnu::always_inline]] inline void
trace(TraceHandle& handle, TraceLevel level, Compose const& compose,
      const char* file = __builtin_FILE(), unsigned line = __builtin_LINE(),
      const char* function = __builtin_FUNCTION()) noexcept {
    TraceHelper::Buffer buffer;
    if (const auto helper = TraceHelper::createIfEnabled(handle, level, buffer)) [[unlikely]] {
        try {
            compose(helper->stream());
            helper->trace(file, line, function);
        } catch (...) {
            traceGivenUp();
        }
    }
}

} // namespace Zel
