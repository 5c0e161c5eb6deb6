#include "bench/FloorTree.h"
#include "bench/Rows.h"
#include "bench/SigcTree.h"
#include "syncers/TxStatusToTxSyncer.h"

/// sync_N: over a source tree of N records, a destination tree is made, made equal to the source
/// and kept live; then both are torn down.
namespace Bench {
namespace {

/// How many records are compared in large trees.
constexpr unsigned compared = 4096;

class Library {
  public:
    explicit Library(unsigned records)
        : records_(records)
        , source_(transmitTree(records)) {}
    void operator()(unsigned) {
        const Varnol::TxStatus::Ptr dest(new Varnol::TxStatus);
        const auto syncer = Varnol::txStatusToTxSyncerFactory(source_, dest);
        benchmark::DoNotOptimize(syncer.ptr());
    }
    std::string result() {
        const Varnol::TxStatus::Ptr dest(new Varnol::TxStatus);
        const auto syncer = Varnol::txStatusToTxSyncerFactory(source_, dest);
        record(*source_, 0)->mstiN(0)->flagsIs(77); // to see that it is live
        return text(*dest, std::min(records_, compared));
    }

  private:
    unsigned records_;
    Varnol::TxStatus::Ptr source_;
};

/// Plain structs in nested containers, with an observer for each thing; see FloorTree.h.
class ByHand {
  public:
    explicit ByHand(unsigned records)
        : records_(records)
        , source_(Floor::tree(records)) {}
    void operator()(unsigned) {
        Floor::Tree dest;
        const Floor::TreeMirror mirror(source_, dest);
        benchmark::DoNotOptimize(&mirror);
    }
    std::string result() {
        Floor::Tree dest;
        const Floor::TreeMirror mirror(source_, dest);
        source_.msts.at(Shape::mstName)
            .ports.at(Shape().port(0))
            .txInfo.at(0)
            .entries.at(0)
            .flagsIs(77);
        return Floor::text(dest, std::min(records_, compared));
    }

  private:
    unsigned records_;
    Floor::Tree source_;
};

class Sigcxx {
  public:
    explicit Sigcxx(unsigned records)
        : records_(records)
        , source_(Sigc::tree(records)) {}
    void operator()(unsigned) {
        const auto dest = std::make_shared<Sigc::Tree>();
        const Sigc::TreeMirror mirror(source_, dest);
        benchmark::DoNotOptimize(&mirror);
    }
    std::string result() {
        const auto dest = std::make_shared<Sigc::Tree>();
        const Sigc::TreeMirror mirror(source_, dest);
        source_->msts.at(Shape::mstName)
            ->ports.at(Shape().port(0))
            ->txInfo.at(0)
            ->entries.at(0)
            ->flagsIs(77);
        return Sigc::text(*dest, std::min(records_, compared));
    }

  private:
    unsigned records_;
    std::shared_ptr<Sigc::Tree> source_;
};

/// A copy of nested std::unordered_map of shared_ptr, which is not live. What counts is how its
/// cost grows.
class Maps {
  public:
    explicit Maps(unsigned records)
        : records_(records) {
        for (unsigned i = 0; i < records; ++i) {
            Port& port = made(made(source_[Shape::mstName])[Shape().port(i)]);
            Record& record = made(port.txInfo[Shape().vlan(i)]);
            record.values = recordValues(i);
            made(record.entries[0]) = entryValues(i);
        }
    }
    void operator()(unsigned) {
        const Tree dest = copy(source_);
        benchmark::DoNotOptimize(&dest);
    }
    std::string result() {
        Port& first = *source_.at(Shape::mstName)->at(Shape().port(0));
        first.txInfo.at(0)->entries.at(0)->flags = 77;
        const Tree dest = copy(source_);
        std::string all;
        for (unsigned i = 0; i < std::min(records_, compared); ++i) {
            Port const& port = *dest.at(Shape::mstName)->at(Shape().port(i));
            const U16 vlan = Shape().vlan(i);
            Record const& record = *port.txInfo.at(vlan);
            const std::map<U16, EntryValues> entries{{0, *record.entries.at(0)}};
            all += text(vlan, record.values, entries) + "\n";
        }
        return all;
    }

  private:
    template <class Key, class T, class Hash = std::hash<Key>>
    using Map = std::unordered_map<Key, std::shared_ptr<T>, Hash>;
    using Entries = Map<U16, EntryValues>;
    struct Record {
        RecordValues values;
        Entries entries;
    };
    struct Port {
        std::unordered_map<U16, unsigned> txUpdate;
        unsigned txNewInfo = 0;
        Stp::TimerVal txHelloWhenOn;
        Map<U16, Record> txInfo;
    };
    using Ports = Map<Kolvu::IntfId, Port, PortHash>;
    using Tree = Map<std::string, Ports>;

    template <class T> static T& made(std::shared_ptr<T>& child) {
        if (!child)
            child = std::make_shared<T>();
        return *child;
    }
    template <class Key, class T, class Hash>
    static Map<Key, T, Hash> copy(Map<Key, T, Hash> const& from) {
        Map<Key, T, Hash> to;
        for (auto const& [key, member] : from)
            to.emplace(key, std::make_shared<T>(copy(*member)));
        return to;
    }
    static EntryValues const& copy(EntryValues const& from) { return from; }
    static Record copy(Record const& from) { return {from.values, copy(from.entries)}; }
    static Port copy(Port const& from) {
        return {from.txUpdate, from.txNewInfo, from.txHelloWhenOn, copy(from.txInfo)};
    }

    unsigned records_;
    Tree source_;
};

} // namespace

void sync(Rows& rows) {
    for (unsigned records = 1024; records <= 1024 * 1024; records *= 4) {
        const std::string work = "sync_" + std::to_string(records);
        const Often often{.iterations = records >= 64 * 1024 ? 1U : 0U,
                          .counted = records == 1024 ? 5U : 0U,
                          .checked = 0};
        rows.add<Library>("varnol/" + work, often, records);
        rows.add<ByHand>("floor/" + work, often, records);
        rows.add<Sigcxx>("peer/sigc++/" + work, often, records);
        rows.add<Maps>("peer/unordered_map/" + work, often, records);
    }
}

} // namespace Bench
