#pragma once

#include "framework/fennic/TraceFormat.h"
#include "framework/zel/Activity.h"
#include "framework/zel/Api.h"

#include <array>
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

/// A binary trace: descriptors of messages, the blocks that are open now, and a ring of the latest
/// records, in memory that the user provides: a heap buffer, or a mapped file that outlives the
/// process. How it lies there stands in TraceFormat.h.
///
/// The trace is off until memory is attached. A record costs no allocation and no system call, and
/// no locked operation but where a chunk of the ring is full and where a thread turns from one file
/// to another; where the system has no membarrier(), one more where a block begins and one where it
/// ends. Every function may be called from any thread. Each thread that records has one of the
/// memory's lanes until it ends or other memory is attached; blocks of threads that find none are
/// counted as lost, and so are those that a thread enters at its very end, when its lane has been
/// given back.
///
/// A process that forks while one thread records attaches other memory in the child, or none,
/// before a block is timed there. Where several threads record, the child does nothing but execute
/// another program, as POSIX has it.
class VARNOL_API TraceFile {
  public:
    /// What the memory has at least to be, in octets.
    static constexpr std::size_t minimumMemorySize = 16384;
    /// What the address of the memory has to be a multiple of.
    static constexpr std::size_t memoryAlignment = std::atomic_ref<U64>::required_alignment;
    /// How many threads can record at a time: 2, and in memory of 256 KiB and more 8.
    static constexpr std::size_t maxLanes = 8;

    constexpr TraceFile() noexcept = default;
    TraceFile(TraceFile const&) = delete;
    TraceFile& operator=(TraceFile const&) = delete;
    /// No other thread may use the file any more.
    ~TraceFile() { memoryIs({}); }

    /// Whether memory is attached. Another thread may change that at any time.
    bool isOn() const noexcept { return epoch_.load(std::memory_order_relaxed) != 0; }

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
    /// The same for a class, with its attributes.
    void typeIs(MessageId& messageId, Zel::TypeNode const& type);

    /// Enters a block of that message: puts it on the stack of this thread's open blocks. What it
    /// is about is what the block around it is about. Does nothing while the trace is off.
    /// @return when it was entered (see monotonicTime()); never 0
    U64 blockBegins(MessageId const& messageId) noexcept;
    /// The same for a block that is about a change or a write. Of the default file alone: only that
    /// one's descriptors are those of the classes.
    U64 blockBegins(MessageId const& messageId, BlockKind kind,
                    Zel::Activity const& activity) noexcept;
    /// Ends this thread's innermost block, which was entered at `begin`, and records it. One that
    /// was entered before the memory was attached is recorded, too. Does nothing while the trace is
    /// off.
    void blockEnds(MessageId const& messageId, U64 begin) noexcept;

  private:
    struct Description {
        std::string_view text;
        std::string_view sourceFileName{};
        unsigned line = 0;
        DescriptorKind kind = DescriptorKind::message;
    };
    struct Message {
        Description description() const noexcept { return {text, sourceFileName, line, kind}; }

        std::string text;
        std::string sourceFileName;
        unsigned line;
        DescriptorKind kind;
    };

    friend struct TraceFileTestAccess;
    struct Thread;
    class Writing;

    /// What one thread writes with; see TraceFormat.h. All but `owner` and `chunk` is the owner's
    /// alone.
    struct alignas(64) Lane {
        /// Null for none.
        std::atomic<Thread*> owner{nullptr};
        /// The first number of the chunk that the lane fills; 0 for none.
        std::atomic<U64> chunk{0};
        U64 sequence = 0; // of the next record
        BlockRecord* place = nullptr;
        BlockRecord* chunkEnd = nullptr;
        LaneHeader* header = nullptr;
        BlockRecord* top = nullptr; // the place of the next frame
        BlockRecord* framesEnd = nullptr;
        U64 depth = 0;
        U64 recordCount = 0;
        U16 index = 0;
    };

    void detach() noexcept;
    void describe(FileHeader& header, U32 messageId, Description const& message) noexcept;
    void add(MessageId& messageId, Message message);
    /// Finds the thread a lane, unless the epoch has passed. @return whether to go on
    bool claimLane(Thread& thread, U64 epoch) noexcept;
    void nextChunk(Lane& lane) noexcept;
    U32 described(MessageId const& messageId) const noexcept;
    void push(Lane& lane, LaneHeader& header, U64 depth) noexcept;
    template <class Describe>
    void record(Lane& lane, U64 depth, U64 begin, U64 end, Describe const& describe) noexcept;
    void blockWithoutFrameEnds(Lane& lane, MessageId const& messageId, U64 begin, U64 end) noexcept;
    void recordIsLost() noexcept;

    // Which attaching of memory, of any file, the present one is; 0 while off.
    std::atomic<U64> epoch_{0};

    // Changed only while the trace is off and nobody writes.
    FileHeader* header_ = nullptr;
    BlockRecord* ring_ = nullptr;
    U64 ringCapacity_ = 0;
    U32 chunkSize_ = 0;
    U32 framesPerLane_ = 0;
    U32 laneCount_ = 0;
    std::atomic<U32> descriptorCount_{0};

    std::array<Lane, maxLanes> lanes_;
    std::mutex chunkMutex_; // for handing out chunks; the last one taken
    U64 nextSequence_ = 1;

    std::mutex mutex_; // for all below, for attaching and for handing out lanes
    std::byte* descriptorsEnd_ = nullptr;
    std::vector<Message> messages_; // identifiers 1, 2, ...
    TraceFile* nextAttached_ = nullptr;
};

/// The file that the library's own block timers write to, and what reactors and syncers do.
VARNOL_API TraceFile& defaultTraceFile() noexcept;

/// The clock of all records: clock_gettime(CLOCK_MONOTONIC), in nanoseconds. Never 0.
VARNOL_API U64 monotonicTime() noexcept;

} // namespace Fennic
