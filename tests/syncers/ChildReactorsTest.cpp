#include "framework/zel/ChildReactors.h"

#include "syncers/IntxInfoSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"
#include "tests/framework/NothingLeft.h"
#include "tests/framework/Watcher.h"
#include "tests/model/Insertions.h"
#include "tests/model/Samples.h"

namespace Varnol {
namespace {

class ChildReactorsTest : public NothingLeft {
  protected:
    IntxInfo::Ptr source = Samples::record(1, {3});
    IntxInfo::Ptr dest = Samples::record(1);
    IntxInfoSyncer::Ptr syncer = intxInfoSyncerFactory(source, dest, 1, "");
};
WITH_BOTH_WAYS_OF_COUNTING(ChildReactorsTest);

TEST_P(ChildReactorsTest, AReactorAskedForWithTheElementThatItWatchesStaysAsItIs) {
    const auto reactor = syncer->mstiN(3);
    reactor->zelDoZombieReactors(true);
    EXPECT_EQ(syncer->mstiNIs(Zel::Ptr<IntxMstiInfo const>(source->mstiN(3))), reactor);
    EXPECT_TRUE(reactor->zelMarkedForDeletion());
}

TEST_P(ChildReactorsTest, AReactorRemovedByWhatItsNewElementSetsOffStaysAZombie) {
    const auto reactor = syncer->mstiN(3);
    const auto watcher =
        watch(dest->mstiN(3), [&](Zel::AttributeId, void const*) { syncer->mstiNDel(3); });
    const Zel::Ptr<IntxMstiInfo const> other = Samples::entry(3);
    EXPECT_EQ(syncer->mstiNIs(other), reactor);
    EXPECT_EQ(syncer->mstiN(3), nullptr);
    EXPECT_EQ(reactor->owner(), nullptr);
    EXPECT_TRUE(reactor->zelMarkedForDeletion());
}

TEST_P(ChildReactorsTest, ReactorsByNameBeginWithFourBuckets) {
    const auto toTx = txStatusToTxSyncerFactory(nullptr, nullptr);
    const Zel::Name names[]{"a", "b", "c", "d", "e", "f"};
    EXPECT_EQ(allocationsOfSix([&](Zel::U16 n) {
                  toTx->txMstStatusIs(Zel::Ptr<TxMstStatus const>(new TxMstStatus(names[n - 1])));
              }),
              (std::vector<std::size_t>{3, 2, 2, 2, 3, 2}));
}

} // namespace
} // namespace Varnol
