// Writes frames that the library builds from records with any values, for other programs to read:
//
//   verify-random-frames FRAMES SEED CAPTURE EXPECTED
//
// and in lines what Wireshark is to read in them: first the names of its fields, then the texts of
// a frame in each line, with ";" between them. Times are in units of 1/256 s. Exit status: 0; 1
// when a file cannot be written; 2 wrong usage: FRAMES and SEED are numbers of decimal digits
// alone, below 2^64, and FRAMES is not 0.

#include "tests/bpdu/CaptureWriter.h"
#include "tests/bpdu/FrameSample.h"

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <random>
#include <string_view>

namespace {

using Frames::Sample;

/// What `text` makes of each field and its value, with ";" between them.
template <class Text> std::string line(Sample const& sample, Text const& text) {
    std::string all;
    sample.forEachField([&](const char* field, auto const& expected) {
        if (!all.empty())
            all += ';';
        if constexpr (std::is_integral_v<std::remove_cvref_t<decltype(expected)>>)
            all += text(field, std::to_string(expected));
        else
            all += text(field, expected);
    });
    return all + '\n';
}

std::optional<std::uint64_t> numberIn(std::string_view text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number)
                                                                    : std::nullopt;
}

int write(std::uint64_t frames, std::uint64_t seed, char const* capture, char const* expected) {
    std::mt19937_64 engine(seed);
    Frames::CaptureWriter captured(capture);
    std::ofstream lines(expected);
    lines << line(Sample(), [](const char* field, std::string const&) { return field; });
    for (std::uint64_t i = 0; i < frames; ++i) {
        const Sample sample = Sample::random(engine);
        captured.frame(std::as_const(*sample.frame()).data());
        lines << line(sample, [](const char*, std::string const& text) { return text; });
    }
    lines.close();
    if (!captured.close() || lines.fail()) {
        std::cerr << "verify-random-frames: cannot write " << capture << " and " << expected
                  << "\n";
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::cerr << "usage: verify-random-frames FRAMES SEED CAPTURE EXPECTED\n";
        return 2;
    }
    const auto frames = numberIn(argv[1]);
    const auto seed = numberIn(argv[2]);
    if (!frames || *frames == 0 || !seed) {
        std::cerr << "verify-random-frames: "
                  << (seed ? "not a number of frames: " : "not a seed: ")
                  << (seed ? argv[1] : argv[2]) << "\n";
        return 2;
    }
    return write(*frames, *seed, argv[3], argv[4]);
}
