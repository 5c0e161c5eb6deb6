/// first-bpdu [--keep FOLDER]
///
/// Makes the frame of one BPDU record, shows it to a real RSTP bridge and says whether the bridge
/// did what IEEE 802.1D-2004 has it do. --keep leaves the captures sent.pcap and answer.pcap, and
/// the bridge's status, in the folder.
///
/// Exit status: 0 the bridge did; 1 it did not, or something failed; 2 wrong usage.

#include "bpdu/LlcHeader.h"
#include "bpdu/VarnolUtils.h"
#include "examples/bridge/BridgeRun.h"
#include "examples/bridge/TemporaryFolder.h"
#include "framework/zel/Attribute.h"
#include "framework/zel/Trace.h"
#include "platform/stp/RstpBpdu.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iomanip>
#include <iostream>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>

namespace Examples {
namespace {

constexpr Kolvu::EthAddr ourAddress{0x02, 0, 0, 0, 0, 0x0a};
constexpr Stp::BridgeId ourBridge(4096, 0, ourAddress);
constexpr Stp::BridgeId ourRoot(4096, 0, Kolvu::EthAddr{0x02, 0, 0, 0, 0, 0x01});

/// While one lives, signals that would end the program wait, so that it can clean up before.
class EndingSignalsWait {
  public:
    EndingSignalsWait() {
        sigset_t ending;
        sigemptyset(&ending);
        for (const int signal : {SIGHUP, SIGINT, SIGTERM})
            sigaddset(&ending, signal);
        sigprocmask(SIG_BLOCK, &ending, &before_);
    }
    ~EndingSignalsWait() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
    EndingSignalsWait(EndingSignalsWait const&) = delete;
    EndingSignalsWait& operator=(EndingSignalsWait const&) = delete;

  private:
    sigset_t before_;
};

/// What a bridge that is one hop from the root, at a cost of 1000, says through a designated port
/// that is not forwarding yet.
Varnol::IntxInfo::Ptr record() {
    Stp::RstpBpduFlags flags;
    flags.portRoleIs(Stp::PortRole::designated);
    flags.proposalIs(true);

    const auto info = Zel::newActive<Varnol::IntxInfo>(Bridging::VlanIdOrNone());
    info->stpVersionIs(Stp::StpBpduVersion::rstp);
    info->intxInfoTypeIs(Stp::StpBpduType::rst);
    const auto cist = info->mstiNIs(0);
    cist->flagsIs(flags);
    cist->bridgeIdIs(ourBridge);
    cist->portIdIs(Stp::PortId(128, 1));
    cist->cistRootBridgeIdIs(ourRoot);
    cist->cistExtRootPathCostIs(1000);
    cist->messageAgeIs(Stp::TimerVal::seconds(1));
    cist->maxAgeIs(Stp::TimerVal::seconds(20));
    cist->helloTimeIs(Stp::TimerVal::seconds(2));
    cist->fwdDelayIs(Stp::TimerVal::seconds(15));
    return info;
}

Frame frameOf(Varnol::IntxInfo::Ptr const& info) {
    const auto port = Zel::newActive<Stp::Port>();
    port->ethAddrIs(ourAddress);
    const auto machine = Zel::newActive<Stp::MstPortSm>(port);
    const Kolvu::Pkt::Ptr pkt = Varnol::generatePktFromIntxInfo(machine, info, false);
    if (!pkt)
        throw std::runtime_error("the packet pool is exhausted");
    return Frame(pkt->data().begin(), pkt->data().end());
}

/// The frame of the same record without its proposal.
Frame frameWithoutProposal(Varnol::IntxInfo::Ptr const& info) {
    const auto cist = info->mstiN(0);
    const Stp::RstpBpduFlags before = cist->flags();
    Stp::RstpBpduFlags flags = before;
    flags.proposalIs(false);
    cist->flagsIs(flags);
    const Frame frame = frameOf(info);
    cist->flagsIs(before);
    return frame;
}

// How things are shown.

/// As the library prints the value; a string in quotes.
template <class T> std::string text(T const& value) {
    Zel::TraceStream stream;
    if constexpr (std::same_as<T, Zel::String>)
        stream << "\"" << value << "\"";
    else if constexpr (std::unsigned_integral<T>)
        stream << Zel::U64{value};
    else
        stream << value;
    return std::string(stream.text());
}

std::string hex(std::span<Zel::U8 const> octets) {
    std::string digits;
    for (const Zel::U8 octet : octets) {
        char pair[4];
        std::snprintf(pair, sizeof(pair), "%02x ", octet);
        digits += pair;
    }
    digits.pop_back();
    return digits;
}

/// One line, a name and a value, in columns.
void show(std::string_view name, std::string_view value, int indent = 2, int width = 30) {
    std::cout << std::setw(indent) << "" << std::left << std::setw(width - indent) << name;
    std::cout << value << "\n";
}

template <class Entity> void showAttributes(Entity const& entity, int indent) {
    Zel::forEachAttribute<Entity>([&](auto attribute) {
        using A = decltype(attribute);
        if constexpr (Zel::CollectionAttribute<A>) {
            for (auto const& child : A::read(entity)) {
                std::cout << "  " << A::name << "(" << text(child->fwkKey()) << ")\n";
                showAttributes(*child, indent + 2);
            }
        } else {
            show(A::name, text(A::read(entity)), indent);
        }
    });
}

/// Shows the fields of a part of a frame that differ from those of another of the same layout, or
/// all: offset, name, octets, value.
/// @param fields  the layout's table
/// @param begin   the part's first octet, in the frame
void showFields(auto const& fields, Frame const& frame, std::size_t begin,
                Frame const* other = nullptr) {
    const auto showField = [&]<template <class> class Field, class Value>(
                               Field<Value> const& field) {
        const auto octetsIn = [&](Frame const& of) {
            return std::span(of).subspan(begin + field.offset).template first<Value::wireOctets>();
        };
        const std::span<Zel::U8 const, Value::wireOctets> octets = octetsIn(frame);
        if (other && std::ranges::equal(octets, octetsIn(*other)))
            return;
        char line[64];
        std::snprintf(line, sizeof(line), "%2zu  %-29s", begin + field.offset, field.name);
        show(line + hex(octets), text(Value::decode(octets)), 2, 60);
    };
    std::apply([&](auto const&... field) { (showField(field), ...); }, fields);
}

constexpr std::size_t bpduBegin = Varnol::LlcHeader::Untagged::octets;

void showSent(Varnol::IntxInfo const& info, Frame const& frame) {
    std::cout << "The record, an IntxInfo\n";
    showAttributes(info, 2);
    std::cout << "\nThe frame that generatePktFromIntxInfo makes of it, " << frame.size()
              << " octets\n";
    for (std::size_t begin = 0; begin < frame.size(); begin += 16)
        std::cout << "  "
                  << hex(std::span(frame).subspan(begin).first(
                         std::min<std::size_t>(16, frame.size() - begin)))
                  << "\n";
    std::cout << "\nIts fields (IEEE 802.3, IEEE 802.2, IEEE 802.1D-2004 9.3.3)\n";
    showFields(Varnol::LlcHeader::Untagged::fields, frame, 0);
    showFields(Stp::RstpLayout::fields, frame, bpduBegin);
}

/// The BPDUs only: the source address of the bridge's frames differs from run to run.
void showAnswers(BridgeRun const& run) {
    Frame const* last = nullptr;
    for (Frame const& answer : run.answers) {
        rstBpduIn(answer); // or there is nothing to show
        if (!last)
            std::cout << "  an RST BPDU with\n";
        else
            std::cout << (answer == *last ? "  the last one again\n" : "  another, with changed\n");
        showFields(Stp::RstpLayout::fields, answer, bpduBegin, last);
        last = &answer;
    }
    std::cout << "\nThe bridge in the end\n";
    for (auto const& [name, value] : run.status.values())
        show(name, value);
}

/// Shows one line of the verdict.
bool verdict(bool holds, std::string const& claim) {
    std::cout << (holds ? "  yes  " : "  NO   ") << claim << "\n";
    return holds;
}

/// Whether the bridge did all it should.
bool judged(BridgeRun const& run, Stp::PathCost ourCost) {
    const Stp::BridgeId root = run.status.bridgeId("root_id");
    const Stp::PathCost cost = run.status.pathCost("root_path_cost");
    const Stp::PathCost portCost = run.status.pathCost("port_cost");
    // Once its other ports are in step, a bridge agrees with a new root unasked, and after that
    // only when a proposal comes (IEEE 802.1D-2004 17.29.3): the second agreement answers ours.
    const auto agreements = std::ranges::count_if(run.answers, [](Frame const& answer) {
        const Stp::RstpBpduView bpdu = rstBpduIn(answer);
        const Stp::RstpBpduFlags flags = bpdu.rstpFlags();
        return bpdu.rootId() == ourRoot && flags.portRole() == Stp::PortRole::root &&
               flags.agreement();
    });

    std::cout << "\nThe verdict\n";
    const bool follows = verdict(run.follows && root == ourRoot,
                                 "the bridge follows our root identifier, " + text(ourRoot));
    const bool adds = verdict(cost.value() == ourCost.value() + portCost.value(),
                              "its root path cost, " + text(cost) + ", is ours, " + text(ourCost) +
                                  ", and that of its port, " + text(portCost));
    const bool agrees =
        verdict(agreements == 2, "it agrees with our root, and our proposal makes it agree again");
    return follows && adds && agrees;
}

/// @param keep  where to leave the files
bool demo(std::optional<std::filesystem::path> const& keep) {
    const EndingSignalsWait wait;
    const auto info = record();
    const Frame frame = frameOf(info);
    showSent(*info, frame);
    std::cout.flush();

    std::optional<TemporaryFolder> temporary;
    const auto folder = keep ? *keep : temporary.emplace().path();
    const auto script =
        std::filesystem::read_symlink("/proc/self/exe").replace_filename("rstp-bridge");
    const std::array frames{frameWithoutProposal(info), frame};
    std::cout << "\nThe bridge is shown it with flags " << text(rstBpduIn(frames[0]).rstpFlags())
              << ", then as it is. The bridge sends\n";
    const BridgeRun run = runBridge(script, folder, frames);
    showAnswers(run);
    const bool good = judged(run, info->mstiN(0)->cistExtRootPathCost());
    if (!std::cout.flush())
        throw std::runtime_error("cannot write to standard output");
    return good;
}

} // namespace
} // namespace Examples

int main(int argc, char** argv) {
    const std::span arguments(argv + 1, argv + argc);
    std::optional<std::filesystem::path> keep;
    if (arguments.size() == 2 && arguments[0] == std::string_view("--keep") && *arguments[1]) {
        keep = arguments[1];
    } else if (!arguments.empty()) {
        std::cerr << "usage: first-bpdu [--keep FOLDER]\n";
        return 2;
    }
    std::signal(SIGPIPE, SIG_IGN); // writing to nobody is an error like others
    try {
        return Examples::demo(keep) ? 0 : 1;
    } catch (std::exception const& error) {
        std::cout.flush();
        std::cerr << "first-bpdu: " << error.what() << "\n";
        return 1;
    }
}
