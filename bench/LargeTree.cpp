#include "bench/FloorTree.h"
#include "bench/Rows.h"
#include "syncers/TxStatusToTxSyncer.h"

#include <numeric>
#include <random>

/// mirror_in_large_tree: one instance attribute is set in a random record of a mirrored tree of 1
/// Mi records, and seen in the destination.
namespace Bench {
namespace {

constexpr unsigned records = 1024 * 1024;

U8 octet(unsigned i) { return static_cast<U8>(i); }

/// The records in the order in which they are changed: each once in a round, the same in all ways.
std::vector<U32> const& order() {
    static const std::vector<U32> order = [] {
        std::vector<U32> numbers(records);
        std::iota(numbers.begin(), numbers.end(), U32{0});
        std::shuffle(numbers.begin(), numbers.end(), std::mt19937(1));
        return numbers;
    }();
    return order;
}

/// The values at the first places in that order.
template <class Value> std::string textOf(Value const& value) {
    std::string text;
    for (unsigned i = 0; i < 1000; ++i)
        text += std::to_string(value(i)) + " ";
    return text;
}

/// A source entry, and the destination entry where its change is to be seen.
template <class Entry> struct Pair {
    Entry* from;
    Entry const* to;
};

class Library {
  public:
    Library() {
        for (const U32 i : order())
            pairs_.push_back(
                {record(*source_, i)->mstiN(0).ptr(), record(*dest_, i)->mstiN(0).ptr()});
    }
    void operator()(unsigned i) {
        auto const& [from, to] = pairs_[i % records];
        from->flagsIs(octet(i));
        benchmark::DoNotOptimize(to->flags());
    }
    std::string result() const {
        return textOf([this](unsigned i) { return pairs_[i].to->flags().value(); });
    }

  private:
    Varnol::TxStatus::Ptr source_ = transmitTree(records);
    Varnol::TxStatus::Ptr dest_{new Varnol::TxStatus};
    Varnol::TxStatusToTxSyncer::Ptr syncer_ = Varnol::txStatusToTxSyncerFactory(source_, dest_);
    std::vector<Pair<Varnol::IntxMstiInfo>> pairs_;
};

class ByHand {
  public:
    ByHand() {
        for (const U32 i : order())
            pairs_.push_back({&entry(source_, i), &entry(dest_, i)});
    }
    void operator()(unsigned i) {
        auto const& [from, to] = pairs_[i % records];
        from->flagsIs(octet(i));
        benchmark::DoNotOptimize(to->values.flags);
    }
    std::string result() const {
        return textOf([this](unsigned i) { return pairs_[i].to->values.flags.value(); });
    }

  private:
    static Floor::Entry& entry(Floor::Tree& tree, unsigned i) {
        auto& port = tree.msts.at(Shape::mstName).ports.at(Shape().port(i));
        return port.txInfo.at(Shape().vlan(i)).entries.at(0);
    }

    Floor::Tree source_ = Floor::tree(records);
    Floor::Tree dest_;
    Floor::TreeMirror mirror_{source_, dest_};
    std::vector<Pair<Floor::Entry>> pairs_;
};

/// One entry of a map is looked for, read and written: no mirror, but what any program pays that
/// keeps so much in a std::unordered_map.
class Map {
  public:
    Map() {
        for (unsigned i = 0; i < records; ++i)
            map_.emplace(i, entryValues(i).flags.value());
        keys_ = order();
    }
    void operator()(unsigned i) {
        U32& value = map_.find(keys_[i % records])->second;
        benchmark::DoNotOptimize(value);
        value = octet(i);
    }
    std::string result() const {
        return textOf([this](unsigned i) { return map_.at(keys_[i]); });
    }

  private:
    std::unordered_map<U32, U32> map_;
    std::vector<U32> keys_;
};

} // namespace

void mirrorInLargeTree(Rows& rows) {
    const Often often{.iterations = records, .counted = 0};
    rows.add<Library>("varnol/mirror_in_large_tree", often);
    rows.add<ByHand>("floor/mirror_in_large_tree", often);
    rows.add<Map>("peer/unordered_map/mirror_in_large_tree", often);
}

} // namespace Bench
