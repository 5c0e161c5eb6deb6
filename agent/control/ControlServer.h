#pragma once

#include "agent/control/AgentView.h"
#include "agent/control/ControlSocket.h"
#include "agent/io/EventLoop.h"

#include <map>
#include <string>

namespace Agent {

/// Answers the clients of the control socket: each sends one line, a request (see Requests.h), and
/// is sent the line "ok" or "error" and the text of the answer; then the connection ends, unless
/// the request was "watch". No client can hold up the agent, or take more than its share of memory.
class ControlServer {
  public:
    static constexpr std::size_t clientLimit = 16;
    static constexpr std::size_t requestLimit = 512; ///< octets
    /// Octets that wait for a client that watches, at most.
    static constexpr std::size_t watchLimit = 1 << 18;
    /// How long a client may take to send its request, or to take what waits for it.
    static constexpr Time patience = std::chrono::seconds(10);

    /// Throws as ControlSocket.
    ControlServer(EventLoop& loop, std::string const& path, Bridge& bridge);
    ~ControlServer();
    ControlServer(ControlServer const&) = delete;
    ControlServer& operator=(ControlServer const&) = delete;

    /// Sends a line to the clients that watch.
    void changed(std::string const& line);

    ControlCounts const& counts() const noexcept { return counts_; }

  private:
    struct Client {
        Descriptor socket;
        std::string input;
        std::string output;
        bool asked = false;
        bool watches = false;
        Time progress{}; ///< when it last did what it was waited for
    };

    void accept();
    void read(int descriptor);
    void write(int descriptor);
    void answerTo(Client& client);
    void say(Client& client, std::string const& text);
    void setEvents(Client const& client);
    void drop(int descriptor);
    void startClock();
    void lookAtClocks();

    EventLoop& loop_;
    Bridge& bridge_;
    ControlSocket socket_;
    ControlCounts counts_;
    std::map<int, Client> clients_;
    EventLoop::Timer clock_;
    bool clockRuns_ = false;
};

} // namespace Agent
