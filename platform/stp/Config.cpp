#include "platform/stp/Config.h"

#include "framework/zel/TypeNodeOf.h"

namespace Stp {

constinit Zel::TypeNode const Config::_zelType = Zel::typeNodeOf<Config>("Stp::Config");
static const bool registered = Zel::typeNodeIs(Config::_zelType);

} // namespace Stp
