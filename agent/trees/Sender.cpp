#include "agent/trees/Sender.h"

#include "bpdu/VarnolUtils.h"

#include <utility>

namespace Agent {

constinit Zel::TypeNode const Sender::_zelType{"Agent::Sender", {}};

namespace {

[[maybe_unused]] const bool registered = Zel::typeNodeIs(Sender::_zelType);

Stp::MstPortSm::Ptr machineOf(Kolvu::EthAddr const& address) {
    const auto port = Zel::newActive<Stp::Port>();
    port->ethAddrIs(address);
    return Zel::newActive<Stp::MstPortSm>(port);
}

} // namespace

Sender::Sender(Varnol::TxMstPortStatus::Ptr const& port, Kolvu::EthAddr const& address,
               Output output)
    : port_(port)
    , machine_(machineOf(address))
    , output_(std::move(output))
    , updates_(port->txUpdate(0)) {}

void Sender::onAttribute(Zel::AttributeId id, void const* key) {
    const Bridging::VlanIdOrNone noVlan = 0;
    if (id != Varnol::TxMstPortStatus::txUpdateAttribute::id ||
        *static_cast<Bridging::VlanIdOrNone const*>(key) != noVlan)
        return;
    // A mirror may write the same count again.
    const unsigned updates = port_->txUpdate(noVlan);
    if (std::exchange(updates_, updates) != updates && updates != 0)
        output_(Varnol::generatePktFromIntxInfo(machine_, port_->txInfo(noVlan), false));
}

} // namespace Agent
