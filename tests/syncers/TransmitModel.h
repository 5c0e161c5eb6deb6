#pragma once

#include "tests/syncers/ReceiveModel.h"

#include "framework/zel/Int.h"

/// Transmit status trees, and what the transmit syncers are to do, in plain maps.
///
/// Each reactor has a switch for its notifications: what is told to it while that is off is lost.
/// Whoever tells, asks the switch.
namespace TransmitModel {

using Intf = Kolvu::IntfId;
using Vlan = Zel::U16;
using Instance = Zel::U16;
using Modelled::Differs;
using Modelled::ensure;
using Modelled::find;
using Modelled::keys;
using ReceiveModel::Switch;

struct Entry {
    unsigned flags = 0;
    unsigned maxAge = 0;
};
struct Record {
    unsigned version = 0;
    unsigned revision = 0;
    std::map<Instance, std::shared_ptr<Entry>> entries;
};
struct Port {
    std::map<Vlan, unsigned> updates;
    unsigned newInfo = 0;
    unsigned hello = 0;
    std::map<Vlan, std::shared_ptr<Record>> records;
};
struct Mst {
    std::map<Intf, std::shared_ptr<Port>> ports;
};
struct Tree {
    std::map<std::string, std::shared_ptr<Mst>> msts;
    double heartbeat = 0;
};

struct EntryReactor {
    std::shared_ptr<Entry> source, dest;
    bool active = true;

    void copyFlags() const {
        if (dest)
            dest->flags = source->flags;
    }
    void copyMaxAge() const {
        if (dest)
            dest->maxAge = source->maxAge;
    }
    void copyAll(Record const& record, Instance key) {
        dest = find(record.entries, key);
        copyFlags();
        copyMaxAge();
    }
};

struct RecordSyncer {
    std::shared_ptr<Record> source, dest;
    Switch notification;
    std::map<Instance, EntryReactor> entries;

    RecordSyncer(std::shared_ptr<Record> from, std::shared_ptr<Record> to)
        : source(std::move(from))
        , dest(std::move(to)) {
        dest->version = source->version;
        dest->revision = source->revision;
        for (Instance key : keys(source->entries))
            follow(key);
        for (Instance key : keys(source->entries)) {
            handle(key);
            entries.at(key).copyAll(*dest, key);
        }
        if (dest->entries.size() != source->entries.size()) {
            for (Instance key : keys(dest->entries)) {
                if (!source->entries.contains(key))
                    handle(key);
            }
        }
    }
    void handle(Instance key) {
        if (source->entries.contains(key))
            ensure(dest->entries, key);
        else
            dest->entries.erase(key);
    }
    void follow(Instance key) {
        const auto element = find(source->entries, key);
        if (!element) {
            entries.erase(key);
        } else if (const auto [at, isNew] = entries.try_emplace(key); isNew) {
            at->second.source = element;
            at->second.copyAll(*dest, key);
        } else if (at->second.source != element) {
            at->second.source = element;
            at->second.copyFlags();
            at->second.copyMaxAge();
        }
    }
    void onEntry(Instance key) {
        handle(key);
        follow(key);
    }
    void activeIs(bool on) {
        if (!notification.is(on))
            return;
        for (auto& [key, entry] : entries)
            entry.active = on;
    }
};

struct PortReactor {
    std::shared_ptr<Port> source, dest;
    bool active = true;
    std::map<Vlan, RecordSyncer> syncers;

    void initialize(std::shared_ptr<Mst> const& destMst, Intf intf) {
        const auto found = destMst ? find(destMst->ports, intf) : nullptr;
        if (!found)
            return;
        dest = found;
        for (Vlan vlan : keys(source->records))
            handleInfo(vlan);
        for (Vlan vlan : keys(dest->records))
            handleInfo(vlan);
        for (Vlan vlan : keys(source->updates))
            handleUpdate(vlan);
        for (Vlan vlan : keys(dest->updates))
            handleUpdate(vlan);
        dest->hello = source->hello;
        dest->newInfo = source->newInfo;
    }
    unsigned update(Vlan vlan) const {
        const auto at = source->updates.find(vlan);
        return at == source->updates.end() ? 0 : at->second;
    }
    void handleUpdate(Vlan vlan) const {
        if (!dest)
            return;
        if (update(vlan) != 0)
            dest->updates[vlan] = update(vlan);
        else
            dest->updates.erase(vlan);
    }
    void handleInfo(Vlan vlan) {
        if (const auto record = find(source->records, vlan)) {
            if (!dest)
                return;
            const auto to = ensure(dest->records, vlan);
            if (const auto at = syncers.find(vlan); at == syncers.end())
                syncers.try_emplace(vlan, record, to);
            else if (at->second.source != record)
                throw Differs{"_source"};
            else if (at->second.dest != to)
                throw Differs{"_dest"};
        } else {
            if (dest)
                dest->records.erase(vlan);
            syncers.erase(vlan);
        }
    }
    void handleNewInfo() const {
        if (dest)
            dest->newInfo = source->newInfo;
    }
    void handleHello() const {
        if (dest)
            dest->hello = source->hello;
    }
    void bind(std::shared_ptr<Port> const& other) {
        source = other;
        if (dest) {
            for (auto const& [vlan, value] : source->updates)
                dest->updates[vlan] = value;
            std::erase_if(dest->updates, [&](auto const& at) { return update(at.first) == 0; });
        }
        handleNewInfo();
        handleHello();
    }
    void activeIs(bool on) {
        if (active == on)
            return;
        active = on;
        for (auto& [vlan, syncer] : syncers)
            syncer.activeIs(on);
    }
};

struct MstReactor {
    std::shared_ptr<Mst> source, dest;
    bool active = true;
    std::map<Intf, PortReactor> ports;

    void followAll() {
        for (Intf intf : keys(source->ports))
            follow(intf);
        std::erase_if(ports, [&](auto const& at) { return !source->ports.contains(at.first); });
    }
    void follow(Intf intf) {
        const auto element = find(source->ports, intf);
        if (!element) {
            ports.erase(intf);
        } else if (const auto [at, isNew] = ports.try_emplace(intf); isNew) {
            at->second.source = element;
            at->second.initialize(dest, intf);
        } else if (at->second.source != element) {
            at->second.bind(element);
        }
    }
    void handlePort(Intf intf) const {
        if (source->ports.contains(intf))
            ensure(dest->ports, intf);
        else
            dest->ports.erase(intf);
    }
    void initialize(Tree& destRoot, std::string const& name) {
        dest = ensure(destRoot.msts, name);
        for (auto& [intf, port] : ports) {
            port.initialize(dest, intf);
            handlePort(intf);
        }
        for (Intf intf : keys(dest->ports))
            handlePort(intf);
    }
    void onPort(Intf intf) {
        handlePort(intf);
        follow(intf);
    }
    void activeIs(bool on) {
        if (active == on)
            return;
        active = on;
        for (auto& [intf, port] : ports)
            port.activeIs(on);
    }
};

/// Transmit to transmit.
struct TxSyncer {
    std::shared_ptr<Tree> source, dest;
    Switch notification;
    std::map<std::string, MstReactor> msts;

    TxSyncer(std::shared_ptr<Tree> const& from, std::shared_ptr<Tree> const& to)
        : source(from)
        , dest(to) {
        dest->heartbeat = source->heartbeat;
        followAll();
        for (auto& [name, mst] : msts) {
            mst.initialize(*dest, name);
            handleMst(name);
        }
        for (std::string const& name : keys(dest->msts))
            handleMst(name);
    }
    void followAll() {
        for (std::string const& name : keys(source->msts))
            follow(name);
        std::erase_if(msts, [&](auto const& at) { return !source->msts.contains(at.first); });
    }
    void follow(std::string const& name) {
        const auto element = find(source->msts, name);
        if (!element) {
            msts.erase(name);
        } else if (const auto [at, isNew] = msts.try_emplace(name); isNew) {
            at->second.source = element;
            at->second.followAll();
            at->second.initialize(*dest, name);
        } else if (at->second.source != element) {
            at->second.source = element;
            at->second.followAll();
        }
    }
    void handleMst(std::string const& name) const {
        if (source->msts.contains(name))
            ensure(dest->msts, name);
        else
            dest->msts.erase(name);
    }
    void onMst(std::string const& name) {
        handleMst(name);
        follow(name);
    }
    void sourceIs(std::shared_ptr<Tree> const& other) {
        if (source == other)
            return;
        const bool bound = source != nullptr;
        source = other;
        if (bound) {
            dest->heartbeat = source->heartbeat;
            followAll();
        } else {
            notification.sourceActive = true; // the reactor on it is a new one
        }
    }
    void activeIs(bool on) {
        if (!notification.is(on))
            return;
        for (auto& [name, mst] : msts)
            mst.activeIs(on);
    }
};

/// Transmit to receive.
struct RxSyncer {
    struct Reactor {
        std::shared_ptr<Mst> source;
        std::shared_ptr<ReceiveModel::Mst> dest;
        bool active = true;

        void handlePort(Intf intf) const {
            if (source->ports.contains(intf))
                ensure(dest->ports, intf);
            else
                dest->ports.erase(intf);
        }
    };

    std::shared_ptr<Tree> source;
    std::shared_ptr<ReceiveModel::Root> dest;
    Switch notification;
    std::map<std::string, Reactor> msts;

    RxSyncer(std::shared_ptr<Tree> const& from, std::shared_ptr<ReceiveModel::Root> const& to)
        : source(from)
        , dest(to) {
        followAll();
        for (std::string const& name : keys(source->msts))
            handleMst(name);
        std::erase_if(dest->msts, [&](auto const& at) { return !source->msts.contains(at.first); });
    }
    void followAll() {
        for (std::string const& name : keys(source->msts))
            follow(name);
        std::erase_if(msts, [&](auto const& at) { return !source->msts.contains(at.first); });
    }
    void follow(std::string const& name) {
        const auto element = find(source->msts, name);
        if (!element) {
            msts.erase(name);
            return;
        }
        const auto [at, isNew] = msts.try_emplace(name);
        Reactor& reactor = at->second;
        reactor.source = element;
        if (!isNew)
            return;
        reactor.dest = ensure(dest->msts, name);
        for (Intf intf : keys(element->ports))
            reactor.handlePort(intf);
        std::erase_if(reactor.dest->ports,
                      [&](auto const& port) { return !element->ports.contains(port.first); });
    }
    void handleMst(std::string const& name) const {
        if (source->msts.contains(name))
            ensure(dest->msts, name);
        else
            dest->msts.erase(name);
    }
    void onMst(std::string const& name) {
        handleMst(name);
        follow(name);
    }
    void sourceIs(std::shared_ptr<Tree> const& other) {
        if (source == other)
            return;
        const bool bound = source != nullptr;
        source = other;
        if (bound)
            followAll();
        else
            notification.sourceActive = true; // the reactor on it is a new one
    }
    void activeIs(bool on) {
        if (!notification.is(on))
            return;
        for (auto& [name, mst] : msts)
            mst.active = on;
    }
};

} // namespace TransmitModel
