#pragma once

#include "framework/zel/DeclareReactor.h"
#include "framework/zel/RootSyncer.h"
#include "model/TxStatus.h"
#include "syncers/IntxInfoSyncer.h"

#include <utility>

namespace Varnol {

/// Keeps one transmit status tree equal to another: MST names, interfaces, update counts, port
/// values, and, through an IntxInfoSyncer each, the BPDU information records.
///
/// The service holds it by a counted pointer; dropping the last one ends the mirroring and leaves
/// the destination as it is. Whether a child of the destination exists is decided from the source;
/// writes are not compared first. Traces as "StpTxStatusSyncer".
///
/// The ports that an MST name brings with it when it is added to the source after the syncer was
/// made have no destination: their reactors exist, and write nothing. Ports added to it later have.
class VARNOL_API TxStatusToTxSyncer final : public Zel::RootSyncer<TxStatusToTxSyncer, TxStatus>,
                                            public Zel::Initialized {
  public:
    class ZelSource;
    class ZelTxMstStatusSm;
    using TxMstStatusSms =
        Zel::ChildReactors<TxStatus::txMstStatusAttribute, ZelTxMstStatusSm, TxStatusToTxSyncer>;

    static Zel::TypeNode const _zelType;

    /// @param source  read only; may be null
    /// @param dest    written only; null to write nothing
    TxStatusToTxSyncer(Zel::Ptr<TxStatus const> source, Zel::Ptr<TxStatus> dest);
    ~TxStatusToTxSyncer() override;

    /// Creates a syncer with its notification on.
    static Ptr TxStatusToTxSyncerIs(Zel::Ptr<TxStatus const> source, Zel::Ptr<TxStatus> dest);

    ZEL_SCALAR_VIEW(258, Zel::Ptr<TxStatus const>, source)
    ZEL_CONSTANT(259, TxStatus::Ptr, dest)
    /// The reactors on the source's MST names.
    ZEL_CHILD_REACTORS(260, TxMstStatusSms, txMstStatus)
    ZEL_SCALAR_VIEW(261, bool, initialized)

    /// Empty.
    Zel::String keyInfo() const { return {}; }
    void traceName(Zel::TraceStream& out) const;

    void handleInitialized();
    /// Gives the destination the MST name, or takes it away, as the source has it.
    void handleTxMstStatus(Zel::String name);
};

/// The reactor on the source's root.
class TxStatusToTxSyncer::ZelSource final
    : public Zel::Reactor<ZelSource, TxStatus, TxStatusToTxSyncer> {
  public:
    static Zel::TypeNode const _zelType;

    ZelSource(Zel::Ptr<TxStatus const> const& source, TxStatusToTxSyncer* syncer)
        : Reactor(source, syncer) {}

    void handle(TxStatus::heartbeatTimeoutAttribute);
    void handle(TxStatus::txMstStatusAttribute, Zel::Name const& name) {
        owner()->handleTxMstStatus(name);
    }
    TxStatusToTxSyncer& keeper(TxStatus::txMstStatusAttribute) { return *owner(); }
};

/// The reactor on one of the source's MST names.
class TxStatusToTxSyncer::ZelTxMstStatusSm final
    : public Zel::Reactor<ZelTxMstStatusSm, TxMstStatus, TxStatusToTxSyncer>,
      public Zel::HashMember,
      public Zel::Initialized {
  public:
    class ZelTxMstPortStatusSm;
    using TxMstPortStatusSms = Zel::ChildReactors<TxMstStatus::txMstPortStatusAttribute,
                                                  ZelTxMstPortStatusSm, ZelTxMstStatusSm>;
    using TxMstPortStatusIterator = decltype(std::declval<TxMstPortStatusSms&>().begin());

    static Zel::TypeNode const _zelType;

    ZelTxMstStatusSm(Zel::Ptr<TxMstStatus const> const& txMstStatus, TxStatusToTxSyncer* parent);
    ~ZelTxMstStatusSm() override;

    /// Key: the MST name.
    ZEL_NAME()
    /// The source's MST name.
    ZEL_CONSTANT_VIEW(258, Zel::Ptr<TxMstStatus const>, txMstStatus)
    Zel::Ptr<TxMstStatus const> txMstStatus() const noexcept { return notifier(); }
    /// The destination's MST name; null until handleInitialized() has made or found it.
    ZEL_CONSTANT(259, TxMstStatus::Ptr, dest)
    ZEL_OWNER(260, TxStatusToTxSyncer, parent)
    /// The reactors on the source's interfaces.
    ZEL_CHILD_REACTORS(261, TxMstPortStatusSms, txMstPortStatus)
    ZEL_SCALAR_VIEW(262, bool, initialized)

    /// "[name]".
    Zel::String keyInfo() const;
    void traceName(Zel::TraceStream& out) const;

    /// Creates the reactor on an interface that has none.
    Zel::Ptr<ZelTxMstPortStatusSm>
    newTxMstPortStatus(Zel::Ptr<TxMstPortStatus const> const& element);

    void handleInitialized();
    /// Gives the destination the interface, or takes it away, as the source has it.
    void handleTxMstPortStatus(Kolvu::IntfId intf);

    void handle(TxMstStatus::txMstPortStatusAttribute, Kolvu::IntfId intf) {
        handleTxMstPortStatus(intf);
    }
    ZelTxMstStatusSm& keeper(TxMstStatus::txMstPortStatusAttribute) { return *this; }
};

/// The reactor on one of the source's interfaces.
class TxStatusToTxSyncer::ZelTxMstStatusSm::ZelTxMstPortStatusSm final
    : public Zel::Reactor<ZelTxMstPortStatusSm, TxMstPortStatus, ZelTxMstStatusSm>,
      public Zel::NamedHandlers<ZelTxMstPortStatusSm, TxMstPortStatus>,
      public Zel::HashMember,
      public Zel::Initialized {
  public:
    using TxInfoSyncers = Zel::KeyedReactors<
        Zel::RbTreeMap<IntxInfoSyncer, Bridging::VlanIdOrNone, ZelTxMstPortStatusSm>>;

    static Zel::TypeNode const _zelType;

    ZelTxMstPortStatusSm(Zel::Ptr<TxMstPortStatus const> const& txMstPortStatus,
                         ZelTxMstStatusSm* parent);
    ~ZelTxMstPortStatusSm() override;

    /// Key: the interface.
    Kolvu::IntfId fwkKey() const noexcept { return intfId_; }
    /// The source's interface.
    ZEL_CONSTANT_VIEW(258, Zel::Ptr<TxMstPortStatus const>, txMstPortStatus)
    Zel::Ptr<TxMstPortStatus const> txMstPortStatus() const noexcept { return notifier(); }
    /// The destination's interface; null until handleInitialized() has found it.
    ZEL_CONSTANT(259, TxMstPortStatus::Ptr, dest)
    ZEL_OWNER(260, ZelTxMstStatusSm, parent)
    /// The syncers of the records, by VLAN.
    ZEL_CHILDREN(261, TxInfoSyncers, txInfoSyncer)
    ZEL_SCALAR_VIEW(262, bool, initialized)

    /// "[MST name|Et1]".
    Zel::String keyInfo() const;
    void traceName(Zel::TraceStream& out) const;

    /// Whether the VLAN has a syncer.
    bool txInfoSyncerHas(Bridging::VlanIdOrNone vlan);
    /// Creates the syncer of a VLAN, or returns the one that there is. Throws NameInUseException,
    /// and changes nothing, when that one has another source, destination or parent identifier.
    IntxInfoSyncer::Ptr txInfoSyncerIs(Zel::Ptr<IntxInfo const> source, Zel::Ptr<IntxInfo> dest,
                                       Bridging::VlanIdOrNone vlan, Zel::String parentId);

    void handleInitialized();
    /// Gives the destination the VLAN's record and keeps a syncer for it, or takes both away, as
    /// the source has it.
    void handleTxInfo(Bridging::VlanIdOrNone vlan);
    /// Copies the VLAN's update count; one of 0 is erased.
    void handleTxUpdate(Bridging::VlanIdOrNone vlan);

    void handle(TxMstPortStatus::txUpdateAttribute, Bridging::VlanIdOrNone vlan);
    void handle(TxMstPortStatus::txInfoAttribute, Bridging::VlanIdOrNone vlan) {
        handleTxInfo(vlan);
    }
    /// Writes txNewInfo or txHelloWhenOn, zero when the source is gone.
    template <Zel::ScalarAttribute A> void handle(A) {
        if (dest_)
            write(A{}, *dest_, watched() ? A::read(*watched()) : typename A::Value{});
    }
    /// What another source interface sets off: all update counts, then the scalars.
    void rebound();

  private:
    void writeTxUpdate(Bridging::VlanIdOrNone vlan, unsigned value);
    /// MST name and interface, as "mst1|Et1"; the records' syncers share it.
    Zel::String parentId_;
    Kolvu::IntfId intfId_;
};

/// Creates a syncer; see there for the arguments.
VARNOL_API TxStatusToTxSyncer::Ptr txStatusToTxSyncerFactory(Zel::Ptr<TxStatus const> source,
                                                             Zel::Ptr<TxStatus> dest);

} // namespace Varnol
