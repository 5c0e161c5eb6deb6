/// varnol-trace: reads the binary traces of framework/fennic; see docs/tracing.md.
///
/// Exit status: 0 all was read; 1 something failed; 2 wrong usage, or no trace of this version and
/// octet order; 3 the trace is damaged: what could be read has been shown.

#include "tools/trace/Chrome.h"
#include "tools/trace/Ctf.h"
#include "tools/trace/Find.h"
#include "tools/trace/Follow.h"
#include "tools/trace/NewFile.h"
#include "tools/trace/Options.h"
#include "tools/trace/Show.h"
#include "tools/trace/Stats.h"
#include "tools/trace/Tree.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <system_error>

#include <time.h>

namespace TraceTool {
namespace {

namespace fs = std::filesystem;

/// Waits until it is time for the next look. @return false: something has asked for the end
bool waitForNextLook(sigset_t const& ending, unsigned milliseconds) {
    const timespec time{static_cast<time_t>(milliseconds / 1000),
                        static_cast<long>(milliseconds % 1000) * 1'000'000};
    return ::sigtimedwait(&ending, nullptr, &time) < 0;
}

/// @return whether the trace is damaged
bool follow(Reader& reader, unsigned poll) {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    sigprocmask(SIG_BLOCK, &ending, nullptr);

    Follow follow(reader, std::cout, std::cerr);
    for (bool goesOn = true; goesOn && std::cout;) {
        // One that is gone before the look has written all that it will.
        goesOn = writerOf(reader.header()).lives;
        follow.look();
        goesOn = goesOn && waitForNextLook(ending, poll);
    }
    follow.finish();
    return follow.damaged();
}

void exportCtf(Trace const& trace, std::vector<std::vector<NestedBlock>> const& lanes,
               fs::path const& path) {
    const Names names(trace);
    makeFolder(path, [&](fs::path const& folder) {
        writeFile(folder / "metadata", [&](std::ostream& out) { writeCtfMetadata(out, trace); });
        for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
            if (lanes[lane].empty())
                continue;
            writeFile(folder / ("lane-" + std::to_string(lane)), [&](std::ostream& out) {
                writeCtfStream(out, trace, names, lane, lanes[lane]);
            });
        }
    });
}

void exportTrace(Trace const& trace, std::vector<std::vector<NestedBlock>> const& lanes,
                 Options const& options) {
    std::error_code none;
    if (!options.ctf.empty())
        return exportCtf(trace, lanes, options.ctf);
    if (fs::equivalent(options.file, options.chrome, none))
        throw std::runtime_error(options.chrome + ": is the trace itself");
    writeFile(options.chrome, [&](std::ostream& out) { writeChrome(out, trace, lanes); });
}

void sayDamage(std::string const& file, Damage const& damage) {
    for (std::string const& text : damage.texts())
        std::cerr << "varnol-trace: " << file << ": damaged: " << text << "\n";
    if (damage.count() > damage.texts().size())
        std::cerr << "varnol-trace: " << file << ": damaged: and "
                  << damage.count() - damage.texts().size() << " more\n";
}

/// Where in the file the trace begins.
U64 startOf(Octets const& file, Options const& options) {
    if (!options.find)
        return options.at.value_or(0);
    const std::vector<U64> found = findTraces(file);
    if (found.empty())
        throw Refused("no trace in it");
    if (found.size() > 1) {
        std::string text = std::to_string(found.size()) + " traces in it; choose one with";
        constexpr std::size_t mostNamed = 20;
        for (std::size_t i = 0; i < std::min(found.size(), mostNamed); ++i)
            text += " --at " + std::to_string(found[i]);
        if (found.size() > mostNamed)
            text += " ...";
        throw Refused(text);
    }
    return found.front();
}

/// @return whether the trace is damaged
bool read(Options const& options) {
    const FileOctets file(options.file);
    const LaterOctets octets(file, startOf(file, options));
    Reader reader(octets);
    if (options.follow)
        return follow(reader, options.poll);

    Trace trace = reader.read();
    const auto lanes = nested(trace);
    const Writer writer = writerOf(trace.header);
    switch (options.command) {
    case Options::Command::show:
        show(std::cout, trace, writer);
        break;
    case Options::Command::stats:
        (options.json ? printStatsJson : printStats)(std::cout, trace, stats(lanes, options.by),
                                                     options.by);
        break;
    case Options::Command::tree:
        printTree(std::cout, trace, lanes, writer.lives ? writer.now : trace.latest());
        break;
    case Options::Command::exportAs:
        exportTrace(trace, lanes, options);
        break;
    }
    std::cout.flush();
    sayDamage(options.file, trace.damage);
    return !trace.damage.none();
}

int run(Options const& options) {
    try {
        const bool damaged = read(options);
        std::cout.flush();
        if (!std::cout)
            throw std::runtime_error("cannot write the output");
        return damaged ? 3 : 0;
    } catch (Refused const& error) {
        std::cout.flush();
        std::cerr << "varnol-trace: " << options.file << ": " << error.what() << "\n";
        return 2;
    } catch (std::exception const& error) {
        std::cerr << "varnol-trace: " << error.what() << "\n";
        return 1;
    }
}

} // namespace
} // namespace TraceTool

int main(int argc, char** argv) { return TraceTool::run(TraceTool::parseOptions(argc, argv)); }
