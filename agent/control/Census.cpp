#include "agent/control/Census.h"

#include "framework/zel/TypeNode.h"
#include "platform/kolvu/Pkt.h"

namespace Agent {

Census census() noexcept {
    Census census;
    for (Zel::TypeNode const* type = Zel::lastTypeNode(); type; type = type->previous())
        census.liveObjects += type->allocations().liveCount();
    census.packets = Kolvu::globalPktManager().inUse();
    return census;
}

} // namespace Agent
