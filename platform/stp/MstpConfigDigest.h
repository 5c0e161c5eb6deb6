#pragma once

#include "framework/zel/Api.h"
#include "platform/kolvu/NetInt.h"

namespace Zel {
class TraceStream;
}

namespace Stp {

/// The digest of an MST configuration: 16 opaque octets, all zero by default.
class MstpConfigDigest {
  public:
    using Octets = std::array<Zel::U8, 16>;

    constexpr MstpConfigDigest() noexcept = default;
    /// The Configuration Digest as a BPDU has it, IEEE 802.1Q-2018 13.8.
    explicit constexpr MstpConfigDigest(Octets const& octets) noexcept
        : octets_(octets) {}

    constexpr Octets const& octets() const noexcept { return octets_; }

    friend constexpr bool operator==(MstpConfigDigest const&,
                                     MstpConfigDigest const&) noexcept = default;
    /// As 32 hexadecimal digits.
    VARNOL_API friend Zel::TraceStream& operator<<(Zel::TraceStream& stream,
                                                   MstpConfigDigest const& digest);

  private:
    Octets octets_{};
};

} // namespace Stp
