#pragma once

#include "platform/kolvu/WireLayout.h"
#include "platform/stp/BridgeId.h"
#include "platform/stp/PathCost.h"
#include "platform/stp/PortId.h"
#include "platform/stp/RstpBpdu.h"
#include "platform/stp/RstpBpduFlags.h"
#include "platform/stp/StpBpduType.h"
#include "platform/stp/StpBpduVersion.h"
#include "platform/stp/TimerVal.h"

#include <algorithm>
#include <array>

/// The layouts of the BPDUs that Stp has none of. That of an RST BPDU is Stp::RstpLayout.
namespace Agent {

/// Octets without an order among them.
template <std::size_t size> struct OctetString {
    static constexpr std::size_t wireOctets = size;

    std::array<Zel::U8, size> octets{};

    static constexpr OctetString decode(std::span<Zel::U8 const, size> from) noexcept {
        OctetString string;
        std::ranges::copy(from, string.octets.begin());
        return string;
    }
};

/// What every BPDU begins with, and all that a topology change notification is: IEEE 802.1D-2004
/// 9.3.2.
struct TcnLayout {
    template <class V> using Field = Kolvu::WireLayout::Field<V>;

    static constexpr std::tuple fields{
        Field<Kolvu::NetU16>{"Protocol Identifier", 0, 2},
        Field<Stp::StpBpduVersion>{"Protocol Version Identifier", 2, 1},
        Field<Stp::StpBpduType>{"BPDU Type", 3, 1},
    };
    static constexpr std::size_t octets = 4;
};
static_assert(Kolvu::WireLayout::isContiguous<TcnLayout>());

/// IEEE 802.1D-2004 9.3.1. An RST BPDU begins with the same fields, and so does an MST BPDU, where
/// the Bridge Identifier is the CIST Regional Root Identifier.
struct ConfigurationLayout {
    template <class V> using Field = Kolvu::WireLayout::Field<V>;

    static constexpr std::tuple fields{
        Field<Kolvu::NetU16>{"Protocol Identifier", 0, 2},
        Field<Stp::StpBpduVersion>{"Protocol Version Identifier", 2, 1},
        Field<Stp::StpBpduType>{"BPDU Type", 3, 1},
        Field<Stp::RstpBpduFlags>{"Flags", 4, 1},
        Field<Stp::BridgeId>{"Root Identifier", 5, 8},
        Field<Stp::PathCost>{"Root Path Cost", 13, 4},
        Field<Stp::BridgeId>{"Bridge Identifier", 17, 8},
        Field<Stp::PortId>{"Port Identifier", 25, 2},
        Field<Stp::TimerVal>{"Message Age", 27, 2},
        Field<Stp::TimerVal>{"Max Age", 29, 2},
        Field<Stp::TimerVal>{"Hello Time", 31, 2},
        Field<Stp::TimerVal>{"Forward Delay", 33, 2},
    };
    static constexpr std::size_t octets = 35;
};
static_assert(Kolvu::WireLayout::isContiguous<ConfigurationLayout>());

/// An MST BPDU as far as its MSTI records, IEEE 802.1Q-2014 14.4.
struct MstLayout {
    template <class V> using Field = Kolvu::WireLayout::Field<V>;

    static constexpr std::tuple fields{
        Field<Kolvu::NetU16>{"Protocol Identifier", 0, 2},
        Field<Stp::StpBpduVersion>{"Protocol Version Identifier", 2, 1},
        Field<Stp::StpBpduType>{"BPDU Type", 3, 1},
        Field<Stp::RstpBpduFlags>{"CIST Flags", 4, 1},
        Field<Stp::BridgeId>{"CIST Root Identifier", 5, 8},
        Field<Stp::PathCost>{"CIST External Path Cost", 13, 4},
        Field<Stp::BridgeId>{"CIST Regional Root Identifier", 17, 8},
        Field<Stp::PortId>{"CIST Port Identifier", 25, 2},
        Field<Stp::TimerVal>{"Message Age", 27, 2},
        Field<Stp::TimerVal>{"Max Age", 29, 2},
        Field<Stp::TimerVal>{"Hello Time", 31, 2},
        Field<Stp::TimerVal>{"Forward Delay", 33, 2},
        Field<Kolvu::NetU8>{"Version 1 Length", 35, 1},
        Field<Kolvu::NetU16>{"Version 3 Length", 36, 2},
        Field<Kolvu::NetU8>{"Configuration Identifier Format Selector", 38, 1},
        Field<OctetString<32>>{"Configuration Name", 39, 32},
        Field<Kolvu::NetU16>{"Revision Level", 71, 2},
        Field<OctetString<16>>{"Configuration Digest", 73, 16},
        Field<Stp::PathCost>{"CIST Internal Root Path Cost", 89, 4},
        Field<Stp::BridgeId>{"CIST Bridge Identifier", 93, 8},
        Field<Kolvu::NetU8>{"CIST Remaining Hops", 101, 1},
    };
    static constexpr std::size_t octets = 102;

    /// How many of them the Version 3 Length counts.
    static constexpr std::size_t version3Octets = 64;
};
static_assert(Kolvu::WireLayout::isContiguous<MstLayout>());
static_assert(Kolvu::WireLayout::field<MstLayout, "Version 3 Length">.offset + 2 +
                  MstLayout::version3Octets ==
              MstLayout::octets);

/// An MSTI record of an MST BPDU, an MSTI Configuration Message: IEEE 802.1Q-2014 14.4.1.
struct MstiLayout {
    template <class V> using Field = Kolvu::WireLayout::Field<V>;

    static constexpr std::tuple fields{
        Field<Stp::RstpBpduFlags>{"MSTI Flags", 0, 1},
        Field<Stp::BridgeId>{"MSTI Regional Root Identifier", 1, 8},
        Field<Stp::PathCost>{"MSTI Internal Root Path Cost", 9, 4},
        Field<Kolvu::NetU8>{"MSTI Bridge Priority", 13, 1}, // in the high 4 bits
        Field<Kolvu::NetU8>{"MSTI Port Priority", 14, 1},   // in the high 4 bits
        Field<Kolvu::NetU8>{"MSTI Remaining Hops", 15, 1},
    };
    static constexpr std::size_t octets = 16;
};
static_assert(Kolvu::WireLayout::isContiguous<MstiLayout>());

/// Whether one layout begins with fields of the same types in the same places as all of another.
template <class Layout, class Beginning> consteval bool beginsAs() {
    return []<std::size_t... i>(std::index_sequence<i...>) {
        constexpr auto const& fields = Layout::fields;
        constexpr auto const& first = Beginning::fields;
        return (std::is_same_v<std::tuple_element_t<i, decltype(Layout::fields)>,
                               std::tuple_element_t<i, decltype(Beginning::fields)>> &&
                ...) &&
               ((std::get<i>(fields).offset == std::get<i>(first).offset) && ...);
    }
    (std::make_index_sequence<std::tuple_size_v<decltype(Beginning::fields)>>());
}
static_assert(beginsAs<ConfigurationLayout, TcnLayout>());
static_assert(beginsAs<Stp::RstpLayout, ConfigurationLayout>());
static_assert(beginsAs<MstLayout, ConfigurationLayout>());

} // namespace Agent
