#include "framework/zel/TreeWalk.h"

#include "framework/zel/Exception.h"
#include "framework/zel/Strep.h"

#include <algorithm>

namespace Zel {

std::vector<TreeElement> treeElements(PtrInterface const& object, AttributeId attribute) {
    const auto walk = genericIfIterator(object, attribute);
    if (!walk)
        throwRangeException(String("a ")
                                .merge(treeType(object).name(), " has no elements under ",
                                       valueToStrep(U64{attribute}))
                                .c_str());
    std::vector<TreeElement> elements;
    // cppcheck-suppress nullPointerRedundantCheck ; throwRangeException() does not return
    for (; walk->iterNonnull(); walk->iterInc())
        elements.push_back({walk->iterKey(), walk->iterObj()});
    std::ranges::stable_sort(elements, [](TreeElement const& left, TreeElement const& right) {
        return left.key < right.key;
    });
    return elements;
}

Value treeValue(PtrInterface const& object, AttributeId attribute) {
    Value value;
    genericIfAttributeOp(object, attribute, AttributeOp::read, value);
    return value;
}

TypeNode const& treeType(PtrInterface const& object) {
    TypeNode const* const type = object.fwkType();
    if (!type || !type->genericIf())
        throwRangeException(
            String("the class ")
                .merge(type ? type->name() : "of an object", " has no generic attribute interface")
                .c_str());
    // cppcheck-suppress nullPointerRedundantCheck ; the same
    return *type;
}

} // namespace Zel
