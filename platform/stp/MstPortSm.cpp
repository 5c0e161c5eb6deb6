#include "platform/stp/MstPortSm.h"

#include "framework/zel/Exception.h"

namespace Stp {

constinit Zel::TypeNode const MstPortSm::_zelType{"Stp::MstPortSm", Zel::attributeTable<MstPortSm>};
static const bool registered = Zel::typeNodeIs(MstPortSm::_zelType);

MstPortSm::MstPortSm(Port::Ptr port)
    : port_(std::move(port)) {
    if (!port_)
        Zel::throwRangeException("a port state machine without a port is not allowed");
}

} // namespace Stp
