#include "bench/FloorTree.h"

namespace Bench::Floor {
namespace {

/// Makes a key that was added to or removed from one map be so in another, and in the map of the
/// mirrors of its members.
template <class Map, class Mirrors, class Key>
void follow(Map& from, Map& to, Mirrors& mirrors, Key const& key) {
    mirrors.erase(key);
    if (const auto found = from.find(key); found != from.end())
        mirrors.try_emplace(key, found->second, to[key]);
    else
        to.erase(key);
}

/// The same for all keys.
template <class Map, class Mirrors> void followAll(Map& from, Map& to, Mirrors& mirrors) {
    std::erase_if(to, [&](auto const& member) { return !from.contains(member.first); });
    for (auto& [key, member] : from)
        mirrors.try_emplace(key, member, to[key]);
}

} // namespace

EntryMirror::EntryMirror(Entry& from, Entry& to)
    : from_(from)
    , to_(to) {
    from_.observer = this;
    changed();
}
EntryMirror::~EntryMirror() { from_.observer = nullptr; }
void EntryMirror::flagsChanged(Stp::RstpBpduFlags flags) { to_.values.flags = flags; }
void EntryMirror::changed() { to_.values = from_.values; }

RecordMirror::RecordMirror(Record& from, Record& to)
    : from_(from)
    , to_(to) {
    from_.observer = this;
    changed();
    followAll(from_.entries, to_.entries, entries_);
}
RecordMirror::~RecordMirror() { from_.observer = nullptr; }
void RecordMirror::changed() { to_.values = from_.values; }
void RecordMirror::entryChanged(U16 instance) {
    follow(from_.entries, to_.entries, entries_, instance);
}

PortMirror::PortMirror(Port& from, Port& to)
    : from_(from)
    , to_(to) {
    from_.observer = this;
    to_.txUpdate = from_.txUpdate;
    followAll(from_.txInfo, to_.txInfo, records_);
    changed();
}
PortMirror::~PortMirror() { from_.observer = nullptr; }
void PortMirror::txUpdateChanged(U16 vlan, unsigned value) {
    if (value != 0)
        to_.txUpdate[vlan] = value;
    else
        to_.txUpdate.erase(vlan);
}
void PortMirror::changed() {
    to_.txHelloWhenOn = from_.txHelloWhenOn;
    to_.txNewInfo = from_.txNewInfo;
}
void PortMirror::recordChanged(U16 vlan) { follow(from_.txInfo, to_.txInfo, records_, vlan); }

MstMirror::MstMirror(Mst& from, Mst& to)
    : from_(from)
    , to_(to) {
    from_.observer = this;
    followAll(from_.ports, to_.ports, ports_);
}
MstMirror::~MstMirror() { from_.observer = nullptr; }
void MstMirror::portChanged(Kolvu::IntfId port) { follow(from_.ports, to_.ports, ports_, port); }

TreeMirror::TreeMirror(Tree& from, Tree& to)
    : from_(from)
    , to_(to) {
    from_.observer = this;
    changed();
    followAll(from_.msts, to_.msts, msts_);
}
TreeMirror::~TreeMirror() { from_.observer = nullptr; }
void TreeMirror::changed() { to_.heartbeatTimeout = from_.heartbeatTimeout; }
void TreeMirror::mstChanged(std::string const& name) { follow(from_.msts, to_.msts, msts_, name); }

Tree tree(unsigned records, Shape shape) {
    Tree tree;
    Mst& mst = tree.msts[Shape::mstName];
    for (unsigned i = 0; i < records; ++i) {
        Port& port = mst.ports[shape.port(i)];
        Record& record = port.txInfo[shape.vlan(i)];
        record.values = recordValues(i);
        record.entries[0].values = entryValues(i);
    }
    return tree;
}

std::string text(Tree const& tree, unsigned records) {
    std::string all;
    for (unsigned i = 0; i < records; ++i) {
        Port const& port = tree.msts.at(Shape::mstName).ports.at(Shape().port(i));
        const U16 vlan = Shape().vlan(i);
        Record const& record = port.txInfo.at(vlan);
        std::map<U16, EntryValues> entries;
        for (auto const& [instance, entry] : record.entries)
            entries.emplace(instance, entry.values);
        all += Bench::text(vlan, record.values, entries) + "\n";
    }
    return all;
}

} // namespace Bench::Floor
