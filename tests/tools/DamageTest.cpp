// Traces that are damaged are read up to the damage, which is named.

#include "tests/tools/AllOutputs.h"
#include "tests/tools/Reading.h"

#include <algorithm>
#include <random>

#include <gtest/gtest.h>

namespace TraceTool::Test {
namespace {

/// One field with a value that cannot be.
struct Fault {
    std::string name;
    std::size_t at;
    unsigned octets;
    U64 value;
};

void plant(TraceMaker& maker, Fault const& fault) {
    switch (fault.octets) {
    case 1:
        return maker.put(fault.at, static_cast<U8>(fault.value));
    case 2:
        return maker.put(fault.at, static_cast<U16>(fault.value));
    case 4:
        return maker.put(fault.at, static_cast<U32>(fault.value));
    default:
        return maker.put(fault.at, fault.value);
    }
}

constexpr U64 highest = ~U64{0};

void add(std::vector<Fault>& faults, std::string const& name, std::size_t at, unsigned octets,
         std::initializer_list<U64> values) {
    for (const U64 value : values)
        faults.push_back({name + " " + std::to_string(value), at, octets, value});
}

std::vector<Fault> headerFaults(TraceMaker const& maker) {
    const U64 size = maker.text().size();
    const U64 lanes = maker.laneAt(0);
    std::vector<Fault> faults;
    for (std::size_t i = 0; i < 8; ++i)
        add(faults, "magic", i, 1, {0, 0xff});
    add(faults, "orderMark", At::orderMark, 4, {0, 1, 0x04030201, highest});
    add(faults, "version", At::version, 4, {0, 1, 3, highest});
    add(faults, "headerSize", At::headerSize, 4, {0, 1, 127, 256, highest});
    add(faults, "clock", At::clock, 4, {0, 2, highest});
    add(faults, "memorySize", At::memorySize, 8, {0, 1, 128, size - 1, size + 1, highest});
    add(faults, "descriptorsOffset", At::descriptorsOffset, 4,
        {0, 64, lanes, maker.ringAt(), size - 1, size, highest});
    add(faults, "descriptorsSize", At::descriptorsSize, 4, {0, 8, 64, U64{1} << 31, highest});
    add(faults, "ringOffset", At::ringOffset, 4,
        {0, 64, lanes, maker.ringAt() - 96, maker.ringAt() + 96, size - 1, size, highest});
    add(faults, "recordSize", At::recordSize, 4, {0, 1, 95, 97, 104, 65537, highest});
    add(faults, "ringCapacity", At::ringCapacity, 8,
        {0, 1, 15, 17, 20, U64{1} << 32, U64{1} << 63, highest});
    add(faults, "nextSequence", At::nextSequence, 8, {0, 1, 2, 5, 12, highest});
    add(faults, "descriptorCount", At::descriptorCount, 4, {0, 1, 5, 100, highest});
    add(faults, "attachedAt", At::attachedAt, 8, {0, highest});
    add(faults, "attachedAtRealtime", At::attachedAtRealtime, 8, {U64{1} << 63, highest});
    add(faults, "lanesOffset", At::lanesOffset, 4, {0, 64, 136, maker.ringAt(), size, highest});
    add(faults, "laneCount", At::laneCount, 4, {0, 1, 3, 65537, highest});
    add(faults, "laneSize", At::laneSize, 4, {0, 8, 31, 32, 1000, highest});
    add(faults, "framesPerLane", At::framesPerLane, 4, {5, 1000, highest});
    add(faults, "chunkSize", At::chunkSize, 4, {0, 3, 5, 8, highest});
    return faults;
}

std::vector<Fault> laneFaults(TraceMaker const& maker) {
    std::vector<Fault> faults;
    for (unsigned lane = 0; lane < 2; ++lane) {
        const std::string name = "lane " + std::to_string(lane);
        const std::size_t at = maker.laneAt(lane);
        add(faults, name + " threadId", at + At::threadId, 8, {U64{1} << 32, highest});
        add(faults, name + " recordCount", at + At::recordCount, 8, {13, U64{1} << 40, highest});
        add(faults, name + " depth", at + At::depth, 8, {65536, U64{1} << 40, highest});
    }
    for (unsigned depth = 0; depth < sampleOpen; ++depth) {
        const std::string name = "frame " + std::to_string(depth);
        const std::size_t at = maker.frameAt(0, depth);
        add(faults, name + " sequence", at + At::sequence, 8, {1, highest});
        add(faults, name + " begin", at + At::begin, 8, {0, U64{1} << 63, highest});
        add(faults, name + " end", at + At::end, 8, {1, highest});
        add(faults, name + " messageId", at + At::messageId, 4, {999, highest});
        add(faults, name + " lane", at + At::lane, 2, {1, 0xffff});
        add(faults, name + " typeId", at + At::typeId, 4, {8, 999, highest});
        add(faults, name + " depth", at + At::recordDepth, 2, {7, 0xffff});
        add(faults, name + " kind", at + At::kind, 1, {3, 255});
        add(faults, name + " entityKey", at + At::entityKey, 1, {3, 255});
        add(faults, name + " key", at + At::key, 1, {3, 255});
    }
    add(faults, "frame 1 begin", maker.frameAt(0, 1) + At::begin, 8, {1, TraceMaker::attachedAt});
    return faults;
}

std::vector<Fault> descriptorFaults(TraceMaker const& maker) {
    std::vector<Fault> faults;
    for (const U32 id : {U32{1}, U32{5}, U32{8}}) {
        const std::string name = "descriptor " + std::to_string(id);
        const std::size_t at = maker.descriptorAt(id);
        add(faults, name + " size", at, 4, {0, 7, 23, 24, 33, 1U << 20, highest});
        add(faults, name + " id", at + 4, 4, {0, 2, 999, highest});
        add(faults, name + " textSize", at + 12, 4, {10000, highest});
        add(faults, name + " sourceFileSize", at + 16, 4, {10000, highest});
        add(faults, name + " kind", at + 20, 4, {U64{id != 8} ^ 1, 2, highest});
    }
    const std::size_t attributes =
        maker.descriptorAt(1) + 24 + std::string("Varnol::TxStatus").size();
    add(faults, "attribute id", attributes, 1, {'x', '\t', '\n', '9' + 1});
    add(faults, "attribute tab", attributes + 3, 1, {' ', '\n'});
    return faults;
}

std::vector<Fault> recordFaults(TraceMaker const& maker, BlockRecord const& record) {
    std::vector<Fault> faults;
    const std::string name = "record " + std::to_string(record.sequence);
    const std::size_t at = maker.recordAt(record.sequence);
    const U64 wrong = record.kind == BlockKind::handler ? 1000 : 8; // a message, not a class
    add(faults, name + " sequence", at + At::sequence, 8, {record.sequence + 1, highest >> 1});
    add(faults, name + " begin", at + At::begin, 8, {0, record.end + 1, highest});
    add(faults, name + " end", at + At::end, 8, {1, highest});
    add(faults, name + " messageId", at + At::messageId, 4, {wrong, 999, highest});
    add(faults, name + " lane", at + At::lane, 2, {2, 0xffff});
    add(faults, name + " typeId", at + At::typeId, 4, {8, 999, highest});
    add(faults, name + " kind", at + At::kind, 1, {3, 255});
    add(faults, name + " entityKey", at + At::entityKey, 1, {3, 255});
    add(faults, name + " key", at + At::key, 1, {3, 255});
    return faults;
}

/// Each has to be seen, and what it leaves has to be shown.
void expectSeen(std::vector<Fault> const& faults, std::size_t blocksLeft, std::size_t openLeft) {
    for (Fault const& fault : faults) {
        TraceMaker maker = sample();
        plant(maker, fault);
        const Outcome outcome = allOutputs(maker.octets());
        EXPECT_TRUE(outcome.refused || outcome.damaged) << fault.name;
        EXPECT_EQ(outcome.contradiction, "") << fault.name;
        EXPECT_GE(outcome.blocks, blocksLeft) << fault.name << ": " << outcome.said;
        EXPECT_GE(outcome.open, openLeft) << fault.name << ": " << outcome.said;
    }
}

TEST(Damage, OfASampleThatHasNoneIsNotSeen) {
    TraceMaker maker = sample();
    const Outcome outcome = allOutputs(maker.octets());
    EXPECT_FALSE(outcome.refused || outcome.damaged) << outcome.said;
    EXPECT_EQ(outcome.contradiction, "");
    EXPECT_EQ(outcome.blocks, sampleFinished);
    EXPECT_EQ(outcome.open, sampleOpen);
}

TEST(Damage, OfOneFieldOfTheHeaderIsSeen) {
    const std::vector<Fault> faults = headerFaults(sample());
    EXPECT_GE(faults.size(), 100U);
    expectSeen(faults, 0, 0);
}

TEST(Damage, OfOneFieldOfALaneLeavesAllFinishedBlocks) {
    expectSeen(laneFaults(sample()), sampleFinished, 0);
}

TEST(Damage, OfOneFieldOfADescriptorIsSeen) { expectSeen(descriptorFaults(sample()), 0, 0); }

TEST(Damage, OfOneFieldOfARecordLeavesAllOtherBlocks) {
    TraceMaker whole = sample();
    std::size_t count = 0;
    for (BlockRecord const& record : read(whole).blocks) {
        const std::vector<Fault> faults = recordFaults(whole, record);
        count += faults.size();
        expectSeen(faults, sampleFinished - 1, sampleOpen);
    }
    EXPECT_GE(count, 100U);
}

TEST(Damage, OfARecordOfAnotherLaneThanItsChunkIsSeen) {
    TraceMaker maker = sample();
    maker.put<U16>(maker.recordAt(2) + At::lane, 1);
    const Trace trace = read(maker);
    EXPECT_TRUE(saysDamage(trace, "record 2 is in a chunk of another lane"));
    EXPECT_EQ(trace.blocks.size(), sampleFinished - 1);
}

TEST(Damage, OfAnEndThatIsTooLateLeavesTheLaterBlocks) {
    TraceMaker maker = sample();
    maker.put<U64>(maker.recordAt(1) + At::end, TraceMaker::attachedAt + 1'000'000);
    const Trace trace = read(maker);
    EXPECT_TRUE(saysDamage(trace, "record 1 ended before one that is older in its lane"));
    EXPECT_EQ(trace.blocks.size(), sampleFinished - 1);
}

TEST(Damage, OfBlocksThatOverlapWithoutOneBeingWithinTheOtherIsSeen) {
    TraceMaker maker;
    const U32 message = maker.message("f():1");
    maker.enter(0, 10, {handler, message, 0, 0, {}, 0, {}});
    maker.leave(0, 20);
    maker.enter(0, 15, {handler, message, 0, 0, {}, 0, {}});
    maker.leave(0, 30);
    Trace trace = read(maker);
    const auto lanes = nested(trace);
    EXPECT_TRUE(saysDamage(trace, "record 2 overlaps one that ended before it"));
    EXPECT_EQ(lanes.at(0).size(), 1U);
}

TEST(Damage, OfATraceThatIsCutOffAtAnyOctetIsSeenAndTheRestIsRead) {
    TraceMaker maker = sample();
    const std::span<std::byte const> whole(maker.octets());
    std::size_t blocksBefore = 0;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        // A copy of exactly that size, so that a reading beyond its end is seen.
        const std::vector<std::byte> cut(whole.begin(),
                                         whole.begin() + static_cast<std::ptrdiff_t>(size));
        const Outcome outcome = allOutputs(cut);
        ASSERT_TRUE(outcome.refused || outcome.damaged) << size;
        ASSERT_EQ(outcome.refused, size < 16) << size;
        ASSERT_EQ(outcome.contradiction, "") << size;
        ASSERT_GE(outcome.blocks, blocksBefore) << size;
        blocksBefore = outcome.blocks;
        if (size >= maker.ringAt()) {
            ASSERT_EQ(outcome.open, sampleOpen) << size;
        }
    }
    EXPECT_EQ(blocksBefore, sampleFinished);
}

TEST(Damage, OfAnyOctetsDoesNoHarm) {
    std::mt19937 engine(20);
    const auto random = [&](std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(engine);
    };
    for (int i = 0; i < 2000; ++i) {
        TraceMaker maker = sample();
        for (std::size_t changes = 1 + random(8); changes > 0; --changes) {
            const std::size_t at =
                random(2) == 0 ? random(128) : 128 + random(maker.octets().size() - 128);
            maker.octets()[at] = static_cast<std::byte>(random(256));
        }
        ASSERT_EQ(allOutputs(maker.octets()).contradiction, "") << i;
    }
}

TEST(Damage, OfTheNextNumberOfARecordNearTheHighestOneKeepsNoReaderFromItsEnd) {
    for (const U64 first : {highest - 6, highest - 1}) {
        TraceMaker maker = sample();
        const MemoryOctets memory(maker.octets());
        Reader reader(memory);
        maker.put<U64>(At::nextSequence, first);
        EXPECT_EQ(reader.read().blocks.size(), sampleFinished);
        maker.put<U64>(At::nextSequence, highest);
        const Trace trace = reader.read();
        EXPECT_TRUE(saysDamage(trace, "the next number of a record, 18446744073709551615"));
        EXPECT_EQ(trace.blocks.size(), 0U);
    }
}

TEST(Damage, OfARingThatIsNotAllThereIsSeenWhileTheTraceGoesOn) {
    TraceMaker maker({.descriptors = 512, .chunk = 2, .places = 64});
    const U32 message = maker.message("f():1");
    const MemoryOctets memory(std::span(maker.octets()).first(maker.recordAt(9)));
    Reader reader(memory);
    for (U64 i = 0; i < 64; ++i) {
        maker.enter(0, 10 * i, {handler, message, 0, 0, {}, 0, {}});
        const U64 sequence = maker.leave(0, 10 * i + 5);
        const Trace trace = reader.read();
        EXPECT_TRUE(saysDamage(trace, "of the ring's 64 places 8 are there"));
        EXPECT_EQ(trace.blocks.size(), sequence <= 8 ? 1U : 0U) << sequence;
    }
}

TEST(Damage, IsNamedUpToALimitAndCounted) {
    TraceMaker maker({.descriptors = 512, .places = 400});
    const U32 message = maker.message("f():1");
    for (U64 i = 0; i < 300; ++i) {
        maker.enter(0, 10 * i, {handler, message, 0, 0, {}, 0, {}});
        const U64 sequence = maker.leave(0, 10 * i + 5);
        maker.put<U8>(maker.recordAt(sequence) + At::kind, 77);
    }
    const Trace trace = read(maker);
    EXPECT_EQ(trace.damage.count(), 300U);
    EXPECT_EQ(trace.damage.texts().size(), Damage::mostTexts);
    EXPECT_EQ(trace.leftOut, 300U);
}

} // namespace
} // namespace TraceTool::Test
