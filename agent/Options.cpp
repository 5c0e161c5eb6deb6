#include "agent/Options.h"

#include "framework/zel/Exception.h"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <iostream>

namespace Agent {
namespace {

/// A whole number within limits, and a multiple; says so when it is not.
CLI::Validator multiple(unsigned long step, unsigned long most) {
    const std::string allowed =
        "0 to " + std::to_string(most) + (step == 1 ? "" : " in steps of " + std::to_string(step));
    return CLI::Validator(
        [=](std::string& text) -> std::string {
            char* end = nullptr;
            errno = 0;
            const unsigned long value = std::strtoul(text.c_str(), &end, 10);
            const bool number = !text.empty() && text.find_first_not_of("0123456789") == text.npos;
            if (number && errno == 0 && *end == '\0' && value <= most && value % step == 0)
                return {};
            return "'" + text + "' is not allowed; allowed: " + allowed;
        },
        allowed);
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

std::string checkTrace(std::string const& text) {
    const std::size_t slash = text.rfind('/');
    if (slash != text.npos && slash > 0 && text.size() == slash + 2 && text.back() >= '0' &&
        text.back() <= '9')
        return {};
    return "'" + text + "' is not allowed; allowed: a handle and a level 0 to 9, as StpAgent/5";
}

std::string checkWord(std::string const& text) {
    if (!text.empty() && std::ranges::none_of(text, [](char c) { return c <= ' ' || c > '~'; }))
        return {};
    return "'" + text + "' is not allowed; allowed: a word without blanks";
}

struct Texts {
    std::vector<std::string> traces;
    std::string mac;
};

void addSettings(CLI::App& app, Options& options, Texts& texts) {
    Settings& settings = options.settings;
    app.add_option("--priority", settings.priority, "bridge priority")
        ->check(multiple(4096, 61440));
    app.add_option_function<Zel::U32>(
           "--cost", [&](Zel::U32 cost) { settings.cost = cost; }, "root path cost that is said")
        ->check(multiple(1, 0xffffffff));
    app.add_option("--mac", texts.mac, "bridge address")
        ->check(CLI::Validator(checkAddress, "MAC"));
    app.add_option_function<unsigned>(
           "--hello", [&](unsigned hello) { settings.hello = static_cast<Zel::U8>(hello); },
           "hello time in seconds")
        ->check(CLI::Range(1, 9));
    app.add_option_function<unsigned>(
           "--port-priority",
           [&](unsigned value) { settings.portPriority = static_cast<Zel::U8>(value); },
           "priority of each port")
        ->check(multiple(16, 240));
    app.add_option("--pcap", options.pcap, "write every frame sent and heard to this capture");
    app.add_option("--trace", texts.traces, "show traces, as StpAgent/5 or StpTxStatusSyncer/8")
        ->check(CLI::Validator(checkTrace, "HANDLE/LEVEL"))
        ->allow_extra_args(false);
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
        ->check(CLI::Validator(checkWord, "IFACE"));
    run->add_option("--duration", options.duration, "stop after so many seconds")
        ->check(CLI::Range(0.001, 1e9));
    run->add_option("--socket", options.socket, "control socket")->capture_default_str();
    addSettings(*run, options, texts);

    CLI::App* replay =
        app.add_subcommand("replay", "do the same on a capture, in the capture's time");
    replay->add_option("FILE", options.capture, "capture, pcap or pcapng")->required();
    replay->add_flag("-j,--json", options.json, "show JSON in the end, and no changes");
    addSettings(*replay, options, texts);

    CLI::App* show = app.add_subcommand(
        "show", "show ports of the running agent: [PORT] [detail], trees, bpdu PORT");
    show->add_option("WHAT", words, "[PORT] [detail] | trees | bpdu PORT")
        ->check(CLI::Validator(checkWord, ""));
    show->add_flag("-j,--json", options.json, "JSON");
    show->add_option("--socket", options.socket, "control socket")->capture_default_str();

    CLI::App* watch = app.add_subcommand("watch", "a line for each change, until interrupted");
    watch->add_option("--socket", options.socket, "control socket")->capture_default_str();

    CLI::App* set = app.add_subcommand(
        "set", "say something else: priority N, cost N, hello S, port-priority N");
    set->add_option("SETTING", words, "priority | cost | hello | port-priority, and the value")
        ->required()
        ->expected(2)
        ->check(CLI::Validator(checkWord, ""));
    set->add_option("--socket", options.socket, "control socket")->capture_default_str();

    try {
        app.parse(argc, argv);
        if (app.get_subcommands().size() != 1)
            throw CLI::RequiredError("one command");
    } catch (CLI::ParseError const& error) {
        std::exit(app.exit(error) == 0 ? 0 : 2);
    }

    if (!texts.mac.empty())
        options.address = Kolvu::EthAddr::parse(texts.mac);
    for (std::string const& trace : texts.traces)
        options.traces.emplace_back(trace.substr(0, trace.size() - 2),
                                    static_cast<unsigned>(trace.back() - '0'));
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
