// What show, tree and stats say of a trace that was made by hand.

#include "tests/tools/Program.h"
#include "tests/tools/Reading.h"
#include "tools/trace/Names.h"
#include "tools/trace/Text.h"

#include <nlohmann/json.hpp>

namespace TraceTool::Test {
namespace {

bool contains(std::string const& text, std::string const& part) {
    return text.find(part) != text.npos;
}

TEST(Show, SaysAllBlocksInTheOrderOfTheirBeginningsThenTheOpenOnesThenWhereAGoneProcessWas) {
    TraceMaker maker = sample();
    const Trace trace = read(maker);
    EXPECT_TRUE(trace.damage.none());
    expectGolden(showText(trace), "show.txt");
}

TEST(Show, SaysOfALivingProcessHowLongItsBlocksAreOpenNow) {
    TraceMaker maker = sample();
    const Trace trace = read(maker);
    std::ostringstream out;
    show(out, trace, {.lives = true, .now = TraceMaker::attachedAt + 12'000'021'000});
    EXPECT_TRUE(contains(out.str(), "process 2147483647 is alive"));
    EXPECT_TRUE(contains(out.str(), "lane 0, thread 4711, open now, outermost first; open for:\n"));
    EXPECT_TRUE(contains(out.str(), "          12.000 s  handler     Varnol::TxStatusToTxSyncer::"
                                    "handleTxUpdate():230 for txUpdate[100]"));
    EXPECT_FALSE(contains(out.str(), "is gone"));
}

TEST(Show, SaysOfAGoneProcessThatWasInNoBlockThatItWasInNone) {
    TraceMaker maker;
    EXPECT_TRUE(
        contains(showText(read(maker)), "process 2147483647 is gone; it was in no block\n"));
}

TEST(Show, SaysOfSeveralThreadsInWhatEachWas) {
    TraceMaker maker;
    const U32 message = maker.message("f():1");
    maker.enter(0, 1, {handler, message, 0, 0, {}, 0, {}});
    maker.enter(1, 2, {handler, message, 0, 0, {}, 0, {}});
    maker.enter(1, 3, {handler, message, 0xab, 0, {}, 300, number(7)});
    const std::string text = showText(read(maker));
    EXPECT_TRUE(contains(text, "is gone; thread 4711 was in f():1, at depth 1\n"));
    EXPECT_TRUE(contains(
        text, "is gone; thread 4712 was in f():1 for attribute 300[7] of 0xab, at depth 2\n"));
}

TEST(Show, SaysThatBlocksBeyondTheKeptFramesAreOpen) {
    TraceMaker maker;
    const U32 message = maker.message("f():1");
    for (U64 depth = 0; depth < 6; ++depth)
        maker.enter(0, depth, {handler, message, 0, 0, {}, 0, {}});
    const Trace trace = read(maker);
    EXPECT_TRUE(trace.damage.none());
    EXPECT_TRUE(contains(showText(trace), "and 2 within, which were not kept\n"));
    EXPECT_TRUE(contains(showText(trace),
                         "it was in a block that was not kept, within f():1, at depth 6\n"));
    EXPECT_TRUE(contains(treeText(trace), "(2 more are OPEN, not in the trace)\n"));
}

TEST(Show, SaysHowManyBlocksWereOverwrittenAndLost) {
    TraceMaker maker({.chunk = 2, .places = 4});
    const U32 message = maker.message("f():1");
    for (U64 i = 0; i < 9; ++i) {
        maker.enter(0, 10 * i, {handler, message, 0, 0, {}, 0, {}});
        maker.leave(0, 10 * i + 5);
    }
    maker.put<U64>(At::lostRecords, 3);
    maker.put<U32>(At::descriptorsMissing, 2);
    const Trace trace = read(maker);
    EXPECT_TRUE(trace.damage.none());
    // Nine were written; the ring has the last chunk's first and the two chunks' places behind it.
    EXPECT_EQ(trace.blocks.size(), 4U);
    EXPECT_TRUE(contains(showText(trace),
                         "4 finished blocks in the ring, 5 overwritten, 3 not "
                         "recorded for want of a lane\n2 descriptors found no room\n"));
}

TEST(Show, PrintsKeysOfInterfacesByShortNameNumbersInDecimalAndTextsEscaped) {
    struct Case {
        Key key;
        std::string keyType;
        std::string shown;
    };
    const Case cases[] = {
        {number(U64{1} << 24 | 1), "Kolvu::IntfId", "a[Et1] of"},
        {number(U64{1} << 24 | U64{3} << 16 | 7), "Kolvu::IntfId", "a[Et3/7] of"},
        {number(U64{2} << 24 | 10), "Kolvu::IntfId", "a[Po10] of"},
        {number(U64{9} << 24 | 10), "Kolvu::IntfId", "a[150994954] of"},
        {number(U64{1} << 32 | 1), "Kolvu::IntfId", "a[4294967297] of"},
        {number(U64{1} << 24 | 1), "unsigned int", "a[16777217] of"},
        {number(~U64{0}), "unsigned int", "a[18446744073709551615] of"},
        {text("mst1"), "Zel::Name", "a[mst1] of"},
        {text(""), "Zel::Name", "a of"},
        {text("a\nb\x1b[31m\x7f\xff"), "Zel::Name", "a[a\\nb\\x1b[31m\\x7f\\xff] of"},
        {text("gr\xc3\xbc\xc3\x9f"), "Zel::Name", "a[gr\xc3\xbc\xc3\x9f] of"},
        {text("1234567890123456789012"), "Zel::Name", "a[1234567890123456789012] of"},
        {text("12345678901234567890123"), "Zel::Name",
         "a[1234567890123456789012... (23 octets)] of"},
        {text(std::string(300, 'x')), "Zel::Name",
         "a[xxxxxxxxxxxxxxxxxxxxxx... (255 octets or more)] of"},
    };
    for (Case const& each : cases) {
        TraceMaker maker;
        const U32 type = maker.type("T", "258\ta\tV\t" + each.keyType + "\n");
        maker.enter(0, 1, {handler, 0, 1, type, {}, 258, each.key});
        EXPECT_TRUE(contains(showText(read(maker)), each.shown)) << each.shown;
    }
}

TEST(Show, KnowsTheTypeOfAnEntitysOwnKeyByItsParentsClassOrByAnAttributeOfItsOwn) {
    const U64 et1 = U64{1} << 24 | 1;
    TraceMaker byParent;
    const U32 child = byParent.type("Child", "258\tx\tint\n");
    byParent.type("Parent", "258\tchild\tChild\tKolvu::IntfId\n");
    byParent.enter(0, 1, {handler, 0, 1, child, number(et1), 0, {}});
    EXPECT_TRUE(contains(showText(read(byParent)), "for Child[Et1] 0x1"));

    TraceMaker byItself;
    const U32 alone = byItself.type("Child", "258\tintfId\tKolvu::IntfId\n");
    byItself.enter(0, 1, {handler, 0, 1, alone, number(et1), 0, {}});
    EXPECT_TRUE(contains(showText(read(byItself)), "for Child[Et1] 0x1"));

    TraceMaker unknown;
    const U32 other = unknown.type("Child", "258\tx\tint\n");
    unknown.enter(0, 1, {handler, 0, 1, other, number(et1), 0, {}});
    EXPECT_TRUE(contains(showText(read(unknown)), "for Child[16777217] 0x1"));
}

TEST(Text, OfAnyOctetsIsPrintableUtf8) {
    EXPECT_EQ(escaped("a\tb\r\n"), "a\\tb\\r\\n");
    EXPECT_EQ(escaped(std::string("\0x", 2)), "\\x00x");
    EXPECT_EQ(escaped("\xc2\x85"), "\\xc2\\x85");                            // a control character
    EXPECT_EQ(escaped("\xe2\x82\xac"), "\xe2\x82\xac");                      // three octets
    EXPECT_EQ(escaped("\xf0\x9f\x98\x80"), "\xf0\x9f\x98\x80");              // four
    EXPECT_EQ(escaped("\xe2\x82"), "\\xe2\\x82");                            // cut off
    EXPECT_EQ(escaped("\xc0\xaf\xed\xa0\x80"), "\\xc0\\xaf\\xed\\xa0\\x80"); // overlong, surrogate
    EXPECT_EQ(escaped("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");          // beyond the last
    EXPECT_EQ(escaped("abcdef", 3), "abc...");
    EXPECT_EQ(escaped("abc", 3), "abc");
}

TEST(Text, OfADurationIsInMicrosecondsAndFromTenSecondsOnInSeconds) {
    EXPECT_EQ(durationText(0), "0.000 us");
    EXPECT_EQ(durationText(1'234'567), "1234.567 us");
    EXPECT_EQ(durationText(9'999'999'999), "9999999.999 us");
    EXPECT_EQ(durationText(10'000'000'000), "10.000 s");
}

TEST(Text, OfATimeIsTheTimeOfDayByTheMomentWhenTheTraceWasAttached) {
    TraceMaker maker;
    const Trace trace = read(maker);
    EXPECT_EQ(timeText(trace, TraceMaker::attachedAt), "2026-11-21 03:00:00.000000000");
    EXPECT_EQ(timeText(trace, TraceMaker::attachedAt - 1), "2026-11-21 02:59:59.999999999");
    EXPECT_EQ(timeText(trace, TraceMaker::attachedAt + 86'400'000'000'001),
              "2026-11-22 03:00:00.000000001");
}

TEST(Tree, IndentsWhatWasTriggeredBelowWhatTriggeredItAndMarksOpenBlocks) {
    TraceMaker maker = sample();
    expectGolden(treeText(read(maker)), "tree.txt");
}

TEST(Tree, MarksBlocksWhoseParentIsNotInTheTrace) {
    TraceMaker maker;
    const U32 message = maker.message("outer():1");
    const U32 inner = maker.message("inner():2");
    maker.enter(0, 10, {handler, message, 0, 0, {}, 0, {}});
    maker.enter(0, 20, {handler, message, 0, 0, {}, 0, {}});
    maker.enter(0, 30, {handler, inner, 0, 0, {}, 0, {}});
    maker.leave(0, 40);
    const U64 lost = maker.leave(0, 50);
    maker.put<U64>(maker.recordAt(lost), lost | U64{1} << 63); // not readable any more
    const std::string within = treeText(read(maker));
    EXPECT_TRUE(contains(within, "\n    (1 around it, not in the trace) inner():2  (0.010 us)\n"))
        << within;

    const U64 outer = maker.leave(0, 60);
    maker.put<U64>(maker.recordAt(outer), 0);
    const std::string alone = treeText(read(maker));
    EXPECT_TRUE(contains(alone, "  (2 around it, not in the trace) inner():2  (0.010 us)\n"))
        << alone;
}

TEST(Tree, PutsBlocksThatWereEnteredBeforeTheTraceWasAttachedAroundThoseWithin) {
    TraceMaker maker;
    const U32 outer = maker.message("outer():1");
    const U32 inner = maker.message("inner():2");
    // Entered without a lane, both have the depth 0.
    maker.enter(0, 20, {handler, inner, 0, 0, {}, 0, {}});
    maker.leave(0, 30);
    maker.enter(0, 10, {handler, outer, 0, 0, {}, 0, {}});
    maker.leave(0, 40);
    const Trace trace = read(maker);
    EXPECT_TRUE(trace.damage.none());
    EXPECT_TRUE(contains(treeText(trace), "  outer():1  (0.030 us)\n    inner():2  (0.010 us)\n"))
        << treeText(trace);
}

TEST(Tree, KeepsBlocksWithoutDurationBesideEachOther) {
    TraceMaker maker;
    const U32 message = maker.message("f():1");
    maker.enter(0, 5, {handler, message, 0, 0, {}, 0, {}});
    maker.leave(0, 5);
    maker.enter(0, 5, {handler, message, 0, 0, {}, 0, {}});
    maker.leave(0, 9);
    Trace trace = read(maker);
    const auto lanes = nested(trace);
    EXPECT_TRUE(trace.damage.none());
    ASSERT_EQ(lanes.at(0).size(), 2U);
    EXPECT_EQ(lanes[0][0].level, 0U);
    EXPECT_EQ(lanes[0][1].level, 0U);
}

TEST(Tree, KeepsABlockWithoutDurationBesideAnOpenOneThatBeganThen) {
    TraceMaker maker;
    const U32 message = maker.message("f():1");
    maker.enter(0, 5, {handler, message, 0, 0, {}, 0, {}});
    maker.leave(0, 5);
    maker.enter(0, 5, {handler, message, 0, 0, {}, 0, {}});
    maker.enter(0, 5, {handler, message, 0, 0, {}, 0, {}});
    maker.leave(0, 7);
    Trace trace = read(maker);
    const auto lanes = nested(trace);
    EXPECT_TRUE(trace.damage.none());
    ASSERT_EQ(lanes.at(0).size(), 3U);
    EXPECT_EQ(lanes[0][0].level, 0U);
    EXPECT_EQ(lanes[0][1].level, 0U);
    EXPECT_TRUE(lanes[0][1].isOpen());
    EXPECT_EQ(lanes[0][2].level, 1U);
}

TEST(Stats, AreByMessageKindAndAttributeWithTheMostOwnTimeFirst) {
    TraceMaker maker = sample();
    expectGolden(statsText(read(maker)), "stats.txt");
}

TEST(Stats, GiveMedianAndPercentileByNearestRank) {
    TraceMaker maker({.descriptors = 512, .chunk = 10, .places = 200});
    const U32 message = maker.message("f():1");
    U64 at = 0;
    for (U64 duration = 200; duration >= 1; --duration) {
        maker.enter(0, at, {handler, message, 0, 0, {}, 0, {}});
        at += duration;
        maker.leave(0, at);
    }
    Trace trace = read(maker);
    const auto rows = stats(nested(trace));
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].count, 200U);
    EXPECT_EQ(rows[0].total, 20100U);
    EXPECT_EQ(rows[0].own, 20100U);
    EXPECT_EQ(rows[0].median, 100U);
    EXPECT_EQ(rows[0].p99, 198U);
    EXPECT_EQ(rows[0].max, 200U);
}

TEST(Stats, AsJsonHaveTheSameRowsInNanoseconds) {
    TraceMaker maker = sample();
    const auto json = nlohmann::json::parse(statsText(read(maker), true));
    EXPECT_EQ(json.at("processId"), TraceMaker::noProcess);
    EXPECT_EQ(json.at("blocks"), sampleFinished);
    EXPECT_EQ(json.at("overwritten"), 0);
    EXPECT_EQ(json.at("damage"), 0);
    U64 count = 0;
    U64 own = 0;
    U64 before = ~U64{0};
    for (auto const& row : json.at("rows")) {
        count += row.at("count").get<U64>();
        own += row.at("ownNanoseconds").get<U64>();
        EXPECT_LE(row.at("ownNanoseconds").get<U64>(), before);
        before = row.at("ownNanoseconds").get<U64>();
        EXPECT_LE(row.at("ownNanoseconds"), row.at("totalNanoseconds"));
        EXPECT_LE(row.at("medianNanoseconds"), row.at("p99Nanoseconds"));
        EXPECT_LE(row.at("p99Nanoseconds"), row.at("maxNanoseconds"));
    }
    EXPECT_EQ(count, sampleFinished);
    EXPECT_EQ(own, 15'000U); // what the blocks without one around them took
    EXPECT_EQ(json.at("rows").at(0).at("actor"),
              "Varnol::TxStatusToTxSyncer::handleTxMstStatus():120");
    EXPECT_EQ(json.at("rows").at(0).at("class"), "Varnol::TxStatus");
    EXPECT_EQ(json.at("rows").at(0).at("attribute"), "txMstStatus");
}

/// Outer blocks with blocks within, on lane 0.
class Outer {
  public:
    explicit Outer(Sizes const& sizes)
        : maker(sizes)
        , outer(maker.message("outer():1"))
        , inner(maker.message("inner():2")) {}
    /// 100 ns, of which each of the blocks within takes 5.
    void block(unsigned within) {
        maker.enter(0, at, {handler, outer, 0, 0, {}, 0, {}});
        for (U64 i = 0; i < within; ++i) {
            maker.enter(0, at + 10 * i, {handler, inner, 0, 0, {}, 0, {}});
            maker.leave(0, at + 10 * i + 5);
        }
        maker.leave(0, at += 100);
    }
    StatsRow rowOf(U32 message) {
        Trace trace = read(maker);
        for (StatsRow const& row : stats(nested(trace)))
            if (row.example.messageId == message)
                return row;
        return {};
    }
    void expectOuter(U64 count, U64 own, U64 ownUnknown) {
        const StatsRow row = rowOf(outer);
        EXPECT_EQ(row.count, count);
        EXPECT_EQ(row.total, 100 * count);
        EXPECT_EQ(row.own, own);
        EXPECT_EQ(row.ownUnknown, ownUnknown);
    }

    TraceMaker maker;
    U32 outer;
    U32 inner;
    U64 at = 0;
};

TEST(Stats, LeaveOutTheOwnTimeOfABlockWithinWhichOthersMayHaveBeenOverwritten) {
    Outer trace({.chunk = 2, .places = 8});
    trace.block(10); // records 1 to 11
    trace.block(1);  // 12 and 13; from 6 on they are in the ring
    trace.expectOuter(2, 95, 1);
    const StatsRow inner = trace.rowOf(trace.inner);
    EXPECT_EQ(inner.count, 6U);
    EXPECT_EQ(inner.own, 25U);
    EXPECT_EQ(inner.ownUnknown, 1U); // the oldest

    const std::string text = statsText(read(trace.maker));
    EXPECT_TRUE(contains(text, "\n0.095+     0.200      2 ")) << text;
    EXPECT_TRUE(contains(text, "\n0.025+     0.030      6 ")) << text;
    EXPECT_TRUE(text.ends_with(
        "\n\n+ without the own time of blocks within which others may be missing: 2 in all\n"))
        << text;
    const auto json = nlohmann::json::parse(statsText(read(trace.maker), true));
    EXPECT_EQ(json.at("rows").at(0).at("ownUnknown"), 1);
    EXPECT_EQ(json.at("rows").at(0).at("ownNanoseconds"), 95);
}

TEST(Stats, LeaveOutTheOwnTimeOfABlockWhoseChunksBeganWhereTheRingDoes) {
    Outer trace({.chunk = 2, .places = 4});
    trace.block(7); // records 1 to 8, of which the last two chunks are in the ring
    trace.expectOuter(1, 0, 1);
}

TEST(Stats, KnowTheOwnTimeOfBlocksBetweenWhoseRecordsAnotherLaneHasSome) {
    Outer trace({.chunk = 2, .places = 32});
    for (unsigned i = 0; i < 4; ++i) {
        trace.block(3);
        for (U64 j = 0; j <= i % 3; ++j) {
            trace.maker.enter(1, trace.at + 2 * j, {handler, trace.inner, 0, 0, {}, 0, {}});
            trace.maker.leave(1, trace.at + 2 * j + 1);
        }
    }
    trace.expectOuter(4, 4 * 85, 0);
    EXPECT_EQ(trace.rowOf(trace.inner).ownUnknown, 0U);
}

TEST(Stats, LeaveOutTheOwnTimeOfABlockWithinWhichRecordsAreMissingOrDamaged) {
    Outer whole({.chunk = 2, .places = 32});
    for (int i = 0; i < 3; ++i)
        whole.block(5); // records 1 to 6, 7 to 12 and 13 to 18
    whole.expectOuter(3, 3 * 75, 0);

    Outer damaged = whole;
    damaged.maker.put<U8>(damaged.maker.recordAt(8) + At::kind, 9);
    damaged.expectOuter(3, 2 * 75, 1);

    Outer chunk = whole;
    chunk.maker.put<U64>(chunk.maker.recordAt(9), 0);
    chunk.maker.put<U64>(chunk.maker.recordAt(10), 0);
    chunk.expectOuter(3, 2 * 75, 1);

    Outer endOfChunk = whole;
    endOfChunk.maker.put<U64>(endOfChunk.maker.recordAt(10), 0);
    endOfChunk.expectOuter(3, 2 * 75, 1);

    Outer first = whole;
    first.maker.put<U64>(first.maker.recordAt(1), 0);
    first.maker.put<U64>(first.maker.recordAt(2), 0);
    first.expectOuter(3, 2 * 75, 1);

    Outer overlapping = whole;
    overlapping.maker.put<U64>(overlapping.maker.recordAt(9) + At::begin,
                               TraceMaker::attachedAt + 112);
    overlapping.expectOuter(3, 2 * 75, 1);
}

TEST(Stats, LeaveOutTheOwnTimeOfABlockThatWasEnteredBeforeTheTraceOrItsLaneWasThere) {
    Outer attached({});
    attached.block(1);
    attached.expectOuter(1, 95, 0);
    attached.maker.put<U64>(attached.maker.recordAt(2) + At::begin, TraceMaker::attachedAt - 1);
    const StatsRow row = attached.rowOf(attached.outer);
    EXPECT_EQ(row.total, 101U);
    EXPECT_EQ(row.own, 0U);
    EXPECT_EQ(row.ownUnknown, 1U);

    // Entered without a lane, both have the depth 0.
    Outer late({});
    late.maker.enter(0, 20, {handler, late.inner, 0, 0, {}, 0, {}});
    late.maker.leave(0, 25);
    late.maker.enter(0, 0, {handler, late.outer, 0, 0, {}, 0, {}});
    late.maker.leave(0, 100);
    late.expectOuter(1, 0, 1);
}

TEST(Stats, ByHandlerHaveOneRowForAllAttributesOfAMessageOrClassAndKind) {
    TraceMaker maker = sample();
    Trace trace = read(maker);
    const Names names(trace);
    const auto lanes = nested(trace);
    const auto rows = stats(lanes, StatsBy::handler);
    // Of the sample's eight rows by attribute, two pairs have an actor and a kind in common.
    EXPECT_EQ(stats(lanes).size(), 8U);
    ASSERT_EQ(rows.size(), 6U);
    bool found = false;
    for (StatsRow const& row : rows) {
        if (row.example.kind != BlockKind::write ||
            names.actor(row.example) != "Varnol::TxStatusToTxSyncer")
            continue;
        found = true;
        EXPECT_EQ(row.count, 2U);
        EXPECT_EQ(row.total, 5'250U);
        EXPECT_EQ(row.own, 3'750U);
        EXPECT_EQ(row.median, 1'000U);
        EXPECT_EQ(row.p99, 4'250U);
        EXPECT_EQ(row.max, 4'250U);
    }
    EXPECT_TRUE(found);

    const std::string text = statsText(trace, false, StatsBy::handler);
    EXPECT_TRUE(contains(text, "  actor\n")) << text;
    EXPECT_TRUE(contains(text, "write     Varnol::TxStatusToTxSyncer\n")) << text;
    const auto json = nlohmann::json::parse(statsText(trace, true, StatsBy::handler));
    EXPECT_EQ(json.at("by"), "handler");
    EXPECT_EQ(json.at("rows").size(), 6U);
    for (auto const& row : json.at("rows"))
        EXPECT_FALSE(row.contains("attribute") || row.contains("class"));
    EXPECT_EQ(nlohmann::json::parse(statsText(trace, true)).at("by"), "attribute");
}

} // namespace
} // namespace TraceTool::Test
