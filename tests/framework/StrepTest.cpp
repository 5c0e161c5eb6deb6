#include "framework/zel/Strep.h"

#include "tests/framework/ToyModel.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <string>
#include <string_view>
#include <typeinfo>

using Zel::String;
using Zel::typeName;
using Zel::U64;
using Zel::valueToStrep;
using Zel::valueToStrepOfRawPtr;

namespace {

struct Outer {
    struct Inner {};
};

/// A type whose name no demangler can read.
struct Unreadable : std::type_info {
    Unreadable()
        : std::type_info("?unreadable") {}
};

TEST(Strep, OfATypeThatCannotBeReadIsItsNameAsItIs) {
    EXPECT_EQ(typeName(Unreadable()), "?unreadable");
}

TEST(Strep, OfANameIsItsText) {
    EXPECT_EQ(valueToStrep(Zel::Name("mst1")), "mst1");
    EXPECT_EQ(valueToStrep(Zel::Name("")), "");
}

TEST(Strep, OfAStringIsTheString) {
    EXPECT_EQ(valueToStrep(String("two words")), "two words");
    EXPECT_EQ(valueToStrep(String()), "");
    EXPECT_EQ(valueToStrep(String(std::string_view("a\0\"b", 4))).view(),
              std::string_view("a\0\"b", 4));
}

TEST(Strep, OfANumberIsDecimal) {
    EXPECT_EQ(valueToStrep(U64{0}), "0");
    EXPECT_EQ(valueToStrep(U64{7}), "7");
    EXPECT_EQ(valueToStrep(U64{10}), "10");
    EXPECT_EQ(valueToStrep(U64{4294967296}), "4294967296");
    EXPECT_EQ(valueToStrep(std::numeric_limits<U64>::max()), "18446744073709551615");
}

TEST(Strep, OfAPointerIsTheClassAndTheAddress) {
    const Zel::Ptr<Toy::Item> item(new Toy::Item(1));
    char expected[64];
    std::snprintf(expected, sizeof expected, "Toy::Item(0x%llx)",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(
                      static_cast<Zel::PtrInterface const*>(item.ptr()))));
    EXPECT_EQ(valueToStrepOfRawPtr(item.ptr(), typeid(Toy::Item)), expected);
}

TEST(Strep, OfAPointerNamesTheClassThatItIsDeclaredWith) {
    const Zel::Ptr<Toy::Item> item(new Toy::Item(1));
    const String text = valueToStrepOfRawPtr(item.ptr(), typeid(Zel::Entity));
    EXPECT_EQ(text.view().substr(0, 14), "Zel::Entity(0x");
    EXPECT_EQ(text.view().back(), ')');
}

TEST(Strep, OfANullPointerSaysSo) {
    EXPECT_EQ(valueToStrepOfRawPtr(nullptr, typeid(Toy::Item)), "Toy::Item(null)");
}

TEST(TypeName, IsTheNameAsWrittenInTheSource) {
    EXPECT_EQ(typeName(typeid(Toy::Record)), "Toy::Record");
    EXPECT_EQ(typeName(typeid(Toy::Recorder<Toy::Item>)), "Toy::Recorder<Toy::Item>");
    EXPECT_EQ(typeName(typeid(Outer::Inner)), "(anonymous namespace)::Outer::Inner");
    EXPECT_EQ(typeName(typeid(unsigned)), "unsigned int");
}

} // namespace
