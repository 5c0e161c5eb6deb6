/// bpdu-exchange [--keep FOLDER]
///
/// What the library is for, in one process: a transmit tree is mirrored, its record becomes the
/// frame that a real RSTP bridge is shown, and what the bridge answers reaches the mirrored receive
/// tree. Says in the end whether mirrors and bridge did what they should. --keep leaves the
/// captures sent.pcap and answer.pcap, and the bridge's status, in the folder.
///
/// Exit status: 0 they did; 1 they did not, or something failed; 2 wrong usage.

#include "bpdu/LlcHeader.h"
#include "bpdu/VarnolUtils.h"
#include "examples/Text.h"
#include "examples/TreeTable.h"
#include "examples/bridge/BpduRecord.h"
#include "examples/bridge/BridgeRun.h"
#include "examples/bridge/TemporaryFolder.h"
#include "framework/zel/Object.h"
#include "framework/zel/Trace.h"
#include "model/RxStatus.h"
#include "model/TxStatus.h"
#include "platform/stp/RstpBpdu.h"
#include "syncers/RxStatusToRxDynamicSyncer.h"
#include "syncers/TxStatusToRxSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <functional>
#include <iomanip>
#include <iostream>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

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

const Zel::Name mstName("mst1");
constexpr auto interface = Kolvu::IntfId::ethernet(1);
constexpr Bridging::VlanIdOrNone noVlan = 0;

/// Fills in what a bridge that is one hop from the root, at a cost of 1000, says through a
/// designated port that is not forwarding yet.
void designate(Varnol::IntxInfo::Ptr const& info) {
    Stp::RstpBpduFlags flags;
    flags.portRoleIs(Stp::PortRole::designated);

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

/// The sending side's reactor on a port: makes a frame of the port's non-VLAN record whenever the
/// port's count of updates for it has changed.
class Sender final : public Zel::Object<Sender, Varnol::TxMstPortStatus::NotifieeConst> {
  public:
    static Zel::TypeNode const _zelType;

    explicit Sender(Varnol::TxMstPortStatus::Ptr const& port)
        : port_(port) {}

    std::vector<Frame> const& frames() const noexcept { return frames_; }

    void onAttribute(Zel::AttributeId id, void const* key) override {
        if (id != Varnol::TxMstPortStatus::txUpdateAttribute::id ||
            *static_cast<Bridging::VlanIdOrNone const*>(key) != noVlan)
            return;
        // A mirror may write the same count again.
        const unsigned updates = port_->txUpdate(noVlan);
        if (std::exchange(updates_, updates) != updates && updates != 0)
            frames_.push_back(frameOf(port_->txInfo(noVlan)));
    }

  private:
    Varnol::TxMstPortStatus::Ptr port_;
    unsigned updates_ = 0;
    std::vector<Frame> frames_;
};
constinit Zel::TypeNode const Sender::_zelType{"Sender", {}};

// How things are shown.

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
void show(std::string_view name, std::string_view value, int width = 30) {
    std::cout << "  " << std::left << std::setw(width - 2) << name << value << "\n";
}

/// Shows the fields of a part of a frame: offset, name, octets, value.
/// @param fields  the layout's table
/// @param begin   the part's first octet, in the frame
void showFields(auto const& fields, Frame const& frame, std::size_t begin) {
    const auto showField =
        [&]<template <class> class Field, class Value>(Field<Value> const& field) {
            const std::span<Zel::U8 const, Value::wireOctets> octets =
                std::span(frame).subspan(begin + field.offset).template first<Value::wireOctets>();
            char line[64];
            std::snprintf(line, sizeof(line), "%2zu  %-29s", begin + field.offset, field.name);
            show(line + hex(octets), text(Value::decode(octets)), 60);
        };
    std::apply([&](auto const&... field) { (showField(field), ...); }, fields);
}

constexpr std::size_t bpduBegin = Varnol::LlcHeader::Untagged::octets;

void showFrame(Frame const& frame) {
    std::cout << "\nThe second frame that it sends, " << frame.size() << " octets\n";
    for (std::size_t begin = 0; begin < frame.size(); begin += 16)
        std::cout << "  "
                  << hex(std::span(frame).subspan(begin).first(
                         std::min<std::size_t>(16, frame.size() - begin)))
                  << "\n";
    std::cout << "\nIts fields (IEEE 802.3, IEEE 802.2, IEEE 802.1D-2004 9.3.3)\n";
    showFields(Varnol::LlcHeader::Untagged::fields, frame, 0);
    showFields(Stp::RstpLayout::fields, frame, bpduBegin);
}

void showTrace(Zel::TraceRecord const& record, void*) {
    const std::string_view text = record.text;
    std::cout << "  " << text.substr(0, text.find_last_not_of(' ') + 1) << "\n";
}

/// Does something, and shows what the syncers say while they follow.
void traced(std::string const& what, std::function<void()> const& action) {
    std::cout << "\n" << what << "\n";
    const Zel::TraceSink former = Zel::traceSinkIs({&showTrace});
    const auto levelIs = [](bool on) {
        for (const char* handle : {"StpTxStatusSyncer", "StpRxStatusSyncer"}) {
            Zel::traceLevelIs(handle, 7, on);
            Zel::traceLevelIs(handle, 8, on);
        }
    };
    levelIs(true);
    action();
    levelIs(false);
    Zel::traceSinkIs(former);
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

    const bool follows = verdict(run.follows && root == ourRoot,
                                 "the bridge follows our root identifier, " + text(ourRoot));
    const bool adds = verdict(cost.value() == ourCost.value() + portCost.value(),
                              "its root path cost, " + text(cost) + ", is ours, " + text(ourCost) +
                                  ", and that of its port, " + text(portCost));
    const bool agrees =
        verdict(agreements == 2, "it agrees with our root, and our proposal makes it agree again");
    return follows && adds && agrees;
}

/// What the service holds: what it wants to be sent, and what was received.
struct Service {
    Varnol::TxStatus::Ptr toSend = Zel::newActive<Varnol::TxStatus>();
    Varnol::RxStatus::Ptr received = Zel::newActive<Varnol::RxStatus>();

    Service() {
        toSend->heartbeatTimeoutIs(2.5);
        const auto port = txPort();
        port->txHelloWhenOnIs(Stp::TimerVal::seconds(2));
        designate(port->txInfoIs(noVlan));
        rxPort();
    }
    Varnol::TxMstPortStatus::Ptr txPort() const {
        return toSend->txMstStatusIs(mstName)->txMstPortStatusIs(interface);
    }
    Varnol::RxMstPortStatus::Ptr rxPort() const {
        return received->rxMstStatusIs(mstName)->rxMstPortStatusIs(interface);
    }

    /// Has the port send its record.
    void send() const { txPort()->txUpdateInc(noVlan, 1); }
    void propose() const {
        const auto cist = txPort()->txInfo(noVlan)->mstiN(0);
        Stp::RstpBpduFlags flags = cist->flags();
        flags.proposalIs(true);
        cist->flagsIs(flags);
    }
    void receive(Frame const& frame) const {
        const auto port = rxPort();
        recordBpdu(port->rxInfoIs(noVlan), rstBpduIn(frame));
        port->bpduCountIs(port->bpduCount() + 1);
        port->rxUpdateInc(noVlan, 1);
    }
};

/// @param keep  where to leave the files
bool demo(std::optional<std::filesystem::path> const& keep) {
    const EndingSignalsWait wait;
    const Service service;

    // What is to be sent: from the service's tree to the sending side's, and out.
    const auto sending = Zel::newActive<Varnol::TxStatus>();
    const auto showTransmit = [&](std::string_view title) {
        return showTrees(std::cout, title, "the service's tree", service.toSend.ptr(),
                         "the sending side's", sending.ptr());
    };
    showTransmit("TRANSMIT TREES BEFORE");
    Varnol::TxStatusToTxSyncer::Ptr transmit;
    traced("A syncer is made, and says",
           [&] { transmit = Varnol::txStatusToTxSyncerFactory(service.toSend, sending); });

    const auto port = sending->txMstStatus(mstName)->txMstPortStatus(interface);
    const auto sender = Zel::newActive<Sender>(port);
    sender->notifierIs(port);
    traced("The service has its record sent", [&] { service.send(); });
    traced("The service sets the record's proposal flag, and has it sent again", [&] {
        service.propose();
        service.send();
    });
    const bool transmitEqual = showTransmit("TRANSMIT TREES AFTER");
    std::vector<Frame> const& sent = sender->frames();
    showFrame(sent.at(1));
    std::cout.flush();

    // To a real bridge, and back.
    std::optional<TemporaryFolder> temporary;
    const auto folder = keep ? *keep : temporary.emplace().path();
    const auto script =
        std::filesystem::read_symlink("/proc/self/exe").replace_filename("rstp-bridge");
    const BridgeRun run = runBridge(script, folder, sent);

    // What was received: from the service's tree to the dynamic one, whose ports are those of the
    // transmit tree.
    const auto dynamic = Zel::newActive<Varnol::RxStatus>();
    const auto showReceive = [&](std::string_view title) {
        return showTrees(std::cout, title, "the service's tree", service.received.ptr(),
                         "the dynamic tree", dynamic.ptr());
    };
    showReceive("RECEIVE TREES BEFORE");
    Varnol::TxStatusToRxSyncer::Ptr structure;
    Varnol::RxStatusToRxDynamicSyncer::Ptr receive;
    traced("Two syncers are made, and say", [&] {
        structure = Varnol::txStatusToRxSyncerFactory(service.toSend, dynamic);
        receive = Varnol::rxStatusToRxDynamicSyncerFactory(service.received, dynamic);
    });
    for (Frame const& answer : run.answers) {
        const Stp::RstpBpduView bpdu = rstBpduIn(answer);
        traced("The bridge has sent flags " + text(bpdu.rstpFlags()) + ", root " +
                   text(bpdu.rootId()),
               [&] { service.receive(answer); });
    }
    const bool receiveEqual = showReceive("RECEIVE TREES AFTER");

    std::cout << "\nThe bridge in the end\n";
    for (auto const& [name, value] : run.status.values())
        show(name, value);

    std::cout << "\nThe verdict\n";
    const bool mirrored = verdict(transmitEqual, "the sending side's tree equals the service's");
    const bool received = verdict(receiveEqual, "the dynamic receive tree equals the service's");
    const bool answered = judged(run, port->txInfo(noVlan)->mstiN(0)->cistExtRootPathCost());
    if (!std::cout.flush())
        throw std::runtime_error("cannot write to standard output");
    return mirrored && received && answered;
}

} // namespace
} // namespace Examples

int main(int argc, char** argv) {
    const std::span arguments(argv + 1, argv + argc);
    std::optional<std::filesystem::path> keep;
    if (arguments.size() == 2 && arguments[0] == std::string_view("--keep") && *arguments[1]) {
        keep = arguments[1];
    } else if (!arguments.empty()) {
        std::cerr << "usage: bpdu-exchange [--keep FOLDER]\n";
        return 2;
    }
    std::signal(SIGPIPE, SIG_IGN); // writing to nobody is an error like others
    try {
        return Examples::demo(keep) ? 0 : 1;
    } catch (std::exception const& error) {
        std::cout.flush();
        std::cerr << "bpdu-exchange: " << error.what() << "\n";
        return 1;
    }
}
