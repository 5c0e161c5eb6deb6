// Writes frames that the library builds from records with any values, for other programs to read:
//
//   verify-random-frames FRAMES SEED CAPTURE EXPECTED
//
// and in lines what Wireshark is to read in them: first the names of its fields, then the texts of
// a frame in each line, with ";" between them. Times are in units of 1/256 s. Exit status: 0; 1
// when a file cannot be written; 2 wrong usage.

#include "tests/bpdu/CaptureWriter.h"
#include "tests/bpdu/FrameSample.h"

#include <cstdlib>
#include <iostream>
#include <random>

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

int write(unsigned long frames, unsigned long seed, char const* capture, char const* expected) {
    std::mt19937_64 engine(seed);
    Frames::CaptureWriter captured(capture);
    std::ofstream lines(expected);
    lines << line(Sample(), [](const char* field, std::string const&) { return field; });
    for (unsigned long i = 0; i < frames; ++i) {
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
    return write(std::strtoul(argv[1], nullptr, 10), std::strtoul(argv[2], nullptr, 10), argv[3],
                 argv[4]);
}
