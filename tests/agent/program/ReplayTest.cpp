// stp-agent replay, on captures of real bridges.

#include "agent/io/CaptureFile.h"
#include "tests/agent/program/Program.h"
#include "tests/bpdu/Programs.h"

#include <regex>
#include <sstream>

#include <sys/stat.h>

namespace Agent::Test {
namespace {

const std::string stp = SOURCES "/agent/captures/stp-bridge.pcap";

TEST(StpAgentReplay, ShowsWhatTheBridgesSaid) {
    for (auto const& [capture, golden] :
         {std::pair(rstp, "replay-rstp.txt"), std::pair(stp, "replay-stp.txt")}) {
        const Result result = agent({"replay", capture});
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(result.errors, "");
        expectGolden(result.output, golden);
    }
}

TEST(StpAgentReplay, PrintsWhatItsDocumentShows) {
    const std::string document = contents(SOURCES "/docs/agent.md");
    const Result result = agent({"replay", rstp});
    EXPECT_NE(document.find("\n```text\n" + result.output + "```\n"), std::string::npos);
}

TEST(StpAgentReplay, RepeatsToTheLetterOutputAndCapture) {
    const Examples::TemporaryFolder folder;
    const std::string first = folder.path() / "first.pcap";
    const std::string second = folder.path() / "second.pcap";
    for (std::string const& capture : {rstp, stp}) {
        for (const char* json : {"", "-j"}) {
            std::vector<std::string> arguments{"replay", capture, "--pcap", first};
            if (*json)
                arguments.push_back(json);
            const Result once = agent(arguments);
            arguments[3] = second;
            const Result again = agent(arguments);
            EXPECT_EQ(once.exitStatus, 0);
            EXPECT_FALSE(once.output.empty());
            EXPECT_EQ(once.output, again.output);
            EXPECT_EQ(contents(first), contents(second));
        }
    }
}

TEST(StpAgentReplay, ItsCaptureReplaysToTheSame) {
    const Examples::TemporaryFolder folder;
    const std::string merged = folder.path() / "merged.pcap";
    agent({"replay", rstp, "--pcap", merged});
    // Its own frames are refused.
    const std::string again = agent({"replay", merged}).output;
    EXPECT_NE(again.find("Received        9, 0 of them notifications"), std::string::npos) << again;
    EXPECT_NE(again.find("Bad             10\n"), std::string::npos) << again;
}

TEST(StpAgentReplay, SaysWhatItIsToldToSay) {
    const Examples::TemporaryFolder folder;
    const std::string merged = folder.path() / "merged.pcap";
    const Result result =
        agent({"replay", rstp, "--pcap", merged, "--priority", "8192", "--cost", "4711", "--mac",
               "02:00:00:00:00:77", "--hello", "4", "--port-priority", "32"});
    ASSERT_EQ(result.exitStatus, 0);
    const auto rows = Programs::readByTshark(
        merged, {"eth.src", "stp.root.prio", "stp.root.hw", "stp.root.cost", "stp.bridge.prio",
                 "stp.bridge.hw", "stp.port", "stp.hello", "stp.flags", "stp.type"});
    int own = 0;
    for (auto const& row : rows) {
        if (row.at(0) != "02:00:00:00:00:77")
            continue;
        ++own;
        EXPECT_EQ(row,
                  (Programs::Row{"02:00:00:00:00:77", "8192", "02:00:00:00:00:77", "4711", "8192",
                                 "02:00:00:00:00:77", "0x2001", "4", "0x3c", row.at(9)}));
        EXPECT_TRUE(row.at(9) == "0x02" || row.at(9) == "2") << row.at(9);
    }
    EXPECT_EQ(own, 5); // in 19 s
}

TEST(StpAgentReplay, TakesNoMoreInASecondThanItsRateLimit) {
    // Two of the frames come within a second of the one before them.
    const std::string all = agent({"replay", rstp}).output;
    EXPECT_NE(all.find("Dropped         0 above the rate"), std::string::npos) << all;
    const Result result = agent({"replay", rstp, "--rate-limit", "1"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_NE(result.output.find("Received        7, "), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("Dropped         2 above the rate"), std::string::npos)
        << result.output;
}

TEST(StpAgentReplay, AgreesWithTsharkOnWhatWasHeard) {
    const auto rows = Programs::readByTshark(rstp, {"stp.root.prio", "stp.root.hw", "stp.root.cost",
                                                    "stp.bridge.prio", "stp.bridge.hw", "stp.flags",
                                                    "stp.msg_age"});
    ASSERT_EQ(rows.size(), 9);
    const std::string shown = agent({"replay", rstp}).output;
    for (auto const& row : rows) {
        const std::string root = row.at(0) + ".0." + row.at(1);
        EXPECT_NE(shown.find(root), std::string::npos) << root;
        EXPECT_NE(shown.find(std::to_string(std::stoul(row.at(5), nullptr, 16)) + "("),
                  std::string::npos)
            << row.at(5);
    }
    auto const& last = rows.back();
    EXPECT_NE(shown.find("Bridge          " + last.at(3) + ".0." + last.at(4) + "\n"),
              std::string::npos);
    EXPECT_NE(shown.find("Message age     " + last.at(6) + " s\n"), std::string::npos);
}

TEST(StpAgentReplay, TracesWhatItIsAskedTo) {
    const Result result =
        agent({"replay", rstp, "--trace", "StpRxStatusSyncer/8", "--trace", "Varnol/8"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_NE(result.errors.find("handleRxUpdate() creating/updating vlan=0"), std::string::npos);
    EXPECT_NE(result.errors.find("VarnolGetPkt: called for vlan 0"), std::string::npos);
}

TEST(StpAgentReplay, TracesUpToTheLevelWhatThePatternsMatchTheLaterFirst) {
    const Result result = agent({"replay", rstp, "--trace", "Stp*/8,Varnol/9", "--trace",
                                 "StpTx*/off", "--trace", "Varnol/7"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_NE(result.errors.find("StpRxStatusSyncer/8 "), std::string::npos) << result.errors;
    EXPECT_EQ(result.errors.find("StpTxStatusSyncer/"), std::string::npos);
    EXPECT_EQ(result.errors.find("Varnol/8 "), std::string::npos); // VarnolGetPkt's
}

TEST(StpAgentReplay, WritesTracesIntoAFileWithTheTime) {
    const Examples::TemporaryFolder folder;
    const std::string file = folder.path() / "traces";
    const std::vector<std::string> arguments{"replay", rstp,           "--trace",
                                             "*/8",    "--trace-file", file};
    const Result result = agent(arguments);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, agent({"replay", rstp}).output);
    const std::string traces = contents(file);
    std::istringstream lines(traces);
    unsigned count = 0;
    for (std::string line; std::getline(lines, line); ++count)
        ASSERT_TRUE(std::regex_match(
            line, std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}Z "
                             "[A-Za-z]+/[0-8] [A-Za-z]+\\.cpp:[0-9]+ [A-Za-z_0-9]+: .*")))
            << line;
    EXPECT_GT(count, 10u);
    EXPECT_EQ(agent(arguments).exitStatus, 0);
    EXPECT_TRUE(contents(file).starts_with(traces)); // goes on where it was
    EXPECT_GT(contents(file).size(), traces.size());
}

TEST(StpAgentReplay, KeepsTheBinaryTraceInAFileOfTheSizeGiven) {
    const Examples::TemporaryFolder folder;
    const std::string file = folder.path() / "map";
    const Result result = agent({"replay", rstp, "--trace-map", file});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.errors, "");
    const std::string map = contents(file);
    EXPECT_EQ(map.size(), 1u << 20);
    EXPECT_NE(map.find("handleRxUpdate"), std::string::npos); // a message's text
    struct stat status {};
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_EQ(agent({"replay", rstp, "--trace-map", file, "--trace-map-size", "16384"}).exitStatus,
              0);
    EXPECT_EQ(contents(file).size(), 16384u);
    EXPECT_TRUE(contents(file + ".old") == map);
}

TEST(StpAgentReplay, FailsWithAReasonWhereItCannotTrace) {
    const Result file = agent({"replay", rstp, "--trace-file", "/nowhere/file"});
    EXPECT_EQ(file.exitStatus, 1);
    EXPECT_EQ(file.errors, "stp-agent: trace file /nowhere/file: No such file or directory\n");
    EXPECT_EQ(file.output, "");
    const Result map = agent({"replay", rstp, "--trace-map", "/nowhere/map"});
    EXPECT_EQ(map.exitStatus, 1);
    EXPECT_EQ(map.errors, "stp-agent: /nowhere/map: cannot be made: No such file or directory\n");
    EXPECT_EQ(map.output, "");
    // No file may grow beyond a few blocks: an error like others, and no signal.
    const Examples::TemporaryFolder folder;
    const Result large = run({"/bin/sh", "-c",
                              "ulimit -f 8; exec " STP_AGENT " replay " + rstp + " --trace-map " +
                                  std::string(folder.path() / "map")});
    EXPECT_EQ(large.exitStatus, 1);
    EXPECT_TRUE(large.errors.ends_with("/map: cannot be made: File too large\n")) << large.errors;
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(StpAgentReplay, FailsWithAReasonWhereThereIsNoCapture) {
    const Examples::TemporaryFolder folder;
    const auto file = folder.path() / "file";
    std::ofstream(file) << "no capture, but long enough to be one";
    { const CaptureWriter empty(folder.path() / "empty", Time{}); }
    std::ofstream(folder.path() / "cut") << contents(rstp).substr(0, 310);
    for (const char* name : {"file", "none", ".", "empty", "cut"}) {
        const std::string path = folder.path() / name;
        const Result result = agent({"replay", path});
        EXPECT_EQ(result.exitStatus, 1) << name;
        EXPECT_TRUE(result.errors.starts_with("stp-agent: " + path + ": ")) << result.errors;
    }
}

TEST(StpAgentReplay, FailsWhenItCannotWrite) {
    const Result capture = agent({"replay", rstp, "--pcap", "/nowhere/capture"});
    EXPECT_EQ(capture.exitStatus, 1);
    EXPECT_NE(capture.errors.find("/nowhere/capture"), std::string::npos);
    const Examples::TemporaryFolder folder;
    const auto copy = folder.path() / "copy.pcap";
    std::filesystem::copy_file(rstp, copy);
    const Result itself = agent({"replay", copy, "--pcap", copy});
    EXPECT_EQ(itself.exitStatus, 1);
    EXPECT_EQ(itself.errors,
              "stp-agent: " + copy.string() + ": is the capture that is to be replayed\n");
    EXPECT_EQ(contents(copy), contents(rstp));
    const Result output =
        run({"/bin/sh", "-c", "exec " STP_AGENT " replay " + rstp + " >/dev/full"});
    EXPECT_EQ(output.exitStatus, 1);
    EXPECT_EQ(output.errors, "stp-agent: cannot write to standard output\n");
}

} // namespace
} // namespace Agent::Test
