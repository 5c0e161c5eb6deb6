#include "agent/control/ControlSocket.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace Agent {
namespace {

[[noreturn]] void fail(std::string const& path, std::string const& reason) {
    throw std::runtime_error("control socket " + path + ": " + reason);
}

std::string lockPath(std::string const& path) { return path + ".lock"; }

Descriptor lockIs(std::string const& path) {
    for (;;) {
        Descriptor lock(
            open(lockPath(path).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (!lock)
            fail(path, std::string("cannot make its lock: ") + std::strerror(errno));
        if (flock(lock.number(), LOCK_EX | LOCK_NB) != 0)
            fail(path,
                 errno == EWOULDBLOCK ? "another agent is running there" : std::strerror(errno));
        struct stat status {};
        if (fstat(lock.number(), &status) == 0 && status.st_nlink > 0)
            return lock;
        // It was an agent's that ended in between.
    }
}

} // namespace

sockaddr_un socketAddress(std::string const& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(address.sun_path))
        fail(path, "the path is to have 1 to " + std::to_string(sizeof(address.sun_path) - 1) +
                       " octets");
    std::ranges::copy(path, address.sun_path);
    return address;
}

ControlSocket::ControlSocket(std::string const& path)
    : path_(path) {
    const sockaddr_un address = socketAddress(path);
    lock_ = lockIs(path);
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0) {
        if (!S_ISSOCK(status.st_mode)) {
            unlink(lockPath(path).c_str());
            fail(path, "something that is no socket stands there");
        }
        unlink(path.c_str()); // nobody's: its owner would have the lock
    }
    socket_ = Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const mode_t mask = umask(0177);
    const int bound =
        bind(socket_.number(), reinterpret_cast<sockaddr const*>(&address), sizeof(address));
    const int error = errno;
    umask(mask);
    if (bound != 0 || listen(socket_.number(), SOMAXCONN) != 0) {
        unlink(lockPath(path).c_str());
        fail(path, std::strerror(bound != 0 ? error : errno));
    }
}

ControlSocket::~ControlSocket() {
    unlink(path_.c_str());
    unlink(lockPath(path_).c_str());
}

} // namespace Agent
