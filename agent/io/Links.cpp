#include "agent/io/Links.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace Agent {

std::optional<Link> findLink(std::string const& interface) {
    ifreq request{};
    if (interface.empty() || interface.size() >= sizeof(request.ifr_name))
        return std::nullopt;
    // Kept open: a process without more files is not to take its links for gone.
    static Descriptor socket;
    if (!socket)
        socket = Descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const auto ask = [&](unsigned long what) {
        request = {};
        std::ranges::copy(interface, request.ifr_name);
        return ioctl(socket.number(), what, &request) == 0;
    };
    Link link{};
    if (!ask(SIOCGIFINDEX))
        return std::nullopt;
    link.index = static_cast<unsigned>(request.ifr_ifindex);
    if (!ask(SIOCGIFHWADDR) || request.ifr_hwaddr.sa_family != ARPHRD_ETHER)
        return std::nullopt;
    std::array<Zel::U8, Kolvu::EthAddr::wireOctets> octets;
    std::memcpy(octets.data(), request.ifr_hwaddr.sa_data, octets.size());
    link.address = Kolvu::EthAddr::decode(octets);
    if (!ask(SIOCGIFFLAGS))
        return std::nullopt;
    link.up = (request.ifr_flags & IFF_UP) != 0 && (request.ifr_flags & IFF_RUNNING) != 0;
    return link;
}

LinkMonitor::LinkMonitor()
    : socket_(socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, NETLINK_ROUTE)) {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_LINK;
    if (!socket_ ||
        bind(socket_.number(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot follow the interfaces");
}

void LinkMonitor::drain() noexcept {
    char message[8192];
    // An overrun (ENOBUFS) is a message too; there are more only while something happens.
    for (int i = 0; i < 64; ++i)
        if (recv(socket_.number(), message, sizeof(message), 0) < 0 && errno != ENOBUFS)
            return;
}

} // namespace Agent
