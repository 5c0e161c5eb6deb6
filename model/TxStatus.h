#pragma once

#include "framework/zel/Declare.h"
#include "model/IntxInfo.h"
#include "platform/bridging/VlanIdOrNone.h"
#include "platform/kolvu/IntfId.h"
#include "platform/stp/TimerVal.h"

/// The transmit status tree: what each port is sending. A root, a child per MST name, a grandchild
/// per interface, and under each interface a BPDU information record per VLAN.
///
/// The service owns the tree, by counted pointers. Lookups never create and return null for what is
/// absent.
namespace Varnol {

/// What one interface sends under one MST name.
class VARNOL_API TxMstPortStatus final : public Zel::Object<TxMstPortStatus, Zel::Entity>,
                                         public Zel::HashMember {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<TxMstPortStatus>;
    static Zel::TypeNode const _zelType;

    /// An entity of its own, in no tree yet: all zero but its key, and without children.
    explicit TxMstPortStatus(Kolvu::IntfId intfId);
    ~TxMstPortStatus() override;

    /// Key: the interface.
    ZEL_KEY(258, Kolvu::IntfId, intfId)
    /// Per VLAN, a count of updates to transmit; 0 is the same as no entry.
    ZEL_VALUE_MAP(259, Bridging::VlanIdOrNone, unsigned, txUpdate)
    /// For the whole port; carried through unchanged.
    ZEL_HANDLED_SCALAR(260, unsigned, txNewInfo, zel_handleTxMstPortStatus_txNewInfo)
    /// Carried through unchanged.
    ZEL_HANDLED_SCALAR(261, Stp::TimerVal, txHelloWhenOn, zel_handleTxMstPortStatus_txHelloWhenOn)
    /// Per VLAN, the BPDU information to transmit.
    ZEL_ORDERED_COLLECTION(262, IntxInfo, Bridging::VlanIdOrNone, txInfo)
};

/// What the ports of one MST name send.
class VARNOL_API TxMstStatus final : public Zel::Object<TxMstStatus, Zel::Entity>,
                                     public Zel::HashMember {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<TxMstStatus>;
    static Zel::TypeNode const _zelType;

    /// An entity of its own, in no tree yet, without children.
    explicit TxMstStatus(Zel::Name name);
    ~TxMstStatus() override;

    /// Key: the MST name.
    ZEL_NAME()
    /// The ports, by interface.
    ZEL_HASHED_COLLECTION(258, TxMstPortStatus, Kolvu::IntfId, txMstPortStatus)
};

/// The root of a transmit status tree.
class VARNOL_API TxStatus final : public Zel::Object<TxStatus, Zel::Entity> {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<TxStatus>;
    static Zel::TypeNode const _zelType;

    TxStatus();
    ~TxStatus() override;

    /// By MST name.
    ZEL_HASHED_COLLECTION(258, TxMstStatus, Zel::Name, txMstStatus)
    /// A time-out; carried through unchanged.
    ZEL_SCALAR(259, double, heartbeatTimeout)
};

} // namespace Varnol
