#pragma once

#include "framework/zel/Api.h"
#include "platform/kolvu/EthAddr.h"

namespace Stp {

/// A bridge identifier, IEEE 802.1D-2004 9.2.5. Keeps what it is given; what an identifier in a
/// BPDU has no room for is left out there, by encode().
class BridgeId {
  public:
    static constexpr std::size_t wireOctets = 8;

    constexpr BridgeId() noexcept = default;
    /// @param priority  0 to 61440 in steps of 4096
    /// @param systemIdExtension  0 to 4095
    constexpr BridgeId(Zel::U16 priority, Zel::U16 systemIdExtension,
                       Kolvu::EthAddr const& address) noexcept
        : priority_(priority)
        , systemIdExtension_(systemIdExtension)
        , address_(address) {}

    /// A multiple of 4096.
    constexpr Zel::U16 priority() const noexcept { return priority_; }
    /// 0 to 4095.
    constexpr Zel::U16 systemIdExtension() const noexcept { return systemIdExtension_; }
    /// The bridge address, IEEE 802.1D-2004 7.12.5.
    constexpr Kolvu::EthAddr const& address() const noexcept { return address_; }

    friend constexpr bool operator==(BridgeId const&, BridgeId const&) noexcept = default;
    /// Priority, system ID extension and address, as "32768.5.00:1c:73:0a:0b:0c".
    VARNOL_API friend Zel::TraceStream& operator<<(Zel::TraceStream& stream, BridgeId const& id);

    /// The priority's high 4 bits, the extension's low 12 bits, the address.
    constexpr void encode(std::span<Zel::U8, wireOctets> to) const noexcept {
        Kolvu::NetU16(static_cast<Zel::U16>(priority_ >> 12 << 12 | (systemIdExtension_ & 0x0fff)))
            .encode(to.first<2>());
        address_.encode(to.last<6>());
    }
    static constexpr BridgeId decode(std::span<Zel::U8 const, wireOctets> from) noexcept {
        const Zel::U16 head = Kolvu::NetU16::decode(from.first<2>());
        return BridgeId(head & 0xf000, head & 0x0fff, Kolvu::EthAddr::decode(from.last<6>()));
    }

  private:
    Zel::U16 priority_ = 0;
    Zel::U16 systemIdExtension_ = 0;
    Kolvu::EthAddr address_;
};

} // namespace Stp
