#include "framework/zel/Exception.h"

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <stdexcept>
#include <string>
#include <type_traits>

using Zel::Exception;
using Zel::NameInUseException;
using Zel::RangeException;
using Zel::String;

namespace {

static_assert(std::is_base_of_v<std::runtime_error, Exception>);
static_assert(std::is_base_of_v<Exception, RangeException>);
static_assert(std::is_base_of_v<Exception, NameInUseException>);
static_assert(!std::is_base_of_v<RangeException, NameInUseException>);
static_assert(!std::is_base_of_v<NameInUseException, RangeException>);

/// The text of the exception of class E that the action throws.
template <class E> std::string textOf(std::function<void()> const& action) {
    try {
        action();
    } catch (E const& exception) {
        return exception.what();
    } catch (...) {
        ADD_FAILURE() << "an exception of another class";
        return {};
    }
    ADD_FAILURE() << "no exception";
    return {};
}

TEST(Exception, ARangeExceptionHasTheTextGiven) {
    EXPECT_EQ(textOf<RangeException>([] { Zel::throwRangeException("17 lies outside 0 to 16"); }),
              "17 lies outside 0 to 16");
    EXPECT_EQ(textOf<RangeException>([] { Zel::throwRangeException(""); }), "");
}

TEST(ExceptionDeathTest, ANullTextFailsAnAssertion) {
    EXPECT_EXIT(
        Zel::throwRangeException(nullptr), ::testing::KilledBySignal(SIGABRT),
        "framework/zel/Exception\\.cpp:[0-9]+: void Zel::throwRangeException\\(const char\\*\\): "
        "Assertion `text' failed\\.\n$");
}

TEST(Exception, ANameInUseExceptionHasTheTextGiven) {
    EXPECT_EQ(textOf<NameInUseException>(
                  [] { Zel::throwNameInUseException(String("a is taken by ") + "b"); }),
              "a is taken by b");
}

TEST(Exception, KeepsItsTextWhenTheOneGivenIsGone) {
    EXPECT_EQ(textOf<RangeException>([] {
                  const std::string temporary(200, 'x');
                  Zel::throwRangeException(temporary.c_str());
              }),
              std::string(200, 'x'));
}

TEST(Exception, CanBeCaughtAsTheFrameworksOrAsAnyRuntimeError) {
    const auto range = [] { Zel::throwRangeException("range"); };
    const auto name = [] { Zel::throwNameInUseException("name"); };
    EXPECT_EQ(textOf<Exception>(range), "range");
    EXPECT_EQ(textOf<Exception>(name), "name");
    EXPECT_EQ(textOf<std::runtime_error>(range), "range");
    EXPECT_EQ(textOf<std::runtime_error>(name), "name");
}

TEST(Exception, TheTextForANullElementEndsWithOneDoubleQuote) {
    const std::string text =
        textOf<RangeException>([] { Zel::throwNullElementException("Toy::ItemSyncer", "item"); });
    EXPECT_EQ(text, R"(null _item parameter to mutator for Toy::ItemSyncer::item not allowed")");
    EXPECT_EQ(text.back(), '"');
    EXPECT_EQ(text.find('"'), text.size() - 1);
}

TEST(Exception, TheTextForANullElementNamesNestedClassesInFull) {
    EXPECT_EQ(
        textOf<RangeException>(
            [] { Zel::throwNullElementException("Toy::GroupSyncer::ZelGroup", "anyChild"); }),
        R"(null _anyChild parameter to mutator for Toy::GroupSyncer::ZelGroup::anyChild not allowed")");
}

} // namespace
