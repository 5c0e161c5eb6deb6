// What other programs are given, read back by them.

#include "tests/bpdu/Programs.h"
#include "tests/tools/ChromeNesting.h"
#include "tests/tools/Program.h"
#include "tests/tools/Reading.h"
#include "tools/trace/NewFile.h"

#include <algorithm>
#include <map>
#include <random>
#include <stdexcept>

#include <nlohmann/json.hpp>

namespace TraceTool::Test {
namespace {

using nlohmann::json;

/// Blocks within blocks at random, of two threads; some are left open.
TraceMaker randomTrace(unsigned seed) {
    TraceMaker maker({.lanes = 2, .frames = 12, .descriptors = 512, .chunk = 8, .places = 512});
    const U32 message = maker.message("f():1");
    const U32 type = maker.type("T", "258\ta\tV\tZel::Name\n");
    std::mt19937 engine(seed);
    U64 at = 1;
    unsigned depth[2] = {};
    unsigned left = 0;
    while (left < 300) {
        const unsigned lane = engine() % 2;
        at += engine() % 3;
        if (depth[lane] < 12 && (depth[lane] == 0 || engine() % 2 == 0)) {
            maker.enter(lane, at, {handler, message, 0x10, type, {}, 258, text("k")});
            ++depth[lane];
        } else {
            maker.leave(lane, at);
            --depth[lane];
            ++left;
        }
    }
    return maker;
}

std::size_t openIn(Trace const& trace) {
    std::size_t count = 0;
    for (Lane const& lane : trace.lanes)
        count += lane.open.size();
    return count;
}

TEST(Chrome, HasOneEventForEachBlockWithinThatOfItsParent) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        TraceMaker maker = randomTrace(seed);
        const Trace trace = read(maker);
        ASSERT_TRUE(trace.damage.none()) << trace.damage.texts().front();
        const json all = json::parse(chromeText(trace));
        const auto count = [&](const char* phase) {
            return static_cast<std::size_t>(std::ranges::count(
                all.at("traceEvents"), phase, [](json const& event) { return event.at("ph"); }));
        };
        EXPECT_EQ(count("X"), trace.blocks.size());
        EXPECT_EQ(count("X"), 300U);
        EXPECT_EQ(count("B"), openIn(trace));
        EXPECT_EQ(count("E"), 0U);
        expectNested(all.at("traceEvents"), trace);
    }
}

TEST(Chrome, SaysWhatEachBlockIsAbout) {
    TraceMaker maker = sample();
    const json all = json::parse(chromeText(read(maker)));
    const json events = all.at("traceEvents");
    EXPECT_EQ(all.at("otherData").at("start"), "2026-11-21 03:00:00.000001000 UTC");
    EXPECT_EQ(events.at(0).at("ph"), "M");
    EXPECT_EQ(events.at(0).at("args").at("name"), "lane 0");
    const json first{{"ph", "X"},
                     {"name", "Varnol::TxStatusToTxSyncer::ZelSource"},
                     {"cat", "reaction"},
                     {"pid", TraceMaker::noProcess},
                     {"tid", 4711},
                     {"ts", 0.0},
                     {"dur", 12.0},
                     {"args",
                      {{"lane", 0},
                       {"class", "Varnol::TxStatus"},
                       {"entity", "0x1000"},
                       {"attribute", "txMstStatus"},
                       {"key", "mst1"}}}};
    EXPECT_EQ(events.at(1), first);
    const json open{{"ph", "B"},
                    {"name", "Varnol::TxStatusToTxSyncer::ZelTxMstPortStatusSm"},
                    {"cat", "reaction"},
                    {"pid", TraceMaker::noProcess},
                    {"tid", 4711},
                    {"ts", 19.0},
                    {"args",
                     {{"lane", 0},
                      {"class", "Varnol::TxMstPortStatus"},
                      {"entityKey", "Et1"},
                      {"entity", "0x3000"},
                      {"attribute", "txUpdate"},
                      {"key", "100"}}}};
    EXPECT_EQ(events.at(6), open);
}

TEST(Chrome, GivesTwoLanesOfOneThreadRowsOfTheirOwn) {
    for (const U64 thread : {U64{0}, U64{4711}}) {
        TraceMaker maker = sample();
        maker.put<U64>(maker.laneAt(0) + At::threadId, thread);
        maker.put<U64>(maker.laneAt(1) + At::threadId, thread);
        std::map<int, std::set<U64>> threads;
        const json all = json::parse(chromeText(read(maker)));
        for (json const& event : all.at("traceEvents"))
            if (event.at("ph") != "M")
                threads[event.at("args").at("lane")].insert(event.at("tid").get<U64>());
        ASSERT_EQ(threads.size(), 2U);
        EXPECT_EQ(threads[0].size(), 1U);
        EXPECT_EQ(threads[1].size(), 1U);
        EXPECT_NE(threads[0], threads[1]);
    }
}

/// What babeltrace2 says of a folder: a line for each event.
std::vector<std::string> readByBabeltrace(std::filesystem::path const& folder) {
    const auto output = Programs::outputOf("babeltrace2 --clock-gmt --clock-date --fields=all '" +
                                           folder.string() + "'");
    EXPECT_EQ(output.status, 0) << "babeltrace2 is missing or failed";
    std::vector<std::string> lines;
    std::istringstream text(output.text);
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

std::size_t countOf(std::vector<std::string> const& lines, std::string const& part) {
    return static_cast<std::size_t>(std::ranges::count_if(
        lines, [&](std::string const& line) { return line.find(part) != line.npos; }));
}

TEST(Ctf, IsReadByBabeltraceWithOneEventForEachBlock) {
    for (unsigned seed = 1; seed <= 3; ++seed) {
        TraceMaker maker = randomTrace(seed);
        const TraceInFile file(maker.text());
        const auto folder = file.folder() / "ctf";
        const Result result = varnolTrace({"export", file.path(), "--ctf", folder});
        ASSERT_EQ(result.exitStatus, 0) << result.errors;
        const auto lines = readByBabeltrace(folder);
        EXPECT_EQ(lines.size(), 300 + openIn(read(maker)));
        EXPECT_EQ(countOf(lines, " block: "), 300U);
        EXPECT_EQ(countOf(lines, " open: "), openIn(read(maker)));
    }
}

TEST(Ctf, SaysWhatEachBlockIsAboutAndWhen) {
    const TraceInFile file(sample().text());
    const auto folder = file.folder() / "ctf";
    ASSERT_EQ(varnolTrace({"export", file.path(), "--ctf", folder}).exitStatus, 0);
    const auto lines = readByBabeltrace(folder);
    ASSERT_EQ(lines.size(), sampleFinished + sampleOpen);
    // The times of the events do not fall: babeltrace2 refuses a stream in which they do.
    EXPECT_EQ(lines.front().substr(0, 31), "[2026-11-21 03:00:00.000005000]");
    EXPECT_EQ(lines.back().substr(0, 31), "[2026-11-21 03:00:00.000026000]");
    for (const char* part :
         {"lane = 0, thread = 4711", "begin = 5000003000, end = 5000007250, duration = 4250",
          "kind = ( \"write\" : container = 2 )", "depth = 2",
          "actor = \"Varnol::TxStatusToTxSyncer\"", "entity = 0x2000",
          "class = \"Varnol::TxStatus\"", "entity_key = \"\"", "attribute = \"txMstStatus\"",
          "key = \"mst1\""})
        EXPECT_EQ(countOf({lines.at(2)}, part), 1U) << part << "\n" << lines.at(2);
    EXPECT_EQ(countOf(lines, "entity_key = \"Et1\""), 4U);
}

TEST(Ctf, OfManyBlocksIsReadOverItsPackets) {
    TraceMaker maker({.lanes = 1, .descriptors = 2048, .chunk = 8, .places = 4096});
    const U32 message = maker.message(std::string(900, 'f'));
    for (U64 i = 0; i < 4000; ++i) {
        maker.enter(0, 10 * i, {handler, message, 0, 0, {}, 0, {}});
        maker.leave(0, 10 * i + 5);
    }
    const TraceInFile file(maker.text());
    const auto folder = file.folder() / "ctf";
    ASSERT_EQ(varnolTrace({"export", file.path(), "--ctf", folder}).exitStatus, 0);
    EXPECT_GT(std::filesystem::file_size(folder / "lane-0"), std::uintmax_t{3} << 20);
    EXPECT_EQ(readByBabeltrace(folder).size(), 4000U);
}

TEST(Ctf, OfATraceWithoutBlocksHasNoStream) {
    const TraceInFile file(TraceMaker().text());
    const auto folder = file.folder() / "ctf";
    ASSERT_EQ(varnolTrace({"export", file.path(), "--ctf", folder}).exitStatus, 0);
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename());
    EXPECT_EQ(names, std::vector<std::string>{"metadata"});
}

std::vector<std::string> filesIn(std::filesystem::path const& folder) {
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
}

TEST(NewFile, AppearsWhenItIsCompleteOrNotAtAll) {
    const Examples::TemporaryFolder folder;
    const auto path = folder.path() / "file";
    writeFile(path, [&](std::ostream& out) {
        out << "first";
        EXPECT_FALSE(std::filesystem::exists(path));
    });
    EXPECT_EQ(contents(path), "first");
    EXPECT_THROW(writeFile(path,
                           [](std::ostream& out) {
                               out << "half";
                               throw std::runtime_error("failed");
                           }),
                 std::runtime_error);
    EXPECT_EQ(contents(path), "first");
    writeFile(path, [](std::ostream& out) { out << "second"; });
    EXPECT_EQ(contents(path), "second");
    EXPECT_EQ(filesIn(folder.path()), std::vector<std::string>{"file"});
    EXPECT_THROW(writeFile("/nowhere/file", [](std::ostream&) {}), std::system_error);
}

TEST(NewFile, ReplacesWhatALinkLeadsToAndNothingThatIsNoRegularFile) {
    const Examples::TemporaryFolder folder;
    const auto path = folder.path() / "file";
    const auto link = folder.path() / "link";
    write(path, "old");
    std::filesystem::create_symlink("file", link);
    writeFile(link, [](std::ostream& out) { out << "new"; });
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(contents(path), "new");
    EXPECT_THROW(writeFile(folder.path(), [](std::ostream&) {}), std::system_error);
    EXPECT_THROW(writeFile("/dev/null", [](std::ostream&) {}), std::system_error);
}

TEST(NewFile, IsNotThereWhenItCouldNotBeWritten) {
    const Examples::TemporaryFolder folder;
    const auto path = folder.path() / "file";
    EXPECT_THROW(writeFile(path, [](std::ostream& out) { out.setstate(std::ios::badbit); }),
                 std::system_error);
    EXPECT_EQ(filesIn(folder.path()), std::vector<std::string>{});
}

TEST(NewFolder, AppearsWhenItIsCompleteOrNotAtAll) {
    const Examples::TemporaryFolder folder;
    const auto path = folder.path() / "new" / "";
    EXPECT_THROW(makeFolder(path,
                            [](std::filesystem::path const& made) {
                                write(made / "half", "half");
                                throw std::runtime_error("failed");
                            }),
                 std::runtime_error);
    EXPECT_EQ(filesIn(folder.path()), std::vector<std::string>{});
    makeFolder(path, [&](std::filesystem::path const& made) {
        write(made / "file", "whole");
        EXPECT_FALSE(std::filesystem::exists(path));
    });
    EXPECT_EQ(contents(path / "file"), "whole");
    EXPECT_THROW(makeFolder(path, [](std::filesystem::path const&) {}), std::system_error);
    EXPECT_EQ(contents(path / "file"), "whole");
    EXPECT_EQ(filesIn(folder.path()), std::vector<std::string>{"new"});
}

} // namespace
} // namespace TraceTool::Test
