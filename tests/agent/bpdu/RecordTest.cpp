#include "agent/bpdu/Record.h"

#include "framework/zel/Trace.h"
#include "tests/agent/bpdu/Frames.h"
#include "tests/agent/bpdu/Parsed.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <initializer_list>
#include <string>
#include <vector>

namespace Agent {
namespace {

using Frames::Octets;
using Varnol::IntxInfo;

std::string textOf(IntxInfo::Ptr const& record) {
    Zel::TraceStream stream;
    stream << static_cast<IntxInfo const*>(record.ptr());
    return std::string(stream.text());
}

IntxInfo::Ptr newRecord() { return IntxInfo::Ptr(new IntxInfo(9)); }

IntxInfo::Ptr recordOf(std::span<Zel::U8 const> bpdu) {
    const IntxInfo::Ptr record = newRecord();
    recordBpdu(record, taken(Frames::frame(bpdu)));
    return record;
}

std::vector<unsigned> instancesOf(IntxInfo const& record) {
    std::vector<unsigned> instances;
    for (auto const& entry : record.mstiN())
        instances.push_back(entry->mstiId().value());
    return instances;
}

TEST(Record, SaysEveryFieldOfAnRstBpdu) {
    EXPECT_EQ(textOf(recordOf(Frames::rst)),
              "neighborAddr=00:1c:73:41:42:43 vlanId=9 stpVersion=2 intxInfoType=2 "
              "configRevisionLevel=0 configNameString= "
              "configDigest=00000000000000000000000000000000 mstiN={"
              "0: {mstiId=0 flags=60(designated learning forwarding) "
              "bridgeId=32768.6.00:1c:73:0a:0b:0c portId=128.3 "
              "cistRootBridgeId=4096.5.00:1c:73:01:02:03 cistExtRootPathCost=200000 "
              "cistRegionalRootBridgeId=0.0.00:00:00:00:00:00 intRootPathCost=0 "
              "regionalRootBridgeId=0.0.00:00:00:00:00:00 remainingHops=0 "
              "messageAge=1s maxAge=20s helloTime=2.5s fwdDelay=15s}}");
}

TEST(Record, SaysEveryFieldOfAnMstBpdu) {
    const std::vector<Zel::U16> instances{259, 11};
    EXPECT_EQ(textOf(recordOf(Frames::mstWith(instances))),
              "neighborAddr=00:1c:73:41:42:43 vlanId=9 stpVersion=3 intxInfoType=2 "
              "configRevisionLevel=4660 configNameString=region-1 "
              "configDigest=ac36177f50283cd4b83821d8ab26de62 mstiN={"
              "0: {mstiId=0 flags=124(designated learning forwarding agreement) "
              "bridgeId=20480.0.00:1c:73:27:28:29 portId=32.10 "
              "cistRootBridgeId=4096.0.00:1c:73:21:22:23 cistExtRootPathCost=100000 "
              "cistRegionalRootBridgeId=12288.0.00:1c:73:24:25:26 intRootPathCost=2000 "
              "regionalRootBridgeId=0.0.00:00:00:00:00:00 remainingHops=19 "
              "messageAge=2s maxAge=21s helloTime=2s fwdDelay=14s}, "
              "11: {mstiId=11 flags=33(unknown topologyChange forwarding) "
              "bridgeId=16384.11.00:1c:73:27:28:29 portId=0.10 "
              "cistRootBridgeId=0.0.00:00:00:00:00:00 cistExtRootPathCost=0 "
              "cistRegionalRootBridgeId=0.0.00:00:00:00:00:00 intRootPathCost=2829 "
              "regionalRootBridgeId=45056.11.00:1c:73:31:32:0c remainingHops=14 "
              "messageAge=0s maxAge=0s helloTime=0s fwdDelay=0s}, "
              "259: {mstiId=259 flags=9(root topologyChange) "
              "bridgeId=49152.259.00:1c:73:27:28:29 portId=128.10 "
              "cistRootBridgeId=0.0.00:00:00:00:00:00 cistExtRootPathCost=0 "
              "cistRegionalRootBridgeId=0.0.00:00:00:00:00:00 intRootPathCost=2821 "
              "regionalRootBridgeId=12288.259.00:1c:73:31:32:04 remainingHops=6 "
              "messageAge=0s maxAge=0s helloTime=0s fwdDelay=0s}}");
}

TEST(Record, SaysEveryFieldOfAConfigurationBpdu) {
    EXPECT_EQ(textOf(recordOf(Frames::configuration)),
              "neighborAddr=00:1c:73:41:42:43 vlanId=9 stpVersion=0 intxInfoType=0 "
              "configRevisionLevel=0 configNameString= "
              "configDigest=00000000000000000000000000000000 mstiN={"
              "0: {mstiId=0 flags=129(unknown topologyChange topologyChangeAck) "
              "bridgeId=36864.2.00:1c:73:14:15:16 portId=64.7 "
              "cistRootBridgeId=8192.1.00:1c:73:11:12:13 cistExtRootPathCost=20000 "
              "cistRegionalRootBridgeId=0.0.00:00:00:00:00:00 intRootPathCost=0 "
              "regionalRootBridgeId=0.0.00:00:00:00:00:00 remainingHops=0 "
              "messageAge=1.5s maxAge=19s helloTime=3s fwdDelay=16.25s}}");
}

TEST(Record, OfATopologyChangeNotificationHasNoEntries) {
    EXPECT_EQ(textOf(recordOf(Frames::notification)),
              "neighborAddr=00:1c:73:41:42:43 vlanId=9 stpVersion=0 intxInfoType=128 "
              "configRevisionLevel=0 configNameString= "
              "configDigest=00000000000000000000000000000000 mstiN={}");
}

/// A record in which nothing is zero, with entries of these instances.
IntxInfo::Ptr filledRecord(std::initializer_list<Zel::U16> instances) {
    const Stp::BridgeId bridge(61440, 4095, {0xee, 0xee, 0xee, 0xee, 0xee, 0xee});
    const Stp::TimerVal time = Stp::TimerVal::units(0xeeee);
    const IntxInfo::Ptr record = newRecord();
    record->neighborAddrIs(bridge.address());
    record->stpVersionIs(0xee);
    record->intxInfoTypeIs(0xee);
    record->configRevisionLevelIs(0xeeee);
    record->configNameStringIs("before");
    Stp::MstpConfigDigest::Octets digest;
    digest.fill(0xee);
    record->configDigestIs(Stp::MstpConfigDigest(digest));
    for (const Zel::U16 instance : instances) {
        const auto entry = record->mstiNIs(instance);
        entry->flagsIs(0xee);
        entry->bridgeIdIs(bridge);
        entry->portIdIs({240, 4095});
        entry->cistRootBridgeIdIs(bridge);
        entry->cistExtRootPathCostIs(0xeeeeeeee);
        entry->cistRegionalRootBridgeIdIs(bridge);
        entry->intRootPathCostIs(0xeeeeeeee);
        entry->regionalRootBridgeIdIs(bridge);
        entry->remainingHopsIs(0xee);
        entry->messageAgeIs(time);
        entry->maxAgeIs(time);
        entry->helloTimeIs(time);
        entry->fwdDelayIs(time);
    }
    return record;
}

TEST(Record, KeepsNothingOfWhatItSaidBefore) {
    const std::array<Zel::U16, 2> instances{11, 12};
    for (Octets const& bpdu :
         {Octets(Frames::configuration.begin(), Frames::configuration.end()),
          Octets(Frames::notification.begin(), Frames::notification.end()),
          Octets(Frames::rst.begin(), Frames::rst.end()), Frames::mstWith(instances)}) {
        const std::string expected = textOf(recordOf(bpdu));
        for (IntxInfo::Ptr const& record :
             {filledRecord({}), filledRecord({0}), filledRecord({0, 11, 12}),
              filledRecord({1, 13, 4095})}) {
            recordBpdu(record, taken(Frames::frame(bpdu)));
            EXPECT_EQ(textOf(record), expected);
        }
    }
}

TEST(Record, HasAnEntryForEachOfSixtyFourMstis) {
    const IntxInfo::Ptr record = recordOf(Frames::mstWith(64));
    ASSERT_EQ(record->mstiN().members(), 65U);
    for (Zel::U16 instance = 1; instance <= 64; ++instance) {
        const auto entry = record->mstiN(instance);
        ASSERT_TRUE(entry) << instance;
        EXPECT_EQ(entry->regionalRootBridgeId().systemIdExtension(), instance);
        EXPECT_EQ(entry->bridgeId().systemIdExtension(), instance);
    }
}

TEST(Record, LosesTheMstisThatAreNoLongerNamed) {
    const IntxInfo::Ptr record = recordOf(Frames::mstWith(std::array<Zel::U16, 3>{5, 6, 7}));
    EXPECT_EQ(instancesOf(*record), (std::vector<unsigned>{0, 5, 6, 7}));
    const auto say = [&](std::span<Zel::U8 const> bpdu) {
        recordBpdu(record, taken(Frames::frame(bpdu)));
        return instancesOf(*record);
    };
    EXPECT_EQ(say(Frames::mstWith(std::array<Zel::U16, 2>{6, 8})),
              (std::vector<unsigned>{0, 6, 8}));
    EXPECT_EQ(say(Frames::mst), std::vector<unsigned>{0});
}

TEST(Record, OfAnRstBpduAfterAnMstBpduHasNoMstis) {
    const IntxInfo::Ptr record = recordOf(Frames::mstWith(3));
    recordBpdu(record, taken(Frames::frame(Frames::rst)));
    EXPECT_EQ(instancesOf(*record), std::vector<unsigned>{0});
    EXPECT_EQ(textOf(record), textOf(recordOf(Frames::rst)));
}

TEST(Record, KeepsTheEntriesThatAreStillNamed) {
    const IntxInfo::Ptr record = recordOf(Frames::mstWith(std::array<Zel::U16, 2>{5, 6}));
    const auto cist = record->mstiN(0);
    const auto six = record->mstiN(6);
    recordBpdu(record, taken(Frames::frame(Frames::mstWith(std::array<Zel::U16, 2>{6, 7}))));
    EXPECT_EQ(record->mstiN(0), cist);
    EXPECT_EQ(record->mstiN(6), six);
}

TEST(Record, TakesTheLastOfTwoRecordsOfOneMsti) {
    Octets bpdu = Frames::mstWith(std::array<Zel::U16, 3>{5, 6, 5});
    bpdu[102 + 15] = 1;
    bpdu[102 + 2 * 16 + 15] = 2;
    const IntxInfo::Ptr record = recordOf(bpdu);
    EXPECT_EQ(instancesOf(*record), (std::vector<unsigned>{0, 5, 6}));
    EXPECT_EQ(record->mstiN(5)->remainingHops(), 2);
}

TEST(Record, LeavesOutARecordThatNamesTheCist) {
    const IntxInfo::Ptr record = recordOf(Frames::mstWith(std::array<Zel::U16, 2>{0, 3}));
    EXPECT_EQ(instancesOf(*record), (std::vector<unsigned>{0, 3}));
    EXPECT_EQ(record->mstiN(0)->remainingHops(), 19);
    EXPECT_EQ(record->mstiN(0)->regionalRootBridgeId(), Stp::BridgeId());
}

TEST(Record, KeepsItsVlan) { EXPECT_EQ(recordOf(Frames::rst)->vlanId(), 9); }

/// Counts what is written to the attributes of an entity of its own.
template <class E> class Writes final : public Zel::Object<Writes<E>, typename E::NotifieeConst> {
  public:
    static Zel::TypeNode const _zelType;
    std::vector<Zel::AttributeId> ids;

    void onAttribute(Zel::AttributeId id, void const*) override { ids.push_back(id); }
};
template <class E> constinit Zel::TypeNode const Writes<E>::_zelType{"Writes", {}};

TEST(Record, IsWrittenAnewByAnEqualBpdu) {
    const IntxInfo::Ptr record = recordOf(Frames::mstWith(1));
    const auto ofRecord = Zel::newActive<Writes<IntxInfo>>();
    const auto ofMsti = Zel::newActive<Writes<Varnol::IntxMstiInfo>>();
    ofRecord->notifierIs(record);
    ofMsti->notifierIs(record->mstiN(1));
    recordBpdu(record, taken(Frames::frame(Frames::mstWith(1))));
    EXPECT_EQ(ofRecord->ids, (std::vector<Zel::AttributeId>{258, 260, 261, 262, 263, 264}));
    EXPECT_EQ(ofMsti->ids, (std::vector<Zel::AttributeId>{259, 260, 261, 262, 263, 264, 265, 266,
                                                          267, 268, 269, 270, 271}));
}

TEST(RecordDeathTest, MustNotBeNull) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(recordBpdu(nullptr, {}), testing::KilledBySignal(SIGABRT), "record");
}

} // namespace
} // namespace Agent
