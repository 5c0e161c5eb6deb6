#include "framework/zel/String.h"

#include "framework/zel/Name.h"
#include "framework/zel/PtrInterface.h"
#include "tests/framework/FailingAllocation.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

using Zel::Name;
using Zel::String;
using namespace std::string_view_literals;

namespace {

static_assert(sizeof(String) == sizeof(void*));
static_assert(std::is_nothrow_copy_constructible_v<String>);
static_assert(std::is_nothrow_move_constructible_v<String>);
static_assert(std::is_nothrow_swappable_v<String>);

TEST(String, IsEmptyByDefault) {
    const String string;
    EXPECT_TRUE(string.empty());
    EXPECT_EQ(string.size(), 0u);
    EXPECT_STREQ(string.c_str(), "");
    EXPECT_EQ(string.view(), ""sv);
}

TEST(String, AnEmptyTextOwnsNothing) {
    const std::size_t before = FailingAllocation::made();
    const String fromLiteral("");
    const String fromView{std::string_view()};
    EXPECT_TRUE(fromLiteral.empty());
    EXPECT_TRUE(fromView.empty());
    EXPECT_EQ(FailingAllocation::made(), before);
    EXPECT_EQ(fromLiteral, fromView);
    EXPECT_EQ(fromLiteral, String());
}

TEST(String, HoldsTheTextItIsMadeOf) {
    const char text[] = "Ethernet1";
    const String string(text);
    EXPECT_FALSE(string.empty());
    EXPECT_EQ(string.size(), 9u);
    EXPECT_STREQ(string.c_str(), "Ethernet1");
    EXPECT_NE(string.c_str(), text);
    EXPECT_EQ(std::string_view(string), "Ethernet1"sv);
}

TEST(String, HoldsAnyOctets) {
    const std::string_view octets = "a\0b\xff\x80\n"sv;
    const String string(octets);
    EXPECT_EQ(string.size(), 6u);
    EXPECT_EQ(string.view(), octets);
    EXPECT_EQ(string.c_str()[6], '\0');
}

TEST(String, HoldsAPartOfALongerText) {
    const std::string_view text = "interface";
    const String string(text.substr(0, 5));
    EXPECT_STREQ(string.c_str(), "inter");
}

TEST(String, ACopySharesTheTextAndAllocatesNothing) {
    const String original("text");
    const std::size_t before = FailingAllocation::made();
    const String copy(original);
    String assigned;
    assigned = copy;
    EXPECT_EQ(FailingAllocation::made(), before);
    EXPECT_EQ(copy.c_str(), original.c_str());
    EXPECT_EQ(assigned.c_str(), original.c_str());
}

TEST(String, ACopyOutlivesTheOriginal) {
    String copy;
    {
        const String original("text");
        copy = original;
    }
    EXPECT_STREQ(copy.c_str(), "text");
}

TEST(String, ItsTextIsFreedWithTheLastCopy) {
    const std::ptrdiff_t before = FailingAllocation::outstanding();
    {
        String first("text");
        const String second = first;
        first = String();
        EXPECT_EQ(FailingAllocation::outstanding(), before + 1);
    }
    EXPECT_EQ(FailingAllocation::outstanding(), before);
}

TEST(String, MovingLeavesTheSourceEmpty) {
    String source("text");
    const char* const text = source.c_str();
    String moved(std::move(source));
    EXPECT_TRUE(source.empty()); // moved from on purpose
    EXPECT_EQ(moved.c_str(), text);
    String assigned("other");
    assigned = std::move(moved);
    EXPECT_TRUE(moved.empty());
    EXPECT_EQ(assigned.c_str(), text);
}

TEST(String, AssigningItselfChangesNothing) {
    String string("text");
    String& same = string;
    string = same;
    EXPECT_STREQ(string.c_str(), "text");
    string = std::move(same);
    EXPECT_STREQ(string.c_str(), "text");
}

TEST(String, AppendingLeavesCopiesAlone) {
    String string("one");
    const String copy = string;
    string += "two";
    EXPECT_EQ(string, "onetwo");
    EXPECT_EQ(copy, "one");
}

TEST(String, AppendsTextsOfEveryKind) {
    String string;
    string += "literal";
    string += String("string");
    string += "view"sv;
    EXPECT_EQ(string, "literalstringview");
    EXPECT_EQ(&(string += "!"), &string);
    EXPECT_EQ(string, "literalstringview!");
}

TEST(String, AppendsOctetsThatAreZero) {
    String string("a");
    string += "\0b"sv;
    EXPECT_EQ(string.view(), "a\0b"sv);
}

TEST(String, AppendsItselfAndPartsOfItself) {
    String string("abc");
    string += string;
    EXPECT_EQ(string, "abcabc");
    string += string.view().substr(1, 2);
    EXPECT_EQ(string, "abcabcbc");
    string.merge(string, "-", string);
    EXPECT_EQ(string, "abcabcbcabcabcbc-abcabcbc");
}

TEST(String, AppendingNothingAllocatesNothing) {
    String string("text");
    const String copy = string;
    const std::size_t before = FailingAllocation::made();
    string += "";
    string.merge("", String(), ""sv);
    string.merge();
    EXPECT_EQ(FailingAllocation::made(), before);
    EXPECT_EQ(string.c_str(), copy.c_str());
}

TEST(String, MergeAppendsAllPiecesInTheirOrderWithOneAllocation) {
    String string("a");
    const std::size_t before = FailingAllocation::made();
    String& result = string.merge("b", "c"sv, "", std::string_view("de"));
    EXPECT_EQ(FailingAllocation::made(), before + 1);
    EXPECT_EQ(&result, &string);
    EXPECT_EQ(string, "abcde");
}

TEST(String, PlusMakesANewString) {
    const String left("left");
    const String right("right");
    EXPECT_EQ(left + right, "leftright");
    EXPECT_EQ(left + "-", "left-");
    EXPECT_EQ(left + "+"sv, "left+");
    EXPECT_EQ("<" + right, "<right");
    EXPECT_EQ("[" + left + "," + right + "]", "[left,right]");
    EXPECT_EQ(String() + String(), "");
    EXPECT_EQ(left, "left");
    EXPECT_EQ(right, "right");
}

TEST(String, IsEqualToTheSameOctets) {
    const String string("text");
    EXPECT_TRUE(string == String("text"));
    EXPECT_TRUE(string == "text");
    EXPECT_TRUE("text" == string);
    EXPECT_FALSE(string == String("Text"));
    EXPECT_TRUE(string != "texts");
    EXPECT_TRUE(string != "tex");
    EXPECT_TRUE(string != String());
    EXPECT_TRUE(String("a\0b"sv) != String("a\0c"sv));
    EXPECT_TRUE(String("a\0b"sv) != "a");
    EXPECT_TRUE(String() == "");
}

TEST(String, IsOrderedByItsOctetsTakenAsUnsigned) {
    const std::vector<String> ascending = {"",  String("\0"sv), "A",     "Z",     "a",   "aa", "ab",
                                           "b", "b\x7f",        "b\x80", "b\xff", "\xff"};
    for (std::size_t i = 0; i < ascending.size(); ++i) {
        for (std::size_t j = 0; j < ascending.size(); ++j) {
            EXPECT_EQ(ascending[i] < ascending[j], i < j) << i << " " << j;
            EXPECT_EQ(ascending[i] > ascending[j], i > j) << i << " " << j;
            EXPECT_EQ(ascending[i] <= ascending[j], i <= j) << i << " " << j;
            EXPECT_EQ(ascending[i] == ascending[j], i == j) << i << " " << j;
        }
    }
}

TEST(String, RefusesMoreOctetsThanItCanCount) {
    // Such a text need not exist: the length alone is refused.
    const std::string_view tooLong("x", std::size_t{std::numeric_limits<Zel::U32>::max()} + 1);
    EXPECT_THROW(const String string(tooLong), std::length_error);

    String string("text");
    const std::string_view justTooLong("x", std::numeric_limits<Zel::U32>::max() - 3);
    EXPECT_THROW(string += justTooLong, std::length_error);
    EXPECT_THROW(string.merge("x", tooLong), std::length_error);
    EXPECT_EQ(string, "text");
}

TEST(String, IsUnchangedWhenMemoryIsExhausted) {
    String string("text");
    const String copy = string;
    {
        const FailingAllocation exhausted(1);
        EXPECT_THROW(string += "more", std::bad_alloc);
        EXPECT_TRUE(exhausted.happened());
    }
    EXPECT_EQ(string, "text");
    EXPECT_EQ(string.c_str(), copy.c_str());
    const FailingAllocation exhausted(1);
    EXPECT_THROW(const String made("other"), std::bad_alloc);
}

TEST(String, CopiesMayBeSharedWithAnotherThreadWhileTheSwitchIsSet) {
    Zel::VFPtrInterface::threadSafePointers_ = true;
    std::ptrdiff_t before = 0;
    {
        const String shared("text");
        std::atomic<unsigned> arrived{0};
        const auto copyOften = [&] {
            ++arrived;
            while (arrived != 2)
                std::this_thread::yield();
            for (int i = 0; i < 300'000; ++i) {
                const String copy = shared;
                ASSERT_EQ(copy.size(), 4u);
            }
        };
        std::thread other(copyOften);
        before = FailingAllocation::outstanding();
        copyOften();
        other.join();
        EXPECT_EQ(shared, "text");
    }
    EXPECT_EQ(FailingAllocation::outstanding(), before - 1) << "as often given as taken";
    {
        std::vector<String> handedOver;
        for (int i = 0; i < 2'000; ++i)
            handedOver.emplace_back("text of its own");
        std::vector<String> mine = handedOver;
        std::thread releasing([texts = std::move(handedOver)]() mutable { texts.clear(); });
        mine.clear();
        releasing.join();
    }
    Zel::VFPtrInterface::threadSafePointers_ = false;
}

TEST(StringDeathTest, ANullTextFailsAnAssertion) {
    const char* const none = nullptr;
    constexpr auto failed =
        "framework/zel/String\\.h:[0-9]+: Zel::String::String\\(const char\\*\\): "
        "Assertion `text' failed\\.\n$";
    EXPECT_EXIT(String{none}, ::testing::KilledBySignal(SIGABRT), failed);
    EXPECT_EXIT(Name{none}, ::testing::KilledBySignal(SIGABRT), failed);
}

TEST(Name, IsMadeOfAnyText) {
    EXPECT_EQ(Name("mst1").view(), "mst1"sv);
    EXPECT_EQ(Name("mst1"sv).view(), "mst1"sv);
    EXPECT_EQ(Name(String("mst1")).view(), "mst1"sv);
    EXPECT_EQ(Name().view(), ""sv);
    EXPECT_EQ(Name("mst1").stringValue(), "mst1");
    const String string = Name("mst1");
    EXPECT_EQ(string, "mst1");
}

TEST(Name, SharesTheTextOfTheString) {
    const String string("mst1");
    const std::size_t before = FailingAllocation::made();
    const Name name(string);
    const Name copy = name;
    EXPECT_EQ(FailingAllocation::made(), before);
    EXPECT_EQ(copy.stringValue().c_str(), string.c_str());
}

TEST(Name, IsComparedAsItsText) {
    EXPECT_TRUE(Name("mst1") == Name("mst1"));
    EXPECT_TRUE(Name("mst1") != Name("mst2"));
    EXPECT_TRUE(Name("mst1") < Name("mst2"));
    EXPECT_TRUE(Name("mst") < Name("mst1"));
    EXPECT_FALSE(Name("mst1") < Name("mst1"));
    EXPECT_TRUE(Name("a\x80") > Name("a\x7f"));
}

TEST(Name, IsHashedByFowlerNollVo1a) {
    // The published values of the 32-bit hash.
    EXPECT_EQ(Name("").hash(), 0x811c9dc5u);
    EXPECT_EQ(Name("a").hash(), 0xe40c292cu);
    EXPECT_EQ(Name("b").hash(), 0xe70c2de5u);
    EXPECT_EQ(Name("foobar").hash(), 0xbf9cf968u);
    EXPECT_EQ(Name("\xff\x00\x00\x01"sv).hash(), 0xc48fb86du);
}

TEST(Name, EqualNamesHaveEqualHashes) {
    const Name first("one text");
    const Name second(String("one ") + "text");
    EXPECT_NE(first.view().data(), second.view().data());
    EXPECT_EQ(first.hash(), second.hash());
    EXPECT_NE(first.hash(), Name("another text").hash());
}

} // namespace
