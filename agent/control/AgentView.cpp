#include "agent/control/AgentView.h"

#include <array>
#include <cstdio>
#include <tuple>

namespace Agent {
namespace {

using IdOctets = std::array<Zel::U8, Stp::BridgeId::wireOctets>;

/// In the order in which bridge identifiers are compared, IEEE 802.1D-2004 9.2.5.
IdOctets octetsOf(Stp::BridgeId const& id) {
    IdOctets octets;
    id.encode(octets);
    return octets;
}

} // namespace

RootView rootView(Bridge const& bridge) {
    Settings const& own = bridge.settings();
    RootView best{own.bridgeId(), own.cost, nullptr};
    auto bestVector = std::tuple(octetsOf(best.root), Zel::U32{0}, octetsOf(own.bridgeId()),
                                 Zel::U32{0}); // what costs its own claim the rest of the net
    for (Port const& port : bridge.ports()) {
        const auto entry = heardCist(bridge, port);
        if (!entry)
            continue;
        const Stp::PortId id = entry->portId();
        const auto vector =
            std::tuple(octetsOf(entry->cistRootBridgeId()), entry->cistExtRootPathCost().value(),
                       octetsOf(entry->bridgeId()), Zel::U32{id.priority()} << 16 | id.number());
        if (vector < bestVector) {
            bestVector = vector;
            best = {entry->cistRootBridgeId(), entry->cistExtRootPathCost(), &port};
        }
    }
    return best;
}

Zel::Ptr<Varnol::IntxMstiInfo const> heardCist(Bridge const& bridge, Port const& port) {
    const auto record = bridge.heardRecord(port);
    return record ? record->mstiN(0) : nullptr;
}

std::optional<std::string_view> roleText(BpduKind kind, Stp::RstpBpduFlags flags) {
    if (kind == BpduKind::configuration) // IEEE 802.1D-2004 17.21.8: only such ports send them
        return "designated";
    switch (flags.portRole()) {
    case Stp::PortRole::unknown:
        return std::nullopt;
    case Stp::PortRole::alternateOrBackup:
        return "alternate";
    case Stp::PortRole::root:
        return "root";
    case Stp::PortRole::designated:
        return "designated";
    }
    return std::nullopt;
}

std::optional<std::string_view> stateText(BpduKind kind, Stp::RstpBpduFlags flags) {
    if (kind == BpduKind::configuration)
        return std::nullopt;
    return flags.forwarding() ? "forwarding" : flags.learning() ? "learning" : "discarding";
}

std::string secondsText(Time time) {
    char text[40];
    std::snprintf(text, sizeof(text), "%lld.%06lld", static_cast<long long>(time.count() / 1000000),
                  static_cast<long long>(time.count() % 1000000));
    return text;
}

} // namespace Agent
