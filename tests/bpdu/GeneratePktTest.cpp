#include "bpdu/VarnolUtils.h"

#include "framework/zel/Trace.h"
#include "tests/bpdu/AssertionTest.h"
#include "tests/bpdu/Frames.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/TraceCapture.h"

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace Varnol {
namespace {

using Frames::hex;
using Frames::PoolOf;
using Frames::portWith;
using Frames::sendableRecord;
using Kolvu::globalPktManager;
using Stp::TimerVal;

static_assert(
    std::is_same_v<decltype(&generatePktFromIntxInfo),
                   Kolvu::Pkt::Ptr (*)(Zel::Ptr<Stp::MstPortSm>, Zel::Ptr<IntxInfo>, bool)>);

constexpr const char* signature =
    "Kolvu::Pkt::Ptr Varnol::generatePktFromIntxInfo(Stp::MstPortSm::Ptr, Varnol::IntxInfo::Ptr, "
    "bool)";

std::string textOf(IntxInfo::Ptr const& info) {
    Zel::TraceStream stream;
    stream << static_cast<IntxInfo const*>(info.ptr());
    return std::string(stream.text());
}

/// The record as a frame, sent on a port of the usual address.
Kolvu::Pkt::Ptr frameOf(IntxInfo::Ptr const& info) {
    return generatePktFromIntxInfo(portWith(), info, false);
}

TEST(GeneratePktFromIntxInfo, BuildsAnRstBpduIn53Octets) {
    const IntxInfo::Ptr info = sendableRecord();
    const IntxMstiInfo::Ptr cist = info->mstiN(0);
    Stp::RstpBpduFlags flags;
    flags.portRoleIs(Stp::PortRole::designated);
    flags.learningIs(true);
    flags.forwardingIs(true);
    cist->flagsIs(flags);
    cist->cistRootBridgeIdIs({32768, 5, {0x00, 0x1c, 0x73, 0x01, 0x02, 0x03}});
    cist->cistExtRootPathCostIs(200000);
    cist->bridgeIdIs({61440, 6, {0x00, 0x1c, 0x73, 0x04, 0x05, 0x06}});
    cist->portIdIs({128, 3});
    cist->messageAgeIs(TimerVal::seconds(1));
    cist->maxAgeIs(TimerVal::seconds(20));
    cist->helloTimeIs(TimerVal::seconds(2));
    cist->fwdDelayIs(TimerVal::seconds(15));

    const Kolvu::Pkt::Ptr pkt = frameOf(info);
    ASSERT_TRUE(pkt);
    EXPECT_EQ(pkt->data().size(), 53U);
    EXPECT_EQ(hex(pkt), "01 80 c2 00 00 00 "       // 0: destination: bridge group address
                        "00 1c 73 0a 0b 0c "       // 6: source: the port's address
                        "00 27 "                   // 12: length: LLC 3 + BPDU 36
                        "42 42 03 "                // 14: DSAP, SSAP, control: UI
                        "00 00 "                   // 17: protocol identifier
                        "02 "                      // 19: protocol version identifier: RSTP
                        "02 "                      // 20: BPDU type: RST
                        "3c "                      // 21: flags: designated, learning, forwarding
                        "80 05 00 1c 73 01 02 03 " // 22: root identifier
                        "00 03 0d 40 "             // 30: root path cost: 200000
                        "f0 06 00 1c 73 04 05 06 " // 34: bridge identifier
                        "80 03 "                   // 42: port identifier
                        "01 00 "                   // 44: message age: 1 s
                        "14 00 "                   // 46: max age: 20 s
                        "02 00 "                   // 48: hello time: 2 s
                        "0f 00 "                   // 50: forward delay: 15 s
                        "00");                     // 52: version 1 length
}

/// An entry whose octets in a frame are all different.
void distinctOctetsAre(IntxMstiInfo& entry) {
    entry.flagsIs(0x11);
    entry.cistRootBridgeIdIs({0x2000, 0x0122, {0x23, 0x24, 0x25, 0x26, 0x27, 0x28}});
    entry.cistExtRootPathCostIs(0x31323334);
    entry.bridgeIdIs({0x4000, 0x0142, {0x43, 0x44, 0x45, 0x46, 0x47, 0x48}});
    entry.portIdIs({0x50, 0x0152});
    entry.messageAgeIs(TimerVal::units(0x6162));
    entry.maxAgeIs(TimerVal::units(0x7172));
    entry.helloTimeIs(TimerVal::units(0x8182));
    entry.fwdDelayIs(TimerVal::units(0x9192));
}
constexpr const char* distinctBpdu = "00 00 02 02 "             // protocol, version, type
                                     "11 "                      // flags
                                     "21 22 23 24 25 26 27 28 " // root identifier
                                     "31 32 33 34 "             // root path cost
                                     "41 42 43 44 45 46 47 48 " // bridge identifier
                                     "51 52 "                   // port identifier
                                     "61 62 "                   // message age
                                     "71 72 "                   // max age
                                     "81 82 "                   // hello time
                                     "91 92 "                   // forward delay
                                     "00";                      // version 1 length

TEST(GeneratePktFromIntxInfo, WritesEachFieldAtItsOwnPlace) {
    const IntxInfo::Ptr info = sendableRecord();
    distinctOctetsAre(*info->mstiN(0));
    EXPECT_EQ(hex(frameOf(info), 17, 36), distinctBpdu);
}

TEST(GeneratePktFromIntxInfo, WritesZerosWhereTheCistEntryIsZero) {
    EXPECT_EQ(hex(frameOf(sendableRecord())), "01 80 c2 00 00 00 00 1c 73 0a 0b 0c 00 27 42 42 03 "
                                              "00 00 02 02 "             // protocol, version, type
                                              "00 "                      // flags
                                              "00 00 00 00 00 00 00 00 " // root identifier
                                              "00 00 00 00 "             // root path cost
                                              "00 00 00 00 00 00 00 00 " // bridge identifier
                                              "00 00 "                   // port identifier
                                              "00 00 "                   // message age
                                              "00 00 "                   // max age
                                              "00 00 "                   // hello time
                                              "00 00 "                   // forward delay
                                              "00");                     // version 1 length
}

TEST(GeneratePktFromIntxInfo, LeavesNothingOfAnEarlierFrameInTheMemoryItReuses) {
    {
        const Kolvu::Pkt::Ptr pkt = frameOf(sendableRecord());
        std::ranges::fill(pkt->data(), 0xff);
    }
    EXPECT_EQ(hex(frameOf(sendableRecord()), 17, 36).find("ff"), std::string::npos);
}

TEST(GeneratePktFromIntxInfo, DoesNotUseTheRecordsOtherFields) {
    const IntxInfo::Ptr info = sendableRecord();
    distinctOctetsAre(*info->mstiN(0));
    const std::string expected = hex(frameOf(info));

    info->neighborAddrIs({0xee, 0xee, 0xee, 0xee, 0xee, 0xee});
    info->intxInfoTypeIs(Stp::StpBpduType::config);
    EXPECT_EQ(hex(frameOf(info)), expected);
    info->intxInfoTypeIs(Stp::StpBpduType::topologyChangeNotice);
    info->configRevisionLevelIs(0xeeee);
    info->configNameStringIs("region");
    Stp::MstpConfigDigest::Octets digest;
    digest.fill(0xee);
    info->configDigestIs(Stp::MstpConfigDigest(digest));
    const IntxMstiInfo::Ptr cist = info->mstiN(0);
    const Stp::BridgeId other{0xe000, 0xeee, {0xee, 0xee, 0xee, 0xee, 0xee, 0xee}};
    cist->cistRegionalRootBridgeIdIs(other);
    cist->intRootPathCostIs(0xeeeeeeee);
    cist->regionalRootBridgeIdIs(other);
    cist->remainingHopsIs(0xee);
    EXPECT_EQ(hex(frameOf(info)), expected);
}

TEST(GeneratePktFromIntxInfo, DoesNotUseTheEntriesOfOtherInstances) {
    for (const bool cistFirst : {true, false}) {
        const IntxInfo::Ptr info(new IntxInfo(0));
        info->stpVersionIs(2);
        if (cistFirst)
            info->mstiNIs(0);
        for (U16 instance = 1; instance <= 64; ++instance) {
            const IntxMstiInfo::Ptr entry = info->mstiNIs(instance);
            entry->flagsIs(0xee);
            entry->cistRootBridgeIdIs({0xe000, 0xeee, {}});
            entry->bridgeIdIs({0xe000, 0xeee, {}});
            entry->cistExtRootPathCostIs(0xeeeeeeee);
            entry->maxAgeIs(TimerVal::units(0xeeee));
        }
        info->mstiNIs(0xffff)->flagsIs(0xee);
        distinctOctetsAre(*info->mstiNIs(0));
        EXPECT_EQ(hex(frameOf(info), 17, 36), distinctBpdu);
    }
}

TEST(GeneratePktFromIntxInfo, TakesTheSourceAddressFromThePort) {
    const auto sourceOf = [](Kolvu::EthAddr const& address) {
        return hex(generatePktFromIntxInfo(portWith(address), sendableRecord(), false), 6, 6);
    };
    EXPECT_EQ(sourceOf({0x12, 0x34, 0x56, 0x78, 0x9a, 0xbc}), "12 34 56 78 9a bc");
    EXPECT_EQ(sourceOf({0x01, 0x80, 0xc2, 0x00, 0x00, 0x0e}), "01 80 c2 00 00 0e") << "multicast";

    const Stp::MstPortSm::Ptr port = portWith();
    port->port()->ethAddrIs({0, 0, 0, 0, 0, 9});
    EXPECT_EQ(hex(generatePktFromIntxInfo(port, sendableRecord(), false), 6, 6),
              "00 00 00 00 00 09");
}

TEST(GeneratePktFromIntxInfo, WritesTheFlagsOctetAsItIs) {
    const IntxInfo::Ptr info = sendableRecord();
    for (unsigned flags = 0; flags <= 0xff; ++flags) {
        info->mstiN(0)->flagsIs(static_cast<U8>(flags));
        const Kolvu::Pkt::Ptr pkt = frameOf(info);
        ASSERT_EQ(pkt->data()[21], flags);
        ASSERT_EQ(pkt->data()[20], 2U);
        ASSERT_EQ(pkt->data()[22], 0U);
    }
}

TEST(GeneratePktFromIntxInfo, WritesOfABridgeIdentifierFourBitsOfPriorityAndTwelveOfTheExtension) {
    const Kolvu::EthAddr address(1, 2, 3, 4, 5, 6);
    const auto identifiers = [&](U16 priority, U16 extension) {
        const IntxInfo::Ptr info = sendableRecord();
        info->mstiN(0)->cistRootBridgeIdIs({priority, extension, address});
        const std::string root = hex(frameOf(info), 22, 8);
        info->mstiN(0)->bridgeIdIs({priority, extension, address});
        EXPECT_EQ(hex(frameOf(info), 34, 8), root);
        return root;
    };
    EXPECT_EQ(identifiers(32768, 5), "80 05 01 02 03 04 05 06");
    EXPECT_EQ(identifiers(0, 0), "00 00 01 02 03 04 05 06");
    EXPECT_EQ(identifiers(4096, 1), "10 01 01 02 03 04 05 06");
    EXPECT_EQ(identifiers(61440, 4095), "ff ff 01 02 03 04 05 06");
    EXPECT_EQ(identifiers(0x8fff, 0), "80 00 01 02 03 04 05 06") << "low bits of the priority";
    EXPECT_EQ(identifiers(0, 0xf123), "01 23 01 02 03 04 05 06") << "high bits of the extension";
    EXPECT_EQ(identifiers(0x0fff, 0x1000), "00 00 01 02 03 04 05 06");
}

TEST(GeneratePktFromIntxInfo, WritesOfAPortIdentifierFourBitsOfPriorityAndTwelveOfTheNumber) {
    const auto identifier = [](U8 priority, U16 number) {
        const IntxInfo::Ptr info = sendableRecord();
        info->mstiN(0)->portIdIs({priority, number});
        return hex(frameOf(info), 42, 2);
    };
    EXPECT_EQ(identifier(128, 3), "80 03");
    EXPECT_EQ(identifier(128, 0x1003), "80 03") << "the 13th bit of the number";
    EXPECT_EQ(identifier(240, 0x0fff), "ff ff");
    EXPECT_EQ(identifier(16, 0x0abc), "1a bc");
    EXPECT_EQ(identifier(0x8f, 0), "80 00") << "low bits of the priority";
    EXPECT_EQ(identifier(0, 0xf000), "00 00") << "high bits of the number";
}

TEST(GeneratePktFromIntxInfo, WritesThePathCostMostSignificantOctetFirst) {
    const auto cost = [](U32 value) {
        const IntxInfo::Ptr info = sendableRecord();
        info->mstiN(0)->cistExtRootPathCostIs(value);
        return hex(frameOf(info), 30, 4);
    };
    EXPECT_EQ(cost(1), "00 00 00 01");
    EXPECT_EQ(cost(200000), "00 03 0d 40");
    EXPECT_EQ(cost(200000000), "0b eb c2 00");
    EXPECT_EQ(cost(0xffffffff), "ff ff ff ff");
}

TEST(GeneratePktFromIntxInfo, WritesTheTimersOctetsAsTheRecordHoldsThem) {
    const auto timers = [](TimerVal value) {
        const IntxInfo::Ptr info = sendableRecord();
        const IntxMstiInfo::Ptr cist = info->mstiN(0);
        cist->messageAgeIs(value);
        cist->maxAgeIs(value);
        cist->helloTimeIs(value);
        cist->fwdDelayIs(value);
        return hex(frameOf(info), 44, 8);
    };
    EXPECT_EQ(timers(TimerVal::units(1)), "00 01 00 01 00 01 00 01");
    EXPECT_EQ(timers(TimerVal::units(0x1234)), "12 34 12 34 12 34 12 34");
    EXPECT_EQ(timers(TimerVal::seconds(255)), "ff 00 ff 00 ff 00 ff 00");
    EXPECT_EQ(timers(TimerVal::units(0xffff)), "ff ff ff ff ff ff ff ff");
}

TEST(GeneratePktFromIntxInfo, LeavesTheRecordAndThePortAsTheyAre) {
    const IntxInfo::Ptr info = sendableRecord();
    distinctOctetsAre(*info->mstiN(0));
    info->mstiNIs(7);
    const std::string before = textOf(info);
    const Stp::MstPortSm::Ptr port = portWith();
    const Kolvu::Pkt::Ptr pkt = generatePktFromIntxInfo(port, info, false);
    EXPECT_EQ(textOf(info), before);
    EXPECT_EQ(port->port()->ethAddr(), Frames::portAddress);
    info->mstiNDel(0);
    info->stpVersionIs(0);
    EXPECT_EQ(hex(pkt, 17, 36), distinctBpdu) << "the frame is a copy";
}

TEST(GeneratePktFromIntxInfo, ReturnsAPacketThatItsCallerAloneHolds) {
    EXPECT_EQ(frameOf(sendableRecord())->references(), 1U);
}

/// What a call holds, and counts of them.
struct Held {
    Stp::MstPortSm::Ptr port = portWith();
    IntxInfo::Ptr info = sendableRecord();

    std::vector<U32> references() const {
        return {port->references(), port->port()->references(), info->references(),
                info->mstiN().find(0)->references()};
    }
};

TEST(GeneratePktFromIntxInfo, GivesEveryReferenceBackBeforeItReturns) {
    const Held held;
    const std::vector<U32> before = held.references();
    const Kolvu::Pkt::Ptr pkt = generatePktFromIntxInfo(held.port, held.info, false);
    EXPECT_TRUE(pkt);
    EXPECT_EQ(held.references(), before);
    {
        const PoolOf none(0);
        EXPECT_EQ(generatePktFromIntxInfo(held.port, held.info, false), nullptr);
        EXPECT_EQ(held.references(), before);
    }
}

TEST(GeneratePktFromIntxInfo, HoldsThePortWhileThePacketIsMade) {
    struct Look {
        Stp::Port const* port;
        U32 references;
    };
    const Stp::MstPortSm::Ptr port = portWith();
    const U32 before = port->port()->references();
    Look look{port->port().ptr(), 0};
    const TraceCapture levels("Varnol", {8});
    const Zel::TraceSink former = Zel::traceSinkIs({[](Zel::TraceRecord const&, void* context) {
                                                        auto* at = static_cast<Look*>(context);
                                                        at->references = at->port->references();
                                                    },
                                                    &look});
    generatePktFromIntxInfo(port, sendableRecord(), false);
    Zel::traceSinkIs(former);
    EXPECT_EQ(look.references, before + 1);
    EXPECT_EQ(port->port()->references(), before);
}

/// An entry for the CIST that sees from inside how many references to it are held. Its fields from
/// the root's identifier on stand on a page of their own; that page can be closed, and the first
/// access to it opens it again.
class SeeingEntry {
  public:
    SeeingEntry() {
        void* const memory =
            ::mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED)
            throw std::bad_alloc();
        pages_ = static_cast<char*>(memory);
        const IntxMstiInfo::Ptr other(new IntxMstiInfo(0));
        const auto offset =
            reinterpret_cast<std::uintptr_t>(&std::as_const(*other).cistRootBridgeId()) -
            reinterpret_cast<std::uintptr_t>(other.ptr());
        entry_ = ::new (pages_ + page_ - offset / alignof(IntxMstiInfo) * alignof(IntxMstiInfo))
            IntxMstiInfo(0);
        lives_.emplace(*entry_);
        seeing = this;
        struct sigaction action {};
        action.sa_sigaction = [](int, siginfo_t* info, void*) { seeing->accessed(info->si_addr); };
        action.sa_flags = SA_SIGINFO;
        ::sigaction(SIGSEGV, &action, &formerAction_);
    }
    SeeingEntry(SeeingEntry const&) = delete;
    SeeingEntry& operator=(SeeingEntry const&) = delete;
    /// Requires: no reference to the entry is held.
    ~SeeingEntry() {
        ::sigaction(SIGSEGV, &formerAction_, nullptr);
        open();
        lives_.reset();
        entry_->~IntxMstiInfo();
        ::munmap(pages_, 2 * page_);
    }

    IntxMstiInfo::Ptr entry() const { return IntxMstiInfo::Ptr(entry_); }
    /// The references held, and a constant more.
    U32 references() const { return entry_->references(); }
    void close() { ::mprotect(pages_ + page_, page_, PROT_NONE); }
    /// references() when the page was accessed; nothing if it was not.
    std::optional<U32> referencesSeen() const { return referencesSeen_; }

  private:
    void open() { ::mprotect(pages_ + page_, page_, PROT_READ | PROT_WRITE); }
    void accessed(void* address) {
        auto* const at = static_cast<char*>(address);
        if (at < pages_ + page_ || at >= pages_ + 2 * page_) {
            // The access is made again, and is then the former action's.
            ::sigaction(SIGSEGV, &formerAction_, nullptr);
            return;
        }
        referencesSeen_ = references();
        open();
    }

    static inline SeeingEntry* seeing = nullptr;

    const std::size_t page_ = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    char* pages_ = nullptr;
    IntxMstiInfo* entry_ = nullptr;
    std::optional<Zel::PtrInterface::Construction> lives_; // so that no reference is the last one
    struct sigaction formerAction_ {};
    std::optional<U32> referencesSeen_;
};

TEST(GeneratePktFromIntxInfo, HoldsTheCistEntryWhileItReadsIt) {
    SeeingEntry seeing;
    const IntxInfo::Ptr info(new IntxInfo(0));
    info->stpVersionIs(2);
    distinctOctetsAre(*seeing.entry());
    info->mstiNMemberIs(seeing.entry());
    const Stp::MstPortSm::Ptr port = portWith();
    const U32 before = seeing.references();
    seeing.close();
    const Kolvu::Pkt::Ptr pkt = generatePktFromIntxInfo(port, info, false);
    EXPECT_EQ(seeing.referencesSeen(), before + 1);
    EXPECT_EQ(seeing.references(), before);
    EXPECT_EQ(hex(pkt, 17, 36), distinctBpdu);
}

TEST(GeneratePktFromIntxInfo, TracesTheRecordAndThenTheFramingAtLevel8) {
    const TraceCapture capture("Varnol", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    const IntxInfo::Ptr info = sendableRecord();
    distinctOctetsAre(*info->mstiN(0));
    info->configNameStringIs("region");
    frameOf(info);
    ASSERT_EQ(capture.records().size(), 2U);
    TraceCapture::Record const& first = capture.records().front();
    EXPECT_EQ(first.text,
              "generatePktFromIntxInfo: Called for "
              "neighborAddr=00:00:00:00:00:00 vlanId=0 stpVersion=2 intxInfoType=0 "
              "configRevisionLevel=0 configNameString=region "
              "configDigest=00000000000000000000000000000000 "
              "mstiN={0: {mstiId=0 flags=17(unknown topologyChange learning) "
              "bridgeId=16384.322.43:44:45:46:47:48 portId=80.338 "
              "cistRootBridgeId=8192.290.23:24:25:26:27:28 cistExtRootPathCost=825373492 "
              "cistRegionalRootBridgeId=0.0.00:00:00:00:00:00 intRootPathCost=0 "
              "regionalRootBridgeId=0.0.00:00:00:00:00:00 remainingHops=0 "
              "messageAge=97.3828125s maxAge=113.4453125s helloTime=129.5078125s "
              "fwdDelay=145.5703125s}} tagged: false");
    EXPECT_EQ(first.text, "generatePktFromIntxInfo: Called for " + textOf(info) + " tagged: false");
    EXPECT_EQ(first.level, 8U);
    EXPECT_EQ(first.handle, "Varnol");
    EXPECT_EQ(first.file, "VarnolUtils.cpp");
    EXPECT_EQ(first.function, "generatePktFromIntxInfo");
    EXPECT_EQ(capture.records().back().text,
              "VarnolGetPkt: called for vlan 0 src mac: 00:1c:73:0a:0b:0c size: 36");
}

TEST(GeneratePktFromIntxInfo, ReturnsNullAndTracesTwiceWhenThePoolIsExhausted) {
    const TraceCapture capture("Varnol", {0, 1, 2, 3, 4, 5, 6, 7, 9});
    const PoolOf none(0);
    EXPECT_EQ(frameOf(sendableRecord()), nullptr);
    ASSERT_EQ(capture.records().size(), 2U);
    TraceCapture::Record const& first = capture.records().front();
    EXPECT_EQ(first.text, "Packet allocation failed");
    EXPECT_EQ(first.level, 3U);
    EXPECT_EQ(first.function, "VarnolGetPkt");
    TraceCapture::Record const& second = capture.records().back();
    EXPECT_EQ(second.text, "generateBpdu: failed to allocate pkt ");
    EXPECT_EQ(second.level, 2U);
    EXPECT_EQ(second.handle, "Varnol");
    EXPECT_EQ(second.file, "VarnolUtils.cpp");
    EXPECT_EQ(second.function, "generatePktFromIntxInfo");
}

TEST(GeneratePktFromIntxInfo, TracesOnLevels8And3And2Only) {
    const TraceCapture capture("Varnol", {0, 1, 4, 5, 6, 7, 9});
    frameOf(sendableRecord());
    const PoolOf none(0);
    EXPECT_EQ(frameOf(sendableRecord()), nullptr);
    EXPECT_TRUE(capture.records().empty());
}

TEST(GeneratePktFromIntxInfo, CountsTheTracesThatThereIsNoMemoryFor) {
    const TraceCapture capture("Varnol", {2, 3, 8});
    const IntxInfo::Ptr info = sendableRecord();
    const Stp::MstPortSm::Ptr port = portWith();
    const PoolOf none(0);
    const Zel::U64 lost = Zel::tracesLost();
    {
        const FailingAllocation failing({1, FailingAllocation::Plan::always});
        EXPECT_EQ(generatePktFromIntxInfo(port, info, false), nullptr);
        EXPECT_TRUE(failing.happened());
    }
    EXPECT_EQ(Zel::tracesLost(), lost + 4);
    EXPECT_TRUE(capture.records().empty());
}

TEST(GeneratePktFromIntxInfo, TracesTheCallsBeforeTheFailures) {
    const TraceCapture capture("Varnol", {2, 3, 8});
    const PoolOf none(0);
    const IntxInfo::Ptr info = sendableRecord();
    frameOf(info);
    EXPECT_EQ(capture.texts(),
              (std::vector<std::string>{
                  "generatePktFromIntxInfo: Called for " + textOf(info) + " tagged: false",
                  "VarnolGetPkt: called for vlan 0 src mac: 00:1c:73:0a:0b:0c size: 36",
                  "Packet allocation failed",
                  "generateBpdu: failed to allocate pkt ",
              }));
}

TEST(GeneratePktFromIntxInfo, APoolOfThreeGivesThreeFramesAndTheFourthAfterARelease) {
    const IntxInfo::Ptr info = sendableRecord();
    distinctOctetsAre(*info->mstiN(0));
    const PoolOf three(3);
    std::vector<Kolvu::Pkt::Ptr> frames{frameOf(info), frameOf(info), frameOf(info)};
    for (Kolvu::Pkt::Ptr const& frame : frames) {
        ASSERT_TRUE(frame);
        EXPECT_EQ(hex(frame, 17, 36), distinctBpdu);
    }
    {
        const TraceCapture capture("Varnol", {2, 3});
        EXPECT_EQ(frameOf(info), nullptr);
        EXPECT_EQ(capture.texts(),
                  (std::vector<std::string>{"Packet allocation failed",
                                            "generateBpdu: failed to allocate pkt "}));
    }
    frames.erase(frames.begin());
    const TraceCapture capture("Varnol", {2, 3});
    const Kolvu::Pkt::Ptr again = frameOf(info);
    ASSERT_TRUE(again);
    EXPECT_EQ(hex(again, 17, 36), distinctBpdu);
    EXPECT_TRUE(capture.records().empty());
}

TEST(GeneratePktFromIntxInfo, ExhaustedMemoryLeavesEverythingAsItWas) {
    const Held held;
    std::vector<Kolvu::Pkt::Ptr> drained(Kolvu::Pkt::Manager::keptLimit + 1);
    std::ranges::generate(drained, [&] { return frameOf(held.info); });
    const U32 inUse = globalPktManager().inUse();
    const std::vector<U32> before = held.references();
    std::size_t failures = 0;
    for (bool failed = true; failed;) {
        Kolvu::Pkt::Ptr pkt;
        {
            FailingAllocation failing(failures + 1);
            try {
                pkt = generatePktFromIntxInfo(held.port, held.info, false);
            } catch (std::bad_alloc const&) {
            }
            failed = failing.happened();
        }
        failures += failed;
        EXPECT_EQ(pkt == nullptr, failed);
        EXPECT_EQ(globalPktManager().inUse(), inUse + !failed);
        EXPECT_EQ(held.references(), before);
    }
    EXPECT_GE(failures, 1U);
}

TEST(GeneratePktFromIntxInfo, AllocatesNothingForAFrameOnceOneHasBeenReleased) {
    const Held held;
    generatePktFromIntxInfo(held.port, held.info, false);
    const auto before = FailingAllocation::made();
    for (int frame = 0; frame < 1000; ++frame)
        generatePktFromIntxInfo(held.port, held.info, false);
    EXPECT_EQ(FailingAllocation::made(), before);
}

TEST(GeneratePktFromIntxInfo, BuildsTheSameFrameWhileReferencesAreCountedForSeveralThreads) {
    const IntxInfo::Ptr info = sendableRecord();
    distinctOctetsAre(*info->mstiN(0));
    Zel::VFPtrInterface::threadSafePointers_ = true;
    const std::string frame = hex(frameOf(info), 17, 36);
    Zel::VFPtrInterface::threadSafePointers_ = false;
    EXPECT_EQ(frame, distinctBpdu);
}

/// A record with what a BPDU cannot be built from, if it is asked for.
IntxInfo::Ptr recordOf(Stp::StpBpduVersion version, Bridging::VlanIdOrNone vlan = 0) {
    const IntxInfo::Ptr info(new IntxInfo(vlan));
    info->stpVersionIs(version);
    info->mstiNIs(0);
    return info;
}

TEST(GeneratePktFromIntxInfoDeathTest, AnyVersionButRstpEndsTheProcess) {
    for (Stp::StpBpduVersion version : std::initializer_list<U8>{0, 1, 3, 4, 255})
        EXPECT_ASSERTION(frameOf(recordOf(version)), signature, "0");
}

TEST(GeneratePktFromIntxInfoDeathTest, ARecordOfAVlanEndsTheProcess) {
    for (Bridging::VlanIdOrNone vlan : std::initializer_list<U16>{1, 4094, 0x1000, 0xffff})
        EXPECT_ASSERTION(frameOf(recordOf(2, vlan)), signature, "vlan == 0");
}

TEST(GeneratePktFromIntxInfoDeathTest, ATaggedFrameEndsTheProcess) {
    EXPECT_ASSERTION(generatePktFromIntxInfo(portWith(), sendableRecord(), true), signature,
                     "!tagged");
}

TEST(GeneratePktFromIntxInfoDeathTest, TheVersionIsCheckedBeforeTheVlanAndTheVlanBeforeTheTag) {
    EXPECT_ASSERTION(generatePktFromIntxInfo(portWith(), recordOf(3, 1), true), signature, "0");
    EXPECT_ASSERTION(generatePktFromIntxInfo(portWith(), recordOf(3, 1), false), signature, "0");
    EXPECT_ASSERTION(generatePktFromIntxInfo(portWith(), recordOf(3), true), signature, "0");
    EXPECT_ASSERTION(generatePktFromIntxInfo(portWith(), recordOf(2, 1), true), signature,
                     "vlan == 0");
}

TEST(GeneratePktFromIntxInfoDeathTest, ThePreconditionsAreCheckedBeforeThePortIsLookedAt) {
    EXPECT_ASSERTION(generatePktFromIntxInfo(nullptr, recordOf(3), false), signature, "0");
    EXPECT_ASSERTION(generatePktFromIntxInfo(nullptr, recordOf(2, 1), false), signature,
                     "vlan == 0");
    EXPECT_ASSERTION(generatePktFromIntxInfo(nullptr, sendableRecord(), true), signature,
                     "!tagged");
}

TEST(GeneratePktFromIntxInfoDeathTest, ThePreconditionsHoldEvenWhereThePoolIsExhausted) {
    const PoolOf none(0);
    EXPECT_ASSERTION(frameOf(recordOf(3)), signature, "0");
    EXPECT_ASSERTION(frameOf(recordOf(2, 1)), signature, "vlan == 0");
    EXPECT_ASSERTION(generatePktFromIntxInfo(portWith(), sendableRecord(), true), signature,
                     "!tagged");
}

TEST(GeneratePktFromIntxInfoDeathTest, TheCallIsTracedBeforeTheAssertion) {
    using namespace AssertionTest;
    const IntxInfo::Ptr info = sendableRecord();
    EXPECT_EXIT(
        {
            tellTakenAtAbort();
            Zel::traceLevelIs("Varnol", 8, true);
            generatePktFromIntxInfo(portWith(), info, true);
        },
        testing::KilledBySignal(SIGABRT),
        stderrOf(signature, "!tagged",
                 "Varnol/8 VarnolUtils\\.cpp:[0-9]+ generatePktFromIntxInfo: " +
                     literally("generatePktFromIntxInfo: Called for " + textOf(info) +
                               " tagged: true\n")));
}

TEST(GeneratePktFromIntxInfoDeathTest, AMissingRecordOrPortEndsTheProcess) {
    EXPECT_ASSERTION(frameOf(nullptr), signature, "info");
    EXPECT_ASSERTION(generatePktFromIntxInfo(nullptr, sendableRecord(), false), signature, "port");
}

TEST(GeneratePktFromIntxInfoDeathTest, ARecordWithoutEntriesEndsTheProcess) {
    const IntxInfo::Ptr info = sendableRecord();
    info->mstiNDel(0);
    ASSERT_EQ(info->mstiN().members(), 0u);
    EXPECT_EXIT(frameOf(info), testing::KilledBySignal(SIGABRT),
                AssertionTest::literally(std::string(signature) + ": Assertion `cist' failed."));
}

TEST(GeneratePktFromIntxInfoDeathTest, ARecordWithoutAnEntryForTheCistEndsTheProcess) {
    const IntxInfo::Ptr info = sendableRecord();
    info->mstiNIs(1);
    info->mstiNDel(0);
    EXPECT_EXIT(frameOf(info), testing::KilledBySignal(SIGABRT),
                AssertionTest::literally(std::string(signature) + ": Assertion `cist' failed."));
}

} // namespace
} // namespace Varnol
