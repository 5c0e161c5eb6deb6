#pragma once

#include "agent/io/Descriptor.h"

#include <string>

#include <sys/un.h>

namespace Agent {

/// The address of a local socket. Throws std::runtime_error when the path is empty or too long.
sockaddr_un socketAddress(std::string const& path);

/// The place of an agent in the file system: a listening local socket that its user alone can use
/// (mode 0600), and a lock beside it that makes its owner the only one. Both files go with it.
class ControlSocket {
  public:
    /// Replaces the socket of an agent that is gone.
    /// Throws std::runtime_error when another agent has the path, when something that is no socket
    /// stands there, or when the files cannot be made.
    explicit ControlSocket(std::string const& path);
    ~ControlSocket();
    ControlSocket(ControlSocket const&) = delete;
    ControlSocket& operator=(ControlSocket const&) = delete;

    int descriptor() const noexcept { return socket_.number(); }

  private:
    std::string path_;
    Descriptor lock_;
    Descriptor socket_;
};

} // namespace Agent
