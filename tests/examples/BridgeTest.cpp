#include "bpdu/LlcHeader.h"
#include "examples/bridge/BridgeRun.h"
#include "examples/bridge/TemporaryFolder.h"
#include "tests/examples/Offer.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace Examples::Test {
namespace {

constexpr Stp::BridgeId bridgeItself(32768, 0, Kolvu::EthAddr{0x02, 0, 0, 0, 0, 0x0b});
constexpr Kolvu::EthAddr otherBridge{0x02, 0, 0, 0, 0, 0x0c};
constexpr Stp::BridgeId secondRoot(8192, 0, Kolvu::EthAddr{0x02, 0, 0, 0, 0, 0x02});

BridgeRun shown(std::vector<Frame> const& frames) {
    const TemporaryFolder folder;
    return runBridge(RSTP_BRIDGE, folder.path(), frames);
}

/// How many BPDUs of the bridge agree, through its root port, with a root.
std::ptrdiff_t agreements(BridgeRun const& run, Stp::BridgeId const& root) {
    return std::ranges::count_if(run.answers, [&](Frame const& answer) {
        const Stp::RstpBpduView bpdu = rstBpduIn(answer);
        return bpdu.rootId() == root && bpdu.rstpFlags().agreement() &&
               bpdu.rstpFlags().portRole() == Stp::PortRole::root;
    });
}

TEST(Bridge, FollowsTheRootThatAFrameOffers) {
    const Offer offer;
    const BridgeRun run = shown({frameOf(offer)});

    EXPECT_TRUE(run.follows);
    EXPECT_EQ(run.status.bridgeId("bridge_id"), bridgeItself);
    EXPECT_EQ(run.status.bridgeId("root_id"), offer.root);
    EXPECT_EQ(run.status.pathCost("port_cost"), 20000);
    EXPECT_EQ(run.status.pathCost("root_path_cost"), 21000);
    EXPECT_EQ(run.status.text("root_port_id"), run.status.text("port_id"));
    EXPECT_EQ(run.status.text("port_role"), "Root");
    EXPECT_EQ(run.status.text("port_state"), "Forwarding");
}

TEST(Bridge, PassesOnWhatAFrameSays) {
    const Offer offer;
    const BridgeRun run = shown({frameOf(offer)});

    ASSERT_FALSE(run.answers.empty());
    EXPECT_EQ(rstBpduIn(run.answers.front()).rootId(), bridgeItself);
    const Stp::RstpBpduView last = rstBpduIn(run.answers.back());
    EXPECT_EQ(last.rootId(), offer.root);
    EXPECT_EQ(last.rootPathCost(), 21000);
    EXPECT_EQ(last.bridgeId(), bridgeItself);
    EXPECT_EQ(last.messageAge(), Stp::TimerVal::seconds(2));
    EXPECT_EQ(last.maxAge(), Stp::TimerVal::seconds(20));
    EXPECT_EQ(last.helloTime(), Stp::TimerVal::seconds(2));
    EXPECT_EQ(last.fwdDelay(), Stp::TimerVal::seconds(15));
}

TEST(Bridge, AnswersAProposalWithAnAgreement) {
    const Offer offer;
    const BridgeRun run = shown({frameOf(offer)});

    EXPECT_EQ(agreements(run, offer.root), 1);
    EXPECT_TRUE(rstBpduIn(run.answers.back()).rstpFlags().agreement());
}

// Unasked it agrees as well, but once: what makes it agree again is the proposal alone.
TEST(Bridge, AgreesAgainWhenAFrameProposesAndNotWhenItDoesNot) {
    const Offer proposal;
    const Offer statement{.proposal = false};

    EXPECT_EQ(agreements(shown({frameOf(statement)}), proposal.root), 1);
    EXPECT_EQ(agreements(shown({frameOf(statement), frameOf(statement)}), proposal.root), 1);
    EXPECT_EQ(agreements(shown({frameOf(statement), frameOf(proposal)}), proposal.root), 2);
}

TEST(Bridge, FollowsTheBetterOfTwoRootsWhicheverComesFirst) {
    const Offer better;
    const Offer worse{.bridge = otherBridge, .root = secondRoot, .rootPathCost = 0};

    for (auto const& frames : {std::vector{frameOf(better), frameOf(worse)},
                               std::vector{frameOf(worse), frameOf(better)}}) {
        const BridgeRun run = shown(frames);
        EXPECT_EQ(run.status.bridgeId("root_id"), better.root);
        EXPECT_EQ(run.status.pathCost("root_path_cost"), 21000);
        EXPECT_EQ(rstBpduIn(run.answers.back()).rootId(), better.root);
    }
    EXPECT_EQ(shown({frameOf(worse)}).status.bridgeId("root_id"), worse.root);
}

TEST(Bridge, TakesTheCheaperOfTwoWaysToTheSameRoot) {
    const Offer dear{.rootPathCost = 0x01020304};
    const Offer cheap{.bridge = otherBridge, .rootPathCost = 0x01020303};

    EXPECT_EQ(shown({frameOf(dear)}).status.pathCost("root_path_cost"), 0x01020304 + 20000);
    for (auto const& frames :
         {std::vector{frameOf(dear), frameOf(cheap)}, std::vector{frameOf(cheap), frameOf(dear)}})
        EXPECT_EQ(shown(frames).status.pathCost("root_path_cost"), 0x01020303 + 20000);
}

TEST(Bridge, IgnoresARootThatIsWorseThanItself) {
    const Offer worse{.root = {61440, 0, {0x02, 0, 0, 0, 0, 0x01}}};
    const BridgeRun run = shown({frameOf(worse)});

    EXPECT_FALSE(run.follows);
    EXPECT_EQ(run.status.bridgeId("root_id"), bridgeItself);
    EXPECT_EQ(run.status.pathCost("root_path_cost"), 0);
    for (Frame const& answer : run.answers)
        EXPECT_EQ(rstBpduIn(answer).rootId(), bridgeItself);
}

TEST(Bridge, TakesAFramePaddedToTheShortestThatEthernetSends) {
    const Offer offer;
    Frame padded = frameOf(offer);
    padded.resize(60);

    EXPECT_EQ(shown({padded}).status.bridgeId("root_id"), offer.root);
}

TEST(Bridge, IgnoresAFrameThatIsNotARstBpduToBridges) {
    // Destination, protocol identifier, BPDU type. The bridge does not look at the LLC header.
    for (const std::size_t offset : {5U, 17U, 18U, 20U}) {
        Frame frame = frameOf(Offer());
        frame[offset] ^= 1;
        EXPECT_FALSE(shown({frame}).follows) << "octet " << offset;
    }
}

TEST(Bridge, ItsOwnFramesDecodedIntoRecordsAreRebuiltOctetForOctet) {
    const BridgeRun run = shown({frameOf(Offer())});

    ASSERT_GE(run.answers.size(), 2);
    for (Frame const& answer : run.answers) {
        const auto source = Kolvu::EthAddr::decode(std::span(answer).subspan<6, 6>());
        EXPECT_EQ(frameOf(recordOf(rstBpduIn(answer)), source), answer);
    }
}

TEST(Bridge, CannotBeShownFramesWithoutItsScript) {
    const TemporaryFolder folder;
    EXPECT_THROW(
        runBridge(folder.path() / "no-script", folder.path(), std::vector<Frame>{Frame(60)}),
        std::system_error);
}

TEST(Bridge, CannotBeShownNoFrames) { EXPECT_THROW(shown({}), std::runtime_error); }

TEST(RstBpduIn, RefusesFramesThatCarryNone) {
    const Frame good = frameOf(Offer());
    ASSERT_NO_THROW(rstBpduIn(good));

    EXPECT_THROW(rstBpduIn(std::span(good).first(0)), std::runtime_error);
    EXPECT_THROW(rstBpduIn(std::span(good).first(good.size() - 1)), std::runtime_error);
    // Destination, length, DSAP, SSAP, control, protocol, version, type.
    for (const std::size_t offset : {0U, 12U, 13U, 14U, 15U, 16U, 17U, 18U, 19U, 20U}) {
        Frame other = good;
        other[offset] ^= 1;
        EXPECT_THROW(rstBpduIn(other), std::runtime_error) << "octet " << offset;
    }
}

} // namespace
} // namespace Examples::Test
