#include "agent/Options.h"

#include "agent/control/ControlSocket.h"
#include "agent/control/Requests.h"
#include "agent/control/Traces.h"
#include "framework/zel/Exception.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <iostream>

namespace Agent {
namespace {

/// Takes an option that is a setting, by its name.
void addSetting(CLI::App& app, Settings& settings, std::string const& name,
                std::string const& allowed, std::string const& what) {
    const auto check = [name](std::string const& value) {
        Settings ignored;
        return settingIs(ignored, name, value);
    };
    app.add_option_function<std::string>(
           "--" + name,
           [&settings, name](std::string const& value) { settingIs(settings, name, value); }, what)
        ->check(CLI::Validator(check, allowed))
        ->type_name("N");
}

std::string checkAddress(std::string const& text) {
    try {
        const auto address = Kolvu::EthAddr::parse(text);
        if (address != Kolvu::EthAddr() && (address.octets()[0] & 1) == 0)
            return {};
    } catch (Zel::RangeException const&) {
    }
    return "'" + text + "' is not allowed; allowed: a unicast address, as 02:00:00:00:00:0a";
}

std::string checkSeconds(std::string const& text) {
    double seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (error == std::errc() && end == text.data() + text.size() && seconds >= 0.001 &&
        seconds <= 1e9)
        return {};
    return "'" + text + "' is not allowed; allowed: 0.001 to 1000000000";
}

std::string checkTraceMapSize(std::string const& text) {
    std::size_t size = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), size);
    if (error == std::errc() && end == text.data() + text.size() &&
        size >= TraceMap::smallestSize && size <= TraceMap::largestSize)
        return {};
    return "'" + text + "' is not allowed; allowed: " + std::to_string(TraceMap::smallestSize) +
           " to " + std::to_string(TraceMap::largestSize);
}

std::string checkSocket(std::string const& text) {
    try {
        static_cast<void>(socketAddress(text));
        return {};
    } catch (std::runtime_error const& error) {
        return error.what();
    }
}

std::string checkFile(std::string const& text) {
    return text.empty() ? "'' is not allowed; allowed: the name of a file" : "";
}

/// What is wrong with the interfaces to run on; empty when nothing is.
std::string checkInterfaces(std::vector<std::string> const& interfaces) {
    for (auto at = interfaces.begin(); at != interfaces.end(); ++at)
        if (std::find(interfaces.begin(), at, *at) != at)
            return *at + " is given twice; allowed: each interface once";
    return {};
}

/// What is wrong with what to show; empty when nothing is.
std::string checkShow(std::vector<std::string> const& words) {
    const bool isOne = words.size() < 2 && (words.empty() || words[0] != "bpdu");
    const auto hasDetail = [](std::string_view what) {
        return what != "trees" && what != "traces" && what != "mirror";
    };
    if (isOne || (words.size() == 2 &&
                  (words[0] == "bpdu" || (words[1] == "detail" && hasDetail(words[0])))))
        return {};
    std::string all;
    for (std::string const& word : words)
        all += (all.empty() ? "" : " ") + word;
    return "'" + all +
           "' is not allowed; allowed: [PORT] [detail], trees, mirror, traces, or bpdu PORT";
}

std::string checkWord(std::string const& text) {
    if (!text.empty() && std::ranges::none_of(text, [](char c) { return c <= ' ' || c > '~'; }))
        return {};
    return "'" + text + "' is not allowed; allowed: a word without blanks";
}

struct Texts {
    std::string mac;
};

void addSettings(CLI::App& app, Options& options, Texts& texts) {
    addSetting(app, options.settings, "priority", "0 to 61440 in steps of 4096", "bridge priority");
    addSetting(app, options.settings, "cost", "0 to 4294967295", "root path cost that is said");
    addSetting(app, options.settings, "hello", "1 to 9", "hello time in seconds");
    addSetting(app, options.settings, "port-priority", "0 to 240 in steps of 16",
               "priority of each port");
    addSetting(app, options.settings, "rate-limit", "1 to 1000000",
               "frames that each port takes in a second; 100 if not given");
    app.add_option("--mac", texts.mac, "bridge address")
        ->check(CLI::Validator(checkAddress, "MAC"));
    app.add_option("--pcap", options.pcap, "write every frame sent and heard to this capture")
        ->check(CLI::Validator(checkFile, "FILE"));
    app.add_option("--trace", options.traces,
                   "show traces up to a level, as StpAgent/5 or 'Stp*/8,Varnol/3'")
        ->check(CLI::Validator(checkTraces, "PATTERN/LEVEL[,...]"))
        ->allow_extra_args(false);
    app.add_option("--trace-file", options.traceFile,
                   "write traces to the end of this file, not to standard error")
        ->check(CLI::Validator(checkFile, "FILE"));
    CLI::Option* const map =
        app.add_option("--trace-map", options.traceMap, "keep the binary trace in this file")
            ->check(CLI::Validator(checkFile, "FILE"));
    app.add_option("--trace-map-size", options.traceMapSize, "its size in octets")
        ->check(CLI::Validator(checkTraceMapSize, "16384 to 1073741824"))
        ->type_name("N")
        ->capture_default_str()
        ->needs(map);
}

} // namespace

Options parseOptions(int argc, char** argv) {
    Options options;
    Texts texts;
    std::vector<std::string> words;
    options.socket = "/run/stp-agent.sock";

    CLI::App app("A spanning-tree agent: says what it is told to say, listens, and shows.",
                 "stp-agent");
    app.failure_message(CLI::FailureMessage::help);

    CLI::App* run = app.add_subcommand("run", "speak RSTP on interfaces");
    run->add_option("-i,--interface", options.interfaces, "interface")
        ->required()
        ->expected(1, 4095) // as many as there are port numbers, IEEE 802.1D-2004 9.2.7
        ->check(CLI::Validator(checkWord, "IFACE"));
    run->add_option("--duration", options.duration, "stop after so many seconds")
        ->check(CLI::Validator(checkSeconds, "S"));
    run->add_option("--socket", options.socket, "control socket")
        ->check(CLI::Validator(checkSocket, "PATH"))
        ->capture_default_str();
    addSettings(*run, options, texts);

    CLI::App* replay =
        app.add_subcommand("replay", "do the same on a capture, in the capture's time");
    replay->add_option("FILE", options.capture, "capture, pcap or pcapng")->required();
    replay->add_flag("-j,--json", options.json, "show JSON in the end, and no changes");
    addSettings(*replay, options, texts);

    CLI::App* show = app.add_subcommand(
        "show",
        "show ports of the running agent: [PORT] [detail], trees, mirror, traces, bpdu PORT");
    show->add_option("WHAT", words, "[PORT] [detail] | trees | mirror | traces | bpdu PORT")
        ->check(CLI::Validator(checkWord, ""));
    show->add_flag("-j,--json", options.json, "JSON");
    show->add_option("--socket", options.socket, "control socket")
        ->check(CLI::Validator(checkSocket, "PATH"))
        ->capture_default_str();

    CLI::App* watch = app.add_subcommand("watch", "a line for each change, until interrupted");
    watch->add_option("--socket", options.socket, "control socket")
        ->check(CLI::Validator(checkSocket, "PATH"))
        ->capture_default_str();

    CLI::App* set = app.add_subcommand("set", "say something else: priority N, cost N, hello S, "
                                              "port-priority N; take more: rate-limit N; or "
                                              "trace PATTERN/LEVEL[,...]");
    set->add_option("SETTING", words,
                    "priority | cost | hello | port-priority | rate-limit | trace, and the value")
        ->required()
        ->expected(2)
        ->check(CLI::Validator(checkWord, ""));
    set->add_option("--socket", options.socket, "control socket")
        ->check(CLI::Validator(checkSocket, "PATH"))
        ->capture_default_str();

    try {
        app.parse(argc, argv);
        if (app.get_subcommands().size() != 1)
            throw CLI::RequiredError("one command");
        const auto refuse = [](const char* command, std::string const& wrong) {
            if (!wrong.empty())
                throw CLI::ValidationError(command, wrong);
        };
        if (set->parsed())
            refuse("set", checkSetting(words.at(0), words.at(1)));
        if (show->parsed())
            refuse("show", checkShow(words));
        if (run->parsed())
            refuse("--interface", checkInterfaces(options.interfaces));
    } catch (CLI::ParseError const& error) {
        std::exit(app.exit(error) == 0 ? 0 : 2);
    }

    if (!texts.mac.empty())
        options.address = Kolvu::EthAddr::parse(texts.mac);
    if (run->parsed())
        options.command = Options::Command::run;
    else if (replay->parsed())
        options.command = Options::Command::replay;
    else
        options.request = show->parsed() ? "show" : watch->parsed() ? "watch" : "set";
    for (std::string const& word : words)
        options.request += " " + word;
    if (options.command == Options::Command::request && options.json)
        options.request += " json";
    return options;
}

} // namespace Agent
