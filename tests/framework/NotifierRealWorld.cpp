#include "tests/framework/NotifierRealWorld.h"

namespace Notifying {

constinit Zel::TypeNode const RealWorld::Subject::_zelType{"Subject",
                                                           Zel::attributeTable<RealWorld::Subject>};
constinit Zel::TypeNode const RealWorld::Reactor::_zelType{"Reactor", {}};

} // namespace Notifying
