#include "bench/FloorTree.h"
#include "bench/Rows.h"
#include "bench/SigcTree.h"
#include "syncers/TxStatusToTxSyncer.h"

/// mirror_tx_update: the update count of one of a port's 16 VLANs is set in the source tree, and
/// seen in the destination tree.
namespace Bench {
namespace {

constexpr unsigned records = Shape().vlansPerPort;

U16 vlanOf(unsigned i) { return Shape().vlan(i); }
unsigned valueOf(unsigned i) { return i + 1; }

/// The counts of all VLANs, of which `count(vlan)` gives one.
template <class Count> std::string textOf(Count const& count) {
    std::string text;
    for (unsigned i = 0; i < records; ++i)
        text += std::to_string(count(vlanOf(i))) + " ";
    return text;
}

class Library {
  public:
    void operator()(unsigned i) {
        from_->txUpdateIs(vlanOf(i), valueOf(i));
        benchmark::DoNotOptimize(to_->txUpdate(vlanOf(i)));
    }
    std::string result() {
        return textOf([this](U16 vlan) { return to_->txUpdate(vlan); });
    }

  private:
    Varnol::TxStatus::Ptr source_ = transmitTree(records);
    Varnol::TxStatus::Ptr dest_{new Varnol::TxStatus};
    Varnol::TxStatusToTxSyncer::Ptr syncer_ = Varnol::txStatusToTxSyncerFactory(source_, dest_);
    Varnol::TxMstPortStatus::Ptr from_ =
        source_->txMstStatus(Shape::mstName)->txMstPortStatus(Shape().port(0));
    Varnol::TxMstPortStatus::Ptr to_ =
        dest_->txMstStatus(Shape::mstName)->txMstPortStatus(Shape().port(0));
};

/// The entry is found in the source's map, a virtual call, and the entry is found in the
/// destination's map and written, once. (The library has to write it twice, each time telling the
/// destination's reactors.)
class ByHand {
  public:
    void operator()(unsigned i) {
        from_.txUpdateIs(vlanOf(i), valueOf(i));
        benchmark::DoNotOptimize(to_.txUpdate.find(vlanOf(i))->second);
    }
    std::string result() {
        return textOf([this](U16 vlan) { return to_.txUpdate.at(vlan); });
    }

  private:
    Floor::Tree source_ = Floor::tree(records);
    Floor::Tree dest_;
    Floor::TreeMirror mirror_{source_, dest_};
    Floor::Port& from_ = source_.msts.at(Shape::mstName).ports.at(Shape().port(0));
    Floor::Port& to_ = dest_.msts.at(Shape::mstName).ports.at(Shape().port(0));
};

class Sigcxx {
  public:
    void operator()(unsigned i) {
        from_.txUpdateIs(vlanOf(i), valueOf(i));
        benchmark::DoNotOptimize(to_.txUpdate.find(vlanOf(i))->second);
    }
    std::string result() {
        return textOf([this](U16 vlan) { return to_.txUpdate.at(vlan); });
    }

  private:
    std::shared_ptr<Sigc::Tree> source_ = Sigc::tree(records);
    std::shared_ptr<Sigc::Tree> dest_ = std::make_shared<Sigc::Tree>();
    Sigc::TreeMirror mirror_{source_, dest_};
    Sigc::Port& from_ = *source_->msts.at(Shape::mstName)->ports.at(Shape().port(0));
    Sigc::Port& to_ = *dest_->msts.at(Shape::mstName)->ports.at(Shape().port(0));
};

} // namespace

void mirrorTxUpdate(Rows& rows) {
    rows.add<Library>("varnol/mirror_tx_update");
    rows.add<ByHand>("floor/mirror_tx_update");
    rows.add<Sigcxx>("peer/sigc++/mirror_tx_update");
}

} // namespace Bench
