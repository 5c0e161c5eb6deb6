#pragma once

#include "framework/zel/GenericIf.h"
#include "framework/zel/TypeNode.h"

#include <vector>

/// Steps that all walks over trees of unknown classes share.
namespace Zel {

/// One element of a collection, a map of values or child reactors.
struct TreeElement {
    /// Of the type that the attribute declares.
    Value key;
    /// The child, or the entry's value.
    Value object;
};

/// The elements of an attribute that has some, in ascending order of their keys. Throws
/// RangeException when the object has no such attribute.
VARNOL_API std::vector<TreeElement> treeElements(PtrInterface const& object, AttributeId attribute);

/// The value of any other attribute of the object; none when it has no such attribute.
VARNOL_API Value treeValue(PtrInterface const& object, AttributeId attribute);

/// The object's type node. Throws RangeException when its class has no generic attribute interface.
VARNOL_API TypeNode const& treeType(PtrInterface const& object);

/// Whether it is a collection, a map of values or child reactors.
inline bool hasElements(AttributeInfo const& attribute) noexcept {
    return attribute.keyType != nullptr;
}

} // namespace Zel
