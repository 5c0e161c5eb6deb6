#pragma once

#include "model/IntxInfo.h"

#include <initializer_list>

/// Values for the attributes of records and entries, no two alike.
namespace Samples {

inline constexpr Kolvu::EthAddr neighbor{0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c};
inline constexpr Stp::MstpConfigDigest digest{{0xac, 0x36, 0x17, 0x7f, 0x50, 0x28, 0x3c, 0xd4, 0xb8,
                                               0x38, 0x21, 0xd8, 0xab, 0x26, 0xde, 0x62}};
inline constexpr Stp::BridgeId bridge{32768, 5, {0x00, 0x1c, 0x73, 0x01, 0x02, 0x03}};
inline constexpr Stp::BridgeId root{4096, 6, {0x00, 0x1c, 0x73, 0x04, 0x05, 0x06}};
inline constexpr Stp::BridgeId cistRegionalRoot{8192, 7, {0x00, 0x1c, 0x73, 0x07, 0x08, 0x09}};
inline constexpr Stp::BridgeId regionalRoot{61440, 4095, {0x00, 0x1c, 0x73, 0x0d, 0x0e, 0x0f}};

inline void fill(Varnol::IntxMstiInfo& entry) {
    entry.flagsIs(0x3c);
    entry.bridgeIdIs(bridge);
    entry.portIdIs({128, 3});
    entry.cistRootBridgeIdIs(root);
    entry.cistExtRootPathCostIs(200000);
    entry.cistRegionalRootBridgeIdIs(cistRegionalRoot);
    entry.intRootPathCostIs(2000);
    entry.regionalRootBridgeIdIs(regionalRoot);
    entry.remainingHopsIs(19);
    entry.messageAgeIs(Stp::TimerVal::units(1));
    entry.maxAgeIs(Stp::TimerVal::seconds(20));
    entry.helloTimeIs(Stp::TimerVal::units(640));
    entry.fwdDelayIs(Stp::TimerVal::seconds(15));
}

inline void fill(Varnol::IntxInfo& record) {
    record.neighborAddrIs(neighbor);
    record.stpVersionIs(2);
    record.intxInfoTypeIs(128);
    record.configRevisionLevelIs(65535);
    record.configNameStringIs("region one");
    record.configDigestIs(digest);
}

/// A record of a VLAN, empty or with entries for some instances.
inline Varnol::IntxInfo::Ptr record(Bridging::VlanIdOrNone vlan,
                                    std::initializer_list<Zel::U16> instances = {}) {
    const Varnol::IntxInfo::Ptr record(new Varnol::IntxInfo(vlan));
    for (Zel::U16 instance : instances)
        record->mstiNIs(instance);
    return record;
}

/// An entry in no record.
inline Varnol::IntxMstiInfo::Ptr entry(Stp::BridgeSystemId instance) {
    return Varnol::IntxMstiInfo::Ptr(new Varnol::IntxMstiInfo(instance));
}

} // namespace Samples
