#include "tests/bpdu/CaptureWriter.h"
#include "tests/bpdu/FrameSample.h"
#include "tests/bpdu/Programs.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

/// Frames read by a program that shares nothing with the library.
namespace Varnol {
namespace {

/// A file that goes away with this object.
class TemporaryFile {
  public:
    TemporaryFile() {
        const int file = ::mkstemp(path_.data());
        if (file < 0)
            throw std::system_error(errno, std::generic_category(), path_);
        ::close(file);
    }
    TemporaryFile(TemporaryFile const&) = delete;
    TemporaryFile& operator=(TemporaryFile const&) = delete;
    ~TemporaryFile() { ::unlink(path_.c_str()); }

    std::string const& path() const { return path_; }

  private:
    std::string path_ = testing::TempDir() + "varnol-frames-XXXXXX";
};

void expectText(std::string const& got, std::string const& expected, const char* field) {
    EXPECT_EQ(got, expected) << field;
}
/// Of a time in seconds tshark shows enough decimals to tell 1/256 s apart.
void expectText(std::string const& got, U16 expected, const char* field) {
    char* end = nullptr;
    const double seconds = std::strtod(got.c_str(), &end);
    EXPECT_TRUE(!got.empty() && *end == '\0') << field << " is " << got;
    EXPECT_EQ(std::lround(seconds * 256), expected) << field << " is " << got << " s";
}

TEST(Frames, AreReadByWiresharkAsTheRecordSays) {
    constexpr std::mt19937::result_type seed = 20240611;
    constexpr std::size_t count = 96;
    std::printf("seed %lu\n", static_cast<unsigned long>(seed));
    std::mt19937 engine(seed);

    std::vector<Frames::Sample> samples;
    std::vector<Kolvu::Pkt::Ptr> frames;
    const TemporaryFile capture;
    Frames::CaptureWriter writer(capture.path());
    for (std::size_t i = 0; i < count; ++i) {
        samples.push_back(Frames::Sample::random(engine));
        frames.push_back(samples.back().frame());
        ASSERT_TRUE(frames.back());
        ASSERT_EQ(Frames::hex(frames.back()), Frames::hex(samples.back().octets()));
        writer.frame(std::as_const(*frames.back()).data());
    }
    ASSERT_TRUE(writer.close()) << "cannot write " << capture.path();

    std::vector<std::string> fields;
    samples.front().forEachField([&](const char* field, auto const&) { fields.push_back(field); });
    const std::vector<Programs::Row> rows = Programs::readByTshark(capture.path(), fields);
    ASSERT_EQ(rows.size(), count);
    for (std::size_t i = 0; i < count; ++i) {
        SCOPED_TRACE("frame " + std::to_string(i) + ": " + Frames::hex(frames[i]));
        ASSERT_EQ(rows[i].size(), fields.size());
        std::size_t column = 0;
        samples[i].forEachField([&](const char* field, auto const& expected) {
            expectText(rows[i][column++], expected, field);
        });
    }
}

} // namespace
} // namespace Varnol
