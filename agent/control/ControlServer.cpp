#include "agent/control/ControlServer.h"

#include "agent/control/Requests.h"
#include "framework/zel/Trace.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>
#include <vector>

namespace Agent {
namespace {

constinit Zel::TraceHandle traceHandle("StpAgent", false);

void traceClient(std::string_view what) {
    Zel::trace(traceHandle, 5, [&](Zel::TraceStream& out) { out << "control client: " << what; });
}

} // namespace

ControlServer::ControlServer(EventLoop& loop, std::string const& path, Bridge& bridge)
    : loop_(loop)
    , bridge_(bridge)
    , socket_(path)
    , clock_(loop.timer([this] { lookAtClocks(); })) {
    loop_.watch(socket_.descriptor(), POLLIN, [this] { accept(); });
}

ControlServer::~ControlServer() {
    loop_.timerIs(clock_, std::nullopt);
    loop_.unwatch(socket_.descriptor());
    for (auto const& [descriptor, client] : clients_)
        loop_.unwatch(descriptor);
}

void ControlServer::accept() {
    for (std::size_t i = 0; i < clientLimit; ++i) {
        Descriptor socket(
            accept4(socket_.descriptor(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!socket) {
            if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
                // Too many open files, as it may be. The client goes on waiting: not so the loop.
                loop_.unwatch(socket_.descriptor());
                ++counts_.refusedClients;
            }
            break;
        }
        if (clients_.size() >= clientLimit) {
            ++counts_.refusedClients;
            traceClient("too many");
            constexpr std::string_view refusal = "error\ntoo many clients\n";
            send(socket.number(), refusal.data(), refusal.size(), MSG_NOSIGNAL);
            continue;
        }
        const int descriptor = socket.number();
        Client& client = clients_[descriptor];
        client.socket = std::move(socket);
        client.progress = loop_.now();
        setEvents(client);
    }
    startClock();
}

void ControlServer::read(int descriptor) {
    Client& client = clients_.at(descriptor);
    char octets[requestLimit];
    const ssize_t got = recv(descriptor, octets, sizeof(octets), 0);
    if (got < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (got <= 0 && (client.asked || client.input.empty())) {
        drop(descriptor);
        return;
    }
    if (client.asked) // whatever a client says that watches
        return;
    if (got > 0)
        client.input.append(octets, static_cast<std::size_t>(got));
    const std::size_t end = client.input.find('\n');
    if (end > requestLimit && client.input.size() > requestLimit) {
        ++counts_.longRequests;
        traceClient("request too long");
        client.asked = true;
        say(client, "error\nthe request is too long\n");
    } else if (end != std::string::npos || got <= 0) {
        client.input.resize(std::min(end, client.input.size()));
        answerTo(client);
    } else {
        return;
    }
    client.progress = loop_.now();
    client.input.clear();
    setEvents(client);
}

void ControlServer::answerTo(Client& client) {
    ++counts_.requests;
    client.asked = true;
    const Answer answer = Agent::answer(bridge_, counts_, loop_.now(), client.input);
    if (answer.kind == Answer::Kind::error) {
        ++counts_.badRequests;
        traceClient(answer.text);
    }
    client.watches = answer.kind == Answer::Kind::watch;
    say(client, (answer.kind == Answer::Kind::error ? "error\n" : "ok\n") + answer.text);
}

void ControlServer::write(int descriptor) {
    Client& client = clients_.at(descriptor);
    const ssize_t sent = send(descriptor, client.output.data(), client.output.size(), MSG_NOSIGNAL);
    if (sent < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (sent < 0) {
        drop(descriptor);
        return;
    }
    client.output.erase(0, static_cast<std::size_t>(sent));
    client.progress = loop_.now();
    if (client.output.empty() && !client.watches)
        drop(descriptor);
    else
        setEvents(client);
}

void ControlServer::changed(std::string const& line) {
    std::vector<int> full;
    for (auto& [descriptor, client] : clients_) {
        if (!client.watches)
            continue;
        if (client.output.size() + line.size() > watchLimit)
            full.push_back(descriptor);
        else
            say(client, line);
    }
    for (const int descriptor : full) {
        ++counts_.unreadingClients;
        traceClient("does not read");
        drop(descriptor);
    }
}

void ControlServer::say(Client& client, std::string const& text) {
    if (client.output.empty())
        client.progress = loop_.now();
    client.output += text;
    setEvents(client);
}

void ControlServer::setEvents(Client const& client) {
    const int descriptor = client.socket.number();
    const bool writes = !client.output.empty();
    const bool reads = !client.asked || client.watches;
    loop_.watch(descriptor, static_cast<short>((reads ? POLLIN : 0) | (writes ? POLLOUT : 0)),
                [this, descriptor, reads, writes] {
                    if (reads)
                        read(descriptor);
                    if (writes && clients_.contains(descriptor))
                        write(descriptor);
                });
}

void ControlServer::drop(int descriptor) {
    loop_.unwatch(descriptor);
    clients_.erase(descriptor);
}

/// Rings in a second, unless it is to ring before: clients that come one after the other do not
/// put it off.
void ControlServer::startClock() {
    if (!std::exchange(clockRuns_, true))
        loop_.timerIs(clock_, loop_.now() + std::chrono::seconds(1));
}

void ControlServer::lookAtClocks() {
    clockRuns_ = false;
    std::vector<int> late;
    for (auto const& [descriptor, client] : clients_)
        if ((!client.asked || !client.output.empty()) && loop_.now() - client.progress > patience)
            late.push_back(descriptor);
    for (const int descriptor : late) {
        const bool asked = clients_.at(descriptor).asked;
        ++(asked ? counts_.unreadingClients : counts_.silentClients);
        traceClient(asked ? "does not read" : "says nothing");
        drop(descriptor);
    }
    loop_.watch(socket_.descriptor(), POLLIN, [this] { accept(); });
    if (!clients_.empty())
        startClock();
}

} // namespace Agent
