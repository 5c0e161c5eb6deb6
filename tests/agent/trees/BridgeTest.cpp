#include "tests/agent/trees/Rig.h"

#include "agent/bpdu/Parse.h"
#include "framework/zel/Trace.h"
#include "model/RxStatus.h"

#include <numeric>
#include <variant>

namespace Agent::Test {
namespace {

using Changes = std::vector<std::string>;

ReceivedBpdu parsed(Frames::Octets const& frame) {
    const auto result = parseFrame(frame);
    if (!std::holds_alternative<ReceivedBpdu>(result))
        throw std::runtime_error("refused");
    return std::get<ReceivedBpdu>(result);
}

TEST(Bridge, SendsOneBpduOnEachPortPerHello) {
    Rig rig;
    EXPECT_TRUE(rig.sent.empty());
    rig.bridge.hello(1s);
    rig.bridge.hello(3s);

    ASSERT_EQ(rig.sent.size(), 4);
    EXPECT_EQ(rig.sent[0].port, "eth0");
    EXPECT_EQ(rig.sent[1].port, "eth1");
    EXPECT_EQ(rig.sent[2].port, "eth0");
    EXPECT_EQ(rig.sent[1].at, Time(1s));
    EXPECT_EQ(rig.sent[2].at, Time(3s));
    EXPECT_EQ(rig.eth0.counts.sent, 2);
    EXPECT_EQ(rig.bridge.source().localHeartbeat(), 2);
}

TEST(Bridge, SaysThatItIsTheRootAndItsPortDesignatedAndForwarding) {
    Rig rig;
    rig.bridge.hello(1s);

    const Frames::Octets expected{
        0x01, 0x80, 0xc2, 0x00, 0x00, 0x00,             // Destination Address
        0x02, 0x00, 0x00, 0x00, 0x01, 0x02,             // Source Address: the port's
        0x00, 0x27, 0x42, 0x42, 0x03,                   // Length, LLC
        0x00, 0x00, 0x02, 0x02,                         // RST BPDU
        0x3c,                                           // Flags: designated, learning, forwarding
        0x80, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x0a, // Root Identifier
        0x00, 0x00, 0x00, 0x00,                         // Root Path Cost
        0x80, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x0a, // Bridge Identifier
        0x80, 0x02,                                     // Port Identifier
        0x00, 0x00, 0x14, 0x00, 0x02, 0x00, 0x0f, 0x00, // Message Age, Max Age, Hello, Delay
        0x00,                                           // Version 1 Length
    };
    ASSERT_EQ(rig.sent.size(), 2);
    EXPECT_EQ(rig.sent[1].frame, expected);
}

TEST(Bridge, SaysWhatTheSettingsSayFromTheNextHelloOn) {
    Rig rig;
    Settings settings = rig.bridge.settings();
    settings.priority = 4096;
    settings.cost = 20000;
    settings.portPriority = 16;
    settings.hello = 9;
    rig.bridge.settingsIs(settings, 1s);
    EXPECT_TRUE(rig.sent.empty());
    rig.bridge.hello(2s);

    const ReceivedBpdu said = parsed(rig.sent.at(0).frame);
    EXPECT_EQ(said.rootId, Stp::BridgeId(4096, 0, bridgeAddress));
    EXPECT_EQ(said.bridgeId, said.rootId);
    EXPECT_EQ(said.rootPathCost, 20000);
    EXPECT_EQ(said.portId, Stp::PortId(16, 1));
    EXPECT_EQ(said.helloTime, Stp::TimerVal::seconds(9));
    EXPECT_EQ(rig.changes, (Changes{"-: priority: 32768 -> 4096", "-: cost: 0 -> 20000",
                                    "-: port priority: 128 -> 16", "-: hello: 2 -> 9"}));
}

TEST(Bridge, SettingsThatAreTheSameChangeNothing) {
    Rig rig;
    rig.bridge.settingsIs(rig.bridge.settings(), 1s);
    EXPECT_EQ(rig.changes, Changes());
}

TEST(Bridge, APortThatComesUpLaterSaysWhatWasSetMeanwhile) {
    Rig rig;
    rig.bridge.portDown(rig.eth1, 1s);
    Settings settings = rig.bridge.settings();
    settings.priority = 0;
    rig.bridge.settingsIs(settings, 2s);
    rig.bridge.portUp(rig.eth1, otherPortAddress, 3s);
    rig.bridge.hello(4s);

    ASSERT_EQ(rig.sent.size(), 2);
    EXPECT_EQ(parsed(rig.sent[1].frame).rootId.priority(), 0);
}

TEST(Bridge, APortThatIsDownSendsNothingAndHasNoPlaceInTheTrees) {
    Rig rig;
    rig.hear(rig.eth1, frameOf({}), 1s);
    rig.bridge.portDown(rig.eth1, 2s);
    rig.bridge.hello(3s);

    EXPECT_EQ(rig.sent.size(), 1);
    const auto hasPorts = [](auto const& mstStatus, auto ports) {
        Zel::U32 count = 0;
        for (auto const& mst : mstStatus)
            count += ports(*mst).members();
        return count;
    };
    const auto tx = [](auto const& mst) -> auto const& { return mst.txMstPortStatus(); };
    const auto rx = [](auto const& mst) -> auto const& { return mst.rxMstPortStatus(); };
    EXPECT_EQ(hasPorts(rig.bridge.configured().txMstStatus(), tx), 1);
    EXPECT_EQ(hasPorts(rig.bridge.sending().txMstStatus(), tx), 1);
    EXPECT_EQ(hasPorts(rig.bridge.source().rxMstStatus(), rx), 1);
    EXPECT_EQ(hasPorts(rig.bridge.dynamic().rxMstStatus(), rx), 1);
    EXPECT_FALSE(rig.bridge.heardRecord(rig.eth1));
    EXPECT_FALSE(rig.bridge.saidRecord(rig.eth1));
    EXPECT_EQ(rig.eth1.counts.received, 1) << "counts stay";
    EXPECT_EQ(rig.bridge.nextExpiry(), std::nullopt);
}

TEST(Bridge, APortThatComesBackSendsAndHearsAgain) {
    Rig rig;
    for (int i = 0; i < 3; ++i) {
        rig.bridge.portDown(rig.eth0, 1s);
        rig.bridge.portDown(rig.eth0, 1s);
        rig.bridge.portUp(rig.eth0, portAddress, 2s);
        rig.bridge.portUp(rig.eth0, portAddress, 2s);
    }
    rig.bridge.hello(3s);
    rig.hear(rig.eth0, frameOf({}), 3s);

    EXPECT_EQ(rig.sent.size(), 2);
    EXPECT_TRUE(rig.bridge.heardRecord(rig.eth0));
    EXPECT_EQ(rig.changes.size(), 7) << "down and up three times, and what was heard";
}

TEST(Bridge, APortWithAnotherAddressSendsFromIt) {
    Rig rig;
    const Kolvu::EthAddr another{0x02, 0, 0, 0, 9, 9};
    rig.bridge.portUp(rig.eth0, another, 1s);
    rig.bridge.hello(2s);
    EXPECT_EQ(parsed(rig.sent.at(0).frame).source, another);
}

TEST(Bridge, WhatIsHeardReachesTheDynamicTree) {
    Rig rig;
    rig.hear(rig.eth0, frameOf({}), 1s);

    const auto record = rig.bridge.heardRecord(rig.eth0);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->neighborAddr(), (Kolvu::EthAddr{0x00, 0x1c, 0x73, 0x41, 0x42, 0x43}));
    ASSERT_TRUE(record->mstiN(0));
    EXPECT_EQ(record->mstiN(0)->cistRootBridgeId().priority(), 4096);
    EXPECT_EQ(record->mstiN(0)->cistExtRootPathCost(), 200000);
    const auto port = rig.bridge.dynamic().rxMstStatus("cist")->rxMstPortStatus(rig.eth0.id);
    EXPECT_EQ(port->bpduCount(), 1);
    EXPECT_EQ(port->rxUpdate(0), 1);
    EXPECT_EQ(port->counters().received, 1);
    EXPECT_FALSE(rig.bridge.heardRecord(rig.eth1));
    EXPECT_EQ(rig.eth0.heard->frame, frameOf({}));
}

TEST(Bridge, ReportsANewNeighborOnceAndThenEachFieldThatChanges) {
    Rig rig;
    rig.hear(rig.eth0, frameOf({}), 1s);
    rig.hear(rig.eth0, frameOf({}), 2s);
    EXPECT_EQ(rig.changes, (Changes{"eth0: rst BPDU from bridge 32768.6.00:1c:73:0a:0b:0c port "
                                    "128.3 root 4096.5.00:1c:73:01:02:03 cost 200000 flags "
                                    "60(designated learning forwarding)"}));
    EXPECT_EQ(rig.eth0.lastChange, Time(1s));
    const Zel::U64 before = rig.eth0.counts.changes;

    rig.hear(rig.eth0, frameOf({.flags = 0x3d, .cost = 7}), 3s);
    EXPECT_EQ(rig.changes.size(), 3);
    EXPECT_EQ(rig.changes.at(1), "eth0: flags: 60(designated learning forwarding) -> "
                                 "61(designated topologyChange learning forwarding)");
    EXPECT_EQ(rig.changes.at(2), "eth0: cistExtRootPathCost: 200000 -> 7");
    EXPECT_EQ(rig.eth0.counts.changes, before + 2);
    EXPECT_EQ(rig.eth0.lastChange, Time(3s));
    EXPECT_EQ(rig.eth1.lastChange, Time(0s));
}

TEST(Bridge, CountsTheFieldsOfANewNeighborByTheLibrarysCounter) {
    Rig rig;
    rig.hear(rig.eth0, frameOf({}), 1s);
    // All but the fields that a RST BPDU leaves zero: neighbour, version and type; flags, bridge,
    // port, root, cost and four times.
    EXPECT_EQ(rig.eth0.counts.changes, 3 + 9);
}

TEST(Bridge, ARecordAgesOutThreeHelloTimesAfterItWasHeard) {
    Rig rig;
    rig.hear(rig.eth0, frameOf({.hello = 2}), 1s);
    EXPECT_EQ(rig.bridge.nextExpiry(), Time(7s));
    rig.bridge.expire(7s - 1us);
    EXPECT_TRUE(rig.bridge.heardRecord(rig.eth0));
    rig.bridge.expire(7s);

    EXPECT_FALSE(rig.bridge.heardRecord(rig.eth0));
    EXPECT_FALSE(rig.eth0.heard);
    EXPECT_EQ(rig.eth0.counts.agedOut, 1);
    EXPECT_EQ(rig.changes.back(), "eth0: aged out");
    EXPECT_EQ(rig.bridge.nextExpiry(), std::nullopt);
    rig.bridge.expire(8s);
    EXPECT_EQ(rig.eth0.counts.agedOut, 1);
}

TEST(Bridge, ARecordThatIsRefreshedStays) {
    Rig rig;
    for (int second = 1; second < 60; second += 5) {
        rig.bridge.expire(std::chrono::seconds(second));
        rig.hear(rig.eth0, frameOf({.hello = 2}), std::chrono::seconds(second));
    }
    EXPECT_TRUE(rig.bridge.heardRecord(rig.eth0));
    EXPECT_EQ(rig.eth0.counts.agedOut, 0);
    EXPECT_EQ(rig.changes.size(), 1);
}

TEST(Bridge, ARecordIsNewAgainAfterItHasAgedOut) {
    Rig rig;
    rig.hear(rig.eth0, frameOf({}), 1s);
    rig.bridge.expire(20s);
    rig.hear(rig.eth0, frameOf({}), 21s);
    EXPECT_TRUE(rig.bridge.heardRecord(rig.eth0));
    EXPECT_EQ(rig.changes.size(), 3);
    EXPECT_EQ(rig.eth0.counts.changes, 24);
}

// IEEE 802.1D-2004 17.21.23: one second more than the message age is above the max age.
TEST(Bridge, ARecordTooOldToBePassedOnAgesOutAtOnce) {
    Rig rig;
    rig.hear(rig.eth0, frameOf({.messageAge = 19}), 1s);
    EXPECT_EQ(rig.bridge.nextExpiry(), Time(7s));
    rig.hear(rig.eth0, frameOf({.messageAge = 20}), 2s);
    EXPECT_EQ(rig.bridge.nextExpiry(), Time(2s));
    rig.bridge.expire(2s);
    EXPECT_FALSE(rig.bridge.heardRecord(rig.eth0));
}

TEST(Bridge, AHelloTimeOfZeroAgesOutAtOnce) {
    Rig rig;
    rig.hear(rig.eth0, frameOf({.hello = 0}), 1s);
    rig.bridge.expire(1s);
    EXPECT_FALSE(rig.bridge.heardRecord(rig.eth0));
}

TEST(Bridge, ATopologyChangeNotificationIsCountedAndLeavesTheRecord) {
    Rig rig;
    rig.hear(rig.eth0, frameOf({}), 1s);
    const std::string before = rig.heard(rig.eth0);
    rig.hear(rig.eth0, Frames::frame(Frames::notification), 2s);

    EXPECT_EQ(rig.heard(rig.eth0), before);
    EXPECT_EQ(rig.eth0.counts.notifications, 1);
    EXPECT_EQ(rig.eth0.counts.received, 2);
    EXPECT_EQ(rig.changes.back(), "eth0: topology change notification from 00:1c:73:41:42:43");
    EXPECT_EQ(rig.bridge.nextExpiry(), Time(7s)) << "it does not refresh the record";
}

TEST(Bridge, TakesConfigurationAndMstBpdus) {
    Rig rig;
    rig.hear(rig.eth0, Frames::frame(Frames::configuration), 1s);
    EXPECT_EQ(rig.eth0.heard->kind, BpduKind::configuration);
    rig.hear(rig.eth1, Frames::frame(Frames::mstWith(64)), 1s);
    EXPECT_EQ(rig.eth1.heard->kind, BpduKind::mst);
    EXPECT_EQ(rig.bridge.heardRecord(rig.eth1)->mstiN().members(), 65);
    rig.hear(rig.eth1, Frames::frame(Frames::mstWith(1)), 2s);
    EXPECT_EQ(rig.bridge.heardRecord(rig.eth1)->mstiN().members(), 2);
    EXPECT_EQ(rig.changes.back(), "eth1: mstiN(64): added -> -");
}

/// A frame for each reason to refuse one.
Frames::Octets refusedFor(Refusal refusal) {
    const Frames::Octets good = frameOf({});
    const Frames::Octets configuration = Frames::frame(Frames::configuration);
    using Frames::with;
    switch (refusal) {
    case Refusal::tooShort:
        return {good.begin(), good.begin() + 13};
    case Refusal::destination:
        return with(good, 5, 1);
    case Refusal::tagged:
        return with(with(good, 12, 0x81), 13, 0);
    case Refusal::notLength:
        return with(with(good, 12, 0x08), 13, 0);
    case Refusal::lengthAboveCaptured:
        return Frames::withLength(good, 40);
    case Refusal::lengthBelowLlc:
        return Frames::withLength(good, 2);
    case Refusal::snap:
        return with(with(good, 14, 0xaa), 15, 0xaa);
    case Refusal::sap:
        return with(good, 14, 0x43);
    case Refusal::control:
        return with(good, 16, 0xf3);
    case Refusal::headerTruncated:
        return Frames::withLength(good, 6);
    case Refusal::protocolIdentifier:
        return with(good, 17, 1);
    case Refusal::type:
        return with(good, 20, 3);
    case Refusal::version:
        return with(good, 19, 1);
    case Refusal::configurationTruncated:
        return Frames::withLength(configuration, 37);
    case Refusal::rstTruncated:
        return Frames::withLength(good, 38);
    case Refusal::messageAge:
        return with(configuration, 17 + 27, 20);
    case Refusal::ownFrame:
        break;
    }
    Frames::Octets own = good;
    std::ranges::copy(bridgeAddress.octets(), own.begin() + 17 + 19);
    return own;
}

/// The agent's trace lines on frames, as long as it is there.
class TraceLines {
  public:
    TraceLines()
        : former_(Zel::traceSinkIs(
              {[](Zel::TraceRecord const& record, void* context) {
                   static_cast<std::vector<std::string>*>(context)->emplace_back(record.text);
               },
               &lines_})) {
        Zel::traceLevelIs("StpAgent", 5, true);
    }
    TraceLines(TraceLines const&) = delete;
    TraceLines& operator=(TraceLines const&) = delete;
    ~TraceLines() {
        Zel::traceLevelIs("StpAgent", 5, false);
        Zel::traceSinkIs(former_);
    }
    std::vector<std::string> const& all() const { return lines_; }

  private:
    std::vector<std::string> lines_;
    Zel::TraceSink former_;
};

TEST(Bridge, EachReasonToRefuseAFrameHasACounterAndATraceLine) {
    Rig rig;
    rig.hear(rig.eth0, frameOf({}), 1s);
    const std::string before = rig.heard(rig.eth0);
    const std::size_t changes = rig.changes.size();

    const TraceLines lines;
    for (std::size_t i = 0; i < refusals; ++i)
        rig.hear(rig.eth0, refusedFor(static_cast<Refusal>(i)), 2s);

    ASSERT_EQ(lines.all().size(), refusals);
    for (std::size_t i = 0; i < refusals; ++i) {
        const auto refusal = static_cast<Refusal>(i);
        EXPECT_EQ(rig.eth0.counts.refused[i], 1) << name(refusal);
        EXPECT_EQ(lines.all()[i], "eth0: frame refused, " + std::string(name(refusal)) + ": " +
                                      std::string(text(refusal)));
    }
    EXPECT_EQ(rig.eth0.counts.bad(), refusals);
    EXPECT_EQ(rig.heard(rig.eth0), before);
    EXPECT_EQ(rig.changes.size(), changes);
    EXPECT_EQ(rig.bridge.nextExpiry(), Time(7s)) << "none refreshes the record";
    const auto counters =
        rig.bridge.dynamic().rxMstStatus("cist")->rxMstPortStatus(rig.eth0.id)->counters();
    EXPECT_EQ(counters.received, 1);
    EXPECT_EQ(counters.taggedErrors, 1);
    EXPECT_EQ(counters.otherErrors, refusals - 1);
}

TEST(Bridge, TracesTheFramesThatItDropsUnread) {
    Rig rig;
    Settings settings = rig.bridge.settings();
    settings.rateLimit = 1;
    rig.bridge.settingsIs(settings, 0s);
    rig.bridge.portDown(rig.eth1, 1s);
    const TraceLines lines;
    rig.bridge.receive(Kolvu::IntfId::ethernet(3), frameOf({}), 1s);
    rig.hear(rig.eth1, frameOf({}), 1s);
    rig.hear(rig.eth0, frameOf({}), 1s);
    rig.hear(rig.eth0, frameOf({}), 1s);
    EXPECT_EQ(lines.all(),
              (std::vector<std::string>{"frame from no port of ours, Ethernet3",
                                        "eth1: frame while down", "eth0: above the rate limit"}));
}

TEST(Bridge, RefusesItsOwnFramesWhicheverOfItsPortsSentThem) {
    Rig rig;
    rig.bridge.hello(1s);
    const Frames::Octets own = rig.sent.at(0).frame;
    rig.hear(rig.eth0, own, 2s);                         // back from where it went
    rig.hear(rig.eth1, own, 2s);                         // a cable between two of its ports
    rig.hear(rig.eth1, Frames::with(own, 22, 0x10), 2s); // from before its priority was changed
    Frames::Octets notification = Frames::frame(Frames::notification);
    std::ranges::copy(portAddress.octets(), notification.begin() + 6);
    rig.hear(rig.eth1, notification, 2s);

    const auto index = static_cast<std::size_t>(Refusal::ownFrame);
    EXPECT_EQ(rig.eth0.counts.refused[index], 1);
    EXPECT_EQ(rig.eth1.counts.refused[index], 3);
    EXPECT_FALSE(rig.bridge.heardRecord(rig.eth0));
    EXPECT_FALSE(rig.bridge.heardRecord(rig.eth1));
}

TEST(Bridge, CountsFramesFromPortsThatItDoesNotHave) {
    Rig rig;
    rig.bridge.receive(Kolvu::IntfId::ethernet(3), frameOf({}), 1s);
    rig.bridge.receive(Kolvu::IntfId(), frameOf({}), 1s);
    rig.bridge.receive(Kolvu::IntfId::portChannel(1), frameOf({}), 1s);
    EXPECT_EQ(rig.bridge.unknownPort(), 3);
    EXPECT_EQ(rig.changes, Changes());
}

TEST(Bridge, CountsFramesThatAPortHearsWhileDown) {
    Rig rig;
    rig.bridge.portDown(rig.eth0, 1s);
    rig.hear(rig.eth0, frameOf({}), 2s);
    EXPECT_EQ(rig.eth0.counts.whileDown, 1);
    EXPECT_EQ(rig.eth0.counts.received, 0);
    EXPECT_FALSE(rig.bridge.heardRecord(rig.eth0));
}

TEST(Bridge, DropsWhatComesAboveTheRateLimitAndTakesItAgainAfterwards) {
    Rig rig;
    const unsigned limit = rig.bridge.settings().rateLimit;
    EXPECT_EQ(limit, 100);
    for (unsigned i = 0; i < limit + 50; ++i)
        rig.hear(rig.eth0, frameOf({.cost = i}), 1s + Time(i));
    EXPECT_EQ(rig.eth0.counts.received, limit);
    EXPECT_EQ(rig.eth0.counts.rateLimited, 50);
    EXPECT_EQ(rig.bridge.heardRecord(rig.eth0)->mstiN(0)->cistExtRootPathCost(), limit - 1);
    rig.hear(rig.eth1, frameOf({}), 1s);
    EXPECT_EQ(rig.eth1.counts.received, 1) << "each port has its own";
    rig.hear(rig.eth0, frameOf({.cost = 7}), 1s + Bridge::rateInterval);
    EXPECT_EQ(rig.bridge.heardRecord(rig.eth0)->mstiN(0)->cistExtRootPathCost(), 7);
}

TEST(Bridge, TakesAsManyAsItsRateLimitSaysAlsoWhenThatIsChanged) {
    Rig rig;
    const auto heardWithin = [&](Time second, unsigned frames) {
        const Zel::U64 before = rig.eth0.counts.received;
        for (unsigned i = 0; i < frames; ++i)
            rig.hear(rig.eth0, frameOf({}), second + Time(i));
        return rig.eth0.counts.received - before;
    };
    Settings settings = rig.bridge.settings();
    settings.rateLimit = 1;
    rig.bridge.settingsIs(settings, 1s);
    EXPECT_EQ(heardWithin(1s, 3), 1);
    settings.rateLimit = 5;
    rig.bridge.settingsIs(settings, 1s + 500ms);
    EXPECT_EQ(heardWithin(1s + 500ms, 3), 2) << "three of five have come";
    EXPECT_EQ(heardWithin(2s, 6), 5);
    EXPECT_EQ(rig.eth0.counts.rateLimited, 2 + 1 + 1);
    EXPECT_EQ(rig.changes.at(0), "-: rate limit: 100 -> 1");
}

TEST(Bridge, ItsRateLimitStandsInTheReceiveTrees) {
    Rig rig;
    rig.bridge.portDown(rig.eth1, 0s);
    Settings settings = rig.bridge.settings();
    settings.rateLimit = 250;
    rig.bridge.settingsIs(settings, 1s);
    rig.bridge.portUp(rig.eth1, otherPortAddress, 2s);
    for (Varnol::RxStatus const* tree : {&rig.bridge.source(), &rig.bridge.dynamic()}) {
        for (Port const* port : {&rig.eth0, &rig.eth1}) {
            const auto status = tree->rxMstStatus("cist")->rxMstPortStatus(port->id);
            EXPECT_TRUE(status->rateLimitEnabled());
            EXPECT_EQ(status->rateLimitInterval(), 1.0) << "second";
            EXPECT_EQ(status->rateLimitMaxCount(), 250);
        }
    }
}

TEST(Bridge, CountsFramesThatCannotBeSentAndTriesAgainWithTheNextHello) {
    Rig rig;
    for (const int error : {EAGAIN, ENOBUFS, ENETDOWN, ENXIO}) {
        rig.error = error;
        rig.bridge.hello(1s);
    }
    EXPECT_EQ(rig.eth0.counts.sendErrors, 4);
    EXPECT_EQ(rig.eth0.counts.sent, 0);
    rig.error = 0;
    rig.bridge.hello(2s);
    EXPECT_EQ(rig.eth0.counts.sent, 1);
    EXPECT_EQ(rig.sent.size(), 2);
}

TEST(Bridge, CountsFramesForWhichThereIsNoPacket) {
    Rig rig;
    auto& packets = Kolvu::globalPktManager();
    const auto capacity = packets.capacity();
    packets.capacityIs(0);
    rig.bridge.hello(1s);
    packets.capacityIs(capacity);
    EXPECT_EQ(rig.eth0.counts.noPacket, 1);
    EXPECT_EQ(rig.eth0.counts.sent, 0);
    rig.bridge.hello(2s);
    EXPECT_EQ(rig.eth0.counts.sent, 1);
    EXPECT_EQ(packets.inUse(), 0);
}

TEST(Bridge, FindsAPortByEachOfItsNames) {
    Rig rig;
    Bridge const& bridge = rig.bridge;
    for (const char* name : {"eth1", "Et2", "Ethernet2"})
        EXPECT_EQ(bridge.port(name), &rig.eth1) << name;
    for (const char* name : {"", "eth", "Et3", "1", "eth11"})
        EXPECT_EQ(bridge.port(name), nullptr) << name;
}

TEST(Bridge, ShowsNoOctetsOfANeighborThatATerminalMightObey) {
    Rig rig;
    Frames::Octets bpdu = Frames::mstWith(0);
    for (std::size_t i = 0; i < 32; ++i)
        bpdu[39 + i] = static_cast<Zel::U8>(i % 2 == 0 ? 0x1b : 0xff);
    rig.hear(rig.eth0, Frames::frame(Frames::mstWith(0)), 1s);
    rig.hear(rig.eth0, Frames::frame(bpdu), 2s);
    ASSERT_EQ(rig.changes.size(), 2);
    for (const char octet : rig.changes[1])
        EXPECT_TRUE(octet >= ' ' && octet <= '~');
}

TEST(Bridge, StaysWholeWhateverFramesSay) {
    std::mt19937 engine(1);
    Rig rig;
    constexpr unsigned frames = 3000;
    Time now{};
    for (unsigned i = 0; i < frames; ++i) {
        now += Time(engine() % 50000);
        Port& port = engine() % 2 == 0 ? rig.eth0 : rig.eth1;
        rig.bridge.expire(now);
        switch (engine() % 64) {
        case 0:
            rig.bridge.portDown(port, now);
            break;
        case 1:
            rig.bridge.hello(now);
            break;
        default:
            rig.bridge.portUp(port, port.address, now);
        }
        rig.hear(port, Frames::changed(engine), now);
        for (Port const& each : rig.bridge.ports()) {
            const auto mst = rig.bridge.source().rxMstStatus("cist");
            const auto source = mst->rxMstPortStatus(each.id);
            ASSERT_EQ(each.up, source != nullptr);
            if (!source)
                continue;
            ASSERT_EQ(valueText(source->rxInfo(0).ptr()), rig.heard(each));
            ASSERT_EQ(each.heard.has_value(), source->rxInfo(0) != nullptr);
        }
    }
    Zel::U64 counted = 0;
    for (Port const& port : rig.bridge.ports())
        counted += port.counts.received + port.counts.bad() + port.counts.whileDown +
                   port.counts.rateLimited;
    EXPECT_EQ(counted, frames) << "each frame has one counter";
    EXPECT_GT(rig.eth0.counts.received, 100);
    EXPECT_GT(rig.eth0.counts.bad(), 100);
    EXPECT_GT(rig.eth0.counts.agedOut, 0);
}

TEST(Bridge, LeavesNothingBehind) {
    const auto live = [] {
        return Varnol::IntxInfo::_zelType.allocations().liveCount() +
               Varnol::IntxMstiInfo::_zelType.allocations().liveCount() +
               Varnol::TxMstPortStatus::_zelType.allocations().liveCount() +
               Varnol::RxMstPortStatus::_zelType.allocations().liveCount() +
               Varnol::IntxInfoChangeSm::_zelType.allocations().liveCount() +
               Sender::_zelType.allocations().liveCount();
    };
    {
        Rig rig;
        rig.hear(rig.eth0, frameOf({}), 1s);
        rig.bridge.hello(1s);
        EXPECT_GT(live(), 0);
    }
    EXPECT_EQ(live(), 0);
}

} // namespace
} // namespace Agent::Test
