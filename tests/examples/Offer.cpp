#include "tests/examples/Offer.h"

#include "examples/bridge/BpduRecord.h"

#include <stdexcept>

namespace Examples::Test {

Frame frameOf(Varnol::IntxInfo::Ptr const& info, Kolvu::EthAddr const& source) {
    const auto port = Zel::newActive<Stp::Port>();
    port->ethAddrIs(source);
    const auto machine = Zel::newActive<Stp::MstPortSm>(port);
    const Kolvu::Pkt::Ptr pkt = Varnol::generatePktFromIntxInfo(machine, info, false);
    if (!pkt)
        throw std::runtime_error("no packet");
    return Frame(pkt->data().begin(), pkt->data().end());
}

Frame frameOf(Offer const& offer) {
    Stp::RstpBpduFlags flags;
    flags.portRoleIs(Stp::PortRole::designated);
    flags.proposalIs(offer.proposal);

    const auto info = Zel::newActive<Varnol::IntxInfo>(Bridging::VlanIdOrNone());
    info->stpVersionIs(Stp::StpBpduVersion::rstp);
    const auto cist = info->mstiNIs(0);
    cist->flagsIs(flags);
    cist->bridgeIdIs(Stp::BridgeId(32768, 0, offer.bridge));
    cist->portIdIs(Stp::PortId(128, 1));
    cist->cistRootBridgeIdIs(offer.root);
    cist->cistExtRootPathCostIs(offer.rootPathCost);
    cist->messageAgeIs(Stp::TimerVal::seconds(1));
    cist->maxAgeIs(Stp::TimerVal::seconds(20));
    cist->helloTimeIs(Stp::TimerVal::seconds(2));
    cist->fwdDelayIs(Stp::TimerVal::seconds(15));
    return frameOf(info, offer.bridge);
}

Varnol::IntxInfo::Ptr recordOf(Stp::RstpBpduView bpdu) {
    const auto info = Zel::newActive<Varnol::IntxInfo>(Bridging::VlanIdOrNone());
    recordBpdu(info, bpdu);
    return info;
}

} // namespace Examples::Test
