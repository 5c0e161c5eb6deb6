#include "agent/io/EventLoop.h"
#include "agent/io/Descriptor.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <vector>

#include <gtest/gtest.h>

namespace Agent::Test {
namespace {

/// A descriptor that is always readable.
Descriptor readable() { return Descriptor(eventfd(1, EFD_NONBLOCK | EFD_CLOEXEC)); }
Descriptor unreadable() { return Descriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)); }

TEST(EventLoop, CallsTheHandlersOfWhatIsReadyAndNoOthers) {
    EventLoop loop;
    const Descriptor ready = readable();
    const Descriptor idle = unreadable();
    int calls = 0;
    loop.watch(ready.number(), POLLIN, [&] { ++calls; });
    loop.watch(idle.number(), POLLIN, [&] { ADD_FAILURE(); });
    loop.turn(Time::max());
    loop.turn(Time::max());
    EXPECT_EQ(calls, 2);
}

TEST(EventLoop, AHandlerMayUnwatchItself) {
    EventLoop loop;
    const Descriptor ready = readable();
    int calls = 0;
    loop.watch(ready.number(), POLLIN, [&] {
        ++calls;
        loop.unwatch(ready.number());
        ++calls; // what it holds on to is still there
    });
    loop.turn(loop.now());
    loop.turn(loop.now());
    EXPECT_EQ(calls, 2);
}

TEST(EventLoop, AHandlerThatIsUnwatchedOrReplacedByAnotherIsNotCalledAnyMore) {
    EventLoop loop;
    const Descriptor first = readable();
    const Descriptor second = readable();
    const Descriptor third = readable();
    ASSERT_LT(first.number(), second.number());
    int calls = 0;
    loop.watch(first.number(), POLLIN, [&] {
        loop.unwatch(first.number());
        loop.unwatch(second.number());
        loop.watch(third.number(), POLLIN, [&] { ++calls; });
    });
    loop.watch(second.number(), POLLIN, [] { ADD_FAILURE() << "unwatched"; });
    loop.watch(third.number(), POLLIN, [] { ADD_FAILURE() << "replaced"; });
    loop.turn(loop.now());
    EXPECT_EQ(calls, 0) << "it was not the one that was ready";
    loop.turn(loop.now());
    EXPECT_EQ(calls, 1);
}

TEST(EventLoop, ATimerRingsOnceEachTimeThatItIsSet) {
    EventLoop loop;
    int rings = 0;
    const auto timer = loop.timer([&] { ++rings; });
    loop.turn(loop.now());
    EXPECT_EQ(rings, 0);
    loop.timerIs(timer, loop.now());
    loop.turn(loop.now());
    loop.turn(loop.now());
    EXPECT_EQ(rings, 1);
    loop.timerIs(timer, loop.now());
    loop.timerIs(timer, std::nullopt);
    loop.turn(loop.now());
    EXPECT_EQ(rings, 1);
}

TEST(EventLoop, ATimersHandlerMaySetItAgainAndMakeMoreTimers) {
    EventLoop loop;
    std::vector<int> rings;
    EventLoop::Timer timer = 0;
    timer = loop.timer([&] {
        rings.push_back(1);
        for (int i = 0; i < 100; ++i)
            loop.timerIs(loop.timer([&] { rings.push_back(2); }), loop.now());
        if (rings.size() == 1)
            loop.timerIs(timer, loop.now());
    });
    loop.timerIs(timer, loop.now());
    for (int i = 0; i < 4; ++i)
        loop.turn(loop.now());
    EXPECT_EQ(rings.size(), 2 + 200);
}

TEST(EventLoop, WhatIsAlwaysReadyDoesNotKeepTimersFromRinging) {
    EventLoop loop;
    const Descriptor ready = readable();
    loop.watch(ready.number(), POLLIN, [] {});
    loop.timerIs(loop.timer([&] { loop.stop(); }), loop.now() + std::chrono::milliseconds(5));
    loop.run();
    SUCCEED() << "run() has come to an end";
}

} // namespace
} // namespace Agent::Test
