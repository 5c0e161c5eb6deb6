#include "framework/zel/Value.h"

#include "tests/framework/ToyModel.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

using Zel::Value;

namespace {

std::string json(Value const& value) {
    Zel::TraceStream stream;
    value.jsonTo(stream);
    return std::string(stream.text());
}

std::string jsonOf(std::string_view text) {
    Zel::TraceStream stream;
    Zel::jsonString(stream, text);
    return std::string(stream.text());
}

/// An object of which not even the class is known.
class Untyped final : public Zel::PtrInterface {
  public:
    Zel::TypeNode const* fwkType() const override { return nullptr; }
};

/// The range of the octets that may come second in a sequence, and how many octets it has.
struct Lead {
    unsigned length;
    unsigned lowest;
    unsigned highest;
};

/// Table 3-7 of Unicode, "Well-Formed UTF-8 Byte Sequences"; length 0 where none begins.
Lead leadOf(unsigned octet) {
    struct Row {
        unsigned first, last;
        Lead lead;
    };
    constexpr Row rows[] = {
        {0x00, 0x7f, {1, 0, 0}},       {0xc2, 0xdf, {2, 0x80, 0xbf}}, {0xe0, 0xe0, {3, 0xa0, 0xbf}},
        {0xe1, 0xec, {3, 0x80, 0xbf}}, {0xed, 0xed, {3, 0x80, 0x9f}}, {0xee, 0xef, {3, 0x80, 0xbf}},
        {0xf0, 0xf0, {4, 0x90, 0xbf}}, {0xf1, 0xf3, {4, 0x80, 0xbf}}, {0xf4, 0xf4, {4, 0x80, 0x8f}},
    };
    for (Row const& row : rows)
        if (row.first <= octet && octet <= row.last)
            return row.lead;
    return {0, 0x80, 0xbf};
}

std::string octets(std::initializer_list<unsigned> numbers) {
    std::string text;
    for (unsigned number : numbers)
        text += static_cast<char>(number);
    return text;
}

/// A JSON string of so many replacement characters.
std::string replaced(std::size_t count) {
    std::string text = "\"";
    for (; count > 0; --count)
        text += "\\ufffd";
    return text + "\"";
}

/// A text behind which there is no memory that may be read.
class AtTheEnd {
  public:
    explicit AtTheEnd(std::string_view text)
        : page_(static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)))
        , memory_(::mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                         -1, 0)) {
        if (memory_ == MAP_FAILED)
            throw std::bad_alloc();
        char* const end = static_cast<char*>(memory_) + page_;
        ::mprotect(end, page_, PROT_NONE);
        text_ = {end - text.size(), text.size()};
        std::memcpy(end - text.size(), text.data(), text.size());
    }
    AtTheEnd(AtTheEnd const&) = delete;
    AtTheEnd& operator=(AtTheEnd const&) = delete;
    ~AtTheEnd() { ::munmap(memory_, 2 * page_); }

    std::string_view text() const { return text_; }

  private:
    std::size_t page_;
    void* memory_;
    std::string_view text_;
};

TEST(Value, HoldsAValueOfItsTypeAndNoOther) {
    const Value value(5U);
    ASSERT_NE(value.as<unsigned>(), nullptr);
    EXPECT_EQ(*value.as<unsigned>(), 5U);
    EXPECT_EQ(value.as<int>(), nullptr);
    EXPECT_EQ(value.as<Zel::U64>(), nullptr);
    EXPECT_EQ(value.as<Zel::String>(), nullptr);
    EXPECT_FALSE(value.none());
    EXPECT_FALSE(value.isObject());
    EXPECT_TRUE(Value().none());
    EXPECT_EQ(Value().as<unsigned>(), nullptr);
}

TEST(Value, EqualsAnEqualOneOfTheSameType) {
    EXPECT_TRUE(Value(5U) == Value(5U));
    EXPECT_FALSE(Value(5U) == Value(6U));
    EXPECT_FALSE(Value(5U) == Value(5));
    EXPECT_FALSE(Value(Zel::String("a")) == Value(Zel::Name("a")));
    EXPECT_TRUE(Value() == Value());
    EXPECT_FALSE(Value() == Value(0U));
    EXPECT_FALSE(Value(0U) == Value());
    EXPECT_TRUE(Value(Toy::Digest{{1}}) == Value(Toy::Digest{{1}}));
    EXPECT_FALSE(Value(Toy::Digest{{1}}) == Value(Toy::Digest{{2}}));
    const double nan = std::nan("");
    EXPECT_TRUE(Value(nan) == Value(nan));
    EXPECT_FALSE(Value(nan) == Value(0.0));
    EXPECT_FALSE(Value(0.0) == Value(nan));
    EXPECT_FALSE(Value(0.0) == Value(1.0));
    EXPECT_TRUE(Value(0.0) == Value(-0.0));
}

TEST(Value, OfAnObjectEqualsNothingButThatObject) {
    const Value object(Zel::Ptr(new Toy::Item(7)));
    EXPECT_TRUE(object == Value(object));
    EXPECT_FALSE(object == Value(Zel::Ptr(new Toy::Item(7))));
    EXPECT_FALSE(object == Value(7U));
    EXPECT_FALSE(Value(7U) == object);
    const Value null{Zel::Ptr<Toy::Item>()};
    EXPECT_FALSE(null == Value(7U));
    EXPECT_FALSE(Value(7U) == null);
    EXPECT_FALSE(null == object);
    EXPECT_TRUE(null == Value(Zel::Ptr<Toy::Record>()));
}

TEST(Value, IsOrderedByItsTextBeforeAfterAndAmidValuesOfOtherKinds) {
    const Value object(Zel::Ptr(new Toy::Item(7)));
    EXPECT_TRUE(Value() < Value(5U));
    EXPECT_FALSE(Value(5U) < Value());
    EXPECT_TRUE(Value(5U) < object);
    EXPECT_FALSE(object < Value(5U));
    EXPECT_TRUE(Value(5U) < Value(Zel::Name("6")));
    EXPECT_FALSE(Value(Zel::Name("6")) < Value(5U));
    const Value next(Zel::Ptr(new Toy::Item(8)));
    EXPECT_TRUE(object < next);
    EXPECT_FALSE(next < object);
    EXPECT_FALSE(Value() < Value());
}

TEST(Value, KnowsWhatItsTypeCanDo) {
    const Zel::detail::ValueType number = Zel::detail::valueType<unsigned>();
    const unsigned zero = 0;
    const unsigned one = 1;
    EXPECT_EQ(*number.type, typeid(unsigned));
    EXPECT_EQ(Zel::detail::valueType<Zel::Name>().type, &typeid(Zel::Name));
    EXPECT_TRUE(number.less(&zero, &one));
    EXPECT_FALSE(number.less(&one, &zero));
    EXPECT_TRUE(number.equal(&one, &one));
    EXPECT_FALSE(number.equal(&one, &zero));
    EXPECT_TRUE(number.zero(&zero));
    EXPECT_FALSE(number.zero(&one));
    Zel::TraceStream stream;
    number.text(stream, &one);
    number.json(stream, &zero);
    EXPECT_EQ(stream.text(), "10");
}

TEST(Value, IsOrderedAsItsTypeIsOrByItsText) {
    EXPECT_TRUE(Value(9U) < Value(10U));
    EXPECT_FALSE(Value(10U) < Value(9U));
    EXPECT_FALSE(Value(9U) < Value(9U));
    EXPECT_TRUE(Value(Zel::Name("10")) < Value(Zel::Name("9")));
    EXPECT_TRUE(Value(Toy::ItemId(9)) < Value(Toy::ItemId(10)));
    EXPECT_TRUE(Value(Toy::Digest{{1}}) < Value(Toy::Digest{{2}}));
    EXPECT_FALSE(Value(Toy::Digest{{2}}) < Value(Toy::Digest{{1}}));
}

TEST(Value, KnowsTheZeroOfItsType) {
    EXPECT_TRUE(Value(0U).isZero());
    EXPECT_TRUE(Value(false).isZero());
    EXPECT_TRUE(Value(Zel::String()).isZero());
    EXPECT_TRUE(Value(Toy::Colour::none).isZero());
    EXPECT_FALSE(Value(1U).isZero());
    EXPECT_FALSE(Value(Toy::Digest{{1}}).isZero());
    EXPECT_FALSE(Value().isZero());
    EXPECT_TRUE(Value(Zel::Ptr<Toy::Item>()).isZero());
    EXPECT_FALSE(Value(Zel::Ptr(new Toy::Item(1))).isZero());
}

TEST(Value, HasTheTextOfItsStreamOutput) {
    EXPECT_EQ(Value(4'000'000'000U).text(), "4000000000");
    EXPECT_EQ(Value(Zel::U8{200}).text(), "200");
    EXPECT_EQ(Value(std::numeric_limits<long long>::min()).text(), "-9223372036854775808");
    EXPECT_EQ(Value(-5).text(), "-5");
    EXPECT_EQ(Value(0).text(), "0");
    EXPECT_EQ(Value(1).text(), "1");
    EXPECT_EQ(Value(std::numeric_limits<long long>::max()).text(), "9223372036854775807");
    EXPECT_EQ(Value(true).text(), "true");
    EXPECT_EQ(Value(2.5).text(), "2.5");
    EXPECT_EQ(Value(0.5f).text(), "0.5");
    EXPECT_EQ(Value(Zel::Name("mst1")).text(), "mst1");
    EXPECT_EQ(Value(Zel::String("a\nb")).text(), "a\nb");
    EXPECT_EQ(Value(Toy::Colour::green).text(), "green");
    EXPECT_EQ(Value(Toy::ItemId(7)).text(), "7");
    EXPECT_EQ(Value().text(), "");
}

TEST(Value, IsANumberABooleanOrAStringInJson) {
    EXPECT_EQ(json(Value(5U)), "5");
    EXPECT_EQ(json(Value(-5)), "-5");
    EXPECT_EQ(json(Value(Toy::ItemId(7))), "7");
    EXPECT_EQ(json(Value(2.5)), "2.5");
    EXPECT_EQ(json(Value(1e100)), "1e+100");
    EXPECT_EQ(json(Value(0.5f)), "0.5");
    EXPECT_EQ(json(Value(std::numeric_limits<double>::infinity())), "\"inf\"");
    EXPECT_EQ(json(Value(std::nan(""))), "\"nan\"");
    EXPECT_EQ(json(Value(true)), "true");
    EXPECT_EQ(json(Value(Zel::String("5"))), "\"5\"");
    EXPECT_EQ(json(Value(Toy::Colour::red)), "\"red\"");
    EXPECT_EQ(json(Value()), "null");
    EXPECT_EQ(json(Value(Zel::Ptr<Toy::Item>())), "null");
    EXPECT_EQ(json(Value(Zel::Ptr(new Toy::Item(7)))), "\"Toy::Item[7]\"");
}

TEST(Value, EscapesWhatAJsonStringCannotHold) {
    EXPECT_EQ(jsonOf("plain /text"), "\"plain /text\"");
    EXPECT_EQ(jsonOf("a\"b\\c"), "\"a\\\"b\\\\c\"");
    EXPECT_EQ(jsonOf(std::string_view("\0\n\x1f\x7f", 4)), "\"\\u0000\\u000a\\u001f\\u007f\"");
    for (const char* utf8 : {"\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x8c\xb3", "\xed\x9f\xbf",
                             "\xf4\x8f\xbf\xbf", "\xe0\xa0\x80", "\xf0\x90\x80\x80"})
        EXPECT_EQ(jsonOf(utf8), "\"" + std::string(utf8) + "\"");
    EXPECT_EQ(jsonOf("\xff"), "\"\\ufffd\"");
    EXPECT_EQ(jsonOf("\xc3"), "\"\\ufffd\"") << "cut off";
    EXPECT_EQ(jsonOf("\xc3("), "\"\\ufffd(\"");
    EXPECT_EQ(jsonOf("\xc0\xaf"), "\"\\ufffd\\ufffd\"") << "overlong";
    EXPECT_EQ(jsonOf("\xe0\x9f\x80"), "\"\\ufffd\\ufffd\\ufffd\"") << "overlong";
    EXPECT_EQ(jsonOf("\xed\xa0\x80"), "\"\\ufffd\\ufffd\\ufffd\"") << "a surrogate";
    EXPECT_EQ(jsonOf("\xf4\x90\x80\x80"), "\"\\ufffd\\ufffd\\ufffd\\ufffd\"") << "too large";
    EXPECT_EQ(jsonOf("\xe2\x82("), "\"\\ufffd\\ufffd(\"");
    EXPECT_EQ(jsonOf("\xe2\x82\xc0"), "\"\\ufffd\\ufffd\\ufffd\"") << "no octet that goes on";
}

TEST(Value, KeepsInJsonTheFirstAndTheLastSequenceOfEachLeadOctetAndOfUtf8NoOther) {
    for (unsigned first = 0x80; first <= 0xff; ++first) {
        SCOPED_TRACE(first);
        const Lead lead = leadOf(first);
        // Behind the second octet; where none begins, as many as the longest one has.
        const std::size_t tail = (lead.length == 0 ? 4 : lead.length) - 2;
        for (const unsigned second : {0x7fU, lead.lowest - 1U, lead.lowest, lead.highest,
                                      lead.highest + 1U, 0xc0U, 0xffU}) {
            for (const unsigned each : {0x80U, 0xbfU}) {
                const std::string text =
                    octets({first, second}) + std::string(tail, static_cast<char>(each));
                const bool kept =
                    lead.length != 0 && lead.lowest <= second && second <= lead.highest;
                const std::string json = jsonOf(text);
                EXPECT_EQ(json == "\"" + text + "\"", kept) << second << " " << each << json;
                EXPECT_EQ(json.starts_with("\"\\ufffd"), !kept) << second << " " << each << json;
            }
        }
    }
}

TEST(Value, HasInJsonNoSequenceOfWhichALaterOctetDoesNotGoOn) {
    for (const unsigned wrong : {0x00U, 0x7fU, 0xc0U, 0xffU}) {
        const std::string shown = wrong < 0x80 ? jsonOf(octets({wrong})).substr(1) : "\\ufffd\"";
        EXPECT_EQ(jsonOf(octets({0xe1, 0x80, wrong})), "\"\\ufffd\\ufffd" + shown);
        EXPECT_EQ(jsonOf(octets({0xf1, 0xbf, 0x80, wrong})), "\"\\ufffd\\ufffd\\ufffd" + shown);
    }
}

TEST(Value, HasInJsonForEachOctetOfACutSequenceAReplacementAndReadsNothingBehindTheText) {
    for (unsigned first = 0x80; first <= 0xff; ++first) {
        const Lead lead = leadOf(first);
        const std::string whole =
            octets({first, lead.lowest}) + std::string(std::max(lead.length, 2U) - 2, '\x80');
        const std::size_t most = lead.length == 0 ? 1 : lead.length - 1;
        for (std::size_t length = 1; length <= most; ++length) {
            const std::string expected = replaced(length);
            // What goes on with the sequence is there, but of the text no more.
            EXPECT_EQ(jsonOf(std::string_view(whole).substr(0, length)), expected) << first;
            EXPECT_EQ(jsonOf(AtTheEnd(whole.substr(0, length)).text()), expected) << first;
        }
    }
}

TEST(Value, OfAnObjectHoldsItAndKnowsWhetherItMayBeWritten) {
    Zel::Ptr<Toy::Item> item(new Toy::Item(7));
    Value value(item);
    const Value reading{Zel::Ptr<Toy::Item const>(item)};
    EXPECT_EQ(item->references(), 3U);
    EXPECT_TRUE(value.isObject());
    EXPECT_EQ(value.object(), item);
    EXPECT_EQ(value.writableObject(), item);
    EXPECT_EQ(reading.object(), item);
    EXPECT_EQ(reading.writableObject(), nullptr);
    EXPECT_TRUE(value == reading) << "it is the same object";
    EXPECT_FALSE(value == Value(Zel::Ptr(new Toy::Item(7))));
    EXPECT_EQ(value.text(), "Toy::Item[7]");
    EXPECT_EQ(value.typeText(), "Toy::Item");
    EXPECT_EQ(reading.typeText(), "const Toy::Item");
    item = nullptr;
    EXPECT_EQ(value.text(), "Toy::Item[7]");
}

TEST(Value, SaysWhatItIsAlsoOfANullPointerOfNothingAndOfAnObjectOfNoClass) {
    EXPECT_EQ(Value().typeText(), "nothing");
    EXPECT_EQ(Value(5U).typeText(), "unsigned int");
    EXPECT_EQ(Value(Zel::Ptr<Toy::Item>()).typeText(), "a null pointer");
    const Value untyped(Zel::Ptr(new Untyped));
    EXPECT_EQ(untyped.typeText(), "object");
    EXPECT_EQ(untyped.text(), "object");
}

TEST(Value, IsAPointerOnlyToObjectsOfJustThatClassWithNoMoreRights) {
    const Zel::Ptr<Toy::Item> item(new Toy::Item(7));
    Zel::Ptr<Toy::Item> writable;
    Zel::Ptr<Toy::Item const> constant;
    Zel::Ptr<Toy::Record const> record(new Toy::Record);
    const auto before = record;
    EXPECT_TRUE(Value(item).pointerTo(writable));
    EXPECT_EQ(writable, item);
    EXPECT_TRUE(Value(item).pointerTo(constant));
    EXPECT_EQ(constant, item);
    EXPECT_FALSE(Value(constant).pointerTo(writable));
    EXPECT_FALSE(Value(item).pointerTo(record));
    EXPECT_EQ(record, before);
    EXPECT_FALSE(Value(Zel::Ptr(new Toy::Record)).pointerTo(writable));
    EXPECT_FALSE(Value(Zel::Ptr(new Toy::Record)).pointerTo(constant));
    EXPECT_EQ(writable, item);
    EXPECT_TRUE(Value(Zel::Ptr<Toy::Item>()).pointerTo(writable));
    EXPECT_EQ(writable, nullptr);
    EXPECT_FALSE(Value(7U).pointerTo(writable));
    EXPECT_FALSE(Value().pointerTo(writable));
    EXPECT_TRUE(Value(Zel::Ptr<Toy::Item const>()).pointerTo(record));
    EXPECT_EQ(record, nullptr);
}

} // namespace
