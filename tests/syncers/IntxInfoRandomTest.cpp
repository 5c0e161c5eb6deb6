#include "tests/framework/NothingLeft.h"
#include "tests/syncers/RecordWorld.h"

#include <cstdio>

namespace Varnol {
namespace {

class IntxInfoRandom : public NothingLeft {};
WITH_BOTH_WAYS_OF_COUNTING(IntxInfoRandom);

// Over a million operations: each of the two ways of counting takes its own seeds.
TEST_P(IntxInfoRandom, RecordsSyncerAndCounterAreWhatTheModelSays) {
    constexpr unsigned batches = 2600;
    constexpr unsigned batch = 100;
    for (unsigned seed : GetParam() ? std::array{4U, 802U} : std::array{1U, 20260U}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::printf("seed %u, %u operations\n", seed, batches * batch);
        Dice dice(seed);
        RecordWorld world(dice);
        for (unsigned done = 0; done < batches; ++done) {
            for (unsigned i = 0; i < batch; ++i)
                world.operate();
            ASSERT_NO_THROW(world.compare()) << "in batch " << done;
        }
        EXPECT_GT(world.different, 0U);
        EXPECT_LT(world.different, batches - 100);
        world.becomesEqual();
    }
}

} // namespace
} // namespace Varnol
