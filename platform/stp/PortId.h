#pragma once

#include "framework/zel/Api.h"
#include "platform/kolvu/NetInt.h"

namespace Zel {
class TraceStream;
}

namespace Stp {

/// A port identifier, IEEE 802.1D-2004 9.2.7. Keeps what it is given; what an identifier in a BPDU
/// has no room for is left out there, by encode().
class PortId {
  public:
    static constexpr std::size_t wireOctets = 2;

    constexpr PortId() noexcept = default;
    /// @param priority  0 to 240 in steps of 16
    /// @param number  0 to 4095
    constexpr PortId(Zel::U8 priority, Zel::U16 number) noexcept
        : priority_(priority)
        , number_(number) {}

    /// A multiple of 16.
    constexpr Zel::U8 priority() const noexcept { return priority_; }
    /// 0 to 4095.
    constexpr Zel::U16 number() const noexcept { return number_; }

    friend constexpr bool operator==(PortId, PortId) noexcept = default;
    /// Priority and number, as "128.3".
    VARNOL_API friend Zel::TraceStream& operator<<(Zel::TraceStream& stream, PortId id);

    /// The priority's high 4 bits, the number's low 12 bits.
    constexpr void encode(std::span<Zel::U8, wireOctets> to) const noexcept {
        Kolvu::NetU16(static_cast<Zel::U16>(priority_ >> 4 << 12 | (number_ & 0x0fff))).encode(to);
    }
    static constexpr PortId decode(std::span<Zel::U8 const, wireOctets> from) noexcept {
        const Zel::U16 both = Kolvu::NetU16::decode(from);
        return PortId(static_cast<Zel::U8>(both >> 12 << 4), both & 0x0fff);
    }

  private:
    Zel::U8 priority_ = 0;
    Zel::U16 number_ = 0;
};

} // namespace Stp
