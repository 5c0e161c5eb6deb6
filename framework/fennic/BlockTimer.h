#pragma once

#include "framework/fennic/TraceFile.h"

namespace Fennic {

/// A place in the source whose blocks are timed; a static object there.
struct BlockPlace {
    /// As __PRETTY_FUNCTION__ gives it.
    const char* signature;
    /// Without folders.
    const char* sourceFileName;
    unsigned line; ///< counted from 1
    /// Stored with the first block that is entered while the trace is on.
    MessageId messageId{0};
};

/// Times the block that it lives in: one record in the trace file when the block ends, however it
/// ends. A block that was entered while the trace was off leaves none.
class BlockTimerSelf {
  public:
    /// For a message that has been described.
    BlockTimerSelf(TraceFile& file, MessageId const& messageId) noexcept
        : file_(file)
        , messageId_(messageId)
        , begin_(file.isOn() ? file.blockBegins(messageId) : 0) {}
    /// Describes the place with the first block that is entered while the trace is on.
    BlockTimerSelf(TraceFile& file, BlockPlace& place) noexcept
        : file_(file)
        , messageId_(place.messageId)
        , begin_(file.isOn() ? enter(file, place) : 0) {}
    BlockTimerSelf(BlockTimerSelf const&) = delete;
    BlockTimerSelf& operator=(BlockTimerSelf const&) = delete;
    ~BlockTimerSelf() {
        if (begin_ != 0) [[unlikely]]
            file_.blockEnds(messageId_, begin_);
    }

  private:
    [[gnu::cold]] VARNOL_API static U64 enter(TraceFile& file, BlockPlace& place) noexcept;

    TraceFile& file_;
    MessageId const& messageId_;
    U64 begin_; // 0: the trace was off
};

namespace detail {

/// An object that is never destroyed, so that it may be used until the process has ended.
template <class T> union Immortal {
    constexpr Immortal() noexcept
        : object() {}
    ~Immortal() {}
    T object;
};

// Hidden, so that a timer finds it without the detour by which a shared library reaches what it
// exports.
extern constinit Immortal<TraceFile> defaultFile __attribute__((visibility("hidden")));

} // namespace detail

/// Times the rest of the block on the default trace file; for the library itself, which alone finds
/// the file in this way. The message is the function's qualified name, "():" and the line:
/// "Varnol::TxStatusToRxSyncer::handleTxMstStatus():212". Costs one load and test while the trace
/// is off. A macro, because a function's qualified name is not to be had from a default argument.
#define FENNIC_BLOCK_TIMER() FENNIC_BLOCK_TIMER_IN_LINE(__LINE__)
#define FENNIC_BLOCK_TIMER_IN_LINE(line) FENNIC_BLOCK_TIMER_NAMED(line)
#define FENNIC_BLOCK_TIMER_NAMED(line)                                                             \
    static constinit ::Fennic::BlockPlace fennicBlock##line{__PRETTY_FUNCTION__, __FILE_NAME__,    \
                                                            line};                                 \
    const ::Fennic::BlockTimerSelf fennicTimer##line(::Fennic::detail::defaultFile.object,         \
                                                     fennicBlock##line)

} // namespace Fennic
