#include "framework/fennic/TraceFile.h"

#include "framework/fennic/ActivityTrace.h"
#include "framework/fennic/ThreadBarrier.h"
#include "framework/zel/Entity.h"
#include "framework/zel/Exception.h"
#include "framework/zel/GenericIf.h"
#include "framework/zel/Start.h"
#include "framework/zel/Strep.h"
#include "framework/zel/Trace.h"
#include "framework/zel/TypeNode.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <thread>
#include <utility>

#include <time.h>
#include <unistd.h>

namespace Fennic {
namespace {

constexpr std::size_t highestDescriptorsSize = 64UL * 1024;
constexpr U64 deepestTold = std::numeric_limits<U16>::max();
constexpr std::string_view unknownMessage = "(no room for the descriptor)";

/// Memory of so many octets has room for more threads and more open blocks.
constexpr std::size_t largeMemorySize = 256UL * 1024;

using Words = std::array<U64, sizeof(BlockRecord) / sizeof(U64)>;

static_assert(std::atomic_ref<U64>::is_always_lock_free);
static_assert(alignof(FileHeader) <= TraceFile::memoryAlignment);
static_assert(sizeof(BlockRecord) % sizeof(U64) == 0 && offsetof(BlockRecord, sequence) == 0);

U64 nanoseconds(clockid_t clock) noexcept {
    timespec time;
    ::clock_gettime(clock, &time);
    return static_cast<U64>(time.tv_sec) * 1'000'000'000 + static_cast<U64>(time.tv_nsec);
}

std::atomic_ref<U64> atomic(U64& word) noexcept { return std::atomic_ref(word); }

std::atomic_ref<U32> atomic(U32& word) noexcept { return std::atomic_ref(word); }

// What of a record one word holds.
constexpr std::size_t beginWord = offsetof(BlockRecord, begin) / sizeof(U64);
constexpr std::size_t endWord = offsetof(BlockRecord, end) / sizeof(U64);
constexpr std::size_t entityWord = offsetof(BlockRecord, entity) / sizeof(U64);
constexpr std::size_t messageWord = offsetof(BlockRecord, messageId) / sizeof(U64);
constexpr std::size_t typeWord = offsetof(BlockRecord, typeId) / sizeof(U64);
constexpr std::size_t entityKeyWord = offsetof(BlockRecord, entityKey) / sizeof(U64);
constexpr std::size_t keyWord = offsetof(BlockRecord, key) / sizeof(U64);

constexpr U64 word(U32 first, U16 third, U16 fourth) noexcept {
    if constexpr (std::endian::native == std::endian::little)
        return first | U64{third} << 32 | U64{fourth} << 48;
    else
        return U64{first} << 32 | U64{third} << 16 | fourth;
}

/// What messageWord and typeWord say, wherever its octets stand in a number of this machine.
U16 attributeIn(U64 octets) noexcept { return std::bit_cast<std::array<U16, 4>>(octets)[2]; }
U32 typeIdIn(U64 octets) noexcept { return std::bit_cast<std::array<U32, 2>>(octets)[0]; }

/// Its octet, and one of zeros behind it.
constexpr U16 octets(BlockKind kind) noexcept {
    const auto octet = static_cast<U8>(kind);
    if constexpr (std::endian::native == std::endian::little)
        return octet;
    else
        return static_cast<U16>(octet << 8);
}

/// Words of a record that is read by others while it is written: each is stored with release order,
/// not to be seen before what was stored earlier.
class RecordWords {
  public:
    explicit RecordWords(BlockRecord& place) noexcept
        : words_(reinterpret_cast<U64*>(&place)) {}
    void store(std::size_t index, U64 word) noexcept {
        atomic(words_[index]).store(word, std::memory_order_release);
    }
    /// Only this thread writes the words.
    U64 own(std::size_t index) const noexcept { return words_[index]; }

    /// What the block is about: nothing.
    void aboutNothing() noexcept {
        store(entityWord, 0);
        store(entityKeyWord, 0);
        store(keyWord, 0);
    }
    /// What the block is about: the same as another, or nothing.
    void aboutTheSame(RecordWords from) noexcept {
        if (from.own(entityWord) == 0) {
            aboutNothing();
            return;
        }
        store(entityWord, from.own(entityWord));
        for (std::size_t index = entityKeyWord; index < std::tuple_size_v<Words>; ++index)
            store(index, from.own(index));
    }
    void about(BlockRecord const& record) noexcept {
        const auto words = std::bit_cast<Words>(record);
        store(entityWord, words[entityWord]);
        for (std::size_t index = entityKeyWord; index < std::tuple_size_v<Words>; ++index)
            store(index, words[index]);
    }

  private:
    U64* words_;
};

void checkMemory(std::span<std::byte> memory) {
    if (memory.size() >= TraceFile::minimumMemorySize &&
        reinterpret_cast<std::uintptr_t>(memory.data()) % TraceFile::memoryAlignment == 0)
        return;
    Zel::TraceStream text;
    text << "memory for a trace file has to be " << TraceFile::minimumMemorySize
         << " octets or more, aligned to " << TraceFile::memoryAlignment << ": given were "
         << memory.size();
    Zel::throwRangeException(std::string(text.text()).c_str());
}

KeyImage keyImage(Zel::KeyView const& key) noexcept {
    KeyImage image{};
    if (key.isText) {
        image.kind = KeyImage::text;
        image.size = static_cast<U8>(std::min<std::size_t>(key.text.size(), 255));
        key.text.copy(image.octets, sizeof image.octets);
    } else {
        image.kind = KeyImage::number;
        std::memcpy(image.octets + 6, &key.number, sizeof key.number);
    }
    return image;
}

// Detaching has to know of every writer, and writers are not to pay for it. So that a writer's mark
// is seen before it looks whether the memory is still attached, either each of them executes a
// locked operation, or, where the system can do that, who detaches has a barrier executed on all
// threads of the process.
constinit std::atomic<bool> writersLock{true};

// Odd, and taken on by 2: none is 0, which says that a file is off, however many there were.
constinit std::atomic<U64> nextEpoch{Zel::counterStart<U64>() | 1};

// The files that have memory, for threads that end.
constinit std::mutex attachedMutex;
constinit TraceFile* firstAttached = nullptr;

} // namespace

U64 monotonicTime() noexcept { return std::max(nanoseconds(CLOCK_MONOTONIC), U64{1}); }

/// What a thread knows of its lanes. Found without a call, also in a library loaded late.
struct [[gnu::visibility("hidden")]] TraceFile::Thread {
    /// Gives the thread's lanes back, of all files, when it ends.
    class End {
      public:
        End() = default;
        End(End const&) = delete;
        End& operator=(End const&) = delete;
        ~End() {
            here.hasEnded = true;
            here.lane = nullptr;
            const std::lock_guard lock(attachedMutex);
            for (TraceFile* file = firstAttached; file; file = file->nextAttached_) {
                for (Lane& each : file->lanes_) {
                    if (each.owner.load(std::memory_order_relaxed) == &here)
                        each.owner.store(nullptr, std::memory_order_release);
                }
            }
        }
    };

    [[gnu::tls_model("initial-exec")]] static thread_local Thread here;

    /// Whether it is writing just now, through any lane.
    std::atomic<bool> busy{false};
    bool hasEnded = false;
    /// The lane that it used last (null when the thread has ended), and the epoch in which it is
    /// the thread's: `epoch` where writers need execute no locked operations, `epochToLock` anyhow.
    U64 epoch = 0;
    U64 epochToLock = 0;
    Lane* lane = nullptr;
};

[[gnu::tls_model("initial-exec")]] constinit thread_local TraceFile::Thread TraceFile::Thread::here;

/// While one lives that has a lane, the memory stays attached.
class [[gnu::visibility("hidden")]] TraceFile::Writing {
  public:
    explicit Writing(TraceFile & file) noexcept
        : lane_(begin(file)) {}
    Writing(Writing const&) = delete;
    Writing& operator=(Writing const&) = delete;
    ~Writing() { Thread::here.busy.store(false, std::memory_order_release); }
    Lane* lane() const noexcept { return lane_; }

  private:
    static Lane* begin(TraceFile & file) noexcept {
        U64 epoch = file.epoch_.load(std::memory_order_relaxed);
        while (epoch != 0) {
            Thread& thread = Thread::here;
            if (thread.epoch == epoch) [[likely]] {
                thread.busy.store(true, std::memory_order_relaxed);
                std::atomic_signal_fence(std::memory_order_seq_cst);
            } else if (thread.epochToLock == epoch || file.claimLane(thread, epoch)) {
                thread.busy.store(true);
            } else {
                return nullptr;
            }
            const U64 now = file.epoch_.load();
            if (now == epoch) [[likely]]
                return thread.lane;
            thread.busy.store(false, std::memory_order_release);
            epoch = now;
        }
        return nullptr;
    }

    Lane* const lane_;
};

void TraceFile::memoryIs(std::span<std::byte> memory) {
    if (memory.data() == nullptr || memory.empty()) {
        const std::lock_guard lock(mutex_);
        detach();
        return;
    }
    checkMemory(memory);

    const std::lock_guard lock(mutex_);
    detach();
    if (canHaveThreadsSynchronized())
        writersLock.store(false);
    std::ranges::fill(memory, std::byte{0});

    const bool large = memory.size() >= largeMemorySize;
    auto* const header = std::construct_at(reinterpret_cast<FileHeader*>(memory.data()));
    std::ranges::copy(FileHeader::magicText, header->magic);
    header->version = FileHeader::currentVersion;
    header->headerSize = sizeof(FileHeader);
    header->clock = FileHeader::clockMonotonic;
    header->memorySize = memory.size();
    header->lanesOffset = sizeof(FileHeader);
    header->laneCount = large ? maxLanes : 2;
    header->framesPerLane = large ? 64 : 24;
    header->laneSize =
        static_cast<U32>(sizeof(LaneHeader) + header->framesPerLane * sizeof(BlockRecord));
    header->descriptorsOffset = header->lanesOffset + header->laneCount * header->laneSize;
    header->descriptorsSize =
        static_cast<U32>(std::min(memory.size() / 4, highestDescriptorsSize) & ~std::size_t{7});
    header->ringOffset = header->descriptorsOffset + header->descriptorsSize;
    header->recordSize = sizeof(BlockRecord);
    header->chunkSize = large ? 64 : 16;
    const U64 places = (memory.size() - header->ringOffset) / sizeof(BlockRecord);
    header->ringCapacity = places - places % header->chunkSize;
    header->nextSequence = 1;
    header->attachedAt = monotonicTime();
    header->attachedAtRealtime = nanoseconds(CLOCK_REALTIME);
    header->processId = static_cast<U32>(::getpid());

    header_ = header;
    ring_ = reinterpret_cast<BlockRecord*>(memory.data() + header->ringOffset);
    ringCapacity_ = header->ringCapacity;
    chunkSize_ = header->chunkSize;
    framesPerLane_ = header->framesPerLane;
    laneCount_ = header->laneCount;
    nextSequence_ = 1;
    for (U32 index = 0; index < laneCount_; ++index) {
        std::byte* const place =
            memory.data() + header->lanesOffset + std::size_t{index} * header->laneSize;
        Lane& lane = lanes_[index];
        lane.chunk.store(0, std::memory_order_relaxed);
        lane.chunkEnd = lane.place; // none is left
        lane.header = std::construct_at(reinterpret_cast<LaneHeader*>(place));
        lane.top = reinterpret_cast<BlockRecord*>(place + sizeof(LaneHeader));
        lane.framesEnd = lane.top + framesPerLane_;
        lane.depth = lane.recordCount = 0;
        lane.index = static_cast<U16>(index);
    }
    descriptorCount_.store(0, std::memory_order_relaxed);
    descriptorsEnd_ = memory.data() + header->descriptorsOffset;
    describe(*header, 0, {.text = unknownMessage});
    U32 messageId = 0;
    for (Message const& message : messages_)
        describe(*header, ++messageId, message.description());
    atomic(header->orderMark).store(FileHeader::orderMarkValue, std::memory_order_release);

    {
        const std::lock_guard attachedLock(attachedMutex);
        nextAttached_ = std::exchange(firstAttached, this);
    }
    epoch_.store(nextEpoch.fetch_add(2));
    if (this == &defaultTraceFile())
        activityTraceIs(true);
}

void TraceFile::detach() noexcept {
    if (!isOn())
        return;
    if (this == &defaultTraceFile())
        activityTraceIs(false);
    epoch_.store(0);
    if (!writersLock.load(std::memory_order_relaxed))
        haveThreadsSynchronized();
    const std::lock_guard lock(attachedMutex); // no owner ends meanwhile
    TraceFile** link = &firstAttached;
    while (*link != this)
        link = &(*link)->nextAttached_;
    *link = nextAttached_;
    // A writer marks itself before it looks at the epoch: once no owner of a lane is marked, none
    // has the memory any more.
    for (Lane& lane : lanes_) {
        if (Thread const* const owner = lane.owner.load(std::memory_order_relaxed)) {
            while (owner->busy.load())
                std::this_thread::yield();
            lane.owner.store(nullptr, std::memory_order_relaxed);
        }
    }
}

bool TraceFile::claimLane(Thread& thread, U64 epoch) noexcept {
    static thread_local const Thread::End end;
    if (thread.hasEnded)
        return false;
    const std::lock_guard lock(mutex_);
    if (epoch_.load(std::memory_order_relaxed) != epoch)
        return true; // to be tried again
    Lane* const lanesEnd = lanes_.data() + laneCount_;
    const auto laneOf = [&](Thread const* wanted) {
        return std::find_if(lanes_.data(), lanesEnd, [&](Lane const& lane) {
            return lane.owner.load(std::memory_order_acquire) == wanted;
        });
    };
    Lane* lane = laneOf(&thread);
    if (lane == lanesEnd) {
        lane = laneOf(nullptr);
        if (lane == lanesEnd)
            return false;
        lane->owner.store(&thread, std::memory_order_relaxed);
        lane->header->threadId = threadNumber();
    }
    const bool locks = writersLock.load(std::memory_order_relaxed);
    thread.epoch = locks ? 0 : epoch;
    thread.epochToLock = epoch;
    thread.lane = lane;
    return true;
}

void TraceFile::messageIs(MessageId& messageId, std::string_view text,
                          std::string_view sourceFileName, unsigned line) {
    add(messageId, {std::string(text), std::string(sourceFileName), line, DescriptorKind::message});
}

void TraceFile::typeIs(MessageId& messageId, Zel::TypeNode const& type) {
    Zel::TraceStream attributes;
    for (Zel::AttributeInfo const& attribute : type.attributes()) {
        attributes << attribute.id << "\t" << attribute.name << "\t"
                   << Zel::typeName(*attribute.valueType);
        if (attribute.keyType)
            attributes << "\t" << Zel::typeName(*attribute.keyType);
        attributes << "\n";
    }
    add(messageId,
        {std::string(type.name()), std::string(attributes.text()), 0, DescriptorKind::type});
}

void TraceFile::add(MessageId& messageId, Message message) {
    const std::lock_guard lock(mutex_);
    if (messageId.load(std::memory_order_relaxed) != 0)
        return;
    messages_.push_back(std::move(message));
    const U32 id = static_cast<U32>(messages_.size());
    if (isOn())
        describe(*header_, id, messages_.back().description());
    messageId.store(id, std::memory_order_release);
}

void TraceFile::describe(FileHeader& header, U32 messageId, Description const& message) noexcept {
    const std::size_t size =
        (sizeof(Descriptor) + message.text.size() + message.sourceFileName.size() + 7) &
        ~std::size_t{7};
    const auto room =
        static_cast<std::size_t>(reinterpret_cast<std::byte*>(ring_) - descriptorsEnd_);
    // Without gaps, so that a message has its descriptor when its identifier is below the count.
    if (descriptorCount_.load(std::memory_order_relaxed) != messageId || size > room) {
        atomic(header.descriptorsMissing).fetch_add(1, std::memory_order_relaxed);
        return;
    }
    auto* descriptor = std::construct_at(
        reinterpret_cast<Descriptor*>(descriptorsEnd_),
        Descriptor{.size = static_cast<U32>(size),
                   .messageId = messageId,
                   .line = message.line,
                   .textSize = static_cast<U32>(message.text.size()),
                   .sourceFileSize = static_cast<U32>(message.sourceFileName.size()),
                   .kind = message.kind});
    auto* octets = reinterpret_cast<char*>(descriptor + 1);
    std::ranges::copy(message.sourceFileName, std::ranges::copy(message.text, octets).out);
    descriptorsEnd_ += size;
    atomic(header.descriptorCount).store(messageId + 1, std::memory_order_release);
    descriptorCount_.store(messageId + 1, std::memory_order_release);
}

inline U32 TraceFile::described(MessageId const& messageId) const noexcept {
    const U32 id = messageId.load(std::memory_order_relaxed);
    return id < descriptorCount_.load(std::memory_order_relaxed) ? id : 0;
}

inline void TraceFile::push(Lane& lane, LaneHeader& header, U64 depth) noexcept {
    lane.depth = depth + 1;
    atomic(header.depth).store(depth + 1, std::memory_order_release);
}

// The clock is read last where a block begins and first where it ends, so that no block is charged
// for its own record.
U64 TraceFile::blockBegins(MessageId const& messageId) noexcept {
    const Writing writing(*this);
    Lane* const lane = writing.lane();
    if (!lane) [[unlikely]]
        return monotonicTime();
    // All of the lane is loaded before the frame is stored: a load waits for an earlier store whose
    // address has the same last twelve bits, as they can have in memory of the user's choice.
    BlockRecord* const frame = lane->top;
    const U64 depth = lane->depth;
    LaneHeader* const header = lane->header;
    const U16 index = lane->index;
    const U32 id = described(messageId);
    if (frame == lane->framesEnd) [[unlikely]] {
        push(*lane, *header, depth);
        return monotonicTime();
    }
    RecordWords words(*frame);
    U16 attribute = 0;
    U32 typeId = 0;
    if (depth != 0) {
        const RecordWords around(frame[-1]);
        attribute = attributeIn(around.own(messageWord));
        typeId = typeIdIn(around.own(typeWord));
        words.aboutTheSame(around);
    } else {
        words.aboutNothing();
    }
    words.store(messageWord, word(id, attribute, index));
    words.store(typeWord, word(typeId, static_cast<U16>(depth), octets(BlockKind::handler)));
    const U64 begin = monotonicTime();
    words.store(beginWord, begin);
    lane->top = frame + 1;
    push(*lane, *header, depth);
    return begin;
}

U64 TraceFile::blockBegins(MessageId const& messageId, BlockKind kind,
                           Zel::Activity const& activity) noexcept {
    const U64 begin = monotonicTime();
    const Writing writing(*this);
    Lane* const lane = writing.lane();
    if (!lane) [[unlikely]]
        return begin;
    const U64 depth = lane->depth;
    if (lane->top != lane->framesEnd) [[likely]] {
        Zel::TypeNode const& type = *activity.entity.fwkType();
        BlockRecord about{};
        Zel::GenericIf const* const generic = type.genericIf();
        if (generic && generic->keyView)
            about.entityKey = keyImage(generic->keyView(activity.entity));
        about.entity = reinterpret_cast<std::uintptr_t>(&activity.entity);
        Zel::AttributeInfo const* const attribute = type.attribute(activity.attribute);
        if (activity.key && attribute && attribute->keyView)
            about.key = keyImage(attribute->keyView(activity.key));
        RecordWords words(*lane->top);
        words.about(about);
        words.store(beginWord, begin);
        words.store(messageWord,
                    word(described(messageId), static_cast<U16>(activity.attribute), lane->index));
        words.store(typeWord,
                    word(described(type.traceId()), static_cast<U16>(depth), octets(kind)));
        ++lane->top;
    }
    push(*lane, *lane->header, depth);
    return begin;
}

void TraceFile::blockEnds(MessageId const& messageId, U64 begin) noexcept {
    const U64 end = monotonicTime();
    const Writing writing(*this);
    Lane* const lane = writing.lane();
    if (!lane) [[unlikely]] {
        recordIsLost();
        return;
    }
    U64 depth = lane->depth;
    BlockRecord* const frame = lane->top - 1;
    if (depth == 0 || depth > framesPerLane_ || RecordWords(*frame).own(beginWord) != begin)
        [[unlikely]] {
        blockWithoutFrameEnds(*lane, messageId, begin, end);
        return;
    }
    lane->top = frame;
    lane->depth = --depth;
    record(*lane, depth, begin, end, [&](RecordWords words) {
        const RecordWords from(*frame);
        words.store(messageWord, from.own(messageWord));
        words.store(typeWord, from.own(typeWord));
        words.aboutTheSame(from);
    });
}

// Entered without the lane or with other memory, or deeper than frames are kept.
[[gnu::cold]] void TraceFile::blockWithoutFrameEnds(Lane& lane, MessageId const& messageId,
                                                    U64 begin, U64 end) noexcept {
    if (lane.depth > framesPerLane_)
        --lane.depth;
    record(lane, lane.depth, begin, end, [&](RecordWords words) {
        words.store(messageWord, word(described(messageId), 0, lane.index));
        words.store(typeWord, word(0, static_cast<U16>(std::min(lane.depth, deepestTold)), 0));
        words.aboutNothing();
    });
}

[[gnu::cold]] void TraceFile::recordIsLost() noexcept {
    const std::lock_guard lock(mutex_);
    if (isOn())
        atomic(header_->lostRecords).fetch_add(1, std::memory_order_relaxed);
}

// In the order in which TraceFormat.h promises it to readers of a living process.
template <class Describe>
inline void TraceFile::record(Lane& lane, U64 depth, U64 begin, U64 end,
                              Describe const& describe) noexcept {
    if (lane.place == lane.chunkEnd) [[unlikely]]
        nextChunk(lane);
    BlockRecord& place = *lane.place++;
    const U64 sequence = lane.sequence++;
    const U64 recordCount = ++lane.recordCount;
    LaneHeader* const header = lane.header;
    atomic(place.sequence).store(sequence | BlockRecord::beingWritten, std::memory_order_relaxed);
    RecordWords words(place);
    words.store(beginWord, begin);
    words.store(endWord, end);
    describe(words);
    atomic(place.sequence).store(sequence, std::memory_order_release);
    atomic(header->recordCount).store(recordCount, std::memory_order_relaxed);
    atomic(header->depth).store(depth, std::memory_order_release);
}

void TraceFile::nextChunk(Lane& lane) noexcept {
    const std::lock_guard lock(chunkMutex_);
    // A lane without a chunk has 0, which is no chunk's place in the ring: each begins one above a
    // multiple of its size, and the ring holds whole ones.
    const auto isFilled = [&](U64 chunk) {
        return std::any_of(lanes_.data(), lanes_.data() + laneCount_, [&](Lane const& other) {
            const U64 theirs = other.chunk.load(std::memory_order_relaxed);
            return &other != &lane && theirs % ringCapacity_ == chunk % ringCapacity_;
        });
    };
    U64 chunk = nextSequence_;
    while (isFilled(chunk))
        chunk += chunkSize_;
    nextSequence_ = chunk + chunkSize_;
    atomic(header_->nextSequence).store(nextSequence_, std::memory_order_release);
    lane.chunk.store(chunk, std::memory_order_relaxed);
    lane.sequence = chunk;
    lane.place = ring_ + (chunk - 1) % ringCapacity_;
    lane.chunkEnd = lane.place + chunkSize_;
}

} // namespace Fennic
