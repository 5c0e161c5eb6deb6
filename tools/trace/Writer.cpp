#include "tools/trace/Writer.h"

#include <cerrno>
#include <csignal>
#include <fstream>
#include <limits>
#include <optional>
#include <sstream>

#include <time.h>
#include <unistd.h>

namespace TraceTool {
namespace {

U64 nanoseconds(clockid_t clock) {
    timespec time;
    ::clock_gettime(clock, &time);
    return static_cast<U64>(time.tv_sec) * 1'000'000'000 + static_cast<U64>(time.tv_nsec);
}

/// What the system says of a process; see proc(5).
struct Status {
    /// It has ended, and its parent has not asked for its exit status yet.
    bool hasEnded = false;
    /// When it was started, in nanoseconds since the system was (CLOCK_BOOTTIME).
    std::optional<U64> start;
};

Status statusOf(U32 process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string line;
    std::getline(file, line);
    const auto name = line.rfind(')'); // the name itself may have any characters
    if (name == line.npos)
        return {};
    std::istringstream fields(line.substr(name + 1));
    std::string state;
    fields >> state;
    std::string skipped;
    for (int field = 4; field < 20; ++field)
        fields >> skipped;
    U64 threads = 0;
    U64 ticks = 0;
    fields >> threads >> skipped >> ticks;
    if (!fields)
        return {};
    Status status;
    // The first thread of a process may end before the others do.
    status.hasEnded = (state == "Z" || state == "X" || state == "x") && threads <= 1;
    const long perSecond = ::sysconf(_SC_CLK_TCK);
    if (perSecond > 0 && ticks <= (U64{1} << 40))
        status.start = ticks * (1'000'000'000 / static_cast<U64>(perSecond));
    return status;
}

} // namespace

Writer writerOf(Fennic::FileHeader const& header) {
    Writer writer{.lives = false, .now = nanoseconds(CLOCK_MONOTONIC)};
    const U32 process = header.processId;
    if (process == 0 || process > U32{std::numeric_limits<pid_t>::max()})
        return writer;
    writer.lives = ::kill(static_cast<pid_t>(process), 0) == 0 || errno == EPERM;
    if (writer.lives) {
        // Numbers of processes are given out again. The one that wrote had been started before.
        const U64 suspended = nanoseconds(CLOCK_BOOTTIME) - writer.now;
        const Status status = statusOf(process);
        if (status.hasEnded || (status.start && *status.start > suspended &&
                                *status.start - suspended > header.attachedAt + 1'000'000'000))
            writer.lives = false;
    }
    return writer;
}

} // namespace TraceTool
