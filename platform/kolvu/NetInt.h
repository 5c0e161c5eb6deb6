#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/Int.h"
#include "platform/kolvu/CopyOctets.h"

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <span>

namespace Zel {
class TraceStream;
}

namespace Kolvu {

using Zel::U16;
using Zel::U32;
using Zel::U8;

/// In decimal.
VARNOL_API void traceNumber(Zel::TraceStream& stream, U32 number);

namespace detail {

///@{
/// A number of the host's with its octets in network order, or the other way round.
constexpr U8 networkOrder(U8 number) noexcept { return number; }
constexpr U16 networkOrder(U16 number) noexcept {
    return std::endian::native == std::endian::big ? number : __builtin_bswap16(number);
}
constexpr U32 networkOrder(U32 number) noexcept {
    return std::endian::native == std::endian::big ? number : __builtin_bswap32(number);
}
///@}

} // namespace detail

/// An unsigned integer held in network octet order, most significant octet first, at any address.
/// Converts from and to the host's integer by itself.
template <std::unsigned_integral T> class NetInt {
  public:
    static constexpr std::size_t wireOctets = sizeof(T);
    using Octets = std::array<U8, wireOctets>;

    constexpr NetInt() noexcept = default;
    /// From the host's integer.
    constexpr NetInt(T host) noexcept
        : octets_(std::bit_cast<Octets>(detail::networkOrder(host))) {}

    /// The host's integer.
    constexpr operator T() const noexcept {
        return detail::networkOrder(std::bit_cast<T>(octets_));
    }
    constexpr Octets const& octets() const noexcept { return octets_; }

    ///@{
    /// As with the host's integer.
    constexpr NetInt& operator|=(T bits) noexcept { return *this = static_cast<T>(*this | bits); }
    constexpr NetInt& operator&=(T bits) noexcept { return *this = static_cast<T>(*this & bits); }
    ///@}

    friend Zel::TraceStream& operator<<(Zel::TraceStream& stream, NetInt number) {
        traceNumber(stream, number);
        return stream;
    }

    constexpr void encode(std::span<U8, wireOctets> to) const noexcept {
        copyOctets<wireOctets>(octets_, to);
    }
    static constexpr NetInt decode(std::span<U8 const, wireOctets> from) noexcept {
        Octets octets;
        copyOctets<wireOctets>(from, octets);
        return detail::networkOrder(std::bit_cast<T>(octets));
    }

  private:
    Octets octets_{};
};

///@{
/// Of 8, 16 and 32 bits.
using NetU8 = NetInt<U8>;
using NetU16 = NetInt<U16>;
using NetU32 = NetInt<U32>;
///@}

static_assert(sizeof(NetU16) == 2 && alignof(NetU16) == 1);
static_assert(sizeof(NetU32) == 4 && alignof(NetU32) == 1);

} // namespace Kolvu
