#include "framework/zel/TraceLine.h"

#include "framework/zel/LineWriter.h"
#include "framework/zel/Trace.h"
#include "tests/framework/TraceCapture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <functional>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

using Zel::TraceLineFormat;
using Zel::TraceRecord;

TraceRecord record(std::string_view text) {
    return {.text = text,
            .file = "StpTxStatusSyncer.cpp",
            .line = 212,
            .function = "handleTxMstStatus",
            .handle = "StpTxStatusSyncer",
            .level = 8};
}

std::chrono::system_clock::time_point at(long long microseconds) {
    return std::chrono::system_clock::time_point(std::chrono::microseconds(microseconds));
}

std::string timeOf(std::chrono::system_clock::time_point time) {
    const std::string line = Zel::traceLine(record("text"), {.time = true, .place = false}, time);
    return line.substr(0, line.find(' '));
}

TEST(TraceLine, HasWhatItsFormatSays) {
    const auto time = at(1'772'269'507'000'042);
    EXPECT_EQ(Zel::traceLine(record("mst1"), {}, time),
              "StpTxStatusSyncer/8 StpTxStatusSyncer.cpp:212 handleTxMstStatus: mst1");
    EXPECT_EQ(Zel::traceLine(record("mst1"), {.time = true, .place = true}, time),
              "2026-02-28T09:05:07.000042Z StpTxStatusSyncer/8 StpTxStatusSyncer.cpp:212 "
              "handleTxMstStatus: mst1");
    EXPECT_EQ(Zel::traceLine(record("mst1"), {.time = true, .place = false}, time),
              "2026-02-28T09:05:07.000042Z StpTxStatusSyncer/8: mst1");
    EXPECT_EQ(Zel::traceLine(record("mst1"), {.time = false, .place = false}, time),
              "StpTxStatusSyncer/8: mst1");
    EXPECT_EQ(Zel::traceLine(record(""), {.time = false, .place = false}, time),
              "StpTxStatusSyncer/8: ");
}

TEST(TraceLine, TellsTheTimeInUtcWithMicroseconds) {
    EXPECT_EQ(timeOf(at(0)), "1970-01-01T00:00:00.000000Z");
    EXPECT_EQ(timeOf(at(-1)), "1969-12-31T23:59:59.999999Z");
    EXPECT_EQ(timeOf(at(951'782'400'000'000)), "2000-02-29T00:00:00.000000Z");
    EXPECT_EQ(timeOf(at(4'102'444'799'999'999)), "2099-12-31T23:59:59.999999Z");
    EXPECT_EQ(timeOf(at(5) + std::chrono::nanoseconds(999)), "1970-01-01T00:00:00.000005Z");
}

TEST(TraceLine, TellsTimesBeyond32BitsOfSeconds) {
    constexpr long long second = 1'000'000;
    EXPECT_EQ(timeOf(at((1LL << 31) * second - 1)), "2038-01-19T03:14:07.999999Z");
    EXPECT_EQ(timeOf(at((1LL << 31) * second)), "2038-01-19T03:14:08.000000Z");
    EXPECT_EQ(timeOf(at((1LL << 32) * second - 1)), "2106-02-07T06:28:15.999999Z");
    EXPECT_EQ(timeOf(at((1LL << 32) * second)), "2106-02-07T06:28:16.000000Z");
}

TEST(TraceLine, TellsTheFirstAndTheLastTimeOfTheClock) {
    using Time = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;
    EXPECT_EQ(timeOf(Time::max()), "2262-04-11T23:47:16.854775Z");
    EXPECT_EQ(timeOf(Time::min()), "1677-09-21T00:12:43.145224Z");
}

TEST(TraceLine, TellsTheSameTimeInEveryZone) {
    const char* const zone = std::getenv("TZ");
    const std::string former = zone ? zone : "";
    ::setenv("TZ", "EST+5", 1);
    ::tzset();
    EXPECT_EQ(timeOf(at(0)), "1970-01-01T00:00:00.000000Z");
    if (zone)
        ::setenv("TZ", former.c_str(), 1);
    else
        ::unsetenv("TZ");
    ::tzset();
}

TEST(TraceLine, HasPartsOfAnyLength) {
    const auto time = at(1'772'269'507'000'042);
    const std::string part(70, 'x');
    const auto expectWhole = [time](TraceRecord const& all) {
        const std::string handle = std::string(all.handle) + "/" + std::to_string(all.level);
        const std::string place = " " + std::string(all.file) + ":" + std::to_string(all.line) +
                                  " " + std::string(all.function);
        for (const bool hasTime : {false, true})
            for (const bool hasPlace : {false, true}) {
                EXPECT_EQ(Zel::traceLine(all, {.time = hasTime, .place = hasPlace}, time),
                          (hasTime ? "2026-02-28T09:05:07.000042Z " : "") + handle +
                              (hasPlace ? place : "") + ": " + std::string(all.text));
            }
    };
    for (std::size_t size = 0; size <= part.size(); ++size) {
        const std::string text = part.substr(0, size);
        TraceRecord all{
            .text = "t", .file = "f", .line = 1, .function = "f", .handle = "h", .level = 1};
        const TraceRecord few = all;
        all.handle = text;
        expectWhole(all);
        all = few;
        all.file = text;
        expectWhole(all);
        all = few;
        all.function = text;
        expectWhole(all);
        all = few;
        all.text = text;
        expectWhole(all);
    }
}

TEST(TraceLine, LeavesATextAsItIsOctetForOctet) {
    std::string text;
    for (char c = 0x20; c < 0x7f; ++c)
        text += c;
    text += "\xc3\xa4\xe2\x82\xac\xf0\x9f\x8c\xb3"; // 2, 3 and 4 octets of UTF-8
    for (unsigned octet = 0x80; octet <= 0xff; ++octet)
        text += static_cast<char>(octet); // and what is none
    const std::string head = "StpTxStatusSyncer/8: ";
    EXPECT_EQ(Zel::traceLine(record(text), {.time = false, .place = false}, {}), head + text);
}

TEST(TraceLine, HasAQuestionMarkForEachControlCharacter) {
    std::string text;
    for (char c = 0; c < 0x20; ++c)
        text += c;
    text += '\x7f';
    EXPECT_EQ(Zel::traceLine(record(text), {.time = false, .place = false}, {}),
              "StpTxStatusSyncer/8: " + std::string(33, '?'));
}

// The sink that writes them to stderr

/// What a sink writes to stderr for a record.
std::string written(TraceLineFormat format) {
    const Zel::TraceSink sink = Zel::traceStderrSink(format);
    testing::internal::CaptureStderr();
    sink.function(record("mst1"), sink.context);
    return testing::internal::GetCapturedStderr();
}

TEST(TraceStderrSink, OfTheDefaultFormatIsTheDefaultSink) {
    EXPECT_EQ(Zel::traceStderrSink({}), Zel::TraceSink{});
}

TEST(TraceStderrSink, OfEachFormatIsAnotherFunctionAndNeedsNoContext) {
    std::set<Zel::TraceSink::Function*> functions;
    for (const bool time : {false, true})
        for (const bool place : {false, true}) {
            const Zel::TraceSink sink = Zel::traceStderrSink({.time = time, .place = place});
            EXPECT_TRUE(functions.insert(sink.function).second);
            EXPECT_EQ(sink.context, nullptr);
        }
}

TEST(TraceStderrSink, WritesLinesOfItsFormat) {
    const std::string time = "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}Z ";
    const std::string handle = "StpTxStatusSyncer/8";
    const std::string place = " StpTxStatusSyncer\\.cpp:212 handleTxMstStatus";
    for (const bool hasTime : {false, true})
        for (const bool hasPlace : {false, true}) {
            const std::string line = written({.time = hasTime, .place = hasPlace});
            EXPECT_TRUE(std::regex_match(line, std::regex((hasTime ? time : "") + handle +
                                                          (hasPlace ? place : "") + ": mst1\n")))
                << line;
        }
}

TEST(TraceStderrSink, TellsTheTimeThatItIs) {
    // The texts of times are ordered as the times are.
    const std::string before = timeOf(std::chrono::system_clock::now());
    const std::string time = written({.time = true, .place = true}).substr(0, before.size());
    EXPECT_LE(before, time);
    EXPECT_LE(time, timeOf(std::chrono::system_clock::now()));
}

// How a line is written

/// A file that takes octets as the answers say, one for each write, and then all.
struct File {
    /// How many octets it takes; below 0 for an error.
    std::vector<int> answers;
    std::vector<std::string> writes;
    std::string taken;
};
File* file = nullptr;

ssize_t writeToFile(int, const void* octets, std::size_t count) {
    file->writes.emplace_back(static_cast<const char*>(octets), count);
    auto take = static_cast<ssize_t>(count);
    if (!file->answers.empty()) {
        take = file->answers.front();
        file->answers.erase(file->answers.begin());
    }
    if (take < 0) {
        errno = static_cast<int>(-take);
        return -1;
    }
    file->taken.append(file->writes.back(), 0, static_cast<std::size_t>(take));
    return take;
}

class LineWriterTest : public testing::Test {
  protected:
    LineWriterTest() { file = &file_; }
    ~LineWriterTest() override { file = nullptr; }

    /// 0 when the line was written; the error else.
    int write(std::string const& line) {
        try {
            writer_(7, line);
            return 0;
        } catch (std::system_error const& error) {
            return error.code().value();
        }
    }

    File file_;
    Zel::LineWriter writer_{&writeToFile};
};

TEST_F(LineWriterTest, WritesALineAtOnce) {
    EXPECT_EQ(write("one"), 0);
    EXPECT_EQ(write(""), 0);
    EXPECT_EQ(file_.writes, (std::vector<std::string>{"one\n", "\n"}));
}

TEST_F(LineWriterTest, BeginsAgainAfterASignal) {
    file_.answers = {-EINTR, -EINTR, 4};
    EXPECT_EQ(write("one"), 0);
    EXPECT_EQ(file_.writes, (std::vector<std::string>{"one\n", "one\n", "one\n"}));
    EXPECT_EQ(file_.taken, "one\n");
}

TEST_F(LineWriterTest, GoesOnWhereTheSystemTookAPart) {
    file_.answers = {1, -EINTR, 2};
    EXPECT_EQ(write("one"), 0);
    EXPECT_EQ(file_.writes, (std::vector<std::string>{"one\n", "ne\n", "ne\n", "\n"}));
    EXPECT_EQ(write("two"), 0);
    EXPECT_EQ(file_.taken, "one\ntwo\n");
}

TEST_F(LineWriterTest, ThrowsWhereALineIsNotTaken) {
    file_.answers = {-ENOSPC};
    EXPECT_EQ(write("one"), ENOSPC);
    file_.answers = {0};
    EXPECT_EQ(write("two"), EIO);
    EXPECT_EQ(write("three"), 0);
    EXPECT_EQ(file_.taken, "three\n");
}

TEST_F(LineWriterTest, EndsALineThatWasCutOffBeforeTheNext) {
    file_.answers = {2, -ENOSPC, -ENOSPC, 1, -ENOSPC};
    EXPECT_EQ(write("one"), ENOSPC);
    EXPECT_EQ(write("two"), ENOSPC);
    EXPECT_EQ(file_.taken, "on");
    EXPECT_EQ(write("three"), ENOSPC);
    EXPECT_EQ(file_.taken, "on\n");
    EXPECT_EQ(write("four"), 0);
    EXPECT_EQ(file_.taken, "on\nfour\n");
}

TEST_F(LineWriterTest, EndsALineOnlyIfItWasCutOff) {
    EXPECT_EQ(write("one"), 0);
    writer_.endLine(7);
    EXPECT_EQ(file_.taken, "one\n");
    file_.answers = {1, -ENOSPC, -ENOSPC};
    EXPECT_EQ(write("two"), ENOSPC);
    writer_.endLine(7);
    EXPECT_EQ(file_.taken, "one\nt");
    writer_.endLine(7);
    writer_.endLine(7);
    EXPECT_EQ(file_.taken, "one\nt\n");
    EXPECT_EQ(write("three"), 0);
    EXPECT_EQ(file_.taken, "one\nt\nthree\n");
}

TEST_F(LineWriterTest, TakesLinesOfAnyLengthWithAndWithoutRoomForMore) {
    for (std::size_t size = 0; size <= 70; ++size)
        for (const std::size_t room : {0U, 1U, 2U})
            for (const bool isTorn : {false, true}) {
                if (isTorn) {
                    file_.answers = {1, -ENOSPC};
                    EXPECT_EQ(write("torn"), ENOSPC);
                }
                file_.writes.clear();
                std::string line;
                line.reserve(size + room);
                line.append(size, 'x');
                writer_(7, std::move(line));
                EXPECT_EQ(file_.writes, (std::vector<std::string>{(isTorn ? "\n" : "") +
                                                                  std::string(size, 'x') + "\n"}));
            }
}

TEST_F(LineWriterTest, BeginsANewFileWithALine) {
    file_.answers = {1, -ENOSPC};
    EXPECT_EQ(write("one"), ENOSPC);
    writer_.fileIsNew();
    EXPECT_EQ(write("two"), 0);
    EXPECT_EQ(file_.writes.back(), "two\n");
}

} // namespace
