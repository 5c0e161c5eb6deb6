// What is read of a trace, also while it is being written.

#include "tests/tools/Program.h"
#include "tests/tools/Reading.h"
#include "tools/trace/Find.h"

#include <algorithm>
#include <functional>
#include <system_error>

namespace TraceTool::Test {
namespace {

std::string refusal(std::span<std::byte const> octets) {
    const MemoryOctets memory(octets);
    try {
        Reader reader(memory);
    } catch (Refused const& refused) {
        return refused.what();
    }
    return "";
}

/// Memory that something happens to at each reading of it.
class ChangingOctets final : public Octets {
  public:
    ChangingOctets(TraceMaker& maker, std::function<void(int reading)> happens)
        : maker_(maker)
        , happens_(std::move(happens)) {}
    U64 size() const override { return maker_.octets().size(); }
    std::size_t read(U64 offset, std::span<std::byte> into) const override {
        if (offset >= from_ && offset < to_)
            happens_(readings_++);
        return MemoryOctets(maker_.octets()).read(offset, into);
    }
    /// Only readings that begin there count.
    void watch(std::size_t from, std::size_t to) {
        from_ = from;
        to_ = to;
    }

  private:
    TraceMaker& maker_;
    std::function<void(int)> happens_;
    mutable int readings_ = 0;
    std::size_t from_ = 0;
    std::size_t to_ = 0;
};

TEST(Reader, RefusesWhatIsNoTrace) {
    EXPECT_EQ(refusal({}), "not a trace");
    const std::vector<std::byte> zeros(4096);
    EXPECT_EQ(refusal(zeros), "not a trace");
    TraceMaker maker;
    maker.octets()[3] = std::byte{'X'};
    EXPECT_EQ(refusal(maker.octets()), "not a trace");
}

TEST(Reader, RefusesATraceThatIsNotReadyToBeRead) {
    TraceMaker maker;
    maker.put<U32>(At::orderMark, 0);
    EXPECT_EQ(refusal(maker.octets()),
              "a trace that is not ready to be read: its preparation was not finished");
}

TEST(Reader, RefusesAnotherOctetOrder) {
    TraceMaker maker;
    maker.put<U32>(At::orderMark, 0x04030201);
    EXPECT_EQ(refusal(maker.octets()), "a trace of a machine with another octet order");
    maker.put<U32>(At::orderMark, 0x04030202);
    EXPECT_EQ(refusal(maker.octets()), "not a trace: it has a wrong mark of its octet order");
}

TEST(Reader, RefusesAnotherVersion) {
    for (const U32 version : {0U, 1U, 3U, 0xffffffffU}) {
        TraceMaker maker;
        maker.put<U32>(At::version, version);
        EXPECT_EQ(refusal(maker.octets()), "a trace of version " + std::to_string(version) +
                                               "; this program reads version 2");
    }
}

TEST(Reader, GoesByTheSizesThatItFinds) {
    const std::string usual = [] {
        TraceMaker maker;
        maker.enter(0, 1, {handler, maker.message("f():1"), 0, 0, {}, 0, {}});
        maker.leave(0, 2);
        maker.enter(1, 3, {handler, 1, 0, 0, {}, 0, {}});
        return showText(read(maker));
    }();
    TraceMaker maker({.header = 160, .laneMore = 40, .record = 128});
    maker.enter(0, 1, {handler, maker.message("f():1"), 0, 0, {}, 0, {}});
    maker.leave(0, 2);
    maker.enter(1, 3, {handler, 1, 0, 0, {}, 0, {}});
    const Trace trace = read(maker);
    EXPECT_TRUE(trace.damage.none()) << trace.damage.texts().front();
    EXPECT_EQ(showText(trace), usual);
}

TEST(Reader, ReadsWhatATraceSaysOfItself) {
    TraceMaker maker = sample();
    const Trace trace = read(maker);
    ASSERT_EQ(trace.blocks.size(), sampleFinished);
    ASSERT_EQ(trace.lanes.size(), 2U);
    EXPECT_EQ(trace.lanes[0].threadId, 4711U);
    EXPECT_EQ(trace.lanes[0].recordCount, 7U);
    EXPECT_EQ(trace.lanes[0].open.size(), sampleOpen);
    EXPECT_EQ(trace.lanes[1].recordCount, 1U);
    EXPECT_EQ(trace.descriptions.at(8).text, "Varnol::TxStatusToTxSyncer::handleTxMstStatus():120");
    EXPECT_EQ(trace.descriptions.at(8).sourceFile, "syncers/StpTxStatusSyncer.cpp");
    EXPECT_EQ(trace.descriptions.at(8).line, 120U);
    EXPECT_EQ(trace.descriptions.at(3).attributes.at(259).name, "txUpdate");
    EXPECT_EQ(trace.descriptions.at(3).attributes.at(259).keyType, "Bridging::VlanIdOrNone");
    EXPECT_TRUE(std::ranges::is_sorted(trace.blocks, {}, &BlockRecord::sequence));
}

TEST(Reader, TakesABlockOfAClassWhoseKindWasNotKeptAsAHandler) {
    TraceMaker maker;
    const U32 type = maker.type("T");
    maker.enter(0, 1, {handler, type, 0, 0, {}, 0, {}});
    maker.leave(0, 2);
    const Trace trace = read(maker);
    EXPECT_TRUE(trace.damage.none());
    EXPECT_NE(showText(trace).find("handler   T\n"), std::string::npos);
}

TEST(Reader, DoesNotTakeARecordThatIsBeingWritten) {
    TraceMaker maker;
    const U32 message = maker.message("f():1");
    maker.enter(0, 1, {handler, message, 0, 0, {}, 0, {}});
    const U64 sequence = maker.beginLeaving(0, 2);
    EXPECT_EQ(read(maker).blocks.size(), 0U);
    EXPECT_TRUE(read(maker).damage.none());
    maker.endLeaving(0, sequence);
    EXPECT_EQ(read(maker).blocks.size(), 1U);
}

TEST(Reader, DoesNotTakeARecordThatIsOverwrittenBetweenItsReadings) {
    for (int when = 0; when < 4; ++when) {
        TraceMaker maker({.chunk = 1, .places = 1});
        const U32 message = maker.message("f():1");
        const U32 other = maker.message("g():2");
        maker.enter(0, 1, {handler, message, 0, 0, {}, 0, {}});
        maker.leave(0, 2);
        ChangingOctets octets(maker, [&](int reading) {
            if (reading != when)
                return;
            maker.enter(0, 3, {handler, other, 0, 0, {}, 0, {}});
            maker.leave(0, 4);
        });
        octets.watch(maker.ringAt(), maker.octets().size());
        const Trace trace = Reader(octets).read();
        EXPECT_TRUE(trace.damage.none()) << trace.damage.texts().front();
        if (when == 1 || when == 2) {
            EXPECT_EQ(trace.blocks.size(), 0U) << when;
        } else {
            ASSERT_EQ(trace.blocks.size(), 1U) << when;
            EXPECT_EQ(trace.blocks[0].messageId, when == 0 ? other : message);
            EXPECT_EQ(trace.blocks[0].begin, TraceMaker::attachedAt + (when == 0 ? 3 : 1));
        }
    }
}

/// Memory of which the first reading of the ring meets a record before it is written, and those
/// behind it after they are.
class UnevenOctets final : public Octets {
  public:
    UnevenOctets(TraceMaker& maker, std::vector<std::byte> recordBefore)
        : maker_(maker)
        , recordBefore_(std::move(recordBefore)) {}
    U64 size() const override { return maker_.octets().size(); }
    std::size_t read(U64 offset, std::span<std::byte> into) const override {
        const std::size_t count = MemoryOctets(maker_.octets()).read(offset, into);
        if (offset == maker_.ringAt() && first_) {
            std::ranges::copy(recordBefore_, into.begin());
            first_ = false;
        }
        return count;
    }

  private:
    TraceMaker& maker_;
    std::vector<std::byte> recordBefore_;
    mutable bool first_ = true;
};

TEST(Reader, TakesARecordThatIsWrittenWhileItReadsTheNextTimeAndBeforeThoseBehindIt) {
    TraceMaker maker;
    const U32 message = maker.message("f():1");
    maker.enter(0, 1, {handler, message, 0, 0, {}, 0, {}});
    const U64 first = maker.beginLeaving(0, 2);
    const auto at = maker.octets().begin() + static_cast<std::ptrdiff_t>(maker.recordAt(first));
    const std::vector<std::byte> before(at, at + 96);
    maker.endLeaving(0, first);
    maker.enter(0, 3, {handler, message, 0, 0, {}, 0, {}});
    const U64 second = maker.leave(0, 4);

    const UnevenOctets octets(maker, before);
    Reader reader(octets);
    EXPECT_EQ(reader.read().blocks.size(), 0U);
    const Trace trace = reader.read();
    ASSERT_EQ(trace.blocks.size(), 2U);
    EXPECT_EQ(trace.blocks[0].sequence, first);
    EXPECT_EQ(trace.blocks[1].sequence, second);
    EXPECT_TRUE(trace.damage.none());
}

TEST(Reader, TakesOnlyOpenBlocksThatStayTheSameBetweenTwoReadings) {
    TraceMaker maker;
    const U32 message = maker.message("f():1");
    maker.enter(0, 1, {handler, message, 0, 0, {}, 0, {}});
    maker.enter(0, 2, {handler, message, 0, 0, {}, 0, {}});
    // The innermost block is another one each time that the frames are read.
    U64 at = 3;
    ChangingOctets octets(maker, [&](int) {
        maker.leave(0, at);
        maker.enter(0, at + 1, {handler, message, 0, 0, {}, 0, {}});
        at += 2;
    });
    octets.watch(maker.frameAt(0, 0), maker.frameAt(0, 1));
    const Trace busy = Reader(octets).read();
    EXPECT_TRUE(busy.damage.none()) << busy.damage.texts().front();
    ASSERT_EQ(busy.lanes[0].open.size(), 1U);
    EXPECT_EQ(busy.lanes[0].open[0].begin, TraceMaker::attachedAt + 1);
    EXPECT_EQ(busy.lanes[0].depth, 1U);

    const Trace still = read(maker);
    EXPECT_EQ(still.lanes[0].open.size(), 2U);
}

TEST(Reader, DoesNotShowABlockAsOpenThatHasEnded) {
    TraceMaker maker;
    const U32 message = maker.message("f():1");
    maker.enter(0, 1, {handler, message, 0, 0, {}, 0, {}});
    maker.leave(0, 2);
    // Ended between the writing of its record and the taking back of the depth.
    maker.put<U64>(maker.laneAt(0) + At::depth, 1);
    const Trace trace = read(maker);
    EXPECT_TRUE(trace.damage.none());
    EXPECT_EQ(trace.blocks.size(), 1U);
    EXPECT_EQ(trace.lanes[0].open.size(), 0U);
    EXPECT_EQ(trace.lanes[0].depth, 0U);
}

TEST(Reader, ShowsABlockAsOpenThatBeganWhenAnotherOneLikeItBeganAndEnded) {
    TraceMaker maker;
    const U32 message = maker.message("f():1");
    maker.enter(0, 5, {handler, message, 0, 0, {}, 0, {}});
    maker.leave(0, 5);
    maker.enter(0, 5, {handler, message, 0, 0, {}, 0, {}});
    maker.enter(0, 6, {handler, message, 0, 0, {}, 0, {}});
    maker.leave(0, 7);
    const Trace trace = read(maker);
    EXPECT_TRUE(trace.damage.none());
    EXPECT_EQ(trace.blocks.size(), 2U);
    EXPECT_EQ(trace.lanes[0].open.size(), 1U);
}

TEST(Reader, ReturnsEachBlockOnceHoweverOftenItReads) {
    TraceMaker maker({.lanes = 2, .chunk = 4, .places = 24});
    const U32 message = maker.message("f():1");
    const MemoryOctets memory(maker.octets());
    Reader reader(memory);
    std::vector<U64> found;
    std::vector<U64> written;
    U64 at = 0;
    for (int round = 0; round < 200; ++round) {
        for (int i = 0; i < round % 7; ++i) {
            const unsigned lane = (i * 5 + round) % 3 == 0 ? 1 : 0;
            maker.enter(lane, ++at, {handler, message, 0, 0, {}, 0, {}});
            written.push_back(maker.leave(lane, ++at));
        }
        const Trace trace = reader.read();
        EXPECT_TRUE(trace.damage.none()) << trace.damage.texts().front();
        for (BlockRecord const& block : trace.blocks)
            found.push_back(block.sequence);
    }
    std::ranges::sort(found);
    std::ranges::sort(written);
    EXPECT_EQ(found, written);
}

TEST(Reader, RefusesAnotherTraceThatTakesThePlaceOfItsOwn) {
    TraceMaker maker;
    const MemoryOctets memory(maker.octets());
    Reader reader(memory);
    reader.read();
    maker.put<U64>(At::attachedAt, TraceMaker::attachedAt + 1);
    EXPECT_THROW(reader.read(), Refused);
}

TEST(Find, FindsHeadersAlsoWhereReadingsMeet) {
    const TraceMaker maker = sample();
    constexpr std::size_t piece = std::size_t{1} << 20;
    for (const std::size_t offset : {std::size_t{0}, std::size_t{5}, piece - 12, piece - 11,
                                     piece - 5, piece - 1, piece, 2 * piece - 17}) {
        const std::string core = std::string(offset, 'F') + maker.text() + "FENNIC\r\n, only";
        const MemoryOctets memory(std::as_bytes(std::span(core)));
        EXPECT_EQ(findTraces(memory), std::vector<U64>{offset});
    }
    const std::string none(100, 'F');
    EXPECT_TRUE(findTraces(MemoryOctets(std::as_bytes(std::span(none)))).empty());
}

TEST(Octets, OfAFileThatIsCutShortMeanwhileAreFewer) {
    const TraceInFile file(sample().text());
    const FileOctets octets(file.path());
    Reader reader(octets);
    EXPECT_EQ(reader.read().blocks.size(), sampleFinished);
    std::filesystem::resize_file(file.path(), 200);
    EXPECT_TRUE(saysDamage(reader.read(), "of which 200 are there"));
    std::filesystem::resize_file(file.path(), 10);
    EXPECT_TRUE(saysDamage(reader.read(), "ends within its header"));
}

TEST(Octets, AreNotReadOfWhatIsNoRegularFile) {
    EXPECT_THROW(FileOctets("/nowhere/trace"), std::system_error);
    EXPECT_THROW(FileOctets("/"), std::system_error);
    EXPECT_THROW(FileOctets("/dev/zero"), std::system_error);
}

} // namespace
} // namespace TraceTool::Test
