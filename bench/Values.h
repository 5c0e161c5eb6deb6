#pragma once

#include "framework/zel/Trace.h"
#include "model/IntxInfo.h"

#include <map>
#include <string>

/// What stands in the records of all works, as plain structs and as the library's records.
namespace Bench {

using Zel::U16;
using Zel::U32;
using Zel::U8;

/// The attributes of one spanning-tree instance, as a program without the library has them.
struct EntryValues {
    Stp::RstpBpduFlags flags;
    Stp::BridgeId bridgeId;
    Stp::PortId portId;
    Stp::BridgeId cistRootBridgeId;
    Stp::PathCost cistExtRootPathCost;
    Stp::BridgeId cistRegionalRootBridgeId;
    Stp::PathCost intRootPathCost;
    Stp::BridgeId regionalRootBridgeId;
    U8 remainingHops;
    Stp::TimerVal messageAge;
    Stp::TimerVal maxAge;
    Stp::TimerVal helloTime;
    Stp::TimerVal fwdDelay;
};

/// The attributes of a record, without its instances.
struct RecordValues {
    Kolvu::EthAddr neighborAddr;
    Stp::StpBpduVersion stpVersion;
    Stp::StpBpduType intxInfoType;
    U16 configRevisionLevel;
    std::string configNameString;
    Stp::MstpConfigDigest configDigest;
};

inline EntryValues entryValues(unsigned seed) {
    const auto octet = static_cast<U8>(seed);
    return {.flags = octet,
            .bridgeId = {32768, 5, {0x00, 0x1c, 0x73, 0x01, 0x02, octet}},
            .portId = {128, static_cast<U16>(seed & 0x0fff)},
            .cistRootBridgeId = {4096, 6, {0x00, 0x1c, 0x73, 0x04, 0x05, 0x06}},
            .cistExtRootPathCost = 200000 + seed,
            .cistRegionalRootBridgeId = {8192, 7, {0x00, 0x1c, 0x73, 0x07, 0x08, octet}},
            .intRootPathCost = 2000 + seed,
            .regionalRootBridgeId = {61440, 4095, {0x00, 0x1c, 0x73, 0x0d, 0x0e, octet}},
            .remainingHops = 19,
            .messageAge = Stp::TimerVal::seconds(1),
            .maxAge = Stp::TimerVal::seconds(20),
            .helloTime = Stp::TimerVal::seconds(2),
            .fwdDelay = Stp::TimerVal::seconds(15)};
}

inline RecordValues recordValues(unsigned seed) {
    return {.neighborAddr = {0x00, 0x1c, 0x73, 0x0a, 0x0b, static_cast<U8>(seed)},
            .stpVersion = Stp::StpBpduVersion::rstp,
            .intxInfoType = Stp::StpBpduType::rst,
            .configRevisionLevel = static_cast<U16>(seed),
            .configNameString = "region one",
            .configDigest =
                Stp::MstpConfigDigest({0xac, 0x36, 0x17, 0x7f, 0x50, 0x28, 0x3c, 0xd4, 0xb8, 0x38,
                                       0x21, 0xd8, 0xab, 0x26, 0xde, 0x62})};
}

inline void fill(Varnol::IntxMstiInfo& entry, EntryValues const& values) {
    entry.flagsIs(values.flags);
    entry.bridgeIdIs(values.bridgeId);
    entry.portIdIs(values.portId);
    entry.cistRootBridgeIdIs(values.cistRootBridgeId);
    entry.cistExtRootPathCostIs(values.cistExtRootPathCost);
    entry.cistRegionalRootBridgeIdIs(values.cistRegionalRootBridgeId);
    entry.intRootPathCostIs(values.intRootPathCost);
    entry.regionalRootBridgeIdIs(values.regionalRootBridgeId);
    entry.remainingHopsIs(values.remainingHops);
    entry.messageAgeIs(values.messageAge);
    entry.maxAgeIs(values.maxAge);
    entry.helloTimeIs(values.helloTime);
    entry.fwdDelayIs(values.fwdDelay);
}

/// All records share the text of their configuration's name, as a service's would.
inline void fill(Varnol::IntxInfo& record, RecordValues const& values) {
    static Zel::String configName;
    if (configName.view() != values.configNameString)
        configName = Zel::String(values.configNameString);
    record.neighborAddrIs(values.neighborAddr);
    record.stpVersionIs(values.stpVersion);
    record.intxInfoTypeIs(values.intxInfoType);
    record.configRevisionLevelIs(values.configRevisionLevel);
    record.configNameStringIs(configName);
    record.configDigestIs(values.configDigest);
}

/// A record as a text, for comparing results.
inline std::string text(Varnol::IntxInfo const& record) {
    Zel::TraceStream stream;
    stream << &record;
    return std::string(stream.text());
}

/// The same text of a record that is plain structs.
/// @param entries  pairs of an instance and its values
template <class Entries>
std::string text(U16 vlan, RecordValues const& values, Entries const& entries) {
    const Varnol::IntxInfo::Ptr record(new Varnol::IntxInfo(vlan));
    fill(*record, values);
    for (auto const& [instance, entry] : entries)
        fill(*record->mstiNIs(instance), entry);
    return text(*record);
}

} // namespace Bench
