#include "agent/control/ControlClient.h"

#include "agent/control/ControlSocket.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace Agent {

void request(std::string const& path, std::string const& request, std::ostream& out) {
    const sockaddr_un address = socketAddress(path);
    const auto fail = [&](const char* what) {
        throw std::runtime_error(std::string(what) + " " + path + ": " + std::strerror(errno));
    };
    const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connect(socket.number(), reinterpret_cast<sockaddr const*>(&address), sizeof(address)) != 0)
        fail("no agent at");
    // An agent that turns clients away may have closed already: what it said is there to be read.
    const std::string line = request + "\n";
    const bool sent = send(socket.number(), line.data(), line.size(), MSG_NOSIGNAL) ==
                      static_cast<ssize_t>(line.size());
    std::string head; // up to the end of the first line, and of an error the rest
    for (;;) {
        char octets[65536];
        const ssize_t got = recv(socket.number(), octets, sizeof(octets), 0);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0 || (got == 0 && head.empty() && !sent))
            fail("no answer from");
        if (got == 0)
            break;
        head.append(octets, static_cast<std::size_t>(got));
        if (!head.starts_with("ok\n"))
            continue;
        if (!(out << head.substr(3)).flush())
            throw std::runtime_error("cannot write to standard output");
        head.resize(3);
    }
    if (head.starts_with("error\n"))
        throw std::runtime_error(head.substr(6, head.find_last_not_of('\n') - 5));
    if (head != "ok\n")
        throw std::runtime_error("no whole answer from " + path);
}

} // namespace Agent
