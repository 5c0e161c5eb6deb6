#include "agent/io/Replay.h"

#include <algorithm>

namespace Agent {

Time replay(CaptureReader::Frame const& first, CaptureReader& rest, Bridge& bridge,
            Kolvu::IntfId port, CaptureWriter* heard) {
    constexpr Time longSilence = std::chrono::minutes(1);
    Time now{};
    Time nextHello{};
    for (std::optional frame = first; frame; frame = rest.next()) {
        const Time at = std::max(now, frame->at - first.at);
        if (at - now > longSilence)
            nextHello = at;
        for (;;) {
            const auto expiry = bridge.nextExpiry();
            if (expiry && *expiry <= std::min(at, nextHello)) {
                bridge.expire(*expiry);
            } else if (nextHello <= at) {
                bridge.hello(nextHello);
                nextHello += std::chrono::seconds(bridge.settings().hello);
            } else {
                break;
            }
        }
        now = at;
        if (heard)
            heard->write(now, frame->octets);
        bridge.receive(port, frame->octets, now);
    }
    if (const auto expiry = bridge.nextExpiry(); expiry && *expiry <= now)
        bridge.expire(now);
    return now;
}

} // namespace Agent
