#pragma once

#include "framework/zel/Int.h"

#include <functional>
#include <memory>
#include <span>
#include <string>

namespace Agent {

/// Sends and receives the frames of one interface. Never blocks. Errors are those of errno.
class PacketSocket {
  public:
    virtual ~PacketSocket() = default;

    /// Becomes readable when there is a frame, or an error to be had from receive().
    virtual int descriptor() const = 0;
    /// @param frame  set to what was received, valid until the next call
    /// @return 0 with a frame; EAGAIN when there is none at present
    virtual int receive(std::span<Zel::U8 const>& frame) = 0;
    /// @return 0 when the system has taken the frame
    virtual int send(std::span<Zel::U8 const> frame) = 0;
    /// Frames since the beginning for which the system had no room.
    virtual Zel::U64 missed() = 0;
};

/// Opens an interface. Throws std::runtime_error with the reason.
using OpenPacketSocket = std::function<std::unique_ptr<PacketSocket>(std::string const& interface)>;

/// An AF_PACKET socket, through libpcap, for the frames that arrive at an Ethernet interface for
/// the bridge group address.
std::unique_ptr<PacketSocket> openPcapSocket(std::string const& interface);

} // namespace Agent
