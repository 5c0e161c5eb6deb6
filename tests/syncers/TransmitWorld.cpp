#include "tests/syncers/TransmitWorld.h"

#include "framework/zel/Exception.h"
#include "syncers/MirrorDiff.h"
#include "tests/model/TreeText.h"

#include <map>
#include <utility>

using namespace Varnol;
using Modelled::holds;
using Modelled::same;

namespace {

std::string number(unsigned value) { return std::to_string(value); }
/// A mark for what is switched off.
std::string activity(bool active) { return active ? "" : "!"; }
Zel::Name nameOf(std::string const& name) { return Zel::Name(std::string_view(name)); }

std::string describe(TransmitModel::Record const& record) {
    std::string all = number(record.version) + "," + number(record.revision) + "{";
    for (auto const& [key, entry] : record.entries)
        all += number(key) + ":" + number(entry->flags) + "," + number(entry->maxAge) + " ";
    return all + "}";
}
std::string describe(TransmitModel::Port const& port) {
    std::string all = number(port.newInfo) + "," + number(port.hello) + "[";
    for (auto const& [vlan, value] : port.updates)
        all += number(vlan) + "=" + number(value) + " ";
    all += "]{";
    for (auto const& [vlan, record] : port.records)
        all += number(vlan) + ":" + describe(*record) + " ";
    return all + "}";
}
std::string describe(TransmitModel::Tree const& tree) {
    std::string all = TreeText::text(tree.heartbeat) + "\n";
    for (auto const& [name, mst] : tree.msts) {
        all += name + "\n";
        for (auto const& [intf, port] : mst->ports)
            all += "  " + TreeText::text(intf) + " " + describe(*port) + "\n";
    }
    return all;
}
std::string describe(TransmitModel::TxSyncer const& syncer) {
    std::string all = activity(syncer.notification.active);
    for (auto const& [name, mst] : syncer.msts) {
        all += activity(mst.active) + name +
               (Modelled::find(syncer.dest->msts, name) == mst.dest ? " in\n" : " out\n");
        for (auto const& [intf, port] : mst.ports) {
            all += "  " + activity(port.active) + TreeText::text(intf) + " " +
                   (port.dest ? describe(*port.dest) : "no destination") + " syncers";
            for (auto const& [vlan, syncing] : port.syncers)
                all += " " + activity(syncing.notification.active) + number(vlan) + ":" +
                       describe(*syncing.dest);
            all += "\n";
        }
    }
    return all;
}
std::string describe(TransmitModel::RxSyncer const& syncer) {
    std::string all = activity(syncer.notification.active);
    for (auto const& [name, reactor] : syncer.msts) {
        all += activity(reactor.active) + name +
               (Modelled::find(syncer.dest->msts, name) == reactor.dest ? " in" : " out");
        for (auto const& [intf, port] : reactor.dest->ports)
            all += " " + TreeText::text(intf);
        all += "\n";
    }
    return all;
}

/// The members of a map of a tree, sorted by key.
template <class Map> auto sorted(Map const& map) {
    using Key = typename Map::key_type;
    std::map<Key, typename Map::element_type const*> members;
    for (auto const& member : map)
        members.emplace(member->fwkKey(), member.ptr());
    return members;
}

std::string describe(IntxInfo const& record) {
    std::string all =
        number(record.stpVersion().value()) + "," + number(record.configRevisionLevel()) + "{";
    for (auto const& [key, entry] : sorted(record.mstiN()))
        all += number(key.value()) + ":" + number(entry->flags().value()) + "," +
               number(entry->maxAge().units()) + " ";
    return all + "}";
}
std::string describe(TxMstPortStatus const& port) {
    std::string all = number(port.txNewInfo()) + "," + number(port.txHelloWhenOn().units()) + "[";
    std::map<TransmitModel::Vlan, unsigned> updates;
    for (auto const& node : port.txUpdate())
        updates.emplace(node.key().value(), node.value());
    for (auto const& [vlan, value] : updates)
        all += number(vlan) + "=" + number(value) + " ";
    all += "]{";
    for (auto const& [vlan, record] : sorted(port.txInfo()))
        all += number(vlan.value()) + ":" + describe(*record) + " ";
    return all + "}";
}
std::string describe(TxStatus const& tree) {
    std::string all = TreeText::text(tree.heartbeatTimeout()) + "\n";
    for (auto const& [name, mst] : sorted(tree.txMstStatus())) {
        all += TreeText::text(name) + "\n";
        for (auto const& [intf, port] : sorted(mst->txMstPortStatus()))
            all += "  " + TreeText::text(intf) + " " + describe(*port) + "\n";
    }
    return all;
}
/// What structureOf() says of a receive tree with the names and interfaces of the transmit tree.
std::string structure(TxStatus const& tree) {
    std::string all;
    for (auto const& [name, mst] : sorted(tree.txMstStatus())) {
        all += TreeText::text(name);
        for (auto const& [intf, port] : sorted(mst->txMstPortStatus()))
            all += " " + TreeText::text(intf);
        all += "\n";
    }
    return all;
}
/// A description without update counts that are 0, which are the same as none.
std::string withoutZeros(std::string const& description) {
    std::string all;
    std::size_t begin = 0;
    for (std::size_t end = 0; end < description.size(); begin = end) {
        end = std::min(description.find_first_of(" [", begin), description.size() - 1) + 1;
        const std::string_view word(description.data() + begin, end - begin);
        if (!word.ends_with("=0 "))
            all += word;
    }
    return all;
}
std::string describe(TxStatusToTxSyncer& syncer) {
    std::string all = activity(syncer.hasNotificationActive());
    for (auto const& [name, constMst] : sorted(syncer.children().map())) {
        const auto mst = syncer.txMstStatus(name);
        all += activity(mst->hasNotificationActive()) + TreeText::text(name) +
               (syncer.dest()->txMstStatus(name) == mst->dest() ? " in\n" : " out\n");
        for (auto const& [intf, constPort] : sorted(mst->children().map())) {
            const auto port = mst->txMstPortStatus(intf);
            all += "  " + activity(port->hasNotificationActive()) + TreeText::text(intf) + " " +
                   (port->dest() ? describe(*port->dest()) : "no destination") + " syncers";
            for (auto const& [vlan, syncing] : sorted(port->children().map()))
                all += " " + activity(syncing->hasNotificationActive()) + number(vlan.value()) +
                       ":" + describe(*syncing->dest());
            all += "\n";
        }
    }
    return all;
}
std::string describe(TxStatusToRxSyncer& syncer) {
    std::string all = activity(syncer.hasNotificationActive());
    for (auto const& [name, reactor] : sorted(syncer.children().map())) {
        all += activity(reactor->hasNotificationActive()) + TreeText::text(name) +
               (syncer.rxStatus()->rxMstStatus(name) == reactor->rxMstStatus() ? " in" : " out");
        for (auto const& [intf, port] : sorted(reactor->rxMstStatus()->rxMstPortStatus()))
            all += " " + TreeText::text(intf);
        all += "\n";
    }
    return all;
}

} // namespace

TransmitWorld::TransmitWorld(Dice& dice, DynamicTree& dynamic)
    : dice_(dice)
    , dynamic_(dynamic) {
    for (auto& source : sources_)
        source = TxStatus::Ptr(new TxStatus);
    for (auto& model : models_)
        model = std::make_shared<TransmitModel::Tree>();
    start(dice_.below(2));
}

void TransmitWorld::start(unsigned at) {
    txSyncer_ = txStatusToTxSyncerFactory(sources_[at], dest_);
    rxSyncer_ = txStatusToRxSyncerFactory(sources_[at], dynamic_.tree);
    txSyncing_ = std::make_unique<TransmitModel::TxSyncer>(models_[at], destModel_);
    rxSyncing_ = std::make_unique<TransmitModel::RxSyncer>(models_[at], dynamic_.model);
}

void TransmitWorld::drop() {
    txSyncer_ = nullptr;
    rxSyncer_ = nullptr;
    txSyncing_.reset();
    rxSyncing_.reset();
}

void TransmitWorld::compare() {
    for (unsigned n = 0; n < sources_.size(); ++n)
        same("transmit source " + std::to_string(n), describe(*sources_[n]), describe(*models_[n]));
    same("the transmit destination", describe(*dest_), describe(*destModel_));
    same("the dynamic tree's structure", structureOf(*dynamic_.tree), structureOf(*dynamic_.model));
    if (!txSyncer_)
        return;
    const std::string reactors = describe(*txSyncing_);
    same("the transmit-to-transmit syncer", describe(*txSyncer_), reactors);
    same("the transmit-to-receive syncer", describe(*rxSyncer_), describe(*rxSyncing_));
    ++comparisons;
    withoutDest += reactors.find("no destination") != reactors.npos;
    withFormerDest += reactors.find(" out\n") != reactors.npos;
    const unsigned at = txSyncing_->source == models_[0] ? 0 : 1;
    const TxStatus* bound = txSyncing_->source ? sources_[at].ptr() : nullptr;
    holds(txSyncer_->source().ptr() == bound && rxSyncer_->source().ptr() == bound,
          "the transmit syncers have the source of the model");
    compareDiffs();
}

/// Whether the comparison of a syncer's trees finds a difference just where there is one.
void TransmitWorld::compareDiffs() {
    const Zel::Ptr<TxStatus const> source = txSyncer_->source();
    if (!source)
        return;
    const bool txEqual = withoutZeros(describe(*source)) == withoutZeros(describe(*dest_));
    holds(mirrorDiff(*txSyncer_).empty() == txEqual,
          "the comparison of transmit trees finds a difference where there is one");
    const bool rxEqual = structure(*source) == structureOf(*dynamic_.tree);
    holds(mirrorDiff(*rxSyncer_).empty() == rxEqual,
          "the comparison with the receive tree finds a difference where there is one");
    different += !txEqual;
}

void TransmitWorld::becomesEqual() {
    start(0);
    compare();
    same("the difference of the transmit trees", Zel::differencesText(mirrorDiff(*txSyncer_)), "");
    same("the difference of the structures", Zel::differencesText(mirrorDiff(*rxSyncer_)), "");
}

// Random contents, made on both sides; nobody watches yet.
void TransmitWorld::fill(IntxInfo& record, TransmitModel::Record& model) {
    model.version = anyValue();
    model.revision = anyValue();
    record.stpVersionIs(static_cast<Zel::U8>(model.version));
    record.configRevisionLevelIs(static_cast<Zel::U16>(model.revision));
    for (unsigned count = dice_.below(3); count > 0; --count) {
        const TransmitModel::Instance key = dice_.instance();
        const auto entry = record.mstiNIs(key);
        const auto modelled = Modelled::ensure(model.entries, key);
        modelled->flags = anyValue();
        entry->flagsIs(static_cast<Zel::U8>(modelled->flags));
    }
}
void TransmitWorld::fill(TxMstPortStatus& port, TransmitModel::Port& model) {
    for (unsigned count = dice_.below(3); count > 0; --count) {
        const TransmitModel::Vlan vlan = dice_.vlan();
        model.updates[vlan] = anyValue();
        port.txUpdateIs(vlan, model.updates[vlan]);
    }
    model.newInfo = anyValue();
    port.txNewInfoIs(model.newInfo);
    for (unsigned count = dice_.below(3); count > 0; --count) {
        const TransmitModel::Vlan vlan = dice_.vlan();
        fill(*port.txInfoIs(vlan), *Modelled::ensure(model.records, vlan));
    }
}
void TransmitWorld::fill(TxMstStatus& mst, TransmitModel::Mst& model) {
    for (unsigned count = dice_.below(3); count > 0; --count) {
        const TransmitModel::Intf intf = dice_.intf();
        fill(*mst.txMstPortStatusIs(intf), *Modelled::ensure(model.ports, intf));
    }
}

template <class Syncing, class React>
void TransmitWorld::tellRoot(Syncing* syncing, unsigned at, React react) {
    if (syncing && syncing->source == models_[at] && syncing->notification.sourceActive)
        react(*syncing);
}
template <class React>
void TransmitWorld::tellMst(std::shared_ptr<TransmitModel::Mst> const& source, React react) {
    if (!txSyncing_)
        return;
    for (auto& [name, mst] : txSyncing_->msts) {
        if (mst.source == source && mst.active)
            react(mst);
    }
}
template <class React>
void TransmitWorld::tellPort(std::shared_ptr<TransmitModel::Port> const& source, React react) {
    if (!txSyncing_)
        return;
    for (auto& [name, mst] : txSyncing_->msts) {
        for (auto& [intf, port] : mst.ports) {
            if (port.source == source && port.active)
                react(port);
        }
    }
}
template <class React>
void TransmitWorld::tellRecord(std::shared_ptr<TransmitModel::Record> const& source, React react) {
    if (!txSyncing_)
        return;
    for (auto& [name, mst] : txSyncing_->msts) {
        for (auto& [intf, port] : mst.ports) {
            for (auto& [vlan, syncer] : port.syncers) {
                if (syncer.source == source)
                    react(syncer);
            }
        }
    }
}

template <class Do, class Expect> void TransmitWorld::both(Do act, Expect expect) {
    const std::string_view refused = Modelled::both<Zel::NameInUseException>(act, expect);
    if (!refused.empty())
        ++(refused == "_source" ? refusedSource : refusedDest);
}

bool TransmitWorld::operate() {
    const unsigned at = dice_.below(2);
    const unsigned what = dice_.below(1000);
    if (what < 18)
        return disturbSyncers(at);
    if (what >= 125)
        return changeUnderMst(at);
    if (what < 100)
        return disturb();
    if (what < 112)
        return changeMst(at);
    changeHeartbeat(at);
    return true;
}

bool TransmitWorld::disturbSyncers(unsigned at) {
    if (!txSyncer_) {
        start(at);
        ++disturbed.recreated;
        return true;
    }
    switch (dice_.below(18)) {
    case 0:
    case 1:
        start(at);
        ++disturbed.recreated;
        return true;
    case 2:
        drop();
        ++disturbed.dropped;
        return true;
    case 3:
    case 4:
        txSyncer_->sourceDel();
        rxSyncer_->sourceDel();
        rxSyncing_->source = nullptr;
        return std::exchange(txSyncing_->source, nullptr) != nullptr;
    case 5:
    case 6:
    case 7:
    case 8:
    case 9:
    case 10: {
        const bool isOther = txSyncing_->source != models_[at];
        txSyncer_->sourceIs(sources_[at]);
        rxSyncer_->sourceIs(sources_[at]);
        txSyncing_->sourceIs(models_[at]);
        rxSyncing_->sourceIs(models_[at]);
        disturbed.rebound += isOther;
        return isOther;
    }
    default:
        return pause();
    }
}

/// Or lets go on.
bool TransmitWorld::pause() {
    const bool on = dice_.below(3) != 0;
    const auto switchTo = [&](auto& syncer, auto& model) {
        const bool isOther = model.notification.active != on;
        disturbed.paused += !on && syncer.hasNotificationActive();
        syncer.hasNotificationActiveIs(on);
        model.activeIs(on);
        return isOther;
    };
    return dice_.once(2) ? switchTo(*txSyncer_, *txSyncing_) : switchTo(*rxSyncer_, *rxSyncing_);
}

void TransmitWorld::changeHeartbeat(unsigned at) {
    const double value = anyValue() / 2.0;
    sources_[at]->heartbeatTimeoutIs(value);
    models_[at]->heartbeat = value;
    tellRoot(txSyncing_.get(), at, [&](auto& syncing) { syncing.dest->heartbeat = value; });
}

bool TransmitWorld::changeMst(unsigned at) {
    const std::string name = dice_.name();
    auto& msts = models_[at]->msts;
    switch (dice_.below(3)) {
    case 0: // with contents, in the place of what was there
    {
        const TxMstStatus::Ptr made(new TxMstStatus(nameOf(name)));
        const auto modelled = std::make_shared<TransmitModel::Mst>();
        fill(*made, *modelled);
        sources_[at]->txMstStatusMemberIs(made);
        msts[name] = modelled;
        break;
    }
    case 1:
        sources_[at]->txMstStatusIs(nameOf(name));
        if (!Modelled::ensured(msts, name))
            return false;
        break;
    default:
        sources_[at]->txMstStatusDel(nameOf(name));
        if (msts.erase(name) == 0)
            return false;
    }
    tellRoot(txSyncing_.get(), at, [&](auto& syncing) { syncing.onMst(name); });
    tellRoot(rxSyncing_.get(), at, [&](auto& syncing) { syncing.onMst(name); });
    return true;
}

bool TransmitWorld::changeUnderMst(unsigned at) {
    std::string name = dice_.name();
    if (!models_[at]->msts.contains(name) && !models_[at]->msts.empty())
        name = models_[at]->msts.begin()->first;
    const TxMstStatus::Ptr mst = sources_[at]->txMstStatus(nameOf(name));
    if (!mst)
        return false;
    const auto model = models_[at]->msts.at(name);
    return dice_.once(24) ? changePort(*mst, model) : changeUnderPort(*mst, *model);
}

bool TransmitWorld::changePort(TxMstStatus& mst, std::shared_ptr<TransmitModel::Mst> const& model) {
    const TransmitModel::Intf intf = dice_.intf();
    switch (dice_.below(3)) {
    case 0: {
        const TxMstPortStatus::Ptr made(new TxMstPortStatus(intf));
        const auto modelled = std::make_shared<TransmitModel::Port>();
        fill(*made, *modelled);
        mst.txMstPortStatusMemberIs(made);
        model->ports[intf] = modelled;
        break;
    }
    case 1:
        mst.txMstPortStatusIs(intf);
        if (!Modelled::ensured(model->ports, intf))
            return false;
        break;
    default:
        mst.txMstPortStatusDel(intf);
        if (model->ports.erase(intf) == 0)
            return false;
    }
    tellMst(model, [&](TransmitModel::MstReactor& reactor) { reactor.onPort(intf); });
    if (!rxSyncing_)
        return true;
    for (auto& [name, reactor] : rxSyncing_->msts) {
        if (reactor.source == model && reactor.active)
            reactor.handlePort(intf);
    }
    return true;
}

bool TransmitWorld::changeUnderPort(TxMstStatus& mst, TransmitModel::Mst& mstModel) {
    TransmitModel::Intf intf = dice_.intf();
    if (!mstModel.ports.contains(intf) && !mstModel.ports.empty())
        intf = mstModel.ports.begin()->first;
    const TxMstPortStatus::Ptr port = mst.txMstPortStatus(intf);
    if (!port)
        return false;
    const auto model = mstModel.ports.at(intf);
    const TransmitModel::Vlan vlan = dice_.vlan();
    const unsigned value = anyValue();
    switch (dice_.below(8)) {
    case 0:
        port->txUpdateIs(vlan, value);
        model->updates[vlan] = value;
        tellPort(model, [&](auto& reactor) { reactor.handleUpdate(vlan); });
        break;
    case 1:
        port->txUpdateDel(vlan);
        if (model->updates.erase(vlan) == 0)
            return false;
        tellPort(model, [&](auto& reactor) { reactor.handleUpdate(vlan); });
        break;
    case 2:
        port->txNewInfoIs(value);
        model->newInfo = value;
        tellPort(model, [](auto& reactor) { reactor.handleNewInfo(); });
        break;
    case 3:
        port->txHelloWhenOnIs(Stp::TimerVal::units(static_cast<Zel::U16>(value)));
        model->hello = value;
        tellPort(model, [](auto& reactor) { reactor.handleHello(); });
        break;
    case 4:
        return changeRecords(*port, model, vlan);
    default:
        const IntxInfo::Ptr record = port->txInfo(vlan);
        return record && changeRecord(*record, model->records.at(vlan));
    }
    return true;
}

bool TransmitWorld::changeRecords(TxMstPortStatus& port,
                                  std::shared_ptr<TransmitModel::Port> const& model,
                                  TransmitModel::Vlan vlan) {
    bool told = false;
    const auto tell = [&] {
        tellPort(model, [&](TransmitModel::PortReactor& reactor) {
            told = true; // even where it refuses
            reactor.handleInfo(vlan);
        });
    };
    const bool has = model->records.contains(vlan);
    switch (dice_.below(6)) {
    case 5: // told again, as a state database may
        both(
            [&] {
                const Bridging::VlanIdOrNone key = vlan;
                port.notify(TxMstPortStatus::txInfoAttribute::id, &key);
            },
            tell);
        return told;
    case 0: {
        const IntxInfo::Ptr made(new IntxInfo(vlan));
        const auto modelled = std::make_shared<TransmitModel::Record>();
        fill(*made, *modelled);
        both([&] { port.txInfoMemberIs(made); },
             [&] {
                 model->records[vlan] = modelled;
                 tell();
             });
        return true;
    }
    case 1:
    case 2:
        both([&] { port.txInfoIs(vlan); },
             [&] {
                 if (Modelled::ensured(model->records, vlan))
                     tell();
             });
        return !has;
    default:
        port.txInfoDel(vlan);
        if (model->records.erase(vlan) != 0)
            tell();
        return has;
    }
}

bool TransmitWorld::changeRecord(IntxInfo& record,
                                 std::shared_ptr<TransmitModel::Record> const& model) {
    const unsigned value = anyValue();
    const TransmitModel::Instance key = dice_.instance();
    const auto tell = [&](auto const& react) {
        tellRecord(model, [&](TransmitModel::RecordSyncer& syncer) {
            if (syncer.notification.sourceActive)
                react(syncer);
        });
    };
    switch (dice_.below(5)) {
    case 0:
        record.stpVersionIs(static_cast<Zel::U8>(value));
        model->version = value;
        tell([&](auto& syncer) { syncer.dest->version = value; });
        return true;
    case 1:
        record.configRevisionLevelIs(static_cast<Zel::U16>(value));
        model->revision = value;
        tell([&](auto& syncer) { syncer.dest->revision = value; });
        return true;
    case 2:
        record.mstiNIs(key);
        if (!Modelled::ensured(model->entries, key))
            return false;
        tell([&](auto& syncer) { syncer.onEntry(key); });
        return true;
    case 3:
        record.mstiNDel(key);
        if (model->entries.erase(key) == 0)
            return false;
        tell([&](auto& syncer) { syncer.onEntry(key); });
        return true;
    default:
        break;
    }
    const IntxMstiInfo::Ptr entry = record.mstiN(key);
    if (!entry)
        return false;
    const auto modelled = model->entries.at(key);
    const bool flags = dice_.once(2);
    if (flags) {
        entry->flagsIs(static_cast<Zel::U8>(value));
        modelled->flags = value;
    } else {
        entry->maxAgeIs(Stp::TimerVal::units(static_cast<Zel::U16>(value)));
        modelled->maxAge = value;
    }
    tellRecord(model, [&](TransmitModel::RecordSyncer& syncer) {
        const auto at = syncer.entries.find(key);
        if (at != syncer.entries.end() && at->second.source == modelled && at->second.active)
            flags ? at->second.copyFlags() : at->second.copyMaxAge();
    });
    return true;
}

/// Somebody else writes to the destinations.
bool TransmitWorld::disturb() {
    const std::string name = dice_.name();
    const TransmitModel::Intf intf = dice_.intf();
    const TransmitModel::Vlan vlan = dice_.vlan();
    const unsigned value = anyValue();
    if (dice_.once(4))
        return disturbRx(name, intf);
    if (dice_.once(8)) {
        dest_->heartbeatTimeoutIs(value);
        destModel_->heartbeat = value;
        return true;
    }
    if (dice_.once(10)) {
        dest_->txMstStatusDel(nameOf(name));
        return destModel_->msts.erase(name) != 0;
    }
    const TxMstStatus::Ptr mst = dest_->txMstStatusIs(nameOf(name));
    bool changed = Modelled::ensured(destModel_->msts, name);
    const auto mstModel = destModel_->msts.at(name);
    if (dice_.once(6)) {
        mst->txMstPortStatusDel(intf);
        return mstModel->ports.erase(intf) != 0 || changed;
    }
    const TxMstPortStatus::Ptr port = mst->txMstPortStatusIs(intf);
    changed |= Modelled::ensured(mstModel->ports, intf);
    const auto portModel = mstModel->ports.at(intf);
    switch (dice_.below(6)) {
    case 0:
        port->txUpdateIs(vlan, value);
        portModel->updates[vlan] = value;
        return true;
    case 1:
        port->txUpdateDel(vlan);
        return portModel->updates.erase(vlan) != 0 || changed;
    case 2:
        port->txNewInfoIs(value);
        portModel->newInfo = value;
        return true;
    case 3:
        port->txInfoDel(vlan);
        return portModel->records.erase(vlan) != 0 || changed;
    default:
        break;
    }
    const IntxInfo::Ptr record = port->txInfoIs(vlan);
    changed |= Modelled::ensured(portModel->records, vlan);
    const auto recordModel = portModel->records.at(vlan);
    if (dice_.once(2)) {
        record->stpVersionIs(static_cast<Zel::U8>(value));
        recordModel->version = value;
        return true;
    }
    const TransmitModel::Instance key = dice_.instance();
    if (dice_.once(2)) {
        record->mstiNIs(key);
        return Modelled::ensured(recordModel->entries, key) || changed;
    }
    record->mstiNDel(key);
    return recordModel->entries.erase(key) != 0 || changed;
}

bool TransmitWorld::disturbRx(std::string const& name, TransmitModel::Intf intf) {
    if (dice_.once(6)) {
        dynamic_.tree->rxMstStatusDel(nameOf(name));
        return dynamic_.model->msts.erase(name) != 0;
    }
    const RxMstStatus::Ptr mst = dynamic_.tree->rxMstStatusIs(nameOf(name));
    const bool isNew = Modelled::ensured(dynamic_.model->msts, name);
    const auto model = dynamic_.model->msts.at(name);
    if (dice_.once(2)) {
        mst->rxMstPortStatusIs(intf);
        return Modelled::ensured(model->ports, intf) || isNew;
    }
    mst->rxMstPortStatusDel(intf);
    return model->ports.erase(intf) != 0 || isNew;
}
