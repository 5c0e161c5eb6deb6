#pragma once

#include "agent/trees/Bridge.h"
#include "agent/trees/RecordChanges.h"
#include "tests/agent/bpdu/Frames.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Agent::Test {

using namespace std::chrono_literals;

/// What a test's BPDU says; all else is as in Frames::rst, its hello time 2.5 s.
struct Offer {
    Zel::U8 flags = 0x3c;
    Zel::U16 rootPriority = 0x1005; ///< with the system ID extension
    Zel::U32 cost = 200000;
    Zel::U8 messageAge = 1; ///< seconds
    Zel::U8 hello = 2;      ///< seconds
    Zel::U8 sender = 0x0c;  ///< last octet of the bridge's address
};

inline Frames::Octets frameOf(Offer const& offer) {
    Frames::Octets bpdu(Frames::rst.begin(), Frames::rst.end());
    bpdu[4] = offer.flags;
    Frames::put16(bpdu, 5, offer.rootPriority);
    Frames::put16(bpdu, 13, offer.cost >> 16);
    Frames::put16(bpdu, 15, offer.cost & 0xffff);
    bpdu[24] = offer.sender;
    bpdu[27] = offer.messageAge;
    bpdu[31] = offer.hello;
    bpdu[32] = 0;
    return Frames::frame(bpdu);
}

inline constexpr Kolvu::EthAddr bridgeAddress{0x02, 0, 0, 0, 0, 0x0a};
inline constexpr Kolvu::EthAddr portAddress{0x02, 0, 0, 0, 1, 0x01};
inline constexpr Kolvu::EthAddr otherPortAddress{0x02, 0, 0, 0, 1, 0x02};

inline Settings testSettings() {
    Settings settings;
    settings.address = bridgeAddress;
    return settings;
}

/// A bridge with two ports, "eth0" and "eth1", both up, and what it sent and reported.
struct Rig {
    struct Sent {
        Time at;
        std::string port;
        Frames::Octets frame;
    };
    std::vector<Sent> sent;
    std::vector<std::string> changes; ///< "eth0: what", "-: what"
    int error = 0;                    ///< what sending ends with

    Bridge bridge{testSettings(),
                  [this](Time now, Port const& port, std::span<Zel::U8 const> frame) {
                      if (error == 0)
                          sent.push_back({now, port.name, {frame.begin(), frame.end()}});
                      return error;
                  },
                  [this](Time, Port const* port, std::string const& change) {
                      changes.push_back((port ? port->name : "-") + ": " + change);
                  }};
    Port& eth0 = bridge.portIs("eth0");
    Port& eth1 = bridge.portIs("eth1");

    Rig() {
        bridge.portUp(eth0, portAddress, 0s);
        bridge.portUp(eth1, otherPortAddress, 0s);
        changes.clear();
    }

    void hear(Port const& port, Frames::Octets const& frame, Time now) {
        bridge.receive(port.id, frame, now);
    }
    /// The record heard, as the library prints it, of the dynamic tree.
    std::string heard(Port const& port) const { return valueText(bridge.heardRecord(port).ptr()); }
};

} // namespace Agent::Test
