#include "tests/model/Samples.h"

namespace Samples {

using Varnol::IntxInfo;
using Varnol::IntxMstiInfo;

void fill(IntxMstiInfo& entry) {
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

void fill(IntxInfo& record) {
    record.neighborAddrIs(neighbor);
    record.stpVersionIs(2);
    record.intxInfoTypeIs(128);
    record.configRevisionLevelIs(65535);
    record.configNameStringIs("region one");
    record.configDigestIs(digest);
}

void fill(Varnol::RxMstPortStatus& port, unsigned seed) {
    port.bpduCountIs(seed + 1);
    port.rateLimitIntervalIs(seed + 0.5);
    port.rateLimitMaxCountIs(seed + 2);
    port.rateLimitEnabledIs(true);
    port.countersIs(counters(seed + 10));
    port.localCountersIs(counters(seed + 20));
}

void fill(Varnol::RxStatus& tree, unsigned seed) {
    tree.localHeartbeatIs(seed + 1);
    tree.peerHeartbeatIs(seed + 2);
    tree.updateCtrTimeIs(seed + 3.5);
    tree.localUpdateCtrTimeIs(seed + 4.5);
    tree.peerUpdateCtrTimeIs(seed + 5.5);
}

Varnol::PortCounters counters(Zel::U32 first) {
    return {first, first + 1, first + 2, first + 3, first + 4, first + 5};
}

IntxInfo::Ptr record(Bridging::VlanIdOrNone vlan, std::initializer_list<Zel::U16> instances) {
    const IntxInfo::Ptr record(new IntxInfo(vlan));
    for (Zel::U16 instance : instances)
        record->mstiNIs(instance);
    return record;
}

IntxInfo::Ptr filled(Bridging::VlanIdOrNone vlan, std::initializer_list<Zel::U16> instances) {
    const IntxInfo::Ptr info = record(vlan, instances);
    fill(*info);
    for (Zel::U16 instance : instances)
        fill(*info->mstiN(instance));
    return info;
}

IntxMstiInfo::Ptr entry(Stp::BridgeSystemId instance) {
    return IntxMstiInfo::Ptr(new IntxMstiInfo(instance));
}

} // namespace Samples
