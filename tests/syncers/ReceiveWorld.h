#pragma once

#include "syncers/RxStatusToRxDynamicSyncer.h"
#include "tests/syncers/Dice.h"
#include "tests/syncers/Disturbed.h"
#include "tests/syncers/ReceiveModel.h"

/// A dynamic receive tree and its model.
struct DynamicTree {
    Varnol::RxStatus::Ptr tree{new Varnol::RxStatus};
    std::shared_ptr<ReceiveModel::Root> model = std::make_shared<ReceiveModel::Root>();
};

/// The MST names and interfaces of a receive tree as text, a line for each name.
std::string structureOf(Varnol::RxStatus const& tree);
std::string structureOf(ReceiveModel::Root const& model);

/// Two receive trees, the dynamic one and the syncers of one into the other, beside their model:
/// random changes of all of them.
class ReceiveWorld {
  public:
    /// The trees outlive the world.
    ReceiveWorld(Dice& dice, DynamicTree& dynamic);

    /// One operation, on both sides. Throws Modelled::Difference.
    /// @return whether there was anything to change; where not, that nothing changes is compared,
    /// too
    bool operate();
    /// Compares the trees and the syncers with the model, and what mirrorDiff() finds with what
    /// there is to find. Throws Modelled::Difference.
    void compare();
    /// What a new syncer leaves different once the destination has all names and interfaces of the
    /// source, and every VLAN of the source was signalled: nothing. Throws Modelled::Difference.
    void becomesEqual();

    // What was met, with a destination or without.
    unsigned copied = 0, deleted = 0, withoutDestination = 0, refused = 0;
    Disturbed disturbed;
    unsigned different = 0; ///< comparisons in which source and destination differed

  private:
    struct Source {
        Varnol::RxStatus::Ptr tree{new Varnol::RxStatus};
        std::shared_ptr<ReceiveModel::Root> model = std::make_shared<ReceiveModel::Root>();
    };

    void start();
    void drop();
    bool disturbSyncer();
    void refusable(auto const& act, auto const& expect);
    void changeRoot();
    bool changeNames();
    bool changePorts();
    bool changeDynamicNames();
    bool changeDynamicPorts();
    bool changePort();
    bool changeVlan(Varnol::RxMstPortStatus& port,
                    std::shared_ptr<ReceiveModel::Port> const& model);
    bool changeRecord(Varnol::IntxInfo& record, ReceiveModel::Record& model);
    void fill(Varnol::RxMstStatus& mst, ReceiveModel::Mst& model);
    template <class Write>
    void scalar(std::shared_ptr<ReceiveModel::Port> const& port, Write write);
    void compareSyncer() const;

    /// Calls react(syncer, name, interface) for each syncer that takes notifications of the port.
    template <class React>
    void tellPort(std::shared_ptr<ReceiveModel::Port> const& source, React react);

    Dice& dice_;
    DynamicTree& dynamic_;
    std::array<Source, 2> sources_;
    Varnol::RxStatusToRxDynamicSyncer::Ptr syncer_;
    std::unique_ptr<ReceiveModel::Syncer> model_;
    Source* source_ = nullptr; ///< the one that is changed by this operation
};
