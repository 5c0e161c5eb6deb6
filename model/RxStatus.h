#pragma once

#include "framework/zel/Declare.h"
#include "model/IntxInfo.h"
#include "model/PortCounters.h"
#include "platform/bridging/VlanIdOrNone.h"
#include "platform/kolvu/IntfId.h"

/// The receive status tree: what each port has received. A root, a child per MST name, a grandchild
/// per interface, and under each interface a BPDU information record per VLAN.
///
/// The service owns the tree, by counted pointers. Lookups never create and return null for what is
/// absent.
namespace Varnol {

/// What one interface has received under one MST name.
///
/// A change of a record in `rxInfo` is signalled by its writer through `rxUpdate`. Deleting an
/// entry of the one does not touch the other.
class VARNOL_API RxMstPortStatus final : public Zel::Object<RxMstPortStatus, Zel::Entity>,
                                         public Zel::HashMember {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<RxMstPortStatus>;
    static Zel::TypeNode const _zelType;

    /// An entity of its own, in no tree yet: all zero but its key, and without children.
    explicit RxMstPortStatus(Kolvu::IntfId intfId);
    ~RxMstPortStatus() override;

    /// Key: the interface.
    ZEL_KEY(258, Kolvu::IntfId, intfId)
    /// Per VLAN, how often its received information was updated; 0 is the same as no entry.
    ZEL_VALUE_MAP(259, Bridging::VlanIdOrNone, unsigned, rxUpdate)
    /// Per VLAN, the BPDU information last received.
    ZEL_ORDERED_COLLECTION(260, IntxInfo, Bridging::VlanIdOrNone, rxInfo)
    /// The port's BPDU counters.
    ZEL_HANDLED_SCALAR(261, PortCounters, counters, handleCounters)
    /// The same counters, kept for the local side.
    ZEL_HANDLED_SCALAR(262, PortCounters, localCounters, handleLocalCounters)
    /// BPDUs received on the port.
    ZEL_HANDLED_SCALAR(264, unsigned, bpduCount, handleBpduCount)
    /// Length of the rate limit's interval, in seconds.
    ZEL_HANDLED_SCALAR(265, double, rateLimitInterval, handleRateLimitInterval)
    /// BPDUs allowed per interval.
    ZEL_HANDLED_SCALAR(266, unsigned, rateLimitMaxCount, handleRateLimitMaxCount)
    /// Whether the receive rate limit is on.
    ZEL_HANDLED_SCALAR(267, bool, rateLimitEnabled, handleRateLimitEnabled)
};

/// What the ports of one MST name have received.
class VARNOL_API RxMstStatus final : public Zel::Object<RxMstStatus, Zel::Entity>,
                                     public Zel::HashMember {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<RxMstStatus>;
    static Zel::TypeNode const _zelType;

    /// An entity of its own, in no tree yet, without children.
    explicit RxMstStatus(Zel::Name name);
    ~RxMstStatus() override;

    /// Key: the MST name.
    ZEL_NAME()
    /// The ports, by interface.
    ZEL_HASHED_COLLECTION(258, RxMstPortStatus, Kolvu::IntfId, rxMstPortStatus)
};

/// The root of a receive status tree. Its heartbeats and times are carried through unchanged.
class VARNOL_API RxStatus final : public Zel::Object<RxStatus, Zel::Entity> {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<RxStatus>;
    static Zel::TypeNode const _zelType;

    RxStatus();
    ~RxStatus() override;

    /// By MST name.
    ZEL_HASHED_COLLECTION(258, RxMstStatus, Zel::Name, rxMstStatus)
    /// Heartbeat of the local side.
    ZEL_SCALAR(259, unsigned, localHeartbeat)
    /// Heartbeat of the peer side.
    ZEL_SCALAR(260, unsigned, peerHeartbeat)
    /// Time stamp of the update counters, in seconds of a monotonic clock.
    ZEL_SCALAR(262, double, updateCtrTime)
    /// The same for the local side.
    ZEL_SCALAR(263, double, localUpdateCtrTime)
    /// The same for the peer side.
    ZEL_SCALAR(264, double, peerUpdateCtrTime)
};

} // namespace Varnol
