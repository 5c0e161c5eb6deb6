#include "platform/stp/Port.h"

namespace Stp {

constinit Zel::TypeNode const Port::_zelType{"Stp::Port", Zel::attributeTable<Port>};
static const bool registered = Zel::typeNodeIs(Port::_zelType);

} // namespace Stp
