#include "framework/zel/Value.h"

#include "tests/framework/ToyModel.h"

#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

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
}

TEST(Value, IsOrderedByItsTextBeforeAfterAndAmidValuesOfOtherKinds) {
    const Value object(Zel::Ptr(new Toy::Item(7)));
    EXPECT_TRUE(Value() < Value(5U));
    EXPECT_FALSE(Value(5U) < Value());
    EXPECT_TRUE(Value(5U) < object);
    EXPECT_FALSE(object < Value(5U));
    EXPECT_TRUE(Value(5U) < Value(Zel::Name("6")));
    EXPECT_FALSE(Value(Zel::Name("6")) < Value(5U));
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
