#pragma once

#include "framework/zel/DeclareReactor.h"
#include "framework/zel/RootSyncer.h"
#include "model/RxStatus.h"
#include "syncers/RxMstStatusToRxDynamicSyncer.h"

namespace Varnol {

/// Keeps a dynamic receive tree equal to a source receive tree: copies the heartbeats and times of
/// the root, and keeps a RxMstStatusToRxDynamicSyncer for each MST name of the source.
///
/// The MST names and interfaces of the dynamic tree are created and deleted by TxStatusToRxSyncer;
/// this one only finds them. The service holds it by a counted pointer; dropping the last one
/// leaves the destination as it is. Traces as "StpRxStatusSyncer".
class VARNOL_API RxStatusToRxDynamicSyncer final
    : public Zel::RootSyncer<RxStatusToRxDynamicSyncer, RxStatus>,
      public Zel::Initialized {
  public:
    class ZelSource;
    using MstDynSyncerSms = Zel::KeyedReactors<
        Zel::HashMap<RxMstStatusToRxDynamicSyncer, Zel::Name, RxStatusToRxDynamicSyncer>>;

    static Zel::TypeNode const _zelType;

    /// @param source    read only; null to write zero values once
    /// @param rxStatus  root of the dynamic receive tree; null only while no source has interfaces
    RxStatusToRxDynamicSyncer(Zel::Ptr<RxStatus const> const& source,
                              Zel::Ptr<RxStatus> const& rxStatus);
    ~RxStatusToRxDynamicSyncer() override;

    /// Creates a syncer with its notification on.
    static Ptr RxStatusToRxDynamicSyncerIs(Zel::Ptr<RxStatus const> const& source,
                                           Zel::Ptr<RxStatus> const& rxStatus);

    ZEL_SCALAR_VIEW(258, Zel::Ptr<RxStatus const>, source)
    ZEL_CONSTANT(259, RxStatus::Ptr, rxStatus)
    /// The syncers of the MST names.
    ZEL_CHILDREN(260, MstDynSyncerSms, mstDynSyncerSm)
    ZEL_SCALAR_VIEW(261, bool, initialized)

    /// Empty.
    Zel::String keyInfo() const { return {}; }
    void traceName(Zel::TraceStream& out) const;

    /// Watches another source and scans its MST names; the heartbeats and times are not copied.
    /// Throws NameInUseException when the source holds, as another entity, a name that is followed
    /// already: the new source is watched then, names that were scanned before have their child,
    /// the child of this name keeps its entity, and the rest have none. So it is where memory runs
    /// out; the same call again changes nothing then, handleMstStatus() does the rest.
    void sourceIs(Zel::Ptr<RxStatus const> const& source);

    /// Creates the syncer of an MST name, or returns the one that there is. Throws
    /// NameInUseException, and changes nothing, when that one has other parameters.
    RxMstStatusToRxDynamicSyncer::Ptr mstDynSyncerSmIs(Zel::Name name,
                                                       Zel::Ptr<RxMstStatus const> const& source,
                                                       Zel::Ptr<RxStatus> const& rxStatus);

    void handleInitialized();
    /// Creates the syncer of the MST name while the source has that, removes it otherwise. Throws
    /// as mstDynSyncerSmIs().
    void handleMstStatus(Zel::Name name);
    /// For each MST name of the source.
    void handleMstStatus();
};

/// The reactor on the source's root. Bound to another one it copies the heartbeats and times.
class RxStatusToRxDynamicSyncer::ZelSource final
    : public Zel::Reactor<ZelSource, RxStatus, RxStatusToRxDynamicSyncer> {
  public:
    static Zel::TypeNode const _zelType;

    ZelSource(Zel::Ptr<RxStatus const> const& source, RxStatusToRxDynamicSyncer* syncer)
        : Reactor(source, syncer) {}

    template <Zel::ScalarAttribute A> void handle(A) {
        if (owner()->rxStatus_)
            write(A{}, *owner()->rxStatus_, watched() ? A::read(*watched()) : typename A::Value{});
    }
    void handle(RxStatus::rxMstStatusAttribute, Zel::Name const& name) {
        owner()->handleMstStatus(name);
    }
};

/// Creates a syncer; see there for the arguments.
VARNOL_API RxStatusToRxDynamicSyncer::Ptr
rxStatusToRxDynamicSyncerFactory(Zel::Ptr<RxStatus const> const& source,
                                 Zel::Ptr<RxStatus> const& rxStatus);

} // namespace Varnol
