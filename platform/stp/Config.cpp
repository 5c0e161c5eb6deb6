#include "platform/stp/Config.h"

namespace Stp {

constinit Zel::TypeNode const Config::_zelType{"Stp::Config", Zel::attributeTable<Config>};
static const bool registered = Zel::typeNodeIs(Config::_zelType);

} // namespace Stp
