#include "framework/zel/TypeNode.h"

namespace Zel {
namespace {

constinit TypeNode const* last = nullptr;

} // namespace

bool typeNodeIs(TypeNode const& type) noexcept {
    if (!type.registered_) {
        type.registered_ = true;
        type.previous_ = last;
        last = &type;
    }
    return true;
}

TypeNode const* lastTypeNode() noexcept { return last; }

TypeNode const* typeNode(std::string_view name) noexcept {
    TypeNode const* type = last;
    while (type && type->name() != name)
        type = type->previous();
    return type;
}

} // namespace Zel
