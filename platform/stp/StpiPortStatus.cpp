#include "platform/stp/StpiPortStatus.h"

namespace Stp {

constinit Zel::TypeNode const StpiPortStatus::_zelType{"Stp::StpiPortStatus",
                                                       Zel::attributeTable<StpiPortStatus>};
static const bool registered = Zel::typeNodeIs(StpiPortStatus::_zelType);

} // namespace Stp
