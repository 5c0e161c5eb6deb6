// What is shown of a trace that goes on.

#include "tools/trace/Follow.h"
#include "tests/tools/Program.h"
#include "tests/tools/Reading.h"

#include <chrono>
#include <csignal>
#include <functional>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace TraceTool::Test {
namespace {

std::size_t countOf(std::string const& text, std::string const& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != text.npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

/// A trace whose blocks are numbered by their messages: m0:, m1: ...
class Numbered {
  public:
    explicit Numbered(Sizes const& sizes)
        : maker(sizes)
        , memory(maker.octets())
        , reader(memory)
        , follow(reader, out, errors) {
        for (int i = 0; i < 60; ++i)
            maker.message("m" + std::to_string(i) + ":");
    }
    void block() {
        maker.enter(0, ++at, {handler, ++last, 0, 0, {}, 0, {}});
        maker.leave(0, ++at);
    }
    bool shows(U32 number) const {
        return countOf(out.str(), " m" + std::to_string(number) + ":\n") == 1;
    }

    TraceMaker maker;
    MemoryOctets memory;
    Reader reader;
    std::ostringstream out;
    std::ostringstream errors;
    Follow follow;
    U64 at = 0;
    U32 last = 0;
};

constexpr Sizes smallRing{.descriptors = 4096, .chunk = 2, .places = 8};

TEST(Following, ShowsEachBlockOnce) {
    Numbered trace(smallRing);
    for (int round = 0; round < 50; ++round) {
        trace.block();
        EXPECT_TRUE(trace.follow.look());
        EXPECT_FALSE(trace.follow.look());
        EXPECT_TRUE(trace.shows(static_cast<U32>(round))) << trace.out.str();
    }
    for (U32 i = 0; i < 50; ++i)
        EXPECT_TRUE(trace.shows(i)) << i;
    trace.follow.finish();
    EXPECT_EQ(countOf(trace.out.str(), "50 finished blocks shown, 0 overwritten unseen\n"), 1U)
        << trace.out.str();
    EXPECT_EQ(trace.errors.str(), "");
}

TEST(Following, SaysHowManyBlocksWereOverwrittenUnseen) {
    Numbered trace(smallRing);
    trace.block();
    trace.follow.look();
    for (int i = 0; i < 20; ++i)
        trace.block();
    trace.follow.look();
    // The ring has the last 7 or 8, as the last chunk is half full.
    trace.follow.look();
    const std::size_t shown = countOf(trace.out.str(), "handler");
    EXPECT_GE(shown, 7U);
    EXPECT_LE(shown, 9U);
    EXPECT_EQ(countOf(trace.out.str(), "\n" + std::to_string(21 - shown) +
                                           " finished blocks were overwritten unseen\n"),
              1U)
        << trace.out.str();
    trace.follow.finish();
    EXPECT_EQ(countOf(trace.out.str(), std::to_string(shown) + " finished blocks shown, " +
                                           std::to_string(21 - shown) + " overwritten unseen\n"),
              1U)
        << trace.out.str();
}

TEST(Following, ShowsABlockOfAMessageThatIsDescribedLater) {
    Numbered trace(smallRing);
    trace.follow.look();
    const U32 later = trace.maker.message("later():7");
    trace.maker.enter(0, 1, {handler, later, 0, 0, {}, 0, {}});
    trace.maker.leave(0, 2);
    trace.follow.look();
    EXPECT_EQ(countOf(trace.out.str(), "later():7\n"), 1U);
    EXPECT_EQ(trace.errors.str(), "");
}

TEST(Following, DoesNotCountADamagedBlockAsOverwritten) {
    Numbered trace(smallRing);
    trace.block();
    trace.follow.look();
    trace.block();
    trace.maker.put<U8>(trace.maker.recordAt(2) + At::kind, 9);
    trace.follow.look();
    trace.follow.look();
    trace.follow.finish();
    EXPECT_EQ(trace.errors.str(), "varnol-trace: damaged: record 2 is of an unknown kind\n");
    EXPECT_EQ(countOf(trace.out.str(), "1 finished blocks shown, 0 overwritten unseen\n"), 1U)
        << trace.out.str();
}

TEST(Following, NamesEachDamageOnce) {
    Numbered trace(smallRing);
    trace.maker.put<U32>(At::clock, 9);
    for (int i = 0; i < 5; ++i)
        trace.follow.look();
    EXPECT_TRUE(trace.follow.damaged());
    EXPECT_EQ(trace.errors.str(), "varnol-trace: damaged: header: the clock 9 is not known\n");
}

/// Waits until the condition holds, for a minute at most.
bool await(std::function<bool()> const& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

/// varnol-trace, beside the test.
class Running {
  public:
    Running(std::vector<std::string> arguments, std::filesystem::path const& output) {
        std::string program = VARNOL_TRACE;
        std::vector<char*> pointers{program.data()};
        for (std::string& argument : arguments)
            pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0600);
        posix_spawn_file_actions_adddup2(&files, 1, 2);
        const int error =
            posix_spawn(&process_, pointers[0], &files, nullptr, pointers.data(), environ);
        posix_spawn_file_actions_destroy(&files);
        if (error != 0)
            throw std::system_error(error, std::generic_category(), VARNOL_TRACE);
    }
    Running(Running const&) = delete;
    Running& operator=(Running const&) = delete;
    ~Running() {
        if (process_ != 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
    }
    void signal(int number) const { kill(process_, number); }
    /// Waits for the end. @return exit status, or 128 + n
    int end() {
        int status = 0;
        waitpid(process_, &status, 0);
        process_ = 0;
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }

  private:
    pid_t process_ = 0;
};

void overwrite(std::string const& path, std::string const& octets) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(::pwrite(file, octets.data(), octets.size(), 0), static_cast<ssize_t>(octets.size()));
    ::close(file);
}

/// A trace of this process.
TraceMaker traceOfThisProcess() {
    TraceMaker maker(smallRing);
    timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    maker.put<U32>(At::processId, static_cast<U32>(::getpid()));
    maker.put<U64>(At::attachedAt, static_cast<U64>(now.tv_sec) * 1'000'000'000);
    return maker;
}

TEST(Following, GoesOnUntilItIsInterrupted) {
    TraceMaker maker = traceOfThisProcess();
    const U32 first = maker.message("first():1");
    const U32 second = maker.message("second():2");
    maker.enter(0, 1, {handler, first, 0, 0, {}, 0, {}});
    maker.leave(0, 2);
    const TraceInFile file(maker.text());
    const auto output = file.folder() / "output";
    Running running({"show", file.path(), "--follow", "--poll", "10"}, output);
    ASSERT_TRUE(await([&] { return countOf(contents(output), "first():1\n") == 1; }));

    maker.enter(0, 3, {handler, second, 0, 0, {}, 0, {}});
    maker.leave(0, 4);
    overwrite(file.path(), maker.text());
    ASSERT_TRUE(await([&] { return countOf(contents(output), "second():2\n") == 1; }));
    running.signal(SIGINT);
    EXPECT_EQ(running.end(), 0);
    const std::string text = contents(output);
    EXPECT_EQ(countOf(text, "first():1\n"), 1U);
    EXPECT_EQ(countOf(text, "second():2\n"), 1U);
    EXPECT_EQ(countOf(text, "2 finished blocks shown, 0 overwritten unseen\n"), 1U) << text;
    EXPECT_EQ(countOf(text, "is gone"), 0U) << text;
}

TEST(Following, EndsWhenTheProcessThatWritesIsGone) {
    TraceMaker maker = traceOfThisProcess();
    const U32 message = maker.message("first():1");
    maker.enter(0, 1, {handler, message, 0, 0, {}, 0, {}});
    const pid_t writer = ::fork();
    if (writer == 0) {
        ::pause();
        ::_exit(0);
    }
    maker.put<U32>(At::processId, static_cast<U32>(writer));
    const TraceInFile file(maker.text());
    const auto output = file.folder() / "output";
    Running running({"show", file.path(), "-f", "--poll", "10"}, output);
    EXPECT_TRUE(await([&] { return countOf(contents(output), "is alive") == 1; }));
    ::kill(writer, SIGKILL);
    ::waitpid(writer, nullptr, 0);
    EXPECT_EQ(running.end(), 0);
    EXPECT_EQ(countOf(contents(output), " is gone; it was in first():1, at depth 1\n"), 1U)
        << contents(output);
}

TEST(Following, EndsWhenTheProcessThatWritesWasKilledAndNobodyHasWaitedForItsEnd) {
    TraceMaker maker = traceOfThisProcess();
    const U32 message = maker.message("first():1");
    maker.enter(0, 1, {handler, message, 0, 0, {}, 0, {}});
    const pid_t writer = ::fork();
    if (writer == 0) {
        ::pause();
        ::_exit(0);
    }
    maker.put<U32>(At::processId, static_cast<U32>(writer));
    const TraceInFile file(maker.text());
    const auto output = file.folder() / "output";
    Running running({"show", file.path(), "-f", "--poll", "10"}, output);
    EXPECT_TRUE(await([&] { return countOf(contents(output), "is alive") == 1; }));
    ::kill(writer, SIGKILL);
    EXPECT_TRUE(await([&] { return countOf(contents(output), "overwritten unseen\n") == 1; }));
    const Result shown = varnolTrace({"show", file.path()});
    ::waitpid(writer, nullptr, 0);
    running.signal(SIGINT); // where it has not ended by itself
    EXPECT_EQ(running.end(), 0);
    const std::string lastWords = " is gone; it was in first():1, at depth 1\n";
    EXPECT_EQ(countOf(contents(output), lastWords), 1U) << contents(output);
    EXPECT_EQ(countOf(shown.output, lastWords), 1U) << shown.output;
}

TEST(Following, SeesThatAFileIsCutShort) {
    TraceMaker maker = traceOfThisProcess();
    const TraceInFile file(maker.text());
    const auto output = file.folder() / "output";
    Running running({"show", file.path(), "--follow", "--poll", "10"}, output);
    EXPECT_TRUE(await([&] { return countOf(contents(output), "is alive") == 1; }));
    std::filesystem::resize_file(file.path(), 300);
    EXPECT_TRUE(await([&] { return countOf(contents(output), "of which 300 are there") == 1; }));
    running.signal(SIGINT);
    EXPECT_EQ(running.end(), 3);
}

TEST(AWriter, LivesWhenItsProcessDoesAndItWasStartedBeforeTheTraceWasAttached) {
    Fennic::FileHeader header{};
    EXPECT_FALSE(writerOf(header).lives); // not known
    header.processId = TraceMaker::noProcess;
    EXPECT_FALSE(writerOf(header).lives);
    header.processId = 0xffffffff;
    EXPECT_FALSE(writerOf(header).lives);
    header.processId = static_cast<U32>(::getpid());
    header.attachedAt = writerOf(header).now;
    EXPECT_TRUE(writerOf(header).lives);
    header.attachedAt = 1; // before this process: it has the number of another one
    EXPECT_FALSE(writerOf(header).lives);
}

TEST(AWriter, LivesAsLongAsOneOfItsThreadsDoes) {
    const pid_t process = ::fork();
    if (process == 0) {
        std::thread([] { ::pause(); }).detach();
        ::syscall(SYS_exit, 0); // only this thread
    }
    const std::string status = "/proc/" + std::to_string(process) + "/stat";
    EXPECT_TRUE(await([&] { return countOf(contents(status), ") Z ") == 1; }));
    Fennic::FileHeader header{};
    header.processId = static_cast<U32>(process);
    header.attachedAt = writerOf(header).now;
    EXPECT_TRUE(writerOf(header).lives);
    ::kill(process, SIGKILL);
    siginfo_t end{};
    EXPECT_EQ(::waitid(P_PID, static_cast<id_t>(process), &end, WEXITED | WNOWAIT), 0);
    EXPECT_FALSE(writerOf(header).lives);
    ::waitpid(process, nullptr, 0);
}

} // namespace
} // namespace TraceTool::Test
