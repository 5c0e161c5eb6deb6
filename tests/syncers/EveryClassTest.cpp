#include "framework/zel/Exception.h"
#include "framework/zel/GenericIf.h"
#include "framework/zel/PrintTree.h"
#include "framework/zel/TypeNode.h"
#include "model/TxStatus.h"
#include "platform/stp/Port.h"
#include "platform/stp/PortConfig.h"
#include "syncers/IntxInfoChangeSm.h"
#include "syncers/IntxInfoSyncer.h"
#include "syncers/RxStatusToRxDynamicSyncer.h"
#include "syncers/TxStatusToRxSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"
#include "tests/framework/Thrown.h"
#include "tests/framework/Watcher.h"
#include "tests/model/AnyValue.h"
#include "tests/model/Samples.h"

#include <algorithm>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <typeindex>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace Varnol {
namespace {

using Samples::et1;
using Zel::AttributeKind;
using Zel::AttributeOp;
using Zel::GenericIfResult;
using Zel::TypeNode;
using Zel::Value;

/// What the classes' objects are made of: full trees, each made when it is asked for.
class World {
  public:
    TxStatus::Ptr const& source() { return filled(source_); }
    TxStatus::Ptr const& dest() { return filled(dest_); }
    RxStatus::Ptr const& rxSource() { return filled(rxSource_); }
    RxStatus::Ptr const& rxDest() { return filled(rxDest_); }

    static IntxInfo::Ptr record(TxStatus& tree) {
        return tree.txMstStatus("mst1")->txMstPortStatus(et1)->txInfo(1);
    }

  private:
    template <class T> static Zel::Ptr<T> const& filled(Zel::Ptr<T>& tree) {
        if (!tree) {
            tree = Zel::Ptr<T>(new T);
            fillTree(*tree);
        }
        return tree;
    }

    TxStatus::Ptr source_, dest_;
    RxStatus::Ptr rxSource_, rxDest_;
};

template <class T> Value reading(Zel::Ptr<T> const& object) {
    return Value(Zel::Ptr<T const>(object));
}

using Args = std::vector<Value>;

/// The arguments by which each class of the model and of the syncers is made.
std::map<std::string, std::function<Args(World&)>> const arguments{
    {"Varnol::IntxInfo", [](World&) { return Args{Value(Bridging::VlanIdOrNone(100))}; }},
    {"Varnol::IntxMstiInfo", [](World&) { return Args{Value(Stp::BridgeSystemId(3))}; }},
    {"Varnol::TxStatus", [](World&) { return Args{}; }},
    {"Varnol::TxMstStatus", [](World&) { return Args{Value(Zel::Name("mst1"))}; }},
    {"Varnol::TxMstPortStatus", [](World&) { return Args{Value(et1)}; }},
    {"Varnol::RxStatus", [](World&) { return Args{}; }},
    {"Varnol::RxMstStatus", [](World&) { return Args{Value(Zel::Name("mst1"))}; }},
    {"Varnol::RxMstPortStatus", [](World&) { return Args{Value(et1)}; }},
    {"Stp::Port", [](World&) { return Args{}; }},
    {"Stp::Config", [](World&) { return Args{}; }},
    {"Stp::PortConfig", [](World&) { return Args{}; }},
    {"Stp::StpiPortStatus", [](World&) { return Args{}; }},
    {"Varnol::IntxInfoSyncer",
     [](World& world) {
         return Args{reading(world.record(*world.source())), Value(world.record(*world.dest())),
                     Value(Bridging::VlanIdOrNone(1)), Value(Zel::String("mst1|Et1"))};
     }},
    {"Varnol::IntxInfoSyncer::ZelSource",
     [](World& world) {
         return Args{reading(world.record(*world.source())),
                     Value(intxInfoSyncerFactory(world.record(*world.source()), nullptr, 1, ""))};
     }},
    {"Varnol::IntxInfoSyncer::ZelMstiNSm",
     [](World& world) {
         return Args{reading(world.record(*world.source())->mstiN(1)),
                     Value(intxInfoSyncerFactory(nullptr, world.record(*world.dest()), 1, ""))};
     }},
    {"Varnol::IntxInfoChangeSm",
     [](World& world) {
         return Args{reading(world.record(*world.source())), Value(Bridging::VlanIdOrNone(1))};
     }},
    {"Varnol::IntxInfoChangeSm::ZelIntxInfo",
     [](World& world) {
         return Args{reading(world.record(*world.source())),
                     Value(intxInfoChangeSmFactory(nullptr, 1))};
     }},
    {"Varnol::IntxInfoChangeSm::ZelMstiN",
     [](World& world) {
         return Args{reading(world.record(*world.source())->mstiN(1)),
                     Value(intxInfoChangeSmFactory(nullptr, 1))};
     }},
    {"Varnol::TxStatusToTxSyncer",
     [](World& world) {
         return Args{reading(world.source()), Value(world.dest())};
     }},
    {"Varnol::TxStatusToTxSyncer::ZelSource",
     [](World& world) {
         return Args{reading(world.source()),
                     Value(txStatusToTxSyncerFactory(nullptr, world.dest()))};
     }},
    {"Varnol::TxStatusToTxSyncer::ZelTxMstStatusSm",
     [](World& world) {
         return Args{reading(world.source()->txMstStatus("mst1")),
                     Value(txStatusToTxSyncerFactory(nullptr, world.dest()))};
     }},
    {"Varnol::TxStatusToTxSyncer::ZelTxMstStatusSm::ZelTxMstPortStatusSm",
     [](World& world) {
         return Args{
             reading(world.source()->txMstStatus("mst1")->txMstPortStatus(et1)),
             Value(txStatusToTxSyncerFactory(world.source(), world.dest())->txMstStatus("mst1"))};
     }},
    {"Varnol::TxStatusToRxSyncer",
     [](World& world) {
         return Args{reading(world.source()), Value(world.rxDest())};
     }},
    {"Varnol::TxStatusToRxSyncer::ZelSource",
     [](World& world) {
         return Args{reading(world.source()),
                     Value(txStatusToRxSyncerFactory(world.source(), world.rxDest()))};
     }},
    {"Varnol::TxStatusToRxSyncer::ZelTxMstStatusSm",
     [](World& world) {
         return Args{reading(world.source()->txMstStatus("mst1")),
                     Value(txStatusToRxSyncerFactory(world.source(), world.rxDest()))};
     }},
    {"Varnol::RxStatusToRxDynamicSyncer",
     [](World& world) {
         return Args{reading(world.rxSource()), Value(world.rxDest())};
     }},
    {"Varnol::RxStatusToRxDynamicSyncer::ZelSource",
     [](World& world) {
         return Args{reading(world.rxSource()),
                     Value(rxStatusToRxDynamicSyncerFactory(nullptr, world.rxDest()))};
     }},
    {"Varnol::RxMstStatusToRxDynamicSyncer",
     [](World& world) {
         return Args{Value(Zel::Name("mst1")), reading(world.rxSource()->rxMstStatus("mst1")),
                     Value(world.rxDest())};
     }},
    {"Varnol::RxMstStatusToRxDynamicSyncer::ZelSource",
     [](World& world) {
         return Args{reading(world.rxSource()->rxMstStatus("mst1")),
                     Value(rxMstStatusToRxDynamicSyncerFactory(Zel::Name("mst1"), nullptr,
                                                               world.rxDest()))};
     }},
    {"Varnol::RxMstPortStatusToRxDynamicSyncer",
     [](World& world) {
         return Args{Value(Zel::Name("mst1")), Value(et1),
                     reading(world.rxSource()->rxMstStatus("mst1")->rxMstPortStatus(et1)),
                     Value(world.rxDest())};
     }},
    {"Varnol::RxMstPortStatusToRxDynamicSyncer::ZelSource",
     [](World& world) {
         return Args{reading(world.rxSource()->rxMstStatus("mst1")->rxMstPortStatus(et1)),
                     Value(rxMstPortStatusToRxDynamicSyncerFactory(Zel::Name("none"), et1, nullptr,
                                                                   world.rxDest()))};
     }},
};

/// An object of the class, with its world; both end together.
struct Object {
    explicit Object(TypeNode const& type) {
        args = arguments.at(std::string(type.name()))(world);
        EXPECT_EQ(genericIfConstructFromCtorArgs(type, object, args), GenericIfResult::done);
    }
    GenericIfResult op(Zel::AttributeId id, AttributeOp operation, Value& value,
                       Value const& key = {}) const {
        return genericIfAttributeOp(*object, id, operation, value, key);
    }
    Value read(Zel::AttributeId id, Value const& key = {}) const {
        Value value;
        EXPECT_EQ(op(id, AttributeOp::read, value, key), GenericIfResult::done) << id;
        return value;
    }

    World world;
    Args args;
    Zel::Ptr<Zel::PtrInterface> object;
};

/// What becomes of reading an element of an object that may only be read.
GenericIfResult readOnly(Object const& made, Zel::AttributeId id, Value const& key) {
    Value value;
    return genericIfAttributeOp(static_cast<Zel::PtrInterface const&>(*made.object), id,
                                AttributeOp::read, value, key);
}

/// A class of those that are made of `arguments`.
class EveryClass : public testing::TestWithParam<std::string> {
  protected:
    TypeNode const& type = *Zel::typeNode(GetParam());
};

using EveryClassWithScalars = EveryClass;
using EveryClassWithKeysOrConstants = EveryClass;
using EveryClassWithElements = EveryClass;
using EveryClassWithChildReactors = EveryClass;
using EveryClassWithElementsDeathTest = EveryClass;
using EveryClassWithChildReactorsDeathTest = EveryClass;

/// The names of all classes; of those that have an attribute of one of the kinds, where some are
/// given.
std::vector<std::string> classes(std::set<AttributeKind> const& kinds = {}) {
    std::vector<std::string> names;
    for (auto const& [name, args] : arguments) {
        TypeNode const* type = Zel::typeNode(name);
        if (kinds.empty() ||
            (type && std::ranges::any_of(type->attributes(), [&](auto const& each) {
                 return kinds.contains(each.kind);
             })))
            names.push_back(name);
    }
    return names;
}

std::string testName(testing::TestParamInfo<std::string> const& each) {
    return std::regex_replace(each.param, std::regex("::"), "_");
}

INSTANTIATE_TEST_SUITE_P(Each, EveryClass, testing::ValuesIn(classes()), testName);
INSTANTIATE_TEST_SUITE_P(Each, EveryClassWithScalars,
                         testing::ValuesIn(classes({AttributeKind::scalar})), testName);
INSTANTIATE_TEST_SUITE_P(Each, EveryClassWithKeysOrConstants,
                         testing::ValuesIn(classes({AttributeKind::key, AttributeKind::constant})),
                         testName);
INSTANTIATE_TEST_SUITE_P(
    Each, EveryClassWithElements,
    testing::ValuesIn(classes({AttributeKind::collection, AttributeKind::valueMap})), testName);
INSTANTIATE_TEST_SUITE_P(Each, EveryClassWithChildReactors,
                         testing::ValuesIn(classes({AttributeKind::reactors})), testName);
INSTANTIATE_TEST_SUITE_P(
    Each, EveryClassWithElementsDeathTest,
    testing::ValuesIn(classes({AttributeKind::collection, AttributeKind::valueMap})), testName);
INSTANTIATE_TEST_SUITE_P(Each, EveryClassWithChildReactorsDeathTest,
                         testing::ValuesIn(classes({AttributeKind::reactors})), testName);

bool single(AttributeKind kind) {
    return kind == AttributeKind::key || kind == AttributeKind::scalar ||
           kind == AttributeKind::constant;
}

/// A null pointer where the attribute is one; else another value than the one given.
Value other(Zel::AttributeInfo const& attribute, Value const& than) {
    if (than.isObject())
        return Value(Zel::Ptr<Zel::PtrInterface const>());
    const Value first = anyValue(*attribute.valueType, 4);
    return first == than ? anyValue(*attribute.valueType, 5) : first;
}

TEST(AClass, OfTheModelAndTheSyncersIsRegisteredAndHasTheInterface) {
    std::set<std::string> names;
    for (TypeNode const* type = Zel::lastTypeNode(); type; type = type->previous()) {
        if (type->name().starts_with("Varnol::")) {
            EXPECT_NE(type->genericIf(), nullptr) << type->name();
            EXPECT_TRUE(names.emplace(type->name()).second) << type->name() << " is there twice";
        }
    }
    for (auto const& [name, args] : arguments) {
        EXPECT_NE(Zel::typeNode(name), nullptr) << name;
        if (name.starts_with("Varnol::")) {
            EXPECT_EQ(names.erase(name), 1U) << name;
        }
    }
    EXPECT_TRUE(names.empty()) << *names.begin();
}

TEST(AClass, OfTheModelAndTheSyncersHasNineAttributesOfElementsAndEightOfChildReactors) {
    unsigned elements = 0;
    unsigned reactors = 0;
    for (std::string const& name : classes()) {
        for (Zel::AttributeInfo const& attribute : Zel::typeNode(name)->attributes()) {
            elements += attribute.kind == AttributeKind::collection ||
                        attribute.kind == AttributeKind::valueMap;
            reactors += attribute.kind == AttributeKind::reactors;
        }
    }
    EXPECT_EQ(elements, 9U);
    EXPECT_EQ(reactors, 8U);
}

TEST_P(EveryClass, IsConstructedFromItsArguments) {
    const Object made(type);
    ASSERT_TRUE(made.object);
    EXPECT_EQ(made.object->fwkType(), &type);
}

TEST_P(EveryClass, RefusesOtherArgumentsAndThenMakesNothing) {
    World world;
    const Args args = arguments.at(std::string(type.name()))(world);
    const Zel::Ptr<Zel::PtrInterface> before(new TxStatus);
    Zel::Ptr<Zel::PtrInterface> place = before;
    Args more = args;
    more.emplace_back(1U);
    EXPECT_EQ(
        textThrown<Zel::RangeException>([&] { genericIfConstructFromCtorArgs(type, place, more); }),
        "the number of arguments that " + std::string(type.name()) + " is constructed from is " +
            std::to_string(args.size()) + ", not " + std::to_string(more.size()));
    for (std::size_t at = 0; at < args.size(); ++at) {
        Args wrong = args;
        if (args[at].writableObject()) {
            wrong[at] = reading(args[at].object());
            EXPECT_THROW(genericIfConstructFromCtorArgs(type, place, wrong), Zel::RangeException)
                << "it is to be written";
        }
        wrong[at] = Value(1U);
        EXPECT_THROW(genericIfConstructFromCtorArgs(type, place, wrong), Zel::RangeException);
        wrong[at] = Value();
        EXPECT_THROW(genericIfConstructFromCtorArgs(type, place, wrong), Zel::RangeException);
        wrong[at] = Value(Stp::BridgeId());
        EXPECT_THROW(genericIfConstructFromCtorArgs(type, place, wrong), Zel::RangeException);
    }
    EXPECT_EQ(place, before);
}

TEST(AClass, OfASyncerIsMadeOfADestinationThatIsNullWhateverPointerThatIs) {
    World world;
    Zel::Ptr<Zel::PtrInterface> place;
    for (Value const& null : {Value(TxStatus::Ptr()), Value(Zel::Ptr<TxStatus const>())}) {
        place = nullptr;
        EXPECT_EQ(genericIfConstructFromCtorArgs(TxStatusToTxSyncer::_zelType, place,
                                                 Args{reading(world.source()), null}),
                  GenericIfResult::done);
        ASSERT_TRUE(place);
        EXPECT_EQ(static_cast<TxStatusToTxSyncer const&>(*place).dest(), nullptr);
    }
}

TEST(AClass, OfAReactorIsNotMadeWithoutItsOwnerNorOnASourceThatIsNull) {
    World world;
    Zel::Ptr<Zel::PtrInterface> place;
    const auto refusal = [&](TypeNode const& type, Args const& args) {
        return textThrown<Zel::RangeException>(
            [&] { genericIfConstructFromCtorArgs(type, place, args); });
    };
    EXPECT_EQ(refusal(IntxInfoSyncer::ZelSource::_zelType,
                      {reading(world.record(*world.source())), Value(IntxInfoSyncer::Ptr())}),
              "Varnol::IntxInfoSyncer::ZelSource is constructed with an owner that is not null");
    EXPECT_EQ(
        refusal(IntxInfoSyncer::ZelMstiNSm::_zelType,
                {reading(world.record(*world.source())->mstiN(1)), Value(IntxInfoSyncer::Ptr())}),
        "Varnol::IntxInfoSyncer::ZelMstiNSm is constructed with an owner that is not null");
    EXPECT_EQ(refusal(IntxInfoSyncer::ZelSource::_zelType,
                      {Value(Zel::Ptr<IntxInfo const>()),
                       Value(intxInfoSyncerFactory(nullptr, nullptr, 1, ""))}),
              "Varnol::IntxInfoSyncer::ZelSource is constructed with a source that is not null");
    EXPECT_EQ(place, nullptr);
}

template <class... T> std::map<std::type_index, Value> valuesOfNothing() {
    return {{typeid(T), Value(T())}...};
}

/// The zeroes of the types that attributes and their keys have.
std::map<std::type_index, Value> const zeroes =
    valuesOfNothing<bool, unsigned char, unsigned short, unsigned, double, Zel::String, Zel::Name,
                    Kolvu::IntfId, Kolvu::EthAddr, Bridging::VlanIdOrNone, Stp::BridgeSystemId,
                    Stp::StpBpduVersion, Stp::StpBpduType, Stp::RstpBpduFlags, Stp::PathCost,
                    Stp::MstpConfigDigest, Stp::BridgeId, Stp::PortId, Stp::TimerVal,
                    Stp::BpduFilter, PortCounters>();

void expectZeroIsKnown(std::type_info const& type) {
    EXPECT_TRUE(zeroes.at(type).isZero()) << type.name();
    EXPECT_FALSE(anyValue(type, 1).isZero()) << type.name();
}

TEST_P(EveryClass, GivesTheValueOfEachSingleAttributeInItsDeclaredType) {
    const Object made(type);
    for (Zel::AttributeInfo const& attribute : type.attributes()) {
        if (!single(attribute.kind))
            continue;
        SCOPED_TRACE(attribute.name);
        const Value value = made.read(attribute.id);
        Value constant;
        EXPECT_EQ(genericIfAttributeOp(static_cast<Zel::PtrInterface const&>(*made.object),
                                       attribute.id, AttributeOp::read, constant),
                  GenericIfResult::done);
        EXPECT_TRUE(value == constant);
        EXPECT_THROW(made.op(attribute.id, AttributeOp::read, constant, Value(1U)),
                     Zel::RangeException)
            << "it has no key";
        if (!value.isObject()) {
            EXPECT_EQ(value.typeText(), anyValue(*attribute.valueType, 1).typeText());
            expectZeroIsKnown(*attribute.valueType);
        }
    }
}

TEST_P(EveryClass, HandlesNoIdentifierThatItDoesNotDeclare) {
    const Object made(type);
    for (Zel::AttributeId id = 0; id < 400; ++id) {
        if (type.attribute(id))
            continue;
        for (AttributeOp operation : {AttributeOp::read, AttributeOp::write, AttributeOp::del}) {
            Value value(1U);
            EXPECT_EQ(made.op(id, operation, value), GenericIfResult::notHandled) << id;
            EXPECT_EQ(static_cast<int>(made.op(id, operation, value)), 2);
            EXPECT_TRUE(value == Value(1U));
        }
        EXPECT_EQ(genericIfIterator(*made.object, id), nullptr);
    }
}

TEST_P(EveryClassWithScalars, TakesAValueOfEachScalar) {
    for (Zel::AttributeInfo const& attribute : type.attributes()) {
        if (attribute.kind != AttributeKind::scalar)
            continue;
        SCOPED_TRACE(attribute.name);
        const Object made(type);
        Value value = other(attribute, made.read(attribute.id));
        if (value.isObject() && type.name().ends_with("ToRxSyncer::ZelTxMstStatusSm"))
            value = Value(Zel::Ptr<TxMstStatus const>(new TxMstStatus("mst1")));
        EXPECT_EQ(made.op(attribute.id, AttributeOp::write, value), GenericIfResult::done);
        EXPECT_TRUE(made.read(attribute.id) == value);
    }
}

TEST(AClass, NotifiesOfEachScalarOfAnEntityThatIsWritten) {
    const RxMstPortStatus::Ptr port(new RxMstPortStatus(et1));
    std::vector<Zel::AttributeId> notified;
    const auto watcher =
        watch(port, [&](Zel::AttributeId id, void const*) { notified.push_back(id); });
    Value counters = anyValue(typeid(PortCounters), 1);
    genericIfAttributeOp(*port, 261, AttributeOp::write, counters);
    genericIfAttributeOp(*port, 261, AttributeOp::write, counters);
    Value count(7U);
    genericIfAttributeOp(*port, 259, AttributeOp::write, count, Value(Bridging::VlanIdOrNone(3)));
    EXPECT_EQ(notified, (std::vector<Zel::AttributeId>{261, 261, 259}));
    EXPECT_EQ(port->counters(), Samples::counters(1));
    EXPECT_EQ(port->rxUpdate(3), 7U);
}

/// What an action says of an attribute that takes something of another type than it was given.
template <class Action>
void expectOtherType(TypeNode const& type, Zel::AttributeInfo const& attribute,
                     std::string_view what, Value const& given, Action const& action) {
    const std::string text = textThrown<Zel::RangeException>(action);
    EXPECT_TRUE(text.starts_with("attribute " + std::string(type.name()) +
                                 "::" + std::string(attribute.name) + " takes a " +
                                 std::string(what) + " of type "))
        << text;
    EXPECT_TRUE(text.ends_with(", not " + std::string(given.typeText()))) << text;
}

TEST_P(EveryClassWithScalars, RefusesAValueOfAnotherTypeAndKeepsItsOwn) {
    const Object made(type);
    for (Zel::AttributeInfo const& attribute : type.attributes()) {
        if (attribute.kind != AttributeKind::scalar)
            continue;
        const Value before = made.read(attribute.id);
        for (Value wrong :
             {Value(), Value(Zel::U64{1}), Value(Zel::Ptr<Stp::Port>(new Stp::Port))}) {
            expectOtherType(type, attribute, "value", wrong,
                            [&] { made.op(attribute.id, AttributeOp::write, wrong); });
        }
        Value value = other(attribute, before);
        EXPECT_THROW(made.op(attribute.id, AttributeOp::write, value, Value(1U)),
                     Zel::RangeException)
            << "it has no key";
        EXPECT_TRUE(made.read(attribute.id) == before) << attribute.name;
    }
}

TEST_P(EveryClassWithKeysOrConstants, RefusesToWriteKeysAndConstants) {
    const Object made(type);
    for (Zel::AttributeInfo const& attribute : type.attributes()) {
        if (attribute.kind != AttributeKind::key && attribute.kind != AttributeKind::constant)
            continue;
        Value before = made.read(attribute.id);
        Value value = other(attribute, before);
        EXPECT_EQ(textThrown<Zel::RangeException>(
                      [&] { made.op(attribute.id, AttributeOp::write, value); }),
                  "attribute " + std::string(type.name()) + "::" + std::string(attribute.name) +
                      " cannot be written");
        EXPECT_TRUE(made.read(attribute.id) == before) << attribute.name;
    }
}

TEST_P(EveryClass, RefusesToWriteWhatMayOnlyBeRead) {
    const Object made(type);
    Zel::PtrInterface const& constant = *made.object;
    for (Zel::AttributeInfo const& attribute : type.attributes()) {
        for (AttributeOp operation : {AttributeOp::write, AttributeOp::del}) {
            Value value;
            EXPECT_EQ(textThrown<Zel::RangeException>(
                          [&] { genericIfAttributeOp(constant, attribute.id, operation, value); }),
                      "attribute " + std::string(type.name()) + "::" + std::string(attribute.name) +
                          " is one of an object that may only be read");
        }
    }
}

TEST_P(EveryClassWithElements, CreatesFindsWalksAndDeletesTheElementsOfEachAttributeThatHasSome) {
    for (Zel::AttributeInfo const& attribute : type.attributes()) {
        if (attribute.kind != AttributeKind::collection &&
            attribute.kind != AttributeKind::valueMap)
            continue;
        SCOPED_TRACE(attribute.name);
        const Object made(type);
        const auto id = attribute.id;
        const bool map = attribute.kind == AttributeKind::valueMap;
        expectZeroIsKnown(*attribute.keyType);
        const auto key = [&](unsigned number) { return anyValue(*attribute.keyType, number); };
        const auto element = [&](unsigned number) {
            return map ? anyValue(*attribute.valueType, number) : Value();
        };
        Value value;
        EXPECT_EQ(made.op(id, AttributeOp::read, value, key(1)), GenericIfResult::absent);
        EXPECT_EQ(readOnly(made, id, key(1)), GenericIfResult::absent);
        EXPECT_EQ(made.op(id, AttributeOp::del, value, key(1)), GenericIfResult::absent);
        EXPECT_FALSE(genericIfIterator(*made.object, id)->iterNonnull());
        for (unsigned number : {1U, 2U, 3U}) {
            value = element(number);
            EXPECT_EQ(made.op(id, AttributeOp::write, value, key(number)), GenericIfResult::done);
            EXPECT_TRUE(value == made.read(id, key(number)));
        }
        value = element(1); // again: the same child
        made.op(id, AttributeOp::write, value, key(1));
        EXPECT_TRUE(value == made.read(id, key(1)));
        if (!map) {
            EXPECT_TRUE(value.writableObject());
            EXPECT_TRUE(Zel::fwkKey(*value.object()) == key(1));
            Value read;
            genericIfAttributeOp(static_cast<Zel::PtrInterface const&>(*made.object), id,
                                 AttributeOp::read, read, key(1));
            EXPECT_TRUE(read == value);
            EXPECT_FALSE(read.writableObject());
            EXPECT_THROW(made.op(id, AttributeOp::write, value, key(1)), Zel::RangeException)
                << "a child is not given";
        }
        for (Value const& wrong : {Value(), Value(Stp::BridgeId())}) {
            value = element(1);
            expectOtherType(type, attribute, "key", wrong,
                            [&] { made.op(id, AttributeOp::write, value, wrong); });
        }
        if (map) {
            value = Value(Stp::BridgeId());
            expectOtherType(type, attribute, "value", value,
                            [&] { made.op(id, AttributeOp::write, value, key(1)); });
        }
        EXPECT_THROW(made.op(id, AttributeOp::read, value), Zel::RangeException);
        EXPECT_THROW(made.op(id, AttributeOp::del, value), Zel::RangeException);

        std::set<std::string> walked;
        for (const auto walk = genericIfIterator(*made.object, id); walk->iterNonnull();
             walk->iterInc()) {
            EXPECT_TRUE(walk->iterObj() == made.read(id, walk->iterKey()));
            walked.insert(walk->iterKey().text());
            if (walk->iterKey() == key(2))
                walk->iterDel();
        }
        EXPECT_EQ(walked, (std::set{key(1).text(), key(2).text(), key(3).text()}));
        EXPECT_EQ(made.op(id, AttributeOp::read, value, key(2)), GenericIfResult::absent);
        EXPECT_EQ(made.op(id, AttributeOp::del, value, key(3)), GenericIfResult::done);
        EXPECT_EQ(made.op(id, AttributeOp::read, value, key(3)), GenericIfResult::absent);

        const auto walk =
            genericIfIterator(static_cast<Zel::PtrInterface const&>(*made.object), id);
        ASSERT_TRUE(walk->iterNonnull());
        EXPECT_FALSE(walk->iterObj().writableObject());
        EXPECT_THROW(walk->iterDel(), Zel::RangeException);
        walk->iterInc();
        EXPECT_FALSE(walk->iterNonnull());
    }
}

TEST_P(EveryClassWithChildReactors, WalksFindsAndRemovesItsChildReactors) {
    for (Zel::AttributeInfo const& attribute : type.attributes()) {
        if (attribute.kind != AttributeKind::reactors)
            continue;
        SCOPED_TRACE(attribute.name);
        const Object made(type);
        std::vector<Value> keys;
        for (const auto walk = genericIfIterator(*made.object, attribute.id); walk->iterNonnull();
             walk->iterInc()) {
            keys.push_back(walk->iterKey());
            EXPECT_TRUE(walk->iterObj() == made.read(attribute.id, walk->iterKey()));
            EXPECT_TRUE(Zel::fwkKey(*walk->iterObj().object()) == walk->iterKey());
            EXPECT_NE(walk->iterObj().object()->fwkType()->genericIf(), nullptr);
        }
        ASSERT_EQ(keys.size(), 2U);
        Value value;
        EXPECT_EQ(made.op(attribute.id, AttributeOp::del, value, keys[0]), GenericIfResult::done);
        EXPECT_EQ(made.op(attribute.id, AttributeOp::read, value, keys[0]),
                  GenericIfResult::absent);
        EXPECT_EQ(readOnly(made, attribute.id, keys[0]), GenericIfResult::absent);
        genericIfIterator(*made.object, attribute.id)->iterDel();
        EXPECT_FALSE(genericIfIterator(*made.object, attribute.id)->iterNonnull());
    }
}

/// What a process says at its end that goes on with a walk behind the last element.
void expectWalkEnds(Object const& made, Zel::AttributeId id) {
    const std::string failed = "Zel::GenericIterator: Assertion `iterNonnull\\(\\)' failed";
    const auto expectEnd = [&](auto& object) {
        const auto walk = genericIfIterator(object, id);
        while (walk->iterNonnull())
            walk->iterInc();
        EXPECT_DEATH(walk->iterInc(), failed);
        EXPECT_DEATH(walk->iterKey(), failed);
        EXPECT_DEATH(walk->iterObj(), failed);
    };
    expectEnd(*made.object);
    expectEnd(static_cast<Zel::PtrInterface const&>(*made.object));
}

TEST_P(EveryClassWithElementsDeathTest, AWalkGoesNoFurtherThanBehindTheLastElement) {
    const Object made(type);
    for (Zel::AttributeInfo const& attribute : type.attributes()) {
        if (attribute.keyType && attribute.kind != AttributeKind::reactors)
            expectWalkEnds(made, attribute.id);
    }
}

TEST_P(EveryClassWithChildReactorsDeathTest, AWalkGoesNoFurtherThanBehindTheLastChild) {
    const Object made(type);
    for (Zel::AttributeInfo const& attribute : type.attributes()) {
        if (attribute.kind == AttributeKind::reactors)
            expectWalkEnds(made, attribute.id);
    }
}

TEST_P(EveryClassWithChildReactors, RefusesAKeyAndAnythingElseThanAnElementToMakeAChildOf) {
    for (Zel::AttributeInfo const& attribute : type.attributes()) {
        if (attribute.kind != AttributeKind::reactors)
            continue;
        const Object made(type);
        for (Value wrong : {Value(), Value(1U), Value(Zel::Ptr<Stp::Port>(new Stp::Port))}) {
            const std::string text = textThrown<Zel::RangeException>(
                [&] { made.op(attribute.id, AttributeOp::write, wrong); });
            if (!text.ends_with(" cannot be written")) // its children are its own to make
                expectOtherType(type, attribute, "value", wrong,
                                [&] { made.op(attribute.id, AttributeOp::write, wrong); });
            EXPECT_THROW(made.op(attribute.id, AttributeOp::write, wrong, Value(1U)),
                         Zel::RangeException);
        }
    }
}

TEST(AClass, MakesAChildReactorForAnElement) {
    World world;
    const auto syncer = txStatusToTxSyncerFactory(nullptr, world.dest());
    Value value = reading(world.source()->txMstStatus("mst2"));
    EXPECT_EQ(genericIfAttributeOp(*syncer, 260, AttributeOp::write, value), GenericIfResult::done);
    EXPECT_EQ(value.object(), syncer->txMstStatus("mst2"));
    value = reading(world.source()->txMstStatus("mst2"));
    EXPECT_EQ(textThrown<Zel::RangeException>([&] {
                  genericIfAttributeOp(*syncer, 260, AttributeOp::write, value,
                                       Value(Zel::Name("mst2")));
              }),
              "attribute Varnol::TxStatusToTxSyncer::txMstStatus has no keys");
    value = Value(Zel::Ptr<TxMstStatus const>());
    EXPECT_EQ(textThrown<Zel::RangeException>(
                  [&] { genericIfAttributeOp(*syncer, 260, AttributeOp::write, value); }),
              "null _txMstStatus parameter to mutator for Varnol::TxStatusToTxSyncer::txMstStatus "
              "not allowed\"");
    const auto rx = rxStatusToRxDynamicSyncerFactory(nullptr, world.rxDest());
    value = reading(world.rxSource()->rxMstStatus("mst1"));
    EXPECT_THROW(genericIfAttributeOp(*rx, 260, AttributeOp::write, value), Zel::RangeException);
}

TEST(AClass, HasItsAttributesFrom258OnInTheirOrder) {
    const auto names = [](std::string_view type) {
        std::string all;
        Zel::AttributeId expected = 258;
        for (Zel::AttributeInfo const& attribute : Zel::typeNode(type)->attributes()) {
            EXPECT_EQ(attribute.id, expected++) << type << " " << attribute.name;
            all += std::string(attribute.name) + " ";
        }
        return all;
    };
    EXPECT_EQ(names("Varnol::IntxInfoSyncer"),
              "source dest vlanIdOrZero parentId mstiN initialized ");
    EXPECT_EQ(names("Varnol::IntxInfoSyncer::ZelSource"), "notifier owner ");
    EXPECT_EQ(names("Varnol::IntxInfoSyncer::ZelMstiNSm"), "mstiId mstiN dest owner initialized ");
    EXPECT_EQ(names("Varnol::IntxInfoChangeSm"), "updatedFieldCount intxInfo vlanId mstiN ");
    EXPECT_EQ(names("Varnol::IntxInfoChangeSm::ZelMstiN"), "mstiId notifier owner ");
    EXPECT_EQ(names("Varnol::TxStatusToTxSyncer"), "source dest txMstStatus initialized ");
    EXPECT_EQ(names("Varnol::TxStatusToTxSyncer::ZelTxMstStatusSm"),
              "txMstStatus dest parent txMstPortStatus initialized ");
    EXPECT_EQ(names("Varnol::TxStatusToTxSyncer::ZelTxMstStatusSm::ZelTxMstPortStatusSm"),
              "txMstPortStatus dest parent txInfoSyncer initialized ");
    EXPECT_EQ(names("Varnol::TxStatusToRxSyncer"), "source rxStatus txMstStatus initialized ");
    EXPECT_EQ(names("Varnol::TxStatusToRxSyncer::ZelTxMstStatusSm"),
              "owner txMstStatus rxMstStatus initialized ");
    EXPECT_EQ(names("Varnol::RxStatusToRxDynamicSyncer"),
              "source rxStatus mstDynSyncerSm initialized ");
    EXPECT_EQ(names("Varnol::RxMstStatusToRxDynamicSyncer"),
              "mstName source rxStatus mstDynPortSm initialized ");
    EXPECT_EQ(names("Varnol::RxMstPortStatusToRxDynamicSyncer"),
              "mstName intfId source rxStatus initialized ");
}

TEST_P(EveryClass, IsPrintedAsTextAndAsJsonThatHasItsAttributes) {
    const Object made(type);
    const std::string text = Zel::treeText(made.object.ptr());
    EXPECT_TRUE(text.starts_with(type.name())) << text;
    const auto json = nlohmann::json::parse(Zel::treeJson(made.object.ptr()));
    EXPECT_EQ(json.size(), type.attributes().size());
    for (Zel::AttributeInfo const& attribute : type.attributes()) {
        EXPECT_NE(text.find("\n  " + std::string(attribute.name)), text.npos) << text;
        EXPECT_TRUE(json.contains(attribute.name)) << attribute.name;
    }
}

TEST(AClass, SaysItsKey) {
    World world;
    const auto syncer = txStatusToTxSyncerFactory(world.source(), world.dest());
    EXPECT_TRUE(Zel::fwkKey(*syncer).none());
    EXPECT_EQ(Zel::keyInfo(*syncer), "");
    const auto mst = syncer->txMstStatus("mst1");
    EXPECT_TRUE(Zel::fwkKey(*mst) == Value(Zel::Name("mst1")));
    EXPECT_EQ(Zel::keyInfo(*mst), "[mst1]");
    const auto port = mst->txMstPortStatus(et1);
    EXPECT_TRUE(Zel::fwkKey(*port) == Value(et1));
    EXPECT_EQ(Zel::keyInfo(*port), "[mst1|Et1]");
    const auto record = port->txInfoSyncer(1);
    EXPECT_TRUE(Zel::fwkKey(*record) == Value(Bridging::VlanIdOrNone(1)));
    EXPECT_EQ(Zel::keyInfo(*record), "[mst1|Et1|1]");
    EXPECT_EQ(Zel::keyInfo(*world.record(*world.source())), "[1]");
    EXPECT_EQ(Zel::keyInfo(*world.source()), "");
}

TEST(AClass, ThatCountsCanBeReadAndResetByWhoKnowsItOnlyByItsType) {
    World world;
    const Zel::Ptr<Zel::PtrInterface> counter =
        intxInfoChangeSmFactory(world.record(*world.source()), 1);
    world.record(*world.source())->stpVersionIs(9);
    Value count;
    EXPECT_EQ(genericIfAttributeOp(*counter, 258, AttributeOp::read, count), GenericIfResult::done);
    EXPECT_TRUE(count == Value(2U));
    count = Value(0U);
    genericIfAttributeOp(*counter, 258, AttributeOp::write, count);
    world.record(*world.source())->stpVersionIs(9);
    genericIfAttributeOp(*counter, 258, AttributeOp::read, count);
    EXPECT_TRUE(count == Value(1U));
}

} // namespace
} // namespace Varnol
