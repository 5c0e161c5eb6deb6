#pragma once

#include "agent/bpdu/ReceivedBpdu.h"
#include "agent/bpdu/Refusal.h"
#include "framework/zel/Int.h"

#include <span>
#include <variant>

namespace Agent {

/// Reads a BPDU frame, untagged IEEE 802.3 with an IEEE 802.2 LLC header, as IEEE 802.1D-2004 9.3.4
/// and IEEE 802.1Q-2014 14.5 say what to take and as what:
///
/// - type 0, any version: a configuration BPDU of 35 octets, younger than its max age;
/// - type 0x80, any version: a topology change notification of 4 octets;
/// - type 2, version 2: an RST BPDU of 36 octets;
/// - type 2, version 3 or above: an MST BPDU when its Version 1 Length is 0 and its Version 3
///   Length says 0 to 64 MSTI records, all of them there; an RST BPDU of 36 octets otherwise.
///
/// The length field says where the BPDU ends: padding is not looked at. Nor are octets of the BPDU
/// beyond those that its kind has.
///
/// Does not know who receives: refuses neither the bridge's own frames (Refusal::ownFrame) nor
/// frames of which the kernel has removed the VLAN tag.
/// @param captured  from the destination address on, without check sequence; need not outlive the
///                  call
std::variant<ReceivedBpdu, Refusal> parseFrame(std::span<Zel::U8 const> captured) noexcept;

} // namespace Agent
