#pragma once

#include "platform/kolvu/Pkt.h"

#include <cerrno>
#include <csignal>
#include <string>
#include <string_view>

#include <unistd.h>

#include <gtest/gtest.h>

/// Assertions that end the process, as they are seen from outside.
namespace AssertionTest {

inline Zel::U32 packetsBefore = 0;

/// Says on stderr, as the last thing, how many packets the process has taken since.
inline void tellPacketsAtAbort() {
    packetsBefore = Kolvu::globalPktManager().inUse();
    std::signal(SIGABRT, [](int) {
        const bool none = Kolvu::globalPktManager().inUse() == packetsBefore;
        const std::string_view text = none ? "no packet taken\n" : "packets taken\n";
        [[maybe_unused]] const auto written = ::write(STDERR_FILENO, text.data(), text.size());
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

/// Matches stderr as a whole: what was traced, the line that the C library writes for a failed
/// assertion of the frame-building file, and that no packet was taken until then.
inline std::string stderrOf(std::string_view function, std::string_view expression,
                            std::string_view traced = "") {
    return "^" + std::string(traced) + literally(program_invocation_short_name) +
           ": bpdu/VarnolUtils\\.cpp:[0-9]+: " + literally(function) + ": Assertion `" +
           literally(expression) + "' failed\\.\nno packet taken\n$";
}

} // namespace AssertionTest

/// The statement ends the process by that assertion, before it takes a packet from the pool.
#define EXPECT_ASSERTION(STATEMENT, FUNCTION, EXPRESSION)                                          \
    EXPECT_EXIT(                                                                                   \
        {                                                                                          \
            ::AssertionTest::tellPacketsAtAbort();                                                 \
            STATEMENT;                                                                             \
        },                                                                                         \
        ::testing::KilledBySignal(SIGABRT), ::AssertionTest::stderrOf(FUNCTION, EXPRESSION))
