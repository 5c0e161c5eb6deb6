#include "agent/trees/Mirrors.h"

#include "syncers/IntxInfoSyncer.h"
#include "syncers/MirrorDiff.h"
#include "tests/agent/trees/Rig.h"

namespace Agent::Test {
namespace {

TEST(Mirrors, NoteWhenTheSyncersHaveWrittenAndHowOften) {
    const Varnol::IntxInfo::Ptr source(new Varnol::IntxInfo(10));
    const Varnol::IntxInfo::Ptr dest(new Varnol::IntxInfo(10));
    const auto syncer = Varnol::intxInfoSyncerFactory(source, dest, 10, "test");
    Mirrors mirrors;
    mirrors.add("a record", {"Varnol::IntxInfoSyncer"},
                [&] { return Varnol::mirrorDiff(*syncer); });
    mirrors.add("another", {"Varnol::IntxInfo"}, [] { return Zel::Differences(); });
    const Zel::U64 before = mirrors.states().at(0).writes;
    EXPECT_EQ(mirrors.states().at(0).lastChange, std::nullopt);

    mirrors.notice(1s);
    EXPECT_EQ(mirrors.states().at(0).lastChange, std::nullopt) << "nothing was written";
    source->configRevisionLevelIs(3);
    source->mstiNIs(0)->flagsIs(1);
    mirrors.notice(2s);
    mirrors.notice(3s);
    const auto states = mirrors.states();
    EXPECT_EQ(states.at(0).name, "a record");
    EXPECT_EQ(states.at(0).lastChange, Time(2s));
    // The level, the entry, all its fields when its reactor came, and its flags.
    EXPECT_EQ(states.at(0).writes, before + 4);
    EXPECT_TRUE(states.at(0).differences.empty());
    EXPECT_EQ(states.at(1).writes, 0) << "IntxInfo is not the outer class of IntxInfoSyncer";
    EXPECT_EQ(states.at(1).lastChange, std::nullopt);

    dest->configRevisionLevelIs(4);
    EXPECT_EQ(mirrors.states().at(0).differences,
              (Zel::Differences{{"configRevisionLevel", "3", "4"}}));
}

TEST(Mirrors, OfABridgeAreInStepWhateverHappens) {
    Rig rig;
    const auto expectInStep = [&](const char* when) {
        for (MirrorState const& mirror : rig.bridge.mirrors().states())
            EXPECT_EQ(Zel::differencesText(mirror.differences), "") << mirror.name << ", " << when;
    };
    ASSERT_EQ(rig.bridge.mirrors().states().size(), 3);
    expectInStep("begun");
    rig.bridge.hello(1s);
    rig.hear(rig.eth0, frameOf({}), 1s);
    expectInStep("heard");
    rig.hear(rig.eth0, frameOf({.cost = 7}), 2s);
    rig.hear(rig.eth1, frameOf({.hello = 1}), 2s);
    expectInStep("changed");
    Settings settings = rig.bridge.settings();
    settings.priority = 4096;
    rig.bridge.settingsIs(settings, 3s);
    expectInStep("set");
    rig.bridge.expire(1000s);
    expectInStep("aged out");
    rig.bridge.portDown(rig.eth0, 1001s);
    expectInStep("down");
    rig.bridge.portUp(rig.eth0, portAddress, 1002s);
    expectInStep("up again");
    for (MirrorState const& mirror : rig.bridge.mirrors().states())
        EXPECT_EQ(mirror.lastChange, Time(1002s)) << mirror.name;
}

} // namespace
} // namespace Agent::Test
