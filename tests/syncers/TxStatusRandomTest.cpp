#include "tests/framework/NothingLeft.h"
#include "tests/syncers/TransmitWorld.h"

#include <cstdio>

namespace Varnol {
namespace {

/// How often a syncer refused another destination.
unsigned run(unsigned seed, unsigned operations) {
    constexpr unsigned batch = 500;
    SCOPED_TRACE("seed " + std::to_string(seed));
    const auto live = liveObjects();
    unsigned refusedDest = 0;
    {
        Dice dice(seed);
        DynamicTree dynamic;
        TransmitWorld world(dice, dynamic);
        for (unsigned done = 0; done < operations && !testing::Test::HasFailure(); ++done) {
            EXPECT_NO_THROW(world.operate()) << done;
            if (done % batch == batch - 1) {
                EXPECT_NO_THROW(world.compare()) << done;
            }
        }
        EXPECT_NO_THROW(world.becomesEqual());
        std::printf("seed %u: %u operations, %u comparisons, of these %u with ports without a "
                    "destination and %u with a destination out of its tree; refused: %u for a "
                    "record's source, %u for its destination\n",
                    seed, operations, world.comparisons, world.withoutDest, world.withFormerDest,
                    world.refusedSource, world.refusedDest);
        // What is less common has been met, too.
        EXPECT_GT(world.different, 0U);
        EXPECT_GT(world.comparisons, world.different);
        EXPECT_GT(world.withoutDest, 0U);
        EXPECT_GT(world.withFormerDest, 0U);
        EXPECT_GT(world.refusedSource, 0U);
        EXPECT_GT(world.disturbed.paused, 0U);
        refusedDest = world.refusedDest;
    }
    EXPECT_EQ(liveObjects(), live);
    return refusedDest;
}

TEST(TxStatusRandom, BothSyncersDoAsTheModelDoesForAMillionOperations) {
    unsigned refusedDest = 0;
    for (unsigned seed : {1U, 20260U, 3735928559U, 4294967295U}) {
        refusedDest += run(seed, 250000);
        if (HasFailure())
            return;
    }
    EXPECT_GT(refusedDest, 10U);
}

TEST(TxStatusRandom, BothSyncersDoAsTheModelDoesWithAtomicCounts) {
    Zel::VFPtrInterface::threadSafePointers_ = true;
    run(77, 20000);
    Zel::VFPtrInterface::threadSafePointers_ = false;
}

} // namespace
} // namespace Varnol
