#pragma once

#include "framework/zel/Declare.h"
#include "model/IntxMstiInfo.h"
#include "platform/bridging/VlanIdOrNone.h"
#include "platform/kolvu/EthAddr.h"
#include "platform/stp/MstpConfigDigest.h"
#include "platform/stp/StpBpduType.h"
#include "platform/stp/StpBpduVersion.h"

namespace Zel {
class TraceStream;
}

namespace Varnol {

/// The BPDU information record: the contents of one BPDU as the service wants to send it, or as it
/// was received, on one port and VLAN.
///
/// Held by counted pointers; a port's status tree keeps one per VLAN. All writes go through the
/// mutators, each of which stores and then notifies the record's reactors.
class VARNOL_API IntxInfo final : public Zel::Object<IntxInfo, Zel::Entity>,
                                  public Zel::RbTreeMember {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<IntxInfo>;
    static Zel::TypeNode const _zelType;

    /// A record of its own, all zero and without entries.
    explicit IntxInfo(Bridging::VlanIdOrNone vlanId);
    ~IntxInfo() override;

    /// MAC address of the neighbour.
    ZEL_SCALAR(258, Kolvu::EthAddr, neighborAddr)
    /// Key: the VLAN; 0 is the port's non-VLAN record.
    ZEL_KEY(259, Bridging::VlanIdOrNone, vlanId)
    /// Protocol Version Identifier; 2 is RSTP.
    ZEL_SCALAR(260, Stp::StpBpduVersion, stpVersion)
    /// BPDU Type.
    ZEL_SCALAR(261, Stp::StpBpduType, intxInfoType)
    /// MST configuration revision level.
    ZEL_SCALAR(262, unsigned short, configRevisionLevel)
    /// MST configuration name.
    ZEL_SCALAR(263, Zel::String, configNameString)
    /// MST configuration digest.
    ZEL_SCALAR(264, Stp::MstpConfigDigest, configDigest)
    /// One entry per spanning-tree instance, the CIST's (key 0) first.
    ZEL_ORDERED_COLLECTION(265, IntxMstiInfo, Stp::BridgeSystemId, mstiN)
};

/// Writes the record on one line: each attribute as name=value, then its entries in braces. A null
/// record is written as "null".
VARNOL_API Zel::TraceStream& operator<<(Zel::TraceStream& stream, IntxInfo const* info);
/// The same for one entry, which has none in braces.
VARNOL_API Zel::TraceStream& operator<<(Zel::TraceStream& stream, IntxMstiInfo const* entry);

} // namespace Varnol
