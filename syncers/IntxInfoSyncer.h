#pragma once

#include "framework/zel/DeclareReactor.h"
#include "framework/zel/RootSyncer.h"
#include "model/IntxInfo.h"

#include <utility>

namespace Varnol {

/// Keeps one BPDU information record equal to another for as long as it lives: copies everything
/// when it starts, then follows each change of the source and of each of the source's entries.
///
/// Its user, the service or a port's syncer, holds it by a counted pointer; dropping the last one
/// ends the mirroring and leaves the destination as it is. Writes are not compared first. Traces as
/// "StpTxStatusSyncer".
class VARNOL_API IntxInfoSyncer final : public Zel::RootSyncer<IntxInfoSyncer, IntxInfo>,
                                        public Zel::RbTreeMember,
                                        public Zel::Initialized {
  public:
    class ZelSource;
    class ZelMstiNSm;
    using MstiN = Zel::ChildReactors<IntxInfo::mstiNAttribute, ZelMstiNSm, IntxInfoSyncer>;
    using MstiNIterator = decltype(std::declval<MstiN&>().begin());

    static Zel::TypeNode const _zelType;

    /// @param source        read only; null to write zero values once, and to delete all entries
    /// @param dest          written only; null to write nothing
    /// @param vlanIdOrZero  the records' VLAN; the syncer's key where several are kept
    /// @param parentId      names the owner in traces
    IntxInfoSyncer(Zel::Ptr<IntxInfo const> source, IntxInfo::Ptr dest,
                   Bridging::VlanIdOrNone vlanIdOrZero, Zel::String parentId);
    ~IntxInfoSyncer() override;

    /// Creates a syncer with its notification on.
    static Ptr IntxInfoSyncerIs(Zel::Ptr<IntxInfo const> source, IntxInfo::Ptr dest,
                                Bridging::VlanIdOrNone vlanIdOrZero, Zel::String parentId);

    ZEL_KEY(260, Bridging::VlanIdOrNone, vlanIdOrZero) // first: it stands beside the mark below
    ZEL_SCALAR_VIEW(258, Zel::Ptr<IntxInfo const>, source)
    ZEL_CONSTANT(259, IntxInfo::Ptr, dest)
    ZEL_CONSTANT(261, Zel::String, parentId)
    /// The reactors on the source's entries.
    ZEL_CHILD_REACTORS(262, MstiN, mstiN)
    ZEL_SCALAR_VIEW(263, bool, initialized)

    /// "[parentId|VLAN]".
    Zel::String keyInfo() const;
    void traceName(Zel::TraceStream& out) const;

    void handleInitialized();
    /// Gives the destination the entry of that instance, or takes it away, as the source has it.
    /// Its values are for the reactor on the source's entry.
    void handleMstiN(Stp::BridgeSystemId key);
};

/// The reactor on the source record.
class IntxInfoSyncer::ZelSource final : public Zel::Reactor<ZelSource, IntxInfo, IntxInfoSyncer> {
  public:
    static Zel::TypeNode const _zelType;

    ZelSource(Zel::Ptr<IntxInfo const> const& source, IntxInfoSyncer* syncer)
        : Reactor(source, syncer) {}

    template <Zel::ScalarAttribute A> void handle(A) {
        if (watched() && owner()->dest_)
            write(A{}, *owner()->dest_, A::read(*watched()));
    }
    void handle(IntxInfo::mstiNAttribute, Stp::BridgeSystemId key) { owner()->handleMstiN(key); }
    IntxInfoSyncer& keeper(IntxInfo::mstiNAttribute) { return *owner(); }
};

/// The reactor on one of the source's entries.
class IntxInfoSyncer::ZelMstiNSm final
    : public Zel::Reactor<ZelMstiNSm, IntxMstiInfo, IntxInfoSyncer>,
      public Zel::NamedHandlers<ZelMstiNSm, IntxMstiInfo>,
      public Zel::RbTreeMember,
      public Zel::Initialized {
  public:
    static Zel::TypeNode const _zelType;

    ZelMstiNSm(Zel::Ptr<IntxMstiInfo const> const& entry, IntxInfoSyncer* syncer);

    /// Key: the spanning-tree instance.
    ZEL_KEY(258, Stp::BridgeSystemId, mstiId)
    /// The source entry.
    ZEL_CONSTANT_VIEW(259, Zel::Ptr<IntxMstiInfo const>, mstiN)
    Zel::Ptr<IntxMstiInfo const> mstiN() const noexcept { return notifier(); }
    /// The destination entry; null while it has not been found.
    ZEL_CONSTANT(260, IntxMstiInfo::Ptr, dest)
    ZEL_OWNER(261, IntxInfoSyncer, owner)
    ZEL_SCALAR_VIEW(262, bool, initialized)

    void traceName(Zel::TraceStream& out) const;

    void handleInitialized();
    /// Finds the destination entry, which may be none, and writes all its attributes.
    void copyAllData();
    /// Writes one attribute of the destination entry, zero when the source entry is gone.
    template <Zel::ScalarAttribute A> void handle(A) {
        if (!dest_)
            return;
        if (watched())
            write(A{}, *dest_, A::read(*watched()));
        else
            write(A{}, *dest_, typename A::Value{});
    }
};

/// Creates a syncer; see there for the arguments.
VARNOL_API IntxInfoSyncer::Ptr intxInfoSyncerFactory(Zel::Ptr<IntxInfo const> source,
                                                     IntxInfo::Ptr dest,
                                                     Bridging::VlanIdOrNone vlanIdOrZero,
                                                     Zel::String parentId);

} // namespace Varnol
