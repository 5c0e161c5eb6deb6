#include "platform/kolvu/IntfId.h"

#include "framework/zel/Exception.h"
#include "tests/platform/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <compare>
#include <memory>
#include <set>
#include <type_traits>
#include <vector>

namespace {

using Kolvu::IntfId;

TEST(IntfId, IsASmallTriviallyCopyableValue) {
    EXPECT_EQ(sizeof(IntfId), 4U);
    EXPECT_TRUE(std::is_trivially_copyable_v<IntfId>);
}

TEST(IntfId, IdentifiesNoneByDefault) {
    const IntfId none;
    EXPECT_EQ(none.kind(), IntfId::Kind::none);
    EXPECT_EQ(none.module(), 0);
    EXPECT_EQ(none.port(), 0);
    EXPECT_EQ(none.shortName(), "");
    EXPECT_EQ(textOf(none), "");
    EXPECT_NE(none, IntfId::ethernet(0));
    EXPECT_EQ(*std::make_unique<IntfId>(), none) << "when it is not the compiler that makes it";
}

TEST(IntfId, KeepsKindModuleAndPort) {
    EXPECT_EQ(IntfId::ethernet(1).kind(), IntfId::Kind::ethernet);
    EXPECT_EQ(IntfId::ethernet(1).module(), 0);
    EXPECT_EQ(IntfId::ethernet(3, 65535).module(), 3);
    EXPECT_EQ(IntfId::ethernet(3, 65535).port(), 65535);
    EXPECT_EQ(IntfId::portChannel(7).kind(), IntfId::Kind::portChannel);
    EXPECT_EQ(IntfId::portChannel(7).port(), 7);
}

struct Named {
    IntfId id;
    const char* shortName;
    const char* fullName;
};

const Named named[] = {
    {IntfId::ethernet(1), "Et1", "Ethernet1"},
    {IntfId::ethernet(0), "Et0", "Ethernet0"},
    {IntfId::ethernet(65535), "Et65535", "Ethernet65535"},
    {IntfId::ethernet(3, 1), "Et3/1", "Ethernet3/1"},
    {IntfId::ethernet(255, 65535), "Et255/65535", "Ethernet255/65535"},
    {IntfId::portChannel(10), "Po10", "Port-Channel10"},
};

TEST(IntfId, HasAShortAndAFullName) {
    for (Named const& each : named) {
        EXPECT_EQ(each.id.shortName(), each.shortName);
        EXPECT_EQ(textOf(each.id), each.fullName);
    }
}

TEST(IntfId, ParsesShortAndFullNames) {
    for (Named const& each : named) {
        EXPECT_EQ(IntfId::parse(each.shortName), each.id) << each.shortName;
        EXPECT_EQ(IntfId::parse(each.fullName), each.id) << each.fullName;
    }
}

TEST(IntfId, EveryShortNameParsesToTheSameInterface) {
    for (Zel::U32 port = 0; port <= 65535; ++port) {
        const auto number = static_cast<Zel::U16>(port);
        const auto module = static_cast<Zel::U8>(port % 256);
        for (IntfId id : {IntfId::ethernet(number), IntfId::portChannel(number),
                          IntfId::ethernet(module, number)})
            ASSERT_EQ(IntfId::parse(id.shortName()), id) << port;
    }
}

TEST(IntfId, RefusesTextOfAnyOtherForm) {
    for (const char* text :
         {"",      "1",          "E1",         "Et",      "Ethernet",     "et1",          "ET1",
          "Eth1",  "Ethernet 1", "Et 1",       " Et1",    "Et1 ",         "Et-1",         "Et+1",
          "Et1x",  "Et01",       "Et00",       "Et0x1",   "Et65536",      "Et4294967297", "Et/1",
          "Et1/",  "Et0/1",      "Et01/1",     "Et256/1", "Et1/65536",    "Et1/1/1",      "Et1//1",
          "Et1/x", "Po",         "Po-1",       "Po1/1",   "Port-Channel", "PortChannel1", "Po65536",
          "Vlan1", "EtEt1",      "EthernetEt1"})
        EXPECT_THROW(IntfId::parse(text), Zel::RangeException) << text;
}

TEST(IntfId, SaysWhichTextItRefusesAndWhatItExpects) {
    try {
        IntfId::parse("Et0/1");
        FAIL();
    } catch (Zel::RangeException const& error) {
        EXPECT_STREQ(error.what(),
                     "\"Et0/1\" is not an interface (as Et1, Ethernet1, Et3/1, Po1 or "
                     "Port-Channel1, with a module from 1 to 255 and a port from 0 to 65535)");
    }
}

TEST(IntfId, OrdersByKindThenModuleThenPort) {
    const std::vector<IntfId> ascending{
        IntfId(),
        IntfId::ethernet(1),
        IntfId::ethernet(2),
        IntfId::ethernet(10),
        IntfId::ethernet(65535),
        IntfId::ethernet(1, 1),
        IntfId::ethernet(1, 300),
        IntfId::ethernet(2, 1),
        IntfId::portChannel(1),
        IntfId::portChannel(2),
    };
    for (std::size_t i = 0; i < ascending.size(); ++i) {
        for (std::size_t j = 0; j < ascending.size(); ++j) {
            EXPECT_EQ(ascending[i] < ascending[j], i < j);
            EXPECT_EQ(ascending[i] == ascending[j], i == j);
            EXPECT_EQ(ascending[i] <=> ascending[j], i <=> j);
        }
    }
}

TEST(IntfId, IsANumberOfEightBitsTwiceAndSixteen) {
    EXPECT_EQ(IntfId::parse("Et3/1").value(), 0x01030001U);
    EXPECT_EQ(IntfId::parse("Et255/65535").value(), 0x01ffffffU);
    EXPECT_EQ(IntfId::parse("Po258").value(), 0x02000102U);
}

TEST(IntfId, DifferentInterfacesHaveDifferentHashes) {
    std::set<Zel::U32> hashes;
    for (Zel::U16 port = 0; port < 1000; ++port) {
        hashes.insert(IntfId::portChannel(port).hash());
        for (Zel::U8 module = 0; module < 20; ++module)
            hashes.insert(IntfId::ethernet(module, port).hash());
    }
    EXPECT_EQ(hashes.size(), 21000U);
    EXPECT_EQ(IntfId::ethernet(1).hash(), IntfId::parse("Et1").hash());
}

} // namespace
