#include "framework/fennic/TraceFile.h"

#include "framework/zel/Exception.h"
#include "framework/zel/Trace.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <thread>

#include <time.h>
#include <unistd.h>

namespace Fennic {
namespace {

constexpr std::size_t highestDescriptorsSize = 64UL * 1024;
constexpr std::string_view unknownMessage = "(no room for the descriptor)";

static_assert(std::atomic_ref<U64>::is_always_lock_free);
static_assert(std::atomic_ref<U64>::required_alignment <= TraceFile::memoryAlignment);

U64 nanoseconds(clockid_t clock) noexcept {
    timespec time;
    ::clock_gettime(clock, &time);
    return static_cast<U64>(time.tv_sec) * 1'000'000'000 + static_cast<U64>(time.tv_nsec);
}

std::atomic_ref<U64> atomic(U64& word) noexcept { return std::atomic_ref(word); }

std::atomic_ref<U32> atomic(U32& word) noexcept { return std::atomic_ref(word); }

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

} // namespace

U64 monotonicTime() noexcept { return std::max(nanoseconds(CLOCK_MONOTONIC), U64{1}); }

void TraceFile::memoryIs(std::span<std::byte> memory) {
    if (memory.data() == nullptr || memory.empty()) {
        const std::lock_guard lock(mutex_);
        detach();
        return;
    }
    checkMemory(memory);

    const std::lock_guard lock(mutex_);
    detach();
    std::ranges::fill(memory, std::byte{0});

    auto* header = ::new (memory.data()) FileHeader{};
    std::ranges::copy(FileHeader::magicText, header->magic);
    header->version = FileHeader::currentVersion;
    header->headerSize = sizeof(FileHeader);
    header->clock = FileHeader::clockMonotonic;
    header->memorySize = memory.size();
    header->descriptorsOffset = sizeof(FileHeader);
    header->descriptorsSize =
        static_cast<U32>(std::min(memory.size() / 4, highestDescriptorsSize) & ~std::size_t{7});
    header->ringOffset = header->descriptorsOffset + header->descriptorsSize;
    header->recordSize = sizeof(BlockRecord);
    header->ringCapacity = (memory.size() - header->ringOffset) / sizeof(BlockRecord);
    header->nextSequence = 1;
    header->attachedAt = monotonicTime();
    header->attachedAtRealtime = nanoseconds(CLOCK_REALTIME);
    header->processId = static_cast<U32>(::getpid());

    ring_ = reinterpret_cast<BlockRecord*>(memory.data() + header->ringOffset);
    ringCapacity_ = header->ringCapacity;
    descriptorCount_.store(0, std::memory_order_relaxed);
    descriptorsEnd_ = memory.data() + header->descriptorsOffset;
    writeDescriptor(*header, 0, unknownMessage, {}, 0);
    U32 messageId = 0;
    for (Message const& message : messages_)
        writeDescriptor(*header, ++messageId, message.text, message.sourceFileName, message.line);
    atomic(header->orderMark).store(FileHeader::orderMarkValue, std::memory_order_release);
    header_.store(header);
}

void TraceFile::detach() noexcept {
    header_.store(nullptr);
    // A writer counts itself before it looks at the header: once none is counted, none has the
    // memory any more.
    while (writers_.load() != 0)
        std::this_thread::yield();
}

void TraceFile::messageIs(MessageId& messageId, std::string_view text,
                          std::string_view sourceFileName, unsigned line) {
    const std::lock_guard lock(mutex_);
    if (messageId.load(std::memory_order_relaxed) != 0)
        return;
    messages_.push_back({std::string(text), std::string(sourceFileName), line});
    const U32 id = static_cast<U32>(messages_.size());
    if (FileHeader* header = header_.load(std::memory_order_relaxed))
        writeDescriptor(*header, id, text, sourceFileName, line);
    messageId.store(id, std::memory_order_release);
}

void TraceFile::writeDescriptor(FileHeader& header, U32 messageId, std::string_view text,
                                std::string_view sourceFileName, unsigned line) noexcept {
    const std::size_t size =
        (sizeof(Descriptor) + text.size() + sourceFileName.size() + 7) & ~std::size_t{7};
    const auto room =
        static_cast<std::size_t>(reinterpret_cast<std::byte*>(ring_) - descriptorsEnd_);
    // Without gaps, so that a message has its descriptor when its identifier is below the count.
    if (descriptorCount_.load(std::memory_order_relaxed) != messageId || size > room) {
        atomic(header.descriptorsMissing).fetch_add(1, std::memory_order_relaxed);
        return;
    }
    auto* descriptor = ::new (descriptorsEnd_)
        Descriptor{.size = static_cast<U32>(size),
                   .messageId = messageId,
                   .line = line,
                   .textSize = static_cast<U32>(text.size()),
                   .sourceFileSize = static_cast<U32>(sourceFileName.size()),
                   .reserved = 0};
    auto* octets = reinterpret_cast<char*>(descriptor + 1);
    std::ranges::copy(sourceFileName, std::ranges::copy(text, octets).out);
    descriptorsEnd_ += size;
    atomic(header.descriptorCount).store(messageId + 1, std::memory_order_release);
    descriptorCount_.store(messageId + 1, std::memory_order_release);
}

void TraceFile::blockIs(MessageId const& messageId, U64 begin) noexcept {
    const U64 end = monotonicTime();
    writers_.fetch_add(1);
    if (FileHeader* header = header_.load()) {
        const U64 sequence = atomic(header->nextSequence).fetch_add(1, std::memory_order_relaxed);
        BlockRecord& record = ring_[(sequence - 1) % ringCapacity_];
        U64 found = atomic(record.sequence).load(std::memory_order_relaxed);
        if (found < sequence && // neither newer nor being written
            atomic(record.sequence)
                .compare_exchange_strong(found, sequence | BlockRecord::beingWritten,
                                         std::memory_order_acquire, std::memory_order_relaxed)) {
            const U32 id = messageId.load(std::memory_order_relaxed);
            const bool described = id < descriptorCount_.load(std::memory_order_relaxed);
            // Release: none of these stores is seen before the mark above.
            atomic(record.begin).store(begin, std::memory_order_release);
            atomic(record.end).store(end, std::memory_order_release);
            atomic(record.messageId).store(described ? id : 0, std::memory_order_release);
            atomic(record.sequence).store(sequence, std::memory_order_release);
        } else {
            atomic(header->lostRecords).fetch_add(1, std::memory_order_relaxed);
        }
    }
    writers_.fetch_sub(1, std::memory_order_release);
}

} // namespace Fennic
