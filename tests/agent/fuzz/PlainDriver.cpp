/// parse_fuzz_plain --runs N [SEED]    gives the target N frames with changes at random
/// parse_fuzz_plain FILE...            gives it these files, as libFuzzer leaves them
///
/// Drives a fuzz target without libFuzzer, which only clang has. A file, or a frame of a seed, that
/// ends the process does so again.
///
/// Exit status: 0 nothing was found; 2 wrong usage, or a file that cannot be read. The target
/// aborts where something does not hold.

#include "tests/agent/bpdu/Frames.h"

#include <charconv>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(Zel::U8 const* octets, std::size_t size);

namespace {

/// Whether the text is a number and nothing else.
bool read(std::string_view text, unsigned& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

void give(Frames::Octets const& octets) { LLVMFuzzerTestOneInput(octets.data(), octets.size()); }

void giveRandom(unsigned runs, unsigned seed) {
    std::mt19937 engine(seed);
    for (unsigned i = 0; i < runs; ++i)
        give(Frames::changed(engine));
    std::printf("parse_fuzz_plain: %u frames of seed %u\n", runs, seed);
}

int giveFiles(std::span<char* const> files) {
    for (const char* const name : files) {
        std::ifstream file(name, std::ios::binary);
        const Frames::Octets octets{std::istreambuf_iterator<char>(file), {}};
        if (!file.is_open() || file.bad()) {
            std::fprintf(stderr, "parse_fuzz_plain: cannot read %s\n", name);
            return 2;
        }
        give(octets);
    }
    std::printf("parse_fuzz_plain: %zu files\n", files.size());
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    const std::span<char* const> all(arguments + 1, static_cast<std::size_t>(count - 1));
    const bool random = !all.empty() && std::string_view(all[0]) == "--runs";
    if (!all.empty() && !random)
        return giveFiles(all);
    unsigned runs = 0;
    unsigned seed = 1;
    if (all.size() < 2 || all.size() > 3 || !read(all[1], runs) ||
        (all.size() == 3 && !read(all[2], seed))) {
        std::fprintf(stderr, "usage: parse_fuzz_plain --runs N [SEED] | FILE...\n");
        return 2;
    }
    giveRandom(runs, seed);
    return 0;
}
