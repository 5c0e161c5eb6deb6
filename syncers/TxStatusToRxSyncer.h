#pragma once

#include "framework/zel/DeclareReactor.h"
#include "framework/zel/RootSyncer.h"
#include "model/RxStatus.h"
#include "model/TxStatus.h"

namespace Varnol {

/// Keeps the structure of a receive status tree in step with a transmit status tree: an MST name
/// for each MST name, an interface for each interface, and no others. Values are neither read nor
/// written.
///
/// The service holds it by a counted pointer; dropping the last one leaves the receive tree as it
/// is. Traces as "StpTxStatusSyncer".
class VARNOL_API TxStatusToRxSyncer final : public Zel::RootSyncer<TxStatusToRxSyncer, TxStatus>,
                                            public Zel::Initialized {
  public:
    class ZelSource;
    class ZelTxMstStatusSm;
    using TxMstStatusSms =
        Zel::ChildReactors<TxStatus::txMstStatusAttribute, ZelTxMstStatusSm, TxStatusToRxSyncer>;

    static Zel::TypeNode const _zelType;

    /// Requires: neither is null; assertions "source" and "rxStatus".
    TxStatusToRxSyncer(Zel::Ptr<TxStatus const> const& source, Zel::Ptr<RxStatus> const& rxStatus);
    ~TxStatusToRxSyncer() override;

    /// Creates a syncer with its notification on.
    static Ptr TxStatusToRxSyncerIs(Zel::Ptr<TxStatus const> const& source,
                                    Zel::Ptr<RxStatus> const& rxStatus);

    ZEL_SCALAR_VIEW(258, Zel::Ptr<TxStatus const>, source)
    ZEL_CONSTANT(259, RxStatus::Ptr, rxStatus)
    /// The reactors on the source's MST names.
    ZEL_CHILD_REACTORS(260, TxMstStatusSms, txMstStatus)
    ZEL_SCALAR_VIEW(261, bool, initialized)

    /// Empty.
    Zel::String keyInfo() const { return {}; }
    void traceName(Zel::TraceStream& out) const;

    void handleInitialized();
    /// Gives the receive tree the MST name, or takes it away, as the source has it.
    void handleTxMstStatus(Zel::String name);
};

/// The reactor on the source's root. Bound to another tree it follows that tree's MST names; what
/// the receive tree holds beyond them stays.
class TxStatusToRxSyncer::ZelSource final
    : public Zel::Reactor<ZelSource, TxStatus, TxStatusToRxSyncer> {
  public:
    static Zel::TypeNode const _zelType;

    ZelSource(Zel::Ptr<TxStatus const> const& source, TxStatusToRxSyncer* syncer)
        : Reactor(source, syncer) {}

    void handle(TxStatus::txMstStatusAttribute, Zel::Name const& name) {
        owner()->handleTxMstStatus(name);
    }
    TxStatusToRxSyncer& keeper(TxStatus::txMstStatusAttribute) { return *owner(); }
};

/// The reactor on one of the source's MST names; handles the interfaces itself. Bound to another
/// entity of the same name it writes nothing.
class TxStatusToRxSyncer::ZelTxMstStatusSm final
    : public Zel::Reactor<ZelTxMstStatusSm, TxMstStatus, TxStatusToRxSyncer>,
      public Zel::HashMember,
      public Zel::Initialized {
  public:
    static Zel::TypeNode const _zelType;

    ZelTxMstStatusSm(Zel::Ptr<TxMstStatus const> const& txMstStatus, TxStatusToRxSyncer* syncer);

    /// Key: the MST name.
    ZEL_NAME()
    ZEL_OWNER(258, TxStatusToRxSyncer, owner)
    /// The source's MST name.
    ZEL_SCALAR_VIEW(259, Zel::Ptr<TxMstStatus const>, txMstStatus)
    Zel::Ptr<TxMstStatus const> txMstStatus() const noexcept { return notifier(); }
    /// Watches another entity of the source.
    void txMstStatusIs(Zel::Ptr<TxMstStatus const> const& txMstStatus) { notifierIs(txMstStatus); }
    /// The MST name of the receive tree; null only where the reactor was made as a zombie.
    ZEL_CONSTANT(260, RxMstStatus::Ptr, rxMstStatus)
    ZEL_SCALAR_VIEW(261, bool, initialized)

    /// "[name]".
    Zel::String keyInfo() const;
    void traceName(Zel::TraceStream& out) const;

    void handleInitialized();
    /// Gives the receive tree the interface, or takes it away, as the source has it.
    void handleTxMstPortStatus(Kolvu::IntfId intfId);

    void handle(TxMstStatus::txMstPortStatusAttribute, Kolvu::IntfId intfId) {
        handleTxMstPortStatus(intfId);
    }
};

/// Creates a syncer; see there for the arguments.
VARNOL_API TxStatusToRxSyncer::Ptr txStatusToRxSyncerFactory(Zel::Ptr<TxStatus const> const& source,
                                                             Zel::Ptr<RxStatus> const& rxStatus);

} // namespace Varnol
