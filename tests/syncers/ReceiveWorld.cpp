#include "tests/syncers/ReceiveWorld.h"

#include "framework/zel/Exception.h"
#include "syncers/MirrorDiff.h"
#include "tests/model/TreeText.h"

#include <utility>

using namespace Varnol;
using Modelled::ensure;
using Modelled::holds;
using ReceiveModel::Intf;

namespace {

Zel::Name nameOf(std::string const& name) { return Zel::Name(std::string_view(name)); }

// A tree, read into plain values.

ReceiveModel::Counters read(PortCounters const& from) {
    return {from.sent,        from.received,    from.taggedErrors,
            from.otherErrors, from.rateLimited, from.filtered};
}
ReceiveModel::Record read(IntxInfo const& from) {
    ReceiveModel::Record to{from.neighborAddr().octets()[5],
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
ReceiveModel::Port read(RxMstPortStatus const& from) {
    ReceiveModel::Port to{from.bpduCount(),
                          from.rateLimitMaxCount(),
                          from.rateLimitInterval(),
                          from.rateLimitEnabled(),
                          read(from.counters()),
                          read(from.localCounters()),
                          {},
                          {}};
    for (Zel::Ptr<IntxInfo const> const& record : from.rxInfo())
        holds(to.records.emplace(record->vlanId().value(), read(*record)).second,
              "a VLAN has one record");
    for (auto const& entry : from.rxUpdate())
        holds(to.updates.emplace(entry.key().value(), entry.value()).second,
              "a VLAN has one update count");
    return to;
}
ReceiveModel::Root read(RxStatus const& from) {
    ReceiveModel::Root to{from.localHeartbeat(),     from.peerHeartbeat(),     from.updateCtrTime(),
                          from.localUpdateCtrTime(), from.peerUpdateCtrTime(), {}};
    for (Zel::Ptr<RxMstStatus const> const& mst : from.rxMstStatus()) {
        const auto name = ensure(to.msts, TreeText::text(mst->name()));
        for (Zel::Ptr<RxMstPortStatus const> const& port : mst->rxMstPortStatus())
            holds(name->ports
                      .emplace(port->intfId(), std::make_shared<ReceiveModel::Port>(read(*port)))
                      .second,
                  "an interface is there once");
    }
    return to;
}

std::string text(ReceiveModel::Root const& root) {
    std::string all = std::to_string(root.local) + " " + std::to_string(root.peer) + "\n";
    for (auto const& [name, mst] : root.msts) {
        all += name + "\n";
        for (auto const& [intf, port] : mst->ports) {
            all += "  " + TreeText::text(intf) + " " + std::to_string(port->bpduCount) + "," +
                   std::to_string(port->maxCount) + "," + std::to_string(port->counters[0]) + "," +
                   std::to_string(port->localCounters[0]);
            for (auto const& [vlan, record] : port->records)
                all += " " + std::to_string(vlan) + ":" + std::to_string(record.version) + "," +
                       std::to_string(record.instances.size());
            for (auto const& [vlan, count] : port->updates)
                all += " " + std::to_string(vlan) + "=" + std::to_string(count);
            all += "\n";
        }
    }
    return all;
}
void compareTree(std::string const& what, RxStatus const& tree, ReceiveModel::Root const& model) {
    const ReceiveModel::Root is = read(tree);
    holds(is == model,
          what + " is what the model says; it is\n" + text(is) + "but to be\n" + text(model));
}

/// Whether the dynamic tree has what the receive syncers copy from the source.
bool mirrored(ReceiveModel::Port const& from, ReceiveModel::Port const& to) {
    if (from.bpduCount != to.bpduCount || from.maxCount != to.maxCount ||
        from.interval != to.interval || from.enabled != to.enabled ||
        from.counters != to.counters || from.localCounters != to.localCounters)
        return false;
    const auto counted = [](ReceiveModel::Port const& port, unsigned vlan) {
        const auto at = port.updates.find(vlan);
        return at != port.updates.end() && at->second != 0;
    };
    for (auto const& [vlan, record] : from.records) {
        if (!counted(from, vlan))
            continue;
        const auto at = to.records.find(vlan);
        if (at == to.records.end() || at->second != record || !counted(to, vlan))
            return false;
    }
    const auto extra = [&](auto const& at) {
        return !from.records.contains(at.first) || !counted(from, at.first);
    };
    return std::ranges::none_of(to.records, extra) &&
           std::ranges::none_of(to.updates,
                                [&](auto const& at) { return at.second != 0 && extra(at); });
}
bool mirrored(ReceiveModel::Root const& from, ReceiveModel::Root const& to) {
    if (from.local != to.local || from.peer != to.peer || from.time != to.time ||
        from.localTime != to.localTime || from.peerTime != to.peerTime)
        return false;
    for (auto const& [name, mst] : from.msts) {
        if (!to.msts.contains(name))
            return false;
        for (auto const& [intf, port] : mst->ports) {
            const auto at = ReceiveModel::port(to, name, intf);
            if (!at || !mirrored(*port, *at))
                return false;
        }
    }
    return true;
}

} // namespace

std::string structureOf(ReceiveModel::Root const& model) {
    std::string all;
    for (auto const& [name, mst] : model.msts) {
        all += name;
        for (auto const& [intf, port] : mst->ports)
            all += " " + TreeText::text(intf);
        all += "\n";
    }
    return all;
}

std::string structureOf(RxStatus const& tree) { return structureOf(read(tree)); }

ReceiveWorld::ReceiveWorld(Dice& dice, DynamicTree& dynamic)
    : dice_(dice)
    , dynamic_(dynamic) {
    start();
}

void ReceiveWorld::start() {
    Source const& source = sources_[dice_.below(2)];
    drop();
    syncer_ = rxStatusToRxDynamicSyncerFactory(source.tree, dynamic_.tree);
    model_ = std::make_unique<ReceiveModel::Syncer>(source.model, dynamic_.model);
}

void ReceiveWorld::drop() {
    syncer_ = nullptr;
    model_.reset();
}

/// A scan that is refused has reached some names and others not: all begin anew after it.
void ReceiveWorld::refusable(auto const& act, auto const& expect) {
    if (Modelled::both<Zel::NameInUseException>(act, expect).empty())
        return;
    ++refused;
    syncer_->mstDynSyncerSmDelAll();
    model_->msts.clear();
    syncer_->handleMstStatus();
    model_->scan();
}

bool ReceiveWorld::disturbSyncer() {
    if (!syncer_) {
        start();
        ++disturbed.recreated;
        return true;
    }
    switch (dice_.below(8)) {
    case 0:
        start();
        ++disturbed.recreated;
        return true;
    case 1:
        drop();
        ++disturbed.dropped;
        return true;
    case 2:
        syncer_->sourceDel();
        return std::exchange(model_->source, nullptr) != nullptr;
    case 3:
    case 4: {
        Source const& source = sources_[dice_.below(2)];
        const bool isOther = model_->source != source.model;
        refusable([&] { syncer_->sourceIs(source.tree); }, [&] { model_->sourceIs(source.model); });
        disturbed.rebound += isOther;
        return isOther;
    }
    case 5: {
        const bool finds = model_->source && !model_->source->msts.empty();
        refusable([&] { syncer_->handleMstStatus(); }, [&] { model_->scan(); });
        return finds;
    }
    default: {
        const bool on = dice_.once(2);
        const bool isOther = model_->notification.active != on;
        disturbed.paused += !on && syncer_->hasNotificationActive();
        syncer_->hasNotificationActiveIs(on);
        model_->activeIs(on);
        return isOther;
    }
    }
}

bool ReceiveWorld::operate() {
    source_ = &sources_[dice_.once(5) ? 1 : 0];
    const unsigned what = dice_.below(1000);
    if (what < 30) {
        changeRoot();
        return true;
    }
    if (what < 50)
        return changeNames();
    if (what < 110)
        return changePorts();
    if (what < 130)
        return changeDynamicNames();
    if (what < 200)
        return changeDynamicPorts();
    if (what < 212)
        return disturbSyncer();
    return changePort();
}

void ReceiveWorld::changeRoot() {
    const unsigned value = dice_.below(0xffffffff);
    const bool told = model_ && model_->watches(source_->model);
    ReceiveModel::Root nowhere;
    ReceiveModel::Root& from = *source_->model;
    ReceiveModel::Root& to = told ? *dynamic_.model : nowhere;
    switch (dice_.below(5)) {
    case 0:
        source_->tree->localHeartbeatIs(value);
        from.local = to.local = value;
        break;
    case 1:
        source_->tree->peerHeartbeatIs(value);
        from.peer = to.peer = value;
        break;
    case 2:
        source_->tree->updateCtrTimeIs(value / 8.0);
        from.time = to.time = value / 8.0;
        break;
    case 3:
        source_->tree->localUpdateCtrTimeIs(value / 8.0);
        from.localTime = to.localTime = value / 8.0;
        break;
    default:
        source_->tree->peerUpdateCtrTimeIs(value / 8.0);
        from.peerTime = to.peerTime = value / 8.0;
    }
}

// Random contents, made on both sides; nobody watches yet.
void ReceiveWorld::fill(RxMstStatus& mst, ReceiveModel::Mst& model) {
    for (unsigned count = dice_.below(3); count > 0; --count) {
        const Intf intf = dice_.intf();
        const auto port = mst.rxMstPortStatusIs(intf);
        const auto modelled = ensure(model.ports, intf);
        modelled->bpduCount = dice_.below(1000);
        port->bpduCountIs(modelled->bpduCount);
        const Zel::U16 vlan = dice_.vlan();
        changeRecord(*port->rxInfoIs(vlan), modelled->records[vlan]);
    }
}

bool ReceiveWorld::changeNames() {
    const std::string name = dice_.name();
    auto& names = source_->model->msts;
    const bool has = names.contains(name);
    const auto tell = [&] {
        if (model_ && model_->watches(source_->model))
            model_->handleMst(name);
    };
    switch (dice_.below(4)) {
    case 0: // with contents, in the place of what was there
    {
        const RxMstStatus::Ptr made(new RxMstStatus(nameOf(name)));
        const auto modelled = std::make_shared<ReceiveModel::Mst>();
        fill(*made, *modelled);
        refusable([&] { source_->tree->rxMstStatusMemberIs(made); },
                  [&] {
                      names[name] = modelled;
                      tell();
                  });
        return true;
    }
    case 1:
        refusable([&] { source_->tree->rxMstStatusDel(nameOf(name)); },
                  [&] {
                      if (names.erase(name) != 0)
                          tell();
                  });
        return has;
    default:
        refusable([&] { source_->tree->rxMstStatusIs(nameOf(name)); },
                  [&] {
                      if (has)
                          return;
                      ensure(names, name);
                      tell();
                  });
        return !has;
    }
}

bool ReceiveWorld::changePorts() {
    const std::string name = dice_.name();
    const Intf intf = dice_.intf();
    const RxMstStatus::Ptr mst = source_->tree->rxMstStatus(nameOf(name));
    if (!mst)
        return false;
    const auto model = source_->model->msts.at(name);
    const bool has = model->ports.contains(intf);
    const auto tell = [&] {
        if (!model_)
            return;
        for (auto& [key, syncer] : model_->msts) {
            if (syncer.source == model && syncer.notification.sourceActive)
                syncer.handlePort(*dynamic_.model, key, intf);
        }
    };
    if (dice_.below(3) != 0) {
        refusable([&] { mst->rxMstPortStatusIs(intf); },
                  [&] {
                      if (has)
                          return;
                      ensure(model->ports, intf);
                      tell();
                  });
        return !has;
    }
    refusable([&] { mst->rxMstPortStatusDel(intf); },
              [&] {
                  if (model->ports.erase(intf) != 0)
                      tell();
              });
    return has;
}

bool ReceiveWorld::changeDynamicNames() {
    const std::string name = dice_.name();
    if (dice_.below(4) != 0) {
        dynamic_.tree->rxMstStatusIs(nameOf(name));
        return Modelled::ensured(dynamic_.model->msts, name);
    }
    dynamic_.tree->rxMstStatusDel(nameOf(name));
    return dynamic_.model->msts.erase(name) != 0;
}

bool ReceiveWorld::changeDynamicPorts() {
    const std::string name = dice_.name();
    const Intf intf = dice_.intf();
    const RxMstStatus::Ptr mst = dynamic_.tree->rxMstStatus(nameOf(name));
    if (!mst)
        return false;
    const auto model = dynamic_.model->msts.at(name);
    if (dice_.below(4) != 0) {
        mst->rxMstPortStatusIs(intf);
        return Modelled::ensured(model->ports, intf);
    }
    mst->rxMstPortStatusDel(intf);
    return model->ports.erase(intf) != 0;
}

template <class React>
void ReceiveWorld::tellPort(std::shared_ptr<ReceiveModel::Port> const& source, React react) {
    if (!model_)
        return;
    for (auto& [name, mst] : model_->msts) {
        for (auto& [intf, port] : mst.ports) {
            if (port.source == source && port.notification.sourceActive)
                react(port, ReceiveModel::port(*dynamic_.model, name, intf));
        }
    }
}

/// Calls write(port) for the port and for its destinations.
template <class Write>
void ReceiveWorld::scalar(std::shared_ptr<ReceiveModel::Port> const& port, Write write) {
    write(*port);
    tellPort(port, [&](auto const&, std::shared_ptr<ReceiveModel::Port> const& to) {
        if (to)
            write(*to);
        else
            ++withoutDestination;
    });
}

bool ReceiveWorld::changePort() {
    std::string name = dice_.name();
    auto const& names = source_->model->msts;
    if (!names.contains(name) && !names.empty())
        name = names.begin()->first;
    const RxMstStatus::Ptr mst = source_->tree->rxMstStatus(nameOf(name));
    if (!mst)
        return false;
    Intf intf = dice_.intf();
    auto const& ports = names.at(name)->ports;
    if (!ports.contains(intf) && !ports.empty())
        intf = ports.begin()->first;
    const RxMstPortStatus::Ptr port = mst->rxMstPortStatus(intf);
    if (!port)
        return false;
    const auto model = ports.at(intf);
    const unsigned value = dice_.below(0xffffffff);
    const ReceiveModel::Counters counted{value,     value + 1, value + 2,
                                         value + 3, value + 4, value + 5};
    switch (dice_.below(16)) {
    case 0:
        port->bpduCountIs(value);
        scalar(model, [&](auto& to) { to.bpduCount = value; });
        break;
    case 1:
        port->rateLimitMaxCountIs(value);
        scalar(model, [&](auto& to) { to.maxCount = value; });
        break;
    case 2:
        port->rateLimitIntervalIs(value / 4.0);
        scalar(model, [&](auto& to) { to.interval = value / 4.0; });
        break;
    case 3:
        port->rateLimitEnabledIs(value % 2 != 0);
        scalar(model, [&](auto& to) { to.enabled = value % 2 != 0; });
        break;
    case 4:
        port->countersIs(Samples::counters(value));
        scalar(model, [&](auto& to) { to.counters = counted; });
        break;
    case 5:
        port->localCountersIs(Samples::counters(value));
        scalar(model, [&](auto& to) { to.localCounters = counted; });
        break;
    default:
        return changeVlan(*port, model);
    }
    return true;
}

bool ReceiveWorld::changeVlan(RxMstPortStatus& port,
                              std::shared_ptr<ReceiveModel::Port> const& model) {
    const Zel::U16 vlan = dice_.vlan();
    switch (dice_.below(8)) {
    case 0:
    case 1:
    case 2: {
        const bool isNew = model->records.try_emplace(vlan).second;
        return changeRecord(*port.rxInfoIs(vlan), model->records[vlan]) || isNew;
    }
    case 3: // which, as the former, by itself changes nothing else
        port.rxInfoDel(vlan);
        return model->records.erase(vlan) != 0;
    case 4:
        port.rxUpdateDel(vlan);
        if (model->updates.erase(vlan) == 0)
            return false;
        break;
    case 5: {
        const unsigned count = dice_.below(3) * 0x7fffffff;
        port.rxUpdateIs(vlan, count);
        model->updates[vlan] = count;
        break;
    }
    default: {
        const unsigned amount = dice_.below(4);
        port.rxUpdateInc(vlan, amount);
        model->updates[vlan] += amount;
    }
    }
    tellPort(model, [&](ReceiveModel::PortSyncer const& syncer,
                        std::shared_ptr<ReceiveModel::Port> const& to) {
        if (!to) {
            ++withoutDestination;
            return;
        }
        ++(syncer.copies(vlan) ? copied : deleted);
        syncer.handleUpdate(*to, vlan);
    });
    return true;
}

bool ReceiveWorld::changeRecord(IntxInfo& record, ReceiveModel::Record& model) {
    const unsigned value = dice_.below(256);
    const auto octet = static_cast<Zel::U8>(value);
    const Stp::BridgeSystemId instance(static_cast<Zel::U16>(value % 4));
    switch (dice_.below(9)) {
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
        record.mstiNDel(instance);
        return model.instances.erase(value % 4) != 0;
    default: {
        const auto entry = record.mstiNIs(instance);
        entry->flagsIs(octet);
        entry->cistExtRootPathCostIs(value * 3);
        entry->intRootPathCostIs(value * 5);
        entry->remainingHopsIs(octet);
        model.instances[value % 4] = {value, value * 3, value * 5, value};
    }
    }
    return true;
}

void ReceiveWorld::compare() {
    for (unsigned n = 0; n < sources_.size(); ++n)
        compareTree("receive source " + std::to_string(n), *sources_[n].tree, *sources_[n].model);
    compareTree("the dynamic tree", *dynamic_.tree, *dynamic_.model);
    if (!syncer_)
        return;
    compareSyncer();
    if (!model_->source)
        return;
    const bool equal = mirrored(*model_->source, *dynamic_.model);
    different += !equal;
    holds(mirrorDiff(*syncer_).empty() == equal,
          "the comparison finds a difference where there is one: " +
              Zel::differencesText(mirrorDiff(*syncer_)));
}

/// One syncer for each that the model has, on the same source.
void ReceiveWorld::compareSyncer() const {
    holds(syncer_->hasNotificationActive() == model_->notification.active,
          "the receive syncer is active as the model says");
    RxStatus const* source = nullptr;
    for (Source const& each : sources_) {
        if (model_->source == each.model)
            source = each.tree.ptr();
    }
    holds(syncer_->source().ptr() == source, "the receive syncer has the source of the model");
    holds(syncer_->children().map().check() &&
              syncer_->children().map().members() == model_->msts.size(),
          "there is a syncer for each MST name of the model");
    for (auto const& [name, mst] : model_->msts) {
        const auto child = syncer_->mstDynSyncerSm(nameOf(name));
        holds(child && child->source(), "there is a syncer of " + name);
        holds(child->hasNotificationActive() == mst.notification.active,
              "the syncer of " + name + " is active as the model says");
        holds(child->children().map().check() &&
                  child->children().map().members() == mst.ports.size(),
              "there is a syncer for each interface of " + name);
        for (auto const& [intf, port] : mst.ports) {
            const auto syncing = child->mstDynPortSm(intf);
            holds(syncing && syncing->source() && read(*syncing->source()) == *port.source &&
                      syncing->hasNotificationActive() == port.notification.active,
                  "the syncer of " + name + " " + TreeText::text(intf) + " is the model's");
        }
    }
}

void ReceiveWorld::becomesEqual() {
    Source const& source = sources_[0];
    for (auto const& [name, mst] : source.model->msts) {
        const RxMstStatus::Ptr to = dynamic_.tree->rxMstStatusIs(nameOf(name));
        const auto model = ensure(dynamic_.model->msts, name);
        for (Intf intf : Modelled::keys(mst->ports)) {
            to->rxMstPortStatusIs(intf);
            ensure(model->ports, intf);
        }
    }
    drop();
    syncer_ = rxStatusToRxDynamicSyncerFactory(source.tree, dynamic_.tree);
    model_ = std::make_unique<ReceiveModel::Syncer>(source.model, dynamic_.model);
    for (auto const& [name, mst] : source.model->msts) {
        for (auto const& [intf, port] : mst->ports) {
            const auto from = source.tree->rxMstStatus(nameOf(name))->rxMstPortStatus(intf);
            for (const Zel::U16 vlan : std::array<Zel::U16, 3>{0, 10, 4094}) {
                from->rxUpdateIs(vlan, 1);
                port->updates[vlan] = 1;
                tellPort(port, [&](auto const& syncer, auto const& to) {
                    syncer.handleUpdate(*to, vlan);
                });
            }
        }
    }
    compare();
    Modelled::same("the difference", Zel::differencesText(mirrorDiff(*syncer_)), "");
    for (Zel::Ptr<RxMstStatusToRxDynamicSyncer> const& name : syncer_->children()) {
        holds(mirrorDiff(*name).empty(), "a name's trees are equal");
        for (Zel::Ptr<RxMstPortStatusToRxDynamicSyncer> const& port : name->children())
            holds(mirrorDiff(*port).empty(), "an interface's trees are equal");
    }
}
