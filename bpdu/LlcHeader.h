#pragma once

#include "platform/bridging/VlanIdOrNone.h"
#include "platform/kolvu/EthAddr.h"
#include "platform/kolvu/NetInt.h"
#include "platform/kolvu/WireLayout.h"

/// What precedes a BPDU in its frame: IEEE 802.3 addresses and length, and an IEEE 802.2 LLC header
/// (IEEE 802.1D-2004 9.2); with a VLAN, an IEEE 802.1Q tag as well.
namespace Varnol::LlcHeader {

using Kolvu::WireLayout::Field;

/// Without a tag.
struct Untagged {
    static constexpr std::tuple fields{
        Field<Kolvu::EthAddr>{"Destination Address", 0, 6},
        Field<Kolvu::EthAddr>{"Source Address", 6, 6},
        Field<Kolvu::NetU16>{"Length", 12, 2},
        Field<Kolvu::NetU8>{"DSAP", 14, 1},
        Field<Kolvu::NetU8>{"SSAP", 15, 1},
        Field<Kolvu::NetU8>{"Control", 16, 1},
    };
    static constexpr std::size_t octets = 17;
};
static_assert(Kolvu::WireLayout::isContiguous<Untagged>());

/// With the tag of a VLAN, IEEE 802.1Q-2018 9.
struct Tagged {
    static constexpr std::tuple fields{
        Field<Kolvu::EthAddr>{"Destination Address", 0, 6},
        Field<Kolvu::EthAddr>{"Source Address", 6, 6},
        Field<Kolvu::NetU16>{"Tag Protocol Identifier", 12, 2},
        Field<Kolvu::NetU16>{"Tag Control Information", 14, 2},
        Field<Kolvu::NetU16>{"Length", 16, 2},
        Field<Kolvu::NetU8>{"DSAP", 18, 1},
        Field<Kolvu::NetU8>{"SSAP", 19, 1},
        Field<Kolvu::NetU8>{"Control", 20, 1},
    };
    static constexpr std::size_t octets = 21;
};
static_assert(Kolvu::WireLayout::isContiguous<Tagged>());

/// The bridge group address, IEEE 802.1D-2004 Table 7-10.
inline constexpr Kolvu::EthAddr bridgeGroupAddress{0x01, 0x80, 0xc2, 0x00, 0x00, 0x00};
/// The LLC address of the spanning tree protocols, as destination and as source.
inline constexpr Zel::U8 spanningTreeSap = 0x42;
/// LLC control: unnumbered information.
inline constexpr Zel::U8 unnumberedInformation = 0x03;
/// The tag protocol identifier of a Customer VLAN tag, IEEE 802.1Q-2018 Table 9-1.
inline constexpr Zel::U16 vlanTagProtocol = 0x8100;
/// LLC octets that the length field counts besides the BPDU.
inline constexpr Zel::U32 llcOctets = 3;
/// The longest BPDU that the length field can count.
inline constexpr Zel::U32 maxBpduOctets = 0xffff - llcOctets;

/// Octets before the BPDU.
constexpr Zel::U32 octets(Bridging::VlanIdOrNone vlan) noexcept {
    if (vlan == 0)
        return Untagged::octets;
    return Tagged::octets;
}

/// Priority 7, not drop eligible, and the low 12 bits of the VLAN identifier.
constexpr Kolvu::NetU16 tagControlInformation(Bridging::VlanIdOrNone vlan) noexcept {
    Kolvu::NetU16 tci;
    tci |= 0xe000;
    tci &= 0xefff;
    tci = static_cast<Zel::U16>((tci & 0xf000) | (vlan.value() & 0x0fff));
    return tci;
}

/// Writes the header.
/// @param frame  octets(vlan) octets
/// @param size   octets of the BPDU, at most maxBpduOctets
[[gnu::always_inline]] constexpr void write(Zel::U8* frame, Bridging::VlanIdOrNone vlan,
                                            Kolvu::EthAddr const& source, Zel::U32 size) noexcept {
    const auto length = static_cast<Zel::U16>(size + llcOctets);
    if (vlan == 0)
        Kolvu::WireLayout::encode<Untagged>(
            std::span<Zel::U8, Untagged::octets>(frame, Untagged::octets), bridgeGroupAddress,
            source, length, spanningTreeSap, spanningTreeSap, unnumberedInformation);
    else
        Kolvu::WireLayout::encode<Tagged>(std::span<Zel::U8, Tagged::octets>(frame, Tagged::octets),
                                          bridgeGroupAddress, source, vlanTagProtocol,
                                          tagControlInformation(vlan), length, spanningTreeSap,
                                          spanningTreeSap, unnumberedInformation);
}

} // namespace Varnol::LlcHeader
