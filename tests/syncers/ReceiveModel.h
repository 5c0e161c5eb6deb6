#pragma once

#include "tests/syncers/Modelled.h"

#include "platform/kolvu/IntfId.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

/// Receive status trees, and what the receive syncers are to do, in plain maps.
namespace ReceiveModel {

using Intf = Kolvu::IntfId;

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

template <class Map> bool equalMembers(Map const& left, Map const& right) {
    return std::ranges::equal(left, right, [](auto const& one, auto const& other) {
        return one.first == other.first && *one.second == *other.second;
    });
}
struct Mst {
    std::map<Intf, std::shared_ptr<Port>> ports;
    bool operator==(Mst const& other) const { return equalMembers(ports, other.ports); }
};
struct Root {
    unsigned local = 0, peer = 0;
    double time = 0, localTime = 0, peerTime = 0;
    std::map<std::string, std::shared_ptr<Mst>> msts;
    bool operator==(Root const& other) const {
        return local == other.local && peer == other.peer && time == other.time &&
               localTime == other.localTime && peerTime == other.peerTime &&
               equalMembers(msts, other.msts);
    }
};

inline std::shared_ptr<Port> port(Root const& root, std::string const& name, Intf intf) {
    const auto mst = Modelled::find(root.msts, name);
    return mst ? Modelled::find(mst->ports, intf) : nullptr;
}

/// What has notifications to switch off: a syncer and, as long as it has a source, the reactor on
/// that.
struct Switch {
    bool active = true;
    bool sourceActive = true;

    /// @return whether the children are to be switched, too
    bool is(bool on) {
        if (active == on)
            return false;
        active = sourceActive = on;
        return true;
    }
};

/// The syncer of an interface. It looks for its destination anew each time.
struct PortSyncer {
    std::shared_ptr<Port> source;
    Switch notification;

    /// When it is made.
    void initialize(Port* to) const {
        if (!to)
            return;
        to->bpduCount = source->bpduCount;
        to->maxCount = source->maxCount;
        to->interval = source->interval;
        to->enabled = source->enabled;
        to->counters = source->counters;
        to->localCounters = source->localCounters;
    }
    /// Whether a change of the update count copies, where there is a destination.
    bool copies(unsigned vlan) const {
        const auto count = source->updates.find(vlan);
        return count != source->updates.end() && count->second != 0 &&
               source->records.contains(vlan);
    }
    void handleUpdate(Port& to, unsigned vlan) const {
        if (copies(vlan)) {
            to.records[vlan] = source->records.at(vlan);
            ++to.updates[vlan];
        } else {
            to.records.erase(vlan);
            to.updates.erase(vlan);
        }
    }
};

struct MstSyncer {
    std::shared_ptr<Mst> source;
    Switch notification;
    std::map<Intf, PortSyncer> ports;

    void handlePort(Root const& dest, std::string const& name, Intf intf) {
        const auto port = Modelled::find(source->ports, intf);
        if (!port) {
            ports.erase(intf);
            return;
        }
        const auto [at, isNew] = ports.try_emplace(intf);
        if (isNew) {
            at->second.source = port;
            at->second.initialize(ReceiveModel::port(dest, name, intf).get());
        } else if (at->second.source != port) {
            throw Modelled::Differs{"_source"};
        }
        at->second.notification.is(true);
    }
    void activeIs(bool on) {
        if (!notification.is(on))
            return;
        for (auto& [intf, port] : ports)
            port.notification.is(on);
    }
};

struct Syncer {
    std::shared_ptr<Root> source; // null while it has none
    std::shared_ptr<Root> dest;
    Switch notification;
    std::map<std::string, MstSyncer> msts;

    Syncer(std::shared_ptr<Root> const& from, std::shared_ptr<Root> const& to)
        : source(from)
        , dest(to) {
        dest->local = source->local;
        dest->peer = source->peer;
        dest->time = source->time;
        dest->localTime = source->localTime;
        dest->peerTime = source->peerTime;
        scan();
    }
    /// Whether a change of the tree's own attributes reaches it.
    bool watches(std::shared_ptr<Root> const& tree) const {
        return source == tree && notification.sourceActive;
    }
    void handleMst(std::string const& name) {
        const auto mst = source ? Modelled::find(source->msts, name) : nullptr;
        if (!mst) {
            msts.erase(name);
            return;
        }
        const auto [at, isNew] = msts.try_emplace(name);
        if (isNew) {
            at->second.source = mst;
            for (Intf intf : Modelled::keys(mst->ports))
                at->second.handlePort(*dest, name, intf);
        } else if (at->second.source != mst) {
            throw Modelled::Differs{"_source"};
        }
        at->second.activeIs(true);
    }
    void scan() {
        for (std::string const& name :
             source ? Modelled::keys(source->msts) : std::vector<std::string>())
            handleMst(name);
    }
    void activeIs(bool on) {
        if (!notification.is(on))
            return;
        for (auto& [name, mst] : msts)
            mst.activeIs(on);
    }
    void sourceIs(std::shared_ptr<Root> const& other) {
        if (source == other)
            return;
        source = other;
        notification.sourceActive = true; // the reactor on it is a new one
        scan();
    }
};

} // namespace ReceiveModel
