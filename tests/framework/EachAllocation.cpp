#include "tests/framework/EachAllocation.h"

#include "tests/framework/FailingAllocation.h"
#include "tests/framework/NothingLeft.h"

#include <new>
#include <string>

#include <gtest/gtest.h>

bool Attempt::operator()(std::function<void()> const& action) {
    bool thrown = false;
    {
        const FailingAllocation failing(n_);
        try {
            action();
        } catch (std::bad_alloc const&) {
            thrown = true;
        }
        failed_ = n_ != 0 && failing.happened();
    }
    EXPECT_EQ(thrown, failed_) << "the failure did not reach the caller";
    return !thrown;
}

unsigned failEachAllocation(std::function<void(Attempt& attempt)> const& trial) {
    for (unsigned n = 0;; ++n) {
        const auto objects = liveObjects();
        const auto memory = FailingAllocation::outstanding();
        Attempt attempt(n);
        {
            SCOPED_TRACE("allocation " + std::to_string(n));
            trial(attempt);
        }
        if (n == 0)
            continue;
        EXPECT_EQ(FailingAllocation::outstanding(), memory) << "allocation " << n;
        EXPECT_EQ(liveObjects(), objects) << "allocation " << n;
        if (!attempt.failed())
            return n - 1;
    }
}
