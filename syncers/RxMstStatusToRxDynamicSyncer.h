#pragma once

#include "framework/zel/DeclareReactor.h"
#include "framework/zel/RootSyncer.h"
#include "model/RxStatus.h"
#include "syncers/RxMstPortStatusToRxDynamicSyncer.h"

namespace Varnol {

/// Follows one MST name of a source receive tree: keeps a RxMstPortStatusToRxDynamicSyncer for each
/// of its interfaces. Creates and deletes nothing in the dynamic tree. Traces as
/// "StpRxStatusSyncer".
class VARNOL_API RxMstStatusToRxDynamicSyncer final
    : public Zel::RootSyncer<RxMstStatusToRxDynamicSyncer, RxMstStatus>,
      public Zel::HashMember,
      public Zel::Initialized {
  public:
    class ZelSource;
    using MstDynPortSms =
        Zel::KeyedReactors<Zel::HashMap<RxMstPortStatusToRxDynamicSyncer, Kolvu::IntfId,
                                        RxMstStatusToRxDynamicSyncer>>;

    static Zel::TypeNode const _zelType;

    /// @param source    read only; may be null
    /// @param rxStatus  root of the dynamic receive tree; null only while no source has interfaces
    RxMstStatusToRxDynamicSyncer(Zel::Name mstName, Zel::Ptr<RxMstStatus const> const& source,
                                 Zel::Ptr<RxStatus> const& rxStatus);
    ~RxMstStatusToRxDynamicSyncer() override;

    /// Creates a syncer with its notification on.
    static Ptr RxMstStatusToRxDynamicSyncerIs(Zel::Name mstName,
                                              Zel::Ptr<RxMstStatus const> const& source,
                                              Zel::Ptr<RxStatus> const& rxStatus);

    ZEL_KEY(258, Zel::Name, mstName)
    ZEL_SCALAR_VIEW(259, Zel::Ptr<RxMstStatus const>, source)
    ZEL_CONSTANT(260, RxStatus::Ptr, rxStatus)
    /// The syncers of the interfaces.
    ZEL_CHILDREN(261, MstDynPortSms, mstDynPortSm)
    ZEL_SCALAR_VIEW(262, bool, initialized)

    /// "[MST name]".
    Zel::String keyInfo() const;
    void traceName(Zel::TraceStream& out) const;

    /// Watches another source; runs no handler.
    void sourceIs(Zel::Ptr<RxMstStatus const> const& source) { sourceReplace(source); }

    /// Creates the syncer of an interface, or returns the one that there is. Throws
    /// NameInUseException, and changes nothing, when that one has other parameters.
    RxMstPortStatusToRxDynamicSyncer::Ptr
    mstDynPortSmIs(Zel::Name mstName, Kolvu::IntfId intf,
                   Zel::Ptr<RxMstPortStatus const> const& source,
                   Zel::Ptr<RxStatus> const& rxStatus);

    void handleInitialized();
    /// Creates the syncer of the interface while the source has that, removes it otherwise. Throws
    /// as mstDynPortSmIs().
    void handleMstPortStatus(Kolvu::IntfId intf);
    /// For each interface of the source.
    void handleMstPortStatus();
};

/// The reactor on the source's MST name.
class RxMstStatusToRxDynamicSyncer::ZelSource final
    : public Zel::Reactor<ZelSource, RxMstStatus, RxMstStatusToRxDynamicSyncer> {
  public:
    static Zel::TypeNode const _zelType;

    ZelSource(Zel::Ptr<RxMstStatus const> const& source, RxMstStatusToRxDynamicSyncer* syncer)
        : Reactor(source, syncer) {}

    void handle(RxMstStatus::rxMstPortStatusAttribute, Kolvu::IntfId intf) {
        owner()->handleMstPortStatus(intf);
    }
};

/// Creates a syncer; see there for the arguments.
VARNOL_API RxMstStatusToRxDynamicSyncer::Ptr
rxMstStatusToRxDynamicSyncerFactory(Zel::Name mstName, Zel::Ptr<RxMstStatus const> const& source,
                                    Zel::Ptr<RxStatus> const& rxStatus);

} // namespace Varnol
