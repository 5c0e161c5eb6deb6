#include "agent/io/Links.h"

#include <sys/resource.h>

#include <filesystem>

#include <gtest/gtest.h>

namespace Agent::Test {
namespace {

TEST(FindLink, FindsNothingThatIsNoEthernetInterface) {
    for (const char* name : {"", "lo", "nosuch", "exactly16octets.", "a-name-longer-than-any-is"})
        EXPECT_FALSE(findLink(name)) << name;
}

TEST(FindLink, FindsALinkAlsoWhenTheProcessHasNoMoreFiles) {
    const std::filesystem::path interfaces = "/sys/class/net";
    std::string ethernet;
    std::string others;
    if (std::filesystem::exists(interfaces)) {
        for (auto const& interface : std::filesystem::directory_iterator(interfaces))
            if (findLink(interface.path().filename()))
                ethernet = interface.path().filename();
            else
                others += " " + interface.path().filename().string();
    }
    if (ethernet.empty())
        GTEST_SKIP() << "/sys/class/net has no Ethernet interface, only:" << others;
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    rlimit none = before;
    none.rlim_cur = 3;
    setrlimit(RLIMIT_NOFILE, &none);
    const auto link = findLink(ethernet);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_TRUE(link);
}

} // namespace
} // namespace Agent::Test
