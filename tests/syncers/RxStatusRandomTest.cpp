#include "tests/framework/NothingLeft.h"
#include "tests/syncers/ReceiveWorld.h"

#include <iostream>

/// Random changes of both trees, against a model of plain values that knows what each change does
/// to the destination.
namespace Varnol {
namespace {

class RxStatusRandom : public NothingLeft {};
WITH_BOTH_WAYS_OF_COUNTING(RxStatusRandom);

// A million operations, half of them with the thread-safe counting.
TEST_P(RxStatusRandom, TheDestinationIsWhatTheModelSaysAfterEachBatchOfChanges) {
    constexpr unsigned operations = 500000;
    constexpr unsigned batch = 500;
    const unsigned seed = GetParam() ? 20261 : 20260;
    std::cout << "seed " << seed << std::endl;
    Dice dice(seed);
    DynamicTree dynamic;
    ReceiveWorld world(dice, dynamic);
    for (unsigned done = 0; done < operations; ++done) {
        ASSERT_NO_THROW(world.operate()) << "operation " << done;
        if ((done + 1) % batch == 0) {
            ASSERT_NO_THROW(world.compare()) << "operation " << done;
        }
    }
    ASSERT_NO_THROW(world.becomesEqual());
    // The operations have met what they are for.
    EXPECT_GT(world.copied, operations / 200);
    EXPECT_GT(world.deleted, operations / 200);
    EXPECT_GT(world.withoutDestination, operations / 200);
    EXPECT_GT(world.different, 0U);
    EXPECT_GT(world.refused, 0U);
    EXPECT_GT(world.disturbed.paused, 0U);
}

} // namespace
} // namespace Varnol
