#include "agent/io/TraceMap.h"

#include "agent/io/MappedFile.h"
#include "examples/bridge/TemporaryFolder.h"
#include "tests/agent/Golden.h"
#include "tests/agent/trees/Rig.h"

#include <algorithm>
#include <csignal>
#include <system_error>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Agent::Test {
namespace {

namespace fs = std::filesystem;

class MappedFileTest : public testing::Test {
  protected:
    /// What is said when that file cannot be mapped.
    std::string refusal(fs::path const& where, std::size_t size) {
        try {
            const MappedFile file(where, size);
            return "mapped";
        } catch (std::system_error const& error) {
            return error.what();
        }
    }
    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (auto const& entry : fs::directory_iterator(folder.path()))
            names.push_back(entry.path().filename());
        std::ranges::sort(names);
        return names;
    }
    using Names = std::vector<std::string>;

    Examples::TemporaryFolder folder;
    const fs::path path = folder.path() / "map";
};

TEST_F(MappedFileTest, IsOfThatSizeAllZeroAndItsUsersAlone) {
    const mode_t mask = umask(0);
    const MappedFile file(path, 5000);
    umask(mask);
    EXPECT_EQ(file.memory().size(), 5000u);
    EXPECT_EQ(contents(path), std::string(5000, '\0'));
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_GE(status.st_blocks * 512, 5000); // no write can find the medium full
    EXPECT_EQ(names(), Names{"map"});
}

TEST_F(MappedFileTest, HoldsWhatIsWrittenIntoItsMemoryAtOnceAndAfterItsEnd) {
    {
        const MappedFile file(path, 4096);
        file.memory().front() = std::byte{'a'};
        file.memory().back() = std::byte{'z'};
        EXPECT_EQ(contents(path), "a" + std::string(4094, '\0') + "z");
    }
    EXPECT_EQ(contents(path), "a" + std::string(4094, '\0') + "z");
}

TEST_F(MappedFileTest, KeepsTheFormerFileAsOldInPlaceOfAnOlderOne) {
    for (const char c : {'1', '2', '3'})
        MappedFile(path, 4096).memory().front() = std::byte(c);
    EXPECT_EQ(contents(path)[0], '3');
    EXPECT_EQ(contents(path.string() + ".old")[0], '2');
    EXPECT_EQ(names(), (Names{"map", "map.old"}));
}

TEST_F(MappedFileTest, LeavesAMappingOfTheFormerFileWhole) {
    const MappedFile first(path, 1 << 16);
    const MappedFile second(path, 4096);
    first.memory().back() = std::byte{'z'}; // would end the process if the file were shortened
    EXPECT_EQ(contents(path.string() + ".old").back(), 'z');
    EXPECT_EQ(contents(path), std::string(4096, '\0'));
}

TEST_F(MappedFileTest, WhatIsNoFileIsLeftAlone) {
    fs::create_directory(path);
    EXPECT_EQ(refusal(path, 4096), path.string() + ": cannot be replaced: File exists");
    EXPECT_TRUE(fs::is_directory(path));
    fs::remove(path);
    fs::create_symlink(folder.path() / "elsewhere", path);
    EXPECT_EQ(refusal(path, 4096), path.string() + ": cannot be replaced: File exists");
    EXPECT_EQ(names(), Names{"map"});
}

TEST_F(MappedFileTest, SaysWhyItCannotBe) {
    EXPECT_EQ(refusal(folder.path() / "none" / "map", 4096),
              folder.path().string() + "/none/map: cannot be made: No such file or directory");
    EXPECT_EQ(names(), Names{});
    std::ofstream(path) << "a file";
    EXPECT_EQ(refusal(path / "map", 4096),
              path.string() + "/map: cannot be replaced: Not a directory");
    fs::create_directories(path.string() + ".old/full");
    EXPECT_EQ(refusal(path, 4096), path.string() + ": cannot be made: Is a directory");
    EXPECT_EQ(contents(path), "a file");
    EXPECT_EQ(names(), (Names{"map", "map.old"}));
}

TEST_F(MappedFileTest, WithoutRoomForItNothingIsChanged) {
    std::ofstream(path) << "a file";
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit small{1 << 16, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::string said = refusal(path, 1 << 20);
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(said, path.string() + ": cannot be made: File too large");
    EXPECT_EQ(contents(path), "a file");
    EXPECT_EQ(names(), Names{"map"});
}

using TraceMapTest = MappedFileTest;

/// Has the library's handlers run.
void work() {
    Rig rig;
    rig.bridge.hello(1s);
    rig.hear(rig.eth0, frameOf({}), 2s);
}

TEST_F(TraceMapTest, HoldsWhatTheHandlersDoAsLongAsItIsThere) {
    std::string before;
    {
        const TraceMap map(path, 1 << 16);
        EXPECT_EQ(contents(path).size(), 1u << 16);
        before = contents(path);
        work();
        EXPECT_NE(contents(path), before);
        before = contents(path);
    }
    EXPECT_EQ(contents(path), before); // it stays
    work();                            // with no memory to write to
    EXPECT_EQ(contents(path), before);
}

TEST_F(TraceMapTest, OutlivesAProcessThatIsKilled) {
    EXPECT_EXIT(
        {
            const TraceMap map(path, 1 << 16);
            std::ofstream(folder.path() / "empty", std::ios::binary) << contents(path);
            work();
            raise(SIGKILL);
        },
        testing::KilledBySignal(SIGKILL), "");
    EXPECT_EQ(contents(path).size(), 1u << 16);
    EXPECT_EQ(contents(folder.path() / "empty").size(), 1u << 16);
    EXPECT_NE(contents(path), contents(folder.path() / "empty"));
}

TEST_F(TraceMapTest, TakesTheLeastSizeAndRefusesAnotherThatIsNotAllowed) {
    { const TraceMap map(path, TraceMap::smallestSize); }
    for (const std::size_t size :
         {std::size_t{0}, TraceMap::smallestSize - 1, TraceMap::largestSize + 1}) {
        std::string said;
        try {
            const TraceMap map(path, size);
        } catch (std::runtime_error const& error) {
            said = error.what();
        }
        EXPECT_EQ(said, path.string() + ": a trace map of " + std::to_string(size) +
                            " octets is not allowed; allowed: 16384 to 1073741824");
    }
    EXPECT_EQ(names(), Names{"map"});
    EXPECT_EQ(contents(path).size(), TraceMap::smallestSize);
}

TEST_F(TraceMapTest, TakesASizeThatIsNoMultipleOfAnything) {
    const TraceMap map(path, 23456);
    work();
    EXPECT_EQ(contents(path).size(), 23456u);
}

} // namespace
} // namespace Agent::Test
