// The program stp-agent, used wrongly, and without an agent that runs.

#include "tests/agent/program/Program.h"

namespace Agent::Test {
namespace {

struct Wrong {
    std::vector<std::string> arguments;
    std::string says; ///< among other things
};

TEST(Options, AWrongOneSaysWhatIsWrongAndWhatIsAllowed) {
    const std::vector<Wrong> all{
        {{}, "run"},
        {{"rum"}, "rum"},
        {{"run"}, "--interface is required"},
        {{"run", "-i"}, "--interface"},
        {{"run", "-i", "a b"}, "'a b' is not allowed"},
        {{"run", "-i", "x", "--priority", "100"},
         "'100' is not allowed; allowed: 0 to 61440 in steps of 4096"},
        {{"run", "-i", "x", "--priority", "-4096"}, "--priority"},
        {{"run", "-i", "x", "--cost", "4294967296"}, "allowed: 0 to 4294967295"},
        {{"run", "-i", "x", "--hello", "10"}, "allowed: 1 to 9"},
        {{"run", "-i", "x", "--port-priority", "8"}, "allowed: 0 to 240 in steps of 16"},
        {{"run", "-i", "x", "--rate-limit", "0"}, "'0' is not allowed; allowed: 1 to 1000000"},
        {{"replay", "x", "--rate-limit", "many"}, "'many' is not allowed; allowed: 1 to 1000000"},
        {{"run", "-i", "x", "--mac", "01:00:00:00:00:00"}, "allowed: a unicast address"},
        {{"run", "-i", "x", "--mac", "02:00"}, "allowed: a unicast address"},
        {{"run", "-i", "x", "--trace", "StpAgent"},
         "trace levels, octet 1: 'StpAgent' has no level; allowed: pattern/level, as Stp*/8"},
        {{"run", "-i", "x", "--trace", "StpAgent/10"},
         "octet 10: '10' is no level; allowed: 0 to 9, or off"},
        {{"run", "-i", "x", "--trace", "Stp*/8", "--trace", "Stp*/8,NoSuch*/5"},
         "'NoSuch*' matches no trace handle; there are: StpAgent, StpRxStatusSyncer, "
         "StpTxStatusSyncer, Varnol"},
        {{"run", "-i", "x", "--trace", "/5"}, "octet 1: no pattern is there"},
        {{"run", "-i", "x", "--trace", ""}, "octet 1: nothing is there"},
        {{"run", "-i", "x", "--trace-file", ""}, "'' is not allowed; allowed: the name of a file"},
        {{"run", "-i", "x", "--trace-map", ""}, "'' is not allowed; allowed: the name of a file"},
        {{"run", "-i", "x", "--trace-map", "y", "--trace-map-size", "4095"},
         "'4095' is not allowed; allowed: 16384 to 1073741824"},
        {{"replay", "x", "--trace-map", "y", "--trace-map-size", "1073741825"},
         "allowed: 16384 to 1073741824"},
        {{"replay", "x", "--trace-map", "y", "--trace-map-size", "1M"},
         "'1M' is not allowed; allowed: 16384 to 1073741824"},
        {{"replay", "x", "--trace-map-size", "16384"}, "--trace-map-size requires --trace-map"},
        {{"set", "trace", "Stp*"}, "octet 1: 'Stp*' has no level"},
        {{"set", "trace", "NoSuch/5"}, "'NoSuch' matches no trace handle"},
        {{"show", "traces", "detail"}, "'traces detail' is not allowed"},
        {{"run", "-i", "x", "-i", "y", "-i", "x"},
         "x is given twice; allowed: each interface once"},
        {{"run", "-i", "x", "--socket", ""}, "the path is to have 1 to 107 octets"},
        {{"show", "--socket", std::string(108, 'x')}, "the path is to have 1 to 107 octets"},
        {{"replay", "x", "--pcap", ""}, "'' is not allowed; allowed: the name of a file"},
        {{"show", "a", "b"},
         "'a b' is not allowed; allowed: [PORT] [detail], trees, mirror, traces, or bpdu "
         "PORT"},
        {{"show", "trees", "detail"}, "'trees detail' is not allowed; allowed: [PORT] [detail]"},
        {{"show", "bpdu"},
         "'bpdu' is not allowed; allowed: [PORT] [detail], trees, mirror, traces, or bpdu PORT"},
        {{"show", "a", "detail", "b"},
         "'a detail b' is not allowed; allowed: [PORT] [detail], trees, mirror, traces, or bpdu "
         "PORT"},
        {{"run", "-i", "x", "--duration", "-1"}, "--duration"},
        {{"run", "-i", "x", "--duration", "0"}, "allowed: 0.001 to 1000000000"},
        {{"run", "-i", "x", "--duration", "nan"}, "allowed: 0.001 to 1000000000"},
        {{"run", "-i", "x", "--duration", "1e10"}, "allowed: 0.001 to 1000000000"},
        {{"run", "-i", "x", "--fast"}, "--fast"},
        {{"replay"}, "FILE is required"},
        {{"replay", "a", "b"}, "b"},
        {{"show", "a", "\n"}, "is not allowed"},
        {{"set", "priority"}, "SETTING"},
        {{"set", "priority", "1"}, "allowed: 0 to 61440 in steps of 4096"},
        {{"set", "mtu", "1"}, "known: priority, cost, port-priority, hello, rate-limit, trace"},
        {{"watch", "x"}, "x"},
    };
    for (Wrong const& wrong : all) {
        const Result result = agent(wrong.arguments);
        std::string command;
        for (std::string const& argument : wrong.arguments)
            command += " " + argument;
        EXPECT_EQ(result.exitStatus, 2) << command;
        EXPECT_NE(result.errors.find(wrong.says), std::string::npos) << command << "\n"
                                                                     << result.errors;
        EXPECT_NE(result.errors.find("Usage:"), std::string::npos) << command;
        EXPECT_EQ(result.output, "") << command;
    }
}

TEST(Options, HelpSaysWhatThereIs) {
    const Result result = agent({"--help"});
    EXPECT_EQ(result.exitStatus, 0);
    for (const char* command : {"run", "replay", "show", "watch", "set"})
        EXPECT_NE(result.output.find(command), std::string::npos);
    EXPECT_EQ(agent({"run", "--help"}).exitStatus, 0);
}

TEST(Options, WithoutAnAgentThereIsNothingToShow) {
    for (const char* command : {"show", "watch"}) {
        const Result result = agent({command, "--socket", "/nowhere/socket"});
        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_EQ(result.errors,
                  "stp-agent: no agent at /nowhere/socket: No such file or directory\n");
    }
}

TEST(Options, AnInterfaceThatIsNoneIsRefused) {
    for (const char* interface : {"lo", "nosuch", "a-name-that-is-too-long-for-any"}) {
        const Result result = agent({"run", "-i", interface, "--socket", "/nowhere/socket"});
        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_EQ(result.errors,
                  "stp-agent: " + std::string(interface) + ": is no Ethernet interface\n");
    }
}

} // namespace
} // namespace Agent::Test
