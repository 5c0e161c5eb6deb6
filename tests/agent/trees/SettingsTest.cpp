#include "agent/trees/Settings.h"

#include <gtest/gtest.h>

namespace Agent::Test {
namespace {

TEST(Settings, TakeWhatIsWithinTheirRanges) {
    Settings settings;
    for (const char* priority : {"0", "4096", "61440"})
        EXPECT_EQ(settingIs(settings, "priority", priority), "");
    EXPECT_EQ(settings.priority, 61440);
    EXPECT_EQ(settingIs(settings, "cost", "4294967295"), "");
    EXPECT_EQ(settings.cost, 0xffffffff);
    EXPECT_EQ(settingIs(settings, "port-priority", "240"), "");
    EXPECT_EQ(settings.portPriority, 240);
    EXPECT_EQ(settingIs(settings, "hello", "9"), "");
    EXPECT_EQ(settings.hello, 9);
    for (const char* limit : {"1", "1000000"})
        EXPECT_EQ(settingIs(settings, "rate-limit", limit), "");
    EXPECT_EQ(settings.rateLimit, 1000000);
}

TEST(Settings, RefuseAllElseWithWhatIsAllowedAndStayAsTheyAre) {
    const std::vector<std::pair<const char*, const char*>> wrong{
        {"priority", "1"},      {"priority", "65536"},
        {"priority", "-4096"},  {"priority", ""},
        {"priority", "4096 "},  {"priority", " 4096"},
        {"priority", "0x1000"}, {"priority", "4096.0"},
        {"port-priority", "8"}, {"port-priority", "256"},
        {"hello", "0"},         {"hello", "10"},
        {"cost", "4294967296"}, {"cost", "99999999999999999999"},
        {"rate-limit", "0"},    {"rate-limit", "1000001"},
    };
    for (auto const& [name, value] : wrong) {
        Settings settings;
        const std::string reason = settingIs(settings, name, value);
        EXPECT_TRUE(
            reason.starts_with(std::string(name) + " '" + value + "' is not allowed; allowed: "))
            << reason;
        EXPECT_EQ(settings.priority, 32768);
        EXPECT_EQ(settings.cost, 0);
        EXPECT_EQ(settings.portPriority, 128);
        EXPECT_EQ(settings.hello, 2);
        EXPECT_EQ(settings.rateLimit, 100);
    }
    Settings settings;
    EXPECT_EQ(settingIs(settings, "mtu", "1"),
              "setting 'mtu' is not known; known: priority, cost, port-priority, hello, "
              "rate-limit");
}

} // namespace
} // namespace Agent::Test
