#include "agent/bpdu/Refusal.h"

#include <gtest/gtest.h>

#include <csignal>
#include <set>
#include <string>

namespace Agent {
namespace {

constexpr Refusal refusalAt(std::size_t index) { return static_cast<Refusal>(index); }

TEST(Refusal, HasANameInSnakeCaseThatNoOtherHas) {
    std::set<std::string_view> names;
    for (std::size_t i = 0; i < refusals; ++i) {
        const std::string_view snake = name(refusalAt(i));
        EXPECT_TRUE(names.insert(snake).second) << snake;
        EXPECT_EQ(snake.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_"), snake.npos)
            << snake;
    }
    EXPECT_EQ(names.size(), refusals);
    EXPECT_EQ(name(Refusal::tooShort), "too_short");
    EXPECT_EQ(name(Refusal::lengthAboveCaptured), "length_above_captured");
    EXPECT_EQ(name(Refusal::ownFrame), "own_frame");
}

TEST(Refusal, HasATextThatNoOtherHas) {
    std::set<std::string_view> texts;
    for (std::size_t i = 0; i < refusals; ++i)
        EXPECT_TRUE(texts.insert(text(refusalAt(i))).second) << text(refusalAt(i));
    EXPECT_EQ(text(Refusal::messageAge), "the message age has reached the max age");
}

TEST(RefusalDeathTest, MustBeOneOfTheEnumerators) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(static_cast<void>(name(refusalAt(refusals))), testing::KilledBySignal(SIGABRT),
                "refusal < refusals");
    EXPECT_EXIT(static_cast<void>(text(refusalAt(255))), testing::KilledBySignal(SIGABRT),
                "refusal < refusals");
}

} // namespace
} // namespace Agent
