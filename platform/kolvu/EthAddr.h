#pragma once

#include "framework/zel/Api.h"
#include "platform/kolvu/NetInt.h"

#include <compare>
#include <string_view>

namespace Zel {
class TraceStream;
}

namespace Kolvu {

/// An Ethernet MAC address: six octets in the order of transmission. All zero by default.
class EthAddr {
  public:
    static constexpr std::size_t wireOctets = 6;
    using Octets = std::array<U8, wireOctets>;

    constexpr EthAddr() noexcept = default;
    /// The octets in the order of transmission, which is that of writing.
    constexpr EthAddr(U8 first, U8 second, U8 third, U8 fourth, U8 fifth, U8 sixth) noexcept
        : octets_{first, second, third, fourth, fifth, sixth} {}

    /// From six pairs of hexadecimal digits with colons or hyphens between them, as
    /// "00:1c:73:0a:0b:0c" or "01-80-C2-00-00-00". Throws Zel::RangeException for any other text.
    VARNOL_API static EthAddr parse(std::string_view text);

    constexpr Octets const& octets() const noexcept { return octets_; }
    /// Differs between all addresses that have their first two octets in common.
    constexpr U32 hash() const noexcept {
        U32 hash = 0;
        for (U8 octet : octets_)
            hash = (hash << 8 | hash >> 24) ^ octet;
        return hash;
    }

    friend constexpr bool operator==(EthAddr const&, EthAddr const&) noexcept = default;
    friend constexpr auto operator<=>(EthAddr const&, EthAddr const&) noexcept = default;
    /// As "00:1c:73:0a:0b:0c".
    VARNOL_API friend Zel::TraceStream& operator<<(Zel::TraceStream& stream,
                                                   EthAddr const& address);

    constexpr void encode(std::span<U8, wireOctets> to) const noexcept {
        copyOctets<wireOctets>(octets_, to);
    }
    static constexpr EthAddr decode(std::span<U8 const, wireOctets> from) noexcept {
        return EthAddr(from[0], from[1], from[2], from[3], from[4], from[5]);
    }

  private:
    Octets octets_{};
};

} // namespace Kolvu
