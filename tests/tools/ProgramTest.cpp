// The program varnol-trace: its commands, exit statuses and messages.

#include "tests/tools/Program.h"
#include "tests/tools/Reading.h"

#include <nlohmann/json.hpp>

namespace TraceTool::Test {
namespace {

bool contains(std::string const& text, std::string const& part) {
    return text.find(part) != text.npos;
}

TEST(Program, ShowsWhatTheOutputsSay) {
    const TraceInFile file(sample().text());
    const Result show = varnolTrace({"show", file.path()});
    EXPECT_EQ(show.exitStatus, 0);
    EXPECT_EQ(show.errors, "");
    EXPECT_EQ(show.output, contents(SOURCES "/tests/tools/golden/show.txt"));
    const Result tree = varnolTrace({"tree", file.path()});
    EXPECT_EQ(tree.exitStatus, 0);
    EXPECT_EQ(tree.output, contents(SOURCES "/tests/tools/golden/tree.txt"));
    const Result stats = varnolTrace({"stats", file.path()});
    EXPECT_EQ(stats.exitStatus, 0);
    EXPECT_EQ(stats.output, contents(SOURCES "/tests/tools/golden/stats.txt"));
    TraceMaker maker = sample();
    EXPECT_EQ(varnolTrace({"stats", "--json", file.path()}).output, statsText(read(maker), true));
    EXPECT_EQ(varnolTrace({"stats", "--by", "attribute", file.path()}).output, stats.output);
    EXPECT_EQ(varnolTrace({"stats", "--by", "handler", file.path()}).output,
              statsText(read(maker), false, StatsBy::handler));
    EXPECT_EQ(varnolTrace({"stats", "--by", "handler", "-j", file.path()}).output,
              statsText(read(maker), true, StatsBy::handler));
}

TEST(Program, RefusesWrongUsage) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> all{
        {{}, "one command"},
        {{"shaw"}, "shaw"},
        {{"show"}, "FILE is required"},
        {{"show", "a", "b"}, "b"},
        {{"show", "a", "--poll", "5"}, "--follow"},
        {{"show", "a", "-f", "--poll", "0"}, "--poll"},
        {{"show", "a", "--at", "x"}, "--at"},
        {{"show", "a", "--at", "1", "--find"}, "--at"},
        {{"stats", "a", "--by", "class"}, "--by"},
        {{"export", "a"}, "--chrome OUT or --ctf DIR"},
        {{"export", "a", "--chrome", "b", "--ctf", "c"}, "--ctf"},
    };
    for (auto const& [arguments, says] : all) {
        const Result result = varnolTrace(arguments);
        EXPECT_EQ(result.exitStatus, 2) << says;
        EXPECT_TRUE(contains(result.errors, says)) << result.errors;
        EXPECT_EQ(result.output, "");
    }
}

TEST(Program, SaysInItsHelpWhatThereIsAndInWhichOrderBlocksAreShown) {
    const Result result = varnolTrace({"--help"});
    EXPECT_EQ(result.exitStatus, 0);
    for (const char* part : {"show", "stats", "tree", "export", "Exit status"})
        EXPECT_TRUE(contains(result.output, part)) << part;
    const Result show = varnolTrace({"show", "--help"});
    EXPECT_EQ(show.exitStatus, 0);
    EXPECT_TRUE(contains(show.output, "in the order in which the"));
    const Result stats = varnolTrace({"stats", "--help"});
    EXPECT_EQ(stats.exitStatus, 0);
    EXPECT_TRUE(contains(stats.output, "--by"));
    EXPECT_TRUE(contains(stats.output, "over all attributes"));
}

TEST(Program, RefusesWhatIsNoTraceOfItsVersionAndOctetOrderWithTwo) {
    TraceMaker version = sample();
    version.put<U32>(At::version, 1);
    TraceMaker order = sample();
    order.put<U32>(At::orderMark, 0x04030201);
    const std::vector<std::pair<std::string, std::string>> all{
        {"no trace", "not a trace"},
        {"", "not a trace"},
        {version.text(), "a trace of version 1; this program reads version 2"},
        {order.text(), "a trace of a machine with another octet order"},
    };
    for (auto const& [octets, says] : all) {
        const TraceInFile file(octets);
        for (const char* command : {"show", "stats", "tree"}) {
            const Result result = varnolTrace({command, file.path()});
            EXPECT_EQ(result.exitStatus, 2);
            EXPECT_EQ(result.errors, "varnol-trace: " + file.path() + ": " + says + "\n");
            EXPECT_EQ(result.output, "");
        }
        const auto out = file.folder() / "out";
        EXPECT_EQ(varnolTrace({"export", file.path(), "--chrome", out}).exitStatus, 2);
        EXPECT_FALSE(std::filesystem::exists(out));
    }
}

TEST(Program, FailsWithOneWhereAFileCannotBeReadOrWritten) {
    const Result missing = varnolTrace({"show", "/nowhere/trace"});
    EXPECT_EQ(missing.exitStatus, 1);
    EXPECT_EQ(missing.errors, "varnol-trace: /nowhere/trace: No such file or directory\n");
    EXPECT_EQ(varnolTrace({"show", "/dev/null"}).exitStatus, 1);

    const TraceInFile file(sample().text());
    EXPECT_EQ(varnolTrace({"export", file.path(), "--chrome", "/nowhere/out"}).exitStatus, 1);
    EXPECT_EQ(varnolTrace({"export", file.path(), "--ctf", "/nowhere/out"}).exitStatus, 1);
    const Result itself = varnolTrace({"export", file.path(), "--chrome", file.path()});
    EXPECT_EQ(itself.exitStatus, 1);
    EXPECT_EQ(itself.errors, "varnol-trace: " + file.path() + ": is the trace itself\n");
    EXPECT_EQ(contents(file.path()), sample().text());
}

TEST(Program, ShowsADamagedTraceAsFarAsItCanBeReadAndEndsWithThree) {
    TraceMaker maker = sample();
    maker.put<U8>(maker.recordAt(2) + At::kind, 9);
    const TraceInFile file(maker.text());
    for (const char* command : {"show", "stats", "tree"}) {
        const Result result = varnolTrace({command, file.path()});
        EXPECT_EQ(result.exitStatus, 3);
        EXPECT_EQ(result.errors,
                  "varnol-trace: " + file.path() + ": damaged: record 2 is of an unknown kind\n");
        EXPECT_TRUE(contains(result.output, "handleTxMstStatus():120"));
    }
    const auto out = file.folder() / "out";
    const Result chrome = varnolTrace({"export", file.path(), "--chrome", out});
    EXPECT_EQ(chrome.exitStatus, 3);
    EXPECT_EQ(contents(out), chromeText(read(maker)));
    EXPECT_EQ(varnolTrace({"export", file.path(), "--ctf", file.folder() / "ctf"}).exitStatus, 3);
    EXPECT_TRUE(std::filesystem::exists(file.folder() / "ctf" / "lane-0"));
    EXPECT_EQ(varnolTrace({"show", "--follow", file.path()}).exitStatus, 3);
}

TEST(Program, SaysHowManyDamagesItDoesNotName) {
    TraceMaker maker({.descriptors = 512, .places = 400});
    const U32 message = maker.message("f():1");
    for (U64 i = 0; i < 30; ++i) {
        maker.enter(0, 10 * i, {handler, message, 0, 0, {}, 0, {}});
        const U64 sequence = maker.leave(0, 10 * i + 5);
        maker.put<U8>(maker.recordAt(sequence) + At::kind, 77);
    }
    const TraceInFile file(maker.text());
    EXPECT_TRUE(contains(varnolTrace({"show", file.path()}).errors, ": damaged: and 10 more\n"));
}

TEST(Program, ReadsATraceInsideALargerFile) {
    const std::string whole = contents(SOURCES "/tests/tools/golden/show.txt");
    const TraceInFile core(std::string(5000, 'x') + sample().text() + "rest");
    EXPECT_EQ(varnolTrace({"show", core.path()}).exitStatus, 2);
    EXPECT_EQ(varnolTrace({"show", core.path(), "--at", "5000"}).output, whole);
    EXPECT_EQ(varnolTrace({"show", core.path(), "--at", "0x1388"}).output, whole);
    EXPECT_EQ(varnolTrace({"show", core.path(), "--at", "18446744073709551615"}).exitStatus, 2);
    const Result found = varnolTrace({"show", core.path(), "--find"});
    EXPECT_EQ(found.exitStatus, 0);
    EXPECT_EQ(found.output, whole);

    const TraceInFile two(sample().text() + sample().text());
    const Result several = varnolTrace({"show", two.path(), "--find"});
    EXPECT_EQ(several.exitStatus, 2);
    EXPECT_EQ(several.errors, "varnol-trace: " + two.path() +
                                  ": 2 traces in it; choose one with --at 0 --at " +
                                  std::to_string(sample().text().size()) + "\n");
    const TraceInFile none("nothing");
    const Result nothing = varnolTrace({"tree", none.path(), "--find"});
    EXPECT_EQ(nothing.exitStatus, 2);
    EXPECT_EQ(nothing.errors, "varnol-trace: " + none.path() + ": no trace in it\n");
}

TEST(Program, ReadsAFileThatIsLargerThanItsTrace) {
    const TraceInFile file(sample().text() + std::string(1000, '\xff'));
    const Result result = varnolTrace({"show", file.path()});
    EXPECT_EQ(result.exitStatus, 0) << result.errors;
}

TEST(Program, FollowsATraceOfAGoneProcessToItsEnd) {
    const TraceInFile file(sample().text());
    const Result result = varnolTrace({"show", file.path(), "--follow"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, contents(SOURCES "/tests/tools/golden/show.txt") +
                                 "\n8 finished blocks shown, 0 overwritten unseen\n");
}

} // namespace
} // namespace TraceTool::Test
