// The agent's frames before a real bridge, and the bridge's before the agent, as an ordinary user:
// the ports are files.

#include "agent/io/CaptureFile.h"
#include "examples/bridge/BridgeRun.h"
#include "tests/agent/program/Program.h"

namespace Agent::Test {
namespace {

const std::string script = SOURCES "/examples/bridge/rstp-bridge";
const std::string recorder = SOURCES "/examples/bridge/record-bridge";

/// The frames that an agent with this priority sends.
std::vector<Examples::Frame> sentWith(std::string const& priority, std::string const& cost) {
    const Examples::TemporaryFolder folder;
    const auto all = folder.path() / "all.pcap";
    EXPECT_EQ(
        agent({"replay", rstp, "--pcap", all, "--priority", priority, "--cost", cost}).exitStatus,
        0);
    std::vector<Examples::Frame> sent;
    for (Examples::Frame const& frame : Examples::readCapture(all))
        if (frame.at(11) == 0x0a) // by the agent's address
            sent.push_back(frame);
    return sent;
}

TEST(DummyBridge, FollowsTheAgentAndTheAgentHearsSo) {
    const Examples::TemporaryFolder folder;
    const auto sent = sentWith("4096", "7");
    ASSERT_EQ(sent.size(), 10);
    const auto run = Examples::runBridge(script, folder.path(), {sent.data(), 1});
    EXPECT_TRUE(run.follows);
    EXPECT_EQ(run.status.text("root_id"), "100002000000000a");
    EXPECT_EQ(run.status.pathCost("root_path_cost"), 20007);

    const Result heard =
        agent({"replay", folder.path() / "answer.pcap", "--priority", "4096", "--cost", "7"});
    EXPECT_EQ(heard.exitStatus, 0);
    EXPECT_NE(heard.output.find(
                  "cistRootBridgeId: 32768.0.02:00:00:00:00:0b -> 4096.0.02:00:00:00:00:0a"),
              std::string::npos)
        << heard.output;
    EXPECT_NE(heard.output.find("  Root path cost  20007\n"), std::string::npos) << heard.output;
    EXPECT_NE(heard.output.find("Root            4096.0.02:00:00:00:00:0a, this bridge\n"),
              std::string::npos)
        << heard.output;
}

TEST(DummyBridge, DoesNotFollowAnAgentThatIsWorse) {
    const Examples::TemporaryFolder folder;
    const auto run = Examples::runBridge(script, folder.path(), sentWith("36864", "0"));
    EXPECT_FALSE(run.follows);
    const Result heard = agent({"replay", folder.path() / "answer.pcap", "--priority", "36864"});
    EXPECT_NE(heard.output.find("Root            32768.0.02:00:00:00:00:0b\n"), std::string::npos)
        << heard.output;
    EXPECT_NE(heard.output.find("Root port       capture (Ethernet1)\n"), std::string::npos);
}

TEST(DummyBridge, IsHeardWhicheverProtocolItSpeaksWhileItsClockRuns) {
    const Examples::TemporaryFolder folder;
    const std::string capture = folder.path() / "answer.pcap";
    for (auto const& [protocol, kind] :
         {std::pair("rstp", "rst BPDU"), std::pair("stp", "configuration BPDU")}) {
        const Result recorded = run({recorder, protocol, capture, "0:"});
        ASSERT_EQ(recorded.exitStatus, 0) << recorded.errors;
        const Result heard = agent({"replay", capture});
        EXPECT_NE(heard.output.find(std::string(kind) +
                                    " from bridge 32768.0.02:00:00:00:00:0b port 128.1 root "
                                    "32768.0.02:00:00:00:00:0b cost 0"),
                  std::string::npos)
            << heard.output;
    }
}

TEST(DummyBridge, IsRecordedOnlyWhenItsScriptIsUsedRightly) {
    EXPECT_EQ(run({recorder}).exitStatus, 2);
    EXPECT_EQ(run({recorder, "rstp"}).exitStatus, 2);
    EXPECT_EQ(run({recorder, "mstp", "/nowhere/answer"}).exitStatus, 2);
    EXPECT_EQ(run({recorder, "rstp", "/nowhere/answer"}).exitStatus, 1);
}

} // namespace
} // namespace Agent::Test
