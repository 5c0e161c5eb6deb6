#pragma once

#include "bench/TransmitTree.h"

#include <map>
#include <memory>
#include <unordered_map>

#include <sigc++/sigc++.h>

/// The peer of the mirrors that is built on libsigc++: the same trees, each thing with one signal
/// of its changes, and mirrors that connect to the signals and stay live. Children are held by
/// shared_ptr, since what is watched may be kept by others, as in the library.
namespace Bench::Sigc {

struct Entry {
    enum class What { flags, others };

    EntryValues values;
    sigc::signal<void(What)> changed;

    void flagsIs(Stp::RstpBpduFlags flags) {
        values.flags = flags;
        changed(What::flags);
    }
};
struct Record {
    enum class What { values, entries };

    RecordValues values;
    std::map<U16, std::shared_ptr<Entry>> entries;
    sigc::signal<void(What, U16 instance)> changed;
};
struct Port {
    enum class What { values, txUpdate, txInfo };

    std::unordered_map<U16, unsigned> txUpdate;
    unsigned txNewInfo = 0;
    Stp::TimerVal txHelloWhenOn;
    std::map<U16, std::shared_ptr<Record>> txInfo;
    sigc::signal<void(What, U16 vlan)> changed;

    void txUpdateIs(U16 vlan, unsigned value) {
        txUpdate[vlan] = value;
        changed(What::txUpdate, vlan);
    }
};
struct Mst {
    std::unordered_map<Kolvu::IntfId, std::shared_ptr<Port>, PortHash> ports;
    sigc::signal<void(Kolvu::IntfId)> portChanged;
};
struct Tree {
    enum class What { values, msts };

    std::unordered_map<std::string, std::shared_ptr<Mst>> msts;
    double heartbeatTimeout = 0;
    sigc::signal<void(What, std::string const& name)> changed;
};

/// Makes a key that was added to or removed from one map be so in another, and in the map of the
/// mirrors of its members.
template <class Map, class Mirrors, class Key>
void follow(Map& from, Map& to, Mirrors& mirrors, Key const& key) {
    mirrors.erase(key);
    if (const auto found = from.find(key); found != from.end()) {
        auto& made = to[key];
        made = std::make_shared<typename Map::mapped_type::element_type>();
        mirrors.try_emplace(key, found->second, made);
    } else {
        to.erase(key);
    }
}

/// A mirror's connections end with it: that is what sigc::trackable and mem_fun() are for.
struct EntryMirror : sigc::trackable {
    EntryMirror(std::shared_ptr<Entry> source, std::shared_ptr<Entry> dest)
        : from(std::move(source))
        , to(std::move(dest)) {
        from->changed.connect(sigc::mem_fun(*this, &EntryMirror::changed));
        changed(Entry::What::others);
    }
    void changed(Entry::What what) {
        if (what == Entry::What::flags)
            to->values.flags = from->values.flags;
        else
            to->values = from->values;
    }

    std::shared_ptr<Entry> from;
    std::shared_ptr<Entry> to;
};

struct RecordMirror : sigc::trackable {
    RecordMirror(std::shared_ptr<Record> source, std::shared_ptr<Record> dest)
        : from(std::move(source))
        , to(std::move(dest)) {
        from->changed.connect(sigc::mem_fun(*this, &RecordMirror::changed));
        changed(Record::What::values, 0);
        for (auto const& [instance, child] : from->entries)
            changed(Record::What::entries, instance);
    }
    void changed(Record::What what, U16 instance) {
        if (what == Record::What::entries)
            follow(from->entries, to->entries, entries, instance);
        else
            to->values = from->values;
    }

    std::shared_ptr<Record> from;
    std::shared_ptr<Record> to;
    std::map<U16, EntryMirror> entries;
};

struct PortMirror : sigc::trackable {
    PortMirror(std::shared_ptr<Port> source, std::shared_ptr<Port> dest)
        : from(std::move(source))
        , to(std::move(dest)) {
        from->changed.connect(sigc::mem_fun(*this, &PortMirror::changed));
        to->txUpdate = from->txUpdate;
        for (auto const& [vlan, child] : from->txInfo)
            changed(Port::What::txInfo, vlan);
        changed(Port::What::values, 0);
    }
    void changed(Port::What what, U16 vlan) {
        if (what == Port::What::txUpdate) {
            if (const auto found = from->txUpdate.find(vlan);
                found != from->txUpdate.end() && found->second != 0)
                to->txUpdate[vlan] = found->second;
            else
                to->txUpdate.erase(vlan);
        } else if (what == Port::What::txInfo) {
            follow(from->txInfo, to->txInfo, records, vlan);
        } else {
            to->txHelloWhenOn = from->txHelloWhenOn;
            to->txNewInfo = from->txNewInfo;
        }
    }

    std::shared_ptr<Port> from;
    std::shared_ptr<Port> to;
    std::map<U16, RecordMirror> records;
};

struct MstMirror : sigc::trackable {
    MstMirror(std::shared_ptr<Mst> source, std::shared_ptr<Mst> dest)
        : from(std::move(source))
        , to(std::move(dest)) {
        from->portChanged.connect(sigc::mem_fun(*this, &MstMirror::port));
        for (auto const& [name, child] : from->ports)
            port(name);
    }
    void port(Kolvu::IntfId port) { follow(from->ports, to->ports, ports, port); }

    std::shared_ptr<Mst> from;
    std::shared_ptr<Mst> to;
    std::unordered_map<Kolvu::IntfId, PortMirror, PortHash> ports;
};

/// Makes an empty destination equal to the source, and keeps it so until it is destroyed.
struct TreeMirror : sigc::trackable {
    TreeMirror(std::shared_ptr<Tree> source, std::shared_ptr<Tree> dest)
        : from(std::move(source))
        , to(std::move(dest)) {
        from->changed.connect(sigc::mem_fun(*this, &TreeMirror::changed));
        changed(Tree::What::values, {});
        for (auto const& [name, child] : from->msts)
            changed(Tree::What::msts, name);
    }
    void changed(Tree::What what, std::string const& name) {
        if (what == Tree::What::msts)
            follow(from->msts, to->msts, msts, name);
        else
            to->heartbeatTimeout = from->heartbeatTimeout;
    }

    std::shared_ptr<Tree> from;
    std::shared_ptr<Tree> to;
    std::unordered_map<std::string, MstMirror> msts;
};

inline std::shared_ptr<Tree> tree(unsigned records, Shape shape = {}) {
    const auto made = [](auto& child) -> auto& {
        if (!child)
            child = std::make_shared<typename std::decay_t<decltype(child)>::element_type>();
        return *child;
    };
    auto tree = std::make_shared<Tree>();
    Mst& mst = made(tree->msts[Shape::mstName]);
    for (unsigned i = 0; i < records; ++i) {
        Port& port = made(mst.ports[shape.port(i)]);
        Record& record = made(port.txInfo[shape.vlan(i)]);
        record.values = recordValues(i);
        made(record.entries[0]).values = entryValues(i);
    }
    return tree;
}

inline std::string text(Tree const& tree, unsigned records) {
    std::string all;
    for (unsigned i = 0; i < records; ++i) {
        Port const& port = *tree.msts.at(Shape::mstName)->ports.at(Shape().port(i));
        const U16 vlan = Shape().vlan(i);
        Record const& record = *port.txInfo.at(vlan);
        std::map<U16, EntryValues> entries;
        for (auto const& [instance, entry] : record.entries)
            entries.emplace(instance, entry->values);
        all += Bench::text(vlan, record.values, entries) + "\n";
    }
    return all;
}

} // namespace Bench::Sigc
