#pragma once

#include "platform/kolvu/Pkt.h"
#include "tests/framework/FailingAllocation.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <string>
#include <string_view>

#include <unistd.h>

#include <gtest/gtest.h>

/// Assertions that end the process, as they are seen from outside.
namespace AssertionTest {

inline Zel::U32 packetsBefore = 0;
inline std::size_t allocationsBefore = 0;
inline void (*handlerBefore)(int) = SIG_DFL;

/// Says on stderr, as the last thing, what the process has taken since.
inline void tellTakenAtAbort() {
    packetsBefore = Kolvu::globalPktManager().inUse();
    allocationsBefore = FailingAllocation::made();
    handlerBefore = std::signal(SIGABRT, [](int signal) {
        const bool noPacket = Kolvu::globalPktManager().inUse() == packetsBefore;
        const bool noMemory = FailingAllocation::made() == allocationsBefore;
        const std::string_view text = !noPacket  ? "packets taken\n"
                                      : noMemory ? "no packet taken, nothing allocated\n"
                                                 : "no packet taken, memory allocated\n";
        [[maybe_unused]] const auto written = ::write(STDERR_FILENO, text.data(), text.size());
        if (handlerBefore != SIG_DFL)
            handlerBefore(signal);
    });
}

/// A regular expression that matches just this text.
inline std::string literally(std::string_view text) {
    std::string expression;
    for (char c : text) {
        if (std::string_view("()[]{}.*+?|^$\\").find(c) != std::string_view::npos)
            expression += '\\';
        expression += c;
    }
    return expression;
}

/// A regular expression for what may have been taken when an assertion fails: by the statement's
/// arguments, memory.
inline constexpr std::string_view noPacket = "no packet taken, (nothing|memory) allocated";
inline constexpr std::string_view nothing = "no packet taken, nothing allocated";

/// Matches stderr as a whole: what was traced, the line that the C library writes for a failed
/// assertion of the frame-building file, and what was taken until then.
inline std::string stderrOf(std::string_view function, std::string_view expression,
                            std::string_view traced = "", std::string_view taken = noPacket) {
    return "^" + std::string(traced) + literally(program_invocation_short_name) +
           ": bpdu/VarnolUtils\\.cpp:[0-9]+: " + literally(function) + ": Assertion `" +
           literally(expression) + "' failed\\.\n" + std::string(taken) + "\n$";
}

} // namespace AssertionTest

/// The statement ends the process by that assertion, before it takes more than TAKEN says.
#define EXPECT_ASSERTION_WITH_(STATEMENT, FUNCTION, EXPRESSION, TAKEN)                             \
    EXPECT_EXIT(                                                                                   \
        {                                                                                          \
            ::AssertionTest::tellTakenAtAbort();                                                   \
            STATEMENT;                                                                             \
        },                                                                                         \
        ::testing::KilledBySignal(SIGABRT),                                                        \
        ::AssertionTest::stderrOf(FUNCTION, EXPRESSION, "", TAKEN))

/// The statement ends the process by that assertion, before it takes a packet from the pool.
#define EXPECT_ASSERTION(STATEMENT, FUNCTION, EXPRESSION)                                          \
    EXPECT_ASSERTION_WITH_(STATEMENT, FUNCTION, EXPRESSION, ::AssertionTest::noPacket)

/// The statement ends the process by that assertion, before it allocates anything at all.
#define EXPECT_ASSERTION_AT_ONCE(STATEMENT, FUNCTION, EXPRESSION)                                  \
    EXPECT_ASSERTION_WITH_(STATEMENT, FUNCTION, EXPRESSION, ::AssertionTest::nothing)
