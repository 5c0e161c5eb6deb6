#include "framework/zel/TraceFileSink.h"

#include "framework/zel/Trace.h"
#include "tests/framework/EachAllocation.h"
#include "tests/framework/Thrown.h"
#include "tests/framework/TraceCapture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>

#include <cerrno>
#include <cstdarg>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// How many of this thread's next openings of files a signal is to interrupt.
thread_local unsigned interruptions = 0;

} // namespace

/// Takes the place of the C library's in this program.
extern "C" int open(const char* path, int flags, ...) {
    if (interruptions != 0) {
        --interruptions;
        errno = EINTR;
        return -1;
    }
    std::va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return ::openat(AT_FDCWD, path, flags, mode);
}

namespace {

using Zel::TraceFileSink;
namespace fs = std::filesystem;

constinit Zel::TraceHandle traceHandle("TraceFileSinkTest", false);
constexpr Zel::TraceLineFormat textOnly{.time = false, .place = false};

void trace(std::string_view text) {
    Zel::trace(traceHandle, 3, [&](Zel::TraceStream& out) { out << text; });
}
const std::string head = "TraceFileSinkTest/3: ";

std::string contents(fs::path const& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

/// A folder of the test's own, the handle's level on, and the former sink in the end.
class TraceFileSinkTest : public testing::Test {
  protected:
    TraceFileSinkTest() {
        std::string name = testing::TempDir() + "trace-XXXXXX";
        if (!::mkdtemp(name.data()))
            throw std::system_error(errno, std::generic_category(), name);
        folder = name;
    }
    ~TraceFileSinkTest() override { fs::remove_all(folder); }

    fs::path folder;
    const TraceCapture levels{"TraceFileSinkTest", {3}};
    const Zel::U64 lostBefore = Zel::tracesLost();
    Zel::U64 lost() const { return Zel::tracesLost() - lostBefore; }
};

TEST_F(TraceFileSinkTest, WritesALineForEachTrace) {
    TraceFileSink sink(folder / "file", textOnly);
    Zel::traceSinkIs(sink.sink());
    trace("mst1");
    EXPECT_EQ(contents(sink.path()), head + "mst1\n"); // at once
    trace("two\nlines");
    EXPECT_EQ(contents(sink.path()), head + "mst1\n" + head + "two?lines\n");
    EXPECT_EQ(lost(), 0u);
}

TEST_F(TraceFileSinkTest, WritesTimeAndPlaceUnlessToldOtherwise) {
    TraceFileSink sink(folder / "file");
    Zel::traceSinkIs(sink.sink());
    trace("mst1");
    EXPECT_TRUE(std::regex_match(
        contents(sink.path()),
        std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}Z "
                   "TraceFileSinkTest/3 TraceFileSinkTest\\.cpp:[0-9]+ trace: mst1\n")))
        << contents(sink.path());
}

TEST_F(TraceFileSinkTest, WritesATextOctetForOctet) {
    std::string text;
    for (char c = 0x20; c < 0x7f; ++c)
        text += c;
    text += "\xc3\xa4\xe2\x82\xac\xf0\x9f\x8c\xb3";
    TraceFileSink sink(folder / "file", textOnly);
    Zel::traceSinkIs(sink.sink());
    trace(text);
    EXPECT_EQ(contents(sink.path()), head + text + "\n");
}

TEST_F(TraceFileSinkTest, WritesALongTextWhole) {
    const std::string text(1'000'000, 'x');
    TraceFileSink sink(folder / "file", textOnly);
    Zel::traceSinkIs(sink.sink());
    trace(text);
    EXPECT_EQ(contents(sink.path()), head + text + "\n");
}

TEST_F(TraceFileSinkTest, AppendsToAFileThatIsThereAndLeavesIt) {
    std::ofstream(folder / "file") << "before\n";
    {
        TraceFileSink sink(folder / "file", textOnly);
        Zel::traceSinkIs(sink.sink());
        trace("mst1");
        std::ofstream(folder / "file", std::ios::app) << "another\n";
        trace("mst2");
    }
    EXPECT_EQ(contents(folder / "file"), "before\n" + head + "mst1\nanother\n" + head + "mst2\n");
}

TEST_F(TraceFileSinkTest, MakesTheFileForItsUserAndToBeReadByItsGroup) {
    const mode_t mask = ::umask(0);
    const TraceFileSink open(folder / "open");
    ::umask(0077);
    const TraceFileSink closed(folder / "closed");
    ::umask(mask);
    struct stat status {};
    ASSERT_EQ(::stat(open.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    ASSERT_EQ(::stat(closed.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

/// The number of the descriptor that has a file open; -1 for none.
int descriptorOf(fs::path const& file) {
    for (auto const& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (fs::read_symlink(entry.path(), gone) == file)
            return std::stoi(entry.path().filename());
    }
    return -1;
}

TEST_F(TraceFileSinkTest, HoldsTheFileOpenForItselfAlone) {
    const fs::path path = folder / "file";
    {
        TraceFileSink sink(path);
        for (unsigned round = 0; round < 2; ++round) {
            const int descriptor = descriptorOf(path);
            ASSERT_GE(descriptor, 0);
            EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
            EXPECT_NE(::fcntl(descriptor, F_GETFL) & O_APPEND, 0);
            sink.reopen();
        }
    }
    EXPECT_EQ(descriptorOf(path), -1);
}

TEST_F(TraceFileSinkTest, AFileThatCannotBeOpenedIsRefusedWithItsPath) {
    const auto refusal = [](std::string const& path) {
        return textThrown<std::system_error>([&] { const TraceFileSink sink(path); });
    };
    EXPECT_EQ(refusal(""), "trace file : No such file or directory");
    EXPECT_EQ(refusal(folder), "trace file " + folder.string() + ": Is a directory");
    EXPECT_EQ(refusal(folder / "none" / "file"),
              "trace file " + folder.string() + "/none/file: No such file or directory");
    EXPECT_EQ(refusal(folder.string() + std::string("/a\0b", 4)),
              "trace file " + folder.string() + "/a?b: Invalid argument");
    EXPECT_FALSE(fs::exists(folder / "a"));
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(refusal(folder / "pipe"), // which nobody reads from
              "trace file " + folder.string() + "/pipe: No such device or address");
}

TEST_F(TraceFileSinkTest, AnOpeningThatASignalInterruptsIsTriedAgain) {
    interruptions = 2;
    TraceFileSink sink(folder / "file", textOnly);
    EXPECT_EQ(interruptions, 0u);
    Zel::traceSinkIs(sink.sink());
    trace("opened");
    EXPECT_EQ(contents(folder / "file"), head + "opened\n");
}

/// Standard input closed, so that its descriptor is the next one to be had; back in the end.
class StdinClosed {
  public:
    StdinClosed()
        : saved_(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)) {
        ::close(STDIN_FILENO);
    }
    StdinClosed(StdinClosed const&) = delete;
    StdinClosed& operator=(StdinClosed const&) = delete;
    ~StdinClosed() {
        if (saved_ >= 0) {
            ::dup2(saved_, STDIN_FILENO);
            ::close(saved_);
        }
    }

  private:
    int saved_; // -1 where it was closed before
};

TEST_F(TraceFileSinkTest, MayHaveTheDescriptorOfAStandardInputThatIsClosed) {
    const StdinClosed closed;
    interruptions = 1; // what the system said then is left
    TraceFileSink sink(folder / "file", textOnly);
    EXPECT_EQ(descriptorOf(folder / "file"), 0);
    struct stat standardInput {};
    ASSERT_EQ(::fstat(0, &standardInput), 0);
    struct stat file {};
    ASSERT_EQ(::stat(sink.path().c_str(), &file), 0);
    EXPECT_EQ(standardInput.st_ino, file.st_ino);
    Zel::traceSinkIs(sink.sink());
    trace("mst1");
    EXPECT_EQ(contents(sink.path()), head + "mst1\n");
    std::size_t open = 0;
    for (auto const& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        open += fs::read_symlink(entry.path(), gone) == folder / "file" ? 1 : 0;
    }
    EXPECT_EQ(open, 1U);
}

TEST_F(TraceFileSinkTest, ReopensAfterTheFileWasMovedAway) {
    TraceFileSink sink(folder / "file", textOnly);
    Zel::traceSinkIs(sink.sink());
    trace("one");
    fs::rename(folder / "file", folder / "file.1");
    trace("two");
    sink.reopen();
    trace("three");
    EXPECT_EQ(contents(folder / "file.1"), head + "one\n" + head + "two\n");
    EXPECT_EQ(contents(folder / "file"), head + "three\n");
    sink.reopen(); // with nothing moved
    trace("four");
    EXPECT_EQ(contents(folder / "file"), head + "three\n" + head + "four\n");
    EXPECT_EQ(descriptorOf(folder / "file.1"), -1);
    EXPECT_EQ(lost(), 0u);
}

TEST_F(TraceFileSinkTest, GoesOnWithTheFormerFileWhenItCannotReopen) {
    fs::create_directory(folder / "logs");
    TraceFileSink sink(folder / "logs" / "file", textOnly);
    Zel::traceSinkIs(sink.sink());
    fs::rename(folder / "logs", folder / "moved");
    EXPECT_EQ(textThrown<std::system_error>([&] { sink.reopen(); }),
              "trace file " + folder.string() + "/logs/file: No such file or directory");
    trace("one");
    EXPECT_EQ(contents(folder / "moved" / "file"), head + "one\n");
    EXPECT_EQ(lost(), 0u);
}

TEST_F(TraceFileSinkTest, ALineThatTheMediumHasNoRoomForIsCounted) {
    if (!fs::exists("/dev/full"))
        GTEST_SKIP() << "no /dev/full, on which there is never room";
    TraceFileSink sink("/dev/full");
    Zel::traceSinkIs(sink.sink());
    trace("one");
    trace("two");
    EXPECT_EQ(lost(), 2u);
}

TEST_F(TraceFileSinkTest, ALineThatIsTakenInPartIsCountedAndEndedBeforeTheNext) {
    const fs::path path = folder / "pipe";
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    const int reader = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    const auto read = [reader] {
        std::string text;
        char octets[65536];
        for (ssize_t got; (got = ::read(reader, octets, sizeof(octets))) > 0;)
            text.append(octets, static_cast<std::size_t>(got));
        return text;
    };
    TraceFileSink sink(path, textOnly);
    Zel::traceSinkIs(sink.sink());
    const std::string tooLong(2'000'000, 'x'); // more than a pipe may hold
    trace(tooLong);
    trace("not taken"); // full, and not waited for
    EXPECT_EQ(lost(), 2u);
    const std::string part = read();
    EXPECT_TRUE((head + tooLong).starts_with(part));
    EXPECT_LT(part.size(), tooLong.size());
    EXPECT_GT(part.size(), 0u);
    trace("next");
    EXPECT_EQ(read(), "\n" + head + "next\n");
    trace(tooLong);
    read();
    sink.reopen(); // ends the line in the former file
    trace("next");
    EXPECT_EQ(read(), "\n" + head + "next\n");
    EXPECT_EQ(lost(), 3u);
    ::close(reader);
}

TEST_F(TraceFileSinkTest, BeginsAnotherFileWithALineThoughTheFormerOneEndsAmidOne) {
    const fs::path path = folder / "pipe";
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    const int reader = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    TraceFileSink sink(path, textOnly);
    Zel::traceSinkIs(sink.sink());
    trace(std::string(2'000'000, 'x')); // more than a pipe may hold
    EXPECT_EQ(lost(), 1u);
    fs::remove(path);
    sink.reopen(); // the pipe is full: its line cannot be ended
    trace("next");
    EXPECT_EQ(contents(path), head + "next\n");
    EXPECT_EQ(lost(), 1u);
    ::close(reader);
}

TEST_F(TraceFileSinkTest, IsReplacedByTheDefaultSinkWhenItEnds) {
    {
        TraceFileSink sink(folder / "file");
        Zel::traceSinkIs(sink.sink());
    }
    EXPECT_EQ(Zel::traceSinkIs({}), Zel::TraceSink{});
}

TEST_F(TraceFileSinkTest, LeavesAnotherSinkInUseWhenItEnds) {
    TraceFileSink other(folder / "other", textOnly);
    Zel::traceSinkIs(other.sink());
    { const TraceFileSink sink(folder / "file"); }
    trace("mst1");
    EXPECT_EQ(contents(other.path()), head + "mst1\n");
}

TEST_F(TraceFileSinkTest, LeavesNothingBehindWhenMemoryEnds) {
    const fs::path path = folder / "a file name that needs memory of its own";
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        attempt([&] { const TraceFileSink sink(path); });
        EXPECT_EQ(descriptorOf(path), -1);
    });
    EXPECT_GT(failures, 0u);
}

TEST_F(TraceFileSinkTest, MayBeReopenedWhileOtherThreadsTrace) {
    constexpr unsigned rounds = 300;
    TraceFileSink sink(folder / "file", textOnly);
    Zel::traceSinkIs(sink.sink());
    const auto work = [] {
        for (unsigned round = 0; round < rounds; ++round)
            trace("text");
    };
    std::thread first(work);
    std::thread second(work);
    std::vector<fs::path> files{sink.path()};
    for (unsigned round = 0; round < 50; ++round) {
        files.push_back(folder / std::to_string(round));
        fs::rename(sink.path(), files.back());
        sink.reopen();
    }
    first.join();
    second.join();
    unsigned lines = 0;
    for (fs::path const& file : files) {
        std::istringstream text(contents(file));
        for (std::string line; std::getline(text, line); ++lines)
            ASSERT_EQ(line, head + "text");
    }
    EXPECT_EQ(lines, 2 * rounds);
    EXPECT_EQ(lost(), 0u);
}

} // namespace
