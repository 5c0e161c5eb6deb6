#pragma once

#include "framework/zel/Declare.h"
#include "platform/stp/BridgeId.h"
#include "platform/stp/BridgeSystemId.h"
#include "platform/stp/PathCost.h"
#include "platform/stp/PortId.h"
#include "platform/stp/RstpBpduFlags.h"
#include "platform/stp/TimerVal.h"

namespace Varnol {

/// What a BPDU says of one spanning-tree instance: its priority vector, timers and flags.
///
/// Child of an IntxInfo record, which holds one for the CIST and one for each MSTI; lives as long
/// as it is there or referenced. Identifiers, costs and timers as in IEEE 802.1D-2004 9.2 and IEEE
/// 802.1Q-2018 13.26 and 14.2.
class VARNOL_API IntxMstiInfo final : public Zel::Object<IntxMstiInfo, Zel::Entity>,
                                      public Zel::RbTreeMember {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<IntxMstiInfo>;
    static Zel::TypeNode const _zelType;

    /// An entry of its own, all zero, in no record yet.
    explicit IntxMstiInfo(Stp::BridgeSystemId mstiId);
    ~IntxMstiInfo() override;

    /// Key: the spanning-tree instance; 0 is the CIST.
    ZEL_KEY(258, Stp::BridgeSystemId, mstiId)
/// A scalar whose handler in reactors is called after the collection and itself.
#define INSTANCE_SCALAR(ID, TYPE, NAME) ZEL_HANDLED_SCALAR(ID, TYPE, NAME, zel_handleMstiN_##NAME)
    /// The BPDU's flags octet.
    INSTANCE_SCALAR(259, Stp::RstpBpduFlags, flags)
    /// The transmitting bridge.
    INSTANCE_SCALAR(260, Stp::BridgeId, bridgeId)
    /// The transmitting port.
    INSTANCE_SCALAR(261, Stp::PortId, portId)
    /// The CIST root; the root identifier of an RST BPDU.
    INSTANCE_SCALAR(262, Stp::BridgeId, cistRootBridgeId)
    /// The CIST's external root path cost; the root path cost of an RST BPDU.
    INSTANCE_SCALAR(263, Stp::PathCost, cistExtRootPathCost)
    /// The CIST's regional root.
    INSTANCE_SCALAR(264, Stp::BridgeId, cistRegionalRootBridgeId)
    /// The path cost to the regional root within the region.
    INSTANCE_SCALAR(265, Stp::PathCost, intRootPathCost)
    /// The regional root of an MSTI.
    INSTANCE_SCALAR(266, Stp::BridgeId, regionalRootBridgeId)
    /// How many more bridges of the region the information may pass, 0 to 255.
    INSTANCE_SCALAR(267, unsigned char, remainingHops)
    /// Time since the root sent the information.
    INSTANCE_SCALAR(268, Stp::TimerVal, messageAge)
    /// The message age at which the information is dropped.
    INSTANCE_SCALAR(269, Stp::TimerVal, maxAge)
    /// Time between two BPDUs of a designated port.
    INSTANCE_SCALAR(270, Stp::TimerVal, helloTime)
    /// Time a port spends in each state before it forwards.
    INSTANCE_SCALAR(271, Stp::TimerVal, fwdDelay)
#undef INSTANCE_SCALAR
};

} // namespace Varnol
