#pragma once

#include "framework/zel/Int.h"

#include <cstddef>
#include <span>

namespace Stp {

/// A BPDU of any type inside a packet: stands at its first octet and knows neither its length nor
/// its contents. Valid as long as that octet of the packet stays where it is.
class CommonBpdu {
  public:
    CommonBpdu(CommonBpdu const&) = delete;
    CommonBpdu& operator=(CommonBpdu const&) = delete;

    /// The BPDU that begins there. Requires: an octet of a packet.
    static CommonBpdu* at(Zel::U8* firstOctet) noexcept {
        return reinterpret_cast<CommonBpdu*>(firstOctet);
    }

    /// The BPDU's octets. Requires: the packet has that many from here on.
    template <std::size_t size> std::span<Zel::U8, size> octets() noexcept {
        return std::span<Zel::U8, size>(reinterpret_cast<Zel::U8*>(this), size);
    }

  private:
    [[maybe_unused]] Zel::U8 first_;
};

} // namespace Stp
