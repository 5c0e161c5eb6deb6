#pragma once

#include "bpdu/VarnolUtils.h"
#include "tests/bpdu/Frames.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <string>

namespace Frames {

using Zel::U16;
using Zel::U32;
using Zel::U8;

/// What the frame of an RST BPDU is made from, as plain numbers, and what that frame is to be: said
/// in octets and in the words of Wireshark, with nothing of the code under test.
struct Sample {
    using Address = std::array<U8, 6>;
    static constexpr std::size_t size = 53; ///< of the frame, in octets

    Address source, rootAddress, bridgeAddress;
    U8 flags;
    U16 rootPriority, rootExtension, bridgePriority, bridgeExtension;
    U32 cost;
    U8 portPriority;
    U16 portNumber;
    U16 messageAge, maxAge, helloTime, fwdDelay; // in 1/256 s

    template <class Engine> static Sample random(Engine& engine) {
        const auto number = [&engine]<class T>(T& value) { value = static_cast<T>(engine()); };
        const auto octets = [&](Address& address) {
            for (U8& octet : address)
                number(octet);
        };
        Sample sample;
        octets(sample.source);
        octets(sample.rootAddress);
        octets(sample.bridgeAddress);
        number(sample.flags);
        number(sample.rootPriority);
        number(sample.rootExtension);
        number(sample.bridgePriority);
        number(sample.bridgeExtension);
        number(sample.cost);
        number(sample.portPriority);
        number(sample.portNumber);
        number(sample.messageAge);
        number(sample.maxAge);
        number(sample.helloTime);
        number(sample.fwdDelay);
        return sample;
    }

    /// Makes a port and the record's entry for the CIST say this.
    void giveTo(Stp::Port& port, Varnol::IntxMstiInfo& cist) const {
        const auto toAddress = [](Address const& o) {
            return Kolvu::EthAddr(o[0], o[1], o[2], o[3], o[4], o[5]);
        };
        port.ethAddrIs(toAddress(source));
        cist.flagsIs(flags);
        cist.cistRootBridgeIdIs({rootPriority, rootExtension, toAddress(rootAddress)});
        cist.cistExtRootPathCostIs(cost);
        cist.bridgeIdIs({bridgePriority, bridgeExtension, toAddress(bridgeAddress)});
        cist.portIdIs({portPriority, portNumber});
        cist.messageAgeIs(Stp::TimerVal::units(messageAge));
        cist.maxAgeIs(Stp::TimerVal::units(maxAge));
        cist.helloTimeIs(Stp::TimerVal::units(helloTime));
        cist.fwdDelayIs(Stp::TimerVal::units(fwdDelay));
    }

    /// The frame that the library builds.
    Kolvu::Pkt::Ptr frame() const {
        const Varnol::IntxInfo::Ptr info = sendableRecord();
        const Stp::MstPortSm::Ptr port = portWith({});
        giveTo(*port->port(), *info->mstiN(0));
        return Varnol::generatePktFromIntxInfo(port, info, false);
    }

    /// The frame's octets, in the order in which IEEE 802.1D-2004 9.2 and 9.3.3 name them.
    std::array<U8, size> octets() const {
        std::array<U8, size> all;
        std::size_t at = 0;
        const auto put = [&](std::size_t count, U32 number) {
            while (count-- > 0)
                all[at++] = static_cast<U8>(number >> 8 * count);
        };
        const auto putAddress = [&](Address const& address) {
            for (U8 octet : address)
                put(1, octet);
        };
        putAddress({0x01, 0x80, 0xc2, 0x00, 0x00, 0x00});
        putAddress(source);
        put(2, 3 + 36);     // LLC and BPDU
        put(3, 0x42'42'03); // DSAP, SSAP, control
        put(4, 0x0000'02'02);
        put(1, flags);
        put(2, rootPriority / 4096U * 4096U + rootExtension % 4096U);
        putAddress(rootAddress);
        put(4, cost);
        put(2, bridgePriority / 4096U * 4096U + bridgeExtension % 4096U);
        putAddress(bridgeAddress);
        put(2, portPriority / 16U * 4096U + portNumber % 4096U);
        put(2, messageAge);
        put(2, maxAge);
        put(2, helloTime);
        put(2, fwdDelay);
        put(1, 0); // Version 1 Length
        return all;
    }

    /// Calls check(field, expected text) or check(field, expected 1/256 s) with all that tshark is
    /// to read.
    template <class F> void forEachField(F const& check) const {
        const auto text = [](unsigned number) { return std::to_string(number); };
        const auto bit = [&](unsigned mask) { return text((flags & mask) != 0); };
        check("frame.len", "53");
        check("eth.dst", "01:80:c2:00:00:00");
        check("eth.src", shown(source));
        check("eth.len", "39");
        check("llc.dsap", "0x42");
        check("llc.ssap", "0x42");
        check("llc.control", "0x0003");
        check("stp.protocol", "0x0000");
        check("stp.version", "2");
        check("stp.type", "0x02");
        check("stp.flags", hexadecimal(flags, 2));
        check("stp.flags.tc", bit(0x01));
        check("stp.flags.proposal", bit(0x02));
        check("stp.flags.port_role", text(flags >> 2 & 3));
        check("stp.flags.learning", bit(0x10));
        check("stp.flags.forwarding", bit(0x20));
        check("stp.flags.agreement", bit(0x40));
        check("stp.flags.tcack", bit(0x80));
        check("stp.root.prio", text(rootPriority & 0xf000U));
        check("stp.root.ext", text(rootExtension & 0x0fffU));
        check("stp.root.hw", shown(rootAddress));
        check("stp.root.cost", text(cost));
        check("stp.bridge.prio", text(bridgePriority & 0xf000U));
        check("stp.bridge.ext", text(bridgeExtension & 0x0fffU));
        check("stp.bridge.hw", shown(bridgeAddress));
        check("stp.port", hexadecimal((portPriority & 0xf0U) << 8 | (portNumber & 0x0fffU), 4));
        check("stp.msg_age", messageAge);
        check("stp.max_age", maxAge);
        check("stp.hello", helloTime);
        check("stp.forward", fwdDelay);
        check("stp.version_1_length", "0");
        check("_ws.malformed", "");
        check("eth.trailer", "");
        check("eth.padding", "");
    }

  private:
    static std::string shown(Address const& octets) {
        char text[sizeof("00:00:00:00:00:00")];
        std::snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", octets[0], octets[1],
                      octets[2], octets[3], octets[4], octets[5]);
        return text;
    }
    static std::string hexadecimal(unsigned number, int digits) {
        char text[16];
        std::snprintf(text, sizeof(text), "0x%0*x", digits, number);
        return text;
    }
};

} // namespace Frames
