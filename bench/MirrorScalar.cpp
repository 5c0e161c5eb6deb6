#include "bench/FloorTree.h"
#include "bench/Rows.h"
#include "bench/SigcTree.h"
#include "syncers/TxStatusToTxSyncer.h"

#include <boost/signals2.hpp>

/// mirror_scalar: one instance attribute is set in the source record, and seen in the destination
/// record.
namespace Bench {
namespace {

U8 octet(unsigned i) { return static_cast<U8>(i); }

/// What the ways have in common: a source and a destination entry, here to be found.
template <class From, class To> std::string textOf(From const& from, To const& to) {
    return std::to_string(from.value()) + " " + std::to_string(to.value());
}

class Library {
  public:
    void operator()(unsigned i) {
        from_->flagsIs(octet(i));
        benchmark::DoNotOptimize(to_->flags());
    }
    std::string result() const { return textOf(from_->flags(), to_->flags()); }

  private:
    Varnol::TxStatus::Ptr source_ = transmitTree(1);
    Varnol::TxStatus::Ptr dest_{new Varnol::TxStatus};
    Varnol::TxStatusToTxSyncer::Ptr syncer_ = Varnol::txStatusToTxSyncerFactory(source_, dest_);
    Varnol::IntxMstiInfo::Ptr from_ = record(*source_, 0)->mstiN(0);
    Varnol::IntxMstiInfo::Ptr to_ = record(*dest_, 0)->mstiN(0);
};

Floor::Entry& entry(Floor::Tree& tree) {
    return tree.msts.at(Shape::mstName).ports.at(Shape().port(0)).txInfo.at(0).entries.at(0);
}

/// A virtual call and two stores.
class ByHand {
  public:
    void operator()(unsigned i) {
        from_.flagsIs(octet(i));
        benchmark::DoNotOptimize(to_.values.flags);
    }
    std::string result() const { return textOf(from_.values.flags, to_.values.flags); }

  private:
    Floor::Tree source_ = Floor::tree(1);
    Floor::Tree dest_;
    Floor::TreeMirror mirror_{source_, dest_};
    Floor::Entry& from_ = entry(source_);
    Floor::Entry& to_ = entry(dest_);
};

Sigc::Entry& entry(Sigc::Tree& tree) {
    return *tree.msts.at(Shape::mstName)->ports.at(Shape().port(0))->txInfo.at(0)->entries.at(0);
}

class Sigcxx {
  public:
    void operator()(unsigned i) {
        from_.flagsIs(octet(i));
        benchmark::DoNotOptimize(to_.values.flags);
    }
    std::string result() const { return textOf(from_.values.flags, to_.values.flags); }

  private:
    std::shared_ptr<Sigc::Tree> source_ = Sigc::tree(1);
    std::shared_ptr<Sigc::Tree> dest_ = std::make_shared<Sigc::Tree>();
    Sigc::TreeMirror mirror_{source_, dest_};
    Sigc::Entry& from_ = entry(*source_);
    Sigc::Entry& to_ = entry(*dest_);
};

/// A signal as it comes, with a mutex, or one that may be used by one thread only.
template <class Signal> class Signals2 {
  public:
    Signals2() {
        changed_.connect([this] { to_->flags = from_->flags; });
    }
    void operator()(unsigned i) {
        from_->flags = octet(i);
        changed_();
        benchmark::DoNotOptimize(to_->flags);
    }
    std::string result() const { return textOf(from_->flags, to_->flags); }

  private:
    std::unique_ptr<EntryValues> from_ = std::make_unique<EntryValues>(entryValues(0));
    std::unique_ptr<EntryValues> to_ = std::make_unique<EntryValues>();
    Signal changed_;
};

namespace signals2 = boost::signals2;
using Locking = signals2::signal<void()>;
using Unlocked =
    signals2::signal_type<void(), signals2::keywords::mutex_type<signals2::dummy_mutex>>::type;

} // namespace

void mirrorScalar(Rows& rows) {
    rows.add<Library>("varnol/mirror_scalar");
    rows.add<ByHand>("floor/mirror_scalar");
    rows.add<Sigcxx>("peer/sigc++/mirror_scalar");
    rows.add<Signals2<Locking>>("peer/signals2/mirror_scalar");
    rows.add<Signals2<Unlocked>>("peer/signals2-unlocked/mirror_scalar");
}

} // namespace Bench
