#pragma once

#include "syncers/TxStatusToRxSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"
#include "tests/syncers/Disturbed.h"
#include "tests/syncers/ReceiveWorld.h"
#include "tests/syncers/TransmitModel.h"

/// Two transmit trees, the transmit tree and the dynamic receive tree into which they are mirrored,
/// and the syncers that do it, beside their model: random changes of all of them.
class TransmitWorld {
  public:
    /// The dynamic tree outlives the world.
    TransmitWorld(Dice& dice, DynamicTree& dynamic);

    /// One operation, on both sides. Throws Modelled::Difference.
    /// @return whether there was anything to change; where not, that nothing changes is compared,
    /// too
    bool operate();
    /// Compares the trees and the syncers with the model, and what mirrorDiff() finds with what
    /// there is to find. Throws Modelled::Difference.
    void compare();
    /// What new syncers leave different: nothing. Throws Modelled::Difference.
    void becomesEqual();

    Varnol::TxStatus::Ptr const& dest() const noexcept { return dest_; }

    // What was met.
    unsigned comparisons = 0, different = 0, withoutDest = 0, withFormerDest = 0;
    unsigned refusedSource = 0, refusedDest = 0;
    Disturbed disturbed;

  private:
    void start(unsigned at);
    void drop();
    void compareDiffs();
    template <class Do, class Expect> void both(Do act, Expect expect);

    void fill(Varnol::IntxInfo& record, TransmitModel::Record& model);
    void fill(Varnol::TxMstPortStatus& port, TransmitModel::Port& model);
    void fill(Varnol::TxMstStatus& mst, TransmitModel::Mst& model);

    // What the model's reactors are told that watch the source, unless they are switched off.
    template <class Syncing, class React> void tellRoot(Syncing* syncing, unsigned at, React react);
    template <class React>
    void tellMst(std::shared_ptr<TransmitModel::Mst> const& source, React react);
    template <class React>
    void tellPort(std::shared_ptr<TransmitModel::Port> const& source, React react);
    template <class React>
    void tellRecord(std::shared_ptr<TransmitModel::Record> const& source, React react);

    bool disturbSyncers(unsigned at);
    bool pause();
    void changeHeartbeat(unsigned at);
    bool changeMst(unsigned at);
    bool changeUnderMst(unsigned at);
    bool changePort(Varnol::TxMstStatus& mst, std::shared_ptr<TransmitModel::Mst> const& model);
    bool changeUnderPort(Varnol::TxMstStatus& mst, TransmitModel::Mst& mstModel);
    bool changeRecords(Varnol::TxMstPortStatus& port,
                       std::shared_ptr<TransmitModel::Port> const& model, TransmitModel::Vlan vlan);
    bool changeRecord(Varnol::IntxInfo& record,
                      std::shared_ptr<TransmitModel::Record> const& model);
    bool disturb();
    bool disturbRx(std::string const& name, TransmitModel::Intf intf);

    unsigned anyValue() { return dice_.below(4); }

    Dice& dice_;
    DynamicTree& dynamic_;
    std::array<Varnol::TxStatus::Ptr, 2> sources_;
    std::array<std::shared_ptr<TransmitModel::Tree>, 2> models_;
    Varnol::TxStatus::Ptr dest_{new Varnol::TxStatus};
    std::shared_ptr<TransmitModel::Tree> destModel_ = std::make_shared<TransmitModel::Tree>();
    // All null, or none.
    Varnol::TxStatusToTxSyncer::Ptr txSyncer_;
    Varnol::TxStatusToRxSyncer::Ptr rxSyncer_;
    std::unique_ptr<TransmitModel::TxSyncer> txSyncing_;
    std::unique_ptr<TransmitModel::RxSyncer> rxSyncing_;
};
