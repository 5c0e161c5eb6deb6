#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/Ptr.h"
#include "model/IntxInfo.h"
#include "platform/bridging/VlanIdOrNone.h"
#include "platform/interface/IntfLoggingMode.h"
#include "platform/kolvu/EthAddr.h"
#include "platform/kolvu/Pkt.h"
#include "platform/stp/CommonBpdu.h"
#include "platform/stp/CompressedBridgePriority.h"
#include "platform/stp/CompressedPortPriority.h"
#include "platform/stp/Config.h"
#include "platform/stp/MstPortSm.h"
#include "platform/stp/PortConfig.h"
#include "platform/stp/StpiPortStatus.h"

/// What the service calls when it sends BPDUs, or decides whether to. All trace as "Varnol".
///
/// Preconditions are assertions of the C library's kind that hold in every build: a broken one ends
/// the process.
namespace Varnol {

using Zel::U16;
using Zel::U32;
using Zel::U8;

/// A new packet for a BPDU of `size` octets: an IEEE 802.3 frame with an IEEE 802.2 LLC header
/// (IEEE 802.1D-2004 9.2), 17 + size octets, untagged, to the bridge group address.
///
/// The frame has no check sequence and no padding, and the BPDU's octets are for the caller to
/// write, all of them.
/// @param vlan    requires: 0, assertion "!vlan"
/// @param srcMac  source address, written as it is
/// @param size    0 to 65532. Throws Zel::RangeException for more, which no length field holds
/// @param bpdu    set to the first octet of the BPDU; left alone when there is no packet
/// @return null when the packet pool is exhausted. Throws std::bad_alloc
VARNOL_API Kolvu::Pkt::Ptr VarnolGetPkt(Bridging::VlanIdOrNone vlan, Kolvu::EthAddr srcMac,
                                        U32 size, Stp::CommonBpdu** bpdu);

/// The record's CIST entry as an RST BPDU (IEEE 802.1D-2004 9.3.3) in a frame of 53 octets, ready
/// to be sent on the port.
/// @param port    requires: not null, assertion "port"; its port's MAC address is the frame's
/// source
/// @param info    requires: not null, assertion "info"; `stpVersion` 2, assertion "0"; `vlanId` 0,
///                assertion "vlan == 0"; an entry for the CIST, assertion "cist"
/// @param tagged  requires: false, assertion "!tagged"
/// @return null when the packet pool is exhausted. Throws std::bad_alloc
VARNOL_API Kolvu::Pkt::Ptr generatePktFromIntxInfo(Stp::MstPortSm::Ptr port, IntxInfo::Ptr info,
                                                   bool tagged);

/// Where per-VLAN (PVST) frames would come from. They are not available: returns null, and leaves
/// *bpdu alone.
VARNOL_API Kolvu::Pkt::Ptr VarnolGetPvstPkt(Stp::MstPortSm* port, U32 size, Stp::CommonBpdu** bpdu,
                                            Bridging::VlanIdOrNone vlan);

/// Whether BPDUs are filtered on a port, so that none is sent: as the port's filter mode says, and
/// where that is not set, the global default if the port is configured as edge and is one.
/// @param portConfig  requires: not null, assertion "portConfig"
/// @param portStatus  may be null: not an edge port
/// @param config      requires: not null where the default decides, assertion "config"
VARNOL_API bool mstBpdufilterPkt(Zel::Ptr<Stp::PortConfig const> portConfig,
                                 Zel::Ptr<Stp::StpiPortStatus const> portStatus,
                                 Zel::Ptr<Stp::Config const> config);

/// A bridge priority, 0 to 61440 in steps of 4096. Of the argument only the low 4 bits count.
VARNOL_API U16 bridgePriority(Stp::CompressedBridgePriority compressed);

/// A port priority, 0 to 240 in steps of 16. Of the argument only the low 4 bits count.
VARNOL_API U8 portPriority(Stp::CompressedPortPriority compressed);

/// Whether spanning-tree events of an interface are logged.
/// @param first   the mode that holds for all interfaces
/// @param second  the interface's own mode
VARNOL_API bool logSpanTreeIntf(Interface::IntfLoggingMode first,
                                Interface::IntfLoggingMode second);

} // namespace Varnol
