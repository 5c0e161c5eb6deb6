#pragma once

#include "framework/zel/Api.h"
#include "platform/kolvu/WireLayout.h"
#include "platform/stp/BridgeId.h"
#include "platform/stp/PathCost.h"
#include "platform/stp/PortId.h"
#include "platform/stp/RstpBpduFlags.h"
#include "platform/stp/StpBpduType.h"
#include "platform/stp/StpBpduVersion.h"
#include "platform/stp/TimerVal.h"

#include <optional>
#include <string_view>
#include <tuple>
#include <utility>

namespace Stp {

/// The layout of an RST BPDU, IEEE 802.1D-2004 9.3.3: all that reads, writes or prints one finds
/// the fields here.
struct RstpLayout {
    /// As every layout has them.
    template <class V> using Field = Kolvu::WireLayout::Field<V>;

    /// In the order of the wire.
    static constexpr std::tuple fields{
        Field<Kolvu::NetU16>{"Protocol Identifier", 0, 2},
        Field<StpBpduVersion>{"Protocol Version Identifier", 2, 1},
        Field<StpBpduType>{"BPDU Type", 3, 1},
        Field<RstpBpduFlags>{"Flags", 4, 1},
        Field<BridgeId>{"Root Identifier", 5, 8},
        Field<PathCost>{"Root Path Cost", 13, 4},
        Field<BridgeId>{"Bridge Identifier", 17, 8},
        Field<PortId>{"Port Identifier", 25, 2},
        Field<TimerVal>{"Message Age", 27, 2},
        Field<TimerVal>{"Max Age", 29, 2},
        Field<TimerVal>{"Hello Time", 31, 2},
        Field<TimerVal>{"Forward Delay", 33, 2},
        Field<Kolvu::NetU8>{"Version 1 Length", 35, 1},
    };
    static constexpr std::size_t octets = 36;
};
static_assert(Kolvu::WireLayout::isContiguous<RstpLayout>());

/// The field of an RST BPDU that has that name.
template <Kolvu::WireLayout::Place<RstpLayout> place>
inline constexpr auto const& rstpField = Kolvu::WireLayout::field<RstpLayout, place>;

/// Reads the RST BPDU that stands in 36 octets of somebody else's, which must outlive the view.
class RstpBpduView {
  public:
    static constexpr std::size_t octets = RstpLayout::octets;

    /// Of octets that may hold anything.
    explicit constexpr RstpBpduView(std::span<Zel::U8 const, octets> bpdu) noexcept
        : bpdu_(bpdu) {}
    /// The RST BPDU that received octets begin with; none when they are too few. Their version and
    /// type are the caller's to check.
    static constexpr std::optional<RstpBpduView> in(std::span<Zel::U8 const> received) noexcept {
        if (received.size() < octets)
            return std::nullopt;
        return RstpBpduView(received.first<octets>());
    }

    ///@{
    /// What the field of that name has, IEEE 802.1D-2004 9.3.3; nothing is checked.
    constexpr Zel::U16 protocolIdentifier() const {
        return rstpField<"Protocol Identifier">.decode(bpdu_);
    }
    constexpr StpBpduVersion version() const {
        return rstpField<"Protocol Version Identifier">.decode(bpdu_);
    }
    constexpr StpBpduType type() const { return rstpField<"BPDU Type">.decode(bpdu_); }
    constexpr RstpBpduFlags rstpFlags() const { return rstpField<"Flags">.decode(bpdu_); }
    constexpr BridgeId rootId() const { return rstpField<"Root Identifier">.decode(bpdu_); }
    constexpr PathCost rootPathCost() const { return rstpField<"Root Path Cost">.decode(bpdu_); }
    constexpr BridgeId bridgeId() const { return rstpField<"Bridge Identifier">.decode(bpdu_); }
    constexpr PortId portId() const { return rstpField<"Port Identifier">.decode(bpdu_); }
    constexpr TimerVal messageAge() const { return rstpField<"Message Age">.decode(bpdu_); }
    constexpr TimerVal maxAge() const { return rstpField<"Max Age">.decode(bpdu_); }
    constexpr TimerVal helloTime() const { return rstpField<"Hello Time">.decode(bpdu_); }
    constexpr TimerVal fwdDelay() const { return rstpField<"Forward Delay">.decode(bpdu_); }
    constexpr Zel::U8 version1Length() const { return rstpField<"Version 1 Length">.decode(bpdu_); }
    ///@}

    /// Every field with its name, in the order of the wire.
    VARNOL_API friend Zel::TraceStream& operator<<(Zel::TraceStream& stream, RstpBpduView bpdu);

  private:
    std::span<Zel::U8 const, octets> bpdu_;
};

/// Writes an RST BPDU, field by field, into 36 octets of somebody else's, which must outlive it.
/// The octets are what they were before until each field has been written once.
class RstpBpdu {
  public:
    static constexpr std::size_t octets = RstpLayout::octets;

    /// Nothing is written yet.
    explicit constexpr RstpBpdu(std::span<Zel::U8, octets> bpdu) noexcept
        : bpdu_(bpdu) {}

    /// 0 for the spanning tree protocols, IEEE 802.1D-2004 9.2.1.
    constexpr void protocolIdentifierIs(Zel::U16 id) {
        rstpField<"Protocol Identifier">.encode(id, bpdu_);
    }
    ///@{
    /// Writes the field of that name, IEEE 802.1D-2004 9.3.3, and no other; as the value's encode()
    /// does.
    constexpr void versionIs(StpBpduVersion version) {
        rstpField<"Protocol Version Identifier">.encode(version, bpdu_);
    }
    constexpr void typeIs(StpBpduType type) { rstpField<"BPDU Type">.encode(type, bpdu_); }
    constexpr void rstpFlagsIs(RstpBpduFlags flags) { rstpField<"Flags">.encode(flags, bpdu_); }
    constexpr void rootIdIs(BridgeId const& id) { rstpField<"Root Identifier">.encode(id, bpdu_); }
    constexpr void rootPathCostIs(PathCost cost) {
        rstpField<"Root Path Cost">.encode(cost, bpdu_);
    }
    constexpr void bridgeIdIs(BridgeId const& id) {
        rstpField<"Bridge Identifier">.encode(id, bpdu_);
    }
    constexpr void portIdIs(PortId id) { rstpField<"Port Identifier">.encode(id, bpdu_); }
    constexpr void messageAgeIs(TimerVal age) { rstpField<"Message Age">.encode(age, bpdu_); }
    constexpr void maxAgeIs(TimerVal age) { rstpField<"Max Age">.encode(age, bpdu_); }
    constexpr void helloTimeIs(TimerVal time) { rstpField<"Hello Time">.encode(time, bpdu_); }
    constexpr void fwdDelayIs(TimerVal delay) { rstpField<"Forward Delay">.encode(delay, bpdu_); }
    ///@}
    /// 0: no version 1 protocol information follows, IEEE 802.1D-2004 9.3.3.
    constexpr void version1LengthIs(Zel::U8 length) {
        rstpField<"Version 1 Length">.encode(length, bpdu_);
    }

    /// The same octets, to be read.
    constexpr RstpBpduView view() const noexcept { return RstpBpduView(bpdu_); }

  private:
    std::span<Zel::U8, octets> bpdu_;
};

} // namespace Stp
