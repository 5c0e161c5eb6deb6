#include "syncers/MirrorDiff.h"
#include "syncers/RxStatusToRxDynamicSyncer.h"
#include "tests/framework/NothingLeft.h"
#include "tests/model/Samples.h"
#include "tests/model/TreeText.h"

#include <array>
#include <iostream>
#include <map>
#include <random>
#include <string>

/// Random changes of both trees, against a model of plain values that knows what each change does
/// to the destination.
namespace Varnol {
namespace {

using Samples::counters;
using Samples::et;

namespace Model {

struct Instance {
    unsigned flags = 0, externalCost = 0, internalCost = 0, hops = 0;
    bool operator==(Instance const&) const = default;
};
struct Record {
    unsigned octet = 0, version = 0, type = 0, revision = 0, digest = 0;
    std::string name;
    std::map<unsigned, Instance> instances;
    bool operator==(Record const&) const = default;
};
using Counters = std::array<unsigned, 6>;
struct Port {
    unsigned bpduCount = 0, maxCount = 0;
    double interval = 0;
    bool enabled = false;
    Counters counters{}, localCounters{};
    std::map<unsigned, Record> records;
    std::map<unsigned, unsigned> updates;
    bool operator==(Port const&) const = default;
};
struct Mst {
    std::map<unsigned, Port> ports;
    bool operator==(Mst const&) const = default;
};
struct Root {
    unsigned local = 0, peer = 0;
    double time = 0, localTime = 0, peerTime = 0;
    std::map<std::string, Mst> names;
    bool operator==(Root const&) const = default;
};

Port* port(Root& root, std::string const& name, unsigned intf) {
    const auto mst = root.names.find(name);
    if (mst == root.names.end())
        return nullptr;
    const auto found = mst->second.ports.find(intf);
    return found == mst->second.ports.end() ? nullptr : &found->second;
}

/// What a port's syncer does when it is made.
void scalarsCopied(Port const& from, Port& to) {
    to.bpduCount = from.bpduCount;
    to.maxCount = from.maxCount;
    to.interval = from.interval;
    to.enabled = from.enabled;
    to.counters = from.counters;
    to.localCounters = from.localCounters;
}
/// What a change of an update count does.
void updated(Port const& from, Port* to, unsigned vlan) {
    if (!to)
        return;
    const auto count = from.updates.find(vlan);
    const auto record = from.records.find(vlan);
    if (count != from.updates.end() && count->second != 0 && record != from.records.end()) {
        to->records[vlan] = record->second;
        ++to->updates[vlan];
    } else {
        to->records.erase(vlan);
        to->updates.erase(vlan);
    }
}

} // namespace Model

// A tree, read into plain values.

Model::Counters read(PortCounters const& from) {
    return {from.sent,        from.received,    from.taggedErrors,
            from.otherErrors, from.rateLimited, from.filtered};
}
Model::Record read(IntxInfo const& from) {
    Model::Record to{from.neighborAddr().octets()[5],
                     from.stpVersion().value(),
                     from.intxInfoType().value(),
                     from.configRevisionLevel(),
                     from.configDigest().octets()[0],
                     std::string(from.configNameString().view()),
                     {}};
    for (Zel::Ptr<IntxMstiInfo const> const& entry : from.mstiN())
        to.instances[entry->mstiId().value()] = {
            entry->flags().value(), entry->cistExtRootPathCost().value(),
            entry->intRootPathCost().value(), entry->remainingHops()};
    return to;
}
Model::Port read(RxMstPortStatus const& from) {
    Model::Port to{from.bpduCount(),
                   from.rateLimitMaxCount(),
                   from.rateLimitInterval(),
                   from.rateLimitEnabled(),
                   read(from.counters()),
                   read(from.localCounters()),
                   {},
                   {}};
    for (Zel::Ptr<IntxInfo const> const& record : from.rxInfo())
        EXPECT_TRUE(to.records.emplace(record->vlanId().value(), read(*record)).second);
    for (auto const& entry : from.rxUpdate())
        EXPECT_TRUE(to.updates.emplace(entry.key().value(), entry.value()).second);
    return to;
}
Model::Root read(RxStatus const& from) {
    Model::Root to{from.localHeartbeat(),     from.peerHeartbeat(),     from.updateCtrTime(),
                   from.localUpdateCtrTime(), from.peerUpdateCtrTime(), {}};
    for (Zel::Ptr<RxMstStatus const> const& mst : from.rxMstStatus()) {
        Model::Mst& name = to.names[TreeText::text(mst->name())];
        for (Zel::Ptr<RxMstPortStatus const> const& port : mst->rxMstPortStatus())
            EXPECT_TRUE(name.ports.emplace(port->intfId().port(), read(*port)).second);
    }
    return to;
}

class RxStatusRandom : public NothingLeft {
  protected:
    static constexpr unsigned operations = 500000;
    static constexpr unsigned batch = 500;

    void run(unsigned seed) {
        std::cout << "seed " << seed << std::endl;
        random_.seed(seed);
        start();
        for (unsigned done = 0; done < operations; ++done) {
            change();
            if ((done + 1) % batch == 0) {
                ASSERT_TRUE(read(*source_) == from_)
                    << "the source, seed " << seed << ", operation " << done;
                ASSERT_TRUE(read(*dynamic_) == to_)
                    << "the destination, seed " << seed << ", operation " << done;
                ASSERT_TRUE(childrenStandAsTheSource()) << "seed " << seed << ", " << done;
            }
        }
        ASSERT_NO_FATAL_FAILURE(becomesEqual());
        // The operations have met what they are for.
        EXPECT_GT(copied_, operations / 200);
        EXPECT_GT(deleted_, operations / 200);
        EXPECT_GT(withoutDestination_, operations / 200);
    }

  private:
    unsigned below(unsigned limit) {
        return std::uniform_int_distribution<unsigned>(0, limit - 1)(random_);
    }
    std::string someName() { return "mst" + std::to_string(below(4)); }
    static Kolvu::IntfId intf(unsigned port) { return et(static_cast<Zel::U16>(port)); }
    static Bridging::VlanIdOrNone vlanOf(unsigned vlan) {
        return Bridging::VlanIdOrNone(static_cast<Zel::U16>(vlan));
    }

    /// What is made when a root syncer is: all scalars are copied, no record is.
    void start() {
        syncer_ = nullptr;
        syncer_ = rxStatusToRxDynamicSyncerFactory(source_, dynamic_);
        to_.local = from_.local;
        to_.peer = from_.peer;
        to_.time = from_.time;
        to_.localTime = from_.localTime;
        to_.peerTime = from_.peerTime;
        for (auto const& [name, mst] : from_.names) {
            for (auto const& [port, values] : mst.ports) {
                if (Model::Port* at = Model::port(to_, name, port))
                    Model::scalarsCopied(values, *at);
            }
        }
    }

    /// Whether nothing is different any more once the destination has the source's names and
    /// interfaces and every VLAN of the source was signalled.
    void becomesEqual() {
        ASSERT_FALSE(mirrorDiff(*syncer_).empty()) << "the changes leave nothing to be found";
        for (auto const& [name, mst] : from_.names) {
            const RxMstStatus::Ptr to = dynamic_->rxMstStatusIs(std::string_view(name));
            for (auto const& [port, values] : mst.ports)
                to->rxMstPortStatusIs(intf(port));
        }
        start();
        for (auto const& [name, mst] : from_.names) {
            for (auto const& [port, values] : mst.ports) {
                const auto from =
                    source_->rxMstStatus(std::string_view(name))->rxMstPortStatus(intf(port));
                for (unsigned vlan = 0; vlan < 4; ++vlan)
                    from->rxUpdateIs(vlanOf(vlan), 1);
            }
        }
        EXPECT_EQ(Zel::differencesText(mirrorDiff(*syncer_)), "");
        for (Zel::Ptr<RxMstStatusToRxDynamicSyncer> const& name : syncer_->children()) {
            EXPECT_EQ(Zel::differencesText(mirrorDiff(*name)), "");
            for (Zel::Ptr<RxMstPortStatusToRxDynamicSyncer> const& port : name->children())
                EXPECT_EQ(Zel::differencesText(mirrorDiff(*port)), "");
        }
    }

    void change() {
        const unsigned what = below(1000);
        if (what < 30)
            changeRoot();
        else if (what < 50)
            changeNames();
        else if (what < 130)
            changePorts();
        else if (what < 150)
            changeDestinationNames();
        else if (what < 230)
            changeDestinationPorts();
        else if (what < 232)
            rebuildOrScan();
        else
            changePort();
    }

    void changeRoot() {
        const unsigned value = below(0xffffffff);
        switch (below(5)) {
        case 0:
            source_->localHeartbeatIs(value);
            from_.local = to_.local = value;
            break;
        case 1:
            source_->peerHeartbeatIs(value);
            from_.peer = to_.peer = value;
            break;
        case 2:
            source_->updateCtrTimeIs(value / 8.0);
            from_.time = to_.time = value / 8.0;
            break;
        case 3:
            source_->localUpdateCtrTimeIs(value / 8.0);
            from_.localTime = to_.localTime = value / 8.0;
            break;
        default:
            source_->peerUpdateCtrTimeIs(value / 8.0);
            from_.peerTime = to_.peerTime = value / 8.0;
        }
    }

    void changeNames() {
        const std::string name = someName();
        if (below(3) != 0) {
            source_->rxMstStatusIs(std::string_view(name));
            from_.names[name];
        } else {
            source_->rxMstStatusDel(std::string_view(name));
            from_.names.erase(name);
        }
    }
    void changePorts() {
        const std::string name = someName();
        const unsigned port = below(5);
        const RxMstStatus::Ptr mst = source_->rxMstStatus(std::string_view(name));
        if (!mst)
            return;
        if (below(3) != 0) {
            mst->rxMstPortStatusIs(intf(port));
            if (from_.names[name].ports.emplace(port, Model::Port()).second) {
                if (Model::Port* at = Model::port(to_, name, port))
                    Model::scalarsCopied(Model::Port(), *at);
            }
        } else {
            mst->rxMstPortStatusDel(intf(port));
            from_.names[name].ports.erase(port);
        }
    }
    void changeDestinationNames() {
        const std::string name = someName();
        if (below(4) != 0) {
            dynamic_->rxMstStatusIs(std::string_view(name));
            to_.names[name];
        } else {
            dynamic_->rxMstStatusDel(std::string_view(name));
            to_.names.erase(name);
        }
    }
    void changeDestinationPorts() {
        const std::string name = someName();
        const unsigned port = below(5);
        const RxMstStatus::Ptr mst = dynamic_->rxMstStatus(std::string_view(name));
        if (!mst)
            return;
        if (below(4) != 0) {
            mst->rxMstPortStatusIs(intf(port));
            to_.names[name].ports[port];
        } else {
            mst->rxMstPortStatusDel(intf(port));
            to_.names[name].ports.erase(port);
        }
    }
    void rebuildOrScan() {
        if (below(2) != 0)
            start();
        else
            syncer_->handleMstStatus();
    }

    void changePort() {
        const std::string name = someName();
        const unsigned number = below(5);
        Model::Port* const from = Model::port(from_, name, number);
        if (!from)
            return;
        RxMstPortStatus& port =
            *source_->rxMstStatus(std::string_view(name))->rxMstPortStatus(intf(number));
        Model::Port* const to = Model::port(to_, name, number);
        Model::Port nowhere;
        Model::Port& written = to ? *to : nowhere;
        withoutDestination_ += to == nullptr;
        const unsigned value = below(0xffffffff);
        const Model::Counters counted{value, value + 1, value + 2, value + 3, value + 4, value + 5};
        switch (below(16)) {
        case 0:
            port.bpduCountIs(value);
            from->bpduCount = written.bpduCount = value;
            break;
        case 1:
            port.rateLimitMaxCountIs(value);
            from->maxCount = written.maxCount = value;
            break;
        case 2:
            port.rateLimitIntervalIs(value / 4.0);
            from->interval = written.interval = value / 4.0;
            break;
        case 3:
            port.rateLimitEnabledIs(value % 2 != 0);
            from->enabled = written.enabled = value % 2 != 0;
            break;
        case 4:
            port.countersIs(counters(value));
            from->counters = written.counters = counted;
            break;
        case 5:
            port.localCountersIs(counters(value));
            from->localCounters = written.localCounters = counted;
            break;
        default:
            changeVlan(port, *from, to);
        }
    }

    void changeVlan(RxMstPortStatus& port, Model::Port& from, Model::Port* to) {
        const unsigned vlan = below(4);
        switch (below(8)) {
        case 0:
        case 1:
        case 2:
            changeRecord(*port.rxInfoIs(vlanOf(vlan)), from.records[vlan]);
            return; // which by itself changes nothing else
        case 3:
            port.rxInfoDel(vlanOf(vlan));
            from.records.erase(vlan);
            return;
        case 4: {
            port.rxUpdateDel(vlanOf(vlan));
            if (from.updates.erase(vlan) == 0)
                return;
            break;
        }
        case 5: {
            const unsigned count = below(3) * 0x7fffffff;
            port.rxUpdateIs(vlanOf(vlan), count);
            from.updates[vlan] = count;
            break;
        }
        default: {
            const unsigned amount = below(4);
            port.rxUpdateInc(vlanOf(vlan), amount);
            from.updates[vlan] += amount;
        }
        }
        if (to) {
            const bool copies = from.updates.contains(vlan) && from.updates[vlan] != 0 &&
                                from.records.contains(vlan);
            ++(copies ? copied_ : deleted_);
        }
        Model::updated(from, to, vlan);
    }

    void changeRecord(IntxInfo& record, Model::Record& model) {
        const unsigned value = below(256);
        const auto octet = static_cast<Zel::U8>(value);
        switch (below(9)) {
        case 0:
            record.neighborAddrIs({0, 0, 0, 0, 0, octet});
            model.octet = value;
            break;
        case 1:
            record.stpVersionIs(octet);
            model.version = value;
            break;
        case 2:
            record.intxInfoTypeIs(octet);
            model.type = value;
            break;
        case 3:
            record.configRevisionLevelIs(octet);
            model.revision = value;
            break;
        case 4:
            model.name = std::string(value % 40, 'n');
            record.configNameStringIs(std::string_view(model.name));
            break;
        case 5:
            record.configDigestIs(Stp::MstpConfigDigest({octet}));
            model.digest = value;
            break;
        case 6:
            record.mstiNDel(instance(value % 4));
            model.instances.erase(value % 4);
            break;
        default: {
            const auto entry = record.mstiNIs(instance(value % 4));
            entry->flagsIs(octet);
            entry->cistExtRootPathCostIs(value * 3);
            entry->intRootPathCostIs(value * 5);
            entry->remainingHopsIs(octet);
            model.instances[value % 4] = {value, value * 3, value * 5, value};
        }
        }
    }
    static Stp::BridgeSystemId instance(unsigned number) {
        return Stp::BridgeSystemId(static_cast<Zel::U16>(number));
    }

    /// Whether there is just one syncer for each name and interface of the source.
    bool childrenStandAsTheSource() {
        bool stand = syncer_->children().map().check() &&
                     syncer_->children().map().members() == from_.names.size();
        for (auto const& [name, mst] : from_.names) {
            const auto child = syncer_->mstDynSyncerSm(std::string_view(name));
            stand = stand && child &&
                    child->source() == source_->rxMstStatus(std::string_view(name)) &&
                    child->children().map().check() &&
                    child->children().map().members() == mst.ports.size();
            for (auto const& [port, values] : mst.ports)
                stand = stand && child->mstDynPortSm(intf(port)) &&
                        child->mstDynPortSm(intf(port))->source() ==
                            child->source()->rxMstPortStatus(intf(port));
        }
        return stand;
    }

    std::mt19937 random_;
    RxStatus::Ptr source_{new RxStatus};
    RxStatus::Ptr dynamic_{new RxStatus};
    Zel::Ptr<RxStatusToRxDynamicSyncer> syncer_;
    Model::Root from_, to_;
    unsigned copied_ = 0, deleted_ = 0, withoutDestination_ = 0;
};
WITH_BOTH_WAYS_OF_COUNTING(RxStatusRandom);

// A million operations, half of them with the thread-safe counting.
TEST_P(RxStatusRandom, TheDestinationIsWhatTheModelSaysAfterEachBatchOfChanges) {
    run(GetParam() ? 20261 : 20260);
}

} // namespace
} // namespace Varnol
