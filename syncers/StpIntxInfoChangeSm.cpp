#include "syncers/IntxInfoChangeSm.h"

namespace Varnol {

namespace {
[[maybe_unused]] const bool registered[] = {
    Zel::typeNodeIs(IntxInfoChangeSm::_zelType),
    Zel::typeNodeIs(IntxInfoChangeSm::ZelIntxInfo::_zelType),
    Zel::typeNodeIs(IntxInfoChangeSm::ZelMstiN::_zelType),
};
} // namespace

IntxInfoChangeSm::IntxInfoChangeSm(Zel::Ptr<IntxInfo const> const& intxInfo,
                                   Bridging::VlanIdOrNone vlanId)
    : vlanId_(vlanId) {
    construct([&] {
        sourceStart(intxInfo);
        updatedFieldCountIs(1);
        if (intxInfo)
            mstiN_.resync(*this, intxInfo);
    });
}

IntxInfoChangeSm::~IntxInfoChangeSm() { tearDown(); }

IntxInfoChangeSm::Ptr IntxInfoChangeSm::IntxInfoChangeSmIs(Zel::Ptr<IntxInfo const> const& intxInfo,
                                                           Bridging::VlanIdOrNone vlanId) {
    return Zel::newActive<IntxInfoChangeSm>(intxInfo, vlanId);
}

ZEL_DEFINE_CHILD_REACTORS(IntxInfoChangeSm, mstiN)

// Counted last: where the rest throws, all of it is done again.
void IntxInfoChangeSm::ZelIntxInfo::rebound() {
    resync();
    if (!zelMarkedForDeletion())
        owner()->incUpdatedFieldCount();
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
