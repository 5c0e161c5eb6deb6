#pragma once

#include "framework/zel/DeclareReactor.h"
#include "framework/zel/RootSyncer.h"
#include "model/IntxInfo.h"

#include <utility>

namespace Varnol {

/// Counts the changes made to one BPDU information record: each change of a scalar of the record or
/// of one of its entries adds 1.
///
/// The count starts at 1, wraps modulo 2^32, and goes back only when its user sets it. Beyond that:
/// adding an entry counts nothing, removing one 1; another entity in the place of an entry counts
/// 13; another record counts 1, and for its entries as said. Nothing is written into the record,
/// and nothing is traced.
class VARNOL_API IntxInfoChangeSm final : public Zel::RootSyncer<IntxInfoChangeSm, IntxInfo> {
  public:
    class ZelIntxInfo;
    class ZelMstiN;
    /// What RootSyncer calls the reactor on the source.
    using ZelSource = ZelIntxInfo;
    using MstiN = Zel::ChildReactors<IntxInfo::mstiNAttribute, ZelMstiN, IntxInfoChangeSm>;
    using MstiNIterator = decltype(std::declval<MstiN&>().begin());

    static Zel::TypeNode const _zelType;

    /// @param intxInfo  the record, read only; null to count nothing yet
    /// @param vlanId    the record's VLAN, kept for the user
    IntxInfoChangeSm(Zel::Ptr<IntxInfo const> const& intxInfo, Bridging::VlanIdOrNone vlanId);
    ~IntxInfoChangeSm() override;

    /// Creates a counter with its notification on.
    static Ptr IntxInfoChangeSmIs(Zel::Ptr<IntxInfo const> const& intxInfo,
                                  Bridging::VlanIdOrNone vlanId);

    /// The count of changes.
    ZEL_SCALAR(258, unsigned, updatedFieldCount)
    /// Counts one change; goes on at 0 after 2^32 - 1.
    void incUpdatedFieldCount() { updatedFieldCountIs(updatedFieldCount() + 1); }

    /// The record watched; null without one.
    ZEL_SCALAR_VIEW(259, Zel::Ptr<IntxInfo const>, intxInfo)
    Zel::Ptr<IntxInfo const> intxInfo() const noexcept { return source(); }
    /// Watches another record.
    void intxInfoIs(Zel::Ptr<IntxInfo const> const& intxInfo) { sourceIs(intxInfo); }
    /// Watches no record any more.
    void intxInfoDel() { sourceDel(); }

    /// The record's VLAN.
    ZEL_CONSTANT(260, Bridging::VlanIdOrNone, vlanId)
    /// The reactors on the record's entries. After the count: they count up to their end.
    ZEL_CHILD_REACTORS(261, MstiN, mstiN)

  private:
    /// A counter is no entity: nobody can watch it.
    void notify(Zel::AttributeId) const noexcept {}
};

/// The reactor on the record.
class IntxInfoChangeSm::ZelIntxInfo final
    : public Zel::Reactor<ZelIntxInfo, IntxInfo, IntxInfoChangeSm> {
  public:
    static Zel::TypeNode const _zelType;

    ZelIntxInfo(Zel::Ptr<IntxInfo const> const& intxInfo, IntxInfoChangeSm* counter)
        : Reactor(intxInfo, counter) {}

    template <Zel::ScalarAttribute A> void handle(A) { owner()->incUpdatedFieldCount(); }
    IntxInfoChangeSm& keeper(IntxInfo::mstiNAttribute) { return *owner(); }
    /// Another record counts once, however many attributes it has.
    void rebound();
};

/// The reactor on one of the record's entries.
class IntxInfoChangeSm::ZelMstiN final
    : public Zel::Reactor<ZelMstiN, IntxMstiInfo, IntxInfoChangeSm>,
      public Zel::NamedHandlers<ZelMstiN, IntxMstiInfo>,
      public Zel::RbTreeMember {
  public:
    static Zel::TypeNode const _zelType;

    ZelMstiN(Zel::Ptr<IntxMstiInfo const> const& entry, IntxInfoChangeSm* counter)
        : Reactor(entry, counter)
        , mstiId_(entry->mstiId()) {}

    /// Key: the spanning-tree instance.
    ZEL_KEY(258, Stp::BridgeSystemId, mstiId)
    /// The entry watched.
    ZEL_CONSTANT_VIEW(259, Zel::Ptr<IntxMstiInfo const>, notifier)
    ZEL_OWNER(260, IntxInfoChangeSm, owner)

    /// Counts when the reactor turns into a zombie, as it does when its entry is removed, and when
    /// it turns back. Requires: it has an owner, where the flag changes.
    void zelDoZombieReactors(bool zombie) override;

    /// Counts a change of the entry, of whichever scalar.
    void zel_handleMstiN() { owner()->incUpdatedFieldCount(); }
    template <Zel::ScalarAttribute A> void handle(A) { zel_handleMstiN(); }
};

/// Creates a counter; see there for the arguments.
VARNOL_API IntxInfoChangeSm::Ptr intxInfoChangeSmFactory(Zel::Ptr<IntxInfo const> const& intxInfo,
                                                         Bridging::VlanIdOrNone vlanId);

} // namespace Varnol
