#include "agent/io/CaptureFile.h"
#include "agent/io/Replay.h"

#include "examples/bridge/TemporaryFolder.h"
#include "tests/agent/trees/Rig.h"

#include <fstream>

namespace Agent::Test {
namespace {

class CaptureFile : public testing::Test {
  protected:
    std::filesystem::path write(std::string const& octets) {
        std::ofstream(path_, std::ios::binary) << octets;
        return path_;
    }
    std::string contents() const {
        std::ostringstream text;
        text << std::ifstream(path_, std::ios::binary).rdbuf();
        return text.str();
    }

    Examples::TemporaryFolder folder_;
    std::filesystem::path path_ = folder_.path() / "capture.pcap";
};

TEST_F(CaptureFile, IsReadAsItWasWritten) {
    const std::vector<Zel::U8> one(60, 1);
    const std::vector<Zel::U8> two(1500, 2);
    {
        CaptureWriter writer(path_, 1'700'000'000s);
        writer.write(0s, one);
        EXPECT_EQ(contents().size(), 24 + 16 + 60) << "in the file at once";
        writer.write(2s + 7us, two);
    }
    CaptureReader reader(path_);
    auto frame = reader.next();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->octets, one);
    EXPECT_EQ(frame->at, Time(1'700'000'000s));
    frame = reader.next();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->octets, two);
    EXPECT_EQ(frame->at, 1'700'000'002s + 7us);
    EXPECT_FALSE(reader.next());
}

TEST_F(CaptureFile, IsRefusedWithAReasonWhenItIsNone) {
    for (std::string const& octets : {std::string(), std::string("no capture at all, but long"),
                                      std::string("\xd4\xc3\xb2\xa1\x02", 5)}) {
        write(octets);
        try {
            CaptureReader reader(path_);
            ADD_FAILURE() << "read";
        } catch (std::runtime_error const& error) {
            EXPECT_TRUE(std::string(error.what()).starts_with(path_.string())) << error.what();
        }
    }
    EXPECT_THROW(CaptureReader(folder_.path() / "none"), std::runtime_error);
    EXPECT_THROW(CaptureReader(folder_.path()), std::runtime_error);
}

TEST_F(CaptureFile, IsReadUpToTheFrameWithinWhichItEnds) {
    {
        CaptureWriter writer(path_, 0s);
        writer.write(0s, std::vector<Zel::U8>(60));
        writer.write(1s, std::vector<Zel::U8>(60));
    }
    const std::string whole = contents();
    for (const std::size_t left : {1U, 59U, 60U, 75U}) {
        write(whole.substr(0, whole.size() - left));
        CaptureReader reader(path_);
        EXPECT_TRUE(reader.next());
        EXPECT_THROW(reader.next(), std::runtime_error) << left;
    }
}

TEST_F(CaptureFile, OfAnotherLinkTypeIsRefused) {
    { const CaptureWriter writer(path_, 0s); }
    std::string other = contents();
    other[20] = 101; // LINKTYPE_RAW
    write(other);
    EXPECT_THROW(CaptureReader{path_}, std::runtime_error);
}

TEST_F(CaptureFile, WithATimeOutOfAllReasonIsRefusedThere) {
    // pcapng, little-endian: a section, an Ethernet interface, and a frame at 2^64 - 1 us.
    const auto words = [](std::initializer_list<Zel::U32> all) {
        std::string octets;
        for (const Zel::U32 word : all)
            for (unsigned shift = 0; shift < 32; shift += 8)
                octets += static_cast<char>(word >> shift);
        return octets;
    };
    const std::string before =
        words({0x0a0d0d0a, 28, 0x1a2b3c4d, 1, 0xffffffff, 0xffffffff, 28, 1, 20, 1, 65535, 20});
    write(before + words({6, 36, 0, 0, 0x100, 4, 4, 0, 36}));
    CaptureReader good(path_);
    EXPECT_TRUE(good.next());
    write(before + words({6, 36, 0, 0xffffffff, 0xffffffff, 4, 4, 0, 36}));
    CaptureReader bad(path_);
    EXPECT_THROW(bad.next(), std::runtime_error);
}

TEST_F(CaptureFile, ThatCannotBeWrittenIsAnError) {
    EXPECT_THROW(CaptureWriter("/nowhere/capture", 0s), std::runtime_error);
    EXPECT_THROW(CaptureWriter("/dev/full", 0s), std::runtime_error);
}

class Replay : public CaptureFile {
  protected:
    /// Replays frames that were heard at these times; returns the last time.
    Time replayed(std::vector<std::pair<Time, Frames::Octets>> const& frames) {
        {
            CaptureWriter writer(path_, 0s);
            for (auto const& [at, octets] : frames)
                writer.write(at, octets);
        }
        CaptureReader reader(path_);
        const auto first = reader.next();
        return replay(*first, reader, rig.bridge, rig.eth0.id, nullptr);
    }
    std::vector<Time> helloTimes() const {
        std::vector<Time> times;
        for (auto const& sent : rig.sent)
            if (sent.port == "eth0")
                times.push_back(sent.at);
        return times;
    }

    Rig rig;
};

TEST_F(Replay, CountsTimeFromTheFirstFrameAndSendsHellosInBetween) {
    EXPECT_EQ(replayed({{100s, frameOf({})}, {101s, frameOf({})}, {105s, frameOf({})}}), Time(5s));
    EXPECT_EQ(helloTimes(), (std::vector<Time>{0s, 2s, 4s}));
    EXPECT_EQ(rig.eth0.counts.received, 3);
    EXPECT_EQ(rig.eth0.heard->at, Time(5s));
}

TEST_F(Replay, LetsRecordsAgeOutInBetweenAndAtTheEnd) {
    replayed({{0s, frameOf({})}, {10s, frameOf({})}});
    EXPECT_EQ(rig.eth0.counts.agedOut, 1);
    EXPECT_TRUE(rig.eth0.heard);
    replayed({{0s, frameOf({.hello = 0})}});
    EXPECT_EQ(rig.eth0.counts.agedOut, 2);
    EXPECT_FALSE(rig.eth0.heard);
}

TEST_F(Replay, TimeDoesNotGoBack) {
    EXPECT_EQ(replayed({{100s, frameOf({})}, {103s, frameOf({})}, {50s, frameOf({})}}), Time(3s));
    EXPECT_EQ(rig.eth0.counts.received, 3);
}

TEST_F(Replay, SendsNoHellosThroughALongSilence) {
    EXPECT_EQ(replayed({{0s, frameOf({})}, {2'000'000'000s, frameOf({})}}), Time(2'000'000'000s));
    EXPECT_EQ(helloTimes(), (std::vector<Time>{0s, 2'000'000'000s}));
    EXPECT_EQ(rig.eth0.counts.agedOut, 1);
}

} // namespace
} // namespace Agent::Test
