#include "bpdu/VarnolUtils.h"

#include "framework/zel/Exception.h"
#include "tests/bpdu/AssertionTest.h"
#include "tests/bpdu/Frames.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/TraceCapture.h"

#include <algorithm>
#include <initializer_list>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace Varnol {
namespace {

using Frames::BpduOut;
using Frames::hex;
using Frames::PoolOf;
using Kolvu::globalPktManager;

static_assert(std::is_same_v<decltype(&VarnolGetPkt),
                             Kolvu::Pkt::Ptr (*)(Bridging::VlanIdOrNone, Kolvu::EthAddr, Zel::U32,
                                                 Stp::CommonBpdu**)>);

constexpr const char* signature =
    "Kolvu::Pkt::Ptr Varnol::VarnolGetPkt(Bridging::VlanIdOrNone, Kolvu::EthAddr, U32, "
    "Stp::CommonBpdu**)";

Kolvu::Pkt::Ptr getPkt(U32 size, BpduOut& bpdu) {
    return VarnolGetPkt(0, Frames::portAddress, size, bpdu.out());
}
Kolvu::Pkt::Ptr getPkt(U32 size = 36) {
    BpduOut bpdu;
    return getPkt(size, bpdu);
}

std::span<U8> octets(BpduOut const& bpdu, std::size_t size) {
    return {bpdu.get()->octets<1>().data(), size};
}

TEST(VarnolGetPkt, FramesABpduOf36OctetsIn53) {
    BpduOut bpdu;
    const Kolvu::Pkt::Ptr pkt = getPkt(36, bpdu);
    ASSERT_TRUE(pkt);
    EXPECT_EQ(pkt->data().size(), 53U);
    EXPECT_EQ(hex(pkt, 0, 17), "01 80 c2 00 00 00 " // destination: bridge group address
                               "00 1c 73 0a 0b 0c " // source
                               "00 27 "             // length: LLC 3 + BPDU 36
                               "42 42 03");         // DSAP, SSAP, control: UI
    EXPECT_TRUE(Frames::standsAt(bpdu.get(), pkt, 17));
}

TEST(VarnolGetPkt, FramesABpduWithoutOctetsIn17) {
    BpduOut bpdu;
    const Kolvu::Pkt::Ptr pkt = getPkt(0, bpdu);
    ASSERT_TRUE(pkt);
    EXPECT_EQ(hex(pkt), "01 80 c2 00 00 00 " // destination: bridge group address
                        "00 1c 73 0a 0b 0c " // source
                        "00 03 "             // length: LLC 3
                        "42 42 03");         // DSAP, SSAP, control: UI
    EXPECT_TRUE(Frames::standsAt(bpdu.get(), pkt, 17));
}

TEST(VarnolGetPkt, AddsNeitherPaddingNorCheckSequence) {
    for (U32 size = 0; size <= 1600; ++size) {
        BpduOut bpdu;
        const Kolvu::Pkt::Ptr pkt = getPkt(size, bpdu);
        ASSERT_TRUE(pkt);
        ASSERT_EQ(pkt->data().size(), 17 + size);
        ASSERT_EQ(pkt->ioVecCount(), 1U);
        ASSERT_EQ(pkt->data()[12] << 8 | pkt->data()[13], static_cast<int>(size + 3));
        ASSERT_TRUE(Frames::standsAt(bpdu.get(), pkt, 17));
    }
}

TEST(VarnolGetPkt, LeavesEveryOctetOfTheBpduToTheCallerAndNoneOfTheHeader) {
    BpduOut bpdu;
    const Kolvu::Pkt::Ptr pkt = getPkt(100, bpdu);
    const std::string header = hex(pkt, 0, 17);
    std::ranges::fill(octets(bpdu, 100), 0x5a);
    EXPECT_EQ(hex(pkt, 0, 17), header);
    EXPECT_EQ(std::ranges::count(pkt->data().subspan(17), 0x5a), 100);
}

TEST(VarnolGetPkt, WritesTheSourceAddressAsItIs) {
    const auto sourceIn = [](Kolvu::EthAddr const& address) {
        BpduOut bpdu;
        return hex(VarnolGetPkt(0, address, 36, bpdu.out()), 6, 6);
    };
    EXPECT_EQ(sourceIn({0x12, 0x34, 0x56, 0x78, 0x9a, 0xbc}), "12 34 56 78 9a bc");
    EXPECT_EQ(sourceIn({0x01, 0x80, 0xc2, 0x00, 0x00, 0x0e}), "01 80 c2 00 00 0e") << "multicast";
    EXPECT_EQ(sourceIn({0xff, 0xff, 0xff, 0xff, 0xff, 0xff}), "ff ff ff ff ff ff") << "broadcast";
    EXPECT_EQ(sourceIn({}), "00 00 00 00 00 00");
}

TEST(VarnolGetPkt, GivesEachCallerAPacketOfItsOwn) {
    BpduOut one, other;
    const Kolvu::Pkt::Ptr first = getPkt(36, one);
    const Kolvu::Pkt::Ptr second = getPkt(36, other);
    EXPECT_EQ(first->references(), 1U);
    EXPECT_EQ(second->references(), 1U);
    std::ranges::fill(octets(one, 36), 0x11);
    std::ranges::fill(octets(other, 36), 0x22);
    EXPECT_EQ(std::ranges::count(first->data().subspan(17), 0x11), 36);
    EXPECT_EQ(std::ranges::count(second->data().subspan(17), 0x22), 36);
}

TEST(VarnolGetPkt, TheLongestBpduFillsTheLengthField) {
    BpduOut bpdu;
    const Kolvu::Pkt::Ptr pkt = getPkt(65532, bpdu);
    ASSERT_TRUE(pkt);
    EXPECT_EQ(pkt->data().size(), 17U + 65532);
    EXPECT_EQ(hex(pkt, 12, 5), "ff ff 42 42 03");
    std::ranges::fill(octets(bpdu, 65532), 0x5a);
}

TEST(VarnolGetPkt, ABpduThatNoLengthFieldCanCountIsOutOfRangeAndTakesNoPacket) {
    const U32 inUse = globalPktManager().inUse();
    for (U32 size : {65533U, 65536U, 0x7fffffffU, 0xffffffecU, 0xffffffffU}) {
        BpduOut bpdu;
        const PoolOf none(0);
        EXPECT_THROW(getPkt(size, bpdu), Zel::RangeException) << size;
        EXPECT_TRUE(bpdu.untouched());
        EXPECT_EQ(globalPktManager().inUse(), inUse);
    }
}

TEST(VarnolGetPkt, TracesTheVlanTheSourceAddressAndTheSizeAtLevel8) {
    const TraceCapture capture("Varnol", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    getPkt(36);
    ASSERT_EQ(capture.records().size(), 1U);
    TraceCapture::Record const& record = capture.records().front();
    EXPECT_EQ(record.text, "VarnolGetPkt: called for vlan 0 src mac: 00:1c:73:0a:0b:0c size: 36");
    EXPECT_EQ(record.level, 8U);
    EXPECT_EQ(record.handle, "Varnol");
    EXPECT_EQ(record.file, "VarnolUtils.cpp");
    EXPECT_EQ(record.function, "VarnolGetPkt");
    EXPECT_GT(record.line, 0U);
}

TEST(VarnolGetPkt, TracesOnLevels8And3Only) {
    const TraceCapture capture("Varnol", {0, 1, 2, 4, 5, 6, 7, 9});
    getPkt(36);
    const PoolOf none(0);
    EXPECT_EQ(getPkt(36), nullptr);
    EXPECT_TRUE(capture.records().empty());
}

TEST(VarnolGetPkt, ReturnsNullAndTracesOnceWhenThePoolIsExhausted) {
    const TraceCapture capture("Varnol", {0, 1, 2, 3, 4, 5, 6, 7, 9});
    const PoolOf none(0);
    BpduOut bpdu;
    EXPECT_EQ(getPkt(36, bpdu), nullptr);
    EXPECT_TRUE(bpdu.untouched());
    ASSERT_EQ(capture.records().size(), 1U);
    TraceCapture::Record const& record = capture.records().front();
    EXPECT_EQ(record.text, "Packet allocation failed");
    EXPECT_EQ(record.level, 3U);
    EXPECT_EQ(record.handle, "Varnol");
    EXPECT_EQ(record.file, "VarnolUtils.cpp");
    EXPECT_EQ(record.function, "VarnolGetPkt");
}

TEST(VarnolGetPkt, LooksForNoPlaceOfTheBpduWhenThePoolIsExhausted) {
    const PoolOf none(0);
    EXPECT_EQ(VarnolGetPkt(0, Frames::portAddress, 36, nullptr), nullptr);
}

TEST(VarnolGetPkt, TracesTheCallBeforeTheFailure) {
    const TraceCapture capture("Varnol", {3, 8});
    const PoolOf none(0);
    getPkt(1);
    EXPECT_EQ(capture.texts(),
              (std::vector<std::string>{
                  "VarnolGetPkt: called for vlan 0 src mac: 00:1c:73:0a:0b:0c size: 1",
                  "Packet allocation failed"}));
}

TEST(VarnolGetPkt, APoolOfThreeGivesThreePacketsAndTheFourthAfterARelease) {
    const U32 inUse = globalPktManager().inUse();
    const PoolOf three(3);
    std::vector<Kolvu::Pkt::Ptr> pkts{getPkt(), getPkt(), getPkt()};
    EXPECT_TRUE(pkts[0] && pkts[1] && pkts[2]);
    BpduOut bpdu;
    EXPECT_EQ(getPkt(36, bpdu), nullptr);
    EXPECT_EQ(getPkt(36, bpdu), nullptr);
    EXPECT_TRUE(bpdu.untouched());
    pkts.pop_back();
    const Kolvu::Pkt::Ptr again = getPkt(36, bpdu);
    ASSERT_TRUE(again);
    EXPECT_TRUE(Frames::standsAt(bpdu.get(), again, 17));
    EXPECT_EQ(hex(again, 12, 5), "00 27 42 42 03");
    EXPECT_EQ(getPkt(), nullptr);
    pkts.clear();
    EXPECT_EQ(globalPktManager().inUse(), inUse + 1);
}

TEST(VarnolGetPkt, TakesOnePacketForOneFrame) {
    const U32 inUse = globalPktManager().inUse();
    {
        const Kolvu::Pkt::Ptr pkt = getPkt();
        EXPECT_EQ(globalPktManager().inUse(), inUse + 1);
    }
    EXPECT_EQ(globalPktManager().inUse(), inUse);
}

/// Holds so many packets that the manager keeps no memory for the next one.
std::vector<Kolvu::Pkt::Ptr> drained() {
    std::vector<Kolvu::Pkt::Ptr> pkts(Kolvu::Pkt::Manager::keptLimit + 1);
    std::ranges::generate(pkts, [] { return getPkt(); });
    return pkts;
}

/// What becomes of calls in which one allocation fails, each one in turn.
struct Outcomes {
    unsigned nulls = 0;
    unsigned exceptions = 0;
};

Outcomes outcomesOfExhaustedMemory(U32 size) {
    Outcomes outcomes;
    const U32 inUse = globalPktManager().inUse();
    const auto live = Kolvu::Pkt::_zelType.allocations().liveCount();
    for (bool failed = true; failed;) {
        const auto outstanding = FailingAllocation::outstanding();
        BpduOut bpdu;
        Kolvu::Pkt::Ptr pkt;
        {
            FailingAllocation failing(outcomes.nulls + outcomes.exceptions + 1);
            try {
                pkt = getPkt(size, bpdu);
                outcomes.nulls += pkt == nullptr;
            } catch (std::bad_alloc const&) {
                ++outcomes.exceptions;
            }
            failed = failing.happened();
        }
        EXPECT_EQ(pkt == nullptr, failed);
        EXPECT_EQ(bpdu.untouched(), failed);
        if (failed) {
            EXPECT_LE(FailingAllocation::outstanding(), outstanding + 1) << "memory kept for later";
            EXPECT_EQ(globalPktManager().inUse(), inUse);
            EXPECT_EQ(Kolvu::Pkt::_zelType.allocations().liveCount(), live);
        }
    }
    EXPECT_EQ(globalPktManager().inUse(), inUse);
    return outcomes;
}

TEST(VarnolGetPkt, ReturnsNullWhereMemoryForThePacketIsExhausted) {
    const auto held = drained();
    const Outcomes outcomes = outcomesOfExhaustedMemory(36);
    EXPECT_EQ(outcomes.nulls, 1U);
}

TEST(VarnolGetPkt, ThrowsWhereMemoryForALongFrameIsExhausted) {
    const Outcomes outcomes = outcomesOfExhaustedMemory(10000);
    EXPECT_EQ(outcomes.exceptions, 1U);
}

TEST(VarnolGetPkt, TracesExhaustedMemoryForThePacketAsAnExhaustedPool) {
    const auto held = drained();
    TraceCapture capture("Varnol", {3});
    bool isNull = false;
    {
        FailingAllocation failing(1);
        isNull = getPkt() == nullptr;
        EXPECT_TRUE(failing.happened());
    }
    EXPECT_TRUE(isNull);
    EXPECT_EQ(capture.texts(), (std::vector<std::string>{"Packet allocation failed"}));
}

TEST(VarnolGetPkt, CountsTheTracesThatThereIsNoMemoryFor) {
    const TraceCapture capture("Varnol", {3, 8});
    const PoolOf none(0);
    const Zel::U64 lost = Zel::tracesLost();
    {
        const FailingAllocation failing({1, FailingAllocation::Plan::always});
        EXPECT_EQ(getPkt(36), nullptr);
        EXPECT_TRUE(failing.happened());
    }
    EXPECT_EQ(Zel::tracesLost(), lost + 2);
    EXPECT_TRUE(capture.records().empty());
}

TEST(VarnolGetPkt, AllocatesNothingForAFrameOnceOneHasBeenReleased) {
    getPkt();
    const auto before = FailingAllocation::made();
    for (int frame = 0; frame < 1000; ++frame)
        getPkt();
    EXPECT_EQ(FailingAllocation::made(), before);
}

TEST(VarnolGetPkt, BuildsTheSameFrameWhileReferencesAreCountedForSeveralThreads) {
    const auto frame = [] {
        BpduOut bpdu;
        const Kolvu::Pkt::Ptr pkt = getPkt(36, bpdu);
        std::ranges::fill(octets(bpdu, 36), 0x5a);
        return hex(pkt);
    };
    const std::string expected = frame();
    Zel::VFPtrInterface::threadSafePointers_ = true;
    const std::string got = frame();
    Zel::VFPtrInterface::threadSafePointers_ = false;
    EXPECT_EQ(got, expected);
}

TEST(VarnolGetPktDeathTest, AVlanEndsTheProcessBeforeAnythingIsAllocated) {
    const auto held = drained(); // a packet would bring an allocation, even if it were given back
    for (Bridging::VlanIdOrNone vlan : std::initializer_list<U16>{1, 5, 4094, 0x1000, 0xffff}) {
        BpduOut bpdu;
        EXPECT_ASSERTION_AT_ONCE(VarnolGetPkt(vlan, Frames::portAddress, 36, bpdu.out()), signature,
                                 "!vlan");
    }
}

TEST(VarnolGetPktDeathTest, AVlanEndsTheProcessEvenWhereThePoolIsExhausted) {
    const PoolOf none(0);
    BpduOut bpdu;
    EXPECT_ASSERTION_AT_ONCE(VarnolGetPkt(1, Frames::portAddress, 36, bpdu.out()), signature,
                             "!vlan");
}

TEST(VarnolGetPktDeathTest, AVlanEndsTheProcessWhateverTheSize) {
    BpduOut bpdu;
    EXPECT_ASSERTION_AT_ONCE(VarnolGetPkt(1, Frames::portAddress, 0, bpdu.out()), signature,
                             "!vlan");
    EXPECT_ASSERTION_AT_ONCE(VarnolGetPkt(1, Frames::portAddress, 65533, bpdu.out()), signature,
                             "!vlan");
}

TEST(VarnolGetPktDeathTest, TheCallIsTracedBeforeTheAssertion) {
    using namespace AssertionTest;
    BpduOut bpdu;
    EXPECT_EXIT(
        {
            tellTakenAtAbort();
            Zel::traceLevelIs("Varnol", 8, true);
            VarnolGetPkt(5, Frames::portAddress, 36, bpdu.out());
        },
        testing::KilledBySignal(SIGABRT),
        stderrOf(signature, "!vlan",
                 "Varnol/8 VarnolUtils\\.cpp:[0-9]+ VarnolGetPkt: VarnolGetPkt: called for vlan 5 "
                 "src mac: 00:1c:73:0a:0b:0c size: 36\n"));
}

} // namespace
} // namespace Varnol
