#include "agent/control/JsonView.h"
#include "agent/control/TextView.h"

#include "examples/bridge/TemporaryFolder.h"
#include "tests/agent/Golden.h"
#include "tests/agent/trees/Rig.h"
#include "tests/bpdu/Programs.h"

#include <fstream>

namespace Agent::Test {
namespace {

/// A rig in which every column has something to show, at 10 s.
struct ShownRig : Rig {
    Port& eth2 = bridge.portIs("eth2");
    Port& long3 = bridge.portIs("a-long-name.100");
    Port& eth4 = bridge.portIs("eth4");
    AgentView view{bridge, 10s, {}};

    ShownRig() {
        bridge.portUp(long3, {0x02, 0, 0, 0, 1, 4}, 1s);
        bridge.portUp(eth4, {0x02, 0, 0, 0, 1, 5}, 1s);
        bridge.hello(2s);
        hear(eth0, frameOf({}), 8s);
        hear(eth0, frameOf({.flags = 0x7a, .cost = 4294967295}), 9s + 1us);
        hear(eth0, Frames::Octets(5), 9s);
        hear(eth1, Frames::frame(Frames::configuration), 9s);
        hear(eth4, Frames::frame(Frames::mstWith(2)), 9s);
        view.control.requests = 3;
        view.census = {71, 2};
    }
};

TEST(TextView, ShowsTheBridgeAndItsPortsByNumber) {
    const ShownRig rig;
    expectGolden(showText(rig.view, nullptr, false), "show.txt");
}

TEST(TextView, ShowsAllThatIsKnownOfEachPort) {
    const ShownRig rig;
    expectGolden(showText(rig.view, nullptr, true), "show-detail.txt");
}

TEST(TextView, ShowsOnePortAlone) {
    const ShownRig rig;
    const std::string all = showText(rig.view, nullptr, false);
    const std::string one = showText(rig.view, &rig.eth1, false);
    EXPECT_NE(one.find("\neth1 "), std::string::npos);
    EXPECT_EQ(one.find("eth2"), std::string::npos);
    EXPECT_EQ(showText(rig.view, &rig.eth1, true).find("Control:"), std::string::npos);
}

TEST(TextView, ShowsWhatIsNotKnownAsADashAndNeverAsZero) {
    Rig rig;
    rig.bridge.portDown(rig.eth1, 1s);
    const std::string shown = showText({rig.bridge, 2s, {}}, nullptr, false);
    EXPECT_NE(shown.find("\nRoot port       -\n"), std::string::npos) << shown;
    EXPECT_NE(shown.find("eth0       -     -         -     -         0     0 "), std::string::npos)
        << shown;
    EXPECT_NE(shown.find("eth1       -     disabled  -     -         0     0 "), std::string::npos)
        << shown;
}

TEST(TextView, ShowsTheTrees) {
    const ShownRig rig;
    expectGolden(treesText(rig.view), "trees.txt");
}

TEST(TextView, ShowsWhatAPortHeardAndSays) {
    const ShownRig rig;
    expectGolden(bpduText(rig.view, rig.eth0), "bpdu.txt");
    const std::string nothing = bpduText(rig.view, rig.eth2);
    EXPECT_EQ(nothing, "HEARD\n  -\n\nSAID\n  -\n");
}

TEST(RootView, IsTheBestOfWhatIsSaidAndHeard) {
    Rig rig;
    EXPECT_EQ(rootView(rig.bridge).port, nullptr);
    rig.hear(rig.eth0, frameOf({.rootPriority = 0x9000}), 1s);
    EXPECT_EQ(rootView(rig.bridge).port, nullptr) << "a worse root";
    rig.hear(rig.eth0, frameOf({.cost = 10}), 1s);
    EXPECT_EQ(rootView(rig.bridge).port, &rig.eth0);
    rig.hear(rig.eth1, frameOf({.cost = 11}), 1s);
    EXPECT_EQ(rootView(rig.bridge).port, &rig.eth0) << "a longer way";
    rig.hear(rig.eth1, frameOf({.cost = 9}), 1s);
    EXPECT_EQ(rootView(rig.bridge).port, &rig.eth1);
    EXPECT_EQ(rootView(rig.bridge).cost, 9);
    rig.hear(rig.eth0, frameOf({.cost = 9, .sender = 0x0b}), 1s);
    EXPECT_EQ(rootView(rig.bridge).port, &rig.eth0) << "the better bridge says so";
    rig.hear(rig.eth1, frameOf({.cost = 9, .sender = 0x0b}), 1s);
    EXPECT_EQ(rootView(rig.bridge).port, &rig.eth0) << "heard first";
    rig.hear(rig.eth0, frameOf({.rootPriority = 0, .cost = 4000000000}), 1s);
    EXPECT_EQ(rootView(rig.bridge).root.priority(), 0) << "the root before the cost";
}

/// A rig whose mirror of what is to be said somebody else has written into.
struct MeddledRig : Rig {
    AgentView view{bridge, 10s, {}};

    MeddledRig() {
        bridge.hello(8s);
        const_cast<Varnol::TxStatus&>(bridge.sending()).heartbeatTimeoutIs(7);
    }
};

TEST(TextView, ShowsThatTheMirrorsAreInStepWhatTheyWroteAndWhen) {
    Rig rig;
    rig.bridge.hello(8s);
    const std::string shown = mirrorText({rig.bridge, 10s, {}});
    EXPECT_TRUE(shown.starts_with("Mirror                 In step  Differences  Writes  "))
        << shown;
    EXPECT_NE(shown.find("\nconfigured -> sending  yes      0            "), std::string::npos)
        << shown;
    EXPECT_NE(shown.find("\nconfigured -> dynamic  yes      0            "), std::string::npos)
        << shown;
    EXPECT_NE(shown.find("\nsource -> dynamic      yes      0            "), std::string::npos)
        << shown;
    EXPECT_NE(shown.find("  2.000000 s ago\n"), std::string::npos) << shown;
    EXPECT_EQ(std::ranges::count(shown, '\n'), 4) << shown;
}

TEST(TextView, ShowsWhereAMirrorIsNotInStep) {
    const MeddledRig rig;
    const std::string shown = mirrorText(rig.view);
    EXPECT_NE(shown.find("\nconfigured -> sending  NO       1            "), std::string::npos)
        << shown;
    EXPECT_TRUE(shown.ends_with("\nconfigured -> sending\nheartbeatTimeout: 0 != 7\n")) << shown;
}

class JsonViewTest : public testing::Test {
  protected:
    void SetUp() override {
        const auto library = Programs::outputOf("/usr/bin/python3 -c 'import jsonschema' 2>&1");
        ASSERT_EQ(library.status, 0) << "python3-jsonschema is needed: " << library.text;
    }
    /// What is wrong with a text by a schema; empty when nothing is.
    std::string wrongWith(std::string const& text, std::string const& schema) {
        const auto file = folder_.path() / "instance.json";
        std::ofstream(file) << text;
        const auto output = Programs::outputOf(
            "/usr/bin/python3 -c 'import json, sys, jsonschema\n"
            "schema = json.load(open(sys.argv[1]))\n"
            "jsonschema.Draft7Validator.check_schema(schema)\n"
            "for e in "
            "jsonschema.Draft7Validator(schema).iter_errors(json.load(open(sys.argv[2]))):\n"
            "    print(list(e.absolute_path), e.message)' " SOURCES "/agent/schema/" +
            schema + " " + file.string() + " 2>&1");
        return output.text;
    }
    Examples::TemporaryFolder folder_;
};

TEST_F(JsonViewTest, FollowsItsSchemas) {
    const ShownRig rig;
    EXPECT_EQ(wrongWith(showJson(rig.view, nullptr), "show.json"), "");
    EXPECT_EQ(wrongWith(showJson(rig.view, &rig.eth2), "show.json"), "");
    EXPECT_EQ(wrongWith(treesJson(rig.view), "trees.json"), "");
    EXPECT_EQ(wrongWith(tracesJson(tracesView()), "traces.json"), "");
    EXPECT_EQ(wrongWith(mirrorJson(rig.view), "mirror.json"), "");
    const MeddledRig meddled;
    EXPECT_EQ(wrongWith(mirrorJson(meddled.view), "mirror.json"), "");
    EXPECT_EQ(wrongWith(tracesJson({{{"StpAgent", 0x3ff}}, {{"Stp*", false, 1, 0x3fe}}, 7}),
                        "traces.json"),
              "");
    for (Port const& port : rig.bridge.ports())
        EXPECT_EQ(wrongWith(bpduJson(rig.view, port), "bpdu.json"), "") << port.name;
}

TEST_F(JsonViewTest, ItsSchemasRefuseWhatIsNotSo) {
    const ShownRig rig;
    const auto without = [](std::string text, std::string const& what, std::string const& with) {
        const std::size_t at = text.find(what);
        EXPECT_NE(at, std::string::npos) << what;
        return text.replace(at, what.size(), with);
    };
    const std::string show = showJson(rig.view, nullptr);
    EXPECT_NE(wrongWith(without(show, "\"sent\": 1", "\"sent\": \"1\""), "show.json"), "");
    EXPECT_NE(wrongWith(without(show, "\"root_port\": ", "\"rootPort\": "), "show.json"), "");
    EXPECT_NE(
        wrongWith(without(show, "\"live_objects\": 71", "\"live_objects\": null"), "show.json"),
        "");
    EXPECT_NE(wrongWith(without(show, "\"forwarding\"", "\"FWD\""), "show.json"), "");
    const MeddledRig meddled;
    const std::string mirror = mirrorJson(meddled.view);
    EXPECT_NE(wrongWith(without(mirror, "\"in_step\": false", "\"in_step\": 0"), "mirror.json"),
              "");
    EXPECT_NE(
        wrongWith(without(mirror, "\"destination\": \"7\"", "\"destination\": 7"), "mirror.json"),
        "");
    const std::string traces = tracesJson({{{"StpAgent", 0x200}}, {}, 7});
    EXPECT_NE(wrongWith(without(traces, "9", "10"), "traces.json"), "");
    EXPECT_NE(wrongWith(without(traces, "7", "-1"), "traces.json"), "");
    EXPECT_NE(wrongWith(without(traces, "\"lost\"", "\"Lost\""), "traces.json"), "");
    EXPECT_NE(wrongWith("[]", "trees.json"), "");
    EXPECT_NE(wrongWith("[{}]", "bpdu.json"), "");
}

TEST_F(JsonViewTest, FollowsItsSchemasWhateverNeighborsSay) {
    std::mt19937 engine(3);
    Rig rig;
    for (int i = 0; i < 300; ++i)
        rig.hear(rig.eth0, Frames::changed(engine), std::chrono::seconds(i));
    Frames::Octets bpdu = Frames::mstWith(1);
    std::fill_n(bpdu.begin() + 39, 32, Zel::U8{0xff}); // a name that is no UTF-8
    rig.hear(rig.eth0, Frames::frame(bpdu), 400s);
    ASSERT_TRUE(rig.eth0.heard);
    const AgentView view{rig.bridge, 400s, {}};
    EXPECT_EQ(wrongWith(showJson(view, nullptr), "show.json"), "");
    EXPECT_EQ(wrongWith(treesJson(view), "trees.json"), "");
    EXPECT_EQ(wrongWith(bpduJson(view, rig.eth0), "bpdu.json"), "");
}

TEST(JsonView, HasNullForWhatIsNotKnown) {
    const ShownRig rig;
    const std::string shown = showJson(rig.view, &rig.eth2);
    for (const char* field :
         {"address", "role", "cost", "port_id", "last_change_seconds_ago", "heard"})
        EXPECT_NE(shown.find("\"" + std::string(field) + "\": null"), std::string::npos) << field;
    EXPECT_NE(shown.find("\"state\": \"disabled\""), std::string::npos);
}

} // namespace
} // namespace Agent::Test
