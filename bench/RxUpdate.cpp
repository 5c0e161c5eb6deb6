#include "bench/FloorReceive.h"
#include "bench/Rows.h"
#include "syncers/RxStatusToRxDynamicSyncer.h"

/// rx_update: the update count of a record of a source receive port is raised; the record is copied
/// to the destination port, and its count raised there.
namespace Bench {
namespace {

constexpr auto port = Kolvu::IntfId::ethernet(1);
constexpr U16 vlan = 10;

class Library {
  public:
    explicit Library(unsigned instances) { fill(*from_->rxInfoIs(vlan), instances); }
    void operator()(unsigned) {
        from_->rxUpdateInc(vlan, 1);
        benchmark::DoNotOptimize(to_->rxUpdate(vlan));
    }
    std::string result() const {
        return std::to_string(to_->rxUpdate(vlan)) + " " + text(*to_->rxInfo(vlan));
    }

  private:
    static Varnol::RxMstPortStatus::Ptr portOf(Varnol::RxStatus& tree) {
        return tree.rxMstStatusIs("mst1")->rxMstPortStatusIs(port);
    }

    Varnol::RxStatus::Ptr source_{new Varnol::RxStatus};
    Varnol::RxStatus::Ptr dest_{new Varnol::RxStatus};
    Varnol::RxMstPortStatus::Ptr from_ = portOf(*source_);
    Varnol::RxMstPortStatus::Ptr to_ = portOf(*dest_);
    Varnol::RxStatusToRxDynamicSyncer::Ptr syncer_ =
        Varnol::rxStatusToRxDynamicSyncerFactory(source_, dest_);
};

class ByHand {
  public:
    explicit ByHand(unsigned instances) { from_.rxInfo[vlan] = plainRecord(instances); }
    void operator()(unsigned) {
        from_.rxUpdateInc(vlan, 1);
        benchmark::DoNotOptimize(to_.rxUpdate.find(vlan)->second);
    }
    std::string result() const {
        PlainRecord const& record = to_.rxInfo.at(vlan);
        return std::to_string(to_.rxUpdate.at(vlan)) + " " +
               text(vlan, record.values, record.entries);
    }

  private:
    Floor::ReceiveTree dest_;
    Floor::ReceivePort from_;
    Floor::ReceivePort& to_ = dest_.msts["mst1"].ports[port];
    Floor::ReceiveMirror mirror_{from_, "mst1", port, dest_};
};

} // namespace

void rxUpdate(Rows& rows) {
    for (const unsigned instances : {1U, 16U}) {
        const std::string work = "rx_update_" + std::to_string(instances);
        rows.add<Library>("varnol/" + work, {}, instances);
        rows.add<ByHand>("floor/" + work, {}, instances);
    }
}

} // namespace Bench
