#pragma once

#include "agent/io/Descriptor.h"
#include "platform/kolvu/EthAddr.h"

#include <functional>
#include <optional>
#include <string>

namespace Agent {

/// An Ethernet interface of the system.
struct Link {
    unsigned index; ///< another one when an interface of the same name has replaced the former
    bool up;        ///< set up, and connected
    Kolvu::EthAddr address;
};

/// None when there is no Ethernet interface of that name.
using FindLink = std::function<std::optional<Link>(std::string const& interface)>;
std::optional<Link> findLink(std::string const& interface);

/// Tells that some interface has changed: a netlink socket of RTNLGRP_LINK. It says when to look;
/// what there is then says findLink(), so that a lost message loses nothing.
class LinkMonitor {
  public:
    /// Throws std::system_error.
    LinkMonitor();

    /// Readable when something has changed since the last drain().
    int descriptor() const noexcept { return socket_.number(); }
    void drain() noexcept;

  private:
    Descriptor socket_;
};

} // namespace Agent
