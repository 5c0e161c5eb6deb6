#include "framework/fennic/BlockTimer.h"
#include "framework/zel/CopyScalars.h"
#include "framework/zel/Fatal.h"
#include "framework/zel/Reinstantiation.h"
#include "syncers/HandlerTrace.h"
#include "syncers/IntxInfoSyncer.h"
#include "syncers/TxStatusToRxSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"

namespace Varnol {
namespace {

constinit Zel::TraceHandle traceHandle("StpTxStatusSyncer", false);

using Zel::TraceStream;

} // namespace

// ---- IntxInfoSyncer ----

IntxInfoSyncer::IntxInfoSyncer(Zel::Ptr<IntxInfo const> source, IntxInfo::Ptr dest,
                               Bridging::VlanIdOrNone vlanIdOrZero, Zel::String parentId)
    : vlanIdOrZero_(vlanIdOrZero)
    , dest_(std::move(dest))
    , parentId_(std::move(parentId)) {
    construct([&] {
        sourceStart(source);
        if (dest_)
            writeScalars(source.ptr(), *dest_);
        if (source)
            mstiN_.resync(*this, source);
        handleInitialized();
    });
}

IntxInfoSyncer::~IntxInfoSyncer() { tearDown(); }

IntxInfoSyncer::Ptr IntxInfoSyncer::IntxInfoSyncerIs(Zel::Ptr<IntxInfo const> source,
                                                     IntxInfo::Ptr dest,
                                                     Bridging::VlanIdOrNone vlanIdOrZero,
                                                     Zel::String parentId) {
    return Zel::newActive<IntxInfoSyncer>(std::move(source), std::move(dest), vlanIdOrZero,
                                          std::move(parentId));
}

Zel::String IntxInfoSyncer::keyInfo() const {
    const Bridging::VlanIdOrNone vlan = watched() ? watched()->vlanId() : vlanIdOrZero_;
    return Zel::String("[").merge(parentId_, "|", Zel::valueToStrep(Zel::U64{vlan.value()}), "]");
}

void IntxInfoSyncer::traceName(TraceStream& out) const { out << keyInfo() << "IntxInfoSyncer"; }

ZEL_DEFINE_CHILD_REACTORS(IntxInfoSyncer, mstiN)

void IntxInfoSyncer::handleInitialized() {
    FENNIC_BLOCK_TIMER();
    traceHandler(traceHandle, 8, *this, noMessage);
    const Ptr alive(this);
    const Zel::Ptr<IntxInfo const> from = source();
    if (from) {
        for (Zel::Ptr<IntxMstiInfo const> const& entry : from->mstiN()) {
            const Stp::BridgeSystemId key = entry->mstiId();
            handleMstiN(key);
            if (const Zel::Ptr<ZelMstiNSm> reactor = mstiN(key))
                reactor->copyAllData();
        }
    }
    if (dest_ && dest_->mstiN().members() != (from ? from->mstiN().members() : 0)) {
        for (Zel::Ptr<IntxMstiInfo const> const& entry : dest_->mstiN()) {
            if (!from || !from->mstiN().find(entry->mstiId()))
                handleMstiN(entry->mstiId());
        }
    }
    initializedIs(true);
}

void IntxInfoSyncer::handleMstiN(Stp::BridgeSystemId key) {
    FENNIC_BLOCK_TIMER();
    if (watched() && watched()->mstiN().find(key)) {
        traceHandler(traceHandle, 8, *this,
                     [&](TraceStream& out) { out << "setting mstiId=" << key; });
        if (dest_)
            writing<IntxInfo::mstiNAttribute>(*dest_, key)->mstiNIs(key);
    } else {
        traceHandler(traceHandle, 8, *this,
                     [&](TraceStream& out) { out << "deleting mstiId=" << key; });
        if (dest_)
            writing<IntxInfo::mstiNAttribute>(*dest_, key)->mstiNDel(key);
    }
}

IntxInfoSyncer::ZelMstiNSm::ZelMstiNSm(Zel::Ptr<IntxMstiInfo const> const& entry,
                                       IntxInfoSyncer* syncer)
    : Reactor(entry, syncer)
    , mstiId_(entry->mstiId()) {
    const Construction construction(*this);
    start();
}

void IntxInfoSyncer::ZelMstiNSm::traceName(TraceStream& out) const {
    out << owner()->keyInfo() << "IntxInfoSyncer::ZelMstiNSm";
}

void IntxInfoSyncer::ZelMstiNSm::handleInitialized() {
    FENNIC_BLOCK_TIMER();
    traceHandler(traceHandle, 8, *this, noMessage);
    const Ptr alive(this);
    copyAllData();
    initializedIs(true);
}

void IntxInfoSyncer::ZelMstiNSm::copyAllData() {
    const IntxInfo::Ptr record = owner()->dest();
    dest_ = record ? record->mstiN(mstiId_) : nullptr;
    const IntxMstiInfo::Ptr to = dest_;
    const Zel::Ptr<IntxMstiInfo const> from = mstiN();
    if (to)
        writeScalars(from.ptr(), *to);
}

IntxInfoSyncer::Ptr intxInfoSyncerFactory(Zel::Ptr<IntxInfo const> source, IntxInfo::Ptr dest,
                                          Bridging::VlanIdOrNone vlanIdOrZero,
                                          Zel::String parentId) {
    return IntxInfoSyncer::IntxInfoSyncerIs(std::move(source), std::move(dest), vlanIdOrZero,
                                            std::move(parentId));
}

// ---- TxStatusToTxSyncer ----

TxStatusToTxSyncer::TxStatusToTxSyncer(Zel::Ptr<TxStatus const> source, Zel::Ptr<TxStatus> dest)
    : dest_(std::move(dest)) {
    construct([&] {
        sourceStart(source);
        if (dest_)
            write(TxStatus::heartbeatTimeoutAttribute{}, *dest_,
                  source ? source->heartbeatTimeout() : 0.0);
        if (source)
            txMstStatus_.resync(*this, source);
        handleInitialized();
    });
}

TxStatusToTxSyncer::~TxStatusToTxSyncer() { tearDown(); }

TxStatusToTxSyncer::Ptr TxStatusToTxSyncer::TxStatusToTxSyncerIs(Zel::Ptr<TxStatus const> source,
                                                                 Zel::Ptr<TxStatus> dest) {
    return Zel::newActive<TxStatusToTxSyncer>(std::move(source), std::move(dest));
}

void TxStatusToTxSyncer::traceName(TraceStream& out) const { out << "TxToTx"; }

ZEL_DEFINE_CHILD_REACTORS(TxStatusToTxSyncer, txMstStatus)

void TxStatusToTxSyncer::handleInitialized() {
    FENNIC_BLOCK_TIMER();
    traceHandler(traceHandle, 8, *this, noMessage);
    const Ptr alive(this);
    for (Zel::Ptr<ZelTxMstStatusSm> const& child : txMstStatus_) {
        child->handleInitialized();
        handleTxMstStatus(child->fwkKey());
    }
    if (dest_) {
        for (Zel::Ptr<TxMstStatus const> const& element : std::as_const(*dest_).txMstStatus())
            handleTxMstStatus(element->name());
    }
    initializedIs(true);
}

void TxStatusToTxSyncer::handleTxMstStatus(Zel::String name) {
    FENNIC_BLOCK_TIMER();
    if (watched() && watched()->txMstStatus().find(name)) {
        traceHandler(traceHandle, 8, *this, [&](TraceStream& out) { out << "creating " << name; });
        if (dest_)
            writing<TxStatus::txMstStatusAttribute>(*dest_, name)->txMstStatusIs(name);
    } else {
        traceHandler(traceHandle, 8, *this, [&](TraceStream& out) { out << "deleting " << name; });
        if (dest_)
            writing<TxStatus::txMstStatusAttribute>(*dest_, name)->txMstStatusDel(name);
    }
}

void TxStatusToTxSyncer::ZelSource::handle(TxStatus::heartbeatTimeoutAttribute) {
    if (watched() && owner()->dest_)
        write(TxStatus::heartbeatTimeoutAttribute{}, *owner()->dest_,
              watched()->heartbeatTimeout());
}

TxStatusToTxSyncer::ZelTxMstStatusSm::ZelTxMstStatusSm(
    Zel::Ptr<TxMstStatus const> const& txMstStatus, TxStatusToTxSyncer* parent)
    : Reactor(txMstStatus, parent)
    , name_(txMstStatus->name()) {
    const Construction construction(*this);
    txMstPortStatus_.resync(*this, txMstStatus);
    start();
}

TxStatusToTxSyncer::ZelTxMstStatusSm::~ZelTxMstStatusSm() { tearDown(); }

Zel::String TxStatusToTxSyncer::ZelTxMstStatusSm::keyInfo() const {
    return Zel::String("[").merge(name_.view(), "]");
}

void TxStatusToTxSyncer::ZelTxMstStatusSm::traceName(TraceStream& out) const {
    out << "TxToTx::ZelTxMstStatusSm" << keyInfo();
}

Zel::Ptr<TxStatusToTxSyncer::ZelTxMstStatusSm::ZelTxMstPortStatusSm>
TxStatusToTxSyncer::ZelTxMstStatusSm::newTxMstPortStatus(
    Zel::Ptr<TxMstPortStatus const> const& element) {
    return txMstPortStatus_.make(*this, element);
}

ZEL_DEFINE_CHILD_REACTORS(TxStatusToTxSyncer::ZelTxMstStatusSm, txMstPortStatus)

void TxStatusToTxSyncer::ZelTxMstStatusSm::handleInitialized() {
    FENNIC_BLOCK_TIMER();
    traceHandler(traceHandle, 8, *this, noMessage);
    const Ptr alive(this);
    const TxStatus::Ptr destRoot = owner()->dest();
    dest_ = destRoot
                ? writing<TxStatus::txMstStatusAttribute>(*destRoot, name_)->txMstStatusIs(name_)
                : nullptr;
    for (Zel::Ptr<ZelTxMstPortStatusSm> const& child : txMstPortStatus_) {
        child->handleInitialized();
        handleTxMstPortStatus(child->fwkKey());
    }
    if (dest_) {
        for (Zel::Ptr<TxMstPortStatus const> const& element :
             std::as_const(*dest_).txMstPortStatus())
            handleTxMstPortStatus(element->intfId());
    }
    initializedIs(true);
}

void TxStatusToTxSyncer::ZelTxMstStatusSm::handleTxMstPortStatus(Kolvu::IntfId intf) {
    FENNIC_BLOCK_TIMER();
    if (watched() && watched()->txMstPortStatus().find(intf)) {
        traceHandler(traceHandle, 8, *this,
                     [&](TraceStream& out) { out << "setting txMstPortStatus for " << intf; });
        if (dest_)
            writing<TxMstStatus::txMstPortStatusAttribute>(*dest_, intf)->txMstPortStatusIs(intf);
    } else {
        traceHandler(traceHandle, 8, *this,
                     [&](TraceStream& out) { out << "deleting txMstPortStatus for " << intf; });
        if (dest_)
            writing<TxMstStatus::txMstPortStatusAttribute>(*dest_, intf)->txMstPortStatusDel(intf);
    }
}

using TxToTxPort = TxStatusToTxSyncer::ZelTxMstStatusSm::ZelTxMstPortStatusSm;

TxToTxPort::ZelTxMstPortStatusSm(Zel::Ptr<TxMstPortStatus const> const& txMstPortStatus,
                                 ZelTxMstStatusSm* parent)
    : Reactor(txMstPortStatus, parent)
    , parentId_(Zel::String(parent->fwkKey().stringValue())
                    .merge("|", txMstPortStatus->intfId().shortName()))
    , intfId_(txMstPortStatus->intfId()) {
    const Construction construction(*this);
    start();
}

TxToTxPort::~ZelTxMstPortStatusSm() { tearDown(); }

Zel::String TxToTxPort::keyInfo() const { return Zel::String("[").merge(parentId_, "]"); }

void TxToTxPort::traceName(TraceStream& out) const {
    out << "TxToTx::ZelTxMstPortStatusSm" << keyInfo();
}

ZEL_DEFINE_CHILDREN(TxToTxPort, txInfoSyncer)

bool TxToTxPort::txInfoSyncerHas(Bridging::VlanIdOrNone vlan) {
    return txInfoSyncer_.find(vlan) != nullptr;
}

IntxInfoSyncer::Ptr TxToTxPort::txInfoSyncerIs(Zel::Ptr<IntxInfo const> source,
                                               Zel::Ptr<IntxInfo> dest, Bridging::VlanIdOrNone vlan,
                                               Zel::String parentId) {
    if (IntxInfoSyncer::Ptr present = txInfoSyncer(vlan)) {
        Zel::assertSameParameter("source", source, present->source());
        Zel::assertSameParameter("dest", dest, present->dest());
        Zel::assertSameParameter("parentId", parentId, present->parentId());
        return present;
    }
    return txInfoSyncer_.keep(*this, vlan, [&] {
        return IntxInfoSyncer::IntxInfoSyncerIs(std::move(source), std::move(dest), vlan,
                                                std::move(parentId));
    });
}

void TxToTxPort::handleInitialized() {
    FENNIC_BLOCK_TIMER();
    traceHandler(traceHandle, 8, *this, noMessage);
    const Ptr alive(this);
    const TxMstStatus::Ptr destMst = owner()->dest();
    const Zel::Ptr<TxMstPortStatus> found = destMst ? destMst->txMstPortStatus(intfId_) : nullptr;
    const Zel::Ptr<TxMstPortStatus const> from = txMstPortStatus();
    if (found) {
        dest_ = found;
        Zel::Ptr<TxMstPortStatus const> const to = found;
        if (from) {
            for (Zel::Ptr<IntxInfo const> const& record : from->txInfo())
                handleTxInfo(record->vlanId());
        }
        for (Zel::Ptr<IntxInfo const> const& record : to->txInfo())
            handleTxInfo(record->vlanId());
        if (from) {
            for (auto const& update : from->txUpdate())
                handleTxUpdate(update.key());
        }
        for (auto const& update : to->txUpdate())
            handleTxUpdate(update.key());
        write(TxMstPortStatus::txHelloWhenOnAttribute{}, *found,
              from ? from->txHelloWhenOn() : Stp::TimerVal());
        // Last, so that who watches it finds everything else in place.
        write(TxMstPortStatus::txNewInfoAttribute{}, *found, from ? from->txNewInfo() : 0);
    }
    initializedIs(true);
}

void TxToTxPort::handleTxInfo(Bridging::VlanIdOrNone vlan) {
    FENNIC_BLOCK_TIMER();
    const Ptr alive(this);
    const auto record = [&] { return watched() ? watched()->txInfo(vlan) : nullptr; };
    if (const Zel::Ptr<IntxInfo const> from = record()) {
        traceHandler(traceHandle, 8, *this,
                     [&](TraceStream& out) { out << "setting vlan=" << vlan; });
        if (!dest_)
            return;
        const Zel::Ptr<IntxInfo> to =
            writing<TxMstPortStatus::txInfoAttribute>(*dest_, vlan)->txInfoIs(vlan);
        if (from == record())
            txInfoSyncerIs(from, to, vlan, parentId_);
        // What was written may have led to another record, or none, before this one had a syncer.
        if (!zelMarkedForDeletion() && from != record())
            handleTxInfo(vlan);
    } else {
        traceHandler(traceHandle, 8, *this,
                     [&](TraceStream& out) { out << "deleting vlan=" << vlan; });
        if (dest_)
            writing<TxMstPortStatus::txInfoAttribute>(*dest_, vlan)->txInfoDel(vlan);
        txInfoSyncerDel(vlan);
    }
}

void TxToTxPort::handleTxUpdate(Bridging::VlanIdOrNone vlan) {
    FENNIC_BLOCK_TIMER();
    const unsigned value = watched() ? watched()->txUpdate(vlan) : 0;
    traceHandler(traceHandle, 8, *this, [&](TraceStream& out) {
        out << (value != 0 ? "setting vlan=" : "deleting vlan=") << vlan;
    });
    writeTxUpdate(vlan, value);
}

void TxToTxPort::writeTxUpdate(Bridging::VlanIdOrNone vlan, unsigned value) {
    if (!dest_)
        return;
    if (value != 0)
        writing<TxMstPortStatus::txUpdateAttribute>(*dest_, vlan)->txUpdateIs(vlan, value);
    else
        writing<TxMstPortStatus::txUpdateAttribute>(*dest_, vlan)->txUpdateDel(vlan);
}

void TxToTxPort::handle(TxMstPortStatus::txUpdateAttribute, Bridging::VlanIdOrNone vlan) {
    writeTxUpdate(vlan, watched() ? watched()->txUpdate(vlan) : 0);
    if (!zelMarkedForDeletion())
        handleTxUpdate(vlan);
}

void TxToTxPort::rebound() {
    if (zelMarkedForDeletion())
        return;
    const Zel::Ptr<TxMstPortStatus const> from = txMstPortStatus();
    if (const TxMstPortStatus::Ptr to = dest_) {
        for (auto const& update : from->txUpdate())
            writing<TxMstPortStatus::txUpdateAttribute>(*to, update.key())
                ->txUpdateIs(update.key(), update.value());
        for (auto const& update : std::as_const(*to).txUpdate()) {
            if (from->txUpdate(update.key()) == 0)
                writing<TxMstPortStatus::txUpdateAttribute>(*to, update.key())
                    ->txUpdateDel(update.key());
        }
    }
    replay();
}

TxStatusToTxSyncer::Ptr txStatusToTxSyncerFactory(Zel::Ptr<TxStatus const> source,
                                                  Zel::Ptr<TxStatus> dest) {
    return TxStatusToTxSyncer::TxStatusToTxSyncerIs(std::move(source), std::move(dest));
}

// ---- TxStatusToRxSyncer ----

TxStatusToRxSyncer::TxStatusToRxSyncer(Zel::Ptr<TxStatus const> const& source,
                                       Zel::Ptr<RxStatus> const& rxStatus)
    : rxStatus_(rxStatus) {
    constexpr const char* signature = "Varnol::TxStatusToRxSyncer::TxStatusToRxSyncer("
                                      "const Zel::Ptr<const Varnol::TxStatus>&, "
                                      "const Zel::Ptr<Varnol::RxStatus>&)";
    if (!source)
        Zel::assertionFailed("source", signature);
    if (!rxStatus)
        Zel::assertionFailed("rxStatus", signature);
    construct([&] {
        sourceStart(source);
        txMstStatus_.resync(*this, source);
        handleInitialized();
    });
}

TxStatusToRxSyncer::~TxStatusToRxSyncer() { tearDown(); }

TxStatusToRxSyncer::Ptr
TxStatusToRxSyncer::TxStatusToRxSyncerIs(Zel::Ptr<TxStatus const> const& source,
                                         Zel::Ptr<RxStatus> const& rxStatus) {
    return Zel::newActive<TxStatusToRxSyncer>(source, rxStatus);
}

void TxStatusToRxSyncer::traceName(TraceStream& out) const { out << "TxToRx"; }

ZEL_DEFINE_CHILD_REACTORS(TxStatusToRxSyncer, txMstStatus)

void TxStatusToRxSyncer::handleInitialized() {
    FENNIC_BLOCK_TIMER();
    traceHandler(traceHandle, 8, *this, noMessage);
    const Ptr alive(this);
    const Zel::Ptr<TxStatus const> from = source();
    for (Zel::Ptr<TxMstStatus const> const& element : from->txMstStatus())
        handleTxMstStatus(element->name());
    for (Zel::Ptr<RxMstStatus const> const& element : std::as_const(*rxStatus_).rxMstStatus()) {
        if (!from->txMstStatus().find(element->name()))
            writing<RxStatus::rxMstStatusAttribute>(*rxStatus_, element->name())
                ->rxMstStatusDel(element->name());
    }
    initializedIs(true);
}

void TxStatusToRxSyncer::handleTxMstStatus(Zel::String name) {
    FENNIC_BLOCK_TIMER();
    if (watched() && watched()->txMstStatus().find(name)) {
        traceHandler(traceHandle, 8, *this,
                     [&](TraceStream& out) { out << "setting rxMstStatus " << name; });
        writing<RxStatus::rxMstStatusAttribute>(*rxStatus_, name)->rxMstStatusIs(name);
    } else {
        traceHandler(traceHandle, 8, *this,
                     [&](TraceStream& out) { out << "deleting rxMstStatus " << name; });
        writing<RxStatus::rxMstStatusAttribute>(*rxStatus_, name)->rxMstStatusDel(name);
    }
}

TxStatusToRxSyncer::ZelTxMstStatusSm::ZelTxMstStatusSm(
    Zel::Ptr<TxMstStatus const> const& txMstStatus, TxStatusToRxSyncer* syncer)
    : Reactor(txMstStatus, syncer)
    , name_(txMstStatus->name()) {
    const Construction construction(*this);
    start();
}

Zel::String TxStatusToRxSyncer::ZelTxMstStatusSm::keyInfo() const {
    return Zel::String("[").merge(name_.view(), "]");
}

void TxStatusToRxSyncer::ZelTxMstStatusSm::traceName(TraceStream& out) const {
    out << "TxToRx::ZelTxMstStatusSm" << keyInfo();
}

void TxStatusToRxSyncer::ZelTxMstStatusSm::handleInitialized() {
    FENNIC_BLOCK_TIMER();
    traceHandler(traceHandle, 8, *this, noMessage);
    const Ptr alive(this);
    const Zel::Ptr<TxMstStatus const> from = txMstStatus();
    const RxStatus::Ptr rxRoot = owner()->rxStatus();
    const RxMstStatus::Ptr to = rxMstStatus_ =
        writing<RxStatus::rxMstStatusAttribute>(*rxRoot, name_)->rxMstStatusIs(name_);
    for (Zel::Ptr<TxMstPortStatus const> const& element : from->txMstPortStatus())
        handleTxMstPortStatus(element->intfId());
    for (Zel::Ptr<RxMstPortStatus const> const& element : std::as_const(*to).rxMstPortStatus()) {
        if (!from->txMstPortStatus().find(element->intfId()))
            writing<RxMstStatus::rxMstPortStatusAttribute>(*to, element->intfId())
                ->rxMstPortStatusDel(element->intfId());
    }
    initializedIs(true);
}

void TxStatusToRxSyncer::ZelTxMstStatusSm::handleTxMstPortStatus(Kolvu::IntfId intfId) {
    FENNIC_BLOCK_TIMER();
    if (watched() && watched()->txMstPortStatus().find(intfId)) {
        traceHandler(traceHandle, 8, *this, [&](TraceStream& out) {
            out << "setting rxMstPortStatus for " << intfId.shortName();
        });
        if (rxMstStatus_)
            writing<RxMstStatus::rxMstPortStatusAttribute>(*rxMstStatus_, intfId)
                ->rxMstPortStatusIs(intfId);
    } else {
        traceHandler(traceHandle, 8, *this, [&](TraceStream& out) {
            out << "deleting rxMstPortStatus for " << intfId.shortName();
        });
        if (rxMstStatus_)
            writing<RxMstStatus::rxMstPortStatusAttribute>(*rxMstStatus_, intfId)
                ->rxMstPortStatusDel(intfId);
    }
}

TxStatusToRxSyncer::Ptr txStatusToRxSyncerFactory(Zel::Ptr<TxStatus const> const& source,
                                                  Zel::Ptr<RxStatus> const& rxStatus) {
    return TxStatusToRxSyncer::TxStatusToRxSyncerIs(source, rxStatus);
}

namespace {
[[maybe_unused]] const bool registered[] = {
    Zel::typeNodeIs(IntxInfoSyncer::_zelType),
    Zel::typeNodeIs(IntxInfoSyncer::ZelSource::_zelType),
    Zel::typeNodeIs(IntxInfoSyncer::ZelMstiNSm::_zelType),
    Zel::typeNodeIs(TxStatusToTxSyncer::_zelType),
    Zel::typeNodeIs(TxStatusToTxSyncer::ZelSource::_zelType),
    Zel::typeNodeIs(TxStatusToTxSyncer::ZelTxMstStatusSm::_zelType),
    Zel::typeNodeIs(TxToTxPort::_zelType),
    Zel::typeNodeIs(TxStatusToRxSyncer::_zelType),
    Zel::typeNodeIs(TxStatusToRxSyncer::ZelSource::_zelType),
    Zel::typeNodeIs(TxStatusToRxSyncer::ZelTxMstStatusSm::_zelType),
};
} // namespace

} // namespace Varnol
