#pragma once

#include "bpdu/VarnolUtils.h"

#include <span>
#include <string>
#include <string_view>

/// What the tests of frames share.
namespace Frames {

/// Octets as pairs of hexadecimal digits with blanks between them, as "01 80 c2".
inline std::string hex(std::span<Zel::U8 const> octets) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (Zel::U8 octet : octets) {
        if (!text.empty())
            text += ' ';
        text += digits[octet >> 4];
        text += digits[octet & 0xf];
    }
    return text;
}
inline std::string hex(Kolvu::Pkt::Ptr const& pkt) { return hex(pkt->data()); }

/// A field of the frame, from its first octet's offset.
inline std::string hex(Kolvu::Pkt::Ptr const& pkt, std::size_t offset, std::size_t octets) {
    return hex(pkt->data().subspan(offset, octets));
}

/// Whether the pointer stands at that octet of the packet.
inline bool standsAt(Stp::CommonBpdu const* bpdu, Kolvu::Pkt::Ptr const& pkt, std::size_t offset) {
    return static_cast<void const*>(bpdu) == pkt->data().data() + offset;
}

inline constexpr Kolvu::EthAddr portAddress{0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c};

/// The state machine of a port with that address.
inline Stp::MstPortSm::Ptr portWith(Kolvu::EthAddr const& address = portAddress) {
    const Stp::Port::Ptr port(new Stp::Port);
    port->ethAddrIs(address);
    return Stp::MstPortSm::Ptr(new Stp::MstPortSm(port));
}

/// A record that can be sent: RSTP, no VLAN, and an entry for the CIST, all zero.
inline Varnol::IntxInfo::Ptr sendableRecord() {
    const Varnol::IntxInfo::Ptr record(new Varnol::IntxInfo(0));
    record->stpVersionIs(Stp::StpBpduVersion::rstp);
    record->mstiNIs(0);
    return record;
}

/// While it lives, so many packets can be taken besides those that were in use before.
class PoolOf {
  public:
    explicit PoolOf(Zel::U32 packets) noexcept
        : former_(Kolvu::globalPktManager().capacity()) {
        Kolvu::globalPktManager().capacityIs(Kolvu::globalPktManager().inUse() + packets);
    }
    PoolOf(PoolOf const&) = delete;
    PoolOf& operator=(PoolOf const&) = delete;
    ~PoolOf() { Kolvu::globalPktManager().capacityIs(former_); }

  private:
    Zel::U32 former_;
};

/// A place for a BPDU's address which shows whether it was written.
class BpduOut {
  public:
    Stp::CommonBpdu** out() noexcept { return &bpdu_; }
    Stp::CommonBpdu* get() const noexcept { return bpdu_; }
    bool untouched() const noexcept { return bpdu_ == before(); }

  private:
    static Stp::CommonBpdu* before() noexcept {
        static Zel::U8 octet;
        return Stp::CommonBpdu::at(&octet);
    }
    Stp::CommonBpdu* bpdu_ = before();
};

} // namespace Frames
