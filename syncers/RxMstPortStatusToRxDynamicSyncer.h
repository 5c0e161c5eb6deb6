#pragma once

#include "framework/zel/DeclareReactor.h"
#include "framework/zel/RootSyncer.h"
#include "model/RxStatus.h"

namespace Varnol {

/// Copies what one interface has received, under one MST name of a source receive tree, into the
/// same interface of the dynamic receive tree: counts, rate limit, counters, and VLAN by VLAN the
/// records whose update count changes.
///
/// It never creates the destination interface but looks for it at every change; without one the
/// change is dropped, with a trace "no destination". Ending it leaves the destination as it is.
/// Traces as "StpRxStatusSyncer".
class VARNOL_API RxMstPortStatusToRxDynamicSyncer final
    : public Zel::RootSyncer<RxMstPortStatusToRxDynamicSyncer, RxMstPortStatus>,
      public Zel::HashMember,
      public Zel::Initialized {
  public:
    class ZelSource;

    static Zel::TypeNode const _zelType;

    /// @param source    read only. Requires: not null where there is a destination, assertion
    ///                  "source"
    /// @param rxStatus  root of the dynamic receive tree. Requires: not null, assertion "rxStatus"
    RxMstPortStatusToRxDynamicSyncer(Zel::Name mstName, Kolvu::IntfId intfId,
                                     Zel::Ptr<RxMstPortStatus const> const& source,
                                     Zel::Ptr<RxStatus> const& rxStatus);
    ~RxMstPortStatusToRxDynamicSyncer() override;

    /// Creates a syncer with its notification on.
    static Ptr RxMstPortStatusToRxDynamicSyncerIs(Zel::Name mstName, Kolvu::IntfId intfId,
                                                  Zel::Ptr<RxMstPortStatus const> const& source,
                                                  Zel::Ptr<RxStatus> const& rxStatus);

    ZEL_CONSTANT(258, Zel::Name, mstName)
    ZEL_KEY(259, Kolvu::IntfId, intfId)
    ZEL_SCALAR_VIEW(260, Zel::Ptr<RxMstPortStatus const>, source)
    ZEL_CONSTANT(261, RxStatus::Ptr, rxStatus)
    ZEL_SCALAR_VIEW(262, bool, initialized)

    /// The interface in the dynamic tree, looked for anew; null when there is none.
    Zel::Ptr<RxMstPortStatus> dest() const;
    /// "[MST name|Et1]".
    Zel::String keyInfo() const;
    void traceName(Zel::TraceStream& out) const;

    /// Watches another source; runs no handler.
    void sourceIs(Zel::Ptr<RxMstPortStatus const> const& source) { sourceReplace(source); }

    /// Copies the scalars, the first time. Records that the source has by then are left until their
    /// update count changes.
    void handleInitialized();
    ///@{
    /// Copies the scalar of that name. Requires a source where there is a destination.
    void handleBpduCount();
    void handleRateLimitInterval();
    void handleRateLimitMaxCount();
    void handleRateLimitEnabled();
    void handleCounters();
    void handleLocalCounters();
    ///@}
    /// Copies the VLAN's record and adds 1 to its update count, or deletes both where the source
    /// has no record or no update count.
    void handleRxUpdate(Bridging::VlanIdOrNone vlan);

  private:
    template <class A> void copy(A, const char* handler = __builtin_FUNCTION());
};

/// The reactor on the source interface. Bound to another one it copies the scalars.
class RxMstPortStatusToRxDynamicSyncer::ZelSource final
    : public Zel::Reactor<ZelSource, RxMstPortStatus, RxMstPortStatusToRxDynamicSyncer> {
  public:
    static Zel::TypeNode const _zelType;

    ZelSource(Zel::Ptr<RxMstPortStatus const> const& source,
              RxMstPortStatusToRxDynamicSyncer* syncer)
        : Reactor(source, syncer) {}

    template <Zel::ScalarAttribute A> void handle(A attribute) {
        RxMstPortStatus::zelHandle(attribute, *owner());
    }
    void handle(RxMstPortStatus::rxUpdateAttribute, Bridging::VlanIdOrNone vlan) {
        owner()->handleRxUpdate(vlan);
    }
    void rebound();
};

/// Creates a syncer; see there for the arguments.
VARNOL_API RxMstPortStatusToRxDynamicSyncer::Ptr
rxMstPortStatusToRxDynamicSyncerFactory(Zel::Name mstName, Kolvu::IntfId intfId,
                                        Zel::Ptr<RxMstPortStatus const> const& source,
                                        Zel::Ptr<RxStatus> const& rxStatus);

} // namespace Varnol
