#include "verify/RandomTree.h"

#include "framework/zel/GenericIf.h"
#include "framework/zel/TypeNode.h"
#include "model/RxStatus.h"
#include "model/TxStatus.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <map>
#include <stdexcept>
#include <string_view>
#include <typeindex>

namespace Verify {
namespace {

using Zel::U16;
using Zel::U32;
using Zel::U8;
using Zel::Value;

using Maker = Value (*)(Run& run);

/// Numbers of any size, zero among them.
template <class T> T number(Run& run) {
    const U64 bits = run.below(65);
    return static_cast<T>(bits == 0 ? 0 : run.random()() >> (64 - bits));
}

template <class T> Value numberLike(Run& run) {
    return Value(T(number<decltype(T().value())>(run)));
}

Kolvu::EthAddr address(Run& run) {
    Kolvu::EthAddr::Octets octets;
    for (U8& octet : octets)
        octet = number<U8>(run);
    return Kolvu::EthAddr(octets[0], octets[1], octets[2], octets[3], octets[4], octets[5]);
}

Value bridgeId(Run& run) {
    // One after the other: the order in which arguments are evaluated is the compiler's.
    const auto priority = number<U16>(run);
    const auto extension = number<U16>(run);
    return Value(Stp::BridgeId(priority, extension, address(run)));
}

Value portId(Run& run) {
    const auto priority = number<U8>(run);
    return Value(Stp::PortId(priority, number<U16>(run)));
}

Value digest(Run& run) {
    Stp::MstpConfigDigest::Octets octets;
    for (U8& octet : octets)
        octet = number<U8>(run);
    return Value(Stp::MstpConfigDigest(octets));
}

Value counters(Run& run) {
    Varnol::PortCounters counters;
    for (U32* counter : {&counters.sent, &counters.received, &counters.taggedErrors,
                         &counters.otherErrors, &counters.rateLimited, &counters.filtered})
        *counter = number<U32>(run);
    return Value(counters);
}

std::map<std::type_index, Maker> const makers{
    {typeid(bool), [](Run& run) { return Value(run.below(2) == 1); }},
    {typeid(unsigned char), [](Run& run) { return Value(number<unsigned char>(run)); }},
    {typeid(unsigned short), [](Run& run) { return Value(number<unsigned short>(run)); }},
    {typeid(unsigned), [](Run& run) { return Value(number<unsigned>(run)); }},
    {typeid(double), [](Run& run) { return Value(randomDouble(run)); }},
    {typeid(Zel::String), [](Run& run) { return Value(Zel::String(randomText(run, 6))); }},
    {typeid(Kolvu::EthAddr), [](Run& run) { return Value(address(run)); }},
    {typeid(Stp::StpBpduVersion), numberLike<Stp::StpBpduVersion>},
    {typeid(Stp::StpBpduType), numberLike<Stp::StpBpduType>},
    {typeid(Stp::RstpBpduFlags), numberLike<Stp::RstpBpduFlags>},
    {typeid(Stp::PathCost), numberLike<Stp::PathCost>},
    {typeid(Stp::MstpConfigDigest), digest},
    {typeid(Stp::BridgeId), bridgeId},
    {typeid(Stp::PortId), portId},
    {typeid(Stp::TimerVal), [](Run& run) { return Value(Stp::TimerVal::units(number<U16>(run))); }},
    {typeid(Varnol::PortCounters), counters},
};

constexpr std::array<U16, 6> fewNumbers{0, 1, 2, 100, 256, 4094};

std::map<std::type_index, Maker> const keyMakers{
    {typeid(Zel::Name),
     [](Run& run) {
         constexpr std::array<std::string_view, 6> names{
             "mst1", "mst2", "MST", "gr\xc3\xbc\xc3\x9f", "\xff\x80", "a\x7f\tb"};
         return Value(Zel::Name(oneOf(run, names)));
     }},
    {typeid(Kolvu::IntfId),
     [](Run& run) {
         const std::array<Kolvu::IntfId, 6> ports{
             Kolvu::IntfId::ethernet(1),       Kolvu::IntfId::ethernet(2),
             Kolvu::IntfId::ethernet(3, 1),    Kolvu::IntfId::ethernet(300),
             Kolvu::IntfId::ethernet(200, 48), Kolvu::IntfId::portChannel(10)};
         return Value(oneOf(run, ports));
     }},
    {typeid(Bridging::VlanIdOrNone),
     [](Run& run) { return Value(Bridging::VlanIdOrNone(oneOf(run, fewNumbers))); }},
    {typeid(Stp::BridgeSystemId),
     [](Run& run) { return Value(Stp::BridgeSystemId(oneOf(run, fewNumbers))); }},
};

Value made(std::map<std::type_index, Maker> const& from, Run& run, std::type_info const& type) {
    const auto maker = from.find(type);
    if (maker == from.end())
        throw std::invalid_argument(std::string("no value of type ") + type.name());
    return maker->second(run);
}

std::string name(Zel::PtrInterface const& object) {
    return std::string(object.fwkType()->name()) + std::string(keyInfo(object).view());
}

} // namespace

std::string randomText(Run& run, U64 limit) {
    constexpr std::array<std::string_view, 12> pieces{"region",
                                                      " ",
                                                      "\"",
                                                      "\\",
                                                      "\n",
                                                      "\x1f\x7f",
                                                      "\xc3\xa4",
                                                      "\xe2\x82\xac",
                                                      "\xf0\x9f\x8c\x89",
                                                      "\x80",
                                                      "\xff\xfe",
                                                      "\xed\xa0\x80"};
    std::string text;
    for (U64 count = run.below(limit); count > 0; --count)
        text += oneOf(run, pieces);
    return text;
}

double randomDouble(Run& run) {
    switch (run.below(4)) {
    case 0:
        return static_cast<double>(run.below(1000)) / 8;
    case 1:
        return static_cast<double>(run.random()() >> run.below(64));
    default:
        const auto any = std::bit_cast<double>(U64{run.random()()});
        return std::isnan(any) ? HUGE_VAL : any;
    }
}

Value randomValue(Run& run, std::type_info const& type) { return made(makers, run, type); }

Value randomKey(Run& run, std::type_info const& type) { return made(keyMakers, run, type); }

std::string randomChange(Run& run, Zel::PtrInterface& object) {
    using Zel::AttributeKind;
    using Zel::AttributeOp;
    auto const attributes = object.fwkType()->attributes();
    const bool hasElements = std::ranges::any_of(
        attributes, [](Zel::AttributeInfo const& each) { return each.keyType != nullptr; });
    Zel::AttributeInfo const* attribute;
    do
        attribute = &oneOf(run, attributes);
    while (attribute->kind == AttributeKind::key ||
           (hasElements && !attribute->keyType && run.below(8) != 0));
    const auto operate = [&](AttributeOp operation, Value& value, Value const& key = {}) {
        return genericIfAttributeOp(object, attribute->id, operation, value, key);
    };
    std::string done = name(object) + "." + std::string(attribute->name);
    if (attribute->kind == AttributeKind::scalar) {
        Value value = randomValue(run, *attribute->valueType);
        operate(AttributeOp::write, value);
        return done + " = " + value.text();
    }
    const Value key = randomKey(run, *attribute->keyType);
    done.append("[").append(key.text()).append("]");
    Value value;
    if (run.below(6) == 0) {
        const bool was = operate(AttributeOp::del, value, key) == Zel::GenericIfResult::done;
        return done + (was ? " deleted" : " is not there");
    }
    if (attribute->kind == AttributeKind::valueMap) {
        value = randomValue(run, *attribute->valueType);
        operate(AttributeOp::write, value, key);
        return done + " = " + value.text();
    }
    if (operate(AttributeOp::read, value, key) == Zel::GenericIfResult::done)
        return randomChange(run, *value.writableObject());
    operate(AttributeOp::write, value, key);
    return done + " created";
}

} // namespace Verify
