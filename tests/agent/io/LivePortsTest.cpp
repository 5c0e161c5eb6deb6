#include "agent/io/LivePorts.h"

#include "examples/bridge/TemporaryFolder.h"
#include "tests/agent/trees/Rig.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <deque>

namespace Agent::Test {
namespace {

/// An interface that exists in the test only.
struct FakeInterface {
    std::optional<Link> link = Link{7, true, portAddress};
    std::deque<Frames::Octets> inbox;
    std::vector<Frames::Octets> sent;
    std::deque<int> receiveErrors; ///< what the next calls end with
    std::deque<int> sendErrors;
    int receiveErrorForEver = 0;
    int sendErrorForEver = 0;
    bool openFails = false;
    unsigned opened = 0;
    unsigned closed = 0;
    unsigned receiveCalls = 0;
    Zel::U64 missed = 0;
};

int next(std::deque<int>& errors, int forEver) {
    if (errors.empty())
        return forEver;
    const int error = errors.front();
    errors.pop_front();
    return error;
}

class FakeSocket final : public PacketSocket {
  public:
    explicit FakeSocket(FakeInterface& interface)
        : interface_(interface)
        , ready_(eventfd(1, EFD_CLOEXEC)) {
        ++interface_.opened;
    }
    ~FakeSocket() override { ++interface_.closed; }

    int descriptor() const override { return ready_.number(); }
    int receive(std::span<Zel::U8 const>& frame) override {
        ++interface_.receiveCalls;
        if (const int error = next(interface_.receiveErrors, interface_.receiveErrorForEver))
            return error;
        if (interface_.inbox.empty())
            return EAGAIN;
        frame_ = std::move(interface_.inbox.front());
        interface_.inbox.pop_front();
        frame = frame_;
        return 0;
    }
    int send(std::span<Zel::U8 const> frame) override {
        const int error = next(interface_.sendErrors, interface_.sendErrorForEver);
        if (error == 0)
            interface_.sent.emplace_back(frame.begin(), frame.end());
        return error;
    }
    Zel::U64 missed() override { return interface_.missed; }

  private:
    FakeInterface& interface_;
    Descriptor ready_; // always: there is something, or EAGAIN
    Frames::Octets frame_;
};

class LivePortsTest : public testing::Test {
  protected:
    LivePortsTest() {
        ports.portIs(bridge, "eth0");
        ports.portIs(bridge, "eth1");
        interfaces["eth1"].link->address = otherPortAddress;
    }
    void turns(int count = 1) {
        for (int i = 0; i < count; ++i)
            loop.turn(loop.now());
    }
    Port const& port(const char* name) const { return *bridge.port(name); }

    Time clock{};
    EventLoop loop{[this] { return clock; }};
    std::map<std::string, FakeInterface> interfaces;
    FakeInterface& eth0 = interfaces["eth0"];
    FakeInterface& eth1 = interfaces["eth1"];
    LivePorts ports{loop,
                    [this](std::string const& name) -> std::unique_ptr<PacketSocket> {
                        if (interfaces.at(name).openFails)
                            throw std::runtime_error(name + ": not permitted");
                        return std::make_unique<FakeSocket>(interfaces.at(name));
                    },
                    [this](std::string const& name) { return interfaces.at(name).link; }};
    Bridge bridge{testSettings(),
                  [this](Time now, Port const& port, std::span<Zel::U8 const> frame) {
                      return ports.send(now, port, frame);
                  },
                  [](Time, Port const*, std::string const&) {}};
};

TEST_F(LivePortsTest, SendABpduOnEachInterfaceWhenTheyStart) {
    ports.start(bridge);
    turns();
    EXPECT_EQ(eth0.sent.size(), 1);
    EXPECT_EQ(eth1.sent.size(), 1);
    turns(3);
    EXPECT_EQ(eth0.sent.size(), 1) << "the next hello is not due";
}

TEST_F(LivePortsTest, SendABpduEachHelloTimeAlsoWhenThatIsChanged) {
    ports.start(bridge);
    const auto sentUntil = [&](Time end) {
        for (; clock < end; clock += 500ms)
            turns();
        turns();
        return eth0.sent.size();
    };
    EXPECT_EQ(sentUntil(9s), 5); // at 0, 2, 4, 6 and 8 s
    Settings settings = bridge.settings();
    settings.hello = 1;
    bridge.settingsIs(settings, clock);
    EXPECT_EQ(sentUntil(15s), 11); // and from 10 s on each second
}

TEST_F(LivePortsTest, LookAtTheLinksByThemselves) {
    ports.start(bridge);
    turns();
    eth0.link->up = false;
    turns();
    EXPECT_TRUE(port("eth0").up);
    clock += LivePorts::followPeriod;
    turns();
    EXPECT_FALSE(port("eth0").up);
    eth0.link->up = true;
    clock += LivePorts::followPeriod;
    turns();
    EXPECT_TRUE(port("eth0").up);
}

TEST_F(LivePortsTest, LetRecordsAgeOut) {
    ports.start(bridge);
    eth0.inbox = {frameOf({.hello = 2})};
    turns();
    clock += 6s - 1us;
    turns();
    EXPECT_EQ(port("eth0").counts.agedOut, 0);
    clock += 1us;
    turns();
    EXPECT_EQ(port("eth0").counts.agedOut, 1);
}

TEST_F(LivePortsTest, HandTheBridgeWhatArrives) {
    ports.start(bridge);
    eth0.inbox = {frameOf({}), frameOf({.cost = 5}), Frames::Octets(3)};
    turns();
    EXPECT_EQ(port("eth0").counts.received, 2);
    EXPECT_EQ(port("eth0").counts.bad(), 1);
    EXPECT_EQ(port("eth1").counts.received, 0);
    EXPECT_EQ(bridge.heardRecord(port("eth0"))->mstiN(0)->cistExtRootPathCost(), 5);
}

TEST_F(LivePortsTest, DropWhatIsTooOldAtOnce) {
    ports.start(bridge);
    eth0.inbox = {frameOf({.hello = 0})};
    turns(2);
    EXPECT_EQ(port("eth0").counts.received, 1);
    EXPECT_EQ(port("eth0").counts.agedOut, 1);
}

TEST_F(LivePortsTest, ABurstOnOnePortLeavesTheOthersTheirTurn) {
    ports.start(bridge);
    turns();
    const auto total = [&](const char* name) {
        return port(name).counts.received + port(name).counts.rateLimited;
    };
    eth0.inbox.assign(1000, frameOf({}));
    eth1.inbox.assign(10, frameOf({}));
    turns();
    EXPECT_EQ(total("eth0"), LivePorts::framesPerTurn);
    EXPECT_EQ(total("eth1"), 10);
    turns(20);
    EXPECT_EQ(total("eth0"), 1000);
}

TEST_F(LivePortsTest, FollowALinkThatGoesDownAndComesBack) {
    ports.start(bridge);
    eth0.link->up = false;
    ports.follow();
    EXPECT_FALSE(port("eth0").up);
    EXPECT_TRUE(port("eth1").up);
    EXPECT_EQ(eth0.closed, 1);
    eth0.link->up = true;
    ports.follow();
    EXPECT_TRUE(port("eth0").up);
    eth0.inbox = {frameOf({})};
    turns();
    EXPECT_EQ(port("eth0").counts.received, 1);
    EXPECT_EQ(eth0.sent.size(), 1);
    EXPECT_EQ(eth0.opened, 2);
}

TEST_F(LivePortsTest, FollowAnInterfaceThatVanishesAndComesBackWithAnotherAddress) {
    ports.start(bridge);
    eth0.link.reset();
    ports.follow();
    EXPECT_FALSE(port("eth0").up);
    eth0.link = Link{8, true, {0x02, 0, 0, 0, 5, 5}};
    ports.follow();
    turns();
    ASSERT_EQ(eth0.sent.size(), 1);
    EXPECT_EQ(eth0.sent[0][11], 5);
}

TEST_F(LivePortsTest, OpenAnInterfaceThatAnotherOfItsNameHasReplacedAnew) {
    ports.start(bridge);
    eth0.link->index = 9;
    ports.follow();
    EXPECT_EQ(eth0.opened, 2);
    EXPECT_EQ(eth0.closed, 1);
    EXPECT_TRUE(port("eth0").up);
}

TEST_F(LivePortsTest, StartWithAnInterfaceThatIsDown) {
    eth0.link->up = false;
    ports.start(bridge);
    turns();
    EXPECT_EQ(eth0.opened, 0);
    eth0.link->up = true;
    ports.follow();
    EXPECT_TRUE(port("eth0").up);
}

TEST_F(LivePortsTest, DoNotStartWithoutAnInterface) {
    eth1.link.reset();
    EXPECT_THROW(ports.start(bridge), std::runtime_error);
}

TEST_F(LivePortsTest, DoNotStartWithoutPermission) {
    eth1.openFails = true;
    EXPECT_THROW(ports.start(bridge), std::runtime_error);
}

TEST_F(LivePortsTest, TryAgainWhenAnInterfaceCannotBeOpenedOnTheWay) {
    ports.start(bridge);
    eth0.link->index = 9;
    eth0.openFails = true;
    for (int i = 0; i < 3; ++i)
        ports.follow();
    EXPECT_FALSE(port("eth0").up);
    EXPECT_EQ(port("eth0").counts.receiveErrors, 3);
    eth0.openFails = false;
    ports.follow();
    EXPECT_TRUE(port("eth0").up);
}

TEST_F(LivePortsTest, AnInterruptionOrNothingThereIsNoError) {
    ports.start(bridge);
    eth0.receiveErrors = {EINTR, EINTR, EAGAIN};
    eth0.inbox = {frameOf({})};
    turns(2);
    EXPECT_EQ(port("eth0").counts.received, 1);
    EXPECT_EQ(port("eth0").counts.receiveErrors, 0);
    EXPECT_EQ(eth0.closed, 0);
}

TEST_F(LivePortsTest, InterruptionsForEverHoldUpNothing) {
    ports.start(bridge);
    turns();
    eth0.receiveErrorForEver = EINTR;
    eth0.sendErrorForEver = EINTR;
    eth1.inbox = {frameOf({})};
    eth0.receiveCalls = 0;
    turns();
    EXPECT_LE(eth0.receiveCalls, 8);
    EXPECT_EQ(port("eth1").counts.received, 1);
    EXPECT_EQ(port("eth0").counts.receiveErrors, 1);
    EXPECT_TRUE(port("eth0").up);
    turns(100);
    EXPECT_EQ(port("eth0").counts.receiveErrors, LivePorts::forgivenErrors + 1);
    EXPECT_FALSE(port("eth0").up) << "until the next look";
    ports.follow();
    bridge.hello(loop.now());
    EXPECT_EQ(port("eth0").counts.sendErrors, 1);
    EXPECT_EQ(eth1.sent.size(), 2);
}

TEST_F(LivePortsTest, AnErrorOnceClosesThePortUntilTheNextLook) {
    for (const int error : {ENETDOWN, ENXIO, ENODEV, EIO}) {
        SCOPED_TRACE(error);
        if (error == ENETDOWN)
            ports.start(bridge);
        const auto before = port("eth0").counts;
        eth0.receiveErrors = {error};
        eth0.inbox = {frameOf({})};
        turns();
        EXPECT_FALSE(port("eth0").up);
        EXPECT_EQ(port("eth0").counts.receiveErrors, before.receiveErrors + 1);
        EXPECT_EQ(eth0.inbox.size(), 1);
        ports.follow();
        turns();
        EXPECT_TRUE(port("eth0").up);
        EXPECT_EQ(port("eth0").counts.received, before.received + 1);
    }
}

TEST_F(LivePortsTest, ASystemThatIsBusyOnceLeavesThePortAndItsRecord) {
    ports.start(bridge);
    eth0.inbox = {frameOf({})};
    turns();
    ASSERT_TRUE(port("eth0").heard);
    for (const int error : {ENOBUFS, ENOMEM}) {
        eth0.receiveErrors.assign(LivePorts::forgivenErrors, error);
        turns(LivePorts::forgivenErrors);
        eth0.inbox = {frameOf({})}; // one comes: all is forgiven
        turns();
    }
    eth0.receiveErrors.assign(LivePorts::forgivenErrors, ENOBUFS);
    eth0.receiveErrors.push_back(EAGAIN); // so is it when there is nothing
    eth0.receiveErrors.push_back(ENOBUFS);
    turns(LivePorts::forgivenErrors + 2);
    EXPECT_TRUE(port("eth0").up);
    EXPECT_TRUE(bridge.heardRecord(port("eth0")));
    EXPECT_EQ(eth0.closed, 0);
    EXPECT_EQ(port("eth0").counts.receiveErrors, 3 * LivePorts::forgivenErrors + 1);
    EXPECT_EQ(port("eth0").counts.received, 3);
}

/// Each error that a system gives, when it never ends.
class EndlessError : public LivePortsTest, public testing::WithParamInterface<int> {
  protected:
    /// Lets five seconds pass, in each of which there are some hundred turns.
    void pass() {
        for (int second = 0; second < 5; ++second) {
            turns(100);
            clock += 1s;
        }
    }
};
INSTANTIATE_TEST_SUITE_P(Errors, EndlessError,
                         testing::Values(EINTR, EAGAIN, ENETDOWN, ENOBUFS, ENXIO));

TEST_P(EndlessError, OfReceivingIsCountedAndLeavesTheOtherPortAlone) {
    ports.start(bridge);
    eth1.inbox = {frameOf({.hello = 9})};
    turns();
    const std::string before = valueText(bridge.heardRecord(port("eth1")).ptr());
    eth0.receiveErrorForEver = GetParam();
    eth0.inbox = {frameOf({})};
    pass();
    PortCounts const& counts = port("eth0").counts;
    EXPECT_EQ(counts.received, 0);
    EXPECT_EQ(counts.receiveErrors > 0, GetParam() != EAGAIN);
    EXPECT_LE(counts.receiveErrors, 5 * (LivePorts::forgivenErrors + 1));
    EXPECT_LE(eth0.opened, 6) << "a try a second";
    EXPECT_EQ(eth0.opened - eth0.closed, port("eth0").up ? 1 : 0);
    EXPECT_EQ(eth1.opened, 1);
    EXPECT_EQ(eth1.sent.size(), 3) << "at 0, 2 and 4 s";
    EXPECT_EQ(valueText(bridge.heardRecord(port("eth1")).ptr()), before);
    eth0.receiveErrorForEver = 0;
    clock += LivePorts::followPeriod;
    turns(2);
    EXPECT_EQ(counts.received, 1) << "and all is well afterwards";
}

TEST_P(EndlessError, OfSendingIsCountedAndLeavesTheOtherPortAlone) {
    eth0.sendErrorForEver = GetParam();
    ports.start(bridge);
    eth1.inbox = {frameOf({.hello = 9})};
    turns();
    const std::string before = valueText(bridge.heardRecord(port("eth1")).ptr());
    eth0.inbox = {frameOf({})};
    pass();
    EXPECT_EQ(port("eth0").counts.sent, 0);
    EXPECT_EQ(port("eth0").counts.sendErrors, 3);
    EXPECT_EQ(port("eth0").counts.received, 1);
    EXPECT_EQ(eth1.sent.size(), 3);
    EXPECT_EQ(eth1.opened, 1);
    EXPECT_EQ(valueText(bridge.heardRecord(port("eth1")).ptr()), before);
    eth0.sendErrorForEver = 0;
    clock += 2s;
    turns(2);
    clock += 2s;
    turns(2);
    EXPECT_GE(port("eth0").counts.sent, 1) << "and all is well afterwards";
}

TEST_F(LivePortsTest, AnErrorForEverCostsOneTryEachTimeThatTheyLook) {
    ports.start(bridge);
    eth0.receiveErrorForEver = ENETDOWN;
    turns(100);
    EXPECT_EQ(eth0.opened, 1);
    EXPECT_EQ(port("eth0").counts.receiveErrors, 1);
    for (int i = 0; i < 5; ++i) {
        ports.follow();
        turns(100);
    }
    EXPECT_EQ(eth0.opened, 6);
    EXPECT_EQ(port("eth0").counts.receiveErrors, 6);
    EXPECT_TRUE(port("eth1").up);
    EXPECT_EQ(eth1.opened, 1);
}

TEST_F(LivePortsTest, ASystemThatIsBusyLosesAFrameAndKeepsThePort) {
    ports.start(bridge);
    turns();
    for (const int error : {EAGAIN, ENOBUFS}) {
        eth0.sendErrors = {error};
        bridge.hello(loop.now());
        ports.follow();
    }
    EXPECT_EQ(port("eth0").counts.sendErrors, 2);
    EXPECT_EQ(eth0.closed, 0);
    bridge.hello(loop.now());
    EXPECT_EQ(eth0.sent.size(), 2);
    eth0.sendErrors = {EINTR, EINTR};
    bridge.hello(loop.now());
    EXPECT_EQ(eth0.sent.size(), 3) << "tried again at once";
}

TEST_F(LivePortsTest, AnInterfaceThatCannotBeSentToIsClosedAndTriedAgain) {
    for (const int error : {ENETDOWN, ENXIO, ENODEV}) {
        SCOPED_TRACE(error);
        if (error == ENETDOWN)
            ports.start(bridge);
        const unsigned opened = eth0.opened;
        const std::size_t sent = eth0.sent.size();
        eth0.sendErrors = {error};
        bridge.hello(loop.now());
        ports.follow(); // closes, and opens
        EXPECT_EQ(eth0.opened, opened + 1);
        bridge.hello(loop.now());
        EXPECT_EQ(eth0.sent.size(), sent + 1);
    }
    EXPECT_EQ(port("eth0").counts.sendErrors, 3);
    eth0.sendErrorForEver = ENXIO;
    for (int i = 0; i < 5; ++i) {
        bridge.hello(loop.now());
        ports.follow();
    }
    EXPECT_EQ(port("eth0").counts.sendErrors, 8);
    EXPECT_GE(eth1.sent.size(), 11);
}

TEST_F(LivePortsTest, CountWhatTheSystemHadNoRoomForAlsoFromSocketsBefore) {
    ports.start(bridge);
    eth0.missed = 5;
    ports.follow();
    EXPECT_EQ(port("eth0").counts.missed, 5);
    eth0.link->index = 9;
    ports.follow();
    eth0.missed = 2;
    ports.follow();
    EXPECT_EQ(port("eth0").counts.missed, 7);
}

TEST_F(LivePortsTest, WriteWhatIsSentAndHeardIntoACapture) {
    const Examples::TemporaryFolder folder;
    const auto file = folder.path() / "all.pcap";
    {
        CaptureWriter capture(file, Time{});
        ports.captureIs(&capture);
        ports.start(bridge);
        eth0.inbox = {frameOf({})};
        turns();
        ports.captureIs(nullptr);
    }
    CaptureReader reader(file);
    std::vector<Frames::Octets> frames;
    while (const auto frame = reader.next())
        frames.push_back(frame->octets);
    ASSERT_EQ(frames.size(), 3);
    EXPECT_EQ(std::ranges::count(frames, frameOf({})), 1);
    EXPECT_EQ(std::ranges::count(frames, eth0.sent.at(0)), 1);
    EXPECT_EQ(std::ranges::count(frames, eth1.sent.at(0)), 1);
}

TEST_F(LivePortsTest, GoOnWhenTheCaptureCannotBeWritten) {
    const Examples::TemporaryFolder folder;
    const auto pipe = folder.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    Descriptor reader(open(pipe.c_str(), O_RDONLY | O_NONBLOCK));
    std::signal(SIGPIPE, SIG_IGN);
    CaptureWriter capture(pipe, Time{});
    ports.captureIs(&capture);
    ports.start(bridge);
    reader = Descriptor(); // nobody reads any more
    turns();
    EXPECT_EQ(eth0.sent.size(), 1);
    EXPECT_EQ(eth1.sent.size(), 1);
    EXPECT_EQ(port("eth0").counts.sendErrors, 0);
    std::signal(SIGPIPE, SIG_DFL);
}

} // namespace
} // namespace Agent::Test
