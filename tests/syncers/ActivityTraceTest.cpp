#include "framework/fennic/BlockTimer.h"
#include "framework/zel/NotifieeList.h"
#include "syncers/IntxInfoChangeSm.h"
#include "syncers/RxStatusToRxDynamicSyncer.h"
#include "syncers/TxStatusToRxSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"
#include "tests/framework/TraceReader.h"
#include "tests/model/Samples.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

/// What the default trace file says of reactors and syncers: what was written, who reacted, what
/// they wrote, and who reacted to that.
namespace Varnol {
namespace {

using Fennic::BlockKind;
using Fennic::BlockRecord;
using Fennic::KeyImage;
using Lines = std::vector<std::string>;

constexpr Bridging::VlanIdOrNone vlan = 10;

/// The default trace file, in memory of the test's.
class ActivityTrace : public ::testing::Test {
  protected:
    ActivityTrace() { restart(); }
    ~ActivityTrace() override { Fennic::defaultTraceFile().memoryIs({}); }

    void restart() {
        Fennic::defaultTraceFile().memoryIs(std::as_writable_bytes(std::span(memory)));
    }
    TraceReader read() const { return TraceReader(std::as_bytes(std::span(memory))); }

    static std::string text(KeyImage const& key) {
        if (key.kind == KeyImage::none)
            return {};
        if (key.kind == KeyImage::text)
            return {key.octets, std::min<std::size_t>(key.size, sizeof key.octets)};
        Zel::U64 number;
        std::memcpy(&number, key.octets + 6, sizeof number);
        return std::to_string(number);
    }

    /// The name of an attribute, from the descriptor of its entity's class.
    static std::string attribute(TraceReader const& reader, BlockRecord const& block) {
        if (block.attribute == 0)
            return "*";
        auto const& type = reader.messages().at(block.typeId);
        const std::string start = std::to_string(block.attribute) + "\t";
        const std::size_t at = ("\n" + type.sourceFileName).find("\n" + start) + start.size();
        return type.sourceFileName.substr(at, type.sourceFileName.find('\t', at) - at);
    }

    static std::string line(TraceReader const& reader, BlockRecord const& block) {
        std::string who = reader.messages().at(block.messageId).text;
        who = who.substr(0, who.find("():")).substr(std::string("Varnol::").size());
        std::string what = " " + reader.messages().at(block.typeId).text.substr(8) + "[" +
                           text(block.entityKey) + "]." + attribute(reader, block);
        if (block.key.kind != KeyImage::none)
            what += "[" + text(block.key) + "]";
        if (block.entity == 0)
            what.clear();
        const char* const kinds[] = {"", "reaction ", "write "};
        return std::string(2U * block.depth, ' ') + kinds[static_cast<int>(block.kind)] + who + what;
    }

    /// The finished blocks, each before those inside it.
    Lines lines() const {
        const TraceReader reader = read();
        std::vector<Lines> inside(64); // by depth, what has not been put into its block yet
        for (BlockRecord const& record : reader.records()) {
            Lines block{line(reader, record)};
            Lines& inner = inside.at(record.depth + 1U);
            block.insert(block.end(), inner.begin(), inner.end());
            inner.clear();
            Lines& level = inside.at(record.depth);
            level.insert(level.end(), block.begin(), block.end());
        }
        return inside[0];
    }

    std::vector<Zel::U64> memory = std::vector<Zel::U64>(1 << 17);
};

class TransmitActivity : public ActivityTrace {
  protected:
    TransmitActivity() {
        Samples::fill(*from->txInfoIs(vlan)->mstiNIs(3));
        first = txStatusToTxSyncerFactory(source, middle);
        second = txStatusToTxSyncerFactory(middle, dest);
        restart();
    }

    TxStatus::Ptr source{new TxStatus};
    TxMstPortStatus::Ptr from = source->txMstStatusIs("mst1")->txMstPortStatusIs(Samples::et1);
    TxStatus::Ptr middle{new TxStatus};
    TxStatus::Ptr dest{new TxStatus};
    TxStatusToTxSyncer::Ptr first;
    TxStatusToTxSyncer::Ptr second;
};

TEST_F(TransmitActivity, AChangeIsFollowedFromSourceToDestinationAndOnToTheNextReactor) {
    from->txInfo(vlan)->mstiN(3)->flagsIs(0x0e);
    EXPECT_EQ(lines(), (Lines{
                           "reaction IntxInfoSyncer::ZelMstiNSm IntxMstiInfo[3].flags",
                           "  write IntxInfoSyncer::ZelMstiNSm IntxMstiInfo[3].flags",
                           "    reaction IntxInfoSyncer::ZelMstiNSm IntxMstiInfo[3].flags",
                           "      write IntxInfoSyncer::ZelMstiNSm IntxMstiInfo[3].flags",
                       }));
    const auto records = read().records();
    ASSERT_EQ(records.size(), 4U);
    const auto address = [](auto const& entity) {
        return reinterpret_cast<std::uintptr_t>(static_cast<Zel::Entity const*>(entity.ptr()));
    };
    const auto entry = [](TxStatus::Ptr const& tree) {
        return tree->txMstStatus("mst1")->txMstPortStatus(Samples::et1)->txInfo(vlan)->mstiN(3);
    };
    EXPECT_EQ(records[3].entity, address(entry(source)));
    EXPECT_EQ(records[2].entity, address(entry(middle)));
    EXPECT_EQ(records[1].entity, address(entry(middle)));
    EXPECT_EQ(records[0].entity, address(entry(dest)));
}

TEST_F(TransmitActivity, AHandlersBlockIsAboutWhatItsReactorReactsTo) {
    from->txUpdateIs(vlan, 5);
    const std::string et1 = std::to_string(Samples::et1.value());
    const std::string port =
        "TxStatusToTxSyncer::ZelTxMstStatusSm::ZelTxMstPortStatusSm";
    const std::string what = " TxMstPortStatus[" + et1 + "].txUpdate[10]";
    const std::string handler = "TxStatusToTxSyncer::ZelTxMstStatusSm::ZelTxMstPortStatusSm::"
                                "handleTxUpdate";
    // Each of the two writes of the first syncer sets the second off.
    const Lines chain{
        "reaction " + port + what,
        "  write " + port + what,
        "    reaction " + port + what,
        "      write " + port + what,
        "      " + handler + what,
        "        write " + port + what,
        "  " + handler + what,
        "    write " + port + what,
        "      reaction " + port + what,
        "        write " + port + what,
        "        " + handler + what,
        "          write " + port + what,
    };
    EXPECT_EQ(lines(), chain);
}

TEST_F(TransmitActivity, AHandlerThatNoNotificationRunsIsAboutNothing) {
    first->handleInitialized();
    const Lines all = lines();
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(all.front(), "TxStatusToTxSyncer::handleInitialized");
}

TEST_F(TransmitActivity, KeysAreRecordedAsNumbersAndTexts) {
    source->txMstStatusIs("a name of more than twenty-two octets");
    source->txMstStatusDel("mst1");
    const Lines all = lines();
    EXPECT_EQ(all.front(), "reaction TxStatusToTxSyncer::ZelSource "
                           "TxStatus[].txMstStatus[a name of more than tw]");
    EXPECT_EQ(read().records().back().key.size, 4);
    EXPECT_TRUE(std::ranges::count(all, "reaction TxStatusToTxSyncer::ZelSource "
                                        "TxStatus[].txMstStatus[mst1]"));
    const auto records = read().records();
    EXPECT_TRUE(std::ranges::any_of(records, [](auto& each) { return each.key.size == 37; }));
}

TEST_F(TransmitActivity, TheBlocksThatAreOpenTellWhereAReactorIs) {
    const Zel::Ptr<IntxMstiInfo> watched =
        dest->txMstStatus("mst1")->txMstPortStatus(Samples::et1)->txInfo(vlan)->mstiN(3);
    class Reader final : public IntxMstiInfo::NotifieeConst {
      public:
        explicit Reader(std::function<void()> look)
            : look_(std::move(look)) {}
        Zel::TypeNode const* fwkType() const override { return &IntxMstiInfo::_zelType; }
        void onAttribute(Zel::AttributeId, void const*) override { look_(); }

      private:
        std::function<void()> look_;
    };
    Lines seen;
    const Zel::Ptr<Reader> reader(new Reader([&] {
        const TraceReader trace = read();
        for (BlockRecord const& open : trace.open())
            seen.push_back(line(trace, open));
    }));
    reader->notifierIs(watched);
    reader->hasNotificationActiveIs(true);
    from->txInfo(vlan)->mstiN(3)->maxAgeIs(Stp::TimerVal::seconds(20));
    EXPECT_EQ(seen, (Lines{
                        "reaction IntxInfoSyncer::ZelMstiNSm IntxMstiInfo[3].maxAge",
                        "  write IntxInfoSyncer::ZelMstiNSm IntxMstiInfo[3].maxAge",
                        "    reaction IntxInfoSyncer::ZelMstiNSm IntxMstiInfo[3].maxAge",
                        "      write IntxInfoSyncer::ZelMstiNSm IntxMstiInfo[3].maxAge",
                        "        reaction IntxMstiInfo IntxMstiInfo[3].maxAge",
                    }));
    EXPECT_TRUE(read().open().empty());
}

TEST_F(TransmitActivity, NothingIsRecordedOnceTheTraceIsOff) {
    Fennic::defaultTraceFile().memoryIs({});
    from->txInfo(vlan)->mstiN(3)->flagsIs(0x0e);
    EXPECT_EQ(read().recorded(), 0U);
}

// Counts

class Counts : public ActivityTrace {
  protected:
    /// The writes of all classes, by name, that made some.
    static std::map<std::string, Zel::U64> writes() {
        std::map<std::string, Zel::U64> writes;
        for (Zel::TypeNode const* type = Zel::lastTypeNode(); type; type = type->previous())
            writes[std::string(type->name())] = type->writes();
        return writes;
    }
};

TEST_F(Counts, WritesAndNotificationsAreAsManyAsTheTraceShows) {
    const auto before = writes();
    const Zel::U64 delivered = Zel::notificationsDelivered();

    const TxStatus::Ptr source(new TxStatus);
    const TxStatus::Ptr dest(new TxStatus);
    const RxStatus::Ptr received(new RxStatus);
    const RxStatus::Ptr dynamic(new RxStatus);
    const auto txToTx = txStatusToTxSyncerFactory(source, dest);
    const auto txToRx = txStatusToRxSyncerFactory(source, dynamic);
    const auto rxToRx = rxStatusToRxDynamicSyncerFactory(received, dynamic);
    for (const char* name : {"mst1", "mst2"}) {
        for (const Kolvu::IntfId intf : {Samples::et1, Samples::po1}) {
            const auto out = source->txMstStatusIs(name)->txMstPortStatusIs(intf);
            const auto in = received->rxMstStatusIs(name)->rxMstPortStatusIs(intf);
            for (const Zel::U16 each : std::initializer_list<Zel::U16>{10, 20}) {
                Samples::fill(*out->txInfoIs(each));
                Samples::fill(*out->txInfoIs(each)->mstiNIs(0));
                out->txUpdateIs(each, 3);
                Samples::fill(*in->rxInfoIs(each)->mstiNIs(0));
                in->rxUpdateInc(each, 1);
            }
            in->bpduCountIs(7);
        }
    }
    const auto counter = intxInfoChangeSmFactory(
        source->txMstStatus("mst1")->txMstPortStatus(Samples::et1)->txInfo(10), 10);
    source->txMstStatus("mst1")->txMstPortStatus(Samples::et1)->txInfo(10)->mstiN(0)->flagsIs(1);
    source->txMstStatusDel("mst2");

    std::map<std::string, Zel::U64> shown;
    Zel::U64 reactions = 0;
    const TraceReader reader = read();
    ASSERT_EQ(reader.records().size(), reader.recorded()); // none has been replaced
    for (BlockRecord const& record : reader.records()) {
        if (record.kind == BlockKind::write)
            ++shown[reader.messages().at(record.messageId).text];
        reactions += record.kind == BlockKind::reaction;
    }
    EXPECT_GT(shown.size(), 6U);
    std::map<std::string, Zel::U64> made;
    for (auto const& [name, count] : writes()) {
        if (count != before.at(name))
            made[name] = count - before.at(name);
    }
    EXPECT_EQ(made, shown);
    EXPECT_EQ(Zel::notificationsDelivered() - delivered, reactions);
    EXPECT_GT(reactions, 100U);
}

TEST_F(Counts, EveryChangeOfADestinationIsAWriteOfASyncer) {
    const TxStatus::Ptr source(new TxStatus);
    const TxStatus::Ptr sent(new TxStatus);
    const TxStatus::Ptr last(new TxStatus);
    const RxStatus::Ptr received(new RxStatus);
    const RxStatus::Ptr dynamic(new RxStatus);
    const RxStatus::Ptr end(new RxStatus);
    const auto txToTx = txStatusToTxSyncerFactory(source, sent);
    const auto txToRx = txStatusToRxSyncerFactory(source, dynamic);
    const auto rxToRx = rxStatusToRxDynamicSyncerFactory(received, dynamic);
    // What reacts to the destinations.
    const auto onSent = txStatusToTxSyncerFactory(sent, last);
    const auto onDynamic = rxStatusToRxDynamicSyncerFactory(dynamic, end);
    std::vector<IntxInfoChangeSm::Ptr> counters;
    const auto change = [&](Zel::U16 round) {
        source->heartbeatTimeoutIs(round);
        received->localHeartbeatIs(round);
        received->updateCtrTimeIs(round);
        for (const Kolvu::IntfId intf : {Samples::et1, Samples::po1}) {
            const auto out = source->txMstStatusIs("mst1")->txMstPortStatusIs(intf);
            const auto in = received->rxMstStatusIs("mst1")->rxMstPortStatusIs(intf);
            Samples::fill(*out->txInfoIs(vlan));
            Samples::fill(*out->txInfoIs(vlan)->mstiNIs(round));
            out->txUpdateIs(vlan, round);
            out->txNewInfoIs(round);
            out->txHelloWhenOnIs(Stp::TimerVal::units(round));
            Samples::fill(*in, round);
            Samples::fill(*in->rxInfoIs(vlan)->mstiNIs(round));
            in->rxUpdateInc(vlan, 1);
            if (const auto copy = dynamic->rxMstStatus("mst1")->rxMstPortStatus(intf)) {
                if (const IntxInfo::Ptr record = copy->rxInfo(vlan))
                    counters.push_back(intxInfoChangeSmFactory(record, vlan));
            }
        }
    };
    change(1);
    change(2);
    const auto out = source->txMstStatus("mst1")->txMstPortStatus(Samples::et1);
    const auto in = received->rxMstStatus("mst1")->rxMstPortStatus(Samples::et1);
    out->txInfo(vlan)->mstiNDel(1);
    in->rxInfo(vlan)->mstiNDel(1);
    in->rxUpdateInc(vlan, 1);
    out->txInfoDel(vlan);
    out->txUpdateDel(vlan);
    in->rxUpdateDel(vlan);
    source->txMstStatus("mst1")->txMstPortStatusDel(Samples::et1);
    received->rxMstStatus("mst1")->rxMstPortStatusDel(Samples::et1);
    source->txMstStatusDel("mst1");
    received->rxMstStatusDel("mst1");

    // The destinations' entities are those that are written. Blocks end behind those inside them.
    const TraceReader reader = read();
    ASSERT_EQ(reader.records().size(), reader.recorded());
    std::size_t inWrites = 0;
    std::vector<std::vector<BlockRecord>> reactions(64); // by depth, without the block around them
    for (BlockRecord const& record : reader.records()) {
        for (BlockRecord const& reaction : std::exchange(reactions.at(record.depth + 1U), {})) {
            ASSERT_EQ(record.kind, BlockKind::write) << line(reader, reaction);
            EXPECT_TRUE(record.attribute == 0 ||
                        (record.entity == reaction.entity && record.attribute == reaction.attribute))
                << line(reader, reaction);
            ++inWrites;
        }
        if (record.kind == BlockKind::reaction)
            reactions.at(record.depth).push_back(record);
    }
    EXPECT_GT(inWrites, 150U);
}

} // namespace
} // namespace Varnol
