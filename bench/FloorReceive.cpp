#include "bench/FloorReceive.h"

namespace Bench::Floor {

ReceiveMirror::ReceiveMirror(ReceivePort& from, std::string mstName, Kolvu::IntfId port,
                             ReceiveTree& tree)
    : from_(from)
    , mstName_(std::move(mstName))
    , port_(port)
    , tree_(tree) {
    from_.observer = this;
}

ReceiveMirror::~ReceiveMirror() { from_.observer = nullptr; }

ReceivePort* ReceiveMirror::dest() const {
    const auto mst = tree_.msts.find(mstName_);
    if (mst == tree_.msts.end())
        return nullptr;
    const auto port = mst->second.ports.find(port_);
    return port == mst->second.ports.end() ? nullptr : &port->second;
}

void ReceiveMirror::rxUpdateChanged(U16 vlan) {
    ReceivePort* const to = dest();
    if (!to)
        return;
    const auto count = from_.rxUpdate.find(vlan);
    const auto record = from_.rxInfo.find(vlan);
    if (count != from_.rxUpdate.end() && count->second != 0 && record != from_.rxInfo.end()) {
        copy(record->second, to->rxInfo[vlan]);
        ++to->rxUpdate[vlan];
    } else {
        to->rxInfo.erase(vlan);
        to->rxUpdate.erase(vlan);
    }
}

} // namespace Bench::Floor
