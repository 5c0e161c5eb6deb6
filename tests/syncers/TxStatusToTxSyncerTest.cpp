#include "syncers/TxStatusToTxSyncer.h"

#include "framework/zel/Exception.h"
#include "framework/zel/Strep.h"
#include "tests/framework/EachAllocation.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/NothingLeft.h"
#include "tests/framework/Thrown.h"
#include "tests/framework/TimedBlocks.h"
#include "tests/framework/TraceNotes.h"
#include "tests/model/Journal.h"
#include "tests/model/Samples.h"
#include "tests/syncers/InitializedLast.h"
#include "tests/syncers/Onlooker.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace Varnol {
namespace {

using Samples::et1;
using Samples::et2;
using Samples::et3;
using Samples::po1;
using TreeText::contents;
using TreeText::Lines;
using MstSm = TxStatusToTxSyncer::ZelTxMstStatusSm;
using PortSm = MstSm::ZelTxMstPortStatusSm;

Lines sorted(Lines lines) {
    std::ranges::sort(lines);
    return lines;
}

class TxStatusToTx : public NothingLeft {
  protected:
    void start() { syncer = txStatusToTxSyncerFactory(source, dest); }
    /// Keeps what is written to the destination from now on.
    void journalDest() { journal.follow(dest); }

    TxMstStatus::Ptr mst(const char* name = "mst1") { return source->txMstStatusIs(name); }
    TxMstPortStatus::Ptr port(Kolvu::IntfId intf = et1) { return mst()->txMstPortStatusIs(intf); }
    Zel::Ptr<PortSm> portSm(Kolvu::IntfId intf = et1) {
        return syncer->txMstStatus("mst1")->txMstPortStatus(intf);
    }
    TxMstPortStatus::Ptr destPort(Kolvu::IntfId intf = et1) {
        return dest->txMstStatus("mst1")->txMstPortStatus(intf);
    }

    static void fill(TxMstPortStatus& at, unsigned value) {
        at.txUpdateIs(10, value);
        at.txUpdateIs(0, value + 1);
        at.txNewInfoIs(value + 2);
        at.txHelloWhenOnIs(Stp::TimerVal::units(static_cast<Zel::U16>(value + 3)));
        Samples::fill(*at.txInfoIs(10));
        Samples::fill(*at.txInfoIs(10)->mstiNIs(0));
        at.txInfoIs(0)->mstiNIs(4095)->portIdIs({16, 1});
    }

    TxStatus::Ptr source{new TxStatus};
    TxStatus::Ptr dest{new TxStatus};
    TxStatusToTxSyncer::Ptr syncer;
    Journal journal;
};
WITH_BOTH_WAYS_OF_COUNTING(TxStatusToTx);

TEST_P(TxStatusToTx, ConstructionOverAnEmptyDestinationMirrorsEverything) {
    source->heartbeatTimeoutIs(2.5);
    fill(*port(et1), 5);
    fill(*port(po1), 50);
    fill(*mst("mst2")->txMstPortStatusIs(et1), 500);
    mst("empty");
    const auto before = contents(source);
    start();
    EXPECT_EQ(contents(dest), before);
    EXPECT_EQ(contents(source), before);
    EXPECT_TRUE(syncer->initialized());
    EXPECT_TRUE(syncer->hasNotificationActive());
    EXPECT_EQ(syncer->source(), source);
    EXPECT_EQ(syncer->dest(), dest);
    EXPECT_EQ(syncer->children().map().members(), 3U);
    const Zel::Ptr<MstSm> child = syncer->txMstStatus("mst1");
    EXPECT_TRUE(child->initialized());
    EXPECT_TRUE(child->hasNotificationActive());
    EXPECT_EQ(child->owner(), syncer.ptr());
    EXPECT_EQ(child->txMstStatus(), mst());
    EXPECT_EQ(child->dest(), dest->txMstStatus("mst1"));
    EXPECT_TRUE(portSm()->initialized());
    EXPECT_TRUE(portSm()->hasNotificationActive());
    EXPECT_EQ(portSm()->owner(), child.ptr());
    EXPECT_EQ(portSm()->txMstPortStatus(), port());
    EXPECT_EQ(portSm()->dest(), destPort());
    EXPECT_TRUE(portSm()->txInfoSyncerHas(10));
    EXPECT_FALSE(portSm()->txInfoSyncerHas(11));
    EXPECT_EQ(portSm()->txInfoSyncer(11), nullptr);
    const IntxInfoSyncer::Ptr record = portSm()->txInfoSyncer(10);
    EXPECT_EQ(record->source(), port()->txInfo(10));
    EXPECT_EQ(record->dest(), destPort()->txInfo(10));
    EXPECT_EQ(record->vlanIdOrZero(), 10);
    EXPECT_EQ(record->parentId(), "mst1|Et1");
    EXPECT_TRUE(record->hasNotificationActive());
}

TEST_P(TxStatusToTx, TypesAreRegisteredAndKeyTextsAreAsTraced) {
    port(et3);
    start();
    EXPECT_EQ(syncer->fwkType()->name(), "Varnol::TxStatusToTxSyncer");
    EXPECT_EQ(syncer->txMstStatus("mst1")->fwkType()->name(),
              "Varnol::TxStatusToTxSyncer::ZelTxMstStatusSm");
    EXPECT_EQ(portSm(et3)->fwkType()->name(),
              "Varnol::TxStatusToTxSyncer::ZelTxMstStatusSm::ZelTxMstPortStatusSm");
    EXPECT_NE(Zel::typeNode("Varnol::TxStatusToTxSyncer::ZelSource"), nullptr);
    EXPECT_EQ(Zel::typeNode("Varnol::TxStatusToTxSyncer"), syncer->fwkType());
    EXPECT_EQ(syncer->keyInfo(), "");
    EXPECT_EQ(syncer->txMstStatus("mst1")->keyInfo(), "[mst1]");
    EXPECT_EQ(syncer->txMstStatus("mst1")->fwkKey(), Zel::Name("mst1"));
    EXPECT_EQ(portSm(et3)->keyInfo(), "[mst1|Et3/1]");
    EXPECT_EQ(portSm(et3)->fwkKey(), et3);
}

TEST_P(TxStatusToTx, ConstructionRemovesWhatTheSourceLacks) {
    fill(*port(), 5);
    fill(*dest->txMstStatusIs("gone")->txMstPortStatusIs(et1), 1);
    fill(*dest->txMstStatusIs("mst1")->txMstPortStatusIs(et2), 1);
    const auto kept = dest->txMstStatusIs("mst1")->txMstPortStatusIs(et1);
    kept->txUpdateIs(7, 1);
    kept->txInfoIs(7);
    kept->txInfoIs(10)->mstiNIs(9);
    TraceCapture capture("StpTxStatusSyncer", {8});
    start();
    EXPECT_EQ(contents(dest), contents(source));
    EXPECT_EQ(destPort(), kept);
    const auto texts = capture.texts();
    const std::string onPort = "TxToTx::ZelTxMstPortStatusSm[mst1|Et1]::";
    for (std::string const& expected :
         {std::string("TxToTx::handleTxMstStatus() deleting gone"),
          std::string("TxToTx::ZelTxMstStatusSm[mst1]::handleTxMstPortStatus() "
                      "deleting txMstPortStatus for Ethernet2"),
          onPort + "handleTxInfo() deleting vlan=7", onPort + "handleTxUpdate() deleting vlan=7",
          std::string("[mst1|Et1|10]IntxInfoSyncer::handleMstiN() deleting mstiId=9")})
        EXPECT_EQ(std::ranges::count(texts, expected), 1) << expected;
}

TEST_P(TxStatusToTx, ConstructionTracesTheNameAndItsPortsFirstAndThenOnceMoreUnderTheRoot) {
    port(et3)->txInfoIs(10)->mstiNIs(0);
    port(et3)->txUpdateIs(20, 5);
    Lines traces;
    const TraceNotes tracing("StpTxStatusSyncer", traces);
    start();
    const auto line = [](std::string const& object, std::string const& handler,
                         std::string const& message = "") {
        return "8 " + handler + ": " + object + "::" + handler + "() " + message;
    };
    const std::string mstLevel = "TxToTx::ZelTxMstStatusSm[mst1]";
    const std::string onRoot = line("TxToTx", "handleInitialized");
    const std::string onMst = line(mstLevel, "handleInitialized");
    const std::string setting =
        line(mstLevel, "handleTxMstPortStatus", "setting txMstPortStatus for Ethernet3/1");
    const std::string portLevel = "TxToTx::ZelTxMstPortStatusSm[mst1|Et3/1]";
    const std::string onPort = line(portLevel, "handleInitialized");
    const std::string settingRecord = line(portLevel, "handleTxInfo", "setting vlan=10");
    const std::string settingUpdate = line(portLevel, "handleTxUpdate", "setting vlan=20");
    const std::string recordLevel = "[mst1|Et3/1|10]IntxInfoSyncer";
    const std::string creating = line("TxToTx", "handleTxMstStatus", "creating mst1");
    EXPECT_EQ(traces, (Lines{onPort,          // no destination yet
                             onMst,           // makes that of the name
                             onPort, setting, // that of the interface
                             setting,         // found in the destination
                             onRoot,          // the pass that mirrors the ports
                             onMst, onPort, settingRecord,
                             line(recordLevel + "::ZelMstiNSm", "handleInitialized"),
                             line(recordLevel, "handleInitialized"),
                             line(recordLevel, "handleMstiN", "setting mstiId=0"), settingRecord,
                             settingUpdate, settingUpdate, setting, setting, creating, creating}));
}

TEST_P(TxStatusToTx, ConstructionWritesNewInfoLastAndHelloWhenOnBeforeIt) {
    fill(*port(), 5);
    const auto at = dest->txMstStatusIs("mst1")->txMstPortStatusIs(et1);
    at->txUpdateIs(7, 1);
    at->txInfoIs(7);
    journalDest();
    start();
    const Lines lines = journal.take();
    ASSERT_GT(lines.size(), 10U);
    // Three passes find the destination: two of the name's reactor, one of the root.
    EXPECT_EQ(lines.front(), "heartbeatTimeout=0");
    EXPECT_EQ(lines[lines.size() - 2], "mst1/Et1/txHelloWhenOn=0.03125s");
    EXPECT_EQ(lines.back(), "mst1/Et1/txNewInfo=7");
    const auto first = std::ranges::find(lines, "mst1/Et1/txNewInfo=7");
    const Lines pass(lines.begin(), first + 1);
    EXPECT_EQ(pass[pass.size() - 2], "mst1/Et1/txHelloWhenOn=0.03125s");
    const auto place = [&](std::string const& line) {
        const auto found = std::ranges::find(pass, line);
        EXPECT_NE(found, pass.end()) << line;
        return found - pass.begin();
    };
    const auto records = place("mst1/Et1/txInfo[7] deleted");
    EXPECT_LT(place("mst1/Et1/txInfo[10]"), records);
    EXPECT_LT(place("mst1/Et1/10/0/fwdDelay=15s"), records);
    EXPECT_LT(records, place("mst1/Et1/txUpdate[10]=5"));
    EXPECT_LT(place("mst1/Et1/txUpdate[10]=5"), place("mst1/Et1/txUpdate[7] deleted"));
    EXPECT_LT(place("mst1/Et1/txUpdate[7] deleted"), place("mst1/Et1/txHelloWhenOn=0.03125s"));
}

TEST_P(TxStatusToTx, ANullSourceWritesAHeartbeatOfZeroAndStillInitialises) {
    dest->heartbeatTimeoutIs(2.5);
    dest->txMstStatusIs("gone");
    journalDest();
    TraceCapture capture("StpTxStatusSyncer", {8});
    syncer = txStatusToTxSyncerFactory(nullptr, dest);
    EXPECT_EQ(journal.take(), (Lines{"heartbeatTimeout=0", "txMstStatus[gone] deleted"}));
    EXPECT_EQ(capture.texts(),
              (Lines{"TxToTx::handleInitialized() ", "TxToTx::handleTxMstStatus() deleting gone"}));
    EXPECT_TRUE(syncer->initialized());
    EXPECT_EQ(syncer->source(), nullptr);
    EXPECT_EQ(syncer->children().map().members(), 0U);
}

TEST_P(TxStatusToTx, WithoutADestinationTheHandlersTraceWhatTheyWouldWriteAndWriteNothing) {
    fill(*port(), 5);
    TraceCapture capture("StpTxStatusSyncer", {8});
    syncer = txStatusToTxSyncerFactory(source, nullptr);
    const std::string onMst = "TxToTx::ZelTxMstStatusSm[mst1]::";
    const std::string onPort = "TxToTx::ZelTxMstPortStatusSm[mst1|Et1]::";
    const std::string setting =
        onMst + "handleTxMstPortStatus() setting txMstPortStatus for Ethernet1";
    EXPECT_EQ(capture.texts(),
              (Lines{onPort + "handleInitialized() ", onMst + "handleInitialized() ",
                     onPort + "handleInitialized() ", setting, "TxToTx::handleInitialized() ",
                     onMst + "handleInitialized() ", onPort + "handleInitialized() ", setting,
                     "TxToTx::handleTxMstStatus() creating mst1"}));
    EXPECT_TRUE(syncer->initialized());
    EXPECT_TRUE(portSm()->initialized());
    EXPECT_EQ(portSm()->dest(), nullptr);
    capture.clear();
    source->heartbeatTimeoutIs(1);
    port()->txUpdateIs(10, 0);
    port()->txNewInfoIs(1);
    port()->txHelloWhenOnIs({});
    port()->txInfoIs(20);
    port()->txInfoDel(20);
    mst()->txMstPortStatusDel(et1);
    source->txMstStatusDel("mst1");
    EXPECT_EQ(capture.texts(), (Lines{onPort + "handleTxUpdate() deleting vlan=10",
                                      onPort + "handleTxInfo() setting vlan=20",
                                      onPort + "handleTxInfo() deleting vlan=20",
                                      onMst + "handleTxMstPortStatus() deleting txMstPortStatus "
                                              "for Ethernet1",
                                      "TxToTx::handleTxMstStatus() deleting mst1"}));
    EXPECT_EQ(syncer->children().map().members(), 0U);
}

TEST_P(TxStatusToTx, NothingAtAllInitialisesToo) {
    syncer = txStatusToTxSyncerFactory(nullptr, nullptr);
    EXPECT_TRUE(syncer->initialized());
}

TEST_P(TxStatusToTx, EachLevelIsInitializedAfterItsLastWrite) {
    fill(*port(), 5);
    start();
    journalDest();
    // What the source lacks is deleted in a level's last pass.
    dest->txMstStatusIs("gone");
    expectInitializedLast(*syncer, journal);
    dest->txMstStatus("mst1")->txMstPortStatusIs(et2);
    expectInitializedLast(*syncer->txMstStatus("mst1"), journal);
    expectInitializedLast(*portSm(), journal);
}

TEST_P(TxStatusToTx, FollowsTheHeartbeatWithoutComparing) {
    start();
    journalDest();
    source->heartbeatTimeoutIs(2.5);
    source->heartbeatTimeoutIs(2.5);
    EXPECT_EQ(journal.take(), (Lines{"heartbeatTimeout=2.5", "heartbeatTimeout=2.5"}));
}

TEST_P(TxStatusToTx, FollowsPortValuesWithoutComparingAndWithoutTraces) {
    port();
    start();
    journalDest();
    TraceCapture capture("StpTxStatusSyncer", {8});
    for (int turn = 0; turn < 2; ++turn) {
        port()->txNewInfoIs(4294967295U);
        port()->txHelloWhenOnIs(Stp::TimerVal::seconds(2));
    }
    EXPECT_EQ(journal.take(),
              (Lines{"mst1/Et1/txNewInfo=4294967295", "mst1/Et1/txHelloWhenOn=2s",
                     "mst1/Et1/txNewInfo=4294967295", "mst1/Et1/txHelloWhenOn=2s"}));
    EXPECT_EQ(capture.texts(), Lines());
}

TEST_P(TxStatusToTx, NamedHandlersOfThePortValuesWriteThem) {
    fill(*port(), 5);
    start();
    journalDest();
    portSm()->zel_handleTxMstPortStatus_txNewInfo();
    portSm()->zel_handleTxMstPortStatus_txHelloWhenOn();
    EXPECT_EQ(journal.take(), (Lines{"mst1/Et1/txNewInfo=7", "mst1/Et1/txHelloWhenOn=0.03125s"}));
    portSm()->notifierIs(nullptr);
    portSm()->zel_handleTxMstPortStatus_txNewInfo();
    portSm()->zel_handleTxMstPortStatus_txHelloWhenOn();
    EXPECT_EQ(journal.take(), (Lines{"mst1/Et1/txNewInfo=0", "mst1/Et1/txHelloWhenOn=0s"}));
}

TEST_P(TxStatusToTx, AnUnboundPortInitializedAgainEmptiesTheDestination) {
    fill(*port(), 5);
    start();
    journalDest();
    portSm()->notifierIs(nullptr);
    EXPECT_EQ(journal.take(), Lines());
    portSm()->handleInitialized();
    const Lines lines = journal.take();
    const std::string at = "mst1/Et1/";
    EXPECT_EQ(sorted(lines), sorted({at + "txInfo[0] deleted", at + "txInfo[10] deleted",
                                     at + "txUpdate[0] deleted", at + "txUpdate[10] deleted",
                                     at + "txHelloWhenOn=0s", at + "txNewInfo=0"}));
    EXPECT_EQ(lines.back(), at + "txNewInfo=0");
    EXPECT_FALSE(portSm()->txInfoSyncerHas(0));
    EXPECT_FALSE(portSm()->txInfoSyncerHas(10));
    EXPECT_EQ(contents(destPort()), contents(TxMstPortStatus::Ptr(new TxMstPortStatus(et1))));
}

TEST_P(TxStatusToTx, AnUnboundNameOrPortDeletesWhatItIsToldOf) {
    fill(*port(), 5);
    start();
    journalDest();
    portSm()->notifierIs(nullptr);
    const Bridging::VlanIdOrNone vlan = 10;
    portSm()->onAttribute(259, &vlan);
    EXPECT_EQ(journal.take(), Lines{"mst1/Et1/txUpdate[10] deleted"});
    const Zel::Ptr<MstSm> name = syncer->txMstStatus("mst1");
    name->notifierIs(nullptr);
    name->handleTxMstPortStatus(et1);
    EXPECT_EQ(journal.take(), Lines{"mst1/txMstPortStatus[Et1] deleted"});
}

TEST_P(TxStatusToTx, AnUnboundNameToldOfAnInterfaceKeepsTheReactorOnIt) {
    port();
    start();
    const Zel::Ptr<PortSm> at = portSm();
    const Zel::Ptr<MstSm> name = syncer->txMstStatus("mst1");
    name->notifierIs(nullptr);
    journalDest();
    name->onAttribute(258, &et1);
    EXPECT_EQ(journal.take(), Lines{"mst1/txMstPortStatus[Et1] deleted"});
    EXPECT_EQ(name->txMstPortStatus(et1), at);
}

TEST_P(TxStatusToTx, AnUnboundReactorOnTheRootWritesNothing) {
    source->heartbeatTimeoutIs(2.5);
    start();
    const Zel::Ptr<TxStatusToTxSyncer::ZelSource> reactor =
        Zel::newActive<TxStatusToTxSyncer::ZelSource>(source, syncer.ptr());
    journalDest();
    reactor->onAttribute(259, nullptr);
    EXPECT_EQ(journal.take(), Lines{"heartbeatTimeout=2.5"});
    reactor->notifierIs(nullptr);
    reactor->onAttribute(259, nullptr);
    EXPECT_EQ(journal.take(), Lines());
}

TEST_P(TxStatusToTx, AnUpdateCountIsWrittenTwiceForEachChange) {
    port();
    start();
    journalDest();
    TraceCapture capture("StpTxStatusSyncer", {8});
    port()->txUpdateIs(10, 7);
    EXPECT_EQ(journal.take(), (Lines{"mst1/Et1/txUpdate[10]=7", "mst1/Et1/txUpdate[10]=7"}));
    EXPECT_EQ(capture.texts(),
              (Lines{"TxToTx::ZelTxMstPortStatusSm[mst1|Et1]::handleTxUpdate() setting vlan=10"}));
    EXPECT_EQ(capture.records().at(0).function, "handleTxUpdate");
}

TEST_P(TxStatusToTx, AnUpdateCountWhoseFirstWriteMakesTheTreeAZombieIsNotWrittenAgain) {
    port();
    start();
    journalDest();
    journal.look = [&](std::string const&) { syncer->zelDoZombieReactors(true); };
    TraceCapture capture("StpTxStatusSyncer", {8});
    port()->txUpdateIs(10, 7);
    EXPECT_EQ(journal.take(), Lines{"mst1/Et1/txUpdate[10]=7"});
    EXPECT_EQ(capture.texts(), Lines{});
}

TEST_P(TxStatusToTx, AnUpdateCountOfZeroOrRemovedDeletesTheDestinationEntry) {
    port()->txUpdateIs(10, 7);
    port()->txUpdateIs(20, 7);
    port()->txUpdateIs(30, 0);
    start();
    EXPECT_EQ(destPort()->txUpdate().members(), 2U);
    journalDest();
    TraceCapture capture("StpTxStatusSyncer", {8});
    port()->txUpdateIs(10, 0);
    port()->txUpdateDel(20);
    port()->txUpdateIs(10, 0);
    EXPECT_EQ(journal.take(),
              (Lines{"mst1/Et1/txUpdate[10] deleted", "mst1/Et1/txUpdate[20] deleted"}));
    const std::string deleting = "TxToTx::ZelTxMstPortStatusSm[mst1|Et1]::handleTxUpdate() "
                                 "deleting vlan=";
    EXPECT_EQ(capture.texts(), (Lines{deleting + "10", deleting + "20", deleting + "10"}));
    EXPECT_EQ(destPort()->txUpdate().members(), 0U);
}

TEST_P(TxStatusToTx, ANewRecordIsMadeAndFollowedByASyncerOfItsOwn) {
    port();
    start();
    journalDest();
    TraceCapture capture("StpTxStatusSyncer", {8});
    port()->txInfoIs(4094);
    EXPECT_EQ(capture.texts(),
              (Lines{"TxToTx::ZelTxMstPortStatusSm[mst1|Et1]::handleTxInfo() setting vlan=4094",
                     "[mst1|Et1|4094]IntxInfoSyncer::handleInitialized() "}));
    EXPECT_EQ(journal.take().front(), "mst1/Et1/txInfo[4094]");
    Samples::fill(*port()->txInfo(4094));
    Samples::fill(*port()->txInfo(4094)->mstiNIs(1));
    EXPECT_EQ(contents(dest), contents(source));
}

TEST_P(TxStatusToTx, RemovingARecordDeletesTheDestinationRecordBeforeItsSyncer) {
    port()->txInfoIs(10);
    start();
    journalDest();
    bool syncerAtDeletion = false;
    std::size_t tracedBefore = 0;
    TraceCapture capture("StpTxStatusSyncer", {8});
    journal.look = [&](std::string const&) {
        syncerAtDeletion = portSm()->txInfoSyncerHas(10);
        tracedBefore = capture.records().size();
    };
    port()->txInfoDel(10);
    EXPECT_EQ(journal.take(), (Lines{"mst1/Et1/txInfo[10] deleted"}));
    EXPECT_TRUE(syncerAtDeletion);
    EXPECT_EQ(tracedBefore, 1U);
    EXPECT_FALSE(portSm()->txInfoSyncerHas(10));
    EXPECT_EQ(capture.texts(),
              (Lines{"TxToTx::ZelTxMstPortStatusSm[mst1|Et1]::handleTxInfo() deleting vlan=10"}));
}

TEST_P(TxStatusToTx, AnInterfaceAddedUnderAnExistingNameIsMirroredInFull) {
    mst();
    start();
    journalDest();
    bool reactorAtCreation = true;
    journal.look = [&](std::string const& line) {
        if (line == "mst1/txMstPortStatus[Et1]")
            reactorAtCreation = portSm() != nullptr;
    };
    const TxMstPortStatus::Ptr made(new TxMstPortStatus(et1));
    fill(*made, 5);
    mst()->txMstPortStatusMemberIs(made);
    EXPECT_FALSE(reactorAtCreation);
    EXPECT_EQ(contents(dest), contents(source));
    EXPECT_EQ(journal.take().back(), "mst1/Et1/txNewInfo=7");
}

TEST_P(TxStatusToTx, RemovingAnInterfaceDeletesTheDestinationFirstAndTheReactorAfterwards) {
    fill(*port(), 5);
    start();
    journalDest();
    const Zel::Ptr<PortSm> removed = portSm();
    bool reactorAtDeletion = false;
    journal.look = [&](std::string const&) { reactorAtDeletion = portSm() != nullptr; };
    TraceCapture capture("StpTxStatusSyncer", {8});
    mst()->txMstPortStatusDel(et1);
    EXPECT_EQ(journal.take(), (Lines{"mst1/txMstPortStatus[Et1] deleted"}));
    EXPECT_TRUE(reactorAtDeletion);
    EXPECT_EQ(portSm(), nullptr);
    EXPECT_EQ(removed->owner(), nullptr);
    EXPECT_TRUE(removed->zelMarkedForDeletion());
    EXPECT_FALSE(removed->hasNotificationActive());
    EXPECT_EQ(capture.texts(), (Lines{"TxToTx::ZelTxMstStatusSm[mst1]::handleTxMstPortStatus() "
                                      "deleting txMstPortStatus for Ethernet1"}));
}

TEST_P(TxStatusToTx, ANameAddedLaterGetsEmptyPortsWhoseReactorsKeepNoDestination) {
    start();
    journalDest();
    const TxMstStatus::Ptr made(new TxMstStatus("mst1"));
    fill(*made->txMstPortStatusIs(et1), 5);
    TraceCapture capture("StpTxStatusSyncer", {8});
    source->txMstStatusMemberIs(made);
    const std::string onMst = "TxToTx::ZelTxMstStatusSm[mst1]::";
    const std::string onPort = "TxToTx::ZelTxMstPortStatusSm[mst1|Et1]::";
    const std::string setting =
        onMst + "handleTxMstPortStatus() setting txMstPortStatus for Ethernet1";
    EXPECT_EQ(
        capture.texts(),
        (Lines{"TxToTx::handleTxMstStatus() creating mst1", onPort + "handleInitialized() ",
               onMst + "handleInitialized() ", onPort + "handleInitialized() ", setting, setting}));
    EXPECT_EQ(journal.take(), (Lines{"txMstStatus[mst1]", "mst1/txMstPortStatus[Et1]"}));
    EXPECT_EQ(portSm()->dest(), nullptr);
    EXPECT_TRUE(portSm()->initialized());
    EXPECT_FALSE(portSm()->txInfoSyncerHas(10));
    capture.clear();
    port()->txUpdateIs(10, 9);
    port()->txNewInfoIs(9);
    port()->txHelloWhenOnIs({});
    port()->txInfoIs(20);
    port()->txInfoDel(20);
    EXPECT_EQ(capture.texts(), (Lines{onPort + "handleTxUpdate() setting vlan=10",
                                      onPort + "handleTxInfo() setting vlan=20",
                                      onPort + "handleTxInfo() deleting vlan=20"}));
    const TxMstPortStatus::Ptr other(new TxMstPortStatus(et1));
    fill(*other, 50);
    portSm()->notifierIs(other);
    EXPECT_EQ(portSm()->txMstPortStatus(), other);
    portSm()->notifierIs(port());
    EXPECT_EQ(journal.take(), Lines());
    fill(*port(et2), 50);
    EXPECT_EQ(portSm(et2)->dest(), destPort(et2));
    EXPECT_EQ(destPort(et2)->txNewInfo(), 52U);
    mst()->txMstPortStatusDel(et1);
    EXPECT_EQ(destPort(et1), nullptr);
}

TEST_P(TxStatusToTx, RemovingANameDeletesTheDestinationFirstAndTheReactorAfterwards) {
    fill(*port(), 5);
    start();
    journalDest();
    bool reactorAtDeletion = false;
    journal.look = [&](std::string const&) {
        reactorAtDeletion = syncer->txMstStatus("mst1") != nullptr;
    };
    TraceCapture capture("StpTxStatusSyncer", {8});
    source->txMstStatusDel("mst1");
    EXPECT_EQ(journal.take(), (Lines{"txMstStatus[mst1] deleted"}));
    EXPECT_EQ(capture.texts(), (Lines{"TxToTx::handleTxMstStatus() deleting mst1"}));
    EXPECT_TRUE(reactorAtDeletion);
    EXPECT_EQ(syncer->txMstStatus("mst1"), nullptr);
}

TEST_P(TxStatusToTx, NullChildrenThrowRangeExceptionsAndChangeNothing) {
    port();
    start();
    journalDest();
    EXPECT_EQ(textThrown<Zel::RangeException>([&] { syncer->txMstStatusIs(nullptr); }),
              "null _txMstStatus parameter to mutator for Varnol::TxStatusToTxSyncer::txMstStatus "
              "not allowed\"");
    EXPECT_EQ(textThrown<Zel::RangeException>(
                  [&] { syncer->txMstStatus("mst1")->txMstPortStatusIs(nullptr); }),
              "null _txMstPortStatus parameter to mutator for Varnol::TxStatusToTxSyncer::"
              "ZelTxMstStatusSm::txMstPortStatus not allowed\"");
    EXPECT_EQ(syncer->children().map().members(), 1U);
    EXPECT_EQ(syncer->txMstStatus("mst1")->children().map().members(), 1U);
    EXPECT_EQ(journal.take(), Lines());
}

TEST_P(TxStatusToTx, TheChildOfAnElementAlreadyWatchedIsReturnedAndRunsNothing) {
    fill(*port(), 5);
    start();
    journalDest();
    const Zel::Ptr<MstSm> child = syncer->txMstStatus("mst1");
    const Zel::Ptr<PortSm> at = portSm();
    TraceCapture capture("StpTxStatusSyncer", {8});
    EXPECT_EQ(syncer->txMstStatusIs(mst()), child);
    EXPECT_EQ(child->txMstPortStatusIs(port()), at);
    EXPECT_EQ(capture.texts(), Lines());
    EXPECT_EQ(journal.take(), Lines());
}

TEST_P(TxStatusToTx, ARecordSyncerAskedForAgainWithTheSameArgumentsIsTheSame) {
    port()->txInfoIs(10);
    start();
    const IntxInfoSyncer::Ptr record = portSm()->txInfoSyncer(10);
    TraceCapture capture("StpTxStatusSyncer", {8});
    EXPECT_EQ(portSm()->txInfoSyncerIs(record->source(), record->dest(), 10, "mst1|Et1"), record);
    EXPECT_EQ(capture.texts(), Lines());
}

TEST_P(TxStatusToTx, ARecordSyncerAskedForWithOtherArgumentsThrowsForTheFirstThatDiffers) {
    port()->txInfoIs(10);
    start();
    const IntxInfoSyncer::Ptr record = portSm()->txInfoSyncer(10);
    const Zel::Ptr<IntxInfo const> from = record->source();
    const IntxInfo::Ptr to = record->dest();
    const IntxInfo::Ptr other = Samples::record(10);
    const auto text = [](Zel::Ptr<IntxInfo const> const& info, bool constant) {
        return std::string(Zel::valueToStrepOfRawPtr(info.ptr(), constant ? typeid(IntxInfo const)
                                                                          : typeid(IntxInfo))
                               .view());
    };
    const auto refused = [&](Zel::Ptr<IntxInfo const> const& newSource,
                             IntxInfo::Ptr const& newDest, Zel::String const& parentId) {
        return textThrown<Zel::NameInUseException>(
            [&] { portSm()->txInfoSyncerIs(newSource, newDest, 10, parentId); });
    };
    const std::string prefix = "Reinstantiating the pointer interface where constructor parameter "
                               "attribute ";
    const std::string than = " than the current value of ";
    EXPECT_EQ(refused(other, other, "x"), prefix + "_source has a different value of " +
                                              text(other, true) + than + text(from, true) +
                                              " not allowed");
    EXPECT_EQ(refused(from, other, "x"), prefix + "_dest has a different value of " +
                                             text(other, false) + than + text(to, false) +
                                             " not allowed");
    EXPECT_EQ(refused(from, to, "x"),
              prefix + "_parentId has a different value of " +
                  std::string(Zel::valueToStrep(Zel::String("x")).view()) + than +
                  std::string(Zel::valueToStrep(Zel::String("mst1|Et1")).view()) + " not allowed");
    EXPECT_EQ(portSm()->txInfoSyncer(10), record);
    EXPECT_EQ(record->source(), from);
    EXPECT_EQ(record->dest(), to);
    EXPECT_EQ(record->parentId(), "mst1|Et1");
}

TEST_P(TxStatusToTx, AReplacedRecordIsRefusedByTheSyncerOfTheFormerOne) {
    port()->txInfoIs(10);
    start();
    const IntxInfoSyncer::Ptr record = portSm()->txInfoSyncer(10);
    EXPECT_THROW(port()->txInfoMemberIs(Samples::record(10)), Zel::NameInUseException);
    EXPECT_EQ(portSm()->txInfoSyncer(10), record);
    port()->txInfoDel(10);
    port()->txInfoIs(10)->stpVersionIs(3);
    EXPECT_EQ(contents(dest), contents(source));
}

TEST_P(TxStatusToTx, RecordSyncersAreDeletedOneByOneAndAbsentOnesPassOver) {
    fill(*port(), 5);
    start();
    journalDest();
    portSm()->txInfoSyncerDel(11);
    const IntxInfoSyncer::Ptr removed = portSm()->txInfoSyncer(10);
    portSm()->txInfoSyncerDel(10);
    EXPECT_FALSE(portSm()->txInfoSyncerHas(10));
    EXPECT_TRUE(portSm()->txInfoSyncerHas(0));
    EXPECT_TRUE(removed->zelMarkedForDeletion());
    port()->txInfo(10)->stpVersionIs(9);
    EXPECT_EQ(journal.take(), Lines());
    portSm()->txInfoSyncerDelAll();
    EXPECT_FALSE(portSm()->txInfoSyncerHas(0));
    EXPECT_EQ(journal.take(), Lines());
}

TEST_P(TxStatusToTx, AnotherInterfaceEntityRunsTheBulkPassAndThenThePortValues) {
    port()->txUpdateIs(10, 1);
    port()->txUpdateIs(20, 2);
    port()->txInfoIs(10);
    start();
    journalDest();
    const Zel::Ptr<PortSm> reactor = portSm();
    const TxMstPortStatus::Ptr former = port();
    const TxMstPortStatus::Ptr other(new TxMstPortStatus(et1));
    other->txUpdateIs(10, 0);
    other->txUpdateIs(30, 3);
    other->txUpdateIs(40, 0);
    other->txNewInfoIs(8);
    other->txHelloWhenOnIs(Stp::TimerVal::seconds(1));
    other->txInfoIs(20);
    TraceCapture capture("StpTxStatusSyncer", {8});
    mst()->txMstPortStatusMemberIs(other);
    EXPECT_EQ(capture.texts(), (Lines{"TxToTx::ZelTxMstStatusSm[mst1]::handleTxMstPortStatus() "
                                      "setting txMstPortStatus for Ethernet1"}));
    const Lines lines = journal.take();
    ASSERT_EQ(lines.size(), 8U);
    const std::string at = "mst1/Et1/";
    EXPECT_EQ(sorted({lines.begin(), lines.begin() + 3}),
              (Lines{at + "txUpdate[10]=0", at + "txUpdate[30]=3", at + "txUpdate[40]=0"}));
    EXPECT_EQ(sorted({lines.begin() + 3, lines.begin() + 6}),
              (Lines{at + "txUpdate[10] deleted", at + "txUpdate[20] deleted",
                     at + "txUpdate[40] deleted"}));
    EXPECT_EQ(Lines(lines.begin() + 6, lines.end()),
              (Lines{at + "txNewInfo=8", at + "txHelloWhenOn=1s"}));
    EXPECT_EQ(portSm(), reactor);
    EXPECT_EQ(reactor->txMstPortStatus(), other);
    // The records are not looked at again.
    EXPECT_TRUE(reactor->txInfoSyncerHas(10));
    EXPECT_FALSE(reactor->txInfoSyncerHas(20));
    former->txNewInfoIs(99);
    EXPECT_EQ(journal.take(), Lines());
}

TEST_P(TxStatusToTx, AnotherEntityOfANameFollowsItsInterfacesAndDoesNotInitialise) {
    fill(*port(et1), 5);
    port(et2);
    start();
    journalDest();
    const Zel::Ptr<MstSm> reactor = syncer->txMstStatus("mst1");
    const TxMstStatus::Ptr other(new TxMstStatus("mst1"));
    other->txMstPortStatusIs(et1)->txNewInfoIs(77);
    other->txMstPortStatusIs(et3)->txNewInfoIs(78);
    TraceCapture capture("StpTxStatusSyncer", {8});
    source->txMstStatusMemberIs(other);
    EXPECT_EQ(syncer->txMstStatus("mst1"), reactor);
    EXPECT_EQ(reactor->txMstStatus(), other);
    EXPECT_EQ(portSm(et1)->txMstPortStatus(), other->txMstPortStatus(et1));
    EXPECT_EQ(portSm(et2), nullptr);
    EXPECT_EQ(portSm(et3)->dest(), nullptr);
    EXPECT_EQ(capture.texts(),
              (Lines{"TxToTx::handleTxMstStatus() creating mst1",
                     "TxToTx::ZelTxMstPortStatusSm[mst1|Et3/1]::handleInitialized() "}));
    EXPECT_EQ(destPort(et1)->txNewInfo(), 77U);
    EXPECT_NE(destPort(et2), nullptr) << "the destination is not looked through";
    EXPECT_EQ(destPort(et3), nullptr);
}

TEST_P(TxStatusToTx, AnotherSourceCopiesTheHeartbeatAndFollowsItsNames) {
    fill(*port(), 5);
    mst("old");
    start();
    journalDest();
    const TxStatus::Ptr other(new TxStatus);
    other->heartbeatTimeoutIs(4.5);
    other->txMstStatusIs("new")->txMstPortStatusIs(et1);
    other->txMstStatusIs("mst1");
    TraceCapture capture("StpTxStatusSyncer", {8});
    syncer->sourceIs(other);
    EXPECT_EQ(syncer->source(), other);
    const Lines lines = journal.take();
    EXPECT_EQ(lines,
              (Lines{"heartbeatTimeout=4.5", "txMstStatus[new]", "new/txMstPortStatus[Et1]"}));
    for (std::string const& text : capture.texts())
        EXPECT_FALSE(text.starts_with("TxToTx::handle")) << text;
    EXPECT_EQ(syncer->txMstStatus("old"), nullptr);
    EXPECT_NE(dest->txMstStatus("old"), nullptr) << "the destination is not looked through";
    EXPECT_EQ(syncer->txMstStatus("mst1")->txMstStatus(), other->txMstStatus("mst1"));
    capture.clear();
    syncer->sourceIs(other);
    EXPECT_EQ(capture.texts(), Lines()) << "the same source again";
    EXPECT_EQ(journal.take(), Lines());
    source->heartbeatTimeoutIs(9);
    EXPECT_EQ(journal.take(), Lines());
}

TEST_P(TxStatusToTx, WithoutASourceTheChildrenGoOn) {
    port();
    start();
    syncer->sourceDel();
    EXPECT_EQ(syncer->source(), nullptr);
    journalDest();
    source->heartbeatTimeoutIs(9);
    mst("mst2");
    port()->txNewInfoIs(3);
    EXPECT_EQ(journal.take(), (Lines{"mst1/Et1/txNewInfo=3"}));
    syncer->sourceIs(source);
    EXPECT_EQ(journal.take(), Lines());
    source->heartbeatTimeoutIs(8);
    EXPECT_EQ(journal.take(), (Lines{"heartbeatTimeout=8"}));
}

TEST_P(TxStatusToTx, ANullSourceGivenLaterIsFollowedFromThenOn) {
    syncer = txStatusToTxSyncerFactory(nullptr, dest);
    syncer->sourceIs(source);
    mst()->txMstPortStatusIs(et1);
    source->heartbeatTimeoutIs(2);
    EXPECT_EQ(contents(dest), contents(source));
}

TEST_P(TxStatusToTx, ReactorsRefuseAnEntityOfAnotherClass) {
    port();
    start();
    EXPECT_THROW(syncer->txMstStatus("mst1")->notifierIs(port()), Zel::RangeException);
    EXPECT_THROW(portSm()->notifierIs(mst()), Zel::RangeException);
    EXPECT_EQ(portSm()->txMstPortStatus(), port());
}

TEST_P(TxStatusToTx, DeletersRemoveReactorsOnlyAndNeverTouchTheDestination) {
    fill(*port(et1), 5);
    fill(*port(et2), 5);
    mst("mst2");
    start();
    journalDest();
    const auto before = contents(dest);
    const Zel::Ptr<MstSm> child = syncer->txMstStatus("mst1");
    child->txMstPortStatusDel(et1);
    child->txMstPortStatusDel(et1);
    EXPECT_EQ(child->children().map().members(), 1U);
    child->txMstPortStatusDelAll();
    EXPECT_EQ(child->children().map().members(), 0U);
    syncer->txMstStatusDel("mst2");
    syncer->txMstStatusDel("absent");
    EXPECT_EQ(syncer->children().map().members(), 1U);
    syncer->txMstStatusDelAll();
    EXPECT_EQ(syncer->children().map().members(), 0U);
    EXPECT_EQ(journal.take(), Lines());
    EXPECT_EQ(contents(dest), before);
}

TEST_P(TxStatusToTx, TheReactorOfAnInterfaceIsRemovedWhereAWalkStands) {
    for (auto intf : {et1, et2, et3})
        fill(*port(intf), 5);
    start();
    journalDest();
    const Zel::Ptr<MstSm> child = syncer->txMstStatus("mst1");
    const Zel::Ptr<PortSm> removed = portSm(et2);
    for (auto at = child->children().begin(); at != child->children().end(); ++at) {
        if ((*at)->fwkKey() == et2)
            child->txMstPortStatusDel(at);
    }
    EXPECT_EQ(portSm(et2), nullptr);
    EXPECT_NE(portSm(et1), nullptr);
    EXPECT_NE(portSm(et3), nullptr);
    EXPECT_EQ(removed->owner(), nullptr);
    EXPECT_TRUE(removed->zelMarkedForDeletion());
    EXPECT_FALSE(removed->hasNotificationActive());
    port(et2)->txNewInfoIs(9);
    EXPECT_EQ(journal.take(), Lines());
}

TEST_P(TxStatusToTx, ANewReactorOfAnInterfaceMirrorsItAndFollowsIt) {
    fill(*port(), 5);
    start();
    const Zel::Ptr<MstSm> child = syncer->txMstStatus("mst1");
    child->txMstPortStatusDel(et1);
    fill(*port(), 50);
    EXPECT_EQ(destPort()->txNewInfo(), 7U);
    const Zel::Ptr<PortSm> made = child->newTxMstPortStatus(port());
    EXPECT_EQ(portSm(), made);
    EXPECT_EQ(made->owner(), child.ptr());
    EXPECT_EQ(made->txMstPortStatus(), port());
    EXPECT_EQ(made->dest(), destPort());
    EXPECT_TRUE(made->initialized());
    EXPECT_TRUE(made->hasNotificationActive());
    EXPECT_FALSE(made->zelMarkedForDeletion());
    EXPECT_EQ(contents(dest), contents(source));
    fill(*port(), 60);
    EXPECT_EQ(contents(dest), contents(source));
}

TEST_P(TxStatusToTx, ADroppedSyncerLeavesTheDestinationAsItIsAndWritesNoMore) {
    fill(*port(), 5);
    start();
    journalDest();
    const auto before = contents(dest);
    const Zel::Ptr<MstSm> child = syncer->txMstStatus("mst1");
    const Zel::Ptr<PortSm> at = portSm();
    const IntxInfoSyncer::Ptr record = at->txInfoSyncer(10);
    syncer = nullptr;
    EXPECT_TRUE(child->zelMarkedForDeletion());
    EXPECT_TRUE(at->zelMarkedForDeletion());
    EXPECT_TRUE(record->zelMarkedForDeletion());
    EXPECT_EQ(child->owner(), nullptr);
    fill(*port(), 50);
    port()->txInfo(10)->stpVersionIs(77);
    port()->txInfo(10)->mstiNIs(9);
    port(et2);
    mst("mst2");
    source->heartbeatTimeoutIs(9);
    const Bridging::VlanIdOrNone vlan = 10;
    at->onAttribute(259, &vlan);
    at->onAttribute(260, nullptr);
    at->onAttribute(261, nullptr);
    at->onAttribute(262, &vlan);
    source->txMstStatusDel("mst1");
    EXPECT_EQ(journal.take(), Lines());
    EXPECT_EQ(contents(dest), before);
}

TEST_P(TxStatusToTx, AZombieTreeFallsSilentDownToTheRecordsAndWakesAsAWhole) {
    fill(*port(), 5);
    start();
    journalDest();
    syncer->zelDoZombieReactors(true);
    EXPECT_TRUE(syncer->txMstStatus("mst1")->zelMarkedForDeletion());
    EXPECT_TRUE(portSm()->zelMarkedForDeletion());
    EXPECT_TRUE(portSm()->txInfoSyncer(10)->zelMarkedForDeletion());
    const auto change = [&](unsigned value) {
        source->heartbeatTimeoutIs(value);
        port()->txUpdateIs(10, value);
        port()->txNewInfoIs(value);
        port()->txInfo(10)->configRevisionLevelIs(static_cast<Zel::U16>(value));
        port()->txInfo(10)->mstiN(0)->remainingHopsIs(static_cast<Zel::U8>(value));
    };
    change(50);
    port()->txInfoIs(30);
    port(et2);
    mst("mst2");
    EXPECT_EQ(journal.take(), Lines());
    syncer->zelDoZombieReactors(false);
    change(51);
    EXPECT_EQ(journal.take(),
              (Lines{"heartbeatTimeout=51", "mst1/Et1/txUpdate[10]=51", "mst1/Et1/txUpdate[10]=51",
                     "mst1/Et1/txNewInfo=51", "mst1/Et1/10/configRevisionLevel=51",
                     "mst1/Et1/10/0/remainingHops=51"}));
}

TEST_P(TxStatusToTx, AZombieRunsNoHandlerButKeepsItsChildrenInLineAsZombies) {
    port(et1);
    start();
    journalDest();
    syncer->zelDoZombieReactors(true);
    port(et2);
    mst()->txMstPortStatusDel(et1);
    const Zel::Ptr<MstSm> child = syncer->txMstStatus("mst1");
    TraceCapture capture("StpTxStatusSyncer", {8});
    for (Kolvu::IntfId key : {et1, et2})
        child->onAttribute(258, &key);
    EXPECT_EQ(capture.texts(), Lines());
    EXPECT_EQ(journal.take(), Lines());
    EXPECT_EQ(portSm(et1), nullptr);
    ASSERT_NE(portSm(et2), nullptr);
    EXPECT_TRUE(portSm(et2)->zelMarkedForDeletion());
    EXPECT_FALSE(portSm(et2)->hasNotificationActive());
    syncer->zelDoZombieReactors(false);
    port(et2)->txNewInfoIs(1);
    port(et2)->txInfoIs(10);
    EXPECT_EQ(journal.take(), Lines()) << "it has no destination";
}

TEST_P(TxStatusToTx, ANameFollowedForAZombieTracesAndWritesNothingDownToItsPorts) {
    start();
    syncer->zelDoZombieReactors(true);
    fill(*port(), 5);
    journalDest();
    const TraceNotes tracing("StpTxStatusSyncer", journal.lines);
    const Zel::Ptr<MstSm> child = syncer->txMstStatusIs(mst());
    EXPECT_EQ(journal.take(), Lines());
    EXPECT_TRUE(child->zelMarkedForDeletion());
    EXPECT_FALSE(child->hasNotificationActive());
    EXPECT_FALSE(child->initialized());
    EXPECT_EQ(child->dest(), nullptr);
    const Zel::Ptr<PortSm> at = child->txMstPortStatus(et1);
    ASSERT_NE(at, nullptr);
    EXPECT_TRUE(at->zelMarkedForDeletion());
    EXPECT_FALSE(at->hasNotificationActive());
    EXPECT_FALSE(at->initialized());
    EXPECT_FALSE(at->txInfoSyncerHas(10));
    fill(*port(), 50);
    port(et2);
    EXPECT_EQ(journal.take(), Lines());
    EXPECT_EQ(contents(dest), contents(TxStatus::Ptr(new TxStatus)));
}

TEST_P(TxStatusToTx, AnInterfaceAddedWhereOnlyItsNameIsAZombieIsNotWritten) {
    mst();
    start();
    dest->txMstStatus("mst1")->txMstPortStatusIs(et1)->txNewInfoIs(1);
    const Zel::Ptr<MstSm> name = syncer->txMstStatus("mst1");
    name->zelDoZombieReactors(true);
    journalDest();
    port();
    name->onAttribute(258, &et1);
    EXPECT_EQ(journal.take(), Lines());
    ASSERT_NE(portSm(), nullptr);
    EXPECT_TRUE(portSm()->isOfZombie());
    EXPECT_FALSE(portSm()->initialized());
    EXPECT_FALSE(syncer->zelMarkedForDeletion());
}

TEST_P(TxStatusToTx, ARecordSyncerMadeForAZombieIsAZombieThatTakesNoNotifications) {
    port();
    start();
    const Zel::Ptr<PortSm> at = portSm();
    at->zelDoZombieReactors(true);
    const IntxInfo::Ptr from = Samples::filled(10, {0});
    const IntxInfo::Ptr to = Samples::record(10);
    const IntxInfoSyncer::Ptr record = at->txInfoSyncerIs(from, to, 10, "mst1|Et1");
    EXPECT_EQ(at->txInfoSyncer(10), record);
    EXPECT_TRUE(record->zelMarkedForDeletion());
    EXPECT_TRUE(record->mstiN(0)->zelMarkedForDeletion());
    EXPECT_FALSE(record->mstiN(0)->hasNotificationActive());
    journal.follow(to);
    const TraceNotes tracing("StpTxStatusSyncer", journal.lines);
    from->stpVersionIs(9);
    from->mstiN(0)->remainingHopsIs(9);
    from->mstiNIs(3);
    EXPECT_EQ(journal.take(), Lines());
    EXPECT_EQ(record->mstiN(3), nullptr) << "a zombie that is notified would follow the entry";
}

TEST_P(TxStatusToTx, AZombiePortGivenAnotherEntityOrToldOfAnUpdateWritesNothing) {
    fill(*port(), 5);
    start();
    const Zel::Ptr<PortSm> at = portSm();
    at->zelDoZombieReactors(true);
    const TxMstPortStatus::Ptr other(new TxMstPortStatus(et1));
    fill(*other, 50);
    other->txUpdateIs(20, 1);
    journalDest();
    const TraceNotes tracing("StpTxStatusSyncer", journal.lines);
    at->notifierIs(other);
    EXPECT_EQ(at->txMstPortStatus(), other);
    EXPECT_EQ(journal.take(), Lines());
    const Bridging::VlanIdOrNone vlan = 10;
    at->onAttribute(259, &vlan);
    EXPECT_EQ(journal.take(), Lines());
    at->zelMarkedForDeletionIs(false);
    at->onAttribute(259, &vlan);
    EXPECT_FALSE(journal.take().empty()) << "of no zombie it is the notice of an update";
}

TEST_P(TxStatusToTx, SwitchedOffTheWholeTreeFallsSilentAndSwitchedOnItGoesOn) {
    fill(*port(), 5);
    start();
    journalDest();
    syncer->hasNotificationActiveIs(false);
    EXPECT_FALSE(portSm()->hasNotificationActive());
    EXPECT_FALSE(portSm()->txInfoSyncer(10)->hasNotificationActive());
    source->heartbeatTimeoutIs(1);
    port()->txNewInfoIs(1);
    port()->txInfo(10)->stpVersionIs(1);
    port(et2);
    mst("mst2");
    EXPECT_EQ(journal.take(), Lines());
    syncer->hasNotificationActiveIs(true);
    port()->txNewInfoIs(2);
    port()->txInfo(10)->stpVersionIs(3);
    EXPECT_EQ(journal.take(), (Lines{"mst1/Et1/txNewInfo=2", "mst1/Et1/10/stpVersion=3"}));
}

TEST_P(TxStatusToTx, WhatIsSwitchedOffAloneStaysSoWhenWhatKeepsItIsSwitchedOnAgain) {
    port()->txInfoIs(10);
    start();
    const Zel::Ptr<PortSm> at = portSm();
    at->txInfoSyncer(10)->hasNotificationActiveIs(false);
    at->hasNotificationActiveIs(true); // as it is
    EXPECT_FALSE(at->txInfoSyncer(10)->hasNotificationActive());
    at->hasNotificationActiveIs(false);
    syncer->txMstStatus("mst1")->hasNotificationActiveIs(true);
    EXPECT_FALSE(at->hasNotificationActive());
    journalDest();
    port()->txNewInfoIs(1);
    port()->txInfo(10)->stpVersionIs(2);
    EXPECT_EQ(journal.take(), Lines());
}

TEST_P(TxStatusToTx, AZombieAloneStaysOneWhenWhatKeepsItIsToldThatItIsNone) {
    port()->txInfoIs(10);
    start();
    const Zel::Ptr<PortSm> at = portSm();
    at->txInfoSyncer(10)->zelDoZombieReactors(true);
    at->zelDoZombieReactors(false); // as it is
    EXPECT_TRUE(at->txInfoSyncer(10)->zelMarkedForDeletion());
    at->zelDoZombieReactors(true);
    syncer->txMstStatus("mst1")->zelDoZombieReactors(false);
    EXPECT_TRUE(at->zelMarkedForDeletion());
    journalDest();
    port()->txNewInfoIs(1);
    port()->txInfo(10)->stpVersionIs(2);
    EXPECT_EQ(journal.take(), Lines());
}

TEST_P(TxStatusToTx, AReactorIsOfAZombieWhereItOrWhatOwnsItIsOne) {
    port();
    start();
    const Zel::Ptr<MstSm> name = syncer->txMstStatus("mst1");
    EXPECT_FALSE(name->isOfZombie());
    EXPECT_FALSE(portSm()->isOfZombie());
    portSm()->zelDoZombieReactors(true);
    EXPECT_TRUE(portSm()->isOfZombie());
    EXPECT_FALSE(name->isOfZombie());
    name->zelDoZombieReactors(true);
    portSm()->zelDoZombieReactors(false);
    EXPECT_TRUE(name->isOfZombie());
    EXPECT_TRUE(portSm()->isOfZombie());
    syncer->zelDoZombieReactors(true);
    name->zelDoZombieReactors(false);
    EXPECT_TRUE(name->isOfZombie());
    EXPECT_TRUE(portSm()->isOfZombie());
}

TEST_P(TxStatusToTx, AReactorWithoutAnOwnerIsOfAZombieWhereItIsOneItself) {
    port();
    start();
    const Zel::Ptr<MstSm> name = syncer->txMstStatus("mst1");
    const Zel::Ptr<PortSm> at = portSm();
    syncer->txMstStatusDel("mst1");
    ASSERT_EQ(name->owner(), nullptr);
    EXPECT_TRUE(name->isOfZombie());
    EXPECT_TRUE(at->isOfZombie());
    name->zelDoZombieReactors(false);
    EXPECT_FALSE(name->isOfZombie());
    EXPECT_FALSE(at->isOfZombie());
}

TEST_P(TxStatusToTx, AReactorOnAnInterfaceLetsGoOfItsRecordsSyncersBeforeAnythingElse) {
    port();
    start();
    Zel::Ptr<PortSm> at = portSm();
    // With a parent identifier of its own it shares nothing with the reactor.
    const IntxInfoSyncer::Ptr record =
        at->txInfoSyncerIs(Samples::record(10), Samples::record(10), 10, "elsewhere");
    syncer->txMstStatusDelAll();
    ASSERT_EQ(at->references(), 1U);
    ASSERT_EQ(record->references(), 2U);
    bool happened = false;
    {
        const AtDeallocation looking([&] {
            happened = true;
            EXPECT_EQ(record->references(), 1U);
        });
        at = nullptr;
    }
    EXPECT_TRUE(happened);
}

TEST_P(TxStatusToTx, OtherAttributesAndNullKeysAreIgnored) {
    fill(*port(), 5);
    start();
    journalDest();
    TraceCapture capture("StpTxStatusSyncer", {8});
    source->notify(258);
    source->notify(260);
    mst()->notify(258);
    mst()->notify(259);
    port()->notify(258);
    port()->notify(259);
    port()->notify(262);
    port()->notify(263);
    EXPECT_EQ(capture.texts(), Lines());
    EXPECT_EQ(journal.take(), Lines());
}

TEST_P(TxStatusToTx, HandlersRunUnderBlockTimersWithTheirQualifiedNames) {
    port();
    const Lines names = timedBlocks("StpTxStatusSyncer.cpp", [&] {
                            start();
                            port()->txNewInfoIs(1); // under no timer
                            port()->txHelloWhenOnIs({});
                            source->heartbeatTimeoutIs(1);
                            port()->txUpdateIs(10, 1);
                            port()->txInfoIs(10);
                        }).names;
    const std::string root = "Varnol::TxStatusToTxSyncer::";
    const std::string onMst = root + "ZelTxMstStatusSm::";
    const std::string onPort = onMst + "ZelTxMstPortStatusSm::";
    const std::string each = "handleInitialized";
    EXPECT_EQ(names, (Lines{onPort + each, onPort + each, onMst + "handleTxMstPortStatus",
                            onMst + "handleTxMstPortStatus", onMst + each, onPort + each,
                            onMst + "handleTxMstPortStatus", onMst + "handleTxMstPortStatus",
                            onMst + each, root + "handleTxMstStatus", root + "handleTxMstStatus",
                            root + each, onPort + "handleTxUpdate",
                            "Varnol::IntxInfoSyncer::handleInitialized", onPort + "handleTxInfo"}));
}

TEST_P(TxStatusToTx, DroppingTheSyncerInsideANotificationOfTheDestinationIsSafe) {
    port();
    for (int where = 0; where < 5; ++where) {
        start();
        journalDest();
        journal.look = [&](std::string const&) { syncer = nullptr; };
        switch (where) {
        case 0:
            port()->txNewInfoIs(1);
            break;
        case 1:
            port()->txUpdateIs(10, 1);
            break;
        case 2:
            Samples::fill(*port()->txInfoIs(10));
            break;
        case 3:
            mst()->txMstPortStatusIs(et2);
            break;
        default:
            source->txMstStatusDel("mst1");
        }
        EXPECT_EQ(syncer, nullptr) << where;
        const Lines lines = journal.take();
        port()->txNewInfoIs(9);
        EXPECT_EQ(journal.take(), Lines()) << where;
        EXPECT_GE(lines.size(), 1U);
        journal.look = {};
        journal.close();
    }
}

TEST_P(TxStatusToTx, APortCalledDirectlyMayLoseItsSyncerInAnyWriteForARecord) {
    struct Action {
        const char* name;
        void (*prepare)(TxMstPortStatus& from, TxMstPortStatus& to);
        void (*run)(PortSm& at);
        unsigned writes;
    };
    const Action actions[] = {
        {"a syncer", [](TxMstPortStatus&, TxMstPortStatus& to) { to.txInfoIs(10); },
         [](PortSm& at) {
             at.txInfoSyncerIs(Samples::filled(10, {0}), at.dest()->txInfo(10), 10, "mst1|Et1");
         },
         6 + 1 + 13},
        {"a record and its syncer",
         [](TxMstPortStatus& from, TxMstPortStatus&) { from.txInfoIs(10)->mstiNIs(0); },
         [](PortSm& at) { at.handleTxInfo(10); }, 1 + 6 + 1 + 13},
        {"a record less", [](TxMstPortStatus& from, TxMstPortStatus&) { from.txInfoDel(20); },
         [](PortSm& at) { at.handleTxInfo(20); }, 1},
    };
    for (Action const& action : actions) {
        SCOPED_TRACE(action.name);
        for (unsigned n = 1; n <= action.writes + 1; ++n) {
            source = TxStatus::Ptr(new TxStatus);
            dest = TxStatus::Ptr(new TxStatus);
            port()->txInfoIs(20);
            start();
            syncer->hasNotificationActiveIs(false);
            action.prepare(*port(), *destPort());
            journalDest();
            unsigned writes = 0;
            journal.look = [&](std::string const&) {
                if (++writes == n)
                    syncer = nullptr;
            };
            PortSm& at = *portSm(); // which the syncer alone holds
            action.run(at);
            EXPECT_EQ(syncer == nullptr, n <= action.writes) << "write " << n;
            journal.take();
            journal.look = {};
            if (!syncer) {
                EXPECT_EQ(PortSm::_zelType.allocations().liveCount(), 0U);
                EXPECT_EQ(IntxInfoSyncer::_zelType.allocations().liveCount(), 0U);
                fill(*port(), 50);
                EXPECT_EQ(journal.take(), Lines());
            }
            syncer = nullptr;
            journal.close();
        }
    }
}

TEST_P(TxStatusToTx, AChangeOfTheSourceInsideANotificationOfTheDestinationIsMirroredToo) {
    fill(*port(), 5);
    start();
    journalDest();
    journal.look = [&](std::string const& line) {
        if (line == "mst1/Et1/txNewInfo=20")
            port()->txNewInfoIs(21);
        if (line == "mst1/Et1/txNewInfo=21")
            port()->txUpdateDel(10);
        if (line == "mst1/Et1/txUpdate[10] deleted")
            port()->txInfoDel(10);
        if (line == "mst1/Et1/txInfo[10] deleted")
            fill(*port(et2), 50);
        if (line == "mst1/txMstPortStatus[Et2]")
            source->heartbeatTimeoutIs(6);
    };
    port()->txNewInfoIs(20);
    EXPECT_EQ(source->heartbeatTimeout(), 6);
    EXPECT_EQ(contents(dest), contents(source));
}

TEST_P(TxStatusToTx, DeletingSourceChildrenWhileTheyAreWalkedLeavesBothTreesAlike) {
    const std::initializer_list<Kolvu::IntfId> intfs{et1, et2, et3, po1};
    for (auto intf : intfs)
        fill(*port(intf), 5);
    for (const char* name : {"a", "b", "c"})
        mst(name);
    journalDest();
    bool portsDone = false, namesDone = false, recordsDone = false, updatesDone = false;
    journal.look = [&](std::string const& line) {
        if (line.starts_with("mst1/txMstPortStatus") && !std::exchange(portsDone, true))
            mst()->txMstPortStatusDel(line == "mst1/txMstPortStatus[Et1]" ? et2 : et1);
        if (line.starts_with("txMstStatus[") && !std::exchange(namesDone, true))
            source->txMstStatusDel(line == "txMstStatus[a]" ? "b" : "a");
        if (line == "mst1/Po1/txInfo[0]" && !std::exchange(recordsDone, true))
            port(po1)->txInfoDel(10);
        if (line.starts_with("mst1/Et3/1/txUpdate[") && !std::exchange(updatesDone, true))
            port(et3)->txUpdateDel(line.starts_with("mst1/Et3/1/txUpdate[0]") ? 10 : 0);
    };
    start();
    EXPECT_TRUE(portsDone && namesDone && recordsDone && updatesDone);
    EXPECT_EQ(contents(dest), contents(source));
    EXPECT_EQ(syncer->children().map().members(), source->txMstStatus().members());
    for (auto intf : intfs) {
        if (mst()->txMstPortStatus(intf)) {
            port(intf)->txNewInfoIs(90);
            EXPECT_EQ(destPort(intf)->txNewInfo(), 90U);
        }
    }
}

TEST_P(TxStatusToTx, ARecordMadeAgainInItsOwnDeletionNoticeLeavesBothTreesAlikeInStructure) {
    port()->txInfoIs(10)->mstiNIs(0);
    start();
    journalDest();
    bool again = true;
    std::string refusal;
    journal.look = [&](std::string const& line) {
        if (line != "mst1/Et1/txInfo[10] deleted" || !std::exchange(again, false))
            return;
        // The syncer of the former record is still there, and refuses the new one.
        refusal = textThrown<Zel::NameInUseException>([&] { port()->txInfoIs(10); });
    };
    port()->txInfoDel(10);
    EXPECT_NE(refusal.find("_source"), refusal.npos);
    EXPECT_NE(port()->txInfo(10), nullptr);
    EXPECT_NE(destPort()->txInfo(10), nullptr);
    EXPECT_FALSE(portSm()->txInfoSyncerHas(10));
    port()->txInfoDel(10);
    port()->txInfoIs(10)->stpVersionIs(2);
    EXPECT_EQ(contents(dest), contents(source));
}

TEST_P(TxStatusToTx, ARecordDeletedInItsOwnCreationNoticeIsNowhereAndIsMirroredWhenMadeAgain) {
    port();
    start();
    journalDest();
    bool deleted = false;
    journal.look = [&](std::string const& line) {
        if (line == "mst1/Et1/txInfo[10]" && !std::exchange(deleted, true))
            port()->txInfoDel(10);
    };
    port()->txInfoIs(10);
    EXPECT_TRUE(deleted);
    EXPECT_EQ(port()->txInfo(10), nullptr);
    EXPECT_EQ(destPort()->txInfo(10), nullptr);
    EXPECT_FALSE(portSm()->txInfoSyncerHas(10));
    Samples::fill(*port()->txInfoIs(10));
    Samples::fill(*port()->txInfo(10)->mstiNIs(3));
    EXPECT_TRUE(portSm()->txInfoSyncerHas(10));
    EXPECT_EQ(contents(dest), contents(source));
}

TEST_P(TxStatusToTx, ARecordReplacedInItsOwnCreationNoticeIsMirroredAndFollowed) {
    port();
    start();
    journalDest();
    for (const bool inPlace : {false, true}) {
        SCOPED_TRACE(inPlace);
        bool replaced = false;
        journal.look = [&](std::string const& line) {
            if (line != "mst1/Et1/txInfo[10]" || std::exchange(replaced, true))
                return;
            if (inPlace) {
                port()->txInfoMemberIs(Samples::filled(10, {0, 4}));
            } else {
                port()->txInfoDel(10);
                Samples::fill(*port()->txInfoIs(10)->mstiNIs(4));
            }
        };
        const IntxInfo::Ptr former = port()->txInfoIs(10);
        EXPECT_TRUE(replaced);
        EXPECT_NE(port()->txInfo(10), former);
        EXPECT_EQ(contents(dest), contents(source));
        EXPECT_EQ(portSm()->txInfoSyncer(10)->source(), port()->txInfo(10));
        Samples::fill(*port()->txInfo(10));
        port()->txInfo(10)->mstiN(4)->remainingHopsIs(3);
        port()->txInfo(10)->mstiNIs(5);
        EXPECT_EQ(contents(dest), contents(source));
        port()->txInfoDel(10);
    }
}

TEST_P(TxStatusToTx, ARecordReplacedWhileTheTreeIsBuiltIsMirroredAndFollowed) {
    const IntxInfo::Ptr former = port()->txInfoIs(10);
    dest->txMstStatusIs("mst1")->txMstPortStatusIs(et1);
    journalDest();
    bool replaced = false;
    journal.look = [&](std::string const& line) {
        if (line != "mst1/Et1/txInfo[10]" || std::exchange(replaced, true))
            return;
        port()->txInfoDel(10);
        Samples::fill(*port()->txInfoIs(10)->mstiNIs(4));
    };
    start();
    EXPECT_TRUE(replaced);
    EXPECT_NE(port()->txInfo(10), former);
    EXPECT_EQ(contents(dest), contents(source));
    EXPECT_EQ(portSm()->txInfoSyncer(10)->source(), port()->txInfo(10));
    port()->txInfo(10)->mstiN(4)->remainingHopsIs(3);
    EXPECT_EQ(contents(dest), contents(source));
}

TEST_P(TxStatusToTx, ARecordThatGoesWhileItsSyncerIsMadeLeavesNone) {
    port();
    start();
    journalDest();
    bool deleted = false;
    journal.look = [&](std::string const& line) {
        if (line.starts_with("mst1/Et1/10/stpVersion=") && !std::exchange(deleted, true))
            port()->txInfoDel(10);
    };
    port()->txInfoMemberIs(Samples::filled(10, {0}));
    EXPECT_TRUE(deleted);
    EXPECT_EQ(destPort()->txInfo(10), nullptr);
    EXPECT_FALSE(portSm()->txInfoSyncerHas(10));
}

TEST_P(TxStatusToTx, ARecordThatGoesFromAZombieWhileItsSyncerIsMadeStaysInTheDestination) {
    port();
    start();
    journalDest();
    journal.look = [&](std::string const& line) {
        if (!line.starts_with("mst1/Et1/10/stpVersion="))
            return;
        syncer->zelDoZombieReactors(true);
        port()->txInfoDel(10);
    };
    TraceCapture capture("StpTxStatusSyncer", {8});
    port()->txInfoMemberIs(Samples::filled(10, {0}));
    EXPECT_EQ(port()->txInfo(10), nullptr);
    EXPECT_NE(destPort()->txInfo(10), nullptr);
    EXPECT_EQ(capture.texts().front(),
              "TxToTx::ZelTxMstPortStatusSm[mst1|Et1]::handleTxInfo() setting vlan=10");
    for (std::string const& text : capture.texts())
        EXPECT_EQ(text.find("deleting"), text.npos) << text;
}

TEST_P(TxStatusToTx, KeysMadeAgainInTheirOwnDeletionNoticeAreThereAndFollowed) {
    fill(*port(), 5);
    start();
    journalDest();
    bool portAgain = true, nameAgain = true;
    journal.look = [&](std::string const& line) {
        if (line == "mst1/txMstPortStatus[Et1] deleted" && std::exchange(portAgain, false))
            port();
        if (line == "txMstStatus[mst1] deleted" && std::exchange(nameAgain, false))
            mst();
    };
    mst()->txMstPortStatusDel(et1);
    ASSERT_NE(destPort(), nullptr);
    ASSERT_NE(portSm(), nullptr);
    EXPECT_EQ(portSm()->txMstPortStatus(), port());
    EXPECT_FALSE(portSm()->zelMarkedForDeletion());
    source->txMstStatusDel("mst1");
    ASSERT_NE(syncer->txMstStatus("mst1"), nullptr);
    EXPECT_EQ(syncer->txMstStatus("mst1")->txMstStatus(), mst());
    EXPECT_NE(dest->txMstStatus("mst1"), nullptr);
    EXPECT_FALSE(portAgain || nameAgain);
    journal.look = {};
    source->txMstStatusDel("mst1");
    mst();
    fill(*port(), 6);
    EXPECT_EQ(contents(dest), contents(source));
}

TEST_P(TxStatusToTx, ExhaustedMemoryAtAnyAllocationLeavesNothingBehindAndReachesTheCaller) {
    port(et1)->txInfoIs(10)->mstiNIs(0);
    port(et1)->txUpdateIs(10, 1);
    port(et2);
    mst("mst2");
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        dest = TxStatus::Ptr(new TxStatus);
        if (attempt([&] { start(); }))
            EXPECT_EQ(contents(dest), contents(source));
        else
            EXPECT_EQ(syncer, nullptr);
        syncer = nullptr;
        dest = nullptr;
    });
    EXPECT_GT(failures, 20U);
}

TEST_P(TxStatusToTx, AWriteThatMemoryIsExhaustedInEndsForWhoLooksOn) {
    port(et1)->txInfoIs(10)->mstiNIs(0);
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        dest = TxStatus::Ptr(new TxStatus);
        {
            const Onlooker onlooker;
            attempt([&] { start(); });
        }
        syncer = nullptr;
        dest = nullptr;
    });
    EXPECT_GT(failures, 5U);
}

TEST_P(TxStatusToTx, ExhaustedMemoryForAnotherEntityOfANameIsMadeGoodByTheNextNotice) {
    const Zel::Name name("mst1");
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        source = TxStatus::Ptr(new TxStatus);
        dest = TxStatus::Ptr(new TxStatus);
        port(et1);
        start();
        const TxMstStatus::Ptr other(new TxMstStatus(name));
        other->txMstPortStatusIs(et1)->txNewInfoIs(8);
        other->txMstPortStatusIs(et2);
        other->txMstPortStatusIs(et3);
        if (!attempt([&] { source->txMstStatusMemberIs(other); })) {
            EXPECT_EQ(mst(), other) << "it is stored";
            EXPECT_EQ(syncer->txMstStatus(name)->txMstStatus(), other);
            source->notify(258, &name);
        }
        EXPECT_EQ(syncer->txMstStatus(name)->txMstStatus(), other);
        for (const Kolvu::IntfId intf : {et1, et2, et3}) {
            ASSERT_NE(portSm(intf), nullptr);
            EXPECT_EQ(portSm(intf)->txMstPortStatus(), port(intf));
        }
        EXPECT_EQ(destPort(et1)->txNewInfo(), 8U);
        syncer = nullptr;
        source = nullptr;
        dest = nullptr;
    });
    EXPECT_GE(failures, 2U) << "the reactors on two interfaces";
}

TEST_P(TxStatusToTx, AnExceptionOfTheDestinationsReactorReachesTheCallerOfTheFactory) {
    fill(*port(), 5);
    journalDest();
    journal.look = [](std::string const& line) {
        if (line == "mst1/Et1/txNewInfo=7")
            throw std::runtime_error("refused");
    };
    const auto liveSyncers = [] {
        auto live = liveObjects();
        std::erase_if(
            live, [](auto const& type) { return type.first.find("Syncer") == std::string::npos; });
        return live;
    };
    const auto before = liveSyncers();
    EXPECT_THROW(start(), std::runtime_error);
    EXPECT_EQ(syncer, nullptr);
    EXPECT_EQ(liveSyncers(), before);
    source->txMstStatusIs("mst2");
    EXPECT_EQ(dest->txMstStatus("mst2"), nullptr);
}

} // namespace
} // namespace Varnol
