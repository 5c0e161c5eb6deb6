#include "agent/io/LivePorts.h"

#include "framework/zel/Trace.h"

#include <poll.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace Agent {
namespace {

constinit Zel::TraceHandle traceHandle("StpAgent", false);

/// How often a call that a signal interrupts is made again.
constexpr int interruptions = 8;

template <class Call> int despiteSignals(Call const& call) {
    int error = EINTR;
    for (int i = 0; i < interruptions && error == EINTR; ++i)
        error = call();
    return error;
}

/// Whether an error says that the system is busy, and nothing of the interface.
bool isBusy(int error) { return error == EINTR || error == ENOBUFS || error == ENOMEM; }

void traceError(std::string_view name, std::string_view what) {
    Zel::trace(traceHandle, 3, [&](Zel::TraceStream& out) { out << name << ": " << what; });
}

} // namespace

LivePorts::LivePorts(EventLoop& loop, OpenPacketSocket open, FindLink find)
    : loop_(loop)
    , openSocket_(std::move(open))
    , find_(std::move(find))
    , helloTimer_(loop.timer([this] {
        bridge_->hello(loop_.now());
        loop_.timerIs(helloTimer_, loop_.now() + std::chrono::seconds(bridge_->settings().hello));
        setExpiry();
    }))
    , expiryTimer_(loop.timer([this] {
        bridge_->expire(loop_.now());
        setExpiry();
    }))
    , followTimer_(loop.timer([this] {
        follow();
        loop_.timerIs(followTimer_, loop_.now() + followPeriod);
    })) {}

LivePorts::~LivePorts() {
    for (auto& [id, open] : open_)
        if (open.socket)
            loop_.unwatch(open.socket->descriptor());
    for (const auto timer : {helloTimer_, expiryTimer_, followTimer_})
        loop_.timerIs(timer, std::nullopt);
}

void LivePorts::portIs(Bridge& bridge, std::string const& interface) {
    Port& port = bridge.portIs(interface);
    open_[port.id].port = &port;
}

void LivePorts::start(Bridge& bridge) {
    bridge_ = &bridge;
    for (auto& [id, open] : open_) {
        const auto link = find_(open.port->name);
        if (!link)
            throw std::runtime_error(open.port->name + ": is no Ethernet interface");
        if (link->up)
            this->open(open, *link);
    }
    loop_.timerIs(helloTimer_, loop_.now());
    loop_.timerIs(followTimer_, loop_.now() + followPeriod);
}

void LivePorts::follow() {
    for (auto& [id, open] : open_) {
        const auto link = find_(open.port->name);
        const bool usable = link && link->up;
        if (open.socket && (!usable || link->index != open.index || open.failed))
            close(open);
        if (!usable)
            continue;
        if (!open.socket) {
            try {
                this->open(open, *link);
            } catch (std::runtime_error const& error) {
                ++open.port->counts.receiveErrors;
                traceError(open.port->name, error.what());
            }
        } else {
            bridge_->portUp(*open.port, link->address, loop_.now()); // perhaps another address
            open.port->counts.missed = open.missedBefore + open.socket->missed();
        }
    }
    setExpiry();
}

void LivePorts::open(Open& open, Link const& link) {
    open.socket = openSocket_(open.port->name);
    open.index = link.index;
    open.failed = false;
    open.errors = 0;
    open.missedBefore = open.port->counts.missed;
    loop_.watch(open.socket->descriptor(), POLLIN, [this, &open] { receive(open); });
    bridge_->portUp(*open.port, link.address, loop_.now());
}

void LivePorts::close(Open& open) {
    loop_.unwatch(open.socket->descriptor());
    open.port->counts.missed = open.missedBefore + open.socket->missed();
    open.socket.reset();
    bridge_->portDown(*open.port, loop_.now());
}

void LivePorts::receive(Open& open) {
    for (unsigned i = 0; i < framesPerTurn; ++i) {
        std::span<Zel::U8 const> frame;
        const int error = despiteSignals([&] { return open.socket->receive(frame); });
        if (error != 0 && error != EAGAIN) {
            ++open.port->counts.receiveErrors;
            traceError(open.port->name, std::string("not received: ") + std::strerror(error));
            if (!isBusy(error) || ++open.errors > forgivenErrors)
                close(open); // follow() tries again
            break;
        }
        open.errors = 0;
        if (error == EAGAIN)
            break;
        const Time now = loop_.now();
        capture(now, frame);
        bridge_->receive(open.port->id, frame, now);
    }
    setExpiry();
}

int LivePorts::send(Time now, Port const& port, std::span<Zel::U8 const> frame) {
    const auto at = open_.find(port.id);
    if (at == open_.end() || !at->second.socket)
        return ENXIO;
    Open& open = at->second;
    const int error = despiteSignals([&] { return open.socket->send(frame); });
    if (error == 0)
        capture(now, frame);
    else if (error == ENXIO || error == ENODEV || error == ENETDOWN)
        open.failed = true; // the bridge is at work: follow() closes it
    return error;
}

void LivePorts::capture(Time now, std::span<Zel::U8 const> frame) {
    if (!capture_)
        return;
    try {
        capture_->write(now, frame);
    } catch (std::runtime_error const& error) {
        capture_ = nullptr;
        traceError("capture", error.what());
    }
}

void LivePorts::setExpiry() { loop_.timerIs(expiryTimer_, bridge_->nextExpiry()); }

} // namespace Agent
