#pragma once

#include <array>
#include <vector>

/// What the tests of reactors on the entries of a record share.

/// The instances for which a tree has a reactor, in their order.
template <class Tree> std::vector<unsigned> reactorsOf(Tree& tree) {
    std::vector<unsigned> keys;
    for (auto const& reactor : tree.children())
        keys.push_back(reactor->mstiId().value());
    return keys;
}

template <class Reactor> using Handler = void (Reactor::*)();

/// The handlers of an entry's attributes, in the order of entryAttributes.
template <class Reactor>
constexpr std::array<Handler<Reactor>, 13> entryHandlers{
    &Reactor::zel_handleMstiN_flags,
    &Reactor::zel_handleMstiN_bridgeId,
    &Reactor::zel_handleMstiN_portId,
    &Reactor::zel_handleMstiN_cistRootBridgeId,
    &Reactor::zel_handleMstiN_cistExtRootPathCost,
    &Reactor::zel_handleMstiN_cistRegionalRootBridgeId,
    &Reactor::zel_handleMstiN_intRootPathCost,
    &Reactor::zel_handleMstiN_regionalRootBridgeId,
    &Reactor::zel_handleMstiN_remainingHops,
    &Reactor::zel_handleMstiN_messageAge,
    &Reactor::zel_handleMstiN_maxAge,
    &Reactor::zel_handleMstiN_helloTime,
    &Reactor::zel_handleMstiN_fwdDelay};
