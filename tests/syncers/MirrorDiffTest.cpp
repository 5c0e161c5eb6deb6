#include "syncers/MirrorDiff.h"

#include "framework/zel/Exception.h"
#include "model/TxStatus.h"
#include "syncers/IntxInfoSyncer.h"
#include "syncers/RxStatusToRxDynamicSyncer.h"
#include "syncers/TxStatusToRxSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"
#include "tests/model/AnyValue.h"
#include "tests/model/Faults.h"
#include "tests/model/Samples.h"

#include <functional>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace Varnol {
namespace {

using Samples::et1;
using Samples::et2;
using Zel::Difference;
using Zel::Differences;
using Zel::differencesText;

std::string text(Differences const& differences) { return differencesText(differences); }

/// A full source, a syncer and the destination that it has made equal.
template <class Source, class Dest, class Syncer> struct Mirror {
    Zel::Ptr<Source> source;
    Zel::Ptr<Dest> dest;
    Zel::Ptr<Syncer> syncer;

    Differences diff() const { return mirrorDiff(*syncer); }
};

auto txToTx() {
    Mirror<TxStatus, TxStatus, TxStatusToTxSyncer> mirror{Zel::Ptr(new TxStatus),
                                                          Zel::Ptr(new TxStatus), nullptr};
    fillTree(*mirror.source);
    mirror.syncer = txStatusToTxSyncerFactory(mirror.source, mirror.dest);
    return mirror;
}

auto txToRx() {
    Mirror<TxStatus, RxStatus, TxStatusToRxSyncer> mirror{Zel::Ptr(new TxStatus),
                                                          Zel::Ptr(new RxStatus), nullptr};
    fillTree(*mirror.source);
    fillTree(*mirror.dest); // values of which the syncer knows nothing
    mirror.syncer = txStatusToRxSyncerFactory(mirror.source, mirror.dest);
    return mirror;
}

auto record() {
    Mirror<IntxInfo, IntxInfo, IntxInfoSyncer> mirror{Zel::Ptr(new IntxInfo(100)),
                                                      Zel::Ptr(new IntxInfo(200)), nullptr};
    fillTree(*mirror.source);
    mirror.syncer = intxInfoSyncerFactory(mirror.source, mirror.dest, 100, "");
    return mirror;
}

void forEachPort(RxStatus& tree, std::function<void(RxMstPortStatus&)> const& visit) {
    for (Zel::Ptr<RxMstStatus const> const& mst : std::as_const(tree).rxMstStatus()) {
        for (Zel::Ptr<RxMstPortStatus const> const& port : mst->rxMstPortStatus())
            visit(*tree.rxMstStatus(mst->name())->rxMstPortStatus(port->intfId()));
    }
}

constexpr unsigned sourceUpdates = 5;

/// Has the receive syncers copy the records.
void raiseUpdates(RxStatus& source) {
    forEachPort(source, [](RxMstPortStatus& port) {
        for (Zel::U16 vlan : std::initializer_list<Zel::U16>{1, 2})
            port.rxUpdateIs(vlan, sourceUpdates);
    });
}

auto rxToRx() {
    Mirror<RxStatus, RxStatus, RxStatusToRxDynamicSyncer> mirror{Zel::Ptr(new RxStatus),
                                                                 Zel::Ptr(new RxStatus), nullptr};
    fillTree(*mirror.source);
    for (const char* name : {"mst1", "mst2"}) {
        for (Kolvu::IntfId intf : {et1, et2})
            mirror.dest->rxMstStatusIs(name)->rxMstPortStatusIs(intf);
    }
    mirror.syncer = rxStatusToRxDynamicSyncerFactory(mirror.source, mirror.dest);
    raiseUpdates(*mirror.source);
    return mirror;
}

/// Plants every fault there is, each in a pair of its own, and has the comparison find it.
/// @param make      makes a pair without differences
/// @param expected  what is to be found of a fault
/// @return the kinds of faults that were to be found
template <class Make>
std::set<std::string> plantAll(Make const& make,
                               std::function<Differences(Fault const&)> const& expected) {
    std::set<std::string> kinds;
    for (unsigned number = 0;; ++number) {
        const auto pair = make();
        EXPECT_EQ(text(pair.diff()), "");
        const auto fault = plantFault(*pair.dest, number);
        if (!fault)
            break;
        const Differences wanted = expected(*fault);
        EXPECT_EQ(text(pair.diff()), text(wanted)) << fault->text();
        EXPECT_EQ(pair.diff(), wanted) << fault->text();
        if (!wanted.empty())
            kinds.insert(fault->text());
        if (testing::Test::HasFailure())
            break;
    }
    return kinds;
}

Differences justThis(Fault const& fault) { return {fault.difference}; }

/// Two full trees of a class, compared in full.
template <class E> struct Pair {
    Zel::Ptr<E> source;
    Zel::Ptr<E> dest;

    Differences diff() const { return Zel::diff(source.ptr(), dest.ptr()); }
};
template <class E> auto full(E* source, E* dest) {
    Pair<E> pair{Zel::Ptr(source), Zel::Ptr(dest)};
    fillTree(*source);
    fillTree(*dest);
    return pair;
}

std::set<std::string> faultsInFullTrees() {
    std::set<std::string> kinds;
    const auto add = [&](std::string const& tree, std::set<std::string> const& found) {
        for (std::string const& kind : found)
            kinds.insert(tree + kind);
    };
    add("transmit tree: ", plantAll([] { return full(new TxStatus, new TxStatus); }, justThis));
    add("receive tree: ", plantAll([] { return full(new RxStatus, new RxStatus); }, justThis));
    add("record: ", plantAll([] { return full(new IntxInfo(1), new IntxInfo(1)); }, justThis));
    return kinds;
}

std::set<std::string> faultsInTxToTx() { return plantAll(txToTx, justThis); }

std::set<std::string> faultsInRecords() { return plantAll(record, justThis); }

std::set<std::string> faultsInTxToRx() {
    return plantAll(txToRx, [](Fault const& fault) -> Differences {
        if (fault.attribute != "rxMstStatus" && fault.attribute != "rxMstPortStatus")
            return {};
        Difference difference = fault.difference;
        if (difference.left)
            difference.left->replace(difference.left->find("Rx"), 2, "Tx");
        return {difference};
    });
}

std::set<std::string> faultsInRxToRx() {
    return plantAll(rxToRx, [](Fault const& fault) -> Differences {
        Difference difference = fault.difference;
        const bool structure =
            fault.attribute == "rxMstStatus" || fault.attribute == "rxMstPortStatus";
        if (structure && fault.kind == Fault::surplus)
            return {};
        if (fault.attribute == "rxUpdate") {
            if (fault.kind == Fault::wrong)
                return {}; // the counts are the destination's own
            if (fault.kind == Fault::missing)
                difference.left = std::to_string(sourceUpdates);
        }
        return {difference};
    });
}

TEST(MirrorDiff, FindsEachSingleFaultInATransmitTreeAndNothingElse) {
    EXPECT_EQ(faultsInTxToTx().size(), 33U);
}

TEST(MirrorDiff, FindsEachSingleFaultInARecordAndNothingElse) {
    EXPECT_EQ(faultsInRecords().size(), 21U);
}

TEST(MirrorDiff, FindsEachMissingOrSurplusNameAndInterfaceOfAReceiveTreeAndNoValues) {
    EXPECT_EQ(faultsInTxToRx(), (std::set<std::string>{"rxMstStatus missing", "rxMstStatus surplus",
                                                       "rxMstStatus.rxMstPortStatus missing",
                                                       "rxMstStatus.rxMstPortStatus surplus"}));
}

TEST(MirrorDiff, FindsEachSingleFaultInADynamicTreeThatIsTheReceiveSyncersBusiness) {
    const auto kinds = faultsInRxToRx();
    // 30 scalars; names, interfaces, update counts, records and entries that are missing; the last
    // three of these that are surplus.
    EXPECT_EQ(kinds.size(), 38U);
    EXPECT_EQ(kinds.count("rxMstStatus.rxMstPortStatus.rxUpdate wrong"), 0U);
    EXPECT_EQ(kinds.count("rxMstStatus surplus"), 0U);
    EXPECT_EQ(kinds.count("rxMstStatus missing"), 1U);
}

/// Changes each of a port's counters alone, and requires that this is found and nothing else.
/// @return how many there were
std::size_t faultsInCounters() {
    std::size_t found = 0;
    for (Zel::U32 PortCounters::*const counter :
         {&PortCounters::sent, &PortCounters::received, &PortCounters::taggedErrors,
          &PortCounters::otherErrors, &PortCounters::rateLimited, &PortCounters::filtered}) {
        for (const bool local : {false, true}) {
            const auto rx = rxToRx();
            const RxMstPortStatus::Ptr port = rx.dest->rxMstStatus("mst1")->rxMstPortStatus(et1);
            PortCounters counters = local ? port->localCounters() : port->counters();
            ++(counters.*counter);
            if (local)
                port->localCountersIs(counters);
            else
                port->countersIs(counters);
            const Differences differences = rx.diff();
            const std::string path = std::string("rxMstStatus[mst1].rxMstPortStatus[Et1].") +
                                     (local ? "localCounters" : "counters");
            EXPECT_EQ(differences.size(), 1U);
            found += differences.size() == 1 && differences.front().path == path;
        }
    }
    return found;
}

TEST(MirrorDiff, MoreThanAHundredKindsOfFaultsAreFoundInFullTrees) {
    EXPECT_EQ(faultsInFullTrees().size(), 33U + 41U + 21U);
    EXPECT_EQ(faultsInCounters(), 12U);
}

TEST(MirrorDiff, TakesAnUpdateCountOfZeroForNone) {
    const auto tx = txToTx();
    tx.dest->txMstStatus("mst1")->txMstPortStatus(et1)->txUpdateIs(9, 0);
    tx.source->txMstStatus("mst2")->txMstPortStatus(et1)->txUpdateIs(9, 0);
    EXPECT_EQ(text(tx.diff()), "");

    const auto rx = rxToRx();
    const RxMstPortStatus::Ptr port = rx.dest->rxMstStatus("mst1")->rxMstPortStatus(et1);
    port->rxUpdateIs(9, 0);
    EXPECT_EQ(text(rx.diff()), "");
    port->rxUpdateIs(2, 0);
    EXPECT_EQ(text(rx.diff()), "rxMstStatus[mst1].rxMstPortStatus[Et1].rxUpdate[2]: 5 != 0\n");
}

TEST(MirrorDiff, ExpectsNoRecordWhereTheSourceHasNoUpdateCountOrNoRecord) {
    const auto rx = rxToRx();
    const RxMstPortStatus::Ptr from = rx.source->rxMstStatus("mst1")->rxMstPortStatus(et1);
    rx.syncer->hasNotificationActiveIs(false);
    from->rxUpdateIs(1, 0);
    from->rxInfoDel(2);
    EXPECT_EQ(text(rx.diff()),
              "rxMstStatus[mst1].rxMstPortStatus[Et1].rxUpdate[1]: (none) != 1\n"
              "rxMstStatus[mst1].rxMstPortStatus[Et1].rxUpdate[2]: (none) != 1\n"
              "rxMstStatus[mst1].rxMstPortStatus[Et1].rxInfo[1]: (none) != Varnol::IntxInfo[1]\n"
              "rxMstStatus[mst1].rxMstPortStatus[Et1].rxInfo[2]: (none) != Varnol::IntxInfo[2]\n");
    from->rxInfoIs(3);      // nobody has signalled it yet
    from->rxUpdateIs(4, 1); // and of this there is no record
    EXPECT_EQ(rx.diff().size(), 4U);
}

TEST(MirrorDiff, OfOneNameOrOneInterfaceHasThePathsOfTheWholeTree) {
    const auto rx = rxToRx();
    const auto name = rx.syncer->mstDynSyncerSm("mst2");
    const auto interface = name->mstDynPortSm(et2);
    EXPECT_EQ(text(mirrorDiff(*name)), "");
    EXPECT_EQ(text(mirrorDiff(*interface)), "");

    const RxMstPortStatus::Ptr port = rx.dest->rxMstStatus("mst2")->rxMstPortStatus(et2);
    port->bpduCountIs(77);
    port->rxInfo(2)->mstiN(1)->flagsIs(0x3c);
    const std::string path = "rxMstStatus[mst2].rxMstPortStatus[Et2].";
    const std::string expected = text(rx.diff());
    EXPECT_TRUE(expected.starts_with(path + "rxInfo[2].mstiN[1].flags: ")) << expected;
    EXPECT_NE(expected.find("\n" + path + "bpduCount: "), expected.npos) << expected;
    EXPECT_EQ(text(mirrorDiff(*name)), expected);
    EXPECT_EQ(text(mirrorDiff(*interface)), expected);
    EXPECT_EQ(text(mirrorDiff(*rx.syncer->mstDynSyncerSm("mst1"))), "");

    rx.dest->rxMstStatus("mst2")->rxMstPortStatusDel(et2);
    EXPECT_EQ(text(mirrorDiff(*interface)),
              "rxMstStatus[mst2].rxMstPortStatus[Et2]: Varnol::RxMstPortStatus[Et2] != (none)\n");
    EXPECT_EQ(mirrorDiff(*name), mirrorDiff(*interface));
    rx.dest->rxMstStatusDel("mst2");
    EXPECT_EQ(text(mirrorDiff(*name)), "rxMstStatus[mst2]: Varnol::RxMstStatus[mst2] != (none)\n");
    EXPECT_EQ(rx.diff(), mirrorDiff(*name));
}

TEST(MirrorDiff, IsEmptyWhileTheSourceOrTheDestinationIsNull) {
    const TxStatus::Ptr tx(new TxStatus);
    const RxStatus::Ptr rx(new RxStatus);
    const IntxInfo::Ptr info(new IntxInfo(1));
    fillTree(*tx);
    fillTree(*info);
    EXPECT_TRUE(mirrorDiff(*txStatusToTxSyncerFactory(nullptr, tx)).empty());
    EXPECT_TRUE(mirrorDiff(*txStatusToTxSyncerFactory(tx, nullptr)).empty());
    EXPECT_TRUE(mirrorDiff(*intxInfoSyncerFactory(nullptr, info, 1, "")).empty());
    EXPECT_TRUE(mirrorDiff(*intxInfoSyncerFactory(info, nullptr, 1, "")).empty());
    tx->txMstStatusIs("mst1");
    tx->txMstStatusIs("mst2");
    const auto toRx = txStatusToRxSyncerFactory(tx, rx);
    toRx->sourceDel();
    ASSERT_EQ(rx->rxMstStatus().members(), 2U);
    EXPECT_TRUE(mirrorDiff(*toRx).empty());
    rx->rxMstStatusDel("mst1");
    EXPECT_TRUE(mirrorDiff(*toRx).empty());
    EXPECT_TRUE(mirrorDiff(*rxStatusToRxDynamicSyncerFactory(nullptr, rx)).empty());
    EXPECT_TRUE(
        mirrorDiff(*rxStatusToRxDynamicSyncerFactory(Zel::Ptr(new RxStatus), nullptr)).empty());
    EXPECT_TRUE(mirrorDiff(*rxMstStatusToRxDynamicSyncerFactory("mst1", nullptr, rx)).empty());
    EXPECT_TRUE(mirrorDiff(*rxMstStatusToRxDynamicSyncerFactory(
                               "mst1", Zel::Ptr(new RxMstStatus("mst1")), nullptr))
                    .empty());
    EXPECT_TRUE(
        mirrorDiff(*rxMstPortStatusToRxDynamicSyncerFactory("mst9", et1, nullptr, rx)).empty());
}

TEST(MirrorDiff, OfOneInterfaceTakesASourceOfAnotherNumberForTheSame) {
    const RxStatus::Ptr rx(new RxStatus);
    rx->rxMstStatusIs("mst1")->rxMstPortStatusIs(et1);
    const RxMstPortStatus::Ptr source(new RxMstPortStatus(et2));
    source->bpduCountIs(7);
    const auto syncer = rxMstPortStatusToRxDynamicSyncerFactory("mst1", et1, source, rx);
    EXPECT_EQ(text(mirrorDiff(*syncer)), "");
    rx->rxMstStatus("mst1")->rxMstPortStatus(et1)->bpduCountIs(8);
    EXPECT_EQ(text(mirrorDiff(*syncer)),
              "rxMstStatus[mst1].rxMstPortStatus[Et1].bpduCount: 7 != 8\n");
}

TEST(MirrorDiff, SaysOfARecordWhoseEntriesAreAsManyAsTheSourcesWhichAreOthers) {
    const auto pair = record();
    pair.dest->mstiNDel(2);
    pair.dest->mstiNIs(7);
    EXPECT_EQ(text(pair.diff()), "mstiN[2]: Varnol::IntxMstiInfo[2] != (none)\n"
                                 "mstiN[7]: (none) != Varnol::IntxMstiInfo[7]\n");
}

TEST(MirrorDiff, ComesInTheOrderOfDeclarationAndOfKeysHoweverTheTreesWereMade) {
    const TxStatus::Ptr left(new TxStatus);
    const TxStatus::Ptr right(new TxStatus);
    left->heartbeatTimeoutIs(1);
    for (const char* name : {"c", "a", "b"})
        left->txMstStatusIs(name);
    for (Zel::U16 port : std::initializer_list<Zel::U16>{10, 2, 1})
        left->txMstStatusIs("a")->txMstPortStatusIs(Samples::et(port));
    for (Zel::U16 port : std::initializer_list<Zel::U16>{1, 2, 10})
        right->txMstStatusIs("a")->txMstPortStatusIs(Samples::et(port))->txNewInfoIs(port);
    EXPECT_EQ(text(Zel::diff(left.ptr(), right.ptr())),
              "txMstStatus[a].txMstPortStatus[Et1].txNewInfo: 0 != 1\n"
              "txMstStatus[a].txMstPortStatus[Et2].txNewInfo: 0 != 2\n"
              "txMstStatus[a].txMstPortStatus[Et10].txNewInfo: 0 != 10\n"
              "txMstStatus[b]: Varnol::TxMstStatus[b] != (none)\n"
              "txMstStatus[c]: Varnol::TxMstStatus[c] != (none)\n"
              "heartbeatTimeout: 1 != 0\n");
}

} // namespace
} // namespace Varnol
