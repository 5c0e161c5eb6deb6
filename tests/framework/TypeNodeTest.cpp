#include "framework/zel/TypeNode.h"

#include "tests/framework/ToyModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

using Zel::AttributeId;
using Zel::AttributeInfo;
using Zel::AttributeKind;
using Zel::TypeNode;

namespace {

std::map<TypeNode const*, int> registeredTypes() {
    std::map<TypeNode const*, int> types;
    for (TypeNode const* type = Zel::lastTypeNode(); type; type = type->previous())
        ++types[type];
    return types;
}

void expectTable(TypeNode const& type, std::vector<AttributeInfo> const& expected) {
    const auto table = type.attributes();
    ASSERT_EQ(table.size(), expected.size());
    for (std::size_t row = 0; row < expected.size(); ++row) {
        SCOPED_TRACE(expected[row].name);
        EXPECT_EQ(table[row].id, expected[row].id);
        EXPECT_EQ(table[row].name, expected[row].name);
        EXPECT_EQ(table[row].kind, expected[row].kind);
        EXPECT_EQ(*table[row].valueType, *expected[row].valueType);
        ASSERT_EQ(table[row].keyType == nullptr, expected[row].keyType == nullptr);
        if (table[row].keyType) {
            EXPECT_EQ(*table[row].keyType, *expected[row].keyType);
            EXPECT_NE(table[row].keyView, nullptr);
        }
    }
}

AttributeInfo key(AttributeId id, std::string_view name, std::type_info const& type) {
    return {id, name, AttributeKind::key, &type, nullptr, nullptr};
}
AttributeInfo scalar(AttributeId id, std::string_view name, std::type_info const& type) {
    return {id, name, AttributeKind::scalar, &type, nullptr, nullptr};
}
AttributeInfo collection(AttributeId id, std::string_view name, std::type_info const& child,
                         std::type_info const& keyType) {
    return {id, name, AttributeKind::collection, &child, &keyType, nullptr};
}

AttributeInfo valueMap(AttributeId id, std::string_view name, std::type_info const& value,
                       std::type_info const& keyType) {
    return {id, name, AttributeKind::valueMap, &value, &keyType, nullptr};
}

TEST(TypeNode, EveryClassIsRegisteredOnceWhenTheProgramIsLoaded) {
    const auto types = registeredTypes();
    for (TypeNode const* type :
         {&Toy::Item::_zelType, &Toy::Group::_zelType, &Toy::Record::_zelType}) {
        ASSERT_EQ(types.count(type), 1u) << type->name();
        EXPECT_EQ(types.at(type), 1) << type->name();
    }
}

TEST(TypeNode, RegisteringAgainDoesNothing) {
    const auto before = registeredTypes();
    TypeNode const* const last = Zel::lastTypeNode();
    EXPECT_TRUE(Zel::typeNodeIs(Toy::Item::_zelType));
    EXPECT_TRUE(Zel::typeNodeIs(Toy::Record::_zelType));
    EXPECT_EQ(Zel::lastTypeNode(), last);
    EXPECT_EQ(registeredTypes(), before);
}

TEST(TypeNode, TheLatestRegistrationComesFirst) {
    static constinit TypeNode const first{"Toy::First", {}};
    static constinit TypeNode const second{"Toy::Second", {}};
    Zel::typeNodeIs(first);
    Zel::typeNodeIs(second);
    EXPECT_EQ(Zel::lastTypeNode(), &second);
    EXPECT_EQ(second.previous(), &first);
    EXPECT_EQ(Zel::typeNode("Toy::Second"), &second);
}

TEST(TypeNode, IsFoundByItsQualifiedName) {
    EXPECT_EQ(Zel::typeNode("Toy::Item"), &Toy::Item::_zelType);
    EXPECT_EQ(Zel::typeNode("Toy::Group"), &Toy::Group::_zelType);
    EXPECT_EQ(Zel::typeNode("Toy::Record"), &Toy::Record::_zelType);
    EXPECT_EQ(Zel::typeNode("Item"), nullptr);
    EXPECT_EQ(Zel::typeNode("Toy::Ite"), nullptr);
    EXPECT_EQ(Zel::typeNode("toy::item"), nullptr);
    EXPECT_EQ(Zel::typeNode(""), nullptr);
}

TEST(TypeNode, IsTheOneThatObjectsOfTheClassGive) {
    const Zel::Ptr<Zel::PtrInterface> record = Zel::Ptr(new Toy::Record);
    EXPECT_EQ(record->fwkType(), &Toy::Record::_zelType);
    EXPECT_EQ(record->fwkType()->name(), "Toy::Record");
}

TEST(TypeNode, TheAttributesOfAnItemAreThoseDeclared) {
    expectTable(Toy::Item::_zelType, {
                                         key(258, "id", typeid(Toy::ItemId)),
                                         scalar(259, "count", typeid(unsigned)),
                                         scalar(260, "ratio", typeid(double)),
                                         scalar(261, "label", typeid(Zel::String)),
                                         scalar(262, "enabled", typeid(bool)),
                                         scalar(263, "octet", typeid(Zel::U8)),
                                         scalar(264, "port", typeid(Zel::U16)),
                                         scalar(266, "total", typeid(Zel::U64)),
                                         scalar(267, "offset", typeid(int)),
                                         scalar(268, "tag", typeid(Zel::Name)),
                                         scalar(269, "colour", typeid(Toy::Colour)),
                                         scalar(272, "digest", typeid(Toy::Digest)),
                                         scalar(273, "weight", typeid(float)),
                                         scalar(289, "age", typeid(double)),
                                     });
}

TEST(TypeNode, TheAttributesOfARecordAndOfAGroupAreThoseDeclared) {
    expectTable(Toy::Record::_zelType,
                {
                    scalar(258, "title", typeid(Zel::String)),
                    scalar(259, "revision", typeid(unsigned)),
                    collection(261, "item", typeid(Toy::Item), typeid(Toy::ItemId)),
                    collection(264, "group", typeid(Toy::Group), typeid(Zel::Name)),
                    scalar(265, "valid", typeid(bool)),
                    valueMap(266, "tally", typeid(unsigned), typeid(Toy::ItemId)),
                    scalar(268, "mode", typeid(Zel::U16)),
                });
    expectTable(Toy::Group::_zelType,
                {
                    key(258, "name", typeid(Zel::Name)),
                    scalar(260, "level", typeid(unsigned)),
                    collection(261, "item", typeid(Toy::Item), typeid(Toy::ItemId)),
                });
}

TEST(TypeNode, AClassWithoutAttributesHasAnEmptyTable) {
    EXPECT_TRUE(Toy::Recorder<Toy::Item>::_zelType.attributes().empty());
    EXPECT_EQ(Toy::Recorder<Toy::Item>::_zelType.attribute(258), nullptr);
}

TEST(TypeNode, AnAttributeIsFoundByItsIdentifier) {
    for (AttributeInfo const& info : Toy::Item::_zelType.attributes())
        EXPECT_EQ(Toy::Item::_zelType.attribute(info.id), &info);
    ASSERT_NE(Toy::Item::_zelType.attribute(266), nullptr);
    EXPECT_EQ(Toy::Item::_zelType.attribute(266)->name, "total");
}

TEST(TypeNode, AGapHasNoAttribute) {
    for (const AttributeId id : {0u, 257u, 265u, 270u, 271u, 274u, 288u, 290u, 0xffffffffu})
        EXPECT_EQ(Toy::Item::_zelType.attribute(id), nullptr) << id;
    for (const AttributeId id : {260u, 262u, 263u, 267u, 269u})
        EXPECT_EQ(Toy::Record::_zelType.attribute(id), nullptr) << id;
}

TEST(TypeNode, IdentifiersBeginWith258) {
    EXPECT_EQ(Zel::firstAttributeId, 258u);
    EXPECT_EQ(Toy::Item::_zelType.attributes().front().id, 258u);
    EXPECT_EQ(Toy::Record::_zelType.attributes().front().id, 258u);
}

// The descriptions of attributes, which give the table.

static_assert(Zel::HasAttribute<Toy::Item, 258>);
static_assert(Zel::HasAttribute<Toy::Item, 289>);
static_assert(!Zel::HasAttribute<Toy::Item, 265>);
static_assert(!Zel::HasAttribute<Toy::Item, 257>);
static_assert(std::is_same_v<Zel::AttributeOf<Toy::Item, 261>, Toy::Item::labelAttribute>);
static_assert(std::is_same_v<Toy::Item::labelAttribute::Entity, Toy::Item>);
static_assert(std::is_same_v<Toy::Item::labelAttribute::Value, Zel::String>);
static_assert(std::is_same_v<Toy::Record::groupAttribute::Child, Toy::Group>);
static_assert(std::is_same_v<Toy::Record::groupAttribute::Key, Zel::Name>);
static_assert(Zel::ScalarAttribute<Toy::Item::labelAttribute>);
static_assert(!Zel::ScalarAttribute<Toy::Item::idAttribute>);
static_assert(!Zel::ScalarAttribute<Toy::Record::itemAttribute>);
static_assert(Zel::CollectionAttribute<Toy::Record::itemAttribute>);
static_assert(!Zel::CollectionAttribute<Toy::Item::idAttribute>);
static_assert(Zel::ValueMapAttribute<Toy::Record::tallyAttribute>);
static_assert(!Zel::CollectionAttribute<Toy::Record::tallyAttribute>);
static_assert(!Zel::ScalarAttribute<Toy::Record::tallyAttribute>);
static_assert(Zel::KeyedAttribute<Toy::Record::tallyAttribute>);
static_assert(Zel::KeyedAttribute<Toy::Record::itemAttribute>);
static_assert(!Zel::KeyedAttribute<Toy::Record::titleAttribute>);
static_assert(Toy::Item::labelAttribute::id == 261);
static_assert(Toy::Item::labelAttribute::name == "label");

template <class A>
concept Writable = requires(typename A::Entity& entity) {
    A::write(entity, A::read(entity));
};
static_assert(Writable<Toy::Item::labelAttribute>);
static_assert(!Writable<Toy::Item::idAttribute>, "a key stays what it is");
static_assert(!Writable<Toy::Record::itemAttribute>);

TEST(TypeNode, TheTableHasARowForEachDescription) {
    EXPECT_EQ(Zel::detail::attributeCount<Toy::Item>(), 14u);
    EXPECT_EQ(Zel::detail::attributeCount<Toy::Recorder<Toy::Item>>(), 0u);
    const auto made = Zel::detail::makeAttributeTable<Toy::Record>();
    const auto table = Toy::Record::_zelType.attributes();
    ASSERT_EQ(made.size(), table.size());
    for (std::size_t row = 0; row < made.size(); ++row) {
        EXPECT_EQ(made[row].id, table[row].id);
        EXPECT_EQ(made[row].name, table[row].name);
        EXPECT_EQ(made[row].kind, table[row].kind);
        EXPECT_EQ(made[row].valueType, table[row].valueType);
        EXPECT_EQ(made[row].keyType, table[row].keyType);
        EXPECT_EQ(made[row].keyView == nullptr, table[row].keyType == nullptr);
    }
}

/// A syncer's children, as its declaration describes them.
struct Children {
    using Child = Toy::Item;
    using Key = Toy::ItemId;
    static constexpr AttributeId id = 260;
    static constexpr std::string_view name = "children";
    static constexpr AttributeKind kind = AttributeKind::reactors;
};

TEST(TypeNode, OfChildReactorsTheKeyHasATypeAndIsNotShown) {
    const AttributeInfo info = Zel::attributeInfo<Children>();
    EXPECT_EQ(info.id, 260u);
    EXPECT_EQ(info.name, "children");
    EXPECT_EQ(info.kind, AttributeKind::reactors);
    EXPECT_EQ(*info.valueType, typeid(Toy::Item));
    EXPECT_EQ(*info.keyType, typeid(Toy::ItemId));
    EXPECT_EQ(info.keyView, nullptr);
}

TEST(Attribute, AKeyIsSeenAsANumberOrAsATextAndNotAsBoth) {
    const Zel::Name name("mst1");
    const Zel::KeyView text = Zel::keyView(name);
    EXPECT_TRUE(text.isText);
    EXPECT_EQ(text.text, "mst1");
    EXPECT_EQ(text.number, 0u);
    const Zel::KeyView number = Zel::keyView(Toy::ItemId{7});
    EXPECT_FALSE(number.isText);
    EXPECT_EQ(number.text, "");
    EXPECT_EQ(number.number, 7u);
}

TEST(Attribute, AllAreVisitedInTheOrderOfDeclaration) {
    std::vector<AttributeId> visited;
    Zel::forEachAttribute<Toy::Item>([&](auto attribute) { visited.push_back(attribute.id); });
    EXPECT_EQ(visited, (std::vector<AttributeId>{258, 259, 260, 261, 262, 263, 264, 266, 267, 268,
                                                 269, 272, 273, 289}));
}

TEST(Attribute, TheOneOfAnIdentifierIsVisitedOnce) {
    for (AttributeInfo const& info : Toy::Item::_zelType.attributes()) {
        std::vector<std::string_view> visited;
        EXPECT_TRUE(Zel::dispatchAttribute<Toy::Item>(
            info.id, [&](auto attribute) { visited.push_back(attribute.name); }));
        EXPECT_EQ(visited, std::vector<std::string_view>{info.name});
    }
}

TEST(Attribute, NoneIsVisitedForAnIdentifierWithoutOne) {
    for (const AttributeId id : {0u, 257u, 265u, 288u, 290u, 0xffffffffu}) {
        EXPECT_FALSE(Zel::dispatchAttribute<Toy::Item>(
            id, [&](auto attribute) { ADD_FAILURE() << attribute.name; }));
    }
}

TEST(Attribute, EveryScalarIsReadAndWrittenThroughItsDescription) {
    const Zel::Ptr<Toy::Item> source(new Toy::Item(1));
    source->countIs(4'000'000'000);
    source->ratioIs(0.1);
    source->labelIs("label");
    source->enabledIs(true);
    source->octetIs(200);
    source->portIs(60'000);
    source->totalIs(Zel::U64{1} << 63);
    source->offsetIs(-5);
    source->tagIs("tag");
    source->colourIs(Toy::Colour::green);
    source->digestIs({{1, 2, 3}});
    source->weightIs(0.5f);
    source->ageIs(-1.5);

    const Zel::Ptr<Toy::Item> copy(new Toy::Item(2));
    int scalars = 0;
    Zel::forEachAttribute<Toy::Item>([&](auto attribute) {
        using A = decltype(attribute);
        if constexpr (Zel::ScalarAttribute<A>) {
            EXPECT_FALSE(A::read(*copy) == A::read(*source)) << A::name;
            A::write(*copy, A::read(*source));
            EXPECT_TRUE(A::read(*copy) == A::read(*source)) << A::name;
            ++scalars;
        }
    });
    EXPECT_EQ(scalars, 13);
    EXPECT_EQ(copy->count(), 4'000'000'000);
    EXPECT_EQ(copy->ratio(), 0.1);
    EXPECT_EQ(copy->label(), "label");
    EXPECT_TRUE(copy->enabled());
    EXPECT_EQ(copy->octet(), 200);
    EXPECT_EQ(copy->port(), 60'000);
    EXPECT_EQ(copy->total(), Zel::U64{1} << 63);
    EXPECT_EQ(copy->offset(), -5);
    EXPECT_EQ(copy->tag(), Zel::Name("tag"));
    EXPECT_EQ(copy->colour(), Toy::Colour::green);
    EXPECT_EQ(copy->digest().octets[2], 3);
    EXPECT_EQ(copy->weight(), 0.5f);
    EXPECT_EQ(copy->age(), -1.5);
    EXPECT_EQ(copy->id(), Toy::ItemId(2));
}

TEST(Attribute, MapsOfValuesAreReadThroughTheirDescription) {
    const Zel::Ptr<Toy::Record> record(new Toy::Record);
    record->tallyIs(3, 4);
    auto const* const node = Toy::Record::tallyAttribute::read(*record).lookupNodeG(3);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->value(), 4u);
}

TEST(Attribute, CollectionsAreReadThroughTheirDescription) {
    const Zel::Ptr<Toy::Record> record(new Toy::Record);
    const auto item = record->itemIs(3);
    const auto group = record->groupIs("g");
    EXPECT_EQ(Toy::Record::itemAttribute::read(*record).find(3), item.ptr());
    EXPECT_EQ(Toy::Record::groupAttribute::read(*record).find("g"), group.ptr());
}

} // namespace
