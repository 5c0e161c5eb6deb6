#include "framework/zel/Trace.h"

#include "framework/zel/Exception.h"
#include "framework/zel/Name.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/TraceCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

namespace {

using Zel::TraceHandle;
using Zel::TraceHelper;
using Zel::TraceRecord;
using Zel::TraceStream;
using Texts = std::vector<std::string>;

constinit TraceHandle traceHandle("TraceTest", false);

template <class T> std::string textOf(T const& value) {
    TraceStream stream;
    stream << value;
    return std::string(stream.text());
}

template <class T>
concept Traceable = requires(TraceStream& stream, T value) {
    stream << value;
};

/// A type that joins in from its own room.
struct Vlan {
    unsigned id;
};

TraceStream& operator<<(TraceStream& stream, Vlan const& vlan) {
    return stream << "vlan " << vlan.id;
}

/// Puts the former sink back at its end.
class SinkGuard {
  public:
    explicit SinkGuard(Zel::TraceSink sink)
        : former_(Zel::traceSinkIs(sink)) {}
    SinkGuard(SinkGuard const&) = delete;
    SinkGuard& operator=(SinkGuard const&) = delete;
    ~SinkGuard() { Zel::traceSinkIs(former_); }

  private:
    Zel::TraceSink former_;
};

// Streams

TEST(TraceStream, WritesTextsAsTheyAre) {
    EXPECT_EQ(textOf("mst1"), "mst1");
    EXPECT_EQ(textOf(static_cast<const char*>("mst1")), "mst1");
    EXPECT_EQ(textOf(Zel::String("mst1")), "mst1");
    EXPECT_EQ(textOf(Zel::String()), "");
    EXPECT_EQ(textOf(std::string_view("a\0b", 3)), std::string("a\0b", 3));
    EXPECT_EQ(textOf(std::string("mst1")), "mst1");
    EXPECT_EQ(textOf(Zel::Name("mst1")), "mst1");
}

TEST(TraceStream, WritesABoolAsAWord) {
    EXPECT_EQ(textOf(true), "true");
    EXPECT_EQ(textOf(false), "false");
}

TEST(TraceStream, WritesUnsignedNumbersInDecimal) {
    EXPECT_EQ(textOf(0u), "0");
    EXPECT_EQ(textOf(4294967295u), "4294967295");
    EXPECT_EQ(textOf(static_cast<unsigned short>(65535)), "65535");
    EXPECT_EQ(textOf(18446744073709551615ul), "18446744073709551615");
    EXPECT_EQ(textOf(18446744073709551615ull), "18446744073709551615");
}

TEST(TraceStream, WritesADoubleAsTheShortestTextThatReadsBackTheSame) {
    using Limits = std::numeric_limits<double>;
    EXPECT_EQ(textOf(0.0), "0");
    EXPECT_EQ(textOf(-0.5), "-0.5");
    EXPECT_EQ(textOf(0.1), "0.1");
    EXPECT_EQ(textOf(1e100), "1e+100");
    EXPECT_EQ(textOf(-Limits::min()), "-2.2250738585072014e-308");
    EXPECT_EQ(textOf(-Limits::max()), "-1.7976931348623157e+308");
    EXPECT_EQ(textOf(-Limits::denorm_min()), "-5e-324");
    EXPECT_EQ(textOf(-Limits::infinity()), "-inf");
    EXPECT_EQ(textOf(Limits::quiet_NaN()), "nan");
}

TEST(TraceStream, DoesNotCompileForWhatHasNoMeaning) {
    static_assert(Traceable<bool> && Traceable<unsigned> && Traceable<const char*>);
    static_assert(!Traceable<int*> && !Traceable<void*> && !Traceable<std::nullptr_t>);
    static_assert(!Traceable<char> && !Traceable<signed char> && !Traceable<Zel::U8>);
    static_assert(!Traceable<unsigned char*> && !Traceable<char16_t>);
    static_assert(!Traceable<int> && !Traceable<long> && !Traceable<float>);
    static_assert(!Traceable<TraceStream* (*)()>);
}

TEST(TraceStream, TakesOperatorsOfOtherTypesAmidItsOwn) {
    TraceStream stream;
    stream << "from " << Vlan{1} << " to " << Vlan{4094} << ": " << true;
    EXPECT_EQ(stream.text(), "from vlan 1 to vlan 4094: true");
}

// Levels

TEST(Trace, AHandleIsOffAtFirst) {
    TraceHandle handle("AHandleIsOffAtFirst", false);
    const TraceCapture capture("AnotherHandle", {8});
    EXPECT_FALSE(handle.levelIsOn(0));
    EXPECT_FALSE(handle.levelIsOn(8));
    EXPECT_FALSE(handle.levelIsOn(9));
    Zel::trace(handle, 8, [](TraceStream& out) { out << "heard"; });
    EXPECT_EQ(capture.texts(), Texts{});
}

TEST(Trace, AHandleThatStartsOnSpeaksAtAllLevels) {
    TraceHandle handle("AHandleThatStartsOn", true);
    EXPECT_TRUE(handle.levelIsOn(0));
    EXPECT_TRUE(handle.levelIsOn(9));
    Zel::traceLevelIs("AHandleThatStartsOn", 9, false);
    EXPECT_TRUE(handle.levelIsOn(0));
    EXPECT_FALSE(handle.levelIsOn(9));
    Zel::traceLevelIs("AHandleThatStartsOn", 9, true);
}

TEST(Trace, EachLevelIsSwitchedAlone) {
    TraceHandle handle("EachLevelIsSwitchedAlone", false);
    Zel::traceLevelIs("EachLevelIsSwitchedAlone", 0, true);
    Zel::traceLevelIs("EachLevelIsSwitchedAlone", 9, true);
    EXPECT_TRUE(handle.levelIsOn(0));
    EXPECT_FALSE(handle.levelIsOn(1));
    EXPECT_FALSE(handle.levelIsOn(8));
    EXPECT_TRUE(handle.levelIsOn(9));
    Zel::traceLevelIs("EachLevelIsSwitchedAlone", 0, false);
    EXPECT_FALSE(handle.levelIsOn(0));
    EXPECT_TRUE(handle.levelIsOn(9));
    Zel::traceLevelIs("EachLevelIsSwitchedAlone", 9, false);
    EXPECT_FALSE(handle.levelIsOn(9));
}

TEST(Trace, ALevelSetBeforeTheHandleExistsIsRemembered) {
    Zel::traceLevelIs("NotYetThere", 3, true);
    Zel::traceLevelIs("NotYetThere", 7, true);
    Zel::traceLevelIs("NotYetThere", 7, false);
    {
        TraceHandle handle("NotYetThere", false);
        EXPECT_TRUE(handle.levelIsOn(3));
        EXPECT_FALSE(handle.levelIsOn(7));
    }
    {
        TraceHandle handle("NotYetThere", true);
        EXPECT_FALSE(handle.levelIsOn(7));
        EXPECT_TRUE(handle.levelIsOn(8));
    }
    Zel::traceLevelIs("NotYetThere", 3, false);
}

TEST(Trace, HandlesOfOneNameAreSwitchedTogether) {
    TraceHandle early("Shared", false);
    EXPECT_FALSE(early.levelIsOn(8));
    Zel::traceLevelIs("Shared", 8, true);
    TraceHandle late("Shared", false);
    TraceHandle other("SharedNot", false);
    EXPECT_TRUE(early.levelIsOn(8));
    EXPECT_TRUE(late.levelIsOn(8));
    EXPECT_FALSE(other.levelIsOn(8));
    Zel::traceLevelIs("Shared", 8, false);
    EXPECT_FALSE(early.levelIsOn(8));
    EXPECT_FALSE(late.levelIsOn(8));
}

TEST(Trace, AHandleThatEndedIsNoLongerSwitched) {
    Zel::traceLevelIs("Ended", 8, false);
    TraceHandle first("Ended", false);
    EXPECT_FALSE(first.levelIsOn(8));
    {
        TraceHandle middle("Ended", false);
        EXPECT_FALSE(middle.levelIsOn(8));
    }
    Zel::traceLevelIs("Ended", 8, true);
    EXPECT_TRUE(first.levelIsOn(8));
    Zel::traceLevelIs("Ended", 8, false);
}

TEST(Trace, TheLevelLastSetCanBeRead) {
    EXPECT_FALSE(Zel::traceLevel("NeverSet", 8));
    Zel::traceLevelIs("Read", 8, true);
    EXPECT_TRUE(Zel::traceLevel("Read", 8));
    EXPECT_FALSE(Zel::traceLevel("Read", 7));
    Zel::traceLevelIs("Read", 8, false);
    EXPECT_FALSE(Zel::traceLevel("Read", 8));
}

TEST(Trace, ALevelAboveNineOrAnEmptyNameIsRefused) {
    EXPECT_THROW(Zel::traceLevelIs("TraceTest", 10, true), Zel::RangeException);
    EXPECT_THROW(Zel::traceLevelIs("TraceTest", 32, false), Zel::RangeException);
    EXPECT_THROW(Zel::traceLevelIs("", 8, true), Zel::RangeException);
    EXPECT_THROW(Zel::traceLevel("TraceTest", 10), Zel::RangeException);
    EXPECT_THROW(Zel::traceLevel("", 0), Zel::RangeException);
    EXPECT_FALSE(traceHandle.levelIsOn(0));
}

TEST(Trace, ALevelThatCannotBeRememberedChangesNothing) {
    TraceHandle handle("NoMemoryForTheSetting", false);
    EXPECT_FALSE(handle.levelIsOn(8));
    {
        const FailingAllocation failure(1);
        EXPECT_THROW(Zel::traceLevelIs("NoMemoryForTheSetting", 8, true), std::bad_alloc);
    }
    EXPECT_FALSE(handle.levelIsOn(8));
    EXPECT_FALSE(Zel::traceLevel("NoMemoryForTheSetting", 8));
}

// Statements

/// Traces as the library's handlers do.
unsigned handleTxMstStatus(Zel::String const& name) {
    // clang-format off
    Zel::trace(traceHandle, 8, [&](TraceStream& out) { out << "TxToRx" << "::" << "handleTxMstStatus" << "() " << "setting rxMstStatus " << name; }); return __LINE__;
    // clang-format on
}

TEST(Trace, ARecordTellsItsTextAndItsPlace) {
    const TraceCapture capture("TraceTest", {8});
    const unsigned line = handleTxMstStatus("mst1");
    ASSERT_EQ(capture.records().size(), 1u);
    TraceCapture::Record const& record = capture.records()[0];
    EXPECT_EQ(record.text, "TxToRx::handleTxMstStatus() setting rxMstStatus mst1");
    EXPECT_EQ(record.file, "TraceTest.cpp");
    EXPECT_EQ(record.line, line);
    EXPECT_EQ(record.function, "handleTxMstStatus");
    EXPECT_EQ(record.handle, "TraceTest");
    EXPECT_EQ(record.level, 8u);
}

TEST(Trace, TheFileIsGivenWithoutFolders) {
    const TraceCapture capture("TraceTest", {8});
    for (const char* file : {"/a/b/File.cpp", "b/File.cpp", "File.cpp"})
        Zel::trace(
            traceHandle, 8, [](TraceStream&) {}, file, 1, "f");
    ASSERT_EQ(capture.records().size(), 3u);
    for (TraceCapture::Record const& record : capture.records())
        EXPECT_EQ(record.file, "File.cpp");
}

TEST(Trace, AnEmptyTextIsTracedToo) {
    const TraceCapture capture("TraceTest", {8});
    Zel::trace(traceHandle, 8, [](TraceStream&) {});
    EXPECT_EQ(capture.texts(), Texts{""});
}

TEST(Trace, NothingIsEvaluatedWhileTheLevelIsOff) {
    const TraceCapture capture("TraceTest", {7, 9});
    unsigned evaluated = 0;
    const auto statement = [&] {
        Zel::trace(traceHandle, 8, [&](TraceStream& out) { out << ++evaluated; });
    };
    statement();
    EXPECT_EQ(evaluated, 0u);
    Zel::traceLevelIs("TraceTest", 8, true);
    statement();
    EXPECT_EQ(evaluated, 1u);
    Zel::traceLevelIs("TraceTest", 8, false);
    statement();
    EXPECT_EQ(evaluated, 1u);
    EXPECT_EQ(capture.texts(), Texts{"1"});
}

TEST(Trace, AStatementThatIsOffAllocatesNothing) {
    const std::size_t before = FailingAllocation::made();
    TraceHandle handle("Unheard", false);
    for (unsigned i = 0; i < 10; ++i)
        Zel::trace(handle, 8, [](TraceStream& out) { out << "a text that is not short at all"; });
    EXPECT_EQ(FailingAllocation::made(), before);
}

TEST(Trace, AHelperExistsOnlyWhileItsLevelIsOn) {
    TraceHelper::Buffer buffer;
    EXPECT_EQ(TraceHelper::createIfEnabled(traceHandle, 3, buffer), nullptr);

    const TraceCapture capture("TraceTest", {3});
    EXPECT_EQ(TraceHelper::createIfEnabled(traceHandle, 2, buffer), nullptr);
    {
        const auto helper = TraceHelper::createIfEnabled(traceHandle, 3, buffer);
        ASSERT_NE(helper, nullptr);
        EXPECT_EQ(static_cast<void*>(helper.get()), static_cast<void*>(&buffer));
        helper->stream() << "Packet allocation failed, after a text that needs memory of its own";
        EXPECT_EQ(capture.texts(), Texts{});
        helper->trace("/bpdu/VarnolUtils.cpp", 77, "VarnolGetPkt");
    }
    ASSERT_EQ(capture.records().size(), 1u);
    EXPECT_EQ(capture.records()[0].text,
              "Packet allocation failed, after a text that needs memory of its own");
    EXPECT_EQ(capture.records()[0].file, "VarnolUtils.cpp");
    EXPECT_EQ(capture.records()[0].line, 77u);
    EXPECT_EQ(capture.records()[0].function, "VarnolGetPkt");
    EXPECT_EQ(capture.records()[0].level, 3u);
}

TEST(Trace, AStatementWithinAnothersTextIsTracedFirst) {
    const TraceCapture capture("TraceTest", {8});
    Zel::trace(traceHandle, 8, [](TraceStream& out) {
        out << "outer ";
        Zel::trace(traceHandle, 8, [](TraceStream& inner) { inner << "inner"; });
        out << "text";
    });
    EXPECT_EQ(capture.texts(), (Texts{"inner", "outer text"}));
}

TEST(Trace, ATextThatCannotBeComposedIsGivenUpAndCounted) {
    const TraceCapture capture("TraceTest", {8});
    const Zel::U64 lost = Zel::tracesLost();
    Zel::trace(traceHandle, 8, [](TraceStream& out) {
        out << "begun";
        throw std::runtime_error("no value");
    });
    {
        const FailingAllocation failure(1);
        Zel::trace(traceHandle, 8,
                   [](TraceStream& out) { out << "a text that needs memory of its own"; });
        EXPECT_TRUE(failure.happened());
    }
    EXPECT_EQ(Zel::tracesLost(), lost + 2);
    Zel::trace(traceHandle, 8, [](TraceStream& out) { out << "next"; });
    EXPECT_EQ(capture.texts(), Texts{"next"});
}

// Sinks

TEST(Trace, ReplacingTheSinkReturnsTheFormerOne) {
    const Zel::TraceSink first{[](TraceRecord const&, void*) {}, &traceHandle};
    const Zel::TraceSink second{[](TraceRecord const&, void*) {}, nullptr};
    const Zel::TraceSink before = Zel::traceSinkIs(first);
    EXPECT_EQ(before, Zel::TraceSink{});
    EXPECT_EQ(Zel::traceSinkIs(second), first);
    EXPECT_EQ(Zel::traceSinkIs(before), second);
}

TEST(Trace, SinksAreEqualWhereFunctionAndContextAre) {
    const auto take = [](TraceRecord const&, void*) {};
    const Zel::TraceSink sink{take, &traceHandle};
    EXPECT_TRUE(sink == (Zel::TraceSink{take, &traceHandle}));
    EXPECT_FALSE(sink == (Zel::TraceSink{take, nullptr}));
    EXPECT_FALSE(sink == (Zel::TraceSink{[](TraceRecord const&, void*) {}, &traceHandle}));
}

TEST(Trace, ASinkWithoutAFunctionIsRefused) {
    EXPECT_THROW(Zel::traceSinkIs({nullptr, nullptr}), Zel::RangeException);
    EXPECT_EQ(Zel::traceSinkIs({}), Zel::TraceSink{});
}

TEST(Trace, WhatASinkTracesIsDroppedAndCounted) {
    const TraceCapture levels("TraceTest", {8});
    unsigned calls = 0;
    const SinkGuard sink({[](TraceRecord const&, void* context) {
                              ++*static_cast<unsigned*>(context);
                              Zel::trace(traceHandle, 8, [](TraceStream& out) { out << "echo"; });
                          },
                          &calls});
    const Zel::U64 lost = Zel::tracesLost();
    handleTxMstStatus("mst1");
    handleTxMstStatus("mst2");
    EXPECT_EQ(calls, 2u);
    EXPECT_EQ(Zel::tracesLost(), lost + 2);
}

TEST(Trace, AnExceptionOfASinkEndsAtTheStatement) {
    const TraceCapture capture("TraceTest", {8});
    const Zel::U64 lost = Zel::tracesLost();
    {
        const SinkGuard sink(
            {[](TraceRecord const&, void*) { throw std::runtime_error("disk full"); }, nullptr});
        EXPECT_NO_THROW(handleTxMstStatus("mst1"));
        EXPECT_NO_THROW(handleTxMstStatus("mst2"));
    }
    EXPECT_EQ(Zel::tracesLost(), lost + 2);
    handleTxMstStatus("mst3");
    EXPECT_EQ(capture.texts(), Texts{"TxToRx::handleTxMstStatus() setting rxMstStatus mst3"});
}

TEST(Trace, ASinkMayReplaceItself) {
    const TraceCapture capture("TraceTest", {8});
    struct Once {
        Zel::TraceSink next;
        unsigned calls = 0;
    };
    Once once;
    once.next = Zel::traceSinkIs({[](TraceRecord const&, void* context) {
                                      auto& self = *static_cast<Once*>(context);
                                      ++self.calls;
                                      Zel::traceSinkIs(self.next);
                                  },
                                  &once});
    handleTxMstStatus("mst1");
    handleTxMstStatus("mst2");
    EXPECT_EQ(once.calls, 1u);
    EXPECT_EQ(capture.texts(), Texts{"TxToRx::handleTxMstStatus() setting rxMstStatus mst2"});
}

TEST(Trace, ASinkMaySwitchLevels) {
    const TraceCapture levels("TraceTest", {8});
    unsigned calls = 0;
    const SinkGuard sink({[](TraceRecord const& record, void* context) {
                              ++*static_cast<unsigned*>(context);
                              Zel::traceLevelIs(record.handle, record.level, false);
                          },
                          &calls});
    handleTxMstStatus("mst1");
    handleTxMstStatus("mst2");
    EXPECT_EQ(calls, 1u);
}

TEST(Trace, TheDefaultSinkWritesOneLineToStderr) {
    const TraceCapture levels("TraceTest", {8});
    const SinkGuard sink({});
    testing::internal::CaptureStderr();
    const unsigned line = handleTxMstStatus("mst1");
    handleTxMstStatus(std::string_view("two\nlines\x7f", 10));
    const std::string place =
        "TraceTest/8 TraceTest.cpp:" + std::to_string(line) + " handleTxMstStatus: ";
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              place + "TxToRx::handleTxMstStatus() setting rxMstStatus mst1\n" + place +
                  "TxToRx::handleTxMstStatus() setting rxMstStatus two?lines?\n");
}

TEST(Trace, ALineThatCannotBeWrittenIsCounted) {
    const TraceCapture levels("TraceTest", {8});
    const SinkGuard sink({});
    const Zel::U64 lost = Zel::tracesLost();
    const int saved = ::dup(STDERR_FILENO);
    ASSERT_GE(saved, 0);
    ::close(STDERR_FILENO);
    handleTxMstStatus("mst1");
    ASSERT_EQ(::dup2(saved, STDERR_FILENO), STDERR_FILENO);
    ::close(saved);
    EXPECT_EQ(Zel::tracesLost(), lost + 1);
}

TEST(Trace, ACaptureEndsWithTheFormerSinkAndLevels) {
    Zel::traceLevelIs("TraceTest", 2, true);
    const Zel::TraceSink before = Zel::traceSinkIs({});
    Zel::traceSinkIs(before);
    {
        TraceCapture capture("TraceTest", {2, 3});
        capture.levelsOn("Elsewhere", {8});
        EXPECT_TRUE(traceHandle.levelIsOn(3));
        EXPECT_TRUE(Zel::traceLevel("Elsewhere", 8));
        {
            const TraceCapture nested("TraceTest", {3, 8});
            handleTxMstStatus("nested");
            EXPECT_EQ(nested.texts().size(), 1u);
        }
        EXPECT_TRUE(traceHandle.levelIsOn(3));
        EXPECT_FALSE(traceHandle.levelIsOn(8));
        EXPECT_EQ(capture.texts(), Texts{});
    }
    EXPECT_EQ(Zel::traceSinkIs(before), before);
    EXPECT_TRUE(traceHandle.levelIsOn(2));
    EXPECT_FALSE(traceHandle.levelIsOn(3));
    EXPECT_FALSE(Zel::traceLevel("Elsewhere", 8));
    Zel::traceLevelIs("TraceTest", 2, false);
}

// Threads

TEST(Trace, TwoThreadsMayMeetANewHandle) {
    const TraceCapture levels("Met", {8});
    for (unsigned round = 0; round < 60; ++round) {
        TraceHandle handle("Met", false);
        std::atomic<unsigned> arrived{0};
        unsigned heard[2] = {0, 0};
        const auto work = [&](unsigned thread) {
            ++arrived;
            while (arrived != 2)
                std::this_thread::yield();
            heard[thread] = handle.levelIsOn(8) ? 1 : 0;
        };
        std::thread first(work, 0u);
        std::thread second(work, 1u);
        first.join();
        second.join();
        EXPECT_EQ(heard[0] + heard[1], 2u);
    }
}

TEST(Trace, AFormerSinkIsNoLongerRunning) {
    const TraceCapture levels("TraceTest", {8});
    struct {
        std::atomic<bool> entered{false};
        std::atomic<bool> left{false};
    } call;
    const auto former = Zel::traceSinkIs({[](TraceRecord const&, void* context) {
                                              auto& self = *static_cast<decltype(call)*>(context);
                                              self.entered = true;
                                              ::usleep(20'000);
                                              self.left = true;
                                          },
                                          &call});
    std::thread tracing([] { handleTxMstStatus("mst1"); });
    while (!call.entered)
        std::this_thread::yield();
    Zel::traceSinkIs(former);
    EXPECT_TRUE(call.left);
    tracing.join();
}

TEST(Trace, ADeletedSinkIsReplacedByTheDefaultOneIfItIsInUse) {
    const Zel::TraceSink sink{[](TraceRecord const&, void*) {}, &traceHandle};
    const Zel::TraceSink other{[](TraceRecord const&, void*) {}, nullptr};
    const Zel::TraceSink before = Zel::traceSinkIs(sink);
    Zel::traceSinkDel(other);
    EXPECT_EQ(Zel::traceSinkIs(sink), sink);
    Zel::traceSinkDel(sink);
    EXPECT_EQ(Zel::traceSinkIs(before), Zel::TraceSink{});
}

TEST(Trace, ADeletedSinkIsNoLongerRunning) {
    const TraceCapture levels("TraceTest", {8});
    struct {
        std::atomic<bool> entered{false};
        std::atomic<bool> left{false};
    } call;
    const Zel::TraceSink sink{[](TraceRecord const&, void* context) {
                                  auto& self = *static_cast<decltype(call)*>(context);
                                  self.entered = true;
                                  ::usleep(20'000);
                                  self.left = true;
                              },
                              &call};
    Zel::traceSinkIs(sink);
    std::thread tracing([] { handleTxMstStatus("mst1"); });
    while (!call.entered)
        std::this_thread::yield();
    Zel::traceSinkDel(sink);
    EXPECT_TRUE(call.left);
    tracing.join();
}

TEST(Trace, ASinkMayDeleteItself) {
    const TraceCapture capture("TraceTest", {8});
    struct Once {
        static void take(TraceRecord const&, void* context) {
            ++static_cast<Once*>(context)->calls;
            Zel::traceSinkDel({&take, context});
        }
        unsigned calls = 0;
    };
    Once once;
    const SinkGuard guard({&Once::take, &once});
    testing::internal::CaptureStderr();
    handleTxMstStatus("mst1");
    handleTxMstStatus("mst2");
    EXPECT_TRUE(testing::internal::GetCapturedStderr().ends_with("mst2\n"));
    EXPECT_EQ(once.calls, 1u);
}

TEST(Trace, TwoThreadsMayTraceWhileLevelsAndSinksChange) {
    constexpr unsigned rounds = 500;
    TraceHandle handle("TwoThreads", false);
    const TraceCapture capture("TwoThreads", {8});
    const auto work = [&handle](unsigned thread) {
        for (unsigned round = 0; round < rounds; ++round)
            Zel::trace(handle, 8, [&](TraceStream& out) { out << thread << " " << round; });
    };
    std::thread first(work, 1u);
    std::thread second(work, 2u);
    for (unsigned round = 0; round < rounds; ++round) {
        Zel::traceLevelIs("TwoThreads", 7, round % 2 == 0);
        Zel::traceSinkIs(Zel::traceSinkIs({[](TraceRecord const&, void*) {}, nullptr}));
    }
    first.join();
    second.join();

    // Some went to the sink that drops; what was captured is whole, and in order for each thread.
    unsigned next[3] = {0, 0, 0};
    for (std::string const& text : capture.texts()) {
        unsigned thread = 0;
        unsigned round = 0;
        std::istringstream(text) >> thread >> round;
        ASSERT_TRUE(thread == 1 || thread == 2) << text;
        ASSERT_EQ(text, std::to_string(thread) + " " + std::to_string(round));
        EXPECT_GE(round, next[thread]);
        next[thread] = round + 1;
    }
}

TEST(Trace, NoTextOfTwoThreadsIsLost) {
    constexpr unsigned rounds = 500;
    TraceHandle handle("NoneLost", false);
    const TraceCapture capture("NoneLost", {8});
    const Zel::U64 lost = Zel::tracesLost();
    const auto work = [&handle] {
        for (unsigned round = 0; round < rounds; ++round)
            Zel::trace(handle, 8, [&](TraceStream& out) { out << round; });
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_EQ(capture.records().size(), 2 * rounds);
    EXPECT_EQ(Zel::tracesLost(), lost);
}

TEST(Trace, LinesOfTwoThreadsDoNotInterleave) {
    constexpr unsigned rounds = 200;
    const TraceCapture levels("TraceTest", {8});
    const SinkGuard sink({});
    testing::internal::CaptureStderr();
    unsigned line = 0;
    const auto work = [] {
        for (unsigned round = 0; round < rounds; ++round)
            handleTxMstStatus("mst1");
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    line = handleTxMstStatus("mst1");

    std::istringstream lines(testing::internal::GetCapturedStderr());
    unsigned count = 0;
    for (std::string text; std::getline(lines, text); ++count)
        ASSERT_EQ(text, "TraceTest/8 TraceTest.cpp:" + std::to_string(line) +
                            " handleTxMstStatus: "
                            "TxToRx::handleTxMstStatus() setting rxMstStatus mst1");
    EXPECT_EQ(count, 2 * rounds + 1);
}

} // namespace
