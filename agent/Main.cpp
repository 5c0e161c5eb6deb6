/// stp-agent: speaks RSTP with real bridges through the library Varnol; see docs/agent.md.
///
/// Exit status: 0 all went well; 1 something failed; 2 wrong usage.

#include "agent/Options.h"
#include "agent/control/JsonView.h"
#include "agent/control/TextView.h"
#include "agent/io/CaptureFile.h"
#include "agent/io/Replay.h"
#include "framework/zel/Trace.h"

#include <csignal>
#include <exception>
#include <iostream>
#include <stdexcept>

namespace Agent {
namespace {

void replayCapture(Options const& options) {
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
    const AgentView view{bridge, now, {}};
    std::cout << (options.json ? showJson(view, nullptr) : "\n" + showText(view, nullptr, true));
}

int main(Options const& options) {
    for (auto const& [handle, level] : options.traces)
        Zel::traceLevelIs(handle, level, true);
    switch (options.command) {
    case Options::Command::run:
    case Options::Command::request:
        throw std::runtime_error("not yet");
    case Options::Command::replay:
        replayCapture(options);
    }
    if (!std::cout.flush())
        throw std::runtime_error("cannot write to standard output");
    return 0;
}

} // namespace
} // namespace Agent

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN); // writing to nobody is an error like others
    try {
        return Agent::main(Agent::parseOptions(argc, argv));
    } catch (std::exception const& error) {
        std::cout.flush();
        std::cerr << "stp-agent: " << error.what() << "\n";
        return 1;
    }
}
