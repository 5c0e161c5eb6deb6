#pragma once

#include "framework/zel/Int.h"

#include <cstddef>
#include <string_view>

namespace Agent {

/// Why a frame is not taken. A frame has one reason: the first of this list that applies, except
/// ownFrame, which only the receiver can tell.
enum class Refusal : Zel::U8 {
    tooShort,               ///< below the 14 octets of addresses and length
    destination,            ///< not to the bridge group address, IEEE 802.1D-2004 Table 7-10
    tagged,                 ///< a VLAN tag, where BPDUs have none
    notLength,              ///< an EtherType, or 1501 to 1535, which is neither, IEEE 802.3 3.2.6
    lengthAboveCaptured,    ///< the length counts more octets than were captured
    lengthBelowLlc,         ///< the length does not count a whole LLC header
    snap,                   ///< an IEEE 802.2 SNAP header, as per-VLAN protocols have it
    sap,                    ///< another LLC address than the spanning tree protocols'
    control,                ///< not unnumbered information
    headerTruncated,        ///< below the 4 octets that every BPDU has, IEEE 802.1Q-2014 14.5
    protocolIdentifier,     ///< not that of the spanning tree protocols, IEEE 802.1D-2004 9.2.1
    type,                   ///< a BPDU type that is not known, IEEE 802.1D-2004 9.2.3
    version,                ///< the RST type in a version that has none: 0 or 1
    configurationTruncated, ///< a configuration BPDU below 35 octets, IEEE 802.1D-2004 9.3.4 a
    rstTruncated,           ///< an RST or MST BPDU below 36 octets, IEEE 802.1D-2004 9.3.4 c
    messageAge, ///< a configuration BPDU as old as its max age or older, IEEE 802.1D-2004 9.3.4 a
    ownFrame,   ///< sent by this bridge itself, IEEE 802.1D-2004 9.3.4
};
inline constexpr std::size_t refusals = static_cast<std::size_t>(Refusal::ownFrame) + 1;

/// As "length_above_captured". Requires: one of the enumerators.
std::string_view name(Refusal refusal) noexcept;
/// One readable clause, as "the length counts more octets than were captured". Requires: one of the
/// enumerators.
std::string_view text(Refusal refusal) noexcept;

} // namespace Agent
