#pragma once

#include "framework/zel/Api.h"
#include "platform/kolvu/NetInt.h"

namespace Zel {
class TraceStream;
}

namespace Stp {

/// A timer value, IEEE 802.1D-2004 9.2.8: a time in units of 1/256 s, below 256 s. Held as in a
/// BPDU, in two octets with the most significant first.
class TimerVal {
  public:
    static constexpr std::size_t wireOctets = Kolvu::NetU16::wireOctets;
    static constexpr Zel::U32 unitsPerSecond = 256; ///< IEEE 802.1D-2004 9.2.8

    constexpr TimerVal() noexcept = default;
    /// @param units  of 1/256 s
    static constexpr TimerVal units(Zel::U16 units) noexcept { return TimerVal(units); }
    /// 0 to 255 s.
    static constexpr TimerVal seconds(Zel::U8 seconds) noexcept {
        return TimerVal(static_cast<Zel::U16>(seconds * unitsPerSecond));
    }

    /// In 1/256 s.
    constexpr Zel::U16 units() const noexcept { return units_; }
    constexpr Kolvu::NetU16::Octets const& octets() const noexcept { return units_.octets(); }

    /// By their units.
    friend constexpr bool operator==(TimerVal left, TimerVal right) noexcept {
        return left.units() == right.units();
    }
    /// In seconds with all decimals that there are, as "20s" or "0.00390625s".
    VARNOL_API friend Zel::TraceStream& operator<<(Zel::TraceStream& stream, TimerVal timer);

    constexpr void encode(std::span<Zel::U8, wireOctets> to) const noexcept { units_.encode(to); }
    static constexpr TimerVal decode(std::span<Zel::U8 const, wireOctets> from) noexcept {
        return TimerVal(Kolvu::NetU16::decode(from));
    }

  private:
    explicit constexpr TimerVal(Kolvu::NetU16 units) noexcept
        : units_(units) {}

    Kolvu::NetU16 units_;
};

} // namespace Stp
