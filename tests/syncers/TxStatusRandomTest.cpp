#include "framework/zel/Exception.h"
#include "syncers/MirrorDiff.h"
#include "syncers/TxStatusToRxSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"
#include "tests/framework/NothingLeft.h"
#include "tests/model/Samples.h"
#include "tests/model/TreeText.h"

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <random>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

namespace Varnol {
namespace {

using Intf = Kolvu::IntfId;
using Vlan = Zel::U16;
using Instance = Zel::U16;

// ---- What the syncers are to do, in plain maps ----
//
// An object that one holder removes and another goes on writing to is shared, as in the trees.
namespace Model {

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
struct RxMst {
    std::map<Intf, std::shared_ptr<int>> ports;
};
struct RxTree {
    std::map<std::string, std::shared_ptr<RxMst>> msts;
};

template <class Map> typename Map::mapped_type find(Map const& map, typename Map::key_type key) {
    const auto at = map.find(key);
    return at == map.end() ? nullptr : at->second;
}
/// Creates what is missing.
template <class Map> typename Map::mapped_type ensure(Map& map, typename Map::key_type key) {
    auto& at = map[key];
    if (!at)
        at = std::make_shared<typename Map::mapped_type::element_type>();
    return at;
}
template <class Map> std::vector<typename Map::key_type> keys(Map const& map) {
    std::vector<typename Map::key_type> keys;
    for (auto const& [key, value] : map)
        keys.push_back(key);
    return keys;
}

/// Thrown where a parameter of an existing record syncer differs.
struct Differs {
    std::string_view parameter;
};

struct EntryReactor {
    std::shared_ptr<Entry> source, dest;

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
};

struct PortReactor {
    std::shared_ptr<Port> source, dest;
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
};

struct MstReactor {
    std::shared_ptr<Mst> source, dest;
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
};

/// Transmit to transmit.
struct TxSyncer {
    std::shared_ptr<Tree> source, dest;
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
        }
    }
};

/// Transmit to receive.
struct RxSyncer {
    struct Reactor {
        std::shared_ptr<Mst> source;
        std::shared_ptr<RxMst> dest;

        void handlePort(Intf intf) const {
            if (source->ports.contains(intf))
                ensure(dest->ports, intf);
            else
                dest->ports.erase(intf);
        }
    };

    std::shared_ptr<Tree> source;
    std::shared_ptr<RxTree> dest;
    std::map<std::string, Reactor> msts;

    RxSyncer(std::shared_ptr<Tree> const& from, std::shared_ptr<RxTree> const& to)
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
    }
};

} // namespace Model

// ---- Both sides as text, in the same form ----

std::string number(unsigned value) { return std::to_string(value); }

std::string describe(Model::Record const& record) {
    std::string all = number(record.version) + "," + number(record.revision) + "{";
    for (auto const& [key, entry] : record.entries)
        all += number(key) + ":" + number(entry->flags) + "," + number(entry->maxAge) + " ";
    return all + "}";
}
std::string describe(Model::Port const& port) {
    std::string all = number(port.newInfo) + "," + number(port.hello) + "[";
    for (auto const& [vlan, value] : port.updates)
        all += number(vlan) + "=" + number(value) + " ";
    all += "]{";
    for (auto const& [vlan, record] : port.records)
        all += number(vlan) + ":" + describe(*record) + " ";
    return all + "}";
}
std::string describe(Model::Tree const& tree) {
    std::string all = TreeText::text(tree.heartbeat) + "\n";
    for (auto const& [name, mst] : tree.msts) {
        all += name + "\n";
        for (auto const& [intf, port] : mst->ports)
            all += "  " + TreeText::text(intf) + " " + describe(*port) + "\n";
    }
    return all;
}
std::string describe(Model::RxTree const& tree) {
    std::string all;
    for (auto const& [name, mst] : tree.msts) {
        all += name;
        for (auto const& [intf, port] : mst->ports)
            all += " " + TreeText::text(intf);
        all += "\n";
    }
    return all;
}
std::string describe(Model::TxSyncer const& syncer) {
    std::string all;
    for (auto const& [name, mst] : syncer.msts) {
        all += name + (Model::find(syncer.dest->msts, name) == mst.dest ? " in\n" : " out\n");
        for (auto const& [intf, port] : mst.ports) {
            all += "  " + TreeText::text(intf) + " " +
                   (port.dest ? describe(*port.dest) : "no destination") + " syncers";
            for (auto const& [vlan, syncing] : port.syncers)
                all += " " + number(vlan) + ":" + describe(*syncing.dest);
            all += "\n";
        }
    }
    return all;
}
std::string describe(Model::RxSyncer const& syncer) {
    std::string all;
    for (auto const& [name, reactor] : syncer.msts) {
        all += name + (Model::find(syncer.dest->msts, name) == reactor.dest ? " in" : " out");
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
    std::map<Vlan, unsigned> updates;
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
std::string describe(RxStatus const& tree) {
    std::string all;
    for (auto const& [name, mst] : sorted(tree.rxMstStatus())) {
        all += TreeText::text(name);
        for (auto const& [intf, port] : sorted(mst->rxMstPortStatus()))
            all += " " + TreeText::text(intf);
        all += "\n";
    }
    return all;
}
/// What describe() says of a receive tree with the names and interfaces of the transmit tree.
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
    return std::regex_replace(description, std::regex("[0-9]+=0 "), "");
}
std::string describe(TxStatusToTxSyncer& syncer) {
    std::string all;
    for (auto const& [name, constMst] : sorted(syncer.children().map())) {
        const auto mst = syncer.txMstStatus(name);
        all += TreeText::text(name) +
               (syncer.dest()->txMstStatus(name) == mst->dest() ? " in\n" : " out\n");
        for (auto const& [intf, constPort] : sorted(mst->children().map())) {
            const auto port = mst->txMstPortStatus(intf);
            all += "  " + TreeText::text(intf) + " " +
                   (port->dest() ? describe(*port->dest()) : "no destination") + " syncers";
            for (auto const& [vlan, syncing] : sorted(port->children().map()))
                all += " " + number(vlan.value()) + ":" + describe(*syncing->dest());
            all += "\n";
        }
    }
    return all;
}
std::string describe(TxStatusToRxSyncer& syncer) {
    std::string all;
    for (auto const& [name, reactor] : sorted(syncer.children().map())) {
        all += TreeText::text(name) +
               (syncer.rxStatus()->rxMstStatus(name) == reactor->rxMstStatus() ? " in" : " out");
        for (auto const& [intf, port] : sorted(reactor->rxMstStatus()->rxMstPortStatus()))
            all += " " + TreeText::text(intf);
        all += "\n";
    }
    return all;
}

// ---- The operations ----

class TxStatusRandom : public testing::Test {
  protected:
    void run(unsigned seed, unsigned operations) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        RecordProperty("seed", std::to_string(seed));
        random.seed(seed);
        const auto live = liveObjects();
        for (unsigned n = 0; n < 2; ++n) {
            sources[n] = TxStatus::Ptr(new TxStatus);
            models[n] = std::make_shared<Model::Tree>();
        }
        txDest = TxStatus::Ptr(new TxStatus);
        rxDest = RxStatus::Ptr(new RxStatus);
        txModel = std::make_shared<Model::Tree>();
        rxModel = std::make_shared<Model::RxTree>();
        start();
        for (unsigned done = 0; done < operations && !HasFailure(); ++done) {
            operate();
            if (done % batch == batch - 1)
                compare(done);
        }
        compare(operations);
        // New ones make the destinations equal, whatever they are like.
        txSyncer = txStatusToTxSyncerFactory(sources[0], txDest);
        rxSyncer = txStatusToRxSyncerFactory(sources[0], rxDest);
        EXPECT_EQ(Zel::differencesText(mirrorDiff(*txSyncer)), "");
        EXPECT_EQ(Zel::differencesText(mirrorDiff(*rxSyncer)), "");
        EXPECT_GT(different, 0U);
        EXPECT_GT(comparisons, different);
        txSyncer = nullptr;
        rxSyncer = nullptr;
        txSyncing.reset();
        rxSyncing.reset();
        sources = {};
        txDest = nullptr;
        rxDest = nullptr;
        EXPECT_EQ(liveObjects(), live);
        std::printf("seed %u: %u operations, %u comparisons, of these %u with ports without a "
                    "destination and %u with a destination out of its tree; refused so far: %u for "
                    "a record's source, %u for its destination\n",
                    seed, operations, comparisons, withoutDest, withFormerDest, refusedSource,
                    refusedDest);
        // What is less common has been met, too.
        EXPECT_GT(withoutDest, 0U);
        EXPECT_GT(withFormerDest, 0U);
        EXPECT_GT(refusedSource, 0U);
    }

  private:
    static constexpr unsigned batch = 500;

    unsigned below(unsigned limit) { return static_cast<unsigned>(random() % limit); }
    bool once(unsigned in) { return below(in) == 0; }
    std::string anyName() { return std::array{"a", "mst", "zz"}[below(3)]; }
    Intf anyIntf() { return std::array{Samples::et1, Samples::et3, Samples::po1}[below(3)]; }
    Vlan anyVlan() { return std::array<Vlan, 3>{0, 10, 4094}[below(3)]; }
    Instance anyInstance() { return std::array<Instance, 3>{0, 1, 4095}[below(3)]; }
    unsigned anyValue() { return below(4); }
    static Zel::Name nameOf(std::string const& name) { return Zel::Name(std::string_view(name)); }

    void compare(unsigned done) {
        for (unsigned n = 0; n < 2; ++n)
            EXPECT_EQ(describe(*sources[n]), describe(*models[n])) << done;
        EXPECT_EQ(describe(*txDest), describe(*txModel)) << done;
        EXPECT_EQ(describe(*rxDest), describe(*rxModel)) << done;
        EXPECT_EQ(describe(*txSyncer), describe(*txSyncing)) << done;
        EXPECT_EQ(describe(*rxSyncer), describe(*rxSyncing)) << done;
        compareDiffs(done);
        ++comparisons;
        const std::string reactors = describe(*txSyncing);
        withoutDest += reactors.find("no destination") != reactors.npos;
        withFormerDest += reactors.find(" out\n") != reactors.npos;
        const unsigned at = txSyncing->source == models[0] ? 0 : 1;
        const TxStatus* bound = txSyncing->source ? sources[at].ptr() : nullptr;
        EXPECT_EQ(txSyncer->source().ptr(), bound);
        EXPECT_EQ(rxSyncer->source().ptr(), bound);
    }

    /// Whether the comparison of a syncer's trees finds a difference just where there is one.
    void compareDiffs(unsigned done) {
        const Zel::Ptr<TxStatus const> source = txSyncer->source();
        if (!source)
            return;
        const bool txEqual = withoutZeros(describe(*source)) == withoutZeros(describe(*txDest));
        EXPECT_EQ(mirrorDiff(*txSyncer).empty(), txEqual) << done;
        const bool rxEqual = structure(*source) == describe(*rxDest);
        EXPECT_EQ(mirrorDiff(*rxSyncer).empty(), rxEqual) << done;
        different += !txEqual;
    }

    void start() {
        const unsigned at = below(2);
        txSyncer = txStatusToTxSyncerFactory(sources[at], txDest);
        rxSyncer = txStatusToRxSyncerFactory(sources[at], rxDest);
        txSyncing = std::make_unique<Model::TxSyncer>(models[at], txModel);
        rxSyncing = std::make_unique<Model::RxSyncer>(models[at], rxModel);
    }

    // Random contents, made on both sides; nobody watches yet.
    void fill(IntxInfo& record, Model::Record& model) {
        model.version = anyValue();
        model.revision = anyValue();
        record.stpVersionIs(static_cast<Zel::U8>(model.version));
        record.configRevisionLevelIs(static_cast<Zel::U16>(model.revision));
        for (unsigned count = below(3); count > 0; --count) {
            const Instance key = anyInstance();
            const auto entry = record.mstiNIs(key);
            const auto modelled = Model::ensure(model.entries, key);
            modelled->flags = anyValue();
            entry->flagsIs(static_cast<Zel::U8>(modelled->flags));
        }
    }
    void fill(TxMstPortStatus& port, Model::Port& model) {
        for (unsigned count = below(3); count > 0; --count) {
            const Vlan vlan = anyVlan();
            model.updates[vlan] = anyValue();
            port.txUpdateIs(vlan, model.updates[vlan]);
        }
        model.newInfo = anyValue();
        port.txNewInfoIs(model.newInfo);
        for (unsigned count = below(3); count > 0; --count) {
            const Vlan vlan = anyVlan();
            fill(*port.txInfoIs(vlan), *Model::ensure(model.records, vlan));
        }
    }
    void fill(TxMstStatus& mst, Model::Mst& model) {
        for (unsigned count = below(3); count > 0; --count) {
            const Intf intf = anyIntf();
            fill(*mst.txMstPortStatusIs(intf), *Model::ensure(model.ports, intf));
        }
    }

    template <class Syncing, class React>
    void tellRoot(Syncing& syncing, unsigned at, React react) {
        if (syncing.source == models[at])
            react(syncing);
    }
    template <class React> void tellMst(std::shared_ptr<Model::Mst> const& source, React react) {
        for (auto& [name, mst] : txSyncing->msts) {
            if (mst.source == source)
                react(mst);
        }
    }
    template <class React> void tellPort(std::shared_ptr<Model::Port> const& source, React react) {
        for (auto& [name, mst] : txSyncing->msts) {
            for (auto& [intf, port] : mst.ports) {
                if (port.source == source)
                    react(port);
            }
        }
    }
    template <class React>
    void tellRecord(std::shared_ptr<Model::Record> const& source, React react) {
        for (auto& [name, mst] : txSyncing->msts) {
            for (auto& [intf, port] : mst.ports) {
                for (auto& [vlan, syncer] : port.syncers) {
                    if (syncer.source == source)
                        react(syncer);
                }
            }
        }
    }

    /// Runs both sides; either both refuse, for the same parameter, or neither does.
    template <class Do, class Expect> void both(Do act, Expect expect) {
        std::string refused, expected;
        try {
            act();
        } catch (Zel::NameInUseException const& exception) {
            refused = exception.what();
        }
        try {
            expect();
        } catch (Model::Differs const& differs) {
            expected = "Reinstantiating the pointer interface where constructor parameter "
                       "attribute " +
                       std::string(differs.parameter) + " has a different value of ";
            ++(differs.parameter == "_source" ? refusedSource : refusedDest);
        }
        EXPECT_EQ(refused.substr(0, expected.size()), expected);
        EXPECT_EQ(refused.empty(), expected.empty()) << refused;
    }

    void operate() {
        const unsigned at = below(2);
        switch (const unsigned what = below(1000); what) {
        case 0:
            start();
            return;
        case 1:
        case 2:
            txSyncer->sourceDel();
            rxSyncer->sourceDel();
            txSyncing->source = nullptr;
            rxSyncing->source = nullptr;
            return;
        case 3:
        case 4:
        case 5:
        case 6:
        case 7:
        case 8:
            txSyncer->sourceIs(sources[at]);
            rxSyncer->sourceIs(sources[at]);
            txSyncing->sourceIs(models[at]);
            rxSyncing->sourceIs(models[at]);
            return;
        default:
            if (what < 100)
                disturb();
            else if (what < 112)
                changeMst(at);
            else if (what < 125)
                changeHeartbeat(at);
            else
                changeUnderMst(at);
        }
    }

    void changeHeartbeat(unsigned at) {
        const double value = anyValue() / 2.0;
        sources[at]->heartbeatTimeoutIs(value);
        models[at]->heartbeat = value;
        tellRoot(*txSyncing, at, [&](auto& syncing) { syncing.dest->heartbeat = value; });
    }

    void changeMst(unsigned at) {
        const std::string name = anyName();
        auto& msts = models[at]->msts;
        switch (below(3)) {
        case 0: // with contents, in the place of what was there
        {
            const TxMstStatus::Ptr made(new TxMstStatus(nameOf(name)));
            const auto modelled = std::make_shared<Model::Mst>();
            fill(*made, *modelled);
            sources[at]->txMstStatusMemberIs(made);
            msts[name] = modelled;
            break;
        }
        case 1:
            sources[at]->txMstStatusIs(nameOf(name));
            if (msts.contains(name))
                return;
            Model::ensure(msts, name);
            break;
        default:
            sources[at]->txMstStatusDel(nameOf(name));
            if (msts.erase(name) == 0)
                return;
        }
        tellRoot(*txSyncing, at, [&](auto& syncing) { syncing.onMst(name); });
        tellRoot(*rxSyncing, at, [&](auto& syncing) { syncing.onMst(name); });
    }

    void changeUnderMst(unsigned at) {
        std::string name = anyName();
        if (!models[at]->msts.contains(name) && !models[at]->msts.empty())
            name = models[at]->msts.begin()->first;
        const TxMstStatus::Ptr mst = sources[at]->txMstStatus(nameOf(name));
        if (!mst)
            return;
        const auto model = models[at]->msts.at(name);
        if (once(24))
            changePort(*mst, model);
        else
            changeUnderPort(*mst, *model);
    }

    void changePort(TxMstStatus& mst, std::shared_ptr<Model::Mst> const& model) {
        const Intf intf = anyIntf();
        switch (below(3)) {
        case 0: {
            const TxMstPortStatus::Ptr made(new TxMstPortStatus(intf));
            const auto modelled = std::make_shared<Model::Port>();
            fill(*made, *modelled);
            mst.txMstPortStatusMemberIs(made);
            model->ports[intf] = modelled;
            break;
        }
        case 1:
            mst.txMstPortStatusIs(intf);
            if (model->ports.contains(intf))
                return;
            Model::ensure(model->ports, intf);
            break;
        default:
            mst.txMstPortStatusDel(intf);
            if (model->ports.erase(intf) == 0)
                return;
        }
        tellMst(model, [&](Model::MstReactor& reactor) { reactor.onPort(intf); });
        for (auto& [name, reactor] : rxSyncing->msts) {
            if (reactor.source == model)
                reactor.handlePort(intf);
        }
    }

    void changeUnderPort(TxMstStatus& mst, Model::Mst& mstModel) {
        Intf intf = anyIntf();
        if (!mstModel.ports.contains(intf) && !mstModel.ports.empty())
            intf = mstModel.ports.begin()->first;
        const TxMstPortStatus::Ptr port = mst.txMstPortStatus(intf);
        if (!port)
            return;
        const auto model = mstModel.ports.at(intf);
        const Vlan vlan = anyVlan();
        const unsigned value = anyValue();
        switch (below(8)) {
        case 0:
            port->txUpdateIs(vlan, value);
            model->updates[vlan] = value;
            tellPort(model, [&](auto& reactor) { reactor.handleUpdate(vlan); });
            return;
        case 1:
            port->txUpdateDel(vlan);
            if (model->updates.erase(vlan) != 0)
                tellPort(model, [&](auto& reactor) { reactor.handleUpdate(vlan); });
            return;
        case 2:
            port->txNewInfoIs(value);
            model->newInfo = value;
            tellPort(model, [](auto& reactor) { reactor.handleNewInfo(); });
            return;
        case 3:
            port->txHelloWhenOnIs(Stp::TimerVal::units(static_cast<Zel::U16>(value)));
            model->hello = value;
            tellPort(model, [](auto& reactor) { reactor.handleHello(); });
            return;
        case 4:
            changeRecords(*port, model, vlan);
            return;
        default:
            if (const IntxInfo::Ptr record = port->txInfo(vlan))
                changeRecord(*record, model->records.at(vlan));
        }
    }

    void changeRecords(TxMstPortStatus& port, std::shared_ptr<Model::Port> const& model,
                       Vlan vlan) {
        const auto tell = [&] {
            tellPort(model, [&](Model::PortReactor& reactor) { reactor.handleInfo(vlan); });
        };
        switch (below(6)) {
        case 5: // told again, as a state database may
            both(
                [&] {
                    const Bridging::VlanIdOrNone key = vlan;
                    port.notify(TxMstPortStatus::txInfoAttribute::id, &key);
                },
                tell);
            return;
        case 0: {
            const IntxInfo::Ptr made(new IntxInfo(vlan));
            const auto modelled = std::make_shared<Model::Record>();
            fill(*made, *modelled);
            both([&] { port.txInfoMemberIs(made); },
                 [&] {
                     model->records[vlan] = modelled;
                     tell();
                 });
            return;
        }
        case 1:
        case 2:
            both([&] { port.txInfoIs(vlan); },
                 [&] {
                     if (model->records.contains(vlan))
                         return;
                     Model::ensure(model->records, vlan);
                     tell();
                 });
            return;
        default:
            port.txInfoDel(vlan);
            if (model->records.erase(vlan) != 0)
                tell();
        }
    }

    void changeRecord(IntxInfo& record, std::shared_ptr<Model::Record> const& model) {
        const unsigned value = anyValue();
        const Instance key = anyInstance();
        switch (below(5)) {
        case 0:
            record.stpVersionIs(static_cast<Zel::U8>(value));
            model->version = value;
            tellRecord(model, [&](auto& syncer) { syncer.dest->version = value; });
            return;
        case 1:
            record.configRevisionLevelIs(static_cast<Zel::U16>(value));
            model->revision = value;
            tellRecord(model, [&](auto& syncer) { syncer.dest->revision = value; });
            return;
        case 2:
            record.mstiNIs(key);
            if (!model->entries.contains(key)) {
                Model::ensure(model->entries, key);
                tellRecord(model, [&](auto& syncer) { syncer.onEntry(key); });
            }
            return;
        case 3:
            record.mstiNDel(key);
            if (model->entries.erase(key) != 0)
                tellRecord(model, [&](auto& syncer) { syncer.onEntry(key); });
            return;
        default:
            if (const IntxMstiInfo::Ptr entry = record.mstiN(key)) {
                const auto modelled = model->entries.at(key);
                const bool flags = once(2);
                if (flags) {
                    entry->flagsIs(static_cast<Zel::U8>(value));
                    modelled->flags = value;
                } else {
                    entry->maxAgeIs(Stp::TimerVal::units(static_cast<Zel::U16>(value)));
                    modelled->maxAge = value;
                }
                tellRecord(model, [&](Model::RecordSyncer& syncer) {
                    Model::EntryReactor const& reactor = syncer.entries.at(key);
                    flags ? reactor.copyFlags() : reactor.copyMaxAge();
                });
            }
        }
    }

    /// Somebody else writes to the destinations.
    void disturb() {
        const std::string name = anyName();
        const Intf intf = anyIntf();
        const Vlan vlan = anyVlan();
        const unsigned value = anyValue();
        if (once(4)) {
            disturbRx(name, intf);
            return;
        }
        if (once(8)) {
            txDest->heartbeatTimeoutIs(value);
            txModel->heartbeat = value;
            return;
        }
        if (once(10)) {
            txDest->txMstStatusDel(nameOf(name));
            txModel->msts.erase(name);
            return;
        }
        const TxMstStatus::Ptr mst = txDest->txMstStatusIs(nameOf(name));
        const auto mstModel = Model::ensure(txModel->msts, name);
        if (once(6)) {
            mst->txMstPortStatusDel(intf);
            mstModel->ports.erase(intf);
            return;
        }
        const TxMstPortStatus::Ptr port = mst->txMstPortStatusIs(intf);
        const auto portModel = Model::ensure(mstModel->ports, intf);
        switch (below(6)) {
        case 0:
            port->txUpdateIs(vlan, value);
            portModel->updates[vlan] = value;
            return;
        case 1:
            port->txUpdateDel(vlan);
            portModel->updates.erase(vlan);
            return;
        case 2:
            port->txNewInfoIs(value);
            portModel->newInfo = value;
            return;
        case 3:
            port->txInfoDel(vlan);
            portModel->records.erase(vlan);
            return;
        default:
            const IntxInfo::Ptr record = port->txInfoIs(vlan);
            const auto recordModel = Model::ensure(portModel->records, vlan);
            if (once(2)) {
                record->stpVersionIs(static_cast<Zel::U8>(value));
                recordModel->version = value;
            } else {
                const Instance key = anyInstance();
                if (once(2)) {
                    record->mstiNIs(key);
                    Model::ensure(recordModel->entries, key);
                } else {
                    record->mstiNDel(key);
                    recordModel->entries.erase(key);
                }
            }
        }
    }
    void disturbRx(std::string const& name, Intf intf) {
        if (once(6)) {
            rxDest->rxMstStatusDel(nameOf(name));
            rxModel->msts.erase(name);
            return;
        }
        const RxMstStatus::Ptr mst = rxDest->rxMstStatusIs(nameOf(name));
        const auto model = Model::ensure(rxModel->msts, name);
        if (once(2)) {
            mst->rxMstPortStatusIs(intf);
            Model::ensure(model->ports, intf);
        } else {
            mst->rxMstPortStatusDel(intf);
            model->ports.erase(intf);
        }
    }

    std::mt19937 random;
    std::array<TxStatus::Ptr, 2> sources;
    std::array<std::shared_ptr<Model::Tree>, 2> models;
    TxStatus::Ptr txDest;
    RxStatus::Ptr rxDest;
    std::shared_ptr<Model::Tree> txModel;
    std::shared_ptr<Model::RxTree> rxModel;
    TxStatusToTxSyncer::Ptr txSyncer;
    TxStatusToRxSyncer::Ptr rxSyncer;
    std::unique_ptr<Model::TxSyncer> txSyncing;
    std::unique_ptr<Model::RxSyncer> rxSyncing;
    unsigned comparisons = 0;
    unsigned different = 0;
    unsigned withoutDest = 0;
    unsigned withFormerDest = 0;

  protected:
    unsigned refusedSource = 0;
    unsigned refusedDest = 0;
};

TEST_F(TxStatusRandom, BothSyncersDoAsTheModelDoesForAMillionOperations) {
    for (unsigned seed : {1U, 20260U, 3735928559U, 4294967295U}) {
        run(seed, 250000);
        if (HasFailure())
            return;
    }
    EXPECT_GT(refusedDest, 10U);
}

TEST_F(TxStatusRandom, BothSyncersDoAsTheModelDoesWithAtomicCounts) {
    Zel::VFPtrInterface::threadSafePointers_ = true;
    run(77, 20000);
    Zel::VFPtrInterface::threadSafePointers_ = false;
}

} // namespace
} // namespace Varnol
