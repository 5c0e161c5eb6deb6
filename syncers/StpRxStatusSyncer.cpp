#include "bpdu/VarnolCommon.h"
#include "framework/fennic/BlockTimer.h"
#include "framework/zel/CopyScalars.h"
#include "framework/zel/Fatal.h"
#include "framework/zel/Reinstantiation.h"
#include "syncers/CopiedScalars.h"
#include "syncers/HandlerTrace.h"
#include "syncers/RxMstPortStatusToRxDynamicSyncer.h"
#include "syncers/RxMstStatusToRxDynamicSyncer.h"
#include "syncers/RxStatusToRxDynamicSyncer.h"

namespace Varnol {
namespace {

constinit Zel::TraceHandle traceHandle("StpRxStatusSyncer", false);

using Zel::TraceStream;

void noDestination(TraceStream& out) { out << "no destination"; }
void scanningList(TraceStream& out) { out << "scanning list"; }

} // namespace

// ---- RxStatusToRxDynamicSyncer ----

RxStatusToRxDynamicSyncer::RxStatusToRxDynamicSyncer(Zel::Ptr<RxStatus const> const& source,
                                                     Zel::Ptr<RxStatus> const& rxStatus)
    : rxStatus_(rxStatus) {
    construct([&] {
        sourceStart(source);
        if (rxStatus_)
            Zel::copyScalars(source.ptr(), *rxStatus_);
        handleInitialized();
    });
}

RxStatusToRxDynamicSyncer::~RxStatusToRxDynamicSyncer() { tearDown(); }

RxStatusToRxDynamicSyncer::Ptr
RxStatusToRxDynamicSyncer::RxStatusToRxDynamicSyncerIs(Zel::Ptr<RxStatus const> const& source,
                                                       Zel::Ptr<RxStatus> const& rxStatus) {
    return Zel::newActive<RxStatusToRxDynamicSyncer>(source, rxStatus);
}

void RxStatusToRxDynamicSyncer::traceName(TraceStream& out) const {
    out << "RxStatusToRxDynamicSyncer";
}

void RxStatusToRxDynamicSyncer::sourceIs(Zel::Ptr<RxStatus const> const& source) {
    if (source.ptr() == watched())
        return;
    const Ptr alive(this);
    sourceReplace(source);
    if (!zelMarkedForDeletion())
        handleMstStatus();
}

ZEL_DEFINE_CHILDREN(RxStatusToRxDynamicSyncer, mstDynSyncerSm)

RxMstStatusToRxDynamicSyncer::Ptr RxStatusToRxDynamicSyncer::mstDynSyncerSmIs(
    Zel::Name name, Zel::Ptr<RxMstStatus const> const& source, Zel::Ptr<RxStatus> const& rxStatus) {
    const Ptr alive(this); // the end of this object switches the child off, and so comes last
    RxMstStatusToRxDynamicSyncer::Ptr child = mstDynSyncerSm(name);
    if (child) {
        Zel::assertSameParameter("source", source, child->source());
        Zel::assertSameParameter("rxStatus", rxStatus, child->rxStatus());
    } else {
        child = mstDynSyncerSm_.keep(*this, name, [&] {
            return RxMstStatusToRxDynamicSyncer::RxMstStatusToRxDynamicSyncerIs(name, source,
                                                                                rxStatus);
        });
    }
    child->hasNotificationActiveIs(true);
    return child;
}

void RxStatusToRxDynamicSyncer::handleInitialized() {
    FENNIC_BLOCK_TIMER();
    traceHandler(traceHandle, 8, *this, noMessage);
    if (initialized())
        return;
    const Ptr alive(this);
    handleMstStatus();
    initializedIs(true);
}

void RxStatusToRxDynamicSyncer::handleMstStatus() {
    FENNIC_BLOCK_TIMER();
    traceHandler(traceHandle, 8, *this, scanningList);
    const Ptr alive(this);
    if (const Zel::Ptr<RxStatus const> from = source()) {
        for (Zel::Ptr<RxMstStatus const> const& element : from->rxMstStatus())
            handleMstStatus(element->name());
    }
}

void RxStatusToRxDynamicSyncer::handleMstStatus(Zel::Name name) {
    FENNIC_BLOCK_TIMER();
    const Ptr alive(this);
    const Zel::Ptr<RxStatus const> from = source();
    if (const Zel::Ptr<RxMstStatus const> child = from ? from->rxMstStatus(name) : nullptr) {
        traceHandler(traceHandle, 8, *this,
                     [&](TraceStream& out) { out << "creating " << name.stringValue(); });
        mstDynSyncerSmIs(name, child, rxStatus_);
        // What the child's construction set off may have taken the name out of the source, before
        // there was a child to remove.
        if (from == source() && !from->rxMstStatus(name))
            mstDynSyncerSmDel(name);
    } else {
        traceHandler(traceHandle, 8, *this,
                     [&](TraceStream& out) { out << "deleting " << name.stringValue(); });
        mstDynSyncerSmDel(name);
    }
}

RxStatusToRxDynamicSyncer::Ptr
rxStatusToRxDynamicSyncerFactory(Zel::Ptr<RxStatus const> const& source,
                                 Zel::Ptr<RxStatus> const& rxStatus) {
    return RxStatusToRxDynamicSyncer::RxStatusToRxDynamicSyncerIs(source, rxStatus);
}

// ---- RxMstStatusToRxDynamicSyncer ----

RxMstStatusToRxDynamicSyncer::RxMstStatusToRxDynamicSyncer(
    Zel::Name mstName, Zel::Ptr<RxMstStatus const> const& source,
    Zel::Ptr<RxStatus> const& rxStatus)
    : mstName_(std::move(mstName))
    , rxStatus_(rxStatus) {
    construct([&] {
        sourceStart(source);
        handleInitialized();
    });
}

RxMstStatusToRxDynamicSyncer::~RxMstStatusToRxDynamicSyncer() { tearDown(); }

RxMstStatusToRxDynamicSyncer::Ptr RxMstStatusToRxDynamicSyncer::RxMstStatusToRxDynamicSyncerIs(
    Zel::Name mstName, Zel::Ptr<RxMstStatus const> const& source,
    Zel::Ptr<RxStatus> const& rxStatus) {
    return Zel::newActive<RxMstStatusToRxDynamicSyncer>(std::move(mstName), source, rxStatus);
}

Zel::String RxMstStatusToRxDynamicSyncer::keyInfo() const {
    return Zel::String("[").merge(mstName_.view(), "]");
}

void RxMstStatusToRxDynamicSyncer::traceName(TraceStream& out) const {
    out << "RxMstStatusToRxDynamicSyncer" << keyInfo();
}

ZEL_DEFINE_CHILDREN(RxMstStatusToRxDynamicSyncer, mstDynPortSm)

RxMstPortStatusToRxDynamicSyncer::Ptr
RxMstStatusToRxDynamicSyncer::mstDynPortSmIs(Zel::Name mstName, Kolvu::IntfId intf,
                                             Zel::Ptr<RxMstPortStatus const> const& source,
                                             Zel::Ptr<RxStatus> const& rxStatus) {
    const Ptr alive(this);
    RxMstPortStatusToRxDynamicSyncer::Ptr child = mstDynPortSm(intf);
    if (child) {
        Zel::assertSameParameter("mstName", mstName, child->mstName());
        Zel::assertSameParameter("source", source, child->source());
        Zel::assertSameParameter("rxStatus", rxStatus, child->rxStatus());
    } else {
        child = mstDynPortSm_.keep(*this, intf, [&] {
            return RxMstPortStatusToRxDynamicSyncer::RxMstPortStatusToRxDynamicSyncerIs(
                mstName, intf, source, rxStatus);
        });
    }
    child->hasNotificationActiveIs(true);
    return child;
}

void RxMstStatusToRxDynamicSyncer::handleInitialized() {
    FENNIC_BLOCK_TIMER();
    traceHandler(traceHandle, 8, *this, noMessage);
    if (initialized())
        return;
    const Ptr alive(this);
    handleMstPortStatus();
    initializedIs(true);
}

void RxMstStatusToRxDynamicSyncer::handleMstPortStatus() {
    FENNIC_BLOCK_TIMER();
    traceHandler(traceHandle, 8, *this, scanningList);
    const Ptr alive(this);
    if (const Zel::Ptr<RxMstStatus const> from = source()) {
        for (Zel::Ptr<RxMstPortStatus const> const& element : from->rxMstPortStatus())
            handleMstPortStatus(element->intfId());
    }
}

void RxMstStatusToRxDynamicSyncer::handleMstPortStatus(Kolvu::IntfId intf) {
    FENNIC_BLOCK_TIMER();
    const Ptr alive(this);
    const Zel::Ptr<RxMstStatus const> from = source();
    if (const Zel::Ptr<RxMstPortStatus const> child =
            from ? from->rxMstPortStatus(intf) : nullptr) {
        traceHandler(traceHandle, 8, *this,
                     [&](TraceStream& out) { out << "creating intf=" << intf; });
        mstDynPortSmIs(mstName_, intf, child, rxStatus_);
        // The same holds here for the interface.
        if (from == source() && !from->rxMstPortStatus(intf))
            mstDynPortSmDel(intf);
    } else {
        traceHandler(traceHandle, 8, *this,
                     [&](TraceStream& out) { out << "deleting intf=" << intf; });
        mstDynPortSmDel(intf);
    }
}

RxMstStatusToRxDynamicSyncer::Ptr
rxMstStatusToRxDynamicSyncerFactory(Zel::Name mstName, Zel::Ptr<RxMstStatus const> const& source,
                                    Zel::Ptr<RxStatus> const& rxStatus) {
    return RxMstStatusToRxDynamicSyncer::RxMstStatusToRxDynamicSyncerIs(std::move(mstName), source,
                                                                        rxStatus);
}

// ---- RxMstPortStatusToRxDynamicSyncer ----

namespace {

constexpr const char* portSignature =
    "Varnol::RxMstPortStatusToRxDynamicSyncer::RxMstPortStatusToRxDynamicSyncer(Zel::Name, "
    "Kolvu::IntfId, const Zel::Ptr<const Varnol::RxMstPortStatus>&, "
    "const Zel::Ptr<Varnol::RxStatus>&)";

} // namespace

RxMstPortStatusToRxDynamicSyncer::RxMstPortStatusToRxDynamicSyncer(
    Zel::Name mstName, Kolvu::IntfId intfId, Zel::Ptr<RxMstPortStatus const> const& source,
    Zel::Ptr<RxStatus> const& rxStatus)
    : mstName_(std::move(mstName))
    , intfId_(intfId)
    , rxStatus_(rxStatus) {
    if (!rxStatus)
        Zel::assertionFailed("rxStatus", portSignature);
    if (!source && dest())
        Zel::assertionFailed("source", portSignature);
    construct([&] {
        sourceStart(source);
        handleInitialized();
    });
}

RxMstPortStatusToRxDynamicSyncer::~RxMstPortStatusToRxDynamicSyncer() { tearDown(); }

RxMstPortStatusToRxDynamicSyncer::Ptr
RxMstPortStatusToRxDynamicSyncer::RxMstPortStatusToRxDynamicSyncerIs(
    Zel::Name mstName, Kolvu::IntfId intfId, Zel::Ptr<RxMstPortStatus const> const& source,
    Zel::Ptr<RxStatus> const& rxStatus) {
    return Zel::newActive<RxMstPortStatusToRxDynamicSyncer>(std::move(mstName), intfId, source,
                                                            rxStatus);
}

Zel::Ptr<RxMstPortStatus> RxMstPortStatusToRxDynamicSyncer::dest() const {
    const RxMstStatus::Ptr mst = rxStatus_->rxMstStatus(mstName_);
    return mst ? mst->rxMstPortStatus(intfId_) : nullptr;
}

Zel::String RxMstPortStatusToRxDynamicSyncer::keyInfo() const {
    return Zel::String("[").merge(mstName_.view(), "|", intfId_.shortName(), "]");
}

void RxMstPortStatusToRxDynamicSyncer::traceName(TraceStream& out) const {
    out << "RxMstPortStatusToRxDynamicSyncer" << keyInfo();
}

void RxMstPortStatusToRxDynamicSyncer::handleInitialized() {
    FENNIC_BLOCK_TIMER();
    traceHandler(traceHandle, 8, *this, noMessage);
    if (initialized())
        return;
    const Ptr alive(this);
    if (const RxMstPortStatus::Ptr to = dest()) {
        const Zel::Ptr<RxMstPortStatus const> from = source();
        forEachCopied([&](auto attribute) {
            using A = decltype(attribute);
            write(attribute, *to, A::read(*from));
        });
    } else {
        traceHandler(traceHandle, 7, *this, noDestination);
    }
    initializedIs(true);
}

/// What the handler of a scalar does.
template <class A> void RxMstPortStatusToRxDynamicSyncer::copy(A, const char* handler) {
    const RxMstPortStatus::Ptr to = dest();
    if (!to) {
        traceHandler(traceHandle, 7, *this, noDestination, __builtin_FILE(), __builtin_LINE(),
                     handler);
        return;
    }
    traceHandler(traceHandle, 8, *this, noMessage, __builtin_FILE(), __builtin_LINE(), handler);
    write(A{}, *to, A::read(*watched()));
}

void RxMstPortStatusToRxDynamicSyncer::handleBpduCount() {
    FENNIC_BLOCK_TIMER();
    copy(RxMstPortStatus::bpduCountAttribute{});
}

void RxMstPortStatusToRxDynamicSyncer::handleRateLimitInterval() {
    FENNIC_BLOCK_TIMER();
    copy(RxMstPortStatus::rateLimitIntervalAttribute{});
}

void RxMstPortStatusToRxDynamicSyncer::handleRateLimitMaxCount() {
    FENNIC_BLOCK_TIMER();
    copy(RxMstPortStatus::rateLimitMaxCountAttribute{});
}

void RxMstPortStatusToRxDynamicSyncer::handleRateLimitEnabled() {
    FENNIC_BLOCK_TIMER();
    copy(RxMstPortStatus::rateLimitEnabledAttribute{});
}

void RxMstPortStatusToRxDynamicSyncer::handleCounters() {
    FENNIC_BLOCK_TIMER();
    copy(RxMstPortStatus::countersAttribute{});
}

void RxMstPortStatusToRxDynamicSyncer::handleLocalCounters() {
    FENNIC_BLOCK_TIMER();
    copy(RxMstPortStatus::localCountersAttribute{});
}

void RxMstPortStatusToRxDynamicSyncer::handleRxUpdate(Bridging::VlanIdOrNone vlan) {
    FENNIC_BLOCK_TIMER();
    const RxMstPortStatus::Ptr to = dest();
    if (!to) {
        traceHandler(traceHandle, 7, *this, noDestination);
        return;
    }
    const Zel::Ptr<RxMstPortStatus const> from = source();
    const Zel::Ptr<IntxInfo const> record =
        from->rxUpdate(vlan) != 0 ? from->rxInfo(vlan) : nullptr;
    if (record) {
        traceHandler(traceHandle, 8, *this,
                     [&](TraceStream& out) { out << "creating/updating vlan=" << vlan; });
        const IntxInfo::Ptr copy =
            writing<RxMstPortStatus::rxInfoAttribute>(*to, vlan)->rxInfoIs(vlan);
        {
            const auto written = writingAll(*copy);
            copyIntxInfo(record, copy);
        }
        writing<RxMstPortStatus::rxUpdateAttribute>(*to, vlan)->rxUpdateInc(vlan, 1);
    } else {
        traceHandler(traceHandle, 8, *this,
                     [&](TraceStream& out) { out << "deleting vlan=" << vlan; });
        writing<RxMstPortStatus::rxInfoAttribute>(*to, vlan)->rxInfoDel(vlan);
        writing<RxMstPortStatus::rxUpdateAttribute>(*to, vlan)->rxUpdateDel(vlan);
    }
}

void RxMstPortStatusToRxDynamicSyncer::ZelSource::rebound() {
    RxMstPortStatus const* const notifier = watched();
    forEachCopied([&](auto attribute) {
        if (!zelMarkedForDeletion() && watched() == notifier)
            handle(attribute);
    });
}

RxMstPortStatusToRxDynamicSyncer::Ptr
rxMstPortStatusToRxDynamicSyncerFactory(Zel::Name mstName, Kolvu::IntfId intfId,
                                        Zel::Ptr<RxMstPortStatus const> const& source,
                                        Zel::Ptr<RxStatus> const& rxStatus) {
    return RxMstPortStatusToRxDynamicSyncer::RxMstPortStatusToRxDynamicSyncerIs(
        std::move(mstName), intfId, source, rxStatus);
}

namespace {
[[maybe_unused]] const bool registered[] = {
    Zel::typeNodeIs(RxStatusToRxDynamicSyncer::_zelType),
    Zel::typeNodeIs(RxStatusToRxDynamicSyncer::ZelSource::_zelType),
    Zel::typeNodeIs(RxMstStatusToRxDynamicSyncer::_zelType),
    Zel::typeNodeIs(RxMstStatusToRxDynamicSyncer::ZelSource::_zelType),
    Zel::typeNodeIs(RxMstPortStatusToRxDynamicSyncer::_zelType),
    Zel::typeNodeIs(RxMstPortStatusToRxDynamicSyncer::ZelSource::_zelType),
};
} // namespace

} // namespace Varnol
