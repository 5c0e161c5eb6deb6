#include "platform/stp/StpiPortStatus.h"

#include "framework/zel/TypeNodeOf.h"

namespace Stp {

constinit Zel::TypeNode const StpiPortStatus::_zelType =
    Zel::typeNodeOf<StpiPortStatus>("Stp::StpiPortStatus");
static const bool registered = Zel::typeNodeIs(StpiPortStatus::_zelType);

} // namespace Stp
