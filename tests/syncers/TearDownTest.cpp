#include "framework/zel/NotifieeList.h"
#include "syncers/IntxInfoChangeSm.h"
#include "syncers/IntxInfoSyncer.h"
#include "syncers/RxStatusToRxDynamicSyncer.h"
#include "syncers/TxStatusToRxSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/NothingLeft.h"
#include "tests/model/Samples.h"

#include <functional>

namespace Varnol {
namespace {

using Samples::et1;
using Samples::et2;

class TearDownTest : public NothingLeft {
  protected:
    TearDownTest() {
        tx->txMstStatusIs("mst1");
        tx->txMstStatusIs("mst2");
        for (Kolvu::IntfId intf : {et1, et2}) {
            const TxMstPortStatus::Ptr port = tx->txMstStatus("mst1")->txMstPortStatusIs(intf);
            port->txInfoIs(1);
            port->txInfoIs(2);
        }
        for (const char* name : {"mst1", "mst2"}) {
            const RxMstStatus::Ptr mst = rx->rxMstStatusIs(name);
            mst->rxMstPortStatusIs(et1);
            mst->rxMstPortStatusIs(et2);
        }
    }

    /// Changes a value of each source that a syncer may watch.
    void change() {
        ++changes;
        record->configRevisionLevelIs(static_cast<unsigned short>(changes));
        tx->heartbeatTimeoutIs(changes);
        // Added once, gone the next time.
        if (changes % 2 != 0) {
            tx->txMstStatusIs("mst3");
            rx->rxMstStatusIs("mst3");
            rx->rxMstStatus("mst1")->rxMstPortStatusIs(Samples::et3);
        } else {
            tx->txMstStatusDel("mst3");
            rx->rxMstStatusDel("mst3");
            rx->rxMstStatus("mst1")->rxMstPortStatusDel(Samples::et3);
        }
        for (Kolvu::IntfId intf : {et1, et2}) {
            const TxMstPortStatus::Ptr port = tx->txMstStatus("mst1")->txMstPortStatus(intf);
            port->txNewInfoIs(changes);
            port->txInfo(1)->configRevisionLevelIs(static_cast<unsigned short>(changes));
            port->txInfo(2)->configRevisionLevelIs(static_cast<unsigned short>(changes));
        }
        rx->rxMstStatus("mst1")->rxMstPortStatus(et1)->bpduCountIs(changes);
    }
    /// How many reactors take notice of the sources' changes.
    Zel::U64 noticed() {
        const Zel::U64 before = Zel::notificationsDelivered();
        change();
        return Zel::notificationsDelivered() - before;
    }

    /// Drops the last reference to what is awake, and expects that none of its reactors notices
    /// changes that are made as soon as it gives memory back.
    template <class T> void expectNoReactionAtTheEndOf(Zel::Ptr<T>& last) {
        ASSERT_EQ(last->references(), 1U);
        EXPECT_GT(noticed(), 0U);
        bool happened = false;
        {
            const AtDeallocation changing([&] {
                happened = true;
                EXPECT_EQ(noticed(), 0U);
            });
            last = nullptr;
        }
        EXPECT_TRUE(happened);
    }

    IntxInfo::Ptr record = Samples::record(9, {3, 5});
    TxStatus::Ptr tx{new TxStatus};
    RxStatus::Ptr rx{new RxStatus};
    unsigned changes = 0;
};
WITH_BOTH_WAYS_OF_COUNTING(TearDownTest);

TEST_P(TearDownTest, ACounterTakesNoNotificationWhileItIsDestroyed) {
    auto counter = intxInfoChangeSmFactory(record, 9);
    expectNoReactionAtTheEndOf(counter);
}

TEST_P(TearDownTest, ARecordsSyncerTakesNoNotificationWhileItIsDestroyed) {
    auto syncer = intxInfoSyncerFactory(record, Samples::record(9), 9, "");
    expectNoReactionAtTheEndOf(syncer);
}

TEST_P(TearDownTest, ATransmitSyncerTakesNoNotificationWhileItIsDestroyed) {
    auto syncer = txStatusToTxSyncerFactory(tx, TxStatus::Ptr(new TxStatus));
    expectNoReactionAtTheEndOf(syncer);
}

// What was removed can be switched on again as long as somebody holds it.

TEST_P(TearDownTest, AnMstNamesReactorTakesNoNotificationForItsPortsWhileItIsDestroyed) {
    const auto syncer = txStatusToTxSyncerFactory(tx, TxStatus::Ptr(new TxStatus));
    auto reactor = syncer->txMstStatus("mst1");
    syncer->txMstStatusDelAll();
    syncer->sourceDel();
    reactor->zelDoZombieReactors(false);
    expectNoReactionAtTheEndOf(reactor);
}

TEST_P(TearDownTest, APortsReactorTakesNoNotificationForItsRecordsWhileItIsDestroyed) {
    const auto syncer = txStatusToTxSyncerFactory(tx, TxStatus::Ptr(new TxStatus));
    auto reactor = syncer->txMstStatus("mst1")->txMstPortStatus(et1);
    syncer->txMstStatusDelAll();
    syncer->sourceDel();
    reactor->zelDoZombieReactors(false);
    expectNoReactionAtTheEndOf(reactor);
}

TEST_P(TearDownTest, ATransmitToReceiveSyncerTakesNoNotificationWhileItIsDestroyed) {
    auto syncer = txStatusToRxSyncerFactory(tx, RxStatus::Ptr(new RxStatus));
    expectNoReactionAtTheEndOf(syncer);
}

TEST_P(TearDownTest, AReceiveSyncerTakesNoNotificationWhileItIsDestroyed) {
    auto syncer = rxStatusToRxDynamicSyncerFactory(rx, RxStatus::Ptr(new RxStatus));
    expectNoReactionAtTheEndOf(syncer);
}

TEST_P(TearDownTest, AnMstNamesReceiveSyncerTakesNoNotificationWhileItIsDestroyed) {
    auto syncer = rxMstStatusToRxDynamicSyncerFactory(Zel::Name("mst1"), rx->rxMstStatus("mst1"),
                                                      RxStatus::Ptr(new RxStatus));
    expectNoReactionAtTheEndOf(syncer);
}

TEST_P(TearDownTest, APortsReceiveSyncerTakesNoNotificationWhileItIsDestroyed) {
    // The destination goes with the syncer.
    auto syncer = rxMstPortStatusToRxDynamicSyncerFactory(
        Zel::Name("mst1"), et1, rx->rxMstStatus("mst1")->rxMstPortStatus(et1),
        RxStatus::Ptr(new RxStatus));
    expectNoReactionAtTheEndOf(syncer);
}

} // namespace
} // namespace Varnol
