#include "tests/model/AnyValue.h"

#include "framework/zel/GenericIf.h"
#include "framework/zel/TypeNode.h"
#include "model/RxStatus.h"
#include "model/TxStatus.h"
#include "platform/stp/PortConfig.h"
#include "tests/model/Samples.h"

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <typeindex>

using Zel::Value;

namespace {

using Maker = Value (*)(unsigned number);

template <class T> Value number(unsigned number) {
    return Value(T(static_cast<decltype(T().value())>(number)));
}

std::map<std::type_index, Maker> const makers{
    {typeid(bool), [](unsigned n) { return Value(n % 2 == 1); }},
    {typeid(unsigned char), [](unsigned n) { return Value(static_cast<unsigned char>(n)); }},
    {typeid(unsigned short), [](unsigned n) { return Value(static_cast<unsigned short>(n)); }},
    {typeid(unsigned), [](unsigned n) { return Value(n); }},
    {typeid(double), [](unsigned n) { return Value(n + 0.5); }},
    {typeid(Zel::String), [](unsigned n) { return Value(Zel::String(std::string(n, 's'))); }},
    {typeid(Zel::Name), [](unsigned n) { return Value(Zel::Name("mst" + std::to_string(n))); }},
    {typeid(Kolvu::IntfId),
     [](unsigned n) { return Value(Samples::et(static_cast<Zel::U16>(n))); }},
    {typeid(Kolvu::EthAddr),
     [](unsigned n) {
         return Value(Kolvu::EthAddr{0, 0, 0, 0, 1, static_cast<Zel::U8>(n)});
     }},
    {typeid(Bridging::VlanIdOrNone), number<Bridging::VlanIdOrNone>},
    {typeid(Stp::BridgeSystemId), number<Stp::BridgeSystemId>},
    {typeid(Stp::StpBpduVersion), number<Stp::StpBpduVersion>},
    {typeid(Stp::StpBpduType), number<Stp::StpBpduType>},
    {typeid(Stp::RstpBpduFlags), number<Stp::RstpBpduFlags>},
    {typeid(Stp::PathCost), number<Stp::PathCost>},
    {typeid(Stp::MstpConfigDigest),
     [](unsigned n) { return Value(Stp::MstpConfigDigest({static_cast<Zel::U8>(n)})); }},
    {typeid(Stp::BridgeId),
     [](unsigned n) {
         return Value(Stp::BridgeId(4096, static_cast<Zel::U16>(n), Samples::neighbor));
     }},
    {typeid(Stp::PortId),
     [](unsigned n) { return Value(Stp::PortId(128, static_cast<Zel::U16>(n))); }},
    {typeid(Stp::TimerVal),
     [](unsigned n) { return Value(Stp::TimerVal::seconds(static_cast<Zel::U8>(n))); }},
    {typeid(Stp::BpduFilter), [](unsigned n) { return Value(Stp::BpduFilter(n)); }},
    {typeid(Varnol::PortCounters), [](unsigned n) { return Value(Samples::counters(n)); }},
};

void fillFrom(Zel::PtrInterface& object, unsigned& next) {
    const auto write = [&](Zel::AttributeId id, Value value, Value const& key = {}) {
        genericIfAttributeOp(object, id, Zel::AttributeOp::write, value, key);
        return value;
    };
    for (Zel::AttributeInfo const& attribute : object.fwkType()->attributes()) {
        const auto value = [&] { return anyValue(*attribute.valueType, next++ % 3 + 1); };
        switch (attribute.kind) {
        case Zel::AttributeKind::scalar:
            write(attribute.id, value());
            break;
        case Zel::AttributeKind::valueMap:
            for (unsigned key : {1U, 2U})
                write(attribute.id, value(), anyValue(*attribute.keyType, key));
            break;
        case Zel::AttributeKind::collection:
            for (unsigned key : {1U, 2U})
                fillFrom(
                    *write(attribute.id, {}, anyValue(*attribute.keyType, key)).writableObject(),
                    next);
            break;
        case Zel::AttributeKind::key:
        case Zel::AttributeKind::constant:
        case Zel::AttributeKind::reactors:
            break;
        }
    }
}

} // namespace

Value anyValue(std::type_info const& type, unsigned number) {
    const auto maker = makers.find(type);
    if (maker == makers.end())
        throw std::invalid_argument(std::string("no value of type ") + type.name());
    return maker->second(number);
}

void fillTree(Zel::PtrInterface& object) {
    unsigned next = 0;
    fillFrom(object, next);
}
