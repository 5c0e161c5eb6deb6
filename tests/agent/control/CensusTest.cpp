#include "agent/control/Census.h"

#include "platform/kolvu/Pkt.h"
#include "tests/agent/trees/Rig.h"

namespace Agent::Test {
namespace {

TEST(Census, CountsObjectsOfEveryClass) {
    const Census before = census();
    {
        const auto record = Zel::newActive<Varnol::IntxInfo>(Bridging::VlanIdOrNone{0});
        EXPECT_EQ(census().liveObjects, before.liveObjects + 1);
        record->mstiNIs(1);
        record->mstiNIs(2);
        EXPECT_EQ(census().liveObjects, before.liveObjects + 3);
        const auto tree = Zel::newActive<Varnol::TxStatus>();
        EXPECT_EQ(census().liveObjects, before.liveObjects + 4);
    }
    EXPECT_EQ(census().liveObjects, before.liveObjects);
}

TEST(Census, CountsThePacketsInUseAndThemAmongTheObjects) {
    const Census before = census();
    {
        const auto packet = Kolvu::globalPktManager().newPkt();
        EXPECT_EQ(census().packets, before.packets + 1);
        EXPECT_EQ(census().liveObjects, before.liveObjects + 1);
    }
    EXPECT_EQ(census().packets, before.packets);
}

TEST(Census, CountsTheAgentsOwnReactors) {
    Rig rig;
    const auto sent = Sender::_zelType.allocations().liveCount();
    const Census before = census();
    rig.eth0.sender = nullptr;
    EXPECT_EQ(Sender::_zelType.allocations().liveCount(), sent - 1);
    EXPECT_EQ(census().liveObjects, before.liveObjects - 3) << "with its port and machine";
}

TEST(Census, OfABridgeInTheSameStateIsTheSame) {
    const Census empty = census();
    {
        Rig rig;
        const auto settle = [&](Time now) {
            rig.bridge.portUp(rig.eth0, portAddress, now);
            rig.hear(rig.eth0, frameOf({}), now);
            rig.hear(rig.eth1, Frames::frame(Frames::mstWith(3)), now);
            rig.bridge.hello(now);
            return census();
        };
        const Census first = settle(1s);
        EXPECT_GT(first.liveObjects, empty.liveObjects);
        EXPECT_EQ(first.packets, 0);
        std::mt19937 engine(4);
        for (int i = 2; i < 500; ++i) {
            const auto now = std::chrono::seconds(i);
            rig.hear(rig.eth0, Frames::changed(engine), now);
            rig.hear(rig.eth1, Frames::changed(engine), now);
            rig.bridge.expire(now);
            if (i % 7 == 0)
                rig.bridge.portDown(rig.eth0, now);
            if (i % 5 == 0)
                rig.bridge.portUp(rig.eth0, portAddress, now);
            rig.bridge.hello(now);
        }
        const Census last = settle(500s);
        EXPECT_EQ(last.liveObjects, first.liveObjects);
        EXPECT_EQ(last.packets, 0);
    }
    EXPECT_EQ(census().liveObjects, empty.liveObjects);
}

} // namespace
} // namespace Agent::Test
