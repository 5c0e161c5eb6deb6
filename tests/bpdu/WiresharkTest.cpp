#include "bpdu/VarnolUtils.h"

#include "tests/bpdu/Frames.h"
#include "tests/bpdu/Programs.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
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

/// Writes frames as a capture file of the classic pcap format, in the order of this machine's
/// octets.
void writeCapture(std::string const& path, std::vector<Kolvu::Pkt::Ptr> const& frames) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    const auto put = [&file](auto... number) {
        (file.write(reinterpret_cast<const char*>(&number), sizeof(number)), ...);
    };
    constexpr U32 microsecondsMagic = 0xa1b2c3d4;
    constexpr U32 maxFrame = 65535;
    constexpr U32 ethernet = 1;
    put(microsecondsMagic, U16{2}, U16{4}, U32{0}, U32{0}, maxFrame, ethernet);
    for (Kolvu::Pkt::Ptr const& frame : frames) {
        const auto octets = std::as_const(*frame).data();
        const auto length = static_cast<U32>(octets.size());
        put(U32{0}, U32{0}, length, length);
        file.write(reinterpret_cast<const char*>(octets.data()), length);
    }
    file.close();
    ASSERT_TRUE(file) << "cannot write " << path;
}

std::string address(Kolvu::EthAddr::Octets const& octets) {
    char text[sizeof("00:00:00:00:00:00")];
    std::snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", octets[0], octets[1],
                  octets[2], octets[3], octets[4], octets[5]);
    return text;
}

std::string hexadecimal(unsigned number, int digits) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%0*x", digits, number);
    return text;
}

/// What a frame is made from, as plain numbers.
struct Sample {
    Kolvu::EthAddr::Octets source, rootAddress, bridgeAddress;
    U8 flags;
    U16 rootPriority, rootExtension, bridgePriority, bridgeExtension;
    U32 cost;
    U8 portPriority;
    U16 portNumber;
    U16 messageAge, maxAge, helloTime, fwdDelay; // in 1/256 s

    static Sample random(std::mt19937& engine) {
        const auto number = [&engine]<class T>(T& value) { value = static_cast<T>(engine()); };
        const auto octets = [&](Kolvu::EthAddr::Octets& address) {
            for (U8& octet : address)
                number(octet);
        };
        Sample sample;
        octets(sample.source);
        octets(sample.rootAddress);
        octets(sample.bridgeAddress);
        number(sample.flags);
        number(sample.rootPriority);
        number(sample.rootExtension);
        number(sample.bridgePriority);
        number(sample.bridgeExtension);
        number(sample.cost);
        number(sample.portPriority);
        number(sample.portNumber);
        number(sample.messageAge);
        number(sample.maxAge);
        number(sample.helloTime);
        number(sample.fwdDelay);
        return sample;
    }

    Kolvu::Pkt::Ptr frame() const {
        const auto toAddress = [](Kolvu::EthAddr::Octets const& o) {
            return Kolvu::EthAddr(o[0], o[1], o[2], o[3], o[4], o[5]);
        };
        const IntxInfo::Ptr info = Frames::sendableRecord();
        const IntxMstiInfo::Ptr cist = info->mstiN(0);
        cist->flagsIs(flags);
        cist->cistRootBridgeIdIs({rootPriority, rootExtension, toAddress(rootAddress)});
        cist->cistExtRootPathCostIs(cost);
        cist->bridgeIdIs({bridgePriority, bridgeExtension, toAddress(bridgeAddress)});
        cist->portIdIs({portPriority, portNumber});
        cist->messageAgeIs(Stp::TimerVal::units(messageAge));
        cist->maxAgeIs(Stp::TimerVal::units(maxAge));
        cist->helloTimeIs(Stp::TimerVal::units(helloTime));
        cist->fwdDelayIs(Stp::TimerVal::units(fwdDelay));
        return generatePktFromIntxInfo(Frames::portWith(toAddress(source)), info, false);
    }

    /// Calls check(field, expected text) or check(field, expected 1/256 s) with all that tshark is
    /// to read.
    template <class F> void forEachField(F const& check) const {
        const auto text = [](unsigned number) { return std::to_string(number); };
        const auto bit = [&](unsigned mask) { return text((flags & mask) != 0); };
        check("frame.len", "53");
        check("eth.dst", "01:80:c2:00:00:00");
        check("eth.src", address(source));
        check("eth.len", "39");
        check("llc.dsap", "0x42");
        check("llc.ssap", "0x42");
        check("llc.control", "0x0003");
        check("stp.protocol", "0x0000");
        check("stp.version", "2");
        check("stp.type", "0x02");
        check("stp.flags", hexadecimal(flags, 2));
        check("stp.flags.tc", bit(0x01));
        check("stp.flags.proposal", bit(0x02));
        check("stp.flags.port_role", text(flags >> 2 & 3));
        check("stp.flags.learning", bit(0x10));
        check("stp.flags.forwarding", bit(0x20));
        check("stp.flags.agreement", bit(0x40));
        check("stp.flags.tcack", bit(0x80));
        check("stp.root.prio", text(rootPriority & 0xf000U));
        check("stp.root.ext", text(rootExtension & 0x0fffU));
        check("stp.root.hw", address(rootAddress));
        check("stp.root.cost", text(cost));
        check("stp.bridge.prio", text(bridgePriority & 0xf000U));
        check("stp.bridge.ext", text(bridgeExtension & 0x0fffU));
        check("stp.bridge.hw", address(bridgeAddress));
        check("stp.port", hexadecimal((portPriority & 0xf0U) << 8 | (portNumber & 0x0fffU), 4));
        check("stp.msg_age", messageAge);
        check("stp.max_age", maxAge);
        check("stp.hello", helloTime);
        check("stp.forward", fwdDelay);
        check("stp.version_1_length", "0");
        check("_ws.malformed", "");
        check("eth.trailer", "");
        check("eth.padding", "");
    }
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

    std::vector<Sample> samples;
    std::vector<Kolvu::Pkt::Ptr> frames;
    for (std::size_t i = 0; i < count; ++i) {
        samples.push_back(Sample::random(engine));
        frames.push_back(samples.back().frame());
        ASSERT_TRUE(frames.back());
    }
    const TemporaryFile capture;
    ASSERT_NO_FATAL_FAILURE(writeCapture(capture.path(), frames));

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
