#include "platform/interface/IntfLoggingMode.h"

#include "tests/platform/Text.h"

#include <gtest/gtest.h>

namespace {

using Interface::IntfLoggingMode;

TEST(IntfLoggingMode, IsOnByDefault) {
    EXPECT_EQ(IntfLoggingMode(), IntfLoggingMode::on);
    EXPECT_EQ(static_cast<int>(IntfLoggingMode::on), 0);
    EXPECT_EQ(static_cast<int>(IntfLoggingMode::useDefault), 2);
}

TEST(IntfLoggingMode, PrintsItsNameOrElseItsNumber) {
    EXPECT_EQ(textOf(IntfLoggingMode::on), "on");
    EXPECT_EQ(textOf(IntfLoggingMode::off), "off");
    EXPECT_EQ(textOf(IntfLoggingMode::useDefault), "useDefault");
    EXPECT_EQ(textOf(static_cast<IntfLoggingMode>(7)), "7");
}

} // namespace
