#pragma once

#include "agent/control/ControlServer.h"
#include "examples/bridge/TemporaryFolder.h"
#include "tests/agent/trees/Rig.h"

#include <sys/socket.h>

#include <cerrno>

namespace Agent::Test {

/// A client that says and reads what a test wants it to; never blocks.
class RawClient {
  public:
    explicit RawClient(std::string const& path)
        : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
        const sockaddr_un address = socketAddress(path);
        connected_ = connect(socket_.number(), reinterpret_cast<sockaddr const*>(&address),
                             sizeof(address)) == 0;
    }
    bool connected() const { return connected_; }
    /// @return how much the agent's system took
    std::size_t say(std::string_view text) {
        const ssize_t said = send(socket_.number(), text.data(), text.size(), MSG_NOSIGNAL);
        return said < 0 ? 0 : static_cast<std::size_t>(said);
    }
    void sayNoMore() { shutdown(socket_.number(), SHUT_WR); }
    void goAway() { socket_ = Descriptor(); }

    /// Reads what is there.
    void read() {
        char octets[4096];
        for (;;) {
            const ssize_t got = recv(socket_.number(), octets, sizeof(octets), 0);
            if (got <= 0) {
                ended_ = ended_ || got == 0 || (errno != EAGAIN && errno != EINTR);
                return;
            }
            heard_.append(octets, static_cast<std::size_t>(got));
        }
    }
    std::string const& heard() const { return heard_; }
    /// Whether the agent has ended the connection.
    bool ended() const { return ended_; }

  private:
    Descriptor socket_;
    bool connected_ = false;
    std::string heard_;
    bool ended_ = false;
};

/// A server for a rig's bridge.
class ServerTest : public testing::Test {
  protected:
    /// Has the loop turn until the condition holds, for a minute at most.
    template <class Condition> void await(Condition const& condition) {
        const Time end = loop.now() + 60s;
        while (!condition()) {
            ASSERT_LT(loop.now(), end);
            loop.turn(loop.now() + 10ms);
        }
    }
    void turns(int count) {
        for (int i = 0; i < count; ++i)
            loop.turn(loop.now());
    }
    /// All that the agent answers to a client that says this.
    std::string answerTo(std::string_view said) {
        RawClient client(path);
        client.say(said);
        await([&] {
            client.read();
            return client.ended();
        });
        return client.heard();
    }

    Rig rig;
    Examples::TemporaryFolder folder;
    std::string path = folder.path() / "socket";
    EventLoop loop;
    ControlServer server{loop, path, rig.bridge};
};

} // namespace Agent::Test
