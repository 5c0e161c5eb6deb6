#pragma once

#include "model/RxStatus.h"

namespace Varnol {

/// Calls visit(attribute) for the scalars of an interface that the receive syncers copy, in the
/// order in which they do.
template <class F> void forEachCopied(F&& visit) {
    visit(RxMstPortStatus::bpduCountAttribute{});
    visit(RxMstPortStatus::rateLimitIntervalAttribute{});
    visit(RxMstPortStatus::rateLimitMaxCountAttribute{});
    visit(RxMstPortStatus::rateLimitEnabledAttribute{});
    visit(RxMstPortStatus::countersAttribute{});
    visit(RxMstPortStatus::localCountersAttribute{});
}

} // namespace Varnol
