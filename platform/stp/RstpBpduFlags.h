#pragma once

#include "framework/zel/Api.h"
#include "platform/kolvu/Number.h"

namespace Stp {

/// Role of the transmitting port, IEEE 802.1D-2004 9.2.9.
enum class PortRole : Zel::U8 { unknown, alternateOrBackup, root, designated };

/// The flags octet of an RST BPDU, IEEE 802.1D-2004 9.3.3.
class RstpBpduFlags : public Kolvu::Number<RstpBpduFlags, Zel::U8> {
  public:
    using Number::Number;

    ///@{
    /// The bits of the flag of that name in the octet.
    static constexpr Zel::U8 topologyChangeBit = 0x01;
    static constexpr Zel::U8 proposalBit = 0x02;
    static constexpr Zel::U8 portRoleMask = 0x0c;
    static constexpr Zel::U8 learningBit = 0x10;
    static constexpr Zel::U8 forwardingBit = 0x20;
    static constexpr Zel::U8 agreementBit = 0x40;
    ///@}
    /// Always 0 in an RST BPDU.
    static constexpr Zel::U8 topologyChangeAckBit = 0x80;

    ///@{
    /// The flag of that name, as the transmitting port has set it: IEEE 802.1D-2004 17.21.20.
    constexpr bool topologyChange() const noexcept { return has(topologyChangeBit); }
    constexpr bool proposal() const noexcept { return has(proposalBit); }
    constexpr PortRole portRole() const noexcept {
        return static_cast<PortRole>((value() & portRoleMask) >> portRoleShift);
    }
    constexpr bool learning() const noexcept { return has(learningBit); }
    constexpr bool forwarding() const noexcept { return has(forwardingBit); }
    constexpr bool agreement() const noexcept { return has(agreementBit); }
    constexpr bool topologyChangeAck() const noexcept { return has(topologyChangeAckBit); }
    ///@}

    ///@{
    /// Changes the flag of that name, and no other.
    constexpr void topologyChangeIs(bool on) noexcept { bitIs(topologyChangeBit, on); }
    constexpr void proposalIs(bool on) noexcept { bitIs(proposalBit, on); }
    constexpr void portRoleIs(PortRole role) noexcept {
        bitsAre(portRoleMask, static_cast<unsigned>(role) << portRoleShift);
    }
    constexpr void learningIs(bool on) noexcept { bitIs(learningBit, on); }
    constexpr void forwardingIs(bool on) noexcept { bitIs(forwardingBit, on); }
    constexpr void agreementIs(bool on) noexcept { bitIs(agreementBit, on); }
    constexpr void topologyChangeAckIs(bool on) noexcept { bitIs(topologyChangeAckBit, on); }
    ///@}

    /// The octet in decimal and what is set in it, as "60(designated learning forwarding)".
    VARNOL_API friend Zel::TraceStream& operator<<(Zel::TraceStream& stream, RstpBpduFlags flags);

  private:
    static constexpr unsigned portRoleShift = 2;

    constexpr bool has(Zel::U8 bit) const noexcept { return (value() & bit) != 0; }
    constexpr void bitIs(Zel::U8 bit, bool on) noexcept { bitsAre(bit, on ? bit : 0U); }
    constexpr void bitsAre(unsigned mask, unsigned bits) noexcept {
        *this = static_cast<Zel::U8>((value() & ~mask) | (bits & mask));
    }
};

} // namespace Stp
