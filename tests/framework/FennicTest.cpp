#include "framework/fennic/BlockTimer.h"
#include "framework/fennic/MsgDesc.h"
#include "framework/fennic/ThreadBarrier.h"
#include "framework/fennic/TraceFile.h"

#include "framework/zel/Exception.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/ToyModel.h"
#include "tests/framework/TraceReader.h"
#include "tests/framework/Watcher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <linux/filter.h>
#include <linux/membarrier.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Fennic::BlockPlace;
using Fennic::BlockRecord;
using Fennic::BlockTimerSelf;
using Fennic::MessageId;
using Fennic::monotonicTime;
using Fennic::MsgDesc;
using Fennic::TraceFile;
using Fennic::U32;
using Fennic::U64;
using Texts = std::vector<std::string>;

constexpr std::size_t smallest = TraceFile::minimumMemorySize;

/// Memory of exactly that size, filled with something that is no trace.
class Memory {
  public:
    explicit Memory(std::size_t size)
        : words_(std::make_unique<U64[]>(size / sizeof(U64)))
        , octets_(std::as_writable_bytes(std::span(words_.get(), size / sizeof(U64)))) {
        std::ranges::fill(octets_, std::byte{0xa5});
    }
    std::span<std::byte> octets() const { return octets_; }
    std::vector<std::byte> copy() const { return {octets_.begin(), octets_.end()}; }
    TraceReader read() const { return TraceReader(octets_); }

    /// The record at a place of the ring, for disturbing it.
    BlockRecord& record(std::size_t place) const {
        return *reinterpret_cast<BlockRecord*>(octets_.data() + read().header().ringOffset +
                                               place * sizeof(BlockRecord));
    }

  private:
    std::unique_ptr<U64[]> words_;
    std::span<std::byte> octets_;
};

/// The default file, writing into memory for as long as this lives.
class DefaultFileOn {
  public:
    explicit DefaultFileOn(Memory const& memory) {
        Fennic::defaultTraceFile().memoryIs(memory.octets());
    }
    DefaultFileOn(DefaultFileOn const&) = delete;
    DefaultFileOn& operator=(DefaultFileOn const&) = delete;
    ~DefaultFileOn() { Fennic::defaultTraceFile().memoryIs({}); }
};

void describe(TraceFile& file, MessageId& messageId, std::string_view text) {
    MsgDesc message(file, &messageId, "FennicTest.cpp", 1);
    message << text;
    message.finish();
}

// Memory

TEST(MonotonicTime, IsTheSystemsMonotonicClockInNanoseconds) {
    const auto now = [] {
        timespec time;
        ::clock_gettime(CLOCK_MONOTONIC, &time);
        return static_cast<U64>(time.tv_sec) * 1'000'000'000 + static_cast<U64>(time.tv_nsec);
    };
    const U64 before = now();
    const U64 between = monotonicTime();
    EXPECT_GE(between, before);
    EXPECT_LE(between, now());
}

TEST(TraceFile, IsOffUntilMemoryIsAttached) {
    const Memory memory(smallest);
    TraceFile file;
    EXPECT_FALSE(file.isOn());
    file.memoryIs(memory.octets());
    EXPECT_TRUE(file.isOn());
    file.memoryIs({});
    EXPECT_FALSE(file.isOn());
    file.memoryIs({});
    EXPECT_FALSE(file.isOn());
    file.memoryIs(memory.octets());
    file.memoryIs(memory.octets().first(0));
    EXPECT_FALSE(file.isOn());
    file.memoryIs(memory.octets());
    file.memoryIs({static_cast<std::byte*>(nullptr), smallest});
    EXPECT_FALSE(file.isOn());
}

TEST(TraceFile, IsOnHoweverOftenMemoryHasBeenAttached) {
    const Memory memory(smallest);
    TraceFile file;
    MessageId messageId{0};
    describe(file, messageId, "block");
    for (unsigned times = 1; times <= 8; ++times) {
        file.memoryIs(memory.octets());
        ASSERT_TRUE(file.isOn()) << times;
        { const BlockTimerSelf timer(file, messageId); }
        EXPECT_EQ(memory.read().records().size(), 1u) << times;
    }
}

TEST(TraceFile, RefusesMemoryThatIsTooSmallOrMisalignedAndNamesTheMinimum) {
    const Memory memory(2 * smallest);
    TraceFile file;
    file.memoryIs(memory.octets().last(smallest));
    const std::vector<std::byte> before = memory.copy();
    try {
        file.memoryIs(memory.octets().first(smallest - 1));
        ADD_FAILURE();
    } catch (Zel::RangeException const& refused) {
        EXPECT_STREQ(refused.what(),
                     "memory for a trace file has to be 16384 octets or more, aligned to 8: given "
                     "were 16383");
    }
    for (const std::size_t offset : {1U, 2U, 4U})
        EXPECT_THROW(file.memoryIs(memory.octets().subspan(offset, smallest)), Zel::RangeException);
    EXPECT_THROW(file.memoryIs(memory.octets().first(1)), Zel::RangeException);
    EXPECT_EQ(memory.copy(), before);
    EXPECT_TRUE(file.isOn());
}

TEST(TraceFile, TheHeaderTellsHowTheMemoryIsLaidOut) {
    struct Layout {
        std::size_t size;
        U32 lanes;
        U32 frames;
        U32 chunk;
    };
    for (auto const& [size, lanes, frames, chunk] :
         {Layout{16384, 2, 24, 16}, Layout{16392, 2, 24, 16}, Layout{262136, 2, 24, 16},
          Layout{262144, 8, 64, 64}, Layout{std::size_t{1} << 20, 8, 64, 64}}) {
        const Memory memory(size);
        TraceFile file;
        const U64 before = monotonicTime();
        file.memoryIs(memory.octets());
        const U64 after = monotonicTime();

        const Fennic::FileHeader header = memory.read().header();
        EXPECT_EQ(std::string(header.magic, 8), "FENNIC\r\n");
        EXPECT_EQ(header.orderMark, 0x01020304u);
        EXPECT_EQ(header.version, 2u);
        EXPECT_EQ(header.headerSize, 128u);
        EXPECT_EQ(header.clock, 1u);
        EXPECT_EQ(header.memorySize, size);
        EXPECT_EQ(header.lanesOffset, 128u);
        EXPECT_EQ(header.laneCount, lanes);
        EXPECT_EQ(header.framesPerLane, frames);
        EXPECT_EQ(header.laneSize, 32 + frames * 96);
        EXPECT_EQ(header.descriptorsOffset, 128 + lanes * header.laneSize);
        EXPECT_EQ(header.descriptorsSize, std::min<std::size_t>(size / 4, 65536) / 8 * 8);
        EXPECT_EQ(header.ringOffset, header.descriptorsOffset + header.descriptorsSize);
        EXPECT_EQ(header.recordSize, 96u);
        EXPECT_EQ(header.chunkSize, chunk);
        EXPECT_EQ(header.ringCapacity, (size - header.ringOffset) / 96 / chunk * chunk);
        EXPECT_GT(header.ringCapacity / chunk, lanes);
        EXPECT_EQ(header.nextSequence, 1u);
        EXPECT_EQ(header.lostRecords, 0u);
        EXPECT_EQ(header.descriptorCount, 1u);
        EXPECT_EQ(header.descriptorsMissing, 0u);
        EXPECT_GE(header.attachedAt, before);
        EXPECT_LE(header.attachedAt, after);
        EXPECT_GT(header.attachedAtRealtime, U64{1'600'000'000'000'000'000});
        EXPECT_EQ(header.processId, static_cast<U32>(::getpid()));
        EXPECT_TRUE(std::ranges::all_of(header.reserved, [](U32 word) { return word == 0; }));
        for (U32 lane = 0; lane < lanes; ++lane) {
            EXPECT_EQ(memory.read().lane(lane).threadId, 0u);
            EXPECT_EQ(memory.read().lane(lane).depth, 0u);
            EXPECT_EQ(memory.read().lane(lane).recordCount, 0u);
        }
    }
}

TEST(TraceFile, HasMoreLanesFrom256KibioctetsOn) {
    const Memory memory(262144);
    TraceFile file;
    file.memoryIs(memory.octets().first(262143));
    EXPECT_EQ(TraceReader(memory.octets().first(262143)).header().laneCount, 2u);
    file.memoryIs(memory.octets());
    EXPECT_EQ(memory.read().header().laneCount, TraceFile::maxLanes);
}

TEST(TraceFile, DescribesAClassByItsAttributes) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId messageId{0};
    file.typeIs(messageId, Toy::Record::_zelType);
    const TraceReader::Message message = memory.read().messages().back();
    EXPECT_EQ(message.text, "Toy::Record");
    EXPECT_EQ(message.line, 0u);
    EXPECT_EQ(message.kind, Fennic::DescriptorKind::type);
    const std::string& attributes = message.sourceFileName;
    EXPECT_TRUE(attributes.starts_with("258\ttitle\tZel::String\n259\trevision\tunsigned int\n"))
        << attributes;
    EXPECT_NE(attributes.find("\n264\tgroup\t"), attributes.npos) << attributes;
    EXPECT_NE(attributes.find("\tZel::Name\n265\tvalid\tbool\n"), attributes.npos) << attributes;
}

TEST(TraceFile, AttachingTheSameMemoryAgainBeginsAnew) {
    const Memory memory(smallest);
    TraceFile file;
    MessageId messageId{0};
    file.memoryIs(memory.octets());
    describe(file, messageId, "kept");
    file.blockEnds(messageId, 1);
    file.memoryIs(memory.octets());
    EXPECT_EQ(memory.read().records().size(), 0u);
    ASSERT_EQ(memory.read().messages().size(), 2u);
    file.blockEnds(messageId, 2);
    EXPECT_EQ(memory.read().texts(), Texts{"kept"});
    EXPECT_EQ(memory.read().records()[0].sequence, 1u);
}

TEST(TraceFile, AttachingMemoryAllocatesNothing) {
    const Memory memory(smallest);
    TraceFile file;
    MessageId messageId{0};
    describe(file, messageId, "a message that is longer than a string holds in itself");
    const std::size_t before = FailingAllocation::made();
    file.memoryIs(memory.octets());
    EXPECT_EQ(FailingAllocation::made(), before);
    EXPECT_EQ(memory.read().messages().size(), 2u);
}

TEST(TraceFile, AttachingOtherMemoryTakesAllMessagesAlong) {
    const Memory first(smallest);
    const Memory second(2 * smallest);
    TraceFile file;
    MessageId offId{0};
    MessageId onId{0};
    describe(file, offId, "described while off");
    file.memoryIs(first.octets());
    describe(file, onId, "described while on");
    file.blockEnds(offId, 1);
    const std::vector<std::byte> before = first.copy();

    file.memoryIs(second.octets());
    file.blockEnds(onId, 2);
    file.blockEnds(offId, 3);
    EXPECT_EQ(first.copy(), before);
    EXPECT_EQ(first.read().texts(), Texts{"described while off"});
    EXPECT_EQ(second.read().texts(), (Texts{"described while on", "described while off"}));
    EXPECT_EQ(second.read().messages().size(), 3u);
}

TEST(TraceFile, AMessageWithoutRoomIsRecordedAsSuchAndCounted) {
    const Memory small(smallest);
    TraceFile file;
    file.memoryIs(small.octets());
    std::vector<MessageId> ids(20);
    for (std::size_t i = 0; i < ids.size(); ++i)
        describe(file, ids[i], std::string(400, static_cast<char>('a' + i)));
    for (MessageId const& id : ids)
        file.blockEnds(id, 1);

    const TraceReader reader = small.read();
    const std::size_t written = reader.messages().size() - 1;
    EXPECT_GT(written, 4u);
    EXPECT_LT(written, ids.size());
    EXPECT_EQ(reader.header().descriptorsMissing, ids.size() - written);
    ASSERT_EQ(reader.records().size(), ids.size());
    for (std::size_t i = 0; i < ids.size(); ++i) {
        EXPECT_EQ(reader.text(reader.records()[i]),
                  i < written ? std::string(400, static_cast<char>('a' + i))
                              : "(no room for the descriptor)");
    }

    // A shorter one that would fit does not overtake: identifiers below the count are described.
    MessageId shortId{0};
    describe(file, shortId, "s");
    EXPECT_EQ(small.read().messages().size(), written + 1);
    EXPECT_EQ(small.read().header().descriptorsMissing, ids.size() - written + 1);

    const Memory large(65536);
    file.memoryIs(large.octets());
    for (MessageId const& id : ids)
        file.blockEnds(id, 1);
    file.blockEnds(shortId, 1);
    ASSERT_EQ(large.read().records().size(), ids.size() + 1);
    EXPECT_EQ(large.read().header().descriptorsMissing, 0u);
    for (std::size_t i = 0; i < ids.size(); ++i)
        EXPECT_EQ(large.read().texts()[i], std::string(400, static_cast<char>('a' + i)));
    EXPECT_EQ(large.read().texts().back(), "s");
}

// Messages

TEST(MsgDesc, ComposesTheTextAndRegistersItWithFinish) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId messageId{0};
    {
        MsgDesc message(file, &messageId, "StpTxStatusSyncer.cpp", 212);
        message << "Varnol::TxStatusToRxSyncer::handleTxMstStatus" << Zel::String("():") << 212u;
        EXPECT_EQ(memory.read().messages().size(), 1u);
        EXPECT_EQ(messageId, 0u);
        message.finish();
        EXPECT_EQ(messageId, 1u);
    }
    ASSERT_EQ(memory.read().messages().size(), 2u);
    EXPECT_EQ(memory.read().messages()[1].text,
              "Varnol::TxStatusToRxSyncer::handleTxMstStatus():212");
    EXPECT_EQ(memory.read().messages()[1].sourceFileName, "StpTxStatusSyncer.cpp");
    EXPECT_EQ(memory.read().messages()[1].line, 212u);
}

TEST(MsgDesc, RegistersNothingWithoutFinish) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId messageId{0};
    {
        MsgDesc message(file, &messageId, "File.cpp", 1);
        message << "abandoned";
    }
    EXPECT_EQ(messageId, 0u);
    EXPECT_EQ(memory.read().messages().size(), 1u);
}

TEST(MsgDesc, AMessageThatHasAnIdentifierIsNotRegisteredAgain) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId messageId{0};
    describe(file, messageId, "first");
    describe(file, messageId, "again");
    EXPECT_EQ(messageId, 1u);
    ASSERT_EQ(memory.read().messages().size(), 2u);
    EXPECT_EQ(memory.read().messages()[1].text, "first");
}

// Records

TEST(BlockTimer, LeavesOneRecordWithTheTimesOfEntryAndExit) {
    const Memory memory(smallest);
    TraceFile file;
    MessageId messageId{0};
    describe(file, messageId, "block");
    file.memoryIs(memory.octets());
    const U64 before = monotonicTime();
    U64 within = 0;
    {
        const BlockTimerSelf timer(file, messageId);
        within = monotonicTime();
        EXPECT_EQ(memory.read().records().size(), 0u);
    }
    const U64 after = monotonicTime();
    ASSERT_EQ(memory.read().records().size(), 1u);
    const BlockRecord record = memory.read().records()[0];
    EXPECT_EQ(record.sequence, 1u);
    EXPECT_EQ(record.messageId, messageId);
    EXPECT_EQ(record.kind, Fennic::BlockKind::handler);
    EXPECT_EQ(record.lane, 0u);
    EXPECT_EQ(record.depth, 0u);
    EXPECT_EQ(record.entity, 0u);
    EXPECT_EQ(record.attribute, 0u);
    EXPECT_EQ(record.typeId, 0u);
    EXPECT_EQ(record.entityKey.kind, Fennic::KeyImage::none);
    EXPECT_EQ(record.key.kind, Fennic::KeyImage::none);
    EXPECT_EQ(record.reserved, 0u);
    EXPECT_LE(before, record.begin);
    EXPECT_LE(record.begin, within);
    EXPECT_LE(within, record.end);
    EXPECT_LE(record.end, after);
}

TEST(BlockTimer, AnInnerBlockIsRecordedFirstAndLiesWithinTheOuter) {
    const Memory memory(smallest);
    TraceFile file;
    MessageId outerId{0};
    MessageId innerId{0};
    describe(file, outerId, "outer");
    describe(file, innerId, "inner");
    file.memoryIs(memory.octets());
    {
        const BlockTimerSelf outer(file, outerId);
        const BlockTimerSelf inner(file, innerId);
    }
    EXPECT_EQ(memory.read().texts(), (Texts{"inner", "outer"}));
    const std::vector<BlockRecord> records = memory.read().records();
    EXPECT_LE(records[1].begin, records[0].begin);
    EXPECT_LE(records[0].end, records[1].end);
}

TEST(BlockTimer, ABlockLeftByAnExceptionIsRecorded) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId messageId{0};
    describe(file, messageId, "thrown out of");
    const auto block = [&] {
        const BlockTimerSelf timer(file, messageId);
        throw std::runtime_error("left");
    };
    EXPECT_THROW(block(), std::runtime_error);
    EXPECT_EQ(memory.read().texts(), Texts{"thrown out of"});
}

TEST(BlockTimer, ABlockEnteredWhileOffIsNotRecorded) {
    const Memory memory(smallest);
    TraceFile file;
    MessageId messageId{0};
    describe(file, messageId, "block");
    {
        const BlockTimerSelf timer(file, messageId);
        file.memoryIs(memory.octets());
    }
    EXPECT_EQ(memory.read().records().size(), 0u);
}

TEST(BlockTimer, ABlockThatEndsAfterDetachingTouchesNoMemory) {
    const Memory memory(smallest);
    TraceFile file;
    MessageId messageId{0};
    describe(file, messageId, "block");
    void* page =
        ::mmap(nullptr, smallest, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(page, MAP_FAILED);
    std::vector<std::byte> detached;
    {
        file.memoryIs(memory.octets());
        const BlockTimerSelf first(file, messageId);
        file.memoryIs({static_cast<std::byte*>(page), smallest});
        const BlockTimerSelf second(file, messageId);
        file.memoryIs({});
        detached = memory.copy();
        ASSERT_EQ(::munmap(page, smallest), 0);
    }
    EXPECT_EQ(memory.copy(), detached);
}

TEST(BlockTimer, ABlockThatEndsWithOtherMemoryIsRecordedThere) {
    const Memory first(smallest);
    const Memory second(smallest);
    TraceFile file;
    MessageId messageId{0};
    describe(file, messageId, "moved");
    file.memoryIs(first.octets());
    {
        const BlockTimerSelf timer(file, messageId);
        file.memoryIs(second.octets());
    }
    EXPECT_EQ(first.read().texts(), Texts{});
    ASSERT_EQ(second.read().texts(), Texts{"moved"});
    EXPECT_LE(second.read().records()[0].begin, second.read().header().attachedAt);
}

TEST(BlockTimer, ABlockWithoutADescriptionIsRecordedAsSuch) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    const MessageId messageId{0};
    { const BlockTimerSelf timer(file, messageId); }
    EXPECT_EQ(memory.read().texts(), Texts{"(no room for the descriptor)"});
}

TEST(BlockTimer, NeitherARecordNorABlockWhileOffAllocates) {
    const Memory memory(smallest);
    TraceFile file;
    BlockPlace place{"void V::S::aFunctionOfALongName(int) const", "File.cpp", 1};
    const std::size_t before = FailingAllocation::made();
    for (unsigned i = 0; i < 100; ++i)
        const BlockTimerSelf timer(file, place);
    EXPECT_EQ(FailingAllocation::made(), before);

    file.memoryIs(memory.octets());
    { const BlockTimerSelf timer(file, place); }
    const std::size_t described = FailingAllocation::made();
    EXPECT_GT(described, before);
    for (unsigned i = 0; i < 1000; ++i)
        const BlockTimerSelf timer(file, place);
    EXPECT_EQ(FailingAllocation::made(), described);
    EXPECT_EQ(memory.read().recorded(), 1001u);
}

TEST(TraceFile, ANewRoundOfTheRingReplacesTheOldestRecords) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId messageId{0};
    const U64 capacity = memory.read().header().ringCapacity;
    for (U64 count : {capacity - 1, capacity, capacity + 1, 3 * capacity + 7}) {
        while (memory.read().recorded() < count)
            file.blockEnds(messageId, memory.read().recorded() + 1);
        const std::vector<BlockRecord> records = memory.read().records();
        ASSERT_EQ(records.size(), std::min(count, capacity));
        for (std::size_t i = 0; i < records.size(); ++i) {
            EXPECT_EQ(records[i].sequence, count - records.size() + 1 + i);
            EXPECT_EQ(records[i].begin, records[i].sequence);
        }
    }
    EXPECT_EQ(memory.read().header().lostRecords, 0u);
}

TEST(TraceFile, ARecordThatWasBeingWrittenIsNotValid) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId messageId{0};
    for (U64 begin = 1; begin <= 3; ++begin)
        file.blockEnds(messageId, begin);
    memory.record(1).sequence |= BlockRecord::beingWritten;
    const std::vector<BlockRecord> records = memory.read().records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].sequence, 1u);
    EXPECT_EQ(records[1].sequence, 3u);
}

TEST(TraceFile, AThreadLeavesAloneTheChunkThatAnotherFills) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId messageId{0};
    const Fennic::FileHeader header = memory.read().header();
    // Another thread begins the first chunk, and waits; this one writes three rounds.
    std::atomic<bool> begun{false};
    std::atomic<bool> goOn{false};
    std::thread other([&] {
        file.blockEnds(messageId, 1);
        begun = true;
        begun.notify_one();
        goOn.wait(false);
        file.blockEnds(messageId, 2);
    });
    begun.wait(false);
    for (U64 i = 0; i < 3 * header.ringCapacity; ++i)
        file.blockEnds(messageId, 1000 + i);
    goOn = true;
    goOn.notify_one();
    other.join();

    std::vector<U64> theirs;
    const TraceReader reader = memory.read();
    for (BlockRecord const& record : reader.records()) {
        EXPECT_EQ(record.lane, record.begin < 1000 ? 0u : 1u);
        if (record.lane == 0)
            theirs.push_back(record.sequence);
        else
            EXPECT_GE((record.sequence - 1) % header.ringCapacity, header.chunkSize);
    }
    EXPECT_EQ(theirs, (std::vector<U64>{1, 2}));
    EXPECT_EQ(memory.read().records().size(), header.ringCapacity - header.chunkSize + 2);
    EXPECT_EQ(memory.read().header().lostRecords, 0u);
}

TEST(TraceFile, AThreadFillsItsOwnFormerChunkAgain) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId messageId{0};
    const Fennic::FileHeader header = memory.read().header();
    // Another thread fills the first chunk, and this one all others: the next is the first again.
    std::atomic<bool> filled{false};
    std::atomic<bool> goOn{false};
    std::thread other([&] {
        for (U64 i = 0; i < header.chunkSize; ++i)
            file.blockEnds(messageId, 1);
        filled = true;
        filled.notify_one();
        goOn.wait(false);
        file.blockEnds(messageId, 2);
    });
    filled.wait(false);
    for (U64 i = header.chunkSize; i < header.ringCapacity; ++i)
        file.blockEnds(messageId, 1000 + i);
    goOn = true;
    goOn.notify_one();
    other.join();

    const TraceReader reader = memory.read();
    EXPECT_EQ(reader.records().back().begin, 2u);
    EXPECT_EQ(reader.records().back().sequence, header.ringCapacity + 1);
}

TEST(TraceFile, BlocksOfThreadsWithoutALaneAreCountedAsLost) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId messageId{0};
    describe(file, messageId, "block");
    const auto block = [&] { const BlockTimerSelf timer(file, messageId); };
    block();
    std::atomic<bool> begun{false};
    std::atomic<bool> goOn{false};
    std::thread second([&] {
        block();
        begun = true;
        begun.notify_one();
        goOn.wait(false);
    });
    begun.wait(false);
    std::thread(block).join(); // a third one
    EXPECT_EQ(memory.read().header().lostRecords, 1u);
    EXPECT_EQ(memory.read().recorded(), 2u);
    goOn = true;
    goOn.notify_one();
    second.join();

    // A thread that ends leaves its lane to others.
    std::thread(block).join();
    std::thread(block).join();
    EXPECT_EQ(memory.read().header().lostRecords, 1u);
    EXPECT_EQ(memory.read().lane(1).recordCount, 3u);
}

/// Threads that have a lane each of a small file, until the object goes.
class LanesTaken {
  public:
    explicit LanesTaken(TraceFile& file) {
        for (unsigned lane = 0; lane < 2; ++lane)
            threads_.emplace_back([&] {
                MessageId messageId{0};
                file.blockEnds(messageId, 1);
                ++begun_;
                goOn_.wait(false);
            });
        while (begun_ != threads_.size())
            std::this_thread::yield();
    }
    LanesTaken(LanesTaken const&) = delete;
    LanesTaken& operator=(LanesTaken const&) = delete;
    ~LanesTaken() {
        goOn_ = true;
        goOn_.notify_all();
        for (std::thread& thread : threads_)
            thread.join();
    }

  private:
    std::atomic<unsigned> begun_{0};
    std::atomic<bool> goOn_{false};
    std::vector<std::thread> threads_;
};

TEST(TraceFile, ThreadsThatEndLeaveTheirLanesToOnesThatWereThereBefore) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId messageId{0};
    {
        const LanesTaken taken(file);
        file.blockEnds(messageId, 1);
        EXPECT_EQ(memory.read().header().lostRecords, 1u);
    }
    file.blockEnds(messageId, 1);
    EXPECT_EQ(memory.read().header().lostRecords, 1u);
    EXPECT_EQ(memory.read().recorded(), 3u);
}

TEST(TraceFile, ABlockWithoutALaneIsNotWrittenIntoTheFileThatItsThreadUsedBefore) {
    const Memory memories[2] = {Memory(smallest), Memory(smallest)};
    TraceFile files[2];
    MessageId messageId{0};
    for (std::size_t i : {0U, 1U})
        files[i].memoryIs(memories[i].octets());
    const LanesTaken taken(files[1]);
    files[0].blockEnds(messageId, 1);
    files[1].blockEnds(messageId, 1);
    EXPECT_EQ(memories[0].read().recorded(), 1u);
    EXPECT_EQ(memories[1].read().recorded(), 2u);
    EXPECT_EQ(memories[1].read().header().lostRecords, 1u);
}

/// Does something when the thread that it belongs to ends.
struct AtTheEnd {
    explicit AtTheEnd(std::function<void()> action)
        : action_(std::move(action)) {}
    AtTheEnd(AtTheEnd const&) = delete;
    AtTheEnd& operator=(AtTheEnd const&) = delete;
    ~AtTheEnd() { action_(); }

  private:
    std::function<void()> action_;
};

TEST(TraceFile, ABlockThatAThreadEntersBehindTheEndOfItsLaneIsLost) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId messageId{0};
    std::thread([&] {
        // Made first, and so the last to end.
        const thread_local AtTheEnd last([&] { const BlockTimerSelf timer(file, messageId); });
        file.blockEnds(messageId, 1);
    }).join();
    EXPECT_EQ(memory.read().recorded(), 1u);
    EXPECT_EQ(memory.read().header().lostRecords, 1u);
    EXPECT_EQ(memory.read().lane(0).depth, 0u);
}

TEST(TraceFile, AThreadThatAttachesMemoryBehindTheEndOfItsLaneHasNoneThere) {
    const Memory memories[2] = {Memory(smallest), Memory(smallest)};
    TraceFile file;
    file.memoryIs(memories[0].octets());
    MessageId messageId{0};
    std::thread([&] {
        const thread_local AtTheEnd last([&] {
            file.memoryIs(memories[1].octets());
            file.blockEnds(messageId, 1);
        });
        file.blockEnds(messageId, 1);
    }).join();
    EXPECT_EQ(memories[0].read().recorded(), 1u);
    EXPECT_EQ(memories[1].read().recorded(), 0u);
    EXPECT_EQ(memories[1].read().header().lostRecords, 1u);
    EXPECT_EQ(memories[1].read().lane(0).threadId, 0u);
}

void writeIntoTwoFilesByTurns() {
    const Memory memories[2] = {Memory(smallest), Memory(smallest)};
    TraceFile files[2];
    MessageId ids[2]{{0}, {0}};
    for (std::size_t i : {0U, 1U}) {
        describe(files[i], ids[i], i == 0 ? "outer" : "inner");
        files[i].memoryIs(memories[i].octets());
    }
    for (unsigned round = 0; round < 3; ++round) {
        const BlockTimerSelf outer(files[0], ids[0]);
        const BlockTimerSelf inner(files[1], ids[1]);
        EXPECT_EQ(memories[0].read().open().size(), 1u);
        EXPECT_EQ(memories[1].read().open().size(), 1u);
    }
    EXPECT_EQ(memories[0].read().texts(), Texts(3, "outer"));
    EXPECT_EQ(memories[1].read().texts(), Texts(3, "inner"));
    EXPECT_EQ(memories[0].read().lane(1).threadId, 0u);
    EXPECT_EQ(memories[1].read().lane(1).threadId, 0u);
}

TEST(TraceFile, AThreadWritesIntoTwoFilesByTurns) { writeIntoTwoFilesByTurns(); }

TEST(TraceFile, OneThatIsSwitchedOffLeavesALaterOneOn) {
    const Memory memories[2] = {Memory(smallest), Memory(smallest)};
    TraceFile files[2];
    MessageId messageId{0};
    for (std::size_t i : {0U, 1U})
        files[i].memoryIs(memories[i].octets());
    files[0].memoryIs({});
    EXPECT_FALSE(files[0].isOn());
    EXPECT_TRUE(files[1].isOn());
    // Threads that end still give back their lanes of the later one, of which there are two.
    for (unsigned i = 0; i < 4; ++i)
        std::thread([&] { files[1].blockEnds(messageId, 1); }).join();
    EXPECT_EQ(memories[1].read().recorded(), 4u);
    EXPECT_EQ(memories[1].read().header().lostRecords, 0u);
}

/// Whether a thread of this process sleeps.
bool sleeps(pid_t thread) {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(status, text);
    const std::size_t name = text.rfind(')');
    return name != text.npos && text.substr(name, 3) == ") S";
}

TEST(TraceFile, AThreadThatWaitsForALaneWhileOtherMemoryIsAttachedWritesItsRecordOnce) {
    // Until ten times the memory came before the thread, which it seldom does on a busy machine.
    unsigned overtaken = 0;
    for (unsigned round = 0; overtaken < 10 && round < 1000; ++round) {
        const Memory first(smallest);
        const Memory second(smallest);
        TraceFile file;
        MessageId messageId{0};
        std::atomic<pid_t> id{0};
        std::thread writer;
        file.memoryIs(first.octets());
        {
            // The list of messages grows, and the file is locked meanwhile.
            const AtAllocation locked([&] {
                writer = std::thread([&] {
                    id = ::gettid();
                    file.blockEnds(messageId, 1);
                });
                while (id == 0 || !sleeps(id))
                    std::this_thread::yield();
            });
            file.messageIs(messageId, "a", "File.cpp", 1);
        }
        file.memoryIs(second.octets());
        writer.join();
        overtaken += second.read().recorded() == 1 ? 1 : 0;
        ASSERT_EQ(first.read().recorded() + second.read().recorded(), 1u);
        EXPECT_EQ(second.read().header().lostRecords, 0u);
        file.blockEnds(messageId, 2);
        EXPECT_EQ(second.read().texts().back(), "a");
    }
}

TEST(TraceFile, AThreadThatWaitsForALaneWhileTheMemoryIsTakenAwayLeavesItAlone) {
    for (unsigned round = 0; round < 10; ++round) {
        const Memory memory(smallest);
        TraceFile file;
        MessageId messageId{0};
        std::atomic<pid_t> id{0};
        std::thread writer;
        file.memoryIs(memory.octets());
        {
            const AtAllocation locked([&] {
                writer = std::thread([&] {
                    id = ::gettid();
                    file.blockEnds(messageId, 1);
                });
                while (id == 0 || !sleeps(id))
                    std::this_thread::yield();
            });
            file.messageIs(messageId, "a", "File.cpp", 1);
        }
        file.memoryIs({});
        const auto left = memory.copy();
        writer.join();
        EXPECT_EQ(memory.copy(), left);
    }
}

/// Has the system do one thing with that system call of this process, and another with any other.
bool filterSystemCalls(U32 systemCall, U32 actionForIt, U32 actionForOthers) {
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, systemCall, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, actionForIt),
        BPF_STMT(BPF_RET | BPF_K, actionForOthers),
    };
    const sock_fprog program{std::size(rules), rules};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

/// Why this system lets no process filter its system calls, in the system's own words; empty where
/// it does: there a filter that is null is a bad address. A filter that is refused for what it has
/// in it, or for another reason, is not missing, and fails the test.
std::string whyNoFilter() {
    errno = 0;
    ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, nullptr);
    if (errno == EFAULT)
        return {};
    return "no filter of system calls can be set: " + std::generic_category().message(errno);
}

/// Runs the action in a process of its own that any system call ends.
/// @return whether it came to its end
template <class Action> bool makesNoSystemCall(Action const& action) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (!filterSystemCalls(SYS_exit_group, SECCOMP_RET_ALLOW, SECCOMP_RET_KILL_PROCESS))
            ::raise(SIGKILL);
        action();
        ::syscall(SYS_exit_group, 0);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status);
}

/// Runs the action in a process of its own, in which the system refuses barriers, or ends the
/// process when it is asked for the one on the threads of a process.
/// @return how the process ended
template <class Action> int statusWithBarriers(bool refused, Action const& action) {
    const U32 ordered = refused ? SECCOMP_RET_ERRNO | U32{EPERM} : U32{SECCOMP_RET_KILL_PROCESS};
    const U32 other = refused ? ordered : U32{SECCOMP_RET_ALLOW};
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_membarrier, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[0])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0, 2),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[1])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, other),
        BPF_STMT(BPF_RET | BPF_K, ordered),
    };
    const sock_fprog program{std::size(rules), rules};
    const pid_t child = ::fork();
    if (child == 0) {
        if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
            ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
            ::raise(SIGKILL);
        ::_exit(action());
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

TEST(ThreadBarrier, IsToBeHadWhereTheSystemRegistersTheProcess) {
    EXPECT_EQ(Fennic::canHaveThreadsSynchronized(),
              ::syscall(SYS_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED, 0, 0) == 0);
    if (const std::string why = whyNoFilter(); !why.empty())
        GTEST_SKIP() << why;
    const int status =
        statusWithBarriers(true, [] { return Fennic::canHaveThreadsSynchronized() ? 1 : 7; });
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7) << status;
}

TEST(ThreadBarrier, IsTheSystemsForTheThreadsOfOneProcess) {
    if (const std::string why = whyNoFilter(); !why.empty())
        GTEST_SKIP() << why;
    const int status = statusWithBarriers(false, [] {
        Fennic::haveThreadsSynchronized();
        return 0;
    });
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS) << status;
}

TEST(TraceFile, HasAllThreadsExecuteABarrierWhenItsMemoryIsTakenAway) {
    if (const std::string why = whyNoFilter(); !why.empty())
        GTEST_SKIP() << why;
    if (!Fennic::canHaveThreadsSynchronized())
        GTEST_SKIP() << "the system has no barrier for all threads: "
                     << std::generic_category().message(errno);
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    const int status = statusWithBarriers(false, [&] {
        file.memoryIs({});
        return 0;
    });
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS) << status;
}

TEST(TraceFile, AsksForNoBarrierWhereThreadsCannotBeSynchronized) {
    if (const std::string why = whyNoFilter(); !why.empty())
        GTEST_SKIP() << why;
    // In a process that has attached no memory before, for that is when the system is asked.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto work = [] {
        if (!filterSystemCalls(SYS_membarrier, SECCOMP_RET_ERRNO | EPERM, SECCOMP_RET_ALLOW))
            std::abort();
        const Memory memory(smallest);
        TraceFile file;
        file.memoryIs(memory.octets());
        if (!filterSystemCalls(SYS_membarrier, SECCOMP_RET_KILL_PROCESS, SECCOMP_RET_ALLOW))
            std::abort();
        file.memoryIs({});
        std::exit(7);
    };
    EXPECT_EXIT(work(), testing::ExitedWithCode(7), "");
}

TEST(TraceFile, AThreadWritesIntoTheFirstTwoFilesOfItsProcessByTurns) {
    if (const std::string why = whyNoFilter(); !why.empty())
        GTEST_SKIP() << why;
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto work = [](bool refused) {
        if (refused &&
            !filterSystemCalls(SYS_membarrier, SECCOMP_RET_ERRNO | EPERM, SECCOMP_RET_ALLOW))
            std::abort();
        writeIntoTwoFilesByTurns();
        std::exit(::testing::Test::HasFailure() ? 1 : 7);
    };
    EXPECT_EXIT(work(false), testing::ExitedWithCode(7), "");
    EXPECT_EXIT(work(true), testing::ExitedWithCode(7), "");
}

/// A thread that has a lane writes while another has the file locked.
void writeWhileTheFileIsLocked() {
    const Memory memory(smallest);
    TraceFile file;
    MessageId writtenId{0};
    MessageId messageId{0};
    file.memoryIs(memory.octets());
    enum Step { begun, hasLane, isLocked, hasWritten };
    std::atomic<Step> step = begun;
    std::thread writer([&] {
        file.blockEnds(writtenId, 1);
        step = hasLane;
        step.notify_one();
        step.wait(hasLane);
        file.blockEnds(writtenId, 2);
        step = hasWritten;
    });
    step.wait(begun);
    bool waited = true;
    {
        // The list of messages grows, and the file is locked meanwhile.
        const AtAllocation locked([&] {
            step = isLocked;
            step.notify_one();
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
            while (step != hasWritten && std::chrono::steady_clock::now() < deadline)
                std::this_thread::yield();
            waited = step != hasWritten;
        });
        file.messageIs(messageId, "a", "File.cpp", 1);
    }
    writer.join();
    EXPECT_FALSE(waited);
    EXPECT_EQ(memory.read().recorded(), 2u);
}

TEST(TraceFile, AThreadThatHasALaneWritesWithoutALock) { writeWhileTheFileIsLocked(); }

TEST(TraceFile, AThreadThatHasALaneWritesWithoutALockWhereThreadsCannotBeSynchronized) {
    if (const std::string why = whyNoFilter(); !why.empty())
        GTEST_SKIP() << why;
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto work = [] {
        if (!filterSystemCalls(SYS_membarrier, SECCOMP_RET_ERRNO | EPERM, SECCOMP_RET_ALLOW))
            std::abort();
        writeWhileTheFileIsLocked();
        std::exit(::testing::Test::HasFailure() ? 1 : 7);
    };
    EXPECT_EXIT(work(), testing::ExitedWithCode(7), "");
}

TEST(TraceFile, NoRecordMakesASystemCall) {
    if (const std::string why = whyNoFilter(); !why.empty())
        GTEST_SKIP() << why;
    if (!makesNoSystemCall([] { monotonicTime(); }))
        GTEST_SKIP()
            << "reading the clock is a system call here: clock_gettime() is not in the vDSO";
    ASSERT_FALSE(makesNoSystemCall([] { ::getppid(); }));
    const Memory memory(smallest);
    TraceFile file;
    MessageId messageId{0};
    describe(file, messageId, "block");
    file.memoryIs(memory.octets());
    { const BlockTimerSelf first(file, messageId); } // takes the lane
    EXPECT_TRUE(makesNoSystemCall([&] {
        for (unsigned i = 0; i < 10'000; ++i) {
            const BlockTimerSelf outer(file, messageId);
            const BlockTimerSelf inner(file, messageId);
        }
    }));
}

TEST(TraceFile, ALaneNamesItsThread) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId messageId{0};
    U64 other = 0;
    file.blockEnds(messageId, 1);
    std::thread([&] {
        file.blockEnds(messageId, 2);
        other = static_cast<U64>(::gettid());
    }).join();
    EXPECT_EQ(memory.read().lane(0).threadId, static_cast<U64>(::gettid()));
    EXPECT_EQ(memory.read().lane(1).threadId, other);
}

// Open blocks

TEST(OpenBlocks, AreOnTheStackOfTheirLaneUntilTheyEnd) {
    const Memory memory(smallest);
    TraceFile file;
    MessageId outerId{0};
    MessageId innerId{0};
    describe(file, outerId, "outer");
    describe(file, innerId, "inner");
    file.memoryIs(memory.octets());
    EXPECT_EQ(memory.read().open().size(), 0u);
    {
        const BlockTimerSelf outer(file, outerId);
        {
            const BlockTimerSelf inner(file, innerId);
            const std::vector<BlockRecord> open = memory.read().open();
            ASSERT_EQ(open.size(), 2u);
            EXPECT_EQ(memory.read().text(open[0]), "outer");
            EXPECT_EQ(memory.read().text(open[1]), "inner");
            EXPECT_EQ(open[0].depth, 0u);
            EXPECT_EQ(open[1].depth, 1u);
            EXPECT_LE(open[0].begin, open[1].begin);
            EXPECT_EQ(open[1].end, 0u);
        }
        ASSERT_EQ(memory.read().open().size(), 1u);
        EXPECT_EQ(memory.read().text(memory.read().open()[0]), "outer");
    }
    EXPECT_EQ(memory.read().open().size(), 0u);
    EXPECT_EQ(memory.read().records()[0].depth, 1u);
    EXPECT_EQ(memory.read().records()[1].depth, 0u);
}

TEST(OpenBlocks, DeeperThanTheStackAreCountedAndRecordedAllTheSame) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    std::vector<MessageId> ids(30);
    for (std::size_t i = 0; i < ids.size(); ++i)
        describe(file, ids[i], std::to_string(i));
    const std::size_t kept = memory.read().header().framesPerLane;
    ASSERT_LT(kept, ids.size());
    const auto nest = [&](auto const& self, std::size_t depth) -> void {
        if (depth == ids.size()) {
            EXPECT_EQ(memory.read().lane().depth, ids.size());
            EXPECT_EQ(memory.read().open().size(), kept);
            return;
        }
        const BlockTimerSelf timer(file, ids[depth]);
        self(self, depth + 1);
    };
    nest(nest, 0);
    EXPECT_EQ(memory.read().lane().depth, 0u);
    const TraceReader reader = memory.read();
    ASSERT_EQ(reader.records().size(), ids.size());
    for (std::size_t i = 0; i < ids.size(); ++i) {
        const std::size_t depth = ids.size() - 1 - i;
        EXPECT_EQ(reader.text(reader.records()[i]), std::to_string(depth));
        EXPECT_EQ(reader.records()[i].depth, depth);
        EXPECT_LE(reader.records()[i].begin, reader.records()[i].end);
    }
    nest(nest, 0);
    EXPECT_EQ(memory.read().lane().depth, 0u);
}

TEST(OpenBlocks, DeeperThanARecordCanTellAreRecordedAsTheDeepest) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId messageId{0};
    std::vector<U64> begins(65535 + 3);
    for (U64& begin : begins)
        begin = file.blockBegins(messageId);
    for (unsigned i = 0; i < 4; ++i) {
        file.blockEnds(messageId, begins.back());
        begins.pop_back();
    }
    std::vector<unsigned> depths;
    const TraceReader reader = memory.read();
    for (BlockRecord const& record : reader.records())
        depths.push_back(record.depth);
    EXPECT_EQ(depths, (std::vector<unsigned>{65535, 65535, 65535, 65534}));
    EXPECT_EQ(reader.lane().depth, begins.size());
}

TEST(OpenBlocks, ABlockLeftByAnExceptionIsTakenOffTheStack) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    const MessageId messageId{0};
    const auto block = [&] {
        const BlockTimerSelf timer(file, messageId);
        throw std::runtime_error("left");
    };
    EXPECT_THROW(block(), std::runtime_error);
    EXPECT_EQ(memory.read().open().size(), 0u);
}

TEST(OpenBlocks, OfOtherMemoryAreNotTakenOffThisOnesStack) {
    const Memory first(smallest);
    const Memory second(smallest);
    TraceFile file;
    MessageId outerId{0};
    MessageId innerId{0};
    describe(file, outerId, "outer");
    describe(file, innerId, "inner");
    file.memoryIs(first.octets());
    {
        const BlockTimerSelf outer(file, outerId);
        file.memoryIs(second.octets());
        {
            const BlockTimerSelf inner(file, innerId);
            EXPECT_EQ(second.read().open().size(), 1u);
        }
        EXPECT_EQ(second.read().open().size(), 0u);
    }
    EXPECT_EQ(second.read().texts(), (Texts{"inner", "outer"}));
    // The former memory holds what was open when it was taken away.
    ASSERT_EQ(first.read().open().size(), 1u);
    EXPECT_EQ(first.read().text(first.read().open()[0]), "outer");
}

TEST(OpenBlocks, ABlockThatIsNotTheInnermostOneIsRecordedAndTakesNoneOffTheStack) {
    const Memory memory(smallest);
    TraceFile file;
    MessageId openId{0};
    MessageId otherId{0};
    describe(file, openId, "open");
    describe(file, otherId, "entered earlier");
    file.memoryIs(memory.octets());
    {
        const BlockTimerSelf open(file, openId);
        file.blockEnds(otherId, 1);
        ASSERT_EQ(memory.read().open().size(), 1u);
        EXPECT_EQ(memory.read().text(memory.read().open()[0]), "open");
        EXPECT_EQ(memory.read().texts(), Texts{"entered earlier"});
        EXPECT_EQ(memory.read().records()[0].begin, 1u);
        EXPECT_EQ(memory.read().records()[0].attribute, 0u);
    }
    EXPECT_EQ(memory.read().open().size(), 0u);
    EXPECT_EQ(memory.read().texts(), (Texts{"entered earlier", "open"}));
}

// Reactions

/// An entity without attributes and without the generic interface.
class Bare final : public Zel::Object<Bare, Zel::Entity> {
  public:
    static Zel::TypeNode const _zelType;
};
constinit Zel::TypeNode const Bare::_zelType{"Bare", {}};

/// A reactor on one, which does nothing, and so allocates nothing.
class BareReactor final : public Zel::Object<BareReactor, Zel::NotifieeConstOf<Bare>> {
  public:
    static Zel::TypeNode const _zelType;
};
constinit Zel::TypeNode const BareReactor::_zelType{"BareReactor", {}};

Zel::Ptr<BareReactor> watch(Zel::Ptr<Bare> const& bare) {
    auto reactor = Zel::newActive<BareReactor>();
    reactor->notifierIs(bare);
    return reactor;
}

TEST(Reactions, AreObservedWhileTheDefaultFileHasMemory) {
    const Memory memory(smallest);
    EXPECT_EQ(Zel::activityObserver(), nullptr);
    {
        const DefaultFileOn on(memory);
        EXPECT_NE(Zel::activityObserver(), nullptr);
        const Memory others(smallest);
        TraceFile other;
        other.memoryIs(others.octets());
        other.memoryIs({});
        EXPECT_NE(Zel::activityObserver(), nullptr);
    }
    EXPECT_EQ(Zel::activityObserver(), nullptr);
}

TEST(Reactions, OfAClassThatCannotBeDescribedForLackOfMemoryAreDescribedLater) {
    const Memory memory(65536);
    const DefaultFileOn on(memory);
    const Zel::Ptr<Bare> bare(new Bare);
    const auto reactor = watch(bare);
    ASSERT_EQ(Bare::_zelType.traceId(), 0u);
    std::size_t failures = 0;
    for (bool failed = true; failed; ++failures) {
        const FailingAllocation failure(failures + 1);
        bare->notify(258);
        failed = failure.happened();
        EXPECT_EQ(Bare::_zelType.traceId() == 0 || BareReactor::_zelType.traceId() == 0, failed);
        ASSERT_LT(failures, 20u);
    }
    EXPECT_GT(failures, 1u);
    const TraceReader reader = memory.read();
    ASSERT_EQ(reader.records().size(), failures);
    EXPECT_EQ(reader.records().front().typeId, 0u);
    EXPECT_EQ(reader.text(reader.records().back()), "BareReactor");
    EXPECT_EQ(reader.messages().at(reader.records().back().typeId).text, "Bare");
}

/// The number that a key's image shows; nothing where it shows none.
std::optional<U64> number(Fennic::KeyImage const& key) {
    if (key.kind != Fennic::KeyImage::number)
        return std::nullopt;
    U64 number = 0;
    std::memcpy(&number, key.octets + 6, sizeof number);
    return number;
}

TEST(Reactions, ShowTheKeysThatEntityAndAttributeHaveAndNoOthers) {
    const Memory memory(65536);
    const DefaultFileOn on(memory);
    Toy::Log log;
    const Zel::Ptr<Bare> bare(new Bare);
    const Zel::Ptr<Toy::Item> item(new Toy::Item(7));
    const Zel::Ptr<Toy::Record> record(new Toy::Record);
    const auto onBare = watch(bare);
    const auto onItem = Toy::watch(item, "item", log);
    const auto onRecord = Toy::watch(record, "record", log);
    const Toy::ItemId key(3);
    bare->notify(258, &key); // no such attribute
    item->notify(259, &key); // one without keys
    item->countIs(1);
    record->itemIs(3);

    const std::vector<BlockRecord> records = memory.read().records();
    ASSERT_EQ(records.size(), 4u);
    EXPECT_EQ(records[0].entity, reinterpret_cast<std::uintptr_t>(bare.ptr()));
    EXPECT_EQ(records[0].attribute, 258u);
    EXPECT_EQ(records[0].entityKey.kind, Fennic::KeyImage::none);
    EXPECT_EQ(records[0].key.kind, Fennic::KeyImage::none);
    for (std::size_t i : {1U, 2U}) {
        EXPECT_EQ(records[i].attribute, 259u);
        EXPECT_EQ(number(records[i].entityKey), 7u);
        EXPECT_EQ(records[i].key.kind, Fennic::KeyImage::none);
    }
    EXPECT_EQ(records[3].attribute, 261u);
    EXPECT_EQ(records[3].entityKey.kind, Fennic::KeyImage::none);
    EXPECT_EQ(number(records[3].key), 3u);
}

TEST(Reactions, ArePassedOnToTheBlocksWithin) {
    const Memory memory(smallest);
    const DefaultFileOn on(memory);
    MessageId messageId{0};
    const Zel::Ptr<Toy::Item> item(new Toy::Item(7));
    const auto watcher = ::watch(item, [&](Zel::AttributeId, void const*) {
        const BlockTimerSelf timer(Fennic::defaultTraceFile(), messageId);
    });
    item->countIs(1);
    const std::vector<BlockRecord> records = memory.read().records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].kind, Fennic::BlockKind::handler);
    EXPECT_EQ(records[1].kind, Fennic::BlockKind::reaction);
    for (BlockRecord const& record : records) {
        EXPECT_EQ(record.entity, reinterpret_cast<std::uintptr_t>(item.ptr()));
        EXPECT_EQ(record.attribute, 259u);
        EXPECT_EQ(number(record.entityKey), 7u);
        EXPECT_EQ(record.reserved, 0u);
    }
}

TEST(Reactions, ToANoticeWithoutAKeyHaveNone) {
    const Memory memory(smallest);
    const DefaultFileOn on(memory);
    Toy::Log log;
    const Zel::Ptr<Toy::Record> record(new Toy::Record);
    const auto onRecord = Toy::watch(record, "record", log);
    record->notify(261, nullptr);
    ASSERT_EQ(memory.read().records().size(), 1u);
    EXPECT_EQ(memory.read().records()[0].key.kind, Fennic::KeyImage::none);
}

TEST(Reactions, ShowTheBeginningAndTheLengthOfAKeyThatIsText) {
    const Memory memory(smallest);
    const DefaultFileOn on(memory);
    Toy::Log log;
    const Zel::Ptr<Toy::Record> record(new Toy::Record);
    const auto onRecord = Toy::watch(record, "record", log);
    const long sizes[] = {0, 22, 23, 254, 255, 256, 300};
    for (const long size : sizes) {
        const Zel::Name key{std::string_view(std::string(static_cast<std::size_t>(size), 'a'))};
        record->notify(264, &key);
    }
    const std::vector<BlockRecord> records = memory.read().records();
    ASSERT_EQ(records.size(), std::size(sizes));
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(records[i].key.kind, Fennic::KeyImage::text);
        EXPECT_EQ(records[i].key.size, std::min(sizes[i], 255L));
        EXPECT_EQ(std::ranges::count(records[i].key.octets, 'a'), std::min(sizes[i], 22L));
    }
}

TEST(Reactions, LeaveNothingInTheRecordsThatReplaceTheirs) {
    const Memory memory(smallest);
    const DefaultFileOn on(memory);
    Toy::Log log;
    const Zel::Ptr<Toy::Item> item(new Toy::Item(7));
    const Zel::Ptr<Toy::Record> record(new Toy::Record);
    const auto onItem = Toy::watch(item, "item", log);
    const auto onRecord = Toy::watch(record, "record", log);
    const Toy::ItemId key(3);
    const U64 ringCapacity = memory.read().header().ringCapacity;
    MessageId messageId{0};
    for (const bool ofItem : {true, false}) {
        for (U64 i = 0; i < ringCapacity; ++i)
            ofItem ? item->countIs(1) : record->notify(261, &key);
        for (U64 i = 0; i < ringCapacity; ++i) {
            if (i % 2 == 0)
                const BlockTimerSelf timer(Fennic::defaultTraceFile(), messageId);
            else
                Fennic::defaultTraceFile().blockEnds(messageId, 1); // was not begun
        }
        const std::vector<BlockRecord> records = memory.read().records();
        ASSERT_EQ(records.size(), ringCapacity);
        for (BlockRecord const& each : records) {
            ASSERT_EQ(each.entity, 0u);
            ASSERT_EQ(each.entityKey.kind, Fennic::KeyImage::none);
            ASSERT_EQ(each.key.kind, Fennic::KeyImage::none);
        }
    }
}

TEST(Reactions, OfAThreadWithoutALaneAreLostAndHappenAllTheSame) {
    const Memory memory(smallest);
    const DefaultFileOn on(memory);
    MessageId messageId{0};
    Toy::Log log;
    const Zel::Ptr<Toy::Item> item(new Toy::Item(7));
    const auto reactor = Toy::watch(item, "a", log);
    std::atomic<unsigned> begun{0};
    std::atomic<bool> goOn{false};
    std::vector<std::thread> others;
    // Read before there is anyone who writes.
    const U32 lanes = memory.read().header().laneCount;
    for (U32 lane = 0; lane < lanes; ++lane)
        others.emplace_back([&] {
            { const BlockTimerSelf timer(Fennic::defaultTraceFile(), messageId); }
            ++begun;
            goOn.wait(false);
        });
    while (begun != others.size())
        std::this_thread::yield();
    item->countIs(1);
    EXPECT_EQ(log, Toy::logOf({{"a", 259, "-"}}));
    EXPECT_EQ(memory.read().header().lostRecords, 1u);
    EXPECT_EQ(memory.read().recorded(), others.size());
    goOn = true;
    goOn.notify_all();
    for (std::thread& other : others)
        other.join();
}

TEST(Reactions, DeeperThanTheStackAreRecordedWithoutWhatTheyAreAbout) {
    const Memory memory(smallest);
    const DefaultFileOn on(memory);
    Toy::Log log;
    const Zel::Ptr<Toy::Item> item(new Toy::Item(7));
    const auto reactor = Toy::watch(item, "a", log);
    MessageId messageId{0};
    const U32 kept = memory.read().header().framesPerLane;
    const auto nest = [&](auto const& self, U32 depth) -> void {
        const BlockTimerSelf timer(Fennic::defaultTraceFile(), messageId);
        if (depth < kept)
            self(self, depth + 1);
        else
            item->countIs(1);
    };
    nest(nest, 1);
    EXPECT_EQ(memory.read().lane().depth, 0u);
    const std::vector<BlockRecord> records = memory.read().records();
    ASSERT_EQ(records.size(), kept + 1);
    EXPECT_EQ(records[0].depth, kept);
    EXPECT_EQ(records[0].kind, Fennic::BlockKind::handler);
    EXPECT_EQ(records[0].entity, 0u);
    EXPECT_EQ(memory.read().text(records[0]), "Toy::Recorder");
    EXPECT_EQ(log.size(), 1u);
}

TEST(OpenBlocks, EachThreadHasAStackOfItsOwn) {
    const Memory memory(smallest);
    TraceFile file;
    MessageId hereId{0};
    MessageId thereId{0};
    describe(file, hereId, "here");
    describe(file, thereId, "there");
    file.memoryIs(memory.octets());
    const BlockTimerSelf here(file, hereId);
    std::thread([&] {
        const BlockTimerSelf there(file, thereId);
        const TraceReader reader = memory.read();
        ASSERT_EQ(reader.open(0).size(), 1u);
        ASSERT_EQ(reader.open(1).size(), 1u);
        EXPECT_EQ(reader.text(reader.open(0)[0]), "here");
        EXPECT_EQ(reader.text(reader.open(1)[0]), "there");
    }).join();
}

// Places

TEST(BlockPlace, IsDescribedWithItsFirstBlockWhileOn) {
    const Memory memory(smallest);
    TraceFile file;
    BlockPlace place{"void V::S::f(int) const", "File.cpp", 42};
    { const BlockTimerSelf timer(file, place); }
    EXPECT_EQ(place.messageId, 0u);
    file.memoryIs(memory.octets());
    EXPECT_EQ(memory.read().messages().size(), 1u);
    for (unsigned i = 0; i < 3; ++i)
        const BlockTimerSelf timer(file, place);
    ASSERT_EQ(memory.read().messages().size(), 2u);
    EXPECT_EQ(memory.read().messages()[1].text, "V::S::f():42");
    EXPECT_EQ(memory.read().messages()[1].sourceFileName, "File.cpp");
    EXPECT_EQ(memory.read().messages()[1].line, 42u);
    EXPECT_EQ(memory.read().texts(), (Texts{3, "V::S::f():42"}));
}

TEST(BlockPlace, WhoseBlockIsEnteredWhileOffIsNotRecorded) {
    const Memory memory(smallest);
    TraceFile file;
    BlockPlace place{"void V::f()", "File.cpp", 42};
    {
        const BlockTimerSelf timer(file, place);
        file.memoryIs(memory.octets());
    }
    EXPECT_EQ(memory.read().records().size(), 0u);
}

TEST(BlockPlace, ThatCannotBeDescribedForLackOfMemoryIsDescribedLater) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    BlockPlace place{"void V::S::aFunctionOfALongName(int) const", "File.cpp", 42};
    // The text, its growth, the list of messages, and so on: each may be what fails.
    std::size_t failures = 0;
    for (bool failed = true; failed; ++failures) {
        const FailingAllocation failure(failures + 1);
        { const BlockTimerSelf timer(file, place); }
        failed = failure.happened();
        EXPECT_EQ(place.messageId == 0, failed);
        ASSERT_LT(failures, 20u);
    }
    EXPECT_GT(failures, 2u);
    const Texts texts = memory.read().texts();
    ASSERT_EQ(texts.size(), failures);
    EXPECT_EQ(texts.back(), "V::S::aFunctionOfALongName():42");
    EXPECT_EQ(std::ranges::count(texts, texts.front()), failures - 1);
    EXPECT_EQ(memory.read().messages().size(), 2u);
}

unsigned freeFunction(Zel::String const&) {
    // clang-format off
    FENNIC_BLOCK_TIMER(); return __LINE__;
    // clang-format on
}

struct Syncer {
    struct Source {
        unsigned handle(unsigned key) const {
            FENNIC_BLOCK_TIMER();
            return key == 0 ? 0 : handle(key - 1);
        }
    };
    template <class Key> void of(Key const&) { FENNIC_BLOCK_TIMER(); }
    void nested() {
        FENNIC_BLOCK_TIMER();
        const auto each = [] { FENNIC_BLOCK_TIMER(); };
        each();
    }
};

TEST(FennicBlockTimer, WritesTheFunctionsNameAndLineToTheDefaultFile) {
    const Memory memory(65536);
    unsigned line = freeFunction("off");
    EXPECT_EQ(Syncer::Source().handle(0), 0u);
    const DefaultFileOn on(memory);
    line = freeFunction("on");
    Syncer::Source().handle(2);
    Syncer().of(1);
    Syncer().nested();

#if defined(__clang__)
    const std::string scope = "(anonymous namespace)::";
    const std::string lambda = "()::(anonymous class)::operator()";
#else
    const std::string scope = "{anonymous}::";
    const std::string lambda = "()::<lambda()>";
#endif
    const Texts texts = memory.read().texts();
    ASSERT_EQ(texts.size(), 7u);
    EXPECT_EQ(texts[0], scope + "freeFunction():" + std::to_string(line));
    EXPECT_TRUE(texts[1].starts_with(scope + "Syncer::Source::handle():")) << texts[1];
    EXPECT_EQ(texts[2], texts[1]);
    EXPECT_EQ(texts[3], texts[1]);
    EXPECT_TRUE(texts[4].starts_with(scope + "Syncer::of():")) << texts[4];
    EXPECT_TRUE(texts[5].starts_with(scope + "Syncer::nested" + lambda + "():")) << texts[5];
    EXPECT_TRUE(texts[6].starts_with(scope + "Syncer::nested():")) << texts[6];

    const auto messages = memory.read().messages();
    EXPECT_EQ(std::ranges::count(messages, texts[1], &TraceReader::Message::text), 1);
    const auto message = std::ranges::find(messages, texts[0], &TraceReader::Message::text);
    EXPECT_EQ(message->sourceFileName, "FennicTest.cpp");
    EXPECT_EQ(message->line, line);
}

TEST(FennicBlockTimer, EachInstanceOfATemplateIsAPlaceOfItsOwn) {
    const Memory memory(65536);
    const DefaultFileOn on(memory);
    Syncer().of(1u);
    Syncer().of('x');
    const auto records = memory.read().records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_NE(records[0].messageId, records[1].messageId);
}

// Processes and threads

TEST(TraceFile, AMappedFileIsReadableAfterItsProcessWasKilled) {
    constexpr std::size_t size = 65536;
    std::FILE* const storage = std::tmpfile();
    ASSERT_NE(storage, nullptr);
    ASSERT_EQ(::ftruncate(::fileno(storage), size), 0);
    void* const mapped =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, ::fileno(storage), 0);
    ASSERT_NE(mapped, MAP_FAILED);
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);

    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        TraceFile file;
        file.memoryIs({static_cast<std::byte*>(mapped), size});
        BlockPlace place{"void V::S::handle(int)", "File.cpp", 42};
        for (U64 round = 0;; ++round) {
            { const BlockTimerSelf timer(file, place); }
            if (round == 5000 && ::write(ready[1], "r", 1) != 1)
                ::_exit(1);
        }
    }
    ::close(ready[1]);
    char octet = 0;
    EXPECT_EQ(::read(ready[0], &octet, 1), 1);
    ::close(ready[0]);
    EXPECT_EQ(::kill(child, SIGKILL), 0);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0)
        ASSERT_EQ(errno, EINTR);
    ASSERT_TRUE(WIFSIGNALED(status));
    ASSERT_EQ(::munmap(mapped, size), 0);

    // As another program would: from the file, by its own mapping.
    void* const read = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, ::fileno(storage), 0);
    ASSERT_NE(read, MAP_FAILED);
    const TraceReader reader({static_cast<const std::byte*>(read), size});
    ASSERT_EQ(::munmap(read, size), 0);
    std::fclose(storage);

    EXPECT_EQ(reader.header().processId, static_cast<U32>(child));
    EXPECT_GE(reader.recorded(), 5000u);
    // All places of the ring are valid, but for one that the child may have been writing.
    std::vector<BlockRecord> const& records = reader.records();
    EXPECT_GE(records.size(), reader.header().ringCapacity - 1);
    EXPECT_GE(records.back().sequence, reader.recorded());
    EXPECT_LE(records.back().sequence, reader.recorded() + 1);
    EXPECT_LE(reader.open().size(), 1u);
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(reader.text(records[i]), "V::S::handle():42");
        EXPECT_LE(records[i].begin, records[i].end);
        if (i > 0) {
            EXPECT_EQ(records[i].sequence, records[i - 1].sequence + 1);
            EXPECT_LE(records[i - 1].end, records[i].begin);
        }
    }
}

TEST(Immortal, IsNotDestroyedWithItsScope) {
    static unsigned ended = 0;
    struct Mortal {
        ~Mortal() { ++ended; }
    };
    { const Mortal mortal; }
    EXPECT_EQ(ended, 1u);
    { const Fennic::detail::Immortal<Mortal> immortal; }
    EXPECT_EQ(ended, 1u);
}

TEST(TraceFile, TwoThreadsWriteEveryRecordOnceAndWhole) {
    constexpr U64 each = 2000;
    const Memory memory(1024 * 1024);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId ids[2]{{0}, {0}};
    const auto work = [&](unsigned thread) {
        describe(file, ids[thread], thread == 0 ? "even" : "odd");
        for (U64 i = 1; i <= each; ++i)
            file.blockEnds(ids[thread], 2 * i + thread);
    };
    std::thread first(work, 0u);
    std::thread second(work, 1u);
    first.join();
    second.join();

    const TraceReader reader = memory.read();
    ASSERT_EQ(reader.records().size(), 2 * each);
    EXPECT_EQ(reader.header().lostRecords, 0u);
    EXPECT_EQ(reader.recorded(), 2 * each);
    U64 next[2] = {2, 3};
    U64 sequence = 0;
    for (BlockRecord const& record : reader.records()) {
        EXPECT_GT(record.sequence, std::exchange(sequence, record.sequence));
        const unsigned thread = record.begin % 2;
        EXPECT_EQ(reader.text(record), thread == 0 ? "even" : "odd");
        EXPECT_EQ(record.begin, next[thread]);
        next[thread] += 2;
    }
}

TEST(TraceFile, TwoThreadsInASmallRingMixNoRecords) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId ids[2]{{0}, {0}};
    describe(file, ids[0], "even");
    describe(file, ids[1], "odd");
    const auto work = [&](unsigned thread) {
        for (U64 i = 1; i <= 20000; ++i)
            file.blockEnds(ids[thread], 2 * i + thread);
    };
    std::thread first(work, 0u);
    std::thread second(work, 1u);
    first.join();
    second.join();

    const TraceReader reader = memory.read();
    EXPECT_EQ(reader.recorded(), 40000u);
    EXPECT_EQ(reader.header().lostRecords, 0u);
    EXPECT_EQ(reader.records().size(), reader.header().ringCapacity);
    for (BlockRecord const& record : reader.records())
        EXPECT_EQ(reader.text(record), record.begin % 2 == 0 ? "even" : "odd");
}

TEST(TraceFile, ARecordTakenFromALivingRingIsWhole) {
    const Memory memory(smallest);
    TraceFile file;
    file.memoryIs(memory.octets());
    MessageId messageId{0};
    const U64 capacity = memory.read().header().ringCapacity;
    BlockRecord* const ring = &memory.record(0);
    auto& lane = *reinterpret_cast<Fennic::LaneHeader*>(memory.octets().data() +
                                                        memory.read().header().lanesOffset);
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        for (U64 sequence = 1; !stop.load(std::memory_order_relaxed); ++sequence)
            file.blockEnds(messageId, sequence);
    });

    // The record that is written next, or being written, read by the rule of the format.
    U64 taken = 0;
    for (unsigned round = 0; round < 200'000 || taken == 0; ++round) {
        const U64 next = std::atomic_ref(lane.recordCount).load(std::memory_order_relaxed);
        BlockRecord& record = ring[next % capacity];
        const U64 before = std::atomic_ref(record.sequence).load(std::memory_order_acquire);
        const U64 begin = std::atomic_ref(record.begin).load(std::memory_order_acquire);
        const U64 after = std::atomic_ref(record.sequence).load(std::memory_order_acquire);
        if (before != after || before == 0 || (before & BlockRecord::beingWritten) != 0)
            continue;
        ++taken;
        if (begin != before) {
            ADD_FAILURE() << "record " << before << " with the content of " << begin;
            break;
        }
    }
    stop = true;
    writer.join();
}

void takeMemoryAwayWhileThreadsWrite() {
    TraceFile file;
    BlockPlace place{"void f()", "File.cpp", 1};
    std::atomic<bool> stop{false};
    const auto work = [&] {
        while (!stop.load(std::memory_order_relaxed))
            const BlockTimerSelf timer(file, place);
    };
    std::thread first(work);
    std::thread second(work);
    U64 written = 0;
    std::unique_ptr<Memory> former;
    for (unsigned round = 0; round < 100 || written == 0; ++round) {
        auto memory = std::make_unique<Memory>(smallest);
        if (round % 3 == 0)
            file.memoryIs({});
        file.memoryIs(memory->octets());
        if (former) {
            const std::vector<std::byte> left = former->copy();
            const TraceReader reader(left);
            written += reader.records().size();
            for (BlockRecord const& record : reader.records())
                ASSERT_EQ(reader.text(record), "f():1");
            std::this_thread::yield();
            ASSERT_EQ(former->copy(), left);
        }
        former = std::move(memory);
    }
    file.memoryIs({});
    stop = true;
    first.join();
    second.join();
}

TEST(TraceFile, MemoryMayBeTakenAwayWhileThreadsWrite) { takeMemoryAwayWhileThreadsWrite(); }

TEST(TraceFile, MemoryMayBeTakenAwayWhereThreadsCannotBeSynchronized) {
    if (const std::string why = whyNoFilter(); !why.empty())
        GTEST_SKIP() << why;
    // In a process that has attached no memory before, for that is when the system is asked.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto work = [] {
        if (!filterSystemCalls(SYS_membarrier, SECCOMP_RET_ERRNO | EPERM, SECCOMP_RET_ALLOW))
            std::abort();
        const bool refused = ::syscall(SYS_membarrier, MEMBARRIER_CMD_QUERY, 0, 0) < 0;
        takeMemoryAwayWhileThreadsWrite();
        std::exit(refused && !::testing::Test::HasFailure() ? 7 : 1);
    };
    EXPECT_EXIT(work(), testing::ExitedWithCode(7), "");
}

TEST(BlockPlace, IsDescribedOnceByTwoThreads) {
    for (unsigned round = 0; round < 50; ++round) {
        const Memory memory(smallest);
        TraceFile file;
        file.memoryIs(memory.octets());
        BlockPlace place{"void f()", "File.cpp", 1};
        const auto work = [&] { const BlockTimerSelf timer(file, place); };
        std::thread first(work);
        std::thread second(work);
        first.join();
        second.join();
        EXPECT_EQ(memory.read().messages().size(), 2u);
        EXPECT_EQ(memory.read().texts(), (Texts{2, "f():1"}));
    }
}

} // namespace
