#pragma once

#include "framework/fennic/TraceFormat.h"
#include "framework/zel/Api.h"

#include <atomic>
#include <cstddef>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Fennic {

/// The identifier that a trace file gave to a message; 0 until it has. Lives, with static storage,
/// at the place that the message describes, and belongs to one file.
using MessageId = std::atomic<U32>;

/// A binary trace: descriptors of messages and a ring of the latest records, in memory that the
/// user provides: a heap buffer, or a mapped file that outlives the process. How it lies there
/// stands in TraceFormat.h.
///
/// The trace is off until memory is attached. A record costs no allocation and no system call.
/// Every function may be called from any thread.
class VARNOL_API TraceFile {
  public:
    /// What the memory has at least to be, in octets.
    static constexpr std::size_t minimumMemorySize = 4096;
    static constexpr std::size_t memoryAlignment = alignof(FileHeader);

    constexpr TraceFile() noexcept = default;
    TraceFile(TraceFile const&) = delete;
    TraceFile& operator=(TraceFile const&) = delete;
    /// No other thread may use the file any more.
    ~TraceFile() { memoryIs({}); }

    bool isOn() const noexcept { return header_.load(std::memory_order_relaxed) != nullptr; }

    /// Writes the trace into that memory from now on, beginning with a new header, all messages
    /// known and an empty ring; an empty or null span switches the trace off. The memory stays the
    /// caller's. When this returns the former memory is no longer written to, nor will it be, and
    /// holds what was traced. A quarter of the memory, and at most 64 KiB, is for descriptors.
    ///
    /// Throws Zel::RangeException, and changes nothing, for memory that is too small or misaligned.
    void memoryIs(std::span<std::byte> memory);

    /// Makes a message known and stores its identifier; does nothing when it has one already.
    /// MsgDesc is the way to compose the text. Throws std::bad_alloc.
    void messageIs(MessageId& messageId, std::string_view text, std::string_view sourceFileName,
                   unsigned line);

    /// Records that a block of that message was entered at `begin` (see monotonicTime()) and ends
    /// now. Does nothing while the trace is off.
    void blockIs(MessageId const& messageId, U64 begin) noexcept;

  private:
    struct Message {
        std::string text;
        std::string sourceFileName;
        unsigned line;
    };

    void detach() noexcept;
    void writeDescriptor(FileHeader& header, U32 messageId, std::string_view text,
                         std::string_view sourceFileName, unsigned line) noexcept;

    // The memory in use, null while off; and how many threads may be writing into it.
    std::atomic<FileHeader*> header_{nullptr};
    std::atomic<U32> writers_{0};

    // What is needed of the header, so that nothing that others write into the memory can lead a
    // write out of it. The ring is changed only while the trace is off and nobody writes.
    BlockRecord* ring_ = nullptr;
    U64 ringCapacity_ = 0;
    std::atomic<U32> descriptorCount_{0};

    std::mutex mutex_; // for all below, and for attaching
    std::byte* descriptorsEnd_ = nullptr;
    std::vector<Message> messages_; // identifiers 1, 2, ...
};

/// The file that the library's own block timers write to.
VARNOL_API TraceFile& defaultTraceFile() noexcept;

/// The clock of all records: clock_gettime(CLOCK_MONOTONIC), in nanoseconds. Never 0.
VARNOL_API U64 monotonicTime() noexcept;

} // namespace Fennic
