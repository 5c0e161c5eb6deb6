#include "syncers/IntxInfoChangeSm.h"

namespace Varnol {

constinit Zel::TypeNode const IntxInfoChangeSm::_zelType{"Varnol::IntxInfoChangeSm",
                                                         Zel::attributeTable<IntxInfoChangeSm>};
constinit Zel::TypeNode const IntxInfoChangeSm::ZelIntxInfo::_zelType{
    "Varnol::IntxInfoChangeSm::ZelIntxInfo", {}};
constinit Zel::TypeNode const IntxInfoChangeSm::ZelMstiN::_zelType{
    "Varnol::IntxInfoChangeSm::ZelMstiN", {}};

namespace {
[[maybe_unused]] const bool registered = Zel::typeNodeIs(IntxInfoChangeSm::_zelType) &&
                                         Zel::typeNodeIs(IntxInfoChangeSm::ZelIntxInfo::_zelType) &&
                                         Zel::typeNodeIs(IntxInfoChangeSm::ZelMstiN::_zelType);
} // namespace

IntxInfoChangeSm::IntxInfoChangeSm(Zel::Ptr<IntxInfo const> const& intxInfo,
                                   Bridging::VlanIdOrNone vlanId)
    : vlanId_(vlanId) {
    const Construction construction(*this);
    sourceStart(intxInfo);
    updatedFieldCountIs(1);
    if (intxInfo)
        mstiN_.resync(*this, intxInfo);
}

IntxInfoChangeSm::~IntxInfoChangeSm() { tearDown(); }

IntxInfoChangeSm::Ptr IntxInfoChangeSm::IntxInfoChangeSmIs(Zel::Ptr<IntxInfo const> const& intxInfo,
                                                           Bridging::VlanIdOrNone vlanId) {
    return Zel::newActive<IntxInfoChangeSm>(intxInfo, vlanId);
}

Zel::Ptr<IntxInfoChangeSm::ZelMstiN> IntxInfoChangeSm::mstiN(Stp::BridgeSystemId key) {
    return Zel::Ptr(mstiN_.find(key));
}

Zel::Ptr<IntxInfoChangeSm::ZelMstiN>
IntxInfoChangeSm::mstiNIs(Zel::Ptr<IntxMstiInfo const> const& entry) {
    return mstiN_.is(*this, entry);
}

void IntxInfoChangeSm::mstiNDel(Stp::BridgeSystemId key) { mstiN_.del(key); }

void IntxInfoChangeSm::mstiNDel(MstiNIterator const& at) { mstiN_.del(at); }

void IntxInfoChangeSm::mstiNDelAll() { mstiN_.delAll(); }

void IntxInfoChangeSm::ZelIntxInfo::rebound() {
    if (!zelMarkedForDeletion())
        owner()->incUpdatedFieldCount();
    resync();
}

void IntxInfoChangeSm::ZelMstiN::zelDoZombieReactors(bool zombie) {
    if (zombie == zelMarkedForDeletion())
        return;
    if (watched())
        hasNotificationActiveIs(!zombie);
    zel_handleMstiN();
    zelMarkedForDeletionIs(zombie);
}

IntxInfoChangeSm::Ptr intxInfoChangeSmFactory(Zel::Ptr<IntxInfo const> const& intxInfo,
                                              Bridging::VlanIdOrNone vlanId) {
    return IntxInfoChangeSm::IntxInfoChangeSmIs(intxInfo, vlanId);
}

} // namespace Varnol
