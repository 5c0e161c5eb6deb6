#pragma once

#include "model/IntxInfo.h"
#include "model/RxStatus.h"

#include <initializer_list>

/// Values for the attributes of entities, no two alike.
namespace Samples {

inline constexpr Kolvu::EthAddr neighbor{0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c};
inline constexpr Stp::MstpConfigDigest digest{{0xac, 0x36, 0x17, 0x7f, 0x50, 0x28, 0x3c, 0xd4, 0xb8,
                                               0x38, 0x21, 0xd8, 0xab, 0x26, 0xde, 0x62}};
inline constexpr Stp::BridgeId bridge{32768, 5, {0x00, 0x1c, 0x73, 0x01, 0x02, 0x03}};
inline constexpr Stp::BridgeId root{4096, 6, {0x00, 0x1c, 0x73, 0x04, 0x05, 0x06}};
inline constexpr Stp::BridgeId cistRegionalRoot{8192, 7, {0x00, 0x1c, 0x73, 0x07, 0x08, 0x09}};
inline constexpr Stp::BridgeId regionalRoot{61440, 4095, {0x00, 0x1c, 0x73, 0x0d, 0x0e, 0x0f}};

constexpr Kolvu::IntfId et(Zel::U16 port) { return Kolvu::IntfId::ethernet(port); }
inline constexpr auto et1 = et(1);
inline constexpr auto et2 = et(2);
inline constexpr auto et3 = Kolvu::IntfId::ethernet(3, 1);
inline constexpr auto po1 = Kolvu::IntfId::portChannel(1);

void fill(Varnol::IntxMstiInfo& entry);
/// Leaves the record's entries alone.
void fill(Varnol::IntxInfo& record);
// Other values for other seeds.
void fill(Varnol::RxMstPortStatus& port, unsigned seed);
void fill(Varnol::RxStatus& tree, unsigned seed);

/// Six counters, from the first on.
Varnol::PortCounters counters(Zel::U32 first);

/// A record of a VLAN, empty or with entries for some instances.
Varnol::IntxInfo::Ptr record(Bridging::VlanIdOrNone vlan,
                             std::initializer_list<Zel::U16> instances = {});
/// The same, and all of it filled.
Varnol::IntxInfo::Ptr filled(Bridging::VlanIdOrNone vlan,
                             std::initializer_list<Zel::U16> instances);

/// An entry in no record.
Varnol::IntxMstiInfo::Ptr entry(Stp::BridgeSystemId instance);

} // namespace Samples
