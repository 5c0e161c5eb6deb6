#include "framework/zel/Census.h"

#include "framework/zel/NotifieeList.h"
#include "framework/zel/TypeNode.h"

#include <algorithm>

namespace Zel {

Census census() {
    Census census;
    for (TypeNode const* type = lastTypeNode(); type; type = type->previous())
        census.classes.push_back({.name = type->name(),
                                  .live = type->allocations().liveCount(),
                                  .objectSize = type->allocations().objectSize(),
                                  .writes = type->writes()});
    std::ranges::sort(census.classes, {}, &ClassCensus::name);
    census.notificationsDelivered = notificationsDelivered();
    return census;
}

} // namespace Zel
