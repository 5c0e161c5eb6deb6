// The agent on interfaces: pairs of virtual ones in a network namespace of the test's own, against
// another agent and Open vSwitch. Takes root with namespaces, and is skipped without.

#include "agent/io/CaptureFile.h"
#include "tests/agent/bpdu/ReadAlike.h"
#include "tests/agent/program/Program.h"
#include "tests/bpdu/Programs.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include <unistd.h>

namespace Agent::Test {
namespace {

class Live : public testing::Test {
  protected:
    void SetUp() override {
        const auto made = Programs::outputOf("ip netns add " + name_ + " 2>&1");
        if (made.status != 0)
            GTEST_SKIP() << "`ip netns add` makes no network namespace: " << made.text;
        made_ = true;
        const auto veth = Programs::outputOf("ip -n " + name_ +
                                             " link add probe type veth peer name other 2>&1 && "
                                             "ip -n " +
                                             name_ + " link del probe 2>&1");
        if (veth.status != 0)
            GTEST_SKIP() << "`ip link add type veth` makes no interfaces there: " << veth.text;
    }
    ~Live() override {
        bridge_.reset();
        if (made_)
            run({"/bin/sh", "-c", "ip netns del " + name_});
    }

    void ip(std::string const& arguments) {
        const auto output = Programs::outputOf("ip -n " + name_ + " " + arguments + " 2>&1");
        ASSERT_EQ(output.status, 0) << arguments << ": " << output.text;
    }
    /// Two interfaces with a cable between them.
    void pair(std::string const& one, std::string const& other) {
        ip("link add " + one + " type veth peer name " + other);
        ip("link set " + one + " up");
        ip("link set " + other + " up");
    }

    std::string file(std::string const& name) const { return folder_.path() / name; }
    std::vector<std::string> inside(std::vector<std::string> const& command) const {
        std::vector<std::string> all{"/usr/bin/env", "ip", "netns", "exec", name_};
        all.insert(all.end(), command.begin(), command.end());
        return all;
    }
    /// An agent with a hello time of 1 s that runs beside the test, when its socket answers. Its
    /// output is the file of its name, its socket that name with ".sock".
    std::unique_ptr<Background> start(std::string const& name,
                                      std::vector<std::string> const& options) {
        std::vector<std::string> command =
            inside({STP_AGENT, "run", "--hello", "1", "--socket", file(name + ".sock")});
        command.insert(command.end(), options.begin(), options.end());
        auto process = std::make_unique<Background>(command, file(name));
        EXPECT_TRUE(await([&] {
            return contents(file(name)).find("running") != std::string::npos || !process->runs();
        }));
        EXPECT_TRUE(process->runs()) << contents(file(name));
        return process;
    }
    std::string show(std::string const& name, std::vector<std::string> const& what = {}) const {
        std::vector<std::string> command{"show", "--socket", file(name + ".sock")};
        command.insert(command.end(), what.begin(), what.end());
        return agent(command).output;
    }
    /// Whether that agent comes to show this.
    testing::AssertionResult shows(std::string const& name, std::string const& text,
                                   std::vector<std::string> const& what = {}) const {
        if (await([&] { return show(name, what).find(text) != std::string::npos; }))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "no \"" << text << "\" in:\n" << show(name, what);
    }

    /// Ends an agent that writes what it sends and hears into the file of its name with ".pcap".
    /// tshark and tcpdump have to read every frame there as the agent does.
    /// @return the frames
    std::vector<Frames::Octets> readAlike(Background& process, std::string const& name) {
        EXPECT_EQ(process.end(SIGTERM), 0);
        std::vector<Frames::Octets> frames;
        CaptureReader reader(file(name + ".pcap"));
        while (auto frame = reader.next())
            frames.push_back(frame->octets);
        expectTsharkReadsAlike(frames);
        expectTcpdumpReadsAlike(frames);
        return frames;
    }

    void startBridge(std::string const& protocol, std::vector<std::string> const& interfaces) {
        std::vector<std::string> command =
            inside({SOURCES "/examples/bridge/namespace-bridge", protocol, folder_.path()});
        command.insert(command.end(), interfaces.begin(), interfaces.end());
        bridge_ = std::make_unique<Background>(command, file("bridge"));
        ASSERT_TRUE(await([&] { return std::filesystem::exists(file("ready")); }))
            << contents(file("bridge"));
    }
    /// A value of the bridge's status.
    std::string bridgeStatus(std::string const& name) const {
        return Programs::outputOf(
                   "ovs-vsctl -vsyslog:off --timeout=20 --db=unix:" + file("db.sock") +
                   " get bridge bridge rstp_status:" + name + " | tr -d '\".\\n'")
            .text;
    }

    Examples::TemporaryFolder folder_;
    std::string name_ = "stp-agent-" + std::to_string(getpid());
    bool made_ = false;
    std::unique_ptr<Background> bridge_;
};

/// Where Open vSwitch can work, too.
class LiveBridge : public Live {
  protected:
    void SetUp() override {
        if (access("/dev/net/tun", R_OK | W_OK) != 0)
            GTEST_SKIP() << "/dev/net/tun, which Open vSwitch takes, cannot be used: "
                         << std::strerror(errno);
        Live::SetUp();
    }
};

const std::string first = "02:00:00:00:00:01";
const std::string second = "02:00:00:00:00:02";

TEST_F(LiveBridge, ARealBridgeElectsTheBetterOfTwoAgentsAndTheTreeFollowsTheirPriorities) {
    pair("a0", "o0");
    pair("a1", "o1");
    startBridge("rstp", {"o0", "o1"});
    const auto one = start("one", {"-i", "a0", "--priority", "4096", "--mac", first, "--cost", "7",
                                   "--pcap", file("one.pcap")});
    const auto two = start(
        "two", {"-i", "a1", "--priority", "8192", "--mac", second, "--pcap", file("two.pcap")});

    EXPECT_TRUE(await([&] { return bridgeStatus("rstp_root_id") == "1000020000000001"; }));
    EXPECT_EQ(bridgeStatus("rstp_root_path_cost"), "20007") << "what was said and the port's";
    EXPECT_TRUE(shows("two", "Root            4096.0." + first +
                                 "\nRoot path cost  20007\n"
                                 "Root port       a1 (Ethernet1)\n"));
    EXPECT_TRUE(shows("one", ", this bridge\n"));
    EXPECT_TRUE(shows("one", "a0         root  forwarding  20007 "));

    Background watch({STP_AGENT, "watch", "--socket", file("two.sock")}, file("watch"));
    int cost = 0;
    ASSERT_TRUE(await([&] { // when it watches
        agent({"set", "cost", std::to_string(++cost), "--socket", file("two.sock")});
        return contents(file("watch")).find("bridge  cost: ") != std::string::npos;
    }));
    agent({"set", "cost", "0", "--socket", file("two.sock")});
    EXPECT_EQ(agent({"set", "priority", "12288", "--socket", file("one.sock")}).exitStatus, 0);
    EXPECT_TRUE(await([&] { return bridgeStatus("rstp_root_id") == "2000020000000002"; }));
    EXPECT_TRUE(shows("two", "Root            8192.0." + second + ", this bridge\n"));
    EXPECT_TRUE(shows("one", "Root            8192.0." + second + "\nRoot path cost  20000\n"));
    EXPECT_TRUE(await([&] {
        return contents(file("watch")).find("cistRootBridgeId: 4096.0." + first) !=
               std::string::npos;
    })) << contents(file("watch"));
    EXPECT_TRUE(await([&] {
        return contents(file("watch")).find("topologyChange") != std::string::npos;
    })) << contents(file("watch"));
    EXPECT_GE(readAlike(*one, "one").size(), 6) << "three of each";
    EXPECT_GE(readAlike(*two, "two").size(), 6);
}

TEST_F(LiveBridge, TheDemosExchangeHappensAsItSays) {
    const auto exchange =
        Programs::outputOf(SOURCES "/examples/bridge/live-exchange " STP_AGENT " 2>&1");
    EXPECT_EQ(exchange.status, 0) << exchange.text;
    for (auto const& text : {"  Root            4096.0." + first + ", this bridge\n",
                             "  Root            4096.0." + first + "\n  Root path cost  20007\n",
                             " -> 8192.0." + second + "\n"})
        EXPECT_NE(exchange.text.find(text), std::string::npos) << text << " in " << exchange.text;
}

TEST_F(LiveBridge, TsharkAndTcpdumpAgreeOnWhatIsSentAndHeard) {
    pair("a0", "o0");
    Background tcpdump(inside({"tcpdump", "--immediate-mode", "-U", "-n", "-i", "a0", "-w",
                               file("tcpdump.pcap"), "-Z", "root", "ether dst 01:80:c2:00:00:00"}),
                       file("tcpdump"));
    ASSERT_TRUE(await([&] {
        return contents(file("tcpdump")).find("listening on") != std::string::npos;
    })) << contents(file("tcpdump"));
    startBridge("rstp", {"o0"});
    const auto one = start("one", {"-i", "a0", "--priority", "4096", "--mac", first, "--cost", "7",
                                   "--port-priority", "16", "--pcap", file("agent.pcap")});
    ASSERT_TRUE(shows("one", "a0         root  forwarding  20007 "));
    const std::string shown = show("one", {"detail"});
    const auto octets = [](std::string const& path) {
        std::vector<std::vector<Zel::U8>> frames;
        CaptureReader reader(path);
        while (auto frame = reader.next())
            frames.push_back(frame->octets);
        std::ranges::sort(frames);
        return frames;
    };
    // One hello and one answer, at least, and two more hellos.
    ASSERT_TRUE(await([&] { return octets(file("agent.pcap")).size() >= 4; }));
    EXPECT_EQ(one->end(SIGTERM), 0);
    const auto own = octets(file("agent.pcap"));
    expectTsharkReadsAlike(own);
    expectTcpdumpReadsAlike(own);
    EXPECT_TRUE(await([&] {
        try {
            return std::ranges::includes(octets(file("tcpdump.pcap")), own);
        } catch (std::runtime_error const&) { // it is writing a frame
            return false;
        }
    }));
    EXPECT_EQ(tcpdump.end(SIGINT), 0);
    const auto fromBridge = [](std::vector<Zel::U8> const& frame) { return frame.at(41); };
    EXPECT_EQ(std::ranges::count(own, 1, fromBridge),
              std::ranges::count(octets(file("tcpdump.pcap")), 1, fromBridge))
        << "each frame that it sent";

    const auto rows = Programs::readByTshark(
        file("tcpdump.pcap"), {"stp.bridge.hw", "stp.root.hw", "stp.root.prio", "stp.root.cost",
                               "stp.port", "stp.hello", "stp.max_age", "stp.forward"});
    const Programs::Row said{first, first, "4096", "7", "0x1001", "1", "20", "15"};
    EXPECT_GE(std::ranges::count(rows, said), 2);
    const auto heard = std::ranges::find_if(
        rows, [](auto const& row) { return row[0] == "02:00:00:00:00:0b" && row[3] == "20007"; });
    ASSERT_NE(heard, rows.end());
    for (std::string const& line :
         {"Root            " + (*heard)[2] + ".0." + (*heard)[1], "Root path cost  " + (*heard)[3],
          "Hello time      " + (*heard)[5] + " s"})
        EXPECT_NE(shown.find("  " + line + "\n"), std::string::npos) << line << shown;
}

TEST_F(LiveBridge, HearsConfigurationBpdusAndNotificationsOfAnOlderBridge) {
    pair("a0", "o0");
    pair("a1", "o1");
    // The older bridge takes no RST BPDUs: something else has to be its root.
    std::ofstream(file("root.py"))
        << "import socket, time\n"
           "s = socket.socket(socket.AF_PACKET, socket.SOCK_RAW)\n"
           "s.bind(('a0', 0))\n"
           "while True:\n"
           "    s.send(bytes.fromhex('0180c200000002000000000300264242030000000000"
           "100002000000000300000004100002000000000380010100140002000400'))\n"
           "    time.sleep(1)\n";
    startBridge("stp", {"o0", "o1"});
    const auto one = start("one", {"-i", "a0", "--pcap", file("one.pcap")});
    EXPECT_TRUE(shows("one", "configuration BPDU", {"detail"}));
    EXPECT_TRUE(shows("one", "a0         designated  -  "));
    const Background root(inside({"python3", file("root.py")}), file("root"));
    EXPECT_TRUE(await([&] {
        const std::string shown = show("one", {"detail"});
        return shown.find(" of them notifications") != std::string::npos &&
               shown.find(", 0 of them notifications") == std::string::npos;
    })) << show("one", {"detail"})
        << contents(file("root"));
    const auto frames = readAlike(*one, "one");
    const auto ofType = [&](unsigned type) {
        return std::ranges::count(frames, type, [](auto const& frame) { return frame.at(20); });
    };
    EXPECT_GE(ofType(0x00), 1) << "configuration BPDUs";
    EXPECT_GE(ofType(0x80), 1) << "notifications";
    EXPECT_GE(ofType(0x02), 2) << "its own";
}

TEST_F(Live, FollowsALinkThatGoesDownVanishesAndComesBack) {
    pair("a0", "a1");
    const auto one = start("one", {"-i", "a0"});
    const auto two = start("two", {"-i", "a1"});
    EXPECT_TRUE(shows("two", "a1         designated  forwarding  0 "));
    ip("link set a0 down");
    EXPECT_TRUE(shows("one", "a0         -     disabled  - "));
    EXPECT_TRUE(shows("two", "a1         -     disabled  - "));
    ip("link set a0 up");
    EXPECT_TRUE(shows("two", "a1         designated  forwarding  0 "));
    ip("link del a0");
    EXPECT_TRUE(shows("one", "a0         -     disabled  - "));
    EXPECT_TRUE(shows("two", "a1         -     disabled  - "));
    pair("a0", "a1");
    EXPECT_TRUE(shows("one", "a0         designated  forwarding  0 "));
    EXPECT_TRUE(shows("two", "a1         designated  forwarding  0 "));
    EXPECT_EQ(one->end(SIGINT), 0);
    EXPECT_EQ(two->end(SIGTERM), 0);
}

TEST_F(Live, RefusesItsOwnFramesThatACableBringsBack) {
    pair("a0", "a1");
    const auto one = start("one", {"-i", "a0", "-i", "a1"});
    EXPECT_TRUE(await([&] {
        return show("one", {"a0", "-j"}).find("\"own_frame\": 0") == std::string::npos;
    }));
    EXPECT_TRUE(shows("one", "a0         -     -      -     -  "));
    EXPECT_TRUE(shows("one", ", this bridge\n"));
}

TEST_F(Live, RefusesATaggedFrameAlsoWhenTheSystemHasTakenItsTagOff) {
    pair("a0", "o0");
    const auto one = start("one", {"-i", "a0"});
    std::ofstream(file("tagged.py"))
        << "import socket\n"
           "s = socket.socket(socket.AF_PACKET, socket.SOCK_RAW)\n"
           "s.bind(('o0', 0))\n"
           "s.send(bytes.fromhex('0180c20000000200000000038100e001002742420300000202"
           "3c10000200000000030000000410000200000000038001010014000200040000'))\n";
    EXPECT_EQ(run(inside({"python3", file("tagged.py")})).exitStatus, 0);
    EXPECT_TRUE(shows("one", "\"tagged\": 1,", {"-j"}));
}

TEST_F(Live, AnswersDuringAFlood) {
    pair("a0", "o0");
    const auto one = start("one", {"-i", "a0"});
    std::ofstream(file("flood.py"))
        << "import socket\n"
           "s = socket.socket(socket.AF_PACKET, socket.SOCK_RAW)\n"
           "s.bind(('o0', 0))\n"
           "frame = bytes.fromhex('0180c2000000020000000003002742420300000202"
           "3c10000200000000030000000410000200000000038001010014000200040000')\n"
           "for i in range(20000): s.send(frame)\n";
    const Background flood(inside({"python3", file("flood.py")}), file("flood"));
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(agent({"show", "--socket", file("one.sock")}).exitStatus, 0);
    EXPECT_TRUE(await(
        [&] { return show("one", {"-j"}).find("\"rate_limited\": 0") == std::string::npos; }));
    EXPECT_EQ(one->end(SIGTERM), 0);
}

TEST_F(Live, EndsCleanlyWhateverEndsIt) {
    pair("a0", "a1");
    for (const int signal : {SIGINT, SIGTERM}) {
        const auto one = start("one", {"-i", "a0"});
        EXPECT_EQ(one->end(signal), 0);
        EXPECT_FALSE(std::filesystem::exists(file("one.sock")));
        EXPECT_FALSE(std::filesystem::exists(file("one.sock.lock")));
    }
    const Result timed = run(
        inside({STP_AGENT, "run", "-i", "a0", "--duration", "0.1", "--socket", file("one.sock")}));
    EXPECT_EQ(timed.exitStatus, 0);
    EXPECT_EQ(timed.errors, "");
}

TEST_F(Live, SwitchesTracesWhileItRunsAndReopensTheirFileOnSighup) {
    pair("a0", "a1");
    const auto one =
        start("one", {"-i", "a0", "--trace", "StpAgent/5", "--trace-file", file("traces")});
    const auto set = [&](std::string const& traces) {
        return agent({"set", "trace", traces, "--socket", file("one.sock")}).exitStatus;
    };
    EXPECT_TRUE(shows("one", "\nStpTxStatusSyncer  -\n", {"traces"}));
    EXPECT_TRUE(shows("one", "\nStpAgent           0-5\n", {"traces"}));
    EXPECT_EQ(contents(file("traces")).find("StpTxStatusSyncer/8"), std::string::npos);
    EXPECT_EQ(set("StpTx*/8"), 0);
    EXPECT_TRUE(shows("one", "\nStpTxStatusSyncer  0-8\n", {"traces"}));
    const auto traced = [&](std::string const& name) {
        return await(
            [&] { return contents(file(name)).find("StpTxStatusSyncer/8 ") != std::string::npos; });
    };
    EXPECT_TRUE(traced("traces"));

    std::filesystem::rename(file("traces"), file("traces.1"));
    one->signal(SIGHUP);
    EXPECT_TRUE(traced("traces"));
    const std::string former = contents(file("traces.1"));
    EXPECT_TRUE(former.ends_with("\n"));

    // Where it cannot be reopened, the agent says so and goes on.
    std::filesystem::rename(file("traces"), file("traces.2"));
    std::filesystem::create_directory(file("traces"));
    one->signal(SIGHUP);
    EXPECT_TRUE(await([&] {
        return contents(file("one"))
                   .find("stp-agent: trace file " + file("traces") + ": Is a directory\n") !=
               std::string::npos;
    }));
    const std::size_t before = contents(file("traces.2")).size();
    EXPECT_TRUE(await([&] { return contents(file("traces.2")).size() > before; }));
    EXPECT_EQ(contents(file("traces.1")), former);
    EXPECT_EQ(set("*/off"), 0);
    EXPECT_TRUE(shows("one", "\nLost: 0\n", {"traces"}));
    EXPECT_EQ(one->end(SIGTERM), 0);
}

TEST_F(Live, WithoutATraceFileSighupEndsItAsItDoesOtherPrograms) {
    pair("a0", "a1");
    EXPECT_EQ(start("one", {"-i", "a0"})->end(SIGHUP), 128 + SIGHUP);
}

TEST_F(Live, TheBinaryTraceOutlivesAnAgentThatIsKilled) {
    pair("a0", "a1");
    const auto one = start("one", {"-i", "a0", "--trace-map", file("map")});
    EXPECT_TRUE(
        await([&] { return contents(file("map")).find("handleTxUpdate") != std::string::npos; }));
    EXPECT_EQ(one->end(SIGKILL), 128 + SIGKILL);
    const std::string map = contents(file("map"));
    EXPECT_EQ(map.size(), 1u << 20);
    EXPECT_NE(map.find("handleTxUpdate"), std::string::npos);
    const auto next = start("one", {"-i", "a0", "--trace-map", file("map")});
    EXPECT_EQ(next->end(SIGTERM), 0);
    EXPECT_EQ(contents(file("map.old")), map);
}

TEST_F(Live, ASecondAgentOnOneSocketIsRefusedAndAStaleSocketReplaced) {
    pair("a0", "a1");
    const auto one = start("one", {"-i", "a0"});
    const Result other = run(inside({STP_AGENT, "run", "-i", "a1", "--socket", file("one.sock")}));
    EXPECT_EQ(other.exitStatus, 1);
    EXPECT_EQ(other.errors, "stp-agent: control socket " + file("one.sock") +
                                ": another agent is running there\n");
    EXPECT_EQ(one->end(SIGKILL), 128 + SIGKILL);
    EXPECT_TRUE(std::filesystem::exists(file("one.sock")));
    const auto next = start("one", {"-i", "a0"});
    EXPECT_TRUE(shows("one", "Interface"));
}

TEST_F(Live, SaysWhatItTakesToBePermitted) {
    pair("a0", "a1");
    // Not another user, who may not be let into the folder that the program lies in.
    const Result result =
        run(inside({"setpriv", "--bounding-set", "-net_raw", "--inh-caps", "-net_raw", STP_AGENT,
                    "run", "-i", "a0", "--socket", file("one.sock")}));
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors,
              "stp-agent: a0: not permitted; it takes root or the capability CAP_NET_RAW\n");
}

} // namespace
} // namespace Agent::Test
