/// stp-agent: speaks RSTP with real bridges through the library Varnol; see docs/agent.md.
///
/// Exit status: 0 all went well; 1 something failed; 2 wrong usage.

#include "agent/Options.h"
#include "agent/control/ControlClient.h"
#include "agent/control/ControlServer.h"
#include "agent/control/JsonView.h"
#include "agent/control/TextView.h"
#include "agent/io/CaptureFile.h"
#include "agent/io/LivePorts.h"
#include "agent/io/Replay.h"
#include "agent/io/TraceMap.h"
#include "framework/zel/TraceFileSink.h"
#include "framework/zel/TraceLevels.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <exception>
#include <filesystem>
#include <initializer_list>
#include <iostream>
#include <stdexcept>
#include <system_error>

namespace Agent {
namespace {

void replayCapture(Options const& options) {
    std::error_code none;
    if (std::filesystem::equivalent(options.capture, options.pcap, none))
        throw std::runtime_error(options.pcap + ": is the capture that is to be replayed");
    CaptureReader reader(options.capture);
    const auto first = reader.next();
    if (!first)
        throw std::runtime_error(options.capture + ": holds no frame");
    std::optional<CaptureWriter> writer;
    if (!options.pcap.empty())
        writer.emplace(options.pcap, first->at);

    Settings settings = options.settings;
    settings.address = options.address.value_or(Kolvu::EthAddr{0x02, 0, 0, 0, 0, 0x0a});
    Bridge bridge(
        settings,
        [&](Time at, Port const&, std::span<Zel::U8 const> frame) {
            if (writer)
                writer->write(at, frame);
            return 0;
        },
        [&](Time at, Port const* port, std::string const& change) {
            if (!options.json)
                std::cout << changeText(at, port, change);
        });
    Port& port = bridge.portIs("capture");
    bridge.portUp(port, settings.address, Time{});
    const Time now = replay(*first, reader, bridge, port.id, writer ? &*writer : nullptr);
    const AgentView view{bridge, now, {}, census()};
    std::cout << (options.json ? showJson(view, nullptr) : "\n" + showText(view, nullptr, true));
}

/// Those signals, as a descriptor.
Descriptor signalsOf(std::initializer_list<int> numbers) {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : numbers)
        sigaddset(&set, number);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    Descriptor signals(signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!signals)
        throw std::system_error(errno, std::generic_category(), "signalfd");
    return signals;
}

/// Reopens the trace file on SIGHUP, and ends the loop on every other signal.
void handleSignals(Descriptor const& signals, EventLoop& loop, Zel::TraceFileSink* traceFile) {
    signalfd_siginfo signal;
    while (read(signals.number(), &signal, sizeof(signal)) == sizeof(signal)) {
        if (signal.ssi_signo != SIGHUP || !traceFile) {
            loop.stop();
            continue;
        }
        try {
            traceFile->reopen();
        } catch (std::system_error const& error) {
            std::cerr << "stp-agent: " << error.what() << std::endl;
        }
    }
}

void checkInterfaces(std::vector<std::string> const& interfaces) {
    for (std::string const& interface : interfaces)
        if (!findLink(interface))
            throw std::runtime_error(interface + ": is no Ethernet interface");
}

/// The lowest of the interfaces', IEEE 802.1D-2004 7.12.5.
Kolvu::EthAddr lowestAddress(std::vector<std::string> const& interfaces) {
    std::vector<Kolvu::EthAddr> addresses;
    for (std::string const& interface : interfaces)
        if (const auto link = findLink(interface))
            addresses.push_back(link->address);
    return addresses.empty() ? Kolvu::EthAddr() : *std::ranges::min_element(addresses);
}

/// @param traceFile  null for none
void runAgent(Options const& options, Zel::TraceFileSink* traceFile) {
    const Descriptor signals =
        traceFile ? signalsOf({SIGINT, SIGTERM, SIGHUP}) : signalsOf({SIGINT, SIGTERM});
    checkInterfaces(options.interfaces);
    EventLoop loop;
    std::optional<CaptureWriter> capture;
    if (!options.pcap.empty())
        capture.emplace(options.pcap, std::chrono::duration_cast<Time>(
                                          std::chrono::system_clock::now().time_since_epoch()) -
                                          loop.now());
    Settings settings = options.settings;
    settings.address = options.address ? *options.address : lowestAddress(options.interfaces);

    LivePorts ports(loop, &openPcapSocket, &findLink);
    std::optional<ControlServer> server;
    Bridge bridge(
        settings,
        [&](Time now, Port const& port, std::span<Zel::U8 const> frame) {
            return ports.send(now, port, frame);
        },
        [&](Time now, Port const* port, std::string const& change) {
            if (server)
                server->changed(changeText(now, port, change));
        });
    for (std::string const& interface : options.interfaces)
        ports.portIs(bridge, interface);
    ports.captureIs(capture ? &*capture : nullptr);
    server.emplace(loop, options.socket, bridge);
    LinkMonitor links;
    loop.watch(links.descriptor(), POLLIN, [&] {
        links.drain();
        ports.follow();
    });
    loop.watch(signals.number(), POLLIN, [&] { handleSignals(signals, loop, traceFile); });
    if (options.duration > 0)
        loop.timerIs(loop.timer([&] { loop.stop(); }),
                     loop.now() + std::chrono::duration_cast<Time>(
                                      std::chrono::duration<double>(options.duration)));
    ports.start(bridge);
    std::cout << "stp-agent: running, control socket " << options.socket << std::endl;
    loop.run();
}

int run(Options const& options) {
    std::optional<Zel::TraceFileSink> traceFile;
    if (!options.traceFile.empty()) {
        traceFile.emplace(options.traceFile);
        Zel::traceSinkIs(traceFile->sink());
    }
    std::optional<TraceMap> traceMap;
    if (!options.traceMap.empty())
        traceMap.emplace(options.traceMap, options.traceMapSize);
    for (std::string const& traces : options.traces)
        Zel::traceSettingsAre(traces);
    switch (options.command) {
    case Options::Command::run:
        runAgent(options, traceFile ? &*traceFile : nullptr);
        break;
    case Options::Command::replay:
        replayCapture(options);
        break;
    case Options::Command::request:
        request(options.socket, options.request, std::cout);
        break;
    }
    if (!std::cout.flush())
        throw std::runtime_error("cannot write to standard output");
    return 0;
}

} // namespace
} // namespace Agent

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN); // writing to nobody is an error like others
    std::signal(SIGXFSZ, SIG_IGN); // and so is writing too much
    try {
        return Agent::run(Agent::parseOptions(argc, argv));
    } catch (std::exception const& error) {
        std::cout.flush();
        std::cerr << "stp-agent: " << error.what() << "\n";
        return 1;
    }
}
