#include "bpdu/VarnolCommon.h"

#include "tests/framework/EachAllocation.h"
#include "tests/framework/NothingLeft.h"
#include "tests/framework/TraceCapture.h"
#include "tests/model/Journal.h"
#include "tests/model/Records.h"
#include "tests/model/Samples.h"

#include <csignal>
#include <type_traits>

namespace Varnol {
namespace {

using Samples::filled;
using Samples::record;
using TreeText::Lines;

static_assert(std::is_same_v<decltype(&copyIntxInfo),
                             void (*)(Zel::Ptr<IntxInfo const>, Zel::Ptr<IntxInfo>)>);

class CopyIntxInfo : public NothingLeft {};
WITH_BOTH_WAYS_OF_COUNTING(CopyIntxInfo);

TEST_P(CopyIntxInfo, MakesAnEmptyRecordEqualWritingInTheOrderOfDeclaration) {
    const IntxInfo::Ptr source = filled(1, {4, 0});
    const IntxInfo::Ptr dest = record(1);
    Journal log(dest, Journal::names);
    copyIntxInfo(source, dest);
    EXPECT_EQ(log.take(), scalarWrites + Lines{"mstiN[0]"} + entryWrites(0) + Lines{"mstiN[4]"} +
                              entryWrites(4));
    expectEqualRecords(*dest, *source);
}

TEST_P(CopyIntxInfo, OntoAnEqualRecordWritesEverythingAgainSixAndThirteenPerInstance) {
    const IntxInfo::Ptr source = filled(1, {0, 3, 7});
    const IntxInfo::Ptr dest = filled(1, {0, 3, 7});
    Journal log(dest, Journal::names);
    copyIntxInfo(source, dest);
    const Lines writes = log.take();
    EXPECT_EQ(writes.size(), 6U + 13U * 3U);
    EXPECT_EQ(writes, scalarWrites + entryWrites(0) + entryWrites(3) + entryWrites(7));
    expectEqualRecords(*dest, *source);
}

TEST_P(CopyIntxInfo, OfAnAllZeroRecordResetsEverything) {
    const IntxInfo::Ptr dest = filled(1, {0});
    copyIntxInfo(record(1, {0}), dest);
    expectZeroScalars(*dest);
    expectZeroScalars(*dest->mstiN(0));
}

TEST_P(CopyIntxInfo, DeletesAnEntryThatTheSourceLacksAfterCreatingTheNewOne) {
    const IntxInfo::Ptr source = filled(1, {0, 3});
    const IntxInfo::Ptr dest = filled(1, {0, 5});
    Journal log(dest, Journal::names);
    copyIntxInfo(source, dest);
    EXPECT_EQ(log.take(), scalarWrites + entryWrites(0) + Lines{"mstiN[3]"} + entryWrites(3) +
                              Lines{"mstiN[5] deleted"});
    EXPECT_EQ(keysOf(*dest), (std::vector<unsigned>{0, 3}));
    expectEqualRecords(*dest, *source);
}

TEST_P(CopyIntxInfo, DeletesSeveralEntriesInAscendingOrder) {
    const IntxInfo::Ptr dest = filled(1, {1, 9, 4, 2});
    Journal log(dest, Journal::names);
    copyIntxInfo(record(1, {4}), dest);
    EXPECT_EQ(log.take(), scalarWrites + entryWrites(4) +
                              (Lines{"mstiN[1] deleted", "mstiN[2] deleted", "mstiN[9] deleted"}));
    EXPECT_EQ(keysOf(*dest), std::vector<unsigned>{4});
}

TEST_P(CopyIntxInfo, OfARecordWithoutEntriesLeavesNone) {
    const IntxInfo::Ptr dest = filled(1, {0});
    Journal log(dest, Journal::names);
    copyIntxInfo(record(1), dest);
    EXPECT_EQ(log.take(), scalarWrites + Lines{"mstiN[0] deleted"});
    EXPECT_EQ(dest->mstiN().members(), 0U);
}

TEST_P(CopyIntxInfo, NeverWritesTheVlanKey) {
    const IntxInfo::Ptr dest = record(20);
    copyIntxInfo(filled(10, {0}), dest);
    EXPECT_EQ(dest->vlanId(), 20);
}

TEST_P(CopyIntxInfo, KeepsTheEntriesThatAreThere) {
    const IntxInfo::Ptr dest = record(1, {0});
    const IntxMstiInfo::Ptr entry = dest->mstiN(0);
    copyIntxInfo(filled(1, {0, 1}), dest);
    EXPECT_EQ(dest->mstiN(0), entry);
}

TEST_P(CopyIntxInfo, LeavesTheSourceAloneAndUnnotified) {
    const IntxInfo::Ptr source = filled(1, {0, 2});
    const IntxInfo::Ptr dest = record(1, {5});
    Journal log(source, Journal::names);
    copyIntxInfo(source, dest);
    EXPECT_EQ(log.take(), Lines());
    expectEqualRecords(*source, *filled(1, {0, 2}));
}

TEST_P(CopyIntxInfo, OfARecordOntoItselfWritesItAgain) {
    const IntxInfo::Ptr info = filled(1, {0, 2});
    Journal log(info, Journal::names);
    copyIntxInfo(info, info);
    EXPECT_EQ(log.take(), scalarWrites + entryWrites(0) + entryWrites(2));
    expectEqualRecords(*info, *filled(1, {0, 2}));
}

// A key that only the destination has and one that only the source has: what a reactor does in the
// middle of the copy can make the counts equal, and then nothing is looked for.
TEST_P(CopyIntxInfo, SkipsTheDeletionWhenTheCountsAreEqualThoughTheKeysAreNot) {
    const IntxInfo::Ptr source = filled(1, {0, 3});
    const IntxInfo::Ptr dest = filled(1, {5});
    Journal log(dest, Journal::names);
    log.look = [&](std::string const& write) {
        if (write == "3/fwdDelay")
            dest->mstiNDel(0);
    };
    copyIntxInfo(source, dest);
    EXPECT_EQ(keysOf(*dest), (std::vector<unsigned>{3, 5}));
}

TEST_P(CopyIntxInfo, NotifiesOfEachWriteBeforeTheNextOne) {
    const IntxInfo::Ptr source = filled(1, {0});
    const IntxInfo::Ptr dest = record(1);
    Journal log(dest, Journal::names);
    log.look = [&](std::string const& write) {
        if (write == "stpVersion") {
            EXPECT_EQ(dest->stpVersion(), source->stpVersion());
            EXPECT_EQ(dest->intxInfoType(), 0);
        }
        if (write == "mstiN[0]")
            expectZeroScalars(*dest->mstiN(0));
        if (write == "0/helloTime") {
            EXPECT_EQ(dest->mstiN(0)->fwdDelay(), Stp::TimerVal());
        }
    };
    copyIntxInfo(source, dest);
    expectEqualRecords(*dest, *source);
}

TEST_P(CopyIntxInfo, FindsItsPlaceAgainWhenTheSourceChangesMeanwhile) {
    const IntxInfo::Ptr source = filled(1, {0, 3, 5, 7});
    const IntxInfo::Ptr dest = record(1);
    Journal log(dest, Journal::names);
    log.look = [&](std::string const& write) {
        if (write == "mstiN[3]") {
            source->mstiNDel(3);
            source->mstiNDel(5);
            Samples::fill(*source->mstiNIs(9));
            source->mstiNIs(1);
        }
    };
    copyIntxInfo(source, dest);
    // 1 came behind the walk, so the counts, {0, 1, 7, 9} and {0, 3, 7, 9}, are equal.
    EXPECT_EQ(keysOf(*dest), (std::vector<unsigned>{0, 3, 7, 9}));
    expectEqualScalars(*dest->mstiN(7), *source->mstiN(7));
    expectEqualScalars(*dest->mstiN(9), *source->mstiN(9));
}

TEST_P(CopyIntxInfo, FindsItsPlaceAgainWhenTheDestinationChangesAheadOfIt) {
    const IntxInfo::Ptr source = filled(1, {0, 3, 5, 7});
    const IntxInfo::Ptr dest = record(1, {0, 3, 5, 7});
    Journal log(dest, Journal::names);
    log.look = [&](std::string const& write) {
        if (write == "0/flags") {
            dest->mstiNDel(5);
            dest->mstiNIs(4);
        }
        if (write == "3/flags") {
            EXPECT_EQ(dest->mstiNMemberIs(Samples::entry(7))->mstiId(), 7);
        }
    };
    copyIntxInfo(source, dest);
    expectEqualRecords(*dest, *source);
}

TEST_P(CopyIntxInfo, MakesAnEntryAgainThatTheDestinationLosesJustBeforeItsTurn) {
    const IntxInfo::Ptr source = filled(1, {0, 3});
    const IntxInfo::Ptr dest = record(1, {0, 3});
    Journal log(dest, Journal::names);
    log.look = [&](std::string const& write) {
        if (write == "0/fwdDelay")
            dest->mstiNDel(3);
    };
    copyIntxInfo(source, dest);
    EXPECT_EQ(log.take(), scalarWrites + entryWrites(0) + (Lines{"mstiN[3] deleted", "mstiN[3]"}) +
                              entryWrites(3));
    expectEqualRecords(*dest, *source);
}

TEST_P(CopyIntxInfo, MakesARecordEqualThatNobodyWatches) {
    for (auto const& instances : {std::initializer_list<Zel::U16>{}, {0}, {0, 3, 7}, {3}}) {
        const IntxInfo::Ptr source = filled(1, {0, 3, 7});
        const IntxInfo::Ptr dest = record(1, instances);
        copyIntxInfo(source, dest);
        expectEqualRecords(*dest, *source);
        copyIntxInfo(record(1), dest);
        EXPECT_EQ(keysOf(*dest), std::vector<unsigned>{});
        expectZeroScalars(*dest);
    }
}

TEST_P(CopyIntxInfo, SurvivesAnEntryDeletedWhileItIsWritten) {
    const IntxInfo::Ptr source = filled(1, {0, 3});
    const IntxInfo::Ptr dest = record(1);
    Journal log(dest, Journal::names);
    log.look = [&](std::string const& write) {
        if (write == "0/flags")
            dest->mstiNDel(0);
    };
    copyIntxInfo(source, dest);
    EXPECT_EQ(keysOf(*dest), std::vector<unsigned>{3});
}

TEST_P(CopyIntxInfo, DeletesAKeyOnceThoughItComesBackInItsOwnDeletionNotice) {
    const IntxInfo::Ptr dest = filled(1, {2, 4});
    Journal log(dest, Journal::names);
    bool again = true;
    log.look = [&](std::string const& write) {
        if (write == "mstiN[2] deleted" && std::exchange(again, false))
            dest->mstiNIs(2);
    };
    copyIntxInfo(record(1), dest);
    EXPECT_EQ(log.take(),
              scalarWrites + (Lines{"mstiN[2] deleted", "mstiN[2]", "mstiN[4] deleted"}));
    EXPECT_EQ(keysOf(*dest), std::vector<unsigned>{2});
}

TEST_P(CopyIntxInfo, HoldsBothRecordsUntilItHasEnded) {
    IntxInfo::Ptr source = filled(1, {0, 1});
    IntxInfo::Ptr dest = record(1);
    Journal log(dest, Journal::names);
    log.look = [&](std::string const&) {
        source = nullptr;
        dest = nullptr;
    };
    copyIntxInfo(source, dest);
    EXPECT_EQ(log.take().size(), 6U + 2U * 14U);
}

TEST_P(CopyIntxInfo, TracesNothing) {
    TraceCapture capture("Varnol", allTraceLevels);
    capture.levelsOn("StpTxStatusSyncer", allTraceLevels);
    capture.levelsOn("StpRxStatusSyncer", allTraceLevels);
    copyIntxInfo(filled(1, {0, 3}), filled(1, {0, 5}));
    EXPECT_TRUE(capture.records().empty());
}

TEST_P(CopyIntxInfo, OutOfMemoryReachesTheCallerAndLeaksNothing) {
    const unsigned failures = failEachAllocation([](Attempt& attempt) {
        const IntxInfo::Ptr source = filled(1, {0, 3});
        source->configNameStringIs("a name too long to be kept without memory of its own");
        const IntxInfo::Ptr dest = record(1, {5});
        if (attempt([&] { copyIntxInfo(source, dest); }))
            expectEqualRecords(*dest, *source);
    });
    EXPECT_EQ(failures, 2U) << "the two entries";
}

TEST(CopyIntxInfoDeathTest, ANullSourceFailsItsAssertion) {
    EXPECT_EXIT(copyIntxInfo(nullptr, record(1)), testing::KilledBySignal(SIGABRT),
                "bpdu/VarnolCommon\\.cpp:[0-9]+: .*copyIntxInfo.*: Assertion `src' failed\\.");
}

TEST(CopyIntxInfoDeathTest, ANullDestinationFailsItsAssertion) {
    EXPECT_EXIT(copyIntxInfo(record(1), nullptr), testing::KilledBySignal(SIGABRT),
                "bpdu/VarnolCommon\\.cpp:[0-9]+: .*copyIntxInfo.*: Assertion `dst' failed\\.");
}

} // namespace
} // namespace Varnol
