#include "framework/zel/Entity.h"

#include "framework/zel/Exception.h"
#include "framework/zel/TypeNode.h"

namespace Zel {

Entity::~Entity() = default;
Entity::NotifieeConst::~NotifieeConst() = default;

void notifierOfOtherClass(PtrInterface const& given, TypeNode const& expected) {
    throwRangeException(String("a reactor on ")
                            .merge(expected.name(), " cannot watch a ", given.fwkType()->name())
                            .c_str());
}

} // namespace Zel
