#pragma once

#include "agent/io/CaptureFile.h"
#include "agent/io/EventLoop.h"
#include "agent/io/Links.h"
#include "agent/io/PacketSocket.h"
#include "agent/trees/Bridge.h"

#include <map>
#include <memory>
#include <string>

namespace Agent {

/// The bridge's ports on the system's interfaces: opens and closes them as the links come and go,
/// hands what they receive to the bridge, and sends for it.
///
/// An interface that fails is closed, which is a port down, and tried anew with the next follow().
/// A system that is busy (EINTR, ENOBUFS, ENOMEM) is forgiven some errors in a row: a frame may be
/// lost, the port is not. A failure that lasts costs a few tries a second.
class LivePorts {
  public:
    /// Frames taken from one port before the others have their turn.
    static constexpr unsigned framesPerTurn = 64;
    /// Receive errors in a row that a busy system is forgiven.
    static constexpr unsigned forgivenErrors = 15;
    /// How often interfaces are looked at when nothing tells of them.
    static constexpr Time followPeriod = std::chrono::seconds(1);

    LivePorts(EventLoop& loop, OpenPacketSocket open, FindLink find);
    ~LivePorts();
    LivePorts(LivePorts const&) = delete;
    LivePorts& operator=(LivePorts const&) = delete;

    /// Adds a port to the bridge, which has to be there while the loop runs. It is down until
    /// start().
    void portIs(Bridge& bridge, std::string const& interface);
    /// Opens what is up, and follows the links and the bridge's timers from then on.
    /// Throws std::runtime_error when an interface is no Ethernet interface, or cannot be opened.
    void start(Bridge& bridge);
    /// Looks at the links.
    void follow();

    /// For the bridge to send with.
    int send(Time now, Port const& port, std::span<Zel::U8 const> frame);
    /// Where to write the frames sent and heard; null for nowhere. Must outlive this. When it fails
    /// that is traced, and no more is written.
    void captureIs(CaptureWriter* capture) { capture_ = capture; }

  private:
    struct Open {
        Port* port = nullptr;
        unsigned index = 0;
        std::unique_ptr<PacketSocket> socket;
        Zel::U64 missedBefore = 0; // of sockets before this one
        bool failed = false;       // found while sending, to be closed
        unsigned errors = 0;       // of a busy system, in a row
    };

    void open(Open& open, Link const& link);
    void close(Open& open);
    void receive(Open& open);
    void capture(Time now, std::span<Zel::U8 const> frame);
    void setExpiry();

    EventLoop& loop_;
    OpenPacketSocket openSocket_;
    FindLink find_;
    CaptureWriter* capture_ = nullptr;
    Bridge* bridge_ = nullptr;
    std::map<Kolvu::IntfId, Open> open_;
    EventLoop::Timer helloTimer_;
    EventLoop::Timer expiryTimer_;
    EventLoop::Timer followTimer_;
};

} // namespace Agent
