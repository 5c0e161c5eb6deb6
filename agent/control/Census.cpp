#include "agent/control/Census.h"

#include "framework/zel/Census.h"
#include "platform/kolvu/Pkt.h"

namespace Agent {

Census census() {
    const Zel::Census counted = Zel::census();
    return {.liveObjects = counted.live(),
            .packets = Kolvu::globalPktManager().inUse(),
            .writes = counted.writes(),
            .notifications = counted.notificationsDelivered};
}

} // namespace Agent
