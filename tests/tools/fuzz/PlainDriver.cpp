/// trace_fuzz_plain --runs N [SEED]    gives the target N traces with changes at random
/// trace_fuzz_plain --sample FILE      writes a trace for libFuzzer to begin with
/// trace_fuzz_plain FILE...            gives it these files, as libFuzzer leaves them
///
/// Drives the fuzz target without libFuzzer, which only clang has. A file, or a trace of a seed,
/// that ends the process does so again.
///
/// Exit status: 0 nothing was found; 2 wrong usage, or a file that cannot be read or written. The
/// target aborts where something does not hold.

#include "tests/tools/TraceMaker.h"

#include <charconv>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(Zel::U8 const* octets, std::size_t size);

namespace {

using TraceTool::Test::U8;

/// Whether the text is a number and nothing else.
bool read(std::string_view text, unsigned& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

void give(std::string const& octets) {
    LLVMFuzzerTestOneInput(reinterpret_cast<U8 const*>(octets.data()), octets.size());
}

/// The sample with octets, or words of eight, changed; at times cut off.
std::string changed(std::mt19937& engine) {
    std::string octets = TraceTool::Test::sample().text();
    const auto random = [&](std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(engine);
    };
    for (std::size_t changes = 1 + random(12); changes > 0; --changes) {
        // The header, and the ring at the end, decide the most.
        const std::size_t places[] = {random(128), random(octets.size()),
                                      octets.size() - 1 - random(1536)};
        const std::size_t at = places[random(3)];
        if (random(4) != 0) {
            octets[at] = static_cast<char>(random(256));
        } else {
            const char filling = static_cast<char>(random(2) == 0 ? 0xff : 0);
            for (std::size_t i = at & ~std::size_t{7}; i < octets.size() && i <= (at | 7); ++i)
                octets[i] = filling;
        }
    }
    if (random(8) == 0)
        octets.resize(random(octets.size()));
    return octets;
}

int giveFiles(std::span<char* const> files) {
    for (const char* const name : files) {
        std::ifstream file(name, std::ios::binary);
        const std::string octets{std::istreambuf_iterator<char>(file), {}};
        if (!file.is_open() || file.bad()) {
            std::fprintf(stderr, "trace_fuzz_plain: cannot read %s\n", name);
            return 2;
        }
        give(octets);
    }
    std::printf("trace_fuzz_plain: %zu files\n", files.size());
    return 0;
}

int writeSample(const char* name) {
    std::ofstream file(name, std::ios::binary);
    file << TraceTool::Test::sample().text();
    file.close();
    if (!file) {
        std::fprintf(stderr, "trace_fuzz_plain: cannot write %s\n", name);
        return 2;
    }
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    const std::span<char* const> all(arguments + 1, static_cast<std::size_t>(count - 1));
    if (all.size() == 2 && std::string_view(all[0]) == "--sample")
        return writeSample(all[1]);
    if (!all.empty() && all[0][0] != '-')
        return giveFiles(all);
    unsigned runs = 0;
    unsigned seed = 1;
    if (all.size() < 2 || all.size() > 3 || std::string_view(all[0]) != "--runs" ||
        !read(all[1], runs) || (all.size() == 3 && !read(all[2], seed))) {
        std::fprintf(stderr, "usage: trace_fuzz_plain --runs N [SEED] | --sample FILE | FILE...\n");
        return 2;
    }
    std::mt19937 engine(seed);
    for (unsigned i = 0; i < runs; ++i)
        give(changed(engine));
    std::printf("trace_fuzz_plain: %u traces of seed %u\n", runs, seed);
    return 0;
}
