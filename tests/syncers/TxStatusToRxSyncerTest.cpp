#include "syncers/TxStatusToRxSyncer.h"

#include "framework/zel/Exception.h"
#include "tests/framework/EachAllocation.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/NothingLeft.h"
#include "tests/framework/Thrown.h"
#include "tests/framework/TimedBlocks.h"
#include "tests/framework/TraceNotes.h"
#include "tests/model/Journal.h"
#include "tests/model/Samples.h"
#include "tests/syncers/InitializedLast.h"

#include <csignal>
#include <new>
#include <set>
#include <stdexcept>

namespace Varnol {
namespace {

using Samples::et1;
using Samples::et2;
using Samples::et3;
using Samples::po1;
using TreeText::contents;
using TreeText::Lines;
using Sm = TxStatusToRxSyncer::ZelTxMstStatusSm;

class TxStatusToRx : public NothingLeft {
  protected:
    void start() { syncer = txStatusToRxSyncerFactory(source, rx); }
    /// Keeps what is written to the receive tree from now on.
    void journalRx() { journal.follow(rx); }
    TxMstStatus::Ptr mst(const char* name = "mst1") { return source->txMstStatusIs(name); }

    /// The keys that the receive tree holds, as "mst1" and "mst1/Et1", sorted.
    Lines structure() const {
        std::set<std::string> keys;
        for (auto const& name : std::as_const(*rx).rxMstStatus()) {
            keys.insert(TreeText::text(name->name()));
            for (auto const& port : std::as_const(*name).rxMstPortStatus())
                keys.insert(TreeText::text(name->name()) + "/" + TreeText::text(port->intfId()));
        }
        return {keys.begin(), keys.end()};
    }

    TxStatus::Ptr source{new TxStatus};
    RxStatus::Ptr rx{new RxStatus};
    TxStatusToRxSyncer::Ptr syncer;
    Journal journal;
};
WITH_BOTH_WAYS_OF_COUNTING(TxStatusToRx);

TEST_P(TxStatusToRx, ConstructionMakesAnEntryForEachNameAndInterfaceAndNothingElse) {
    mst("A")->txMstPortStatusIs(et1)->txInfoIs(10)->mstiNIs(0);
    mst("A")->txMstPortStatusIs(po1)->txUpdateIs(10, 5);
    mst("B")->txMstPortStatusIs(et1)->txNewInfoIs(3);
    source->heartbeatTimeoutIs(2.5);
    start();
    EXPECT_EQ(structure(), (Lines{"A", "A/Et1", "A/Po1", "B", "B/Et1"}));
    const RxStatus::Ptr bare(new RxStatus);
    bare->rxMstStatusIs("A")->rxMstPortStatusIs(et1);
    bare->rxMstStatusIs("A")->rxMstPortStatusIs(po1);
    bare->rxMstStatusIs("B")->rxMstPortStatusIs(et1);
    EXPECT_EQ(contents(rx), contents(bare)) << "a value was written";
    EXPECT_TRUE(syncer->initialized());
    EXPECT_TRUE(syncer->hasNotificationActive());
    EXPECT_EQ(syncer->source(), source);
    EXPECT_EQ(syncer->rxStatus(), rx);
    EXPECT_EQ(syncer->children().map().members(), 2U);
    const Zel::Ptr<Sm> child = syncer->txMstStatus("A");
    EXPECT_TRUE(child->initialized());
    EXPECT_TRUE(child->hasNotificationActive());
    EXPECT_EQ(child->owner(), syncer.ptr());
    EXPECT_EQ(child->txMstStatus(), mst("A"));
    EXPECT_EQ(child->rxMstStatus(), rx->rxMstStatus("A"));
}

TEST_P(TxStatusToRx, TypesAreRegisteredAndKeyTextsAreAsTraced) {
    mst("A");
    start();
    const Zel::Ptr<Sm> child = syncer->txMstStatus("A");
    EXPECT_EQ(syncer->fwkType()->name(), "Varnol::TxStatusToRxSyncer");
    EXPECT_EQ(child->fwkType()->name(), "Varnol::TxStatusToRxSyncer::ZelTxMstStatusSm");
    EXPECT_EQ(Zel::typeNode("Varnol::TxStatusToRxSyncer"), syncer->fwkType());
    EXPECT_EQ(Zel::typeNode("Varnol::TxStatusToRxSyncer::ZelTxMstStatusSm"), child->fwkType());
    EXPECT_NE(Zel::typeNode("Varnol::TxStatusToRxSyncer::ZelSource"), nullptr);
    EXPECT_EQ(syncer->keyInfo(), "");
    EXPECT_EQ(child->keyInfo(), "[A]");
    EXPECT_EQ(child->fwkKey(), Zel::Name("A"));
}

TEST_P(TxStatusToRx, ConstructionDeletesWhatTheSourceLacksWithoutATrace) {
    mst()->txMstPortStatusIs(et1);
    rx->rxMstStatusIs("gone")->rxMstPortStatusIs(et1);
    rx->rxMstStatusIs("mst1")->rxMstPortStatusIs(et2);
    const auto kept = rx->rxMstStatus("mst1")->rxMstPortStatusIs(et1);
    kept->bpduCountIs(7);
    journalRx();
    TraceCapture capture("StpTxStatusSyncer", {8});
    start();
    EXPECT_EQ(structure(), (Lines{"mst1", "mst1/Et1"}));
    EXPECT_EQ(journal.take(),
              (Lines{"mst1/rxMstPortStatus[Et2] deleted", "rxMstStatus[gone] deleted"}));
    for (std::string const& text : capture.texts())
        EXPECT_EQ(text.find("deleting"), text.npos) << text;
    EXPECT_EQ(rx->rxMstStatus("mst1")->rxMstPortStatus(et1), kept);
    EXPECT_EQ(kept->bpduCount(), 7U);
}

TEST_P(TxStatusToRx, ConstructionTracesTheNameThenItsInterfacesAndTheRootLast) {
    mst()->txMstPortStatusIs(et3);
    Lines traces;
    const TraceNotes tracing("StpTxStatusSyncer", traces);
    start();
    EXPECT_EQ(traces,
              (Lines{"8 handleInitialized: TxToRx::ZelTxMstStatusSm[mst1]::handleInitialized() ",
                     "8 handleTxMstPortStatus: TxToRx::ZelTxMstStatusSm[mst1]::"
                     "handleTxMstPortStatus() setting rxMstPortStatus for Et3/1",
                     "8 handleInitialized: TxToRx::handleInitialized() ",
                     "8 handleTxMstStatus: TxToRx::handleTxMstStatus() setting rxMstStatus mst1"}));
}

TEST_P(TxStatusToRx, BothLevelsAreInitializedAfterTheirLastWrite) {
    mst()->txMstPortStatusIs(et1);
    start();
    journalRx();
    rx->rxMstStatusIs("gone");
    expectInitializedLast(*syncer, journal);
    rx->rxMstStatus("mst1")->rxMstPortStatusIs(et2);
    expectInitializedLast(*syncer->txMstStatus("mst1"), journal);
}

TEST_P(TxStatusToRx, AnEmptySourceTracesTheRootsInitialisationAlone) {
    TraceCapture capture("StpTxStatusSyncer", {8});
    start();
    EXPECT_EQ(capture.texts(), (Lines{"TxToRx::handleInitialized() "}));
    EXPECT_EQ(structure(), Lines());
}

TEST_P(TxStatusToRx, FollowsInterfacesWithTheirShortNamesInTheTraces) {
    mst();
    start();
    journalRx();
    TraceCapture capture("StpTxStatusSyncer", {8});
    for (int turn = 0; turn < 2; ++turn) {
        mst()->txMstPortStatusIs(et3);
        mst()->txMstPortStatusDel(et3);
    }
    mst()->txMstPortStatusIs(po1);
    const std::string prefix = "TxToRx::ZelTxMstStatusSm[mst1]::handleTxMstPortStatus() ";
    EXPECT_EQ(capture.texts(), (Lines{prefix + "setting rxMstPortStatus for Et3/1",
                                      prefix + "deleting rxMstPortStatus for Et3/1",
                                      prefix + "setting rxMstPortStatus for Et3/1",
                                      prefix + "deleting rxMstPortStatus for Et3/1",
                                      prefix + "setting rxMstPortStatus for Po1"}));
    EXPECT_EQ(journal.take(),
              (Lines{"mst1/rxMstPortStatus[Et3/1]", "mst1/rxMstPortStatus[Et3/1] deleted",
                     "mst1/rxMstPortStatus[Et3/1]", "mst1/rxMstPortStatus[Et3/1] deleted",
                     "mst1/rxMstPortStatus[Po1]"}));
}

TEST_P(TxStatusToRx, ANewNameGetsItsEntryFromTheHandlerAndItsReactorAfterwards) {
    start();
    journalRx();
    bool reactorAtCreation = true;
    journal.look = [&](std::string const& line) {
        if (line == "rxMstStatus[mst1]")
            reactorAtCreation = syncer->txMstStatus("mst1") != nullptr;
    };
    TraceCapture capture("StpTxStatusSyncer", {8});
    const TxMstStatus::Ptr made(new TxMstStatus("mst1"));
    made->txMstPortStatusIs(et1);
    source->txMstStatusMemberIs(made);
    EXPECT_EQ(capture.texts(), (Lines{"TxToRx::handleTxMstStatus() setting rxMstStatus mst1",
                                      "TxToRx::ZelTxMstStatusSm[mst1]::handleInitialized() ",
                                      "TxToRx::ZelTxMstStatusSm[mst1]::handleTxMstPortStatus() "
                                      "setting rxMstPortStatus for Et1"}));
    EXPECT_EQ(journal.take(), (Lines{"rxMstStatus[mst1]", "mst1/rxMstPortStatus[Et1]"}));
    EXPECT_FALSE(reactorAtCreation);
    EXPECT_NE(syncer->txMstStatus("mst1"), nullptr);
}

TEST_P(TxStatusToRx, AVanishedNameLosesItsEntryInTheHandlerAndItsReactorAfterwards) {
    mst()->txMstPortStatusIs(et1);
    start();
    journalRx();
    bool reactorAtDeletion = false;
    journal.look = [&](std::string const&) {
        reactorAtDeletion = syncer->txMstStatus("mst1") != nullptr;
    };
    TraceCapture capture("StpTxStatusSyncer", {8});
    source->txMstStatusDel("mst1");
    EXPECT_EQ(capture.texts(), (Lines{"TxToRx::handleTxMstStatus() deleting rxMstStatus mst1"}));
    EXPECT_EQ(journal.take(), (Lines{"rxMstStatus[mst1] deleted"}));
    EXPECT_TRUE(reactorAtDeletion);
    EXPECT_EQ(syncer->txMstStatus("mst1"), nullptr);
}

TEST_P(TxStatusToRx, ValuesOfTheTransmitTreeCauseNoWriteAndNoTrace) {
    const auto port = mst()->txMstPortStatusIs(et1);
    start();
    journalRx();
    TraceCapture capture("StpTxStatusSyncer", {8});
    source->heartbeatTimeoutIs(1);
    port->txUpdateIs(10, 1);
    port->txUpdateDel(10);
    port->txNewInfoIs(1);
    port->txHelloWhenOnIs(Stp::TimerVal::seconds(2));
    port->txInfoIs(10)->mstiNIs(0)->flagsIs(1);
    port->txInfoDel(10);
    EXPECT_EQ(journal.take(), Lines());
    EXPECT_EQ(capture.texts(), Lines());
}

TEST_P(TxStatusToRx, ANullChildThrowsTheRangeExceptionAndChangesNothing) {
    mst();
    start();
    journalRx();
    EXPECT_EQ(textThrown<Zel::RangeException>([&] { syncer->txMstStatusIs(nullptr); }),
              "null _txMstStatus parameter to mutator for Varnol::TxStatusToRxSyncer::txMstStatus "
              "not allowed\"");
    EXPECT_EQ(syncer->children().map().members(), 1U);
    EXPECT_EQ(journal.take(), Lines());
}

TEST_P(TxStatusToRx, TheChildOfAnElementAlreadyWatchedIsReturnedAndRunsNothing) {
    mst();
    start();
    const Zel::Ptr<Sm> child = syncer->txMstStatus("mst1");
    TraceCapture capture("StpTxStatusSyncer", {8});
    EXPECT_EQ(syncer->txMstStatusIs(mst()), child);
    EXPECT_EQ(capture.texts(), Lines());
}

TEST_P(TxStatusToRx, ARebindToAnotherEntityOfTheNameRunsNoHandlerAndLeavesThePortsAlone) {
    mst()->txMstPortStatusIs(et1);
    start();
    journalRx();
    const Zel::Ptr<Sm> child = syncer->txMstStatus("mst1");
    const TxMstStatus::Ptr former = mst();
    const TxMstStatus::Ptr other(new TxMstStatus("mst1"));
    other->txMstPortStatusIs(et2);
    TraceCapture capture("StpTxStatusSyncer", {8});
    source->txMstStatusMemberIs(other);
    EXPECT_EQ(capture.texts(), (Lines{"TxToRx::handleTxMstStatus() setting rxMstStatus mst1"}));
    EXPECT_EQ(journal.take(), Lines());
    EXPECT_EQ(syncer->txMstStatus("mst1"), child);
    EXPECT_EQ(child->txMstStatus(), other);
    EXPECT_EQ(structure(), (Lines{"mst1", "mst1/Et1"}));
    former->txMstPortStatusIs(et3);
    EXPECT_EQ(journal.take(), Lines()) << "the former entity is still followed";
    other->txMstPortStatusIs(et3);
    EXPECT_EQ(journal.take(), (Lines{"mst1/rxMstPortStatus[Et3/1]"}));
    capture.clear();
    child->txMstStatusIs(former);
    EXPECT_EQ(child->txMstStatus(), former);
    EXPECT_EQ(capture.texts(), Lines());
    EXPECT_EQ(journal.take(), Lines());
}

TEST_P(TxStatusToRx, AnotherSourceAddsItsNamesAndKeepsTheEntriesOfNamesThatItLacks) {
    mst("both")->txMstPortStatusIs(et1);
    mst("old")->txMstPortStatusIs(et1);
    start();
    journalRx();
    const TxStatus::Ptr other(new TxStatus);
    other->txMstStatusIs("both")->txMstPortStatusIs(et2);
    other->txMstStatusIs("new")->txMstPortStatusIs(et3);
    TraceCapture capture("StpTxStatusSyncer", {8});
    syncer->sourceIs(other);
    EXPECT_EQ(syncer->source(), other);
    EXPECT_EQ(structure(), (Lines{"both", "both/Et1", "new", "new/Et3/1", "old", "old/Et1"}));
    EXPECT_EQ(journal.take(), (Lines{"rxMstStatus[new]", "new/rxMstPortStatus[Et3/1]"}));
    EXPECT_EQ(capture.texts(), (Lines{"TxToRx::ZelTxMstStatusSm[new]::handleInitialized() ",
                                      "TxToRx::ZelTxMstStatusSm[new]::handleTxMstPortStatus() "
                                      "setting rxMstPortStatus for Et3/1"}));
    EXPECT_EQ(syncer->txMstStatus("old"), nullptr);
    EXPECT_EQ(syncer->txMstStatus("both")->txMstStatus(), other->txMstStatus("both"));
    capture.clear();
    syncer->sourceIs(other);
    EXPECT_EQ(capture.texts(), Lines()) << "the same source again";
    source->txMstStatusIs("ignored");
    EXPECT_EQ(rx->rxMstStatus("ignored"), nullptr);
}

TEST_P(TxStatusToRx, WithoutASourceTheNamesStandStillAndItsChildrenGoOn) {
    mst();
    start();
    syncer->sourceDel();
    EXPECT_EQ(syncer->source(), nullptr);
    syncer->sourceDel();
    source->txMstStatusIs("mst2");
    mst()->txMstPortStatusIs(et1);
    EXPECT_EQ(structure(), (Lines{"mst1", "mst1/Et1"}));
    TraceCapture capture("StpTxStatusSyncer", {8});
    syncer->sourceIs(source);
    EXPECT_EQ(capture.texts(), Lines());
    source->txMstStatusIs("mst3");
    EXPECT_EQ(structure(), (Lines{"mst1", "mst1/Et1", "mst3"}));
}

TEST_P(TxStatusToRx, AHandlerCalledWithoutASourceDeletesAsIfTheSourceWereEmpty) {
    mst()->txMstPortStatusIs(et1);
    start();
    journalRx();
    const Zel::Ptr<Sm> child = syncer->txMstStatus("mst1");
    child->notifierIs(nullptr);
    child->handleTxMstPortStatus(et1);
    EXPECT_EQ(journal.take(), Lines{"mst1/rxMstPortStatus[Et1] deleted"});
    syncer->sourceDel();
    syncer->handleTxMstStatus("mst1");
    EXPECT_EQ(journal.take(), Lines{"rxMstStatus[mst1] deleted"});
}

TEST_P(TxStatusToRx, DeletersRemoveReactorsOnlyAndNeverTouchTheReceiveTree) {
    mst("A")->txMstPortStatusIs(et1);
    mst("B");
    mst("C");
    start();
    journalRx();
    const Zel::Ptr<Sm> removed = syncer->txMstStatus("A");
    TraceCapture capture("StpTxStatusSyncer", {8});
    syncer->txMstStatusDel("A");
    syncer->txMstStatusDel("A");
    syncer->txMstStatusDel("absent");
    EXPECT_EQ(syncer->children().map().members(), 2U);
    EXPECT_EQ(removed->owner(), nullptr);
    EXPECT_TRUE(removed->zelMarkedForDeletion());
    EXPECT_FALSE(removed->hasNotificationActive());
    mst("A")->txMstPortStatusIs(et2);
    syncer->txMstStatusDelAll();
    EXPECT_EQ(syncer->children().map().members(), 0U);
    EXPECT_EQ(journal.take(), Lines());
    EXPECT_EQ(capture.texts(), Lines());
}

TEST_P(TxStatusToRx, ADroppedSyncerLeavesTheReceiveTreeAsItIsAndWritesNoMore) {
    mst()->txMstPortStatusIs(et1);
    start();
    journalRx();
    const Zel::Ptr<Sm> child = syncer->txMstStatus("mst1");
    syncer = nullptr;
    EXPECT_EQ(journal.take(), Lines());
    EXPECT_TRUE(child->zelMarkedForDeletion());
    EXPECT_EQ(child->owner(), nullptr);
    source->txMstStatusIs("mst2");
    mst()->txMstPortStatusIs(et2);
    mst()->txMstPortStatusDel(et1);
    const Kolvu::IntfId key = et2;
    child->onAttribute(258, &key);
    source->txMstStatusDel("mst1");
    EXPECT_EQ(journal.take(), Lines());
    EXPECT_EQ(structure(), (Lines{"mst1", "mst1/Et1"}));
}

TEST_P(TxStatusToRx, AZombieTreeFallsSilentAndMakesZombiesOnly) {
    mst();
    start();
    journalRx();
    syncer->zelDoZombieReactors(true);
    EXPECT_TRUE(syncer->zelMarkedForDeletion());
    EXPECT_TRUE(syncer->txMstStatus("mst1")->zelMarkedForDeletion());
    source->txMstStatusIs("mst2");
    mst()->txMstPortStatusIs(et1);
    EXPECT_EQ(journal.take(), Lines());
    const Zel::Ptr<Sm> late = syncer->txMstStatusIs(source->txMstStatus("mst2"));
    EXPECT_TRUE(late->zelMarkedForDeletion());
    EXPECT_FALSE(late->hasNotificationActive());
    EXPECT_EQ(journal.take(), Lines()) << "a zombie runs no handler";
    source->txMstStatusIs("mst2")->txMstPortStatusIs(et1);
    EXPECT_EQ(journal.take(), Lines());
    syncer->zelDoZombieReactors(false);
    source->txMstStatusIs("mst2")->txMstPortStatusIs(et2);
    source->txMstStatusIs("mst2")->txMstPortStatusDel(et1);
    EXPECT_EQ(journal.take(), Lines()) << "it has found no entry";
    mst()->txMstPortStatusIs(et2);
    source->txMstStatusIs("mst3");
    EXPECT_EQ(journal.take(), (Lines{"mst1/rxMstPortStatus[Et2]", "rxMstStatus[mst3]"}));
}

TEST_P(TxStatusToRx, SwitchedOffTheWholeTreeFallsSilentAndSwitchedOnItGoesOn) {
    mst();
    start();
    journalRx();
    syncer->hasNotificationActiveIs(false);
    EXPECT_FALSE(syncer->txMstStatus("mst1")->hasNotificationActive());
    mst()->txMstPortStatusIs(et1);
    source->txMstStatusIs("mst2");
    EXPECT_EQ(journal.take(), Lines());
    syncer->hasNotificationActiveIs(true);
    mst()->txMstPortStatusIs(et2);
    EXPECT_EQ(journal.take(), (Lines{"mst1/rxMstPortStatus[Et2]"}));
}

TEST_P(TxStatusToRx, OtherAttributesAndNullKeysAreIgnored) {
    mst();
    start();
    journalRx();
    TraceCapture capture("StpTxStatusSyncer", {8});
    const Kolvu::IntfId key = et1;
    const Zel::Ptr<Sm> child = syncer->txMstStatus("mst1");
    for (Zel::AttributeId id : {257U, 259U, 260U, 262U, 290U})
        child->onAttribute(id, &key);
    child->onAttribute(258, nullptr);
    source->notify(258);
    source->notify(259);
    source->notify(260);
    EXPECT_EQ(capture.texts(), Lines());
    EXPECT_EQ(journal.take(), Lines());
}

TEST_P(TxStatusToRx, HandlersRunUnderBlockTimersWithTheirQualifiedNames) {
    mst()->txMstPortStatusIs(et1);
    const Lines names = timedBlocks("StpTxStatusSyncer.cpp", [&] {
                            start();
                            syncer->initializedIs(true);
                        }).names;
    EXPECT_EQ(names, (Lines{"Varnol::TxStatusToRxSyncer::ZelTxMstStatusSm::handleTxMstPortStatus",
                            "Varnol::TxStatusToRxSyncer::ZelTxMstStatusSm::handleInitialized",
                            "Varnol::TxStatusToRxSyncer::handleTxMstStatus",
                            "Varnol::TxStatusToRxSyncer::handleInitialized"}));
}

TEST_P(TxStatusToRx, DroppingTheSyncerInsideANotificationOfTheReceiveTreeIsSafe) {
    mst();
    start();
    journalRx();
    journal.look = [&](std::string const&) { syncer = nullptr; };
    mst()->txMstPortStatusIs(et1);
    mst()->txMstPortStatusIs(et2);
    EXPECT_EQ(structure(), (Lines{"mst1", "mst1/Et1"}));
    start();
    source->txMstStatusIs("mst2");
    EXPECT_EQ(structure(), (Lines{"mst1", "mst1/Et1", "mst1/Et2", "mst2"}));
    EXPECT_EQ(syncer, nullptr);
}

TEST_P(TxStatusToRx, DeletingSourceChildrenWhileTheyAreWalkedLeavesBothTreesAlike) {
    for (auto intf : {et1, et2, et3, po1})
        mst()->txMstPortStatusIs(intf);
    for (const char* name : {"a", "b", "c"})
        mst(name);
    journalRx();
    bool portsDone = false;
    bool namesDone = false;
    journal.look = [&](std::string const& line) {
        for (auto intf : {et1, et2, et3, po1}) {
            if (!portsDone && line.starts_with("mst1/") &&
                line != "mst1/rxMstPortStatus[" + TreeText::text(intf) + "]") {
                portsDone = true;
                mst()->txMstPortStatusDel(intf);
            }
        }
        for (const char* name : {"a", "b", "c"}) {
            if (!namesDone && line.starts_with("rxMstStatus") &&
                line != "rxMstStatus[" + std::string(name) + "]") {
                namesDone = true;
                source->txMstStatusDel(name);
            }
        }
    };
    start();
    EXPECT_TRUE(portsDone);
    EXPECT_TRUE(namesDone);
    std::set<std::string> expected;
    for (auto const& name : std::as_const(*source).txMstStatus()) {
        expected.insert(TreeText::text(name->name()));
        for (auto const& port : std::as_const(*name).txMstPortStatus())
            expected.insert(TreeText::text(name->name()) + "/" + TreeText::text(port->intfId()));
    }
    EXPECT_EQ(structure(), Lines(expected.begin(), expected.end()));
    EXPECT_EQ(syncer->children().map().members(), source->txMstStatus().members());
}

TEST_P(TxStatusToRx, ANameMadeAgainInItsOwnDeletionNoticeIsThereAndFollowedByItsReactor) {
    mst()->txMstPortStatusIs(et1);
    start();
    journalRx();
    bool again = true;
    journal.look = [&](std::string const& line) {
        if (line == "rxMstStatus[mst1] deleted" && std::exchange(again, false))
            mst();
    };
    source->txMstStatusDel("mst1");
    EXPECT_EQ(structure(), (Lines{"mst1"}));
    const Zel::Ptr<Sm> child = syncer->txMstStatus("mst1");
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(child->txMstStatus(), mst());
    EXPECT_FALSE(child->zelMarkedForDeletion());
}

TEST_P(TxStatusToRx, AnInterfaceMadeAgainInItsOwnDeletionNoticeIsThere) {
    mst()->txMstPortStatusIs(et1);
    start();
    journalRx();
    journal.look = [&](std::string const& line) {
        if (line == "mst1/rxMstPortStatus[Et1] deleted")
            mst()->txMstPortStatusIs(et1);
    };
    mst()->txMstPortStatusDel(et1);
    EXPECT_EQ(structure(), (Lines{"mst1", "mst1/Et1"}));
}

TEST_P(TxStatusToRx, ExhaustedMemoryAtAnyAllocationLeavesNothingBehindAndReachesTheCaller) {
    mst("A")->txMstPortStatusIs(et1);
    mst("A")->txMstPortStatusIs(et2);
    mst("B")->txMstPortStatusIs(et1);
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        rx = RxStatus::Ptr(new RxStatus);
        if (attempt([&] { start(); }))
            EXPECT_EQ(structure(), (Lines{"A", "A/Et1", "A/Et2", "B", "B/Et1"}));
        else
            EXPECT_EQ(syncer, nullptr);
        syncer = nullptr;
        rx = nullptr;
    });
    EXPECT_GT(failures, 10U);
}

TEST_P(TxStatusToRx, OutOfMemoryForAnInterfaceReachesTheWriterAndTheNextNoticeRepairsTheTree) {
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        source = TxStatus::Ptr(new TxStatus);
        rx = RxStatus::Ptr(new RxStatus);
        const TxMstStatus::Ptr from = mst();
        start();
        if (!attempt([&] { from->txMstPortStatusIs(et1); })) {
            EXPECT_EQ(structure(), (Lines{"mst1"}));
            if (from->txMstPortStatus(et1))
                from->notify(258, &et1);
            else
                from->txMstPortStatusIs(et1);
        }
        EXPECT_EQ(structure(), (Lines{"mst1", "mst1/Et1"}));
        syncer = nullptr;
        source = nullptr;
        rx = nullptr;
    });
    EXPECT_GE(failures, 2U) << "the interface in either tree";
}

TEST_P(TxStatusToRx, OutOfMemoryWhereANameGoesReachesTheWriterAndTheNextNoticeRemovesItsReactor) {
    const Zel::Name name("mst1");
    mst()->txMstPortStatusIs(et1);
    start();
    // The removal itself asks for no memory; a reactor on the receive tree does.
    const Watcher::Ptr needy =
        watch(rx, [](Zel::AttributeId, void const*) { ::operator delete(::operator new(1)); });
    {
        const FailingAllocation failing(1);
        EXPECT_THROW(source->txMstStatusDel(name), std::bad_alloc);
    }
    EXPECT_EQ(source->txMstStatus(name), nullptr);
    EXPECT_EQ(structure(), Lines());
    EXPECT_NE(syncer->txMstStatus(name), nullptr);
    source->notify(258, &name);
    EXPECT_EQ(syncer->txMstStatus(name), nullptr);
    mst()->txMstPortStatusIs(et2);
    EXPECT_EQ(structure(), (Lines{"mst1", "mst1/Et2"}));
}

TEST_P(TxStatusToRx, AnExceptionOfTheReceiveTreesReactorReachesTheWriterAndTheNextNoticeRepairs) {
    const Zel::Name name("mst1");
    // Who refuses a change may have undone it.
    for (const bool undone : {false, true}) {
        SCOPED_TRACE(undone);
        mst();
        start();
        journalRx();
        journal.look = [&](std::string const& line) {
            if (line == "mst1/rxMstPortStatus[Et1]") {
                if (undone)
                    rx->rxMstStatus(name)->rxMstPortStatusDel(et1);
                throw std::runtime_error(line);
            }
            if (line == "rxMstStatus[mst1] deleted") {
                if (undone)
                    rx->rxMstStatusIs(name);
                throw std::runtime_error(line);
            }
        };
        EXPECT_EQ(textThrown<std::runtime_error>([&] { mst()->txMstPortStatusIs(et1); }),
                  "mst1/rxMstPortStatus[Et1]");
        EXPECT_EQ(structure(), undone ? (Lines{"mst1"}) : (Lines{"mst1", "mst1/Et1"}));
        journal.close();
        mst()->notify(258, &et1);
        EXPECT_EQ(structure(), (Lines{"mst1", "mst1/Et1"}));

        journalRx();
        EXPECT_EQ(textThrown<std::runtime_error>([&] { source->txMstStatusDel(name); }),
                  "rxMstStatus[mst1] deleted");
        EXPECT_EQ(structure(), undone ? (Lines{"mst1"}) : Lines());
        EXPECT_NE(syncer->txMstStatus(name), nullptr);
        journal.close();
        source->notify(258, &name);
        EXPECT_EQ(structure(), Lines());
        EXPECT_EQ(syncer->txMstStatus(name), nullptr);
        mst()->txMstPortStatusIs(et2);
        EXPECT_EQ(structure(), (Lines{"mst1", "mst1/Et2"}));

        syncer = nullptr;
        source = TxStatus::Ptr(new TxStatus);
        rx = RxStatus::Ptr(new RxStatus);
    }
}

TEST(TxStatusToRxDeathTest, ANullSourceEndsTheProcess) {
    EXPECT_EXIT(txStatusToRxSyncerFactory(nullptr, RxStatus::Ptr(new RxStatus)),
                testing::KilledBySignal(SIGABRT),
                "StpTxStatusSyncer\\.cpp:[0-9]+: .*: Assertion `source' failed\\.");
}

TEST(TxStatusToRxDeathTest, ANullReceiveTreeEndsTheProcess) {
    EXPECT_EXIT(txStatusToRxSyncerFactory(TxStatus::Ptr(new TxStatus), nullptr),
                testing::KilledBySignal(SIGABRT),
                "StpTxStatusSyncer\\.cpp:[0-9]+: .*: Assertion `rxStatus' failed\\.");
}

TEST(TxStatusToRxDeathTest, ABareSourceIsAskedForBeforeTheReceiveTree) {
    EXPECT_EXIT(txStatusToRxSyncerFactory(nullptr, nullptr), testing::KilledBySignal(SIGABRT),
                "Assertion `source' failed\\.");
}

} // namespace
} // namespace Varnol
