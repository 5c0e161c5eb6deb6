#include "bpdu/VarnolUtils.h"
#include "framework/fennic/BlockTimer.h"
#include "framework/zel/Trace.h"
#include "syncers/IntxInfoChangeSm.h"
#include "syncers/RxStatusToRxDynamicSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"
#include "tests/bpdu/Frames.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/TraceReader.h"
#include "tests/model/Samples.h"

#include <initializer_list>
#include <span>
#include <vector>

#include <gtest/gtest.h>

/// What goes on all the time allocates nothing: each test counts the allocations of this thread.
namespace Varnol {
namespace {

constexpr auto et1 = Kolvu::IntfId::ethernet(1);
constexpr Bridging::VlanIdOrNone vlan = 10;

/// How many allocations an action makes.
template <class Action> std::size_t allocationsIn(Action const& action) {
    const std::size_t before = FailingAllocation::made();
    action();
    return FailingAllocation::made() - before;
}

TEST(NoAllocation, TheCountSeesAnAllocation) {
    EXPECT_NE(allocationsIn([] { Samples::record(vlan); }), 0U);
}

/// A mirrored transmit tree with one record, and a counter of the record's changes.
class MirroredTransmitTree : public ::testing::Test {
  protected:
    static TxMstPortStatus::Ptr portOf(TxStatus& tree) {
        return tree.txMstStatusIs("mst1")->txMstPortStatusIs(et1);
    }
    static IntxInfo::Ptr filledRecord(TxMstPortStatus& port) {
        const IntxInfo::Ptr record = port.txInfoIs(vlan);
        Samples::fill(*record);
        Samples::fill(*record->mstiNIs(0));
        return record;
    }

    TxStatus::Ptr source{new TxStatus};
    TxMstPortStatus::Ptr from = portOf(*source);
    IntxInfo::Ptr fromRecord = filledRecord(*from);
    IntxMstiInfo::Ptr fromCist = fromRecord->mstiN(0);

    TxStatus::Ptr dest{new TxStatus};
    TxStatusToTxSyncer::Ptr syncer = txStatusToTxSyncerFactory(source, dest);
    TxMstPortStatus::Ptr to = portOf(*dest);
    IntxInfo::Ptr toRecord = to->txInfo(vlan);
    IntxMstiInfo::Ptr toCist = toRecord->mstiN(0);
    IntxInfoChangeSm::Ptr counter = intxInfoChangeSmFactory(fromRecord, vlan);
};

TEST_F(MirroredTransmitTree, AMirroredChangeOfAnInstanceAllocatesNothing) {
    EXPECT_EQ(allocationsIn([&] {
                  fromCist->flagsIs(0x0e);
                  fromCist->cistRootBridgeIdIs(Samples::bridge);
                  fromCist->cistExtRootPathCostIs(7);
                  fromCist->helloTimeIs(Stp::TimerVal::seconds(1));
              }),
              0U);
    EXPECT_EQ(toCist->flags(), 0x0e);
    EXPECT_EQ(toCist->cistRootBridgeId(), Samples::bridge);
    EXPECT_EQ(toCist->cistExtRootPathCost(), 7);
    EXPECT_EQ(toCist->helloTime(), Stp::TimerVal::seconds(1));
    EXPECT_EQ(counter->updatedFieldCount(), 5U);
}

TEST_F(MirroredTransmitTree, AMirroredChangeOfARecordAllocatesNothing) {
    const Zel::String name("region two");
    EXPECT_EQ(allocationsIn([&] {
                  fromRecord->configRevisionLevelIs(2);
                  fromRecord->configNameStringIs(name);
              }),
              0U);
    EXPECT_EQ(toRecord->configRevisionLevel(), 2);
    EXPECT_EQ(toRecord->configNameString(), name);
    EXPECT_EQ(counter->updatedFieldCount(), 3U);
}

TEST_F(MirroredTransmitTree, AMirroredChangeOfAPortAllocatesNothing) {
    from->txUpdateIs(vlan, 1); // makes the entries
    EXPECT_EQ(allocationsIn([&] {
                  from->txUpdateIs(vlan, 2);
                  from->txNewInfoIs(3);
                  from->txHelloWhenOnIs(Stp::TimerVal::seconds(4));
                  source->heartbeatTimeoutIs(5);
              }),
              0U);
    EXPECT_EQ(to->txUpdate(vlan), 2U);
    EXPECT_EQ(to->txNewInfo(), 3U);
    EXPECT_EQ(to->txHelloWhenOn(), Stp::TimerVal::seconds(4));
    EXPECT_EQ(dest->heartbeatTimeout(), 5);
}

TEST(NoAllocation, AMirroredRecordThatHasItsInstancesAllocatesNothing) {
    const auto portOf = [](RxStatus& tree) {
        return tree.rxMstStatusIs("mst1")->rxMstPortStatusIs(et1);
    };
    const RxStatus::Ptr source(new RxStatus);
    const RxStatus::Ptr dest(new RxStatus);
    const RxMstPortStatus::Ptr from = portOf(*source);
    const RxMstPortStatus::Ptr to = portOf(*dest);
    const auto syncer = rxStatusToRxDynamicSyncerFactory(source, dest);
    const IntxInfo::Ptr record = from->rxInfoIs(vlan);
    Samples::fill(*record);
    for (const Zel::U16 instance : std::initializer_list<Zel::U16>{0, 1, 2})
        Samples::fill(*record->mstiNIs(instance));
    from->rxUpdateInc(vlan, 1); // makes the record and its entries

    EXPECT_EQ(allocationsIn([&] {
                  record->configRevisionLevelIs(2);
                  record->mstiN(2)->flagsIs(3);
                  from->rxUpdateInc(vlan, 1);
                  from->bpduCountIs(4);
              }),
              0U);
    EXPECT_EQ(to->rxInfo(vlan)->configRevisionLevel(), 2);
    EXPECT_EQ(to->rxInfo(vlan)->mstiN(2)->flags(), 3);
    EXPECT_EQ(to->rxUpdate(vlan), 2U);
    EXPECT_EQ(to->bpduCount(), 4U);
}

TEST(NoAllocation, AFrameAfterTheFirstAllocatesNothing) {
    const auto port = Frames::portWith();
    const IntxInfo::Ptr record = Frames::sendableRecord();
    generatePktFromIntxInfo(port, record, false);

    record->mstiN(0)->flagsIs(0x3c);
    Zel::U8 flags = 0;
    std::size_t size = 0;
    EXPECT_EQ(allocationsIn([&] {
                  const Kolvu::Pkt::Ptr frame = generatePktFromIntxInfo(port, record, false);
                  size = frame->data().size();
                  flags = frame->data()[21];
              }),
              0U);
    EXPECT_EQ(size, 53U);
    EXPECT_EQ(flags, 0x3c);
}

TEST(NoAllocation, ATraceStatementWhoseLevelIsOffAllocatesNothing) {
    Zel::TraceHandle handle("NoAllocationTest", false);
    bool composed = false;
    const auto statement = [&] {
        Zel::trace(handle, 8, [&](Zel::TraceStream& out) {
            composed = true;
            out << "a text that is longer than any that a string holds in itself";
        });
    };
    statement(); // makes the handle known
    EXPECT_EQ(allocationsIn(statement), 0U);
    EXPECT_FALSE(composed);
}

/// The library's own block timers, while it mirrors, with their trace in memory of the test's.
class TimedTransmitTree : public MirroredTransmitTree {
  protected:
    TimedTransmitTree() {
        Fennic::defaultTraceFile().memoryIs(std::as_writable_bytes(std::span(memory)));
    }
    ~TimedTransmitTree() override { Fennic::defaultTraceFile().memoryIs({}); }

    std::size_t records() const {
        return TraceReader(std::as_bytes(std::span(memory))).records().size();
    }

  private:
    std::vector<Zel::U64> memory = std::vector<Zel::U64>(8192);
};

TEST_F(TimedTransmitTree, AHandlerWhoseBlockTimerIsOnAllocatesNothing) {
    from->txUpdateIs(vlan, 1); // makes the entries, and describes the handler
    const std::size_t before = records();
    EXPECT_EQ(allocationsIn([&] { from->txUpdateIs(vlan, 2); }), 0U);
    EXPECT_EQ(to->txUpdate(vlan), 2U);
    EXPECT_EQ(records(), before + 4); // the reaction, a write, the handler and its write
}

TEST(NoAllocation, ABlockTimerAllocatesNothing) {
    Fennic::TraceFile file;
    Fennic::MessageId message{0};
    file.messageIs(message, "a block", "NoAllocationTest.cpp", 1);
    const auto block = [&] { const Fennic::BlockTimerSelf timer(file, message); };
    EXPECT_EQ(allocationsIn(block), 0U); // the trace is off

    std::vector<Zel::U64> memory(8192);
    file.memoryIs(std::as_writable_bytes(std::span(memory)));
    EXPECT_EQ(allocationsIn(block), 0U);
    EXPECT_EQ(TraceReader(std::as_bytes(std::span(memory))).records().size(), 1U);
}

} // namespace
} // namespace Varnol
