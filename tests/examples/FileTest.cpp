// The files that a run of the bridge leaves, good and bad ones, and the program behind it.

#include "examples/bridge/BridgeRun.h"
#include "examples/bridge/Capture.h"
#include "examples/bridge/Process.h"
#include "examples/bridge/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <system_error>

namespace Examples::Test {
namespace {

class Capture : public testing::Test {
  protected:
    TemporaryFolder folder_;
    std::filesystem::path file_ = folder_.path() / "a.pcap";
};

TEST_F(Capture, GivesBackTheFramesWrittenToIt) {
    const std::vector<Frame> frames{Frame(53, 0xfe), Frame(1, 0x01), Frame(1514, 0xa5)};
    writeCapture(file_, frames);
    EXPECT_EQ(readCapture(file_), frames);
}

TEST_F(Capture, ReplacesAFileThatWasThere) {
    writeCapture(file_, std::vector<Frame>{Frame(100), Frame(100)});
    writeCapture(file_, std::vector<Frame>{Frame(60, 0x42)});
    EXPECT_EQ(readCapture(file_), std::vector<Frame>{Frame(60, 0x42)});
}

TEST_F(Capture, MayBeWithoutFrames) {
    writeCapture(file_, {});
    EXPECT_TRUE(readCapture(file_).empty());
}

TEST_F(Capture, CutShortIsRefused) {
    writeCapture(file_, std::vector<Frame>{Frame(60), Frame(60)});
    const auto whole = std::filesystem::file_size(file_);
    for (const auto less : {1, 60, 61, 75}) {
        std::filesystem::resize_file(file_, whole - static_cast<std::uintmax_t>(less));
        EXPECT_THROW(readCapture(file_), std::runtime_error) << less << " octets less";
    }
    std::filesystem::resize_file(file_, whole - 76);
    EXPECT_EQ(readCapture(file_).size(), 1);
}

TEST_F(Capture, OfAnotherLinkLayerIsRefused) {
    writeCapture(file_, {});
    std::fstream(file_).seekp(20).put(101); // LINKTYPE_RAW
    EXPECT_THROW(readCapture(file_), std::runtime_error);
}

TEST_F(Capture, ThatIsNoneIsRefused) {
    EXPECT_THROW(readCapture(file_), std::runtime_error);
    std::ofstream(file_) << "no capture, but longer than the header of one";
    EXPECT_THROW(readCapture(file_), std::runtime_error);
}

TEST_F(Capture, ThatCannotBeWrittenIsAnError) {
    EXPECT_THROW(writeCapture(folder_.path(), {}), std::runtime_error);
    EXPECT_THROW(writeCapture(file_ / "below", {}), std::runtime_error);
    EXPECT_THROW(writeCapture("/dev/full", std::vector<Frame>{Frame(60)}), std::runtime_error);
}

class BridgeStatusFile : public testing::Test {
  protected:
    BridgeStatus status(std::string_view text) {
        std::ofstream(file_) << text;
        return BridgeStatus(file_);
    }

    TemporaryFolder folder_;
    std::filesystem::path file_ = folder_.path() / "status";
};

TEST_F(BridgeStatusFile, KeepsItsOrderAndGivesValuesByName) {
    const BridgeStatus read = status("root_id=1005020304050607\nport_cost=20000\nport_role=\n");
    const BridgeStatus::Values inOrder{
        {"root_id", "1005020304050607"}, {"port_cost", "20000"}, {"port_role", ""}};
    EXPECT_EQ(read.values(), inOrder);
    EXPECT_EQ(read.bridgeId("root_id"), Stp::BridgeId(4096, 5, {2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(read.pathCost("port_cost"), 20000);
    EXPECT_EQ(read.text("port_role"), "");
}

TEST_F(BridgeStatusFile, WithoutAValueOrWithAnotherThanExpectedIsAnError) {
    const BridgeStatus read = status("short=10050203\nlong=100502030405060700\n"
                                     "letters=10050203040506xy\nempty=\ncost=20000.\n"
                                     "sign=-1\nlarge=4294967296\n");
    EXPECT_THROW(read.text("absent"), std::runtime_error);
    for (const char* name : {"absent", "short", "long", "letters", "empty"})
        EXPECT_THROW(read.bridgeId(name), std::runtime_error) << name;
    for (const char* name : {"absent", "cost", "sign", "large", "empty"})
        EXPECT_THROW(read.pathCost(name), std::runtime_error) << name;
}

TEST_F(BridgeStatusFile, ThatIsNoneIsRefused) {
    EXPECT_THROW(BridgeStatus{file_}, std::runtime_error);
    EXPECT_THROW(status("port_role Root\n"), std::runtime_error);
}

TEST(Process, ReturnsItsExitStatusOrItsSignal) {
    EXPECT_EQ(runProcess({"/bin/sh", "-c", "exit 7"}), 7);
    EXPECT_EQ(runProcess({"/bin/sh", "-c", "kill -TERM $$"}), 128 + 15);
}

TEST(Process, ThatCannotBeStartedIsAnError) {
    const TemporaryFolder folder;
    EXPECT_THROW(runProcess({folder.path() / "none"}), std::system_error);
    EXPECT_THROW(runProcess({folder.path()}), std::system_error);
}

TEST(TemporaryFolder, IsPrivateAndGoesWithItsContents) {
    std::filesystem::path path;
    {
        const TemporaryFolder folder;
        path = folder.path();
        EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms::owner_all);
        std::filesystem::create_directory(path / "below");
        std::ofstream(path / "below" / "file") << "contents";
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

} // namespace
} // namespace Examples::Test
