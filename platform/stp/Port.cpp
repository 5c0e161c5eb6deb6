#include "platform/stp/Port.h"

#include "framework/zel/TypeNodeOf.h"

namespace Stp {

constinit Zel::TypeNode const Port::_zelType = Zel::typeNodeOf<Port>("Stp::Port");
static const bool registered = Zel::typeNodeIs(Port::_zelType);

} // namespace Stp
