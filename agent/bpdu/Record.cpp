#include "agent/bpdu/Record.h"

#include "bpdu/VarnolCommon.h"
#include "bpdu/VarnolUtils.h"
#include "framework/zel/Fatal.h"

namespace Agent {
namespace {

void fillCist(Varnol::IntxMstiInfo& entry, ReceivedBpdu const& bpdu) {
    entry.flagsIs(bpdu.flags);
    entry.bridgeIdIs(bpdu.bridgeId);
    entry.portIdIs(bpdu.portId);
    entry.cistRootBridgeIdIs(bpdu.rootId);
    entry.cistExtRootPathCostIs(bpdu.rootPathCost);
    entry.cistRegionalRootBridgeIdIs(bpdu.regionalRootId);
    entry.intRootPathCostIs(bpdu.internalRootPathCost);
    entry.remainingHopsIs(bpdu.remainingHops);
    entry.messageAgeIs(bpdu.messageAge);
    entry.maxAgeIs(bpdu.maxAge);
    entry.helloTimeIs(bpdu.helloTime);
    entry.fwdDelayIs(bpdu.fwdDelay);
}

void fillMsti(Varnol::IntxMstiInfo& entry, MstiRecord const& msti, ReceivedBpdu const& bpdu) {
    entry.flagsIs(msti.flags);
    entry.bridgeIdIs({Varnol::bridgePriority(msti.bridgePriority), msti.instance().value(),
                      bpdu.bridgeId.address()});
    entry.portIdIs({Varnol::portPriority(msti.portPriority), bpdu.portId.number()});
    entry.intRootPathCostIs(msti.internalRootPathCost);
    entry.regionalRootBridgeIdIs(msti.regionalRootId);
    entry.remainingHopsIs(msti.remainingHops);
}

} // namespace

void recordBpdu(Varnol::IntxInfo::Ptr const& record, ReceivedBpdu const& bpdu) {
    if (!record)
        Zel::assertionFailed("record", "void Agent::recordBpdu(Varnol::IntxInfo::Ptr const&, "
                                       "ReceivedBpdu const&)");
    const Varnol::IntxInfo::Ptr said(new Varnol::IntxInfo(record->vlanId()));
    said->neighborAddrIs(bpdu.source);
    said->stpVersionIs(bpdu.version);
    said->intxInfoTypeIs(bpdu.type);
    said->configRevisionLevelIs(bpdu.configurationId.revisionLevel);
    said->configNameStringIs(bpdu.configurationId.nameText());
    said->configDigestIs(bpdu.configurationId.digest);
    if (bpdu.kind != BpduKind::topologyChangeNotification)
        fillCist(*said->mstiNIs(0), bpdu);
    for (MstiRecord const& msti : bpdu.mstis()) {
        if (msti.instance() != 0)
            fillMsti(*said->mstiNIs(msti.instance()), msti, bpdu);
    }
    Varnol::copyIntxInfo(said, record);
}

} // namespace Agent
