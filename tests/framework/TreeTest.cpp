#include "framework/zel/Diff.h"
#include "framework/zel/Exception.h"
#include "framework/zel/PrintTree.h"
#include "framework/zel/TreeWalk.h"
#include "framework/zel/TypeNodeOf.h"
#include "tests/framework/Thrown.h"
#include "tests/framework/ToyModel.h"

#include <initializer_list>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using Zel::AttributeOp;
using Zel::Difference;
using Zel::Differences;
using Zel::GenericIfResult;
using Zel::Value;

namespace {

Zel::Ptr<Toy::Record> sample() {
    Zel::Ptr<Toy::Record> record(new Toy::Record);
    record->titleIs("A \"title\"\nof two lines");
    record->revisionIs(7);
    record->validIs(true);
    for (unsigned key : {3U, 1U, 2U}) {
        record->tallyIs(key, key * 10);
        record->itemIs(key)->ratioIs(key + 0.5);
    }
    record->groupIs("west")->levelIs(4);
    record->groupIs("east")->itemIs(9)->colourIs(Toy::Colour::red);
    return record;
}

// ---- the interface of a class of the tests' own ----

TEST(GenericIf, ReadsAndWritesEveryScalarOfAnItem) {
    const Zel::Ptr<Toy::Item> item(new Toy::Item(5));
    const auto write = [&](Zel::AttributeId id, Value value) {
        EXPECT_EQ(genericIfAttributeOp(*item, id, AttributeOp::write, value),
                  GenericIfResult::done);
        Value read;
        EXPECT_EQ(genericIfAttributeOp(*item, id, AttributeOp::read, read), GenericIfResult::done);
        EXPECT_TRUE(read == value) << id;
    };
    write(259, Value(4'000'000'000U));
    write(260, Value(0.1));
    write(261, Value(Zel::String("label")));
    write(262, Value(true));
    write(263, Value(Zel::U8{200}));
    write(264, Value(Zel::U16{60'000}));
    write(266, Value(Zel::U64{1} << 63));
    write(267, Value(-5));
    write(268, Value(Zel::Name("tag")));
    write(269, Value(Toy::Colour::green));
    write(272, Value(Toy::Digest{{1, 2, 3}}));
    write(273, Value(0.5f));
    write(289, Value(-1.5));
    EXPECT_EQ(item->label(), "label");
    EXPECT_EQ(item->age(), -1.5);
}

TEST(GenericIf, NotifiesAsTheMutatorDoes) {
    const Zel::Ptr<Toy::Record> record(new Toy::Record);
    Toy::Log log;
    const auto recorder = Toy::watch(record, "r", log);
    Value value(3U);
    genericIfAttributeOp(*record, 259, AttributeOp::write, value);
    genericIfAttributeOp(*record, 266, AttributeOp::write, value, Value(Toy::ItemId(8)));
    value = Value();
    genericIfAttributeOp(*record, 261, AttributeOp::write, value, Value(Toy::ItemId(9)));
    genericIfAttributeOp(*record, 261, AttributeOp::write, value = Value(), Value(Toy::ItemId(9)));
    genericIfAttributeOp(*record, 261, AttributeOp::del, value, Value(Toy::ItemId(9)));
    genericIfAttributeOp(*record, 261, AttributeOp::del, value, Value(Toy::ItemId(9)));
    genericIfAttributeOp(*record, 266, AttributeOp::del, value, Value(Toy::ItemId(8)));
    EXPECT_EQ(
        log,
        Toy::logOf(
            {{"r", 259, "-"}, {"r", 266, "8"}, {"r", 261, "9"}, {"r", 261, "9"}, {"r", 266, "8"}}));
}

TEST(GenericIf, SaysWhichAttributeTakesWhichType) {
    const Zel::Ptr<Toy::Item> item(new Toy::Item(5));
    const Zel::Ptr<Toy::Record> record(new Toy::Record);
    const auto refused = [](Zel::PtrInterface& object, Zel::AttributeId id, Value value,
                            Value const& key = {}) {
        return textThrown<Zel::RangeException>(
            [&] { genericIfAttributeOp(object, id, AttributeOp::write, value, key); });
    };
    EXPECT_EQ(refused(*item, 259, Value(5)),
              "attribute Toy::Item::count takes a value of type unsigned int, not int");
    EXPECT_EQ(refused(*item, 261, Value()),
              "attribute Toy::Item::label takes a value of type Zel::String, not nothing");
    EXPECT_EQ(refused(*item, 261, Value(item)),
              "attribute Toy::Item::label takes a value of type Zel::String, not Toy::Item");
    EXPECT_EQ(refused(*item, 258, Value(Toy::ItemId(6))),
              "attribute Toy::Item::id cannot be written");
    EXPECT_EQ(refused(*item, 259, Value(5U), Value(5U)), "attribute Toy::Item::count has no keys");
    EXPECT_EQ(refused(*record, 264, Value(), Value(Zel::String("g"))),
              "attribute Toy::Record::group takes a key of type Zel::Name, not Zel::String");
    EXPECT_EQ(refused(*record, 264, Value(1U), Value(Zel::Name("g"))),
              "attribute Toy::Record::group makes its children itself and takes no value");
    Value none;
    EXPECT_EQ(textThrown<Zel::RangeException>(
                  [&] { genericIfAttributeOp(*item, 259, AttributeOp::del, none); }),
              "attribute Toy::Item::count has no elements to delete");
    EXPECT_EQ(item->count(), 0U);
    EXPECT_EQ(record->group().members(), 0U);
}

TEST(GenericIf, ReachesNothingOfAClassThatDoesNotOfferIt) {
    Toy::Log log;
    const Zel::Ptr<Toy::Recorder<Toy::Item>> recorder(new Toy::Recorder<Toy::Item>("r", log));
    Value value;
    EXPECT_EQ(genericIfAttributeOp(*recorder, 258, AttributeOp::read, value),
              GenericIfResult::notHandled);
    EXPECT_EQ(genericIfIterator(*recorder, 258), nullptr);
    EXPECT_TRUE(Zel::fwkKey(*recorder).none());
    EXPECT_EQ(Zel::keyInfo(*recorder), "");
    Zel::Ptr<Zel::PtrInterface> place;
    EXPECT_EQ(genericIfConstructFromCtorArgs(Toy::Recorder<Toy::Item>::_zelType, place, {}),
              GenericIfResult::notHandled);
    const char* const text = "the class Toy::Recorder has no generic attribute interface";
    EXPECT_EQ(textThrown<Zel::RangeException>([&] { Zel::treeText(recorder.ptr()); }), text);
    EXPECT_EQ(textThrown<Zel::RangeException>([&] { Zel::treeJson(recorder.ptr()); }), text);
    EXPECT_EQ(textThrown<Zel::RangeException>([&] { Zel::diff(recorder.ptr(), recorder.ptr()); }),
              text);
}

/// An object of which not even the class is known.
class Untyped final : public Zel::PtrInterface {
  public:
    Zel::TypeNode const* fwkType() const override { return nullptr; }
};

TEST(GenericIf, ReachesNothingOfAnObjectWhoseClassIsNotKnown) {
    const Zel::Ptr<Untyped> object(new Untyped);
    Value value;
    EXPECT_EQ(genericIfAttributeOp(*object, 258, AttributeOp::read, value),
              GenericIfResult::notHandled);
    EXPECT_EQ(genericIfIterator(*object, 258), nullptr);
    EXPECT_TRUE(Zel::fwkKey(*object).none());
    EXPECT_EQ(textThrown<Zel::RangeException>([&] { Zel::treeText(object.ptr()); }),
              "the class of an object has no generic attribute interface");
}

TEST(GenericIf, ConstructsNothingOfAClassWithoutACreator) {
    const Zel::TypeNode type = Zel::typeNodeOf<Toy::Item, nullptr>("Toy::Unmade");
    EXPECT_EQ(type.name(), "Toy::Unmade");
    EXPECT_EQ(type.attributes().data(), Toy::Item::_zelType.attributes().data());
    Zel::Ptr<Zel::PtrInterface> place;
    const Value key{Toy::ItemId(12)};
    EXPECT_EQ(genericIfConstructFromCtorArgs(type, place, {&key, 1}), GenericIfResult::notHandled);
    EXPECT_EQ(place, nullptr);
}

TEST(GenericIf, AWalkSurvivesWhatItsBodyDoesAndHoldsTheObject) {
    Zel::Ptr<Toy::Record> record = sample();
    const auto walk = genericIfIterator(*record, 261);
    std::string keys;
    for (; walk->iterNonnull(); walk->iterInc()) {
        keys += walk->iterKey().text() + " ";
        if (record)
            record->itemDel(2); // ahead of the place
        record = nullptr;
    }
    EXPECT_EQ(keys, "1 3 ");
}

TEST(GenericIfDeathTest, AWalkAtItsEndStandsOnNothing) {
    const Zel::Ptr<Toy::Record> record(new Toy::Record);
    const auto walk = genericIfIterator(*record, 266);
    ASSERT_FALSE(walk->iterNonnull());
    EXPECT_DEATH(walk->iterKey(), "iterNonnull");
    EXPECT_DEATH(walk->iterObj(), "iterNonnull");
    EXPECT_DEATH(walk->iterInc(), "iterNonnull");
    EXPECT_DEATH(walk->iterDel(), "iterNonnull");
}

TEST(TreeWalk, GivesTheElementsByAscendingKeysAndNoneOfAScalar) {
    const auto record = sample();
    std::string keys;
    for (Zel::TreeElement const& element : Zel::treeElements(*record, 266))
        keys += element.key.text() + "=" + element.object.text() + " ";
    EXPECT_EQ(keys, "1=10 2=20 3=30 ");
    EXPECT_EQ(textThrown<Zel::RangeException>([&] { Zel::treeElements(*record, 259); }),
              "a Toy::Record has no elements under 259");
    EXPECT_TRUE(Zel::treeValue(*record, 259) == Value(7U));
    EXPECT_TRUE(Zel::treeValue(*record, 260).none());
}

TEST(GenericIf, ConstructsAnEntityFromItsKey) {
    Zel::Ptr<Zel::PtrInterface> place;
    const Value key{Toy::ItemId(12)};
    EXPECT_EQ(genericIfConstructFromCtorArgs(Toy::Item::_zelType, place, {&key, 1}),
              GenericIfResult::done);
    EXPECT_EQ(Zel::keyInfo(*place), "[12]");
    const Value other(12U);
    EXPECT_EQ(textThrown<Zel::RangeException>([&] {
                  genericIfConstructFromCtorArgs(Toy::Item::_zelType, place, {&other, 1});
              }),
              "Toy::Item is constructed from a value of type Toy::ItemId, not unsigned int");
    EXPECT_EQ(textThrown<Zel::RangeException>(
                  [&] { genericIfConstructFromCtorArgs(Toy::Item::_zelType, place, {}); }),
              "the number of arguments that Toy::Item is constructed from is 1, not 0");
    EXPECT_EQ(Zel::keyInfo(*place), "[12]");
}

// ---- printing ----

TEST(PrintTree, HasALineForEachAttributeAndKeysAscending) {
    const Zel::Ptr<Toy::Record> record(new Toy::Record);
    record->titleIs("two\nlines");
    record->tallyIs(10, 1);
    record->tallyIs(9, 2);
    record->groupIs("b");
    record->groupIs("a")->levelIs(3);
    EXPECT_EQ(Zel::treeText(record.ptr()), "Toy::Record\n"
                                           "  title: two?lines\n"
                                           "  revision: 0\n"
                                           "  item: {}\n"
                                           "  group[a]\n"
                                           "    name: a\n"
                                           "    level: 3\n"
                                           "    item: {}\n"
                                           "  group[b]\n"
                                           "    name: b\n"
                                           "    level: 0\n"
                                           "    item: {}\n"
                                           "  valid: false\n"
                                           "  tally[9]: 2\n"
                                           "  tally[10]: 1\n"
                                           "  mode: 0\n");
    EXPECT_EQ(Zel::treeText(record->group("b").ptr()).substr(0, 14), "Toy::Group[b]\n");
    EXPECT_EQ(Zel::treeText(nullptr), "null\n");
}

TEST(PrintTree, IsJsonWithNumbersBooleansAndStrings) {
    const Zel::Ptr<Toy::Record> record = sample();
    const auto json = nlohmann::json::parse(Zel::treeJson(record.ptr()));
    EXPECT_EQ(json["title"], "A \"title\"\nof two lines");
    EXPECT_TRUE(json["revision"].is_number());
    EXPECT_EQ(json["revision"], 7);
    EXPECT_EQ(json["valid"], true);
    EXPECT_EQ(json["tally"], (nlohmann::json{{"1", 10}, {"2", 20}, {"3", 30}}));
    EXPECT_EQ(json["item"]["2"]["ratio"], 2.5);
    EXPECT_EQ(json["item"]["2"]["id"], 2);
    EXPECT_EQ(json["item"].size(), 3U);
    EXPECT_EQ(json["group"]["east"]["item"]["9"]["colour"], "red");
    EXPECT_EQ(json["group"]["west"]["item"], nlohmann::json::object());
    EXPECT_EQ(Zel::treeJson(nullptr), "null");
    const Zel::Ptr<Toy::Group> group(new Toy::Group("g"));
    EXPECT_EQ(Zel::treeJson(group.ptr()), R"({"name":"g","level":0,"item":{}})");
}

TEST(PrintTree, WritesAQuestionMarkForEachControlCharacter) {
    const Zel::Ptr<Toy::Record> record(new Toy::Record);
    record->titleIs("a\x1f\x7f~\n");
    EXPECT_EQ(Zel::treeText(record.ptr()).substr(0, 31), "Toy::Record\n  title: a??~?\n  re");
}

/// Collections whose names have 14, 15, 16 and 40 characters.
class Named final : public Zel::Object<Named, Zel::Entity> {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<Named>;
    static Zel::TypeNode const _zelType;

    ZEL_HASHED_COLLECTION(258, Toy::Group, Zel::Name, groupsOfTheDay)
    ZEL_HASHED_COLLECTION(259, Toy::Group, Zel::Name, groupsOfTheWeek)
    ZEL_HASHED_COLLECTION(260, Toy::Group, Zel::Name, groupsOfTheMonth)
    ZEL_HASHED_COLLECTION(261, Toy::Group, Zel::Name, groupsOfWhichNobodyKnowsSinceWhenTheyAre)
};
constinit Zel::TypeNode const Named::_zelType = Zel::typeNodeOf<Named>("Named");

TEST(PrintTree, TakesNamesAndKeysOfAnyLength) {
    for (std::size_t size = 0; size <= 70; ++size) {
        const std::string key(size, 'k');
        const Zel::Ptr<Named> named(new Named);
        named->groupsOfTheDayIs(Zel::Name(key));
        named->groupsOfTheWeekIs(Zel::Name(key));
        named->groupsOfTheMonthIs(Zel::Name(key));
        named->groupsOfWhichNobodyKnowsSinceWhenTheyAreIs(Zel::Name(key));
        std::string expected = "Named\n";
        for (const char* const name : {"groupsOfTheDay", "groupsOfTheWeek", "groupsOfTheMonth",
                                       "groupsOfWhichNobodyKnowsSinceWhenTheyAre"}) {
            expected.append("  ").append(name).append("[").append(key).append("]\n    name: ");
            expected.append(key).append("\n    level: 0\n    item: {}\n");
        }
        EXPECT_EQ(Zel::treeText(named.ptr()), expected);
        const Zel::Ptr<Toy::Group> group(new Toy::Group(Zel::Name(key)));
        EXPECT_EQ(Zel::treeText(group.ptr()),
                  "Toy::Group[" + key + "]\n  name: " + key + "\n  level: 0\n  item: {}\n");
    }
}

/// An entity without any attribute.
class Blank final : public Zel::Object<Blank, Zel::Entity> {
  public:
    static Zel::TypeNode const _zelType;
};
constinit Zel::TypeNode const Blank::_zelType = Zel::typeNodeOf<Blank>("Blank");

TEST(PrintTree, OfAnEntityWithoutAttributesHasNone) {
    const Zel::Ptr<Blank> blank(new Blank);
    EXPECT_EQ(Zel::treeText(blank.ptr()), "Blank\n");
    EXPECT_EQ(Zel::treeJson(blank.ptr()), "{}");
}

// ---- comparing ----

Differences diff(Zel::Ptr<Toy::Record> const& left, Zel::Ptr<Toy::Record> const& right) {
    return Zel::diff(left.ptr(), right.ptr());
}

TEST(Diff, FindsNothingInEqualTrees) {
    EXPECT_TRUE(diff(sample(), sample()).empty());
    EXPECT_TRUE(Zel::diff(nullptr, nullptr).empty());
}

TEST(Diff, NamesThePlaceAndBothValues) {
    const auto left = sample();
    const auto right = sample();
    right->revisionIs(8);
    right->group("east")->item(9)->colourIs(Toy::Colour::green);
    right->group("east")->itemIs(10);
    right->tallyIs(2, 21);
    right->tallyDel(3);
    right->groupDel("west");
    right->modeIs(5);
    EXPECT_EQ(diff(left, right),
              (Differences{{"revision", "7", "8"},
                           {"group[east].item[9].colour", "red", "green"},
                           {"group[east].item[10]", std::nullopt, "Toy::Item[10]"},
                           {"group[west]", "Toy::Group[west]", std::nullopt},
                           {"tally[2]", "20", "21"},
                           {"tally[3]", "30", std::nullopt},
                           {"mode", "0", "5"}}));
    EXPECT_EQ(Zel::differencesText(diff(left, right)).substr(0, 17), "revision: 7 != 8\n");
}

TEST(Diff, TakesAZeroInAMapForNoEntry) {
    const auto left = sample();
    const auto right = sample();
    right->tallyIs(9, 0);
    left->tallyIs(8, 0);
    EXPECT_TRUE(diff(left, right).empty());
    right->tallyIs(8, 1);
    EXPECT_EQ(diff(left, right), (Differences{{"tally[8]", "0", "1"}}));
}

TEST(Diff, TellsTheKeysOfTheTwoObjectsApart) {
    const Zel::Ptr<Toy::Item> left(new Toy::Item(1));
    const Zel::Ptr<Toy::Item> right(new Toy::Item(2));
    EXPECT_EQ(Zel::diff(left.ptr(), right.ptr()), (Differences{{"id", "1", "2"}}));
    Zel::TreeDiff comparison;
    comparison.objects(*left, *right, Zel::TreeDiff::withoutKeys);
    EXPECT_TRUE(comparison.take().empty());
}

TEST(Diff, TellsTheKeysOfAPairOfElementsApart) {
    const Value left(Zel::Ptr(new Toy::Item(1)));
    const Value right(Zel::Ptr(new Toy::Item(2)));
    Zel::TreeDiff comparison;
    comparison.element(&left, &right);
    EXPECT_EQ(comparison.take(), (Differences{{"id", "1", "2"}}));
}

TEST(Diff, SaysThatAnObjectIsMissing) {
    const Zel::Ptr<Toy::Item> item(new Toy::Item(1));
    EXPECT_EQ(Zel::diff(item.ptr(), nullptr), (Differences{{"", "Toy::Item[1]", std::nullopt}}));
    EXPECT_EQ(Zel::diff(nullptr, item.ptr()), (Differences{{"", std::nullopt, "Toy::Item[1]"}}));
}

TEST(Diff, NamesPlacesOfAnyLength) {
    const Value one(1U);
    const std::string part(70, 'x');
    for (std::size_t size = 0; size <= part.size(); ++size) {
        const std::string text = part.substr(0, size);
        for (const bool isKey : {false, true}) {
            const std::string name = isKey ? "n" : text;
            const std::string key = isKey ? text : "k";
            const Value value{Zel::Name(key)};
            Zel::TreeDiff comparison;
            comparison.at(name, value, [&] {
                comparison.found(&one, nullptr);
                comparison.at(name, value, [&] { comparison.found(nullptr, &one); });
            });
            comparison.found(&one, &one);
            const std::string path = name + "[" + key + "]";
            const Differences differences = comparison.take();
            EXPECT_EQ(differences, (Differences{{path, "1", std::nullopt},
                                                {path + "." + path, std::nullopt, "1"},
                                                {"", "1", "1"}}));
            EXPECT_EQ(Zel::differencesText(differences),
                      path + ": 1 != (none)\n" + path + "." + path + ": (none) != 1\n: 1 != 1\n");
        }
        EXPECT_EQ(Zel::differencesText({{text, text, text}}),
                  text + ": " + text + " != " + text + "\n");
    }
}

TEST(Diff, DifferencesAreEqualWherePlaceAndBothSidesAre) {
    const Difference difference{"revision", "7", "8"};
    EXPECT_TRUE(difference == (Difference{"revision", "7", "8"}));
    EXPECT_FALSE(difference == (Difference{"mode", "7", "8"}));
    EXPECT_FALSE(difference == (Difference{"revision", "6", "8"}));
    EXPECT_FALSE(difference == (Difference{"revision", "7", std::nullopt}));
}

TEST(Diff, PairsTheElementsOfAnObjectWithNoneWhereTheOtherObjectIsMissing) {
    const auto record = sample();
    const auto differences = [](Zel::PtrInterface const* left, Zel::PtrInterface const* right) {
        Zel::TreeDiff comparison;
        comparison.elements(
            left, 266, right, 266, "tally",
            [&](Value const&, auto one, auto other) { comparison.element(one, other); });
        return comparison.take();
    };
    EXPECT_EQ(differences(record.ptr(), nullptr), (Differences{{"tally[1]", "10", std::nullopt},
                                                               {"tally[2]", "20", std::nullopt},
                                                               {"tally[3]", "30", std::nullopt}}));
    EXPECT_EQ(differences(nullptr, record.ptr()), (Differences{{"tally[1]", std::nullopt, "10"},
                                                               {"tally[2]", std::nullopt, "20"},
                                                               {"tally[3]", std::nullopt, "30"}}));
    EXPECT_TRUE(differences(nullptr, nullptr).empty());
}

TEST(Diff, ANullPointerDiffersFromAnObjectAndNoElementFromNone) {
    const Value object(Zel::Ptr(new Toy::Item(1)));
    const Value null{Zel::Ptr<Toy::Item>()};
    Zel::TreeDiff comparison;
    comparison.element(nullptr, nullptr);
    comparison.element(&null, &null);
    EXPECT_TRUE(comparison.take().empty());
    comparison.element(&object, &null);
    comparison.element(&null, &object);
    EXPECT_EQ(comparison.take(),
              (Differences{{"", "Toy::Item[1]", "null"}, {"", "null", "Toy::Item[1]"}}));
}

TEST(Diff, RefusesObjectsOfDifferentClasses) {
    const auto record = sample();
    EXPECT_EQ(textThrown<Zel::RangeException>(
                  [&] { Zel::diff(record.ptr(), record->group("east").ptr()); }),
              "a Toy::Record cannot be compared with a Toy::Group");
}

} // namespace
