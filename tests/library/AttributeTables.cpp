/// Prints docs/reference/attributes.md: what each class of the library says of itself through the
/// generic attribute interface.

#include "framework/zel/Strep.h"
#include "framework/zel/TypeNode.h"

#include <algorithm>
#include <iostream>
#include <string_view>
#include <vector>

namespace {

/// What an attribute of a kind is, for a reader of the tables.
std::string_view kindText(Zel::AttributeKind kind) {
    switch (kind) {
    case Zel::AttributeKind::key:
        return "key";
    case Zel::AttributeKind::scalar:
        return "value";
    case Zel::AttributeKind::collection:
        return "children by key";
    case Zel::AttributeKind::valueMap:
        return "values by key";
    case Zel::AttributeKind::constant:
        return "constant";
    case Zel::AttributeKind::reactors:
        return "reactors by key";
    }
    return {};
}

std::vector<Zel::TypeNode const*> classesWithAttributes() {
    std::vector<Zel::TypeNode const*> classes;
    for (Zel::TypeNode const* type = Zel::lastTypeNode(); type; type = type->previous()) {
        if (!type->attributes().empty())
            classes.push_back(type);
    }
    std::ranges::sort(classes, {}, &Zel::TypeNode::name);
    return classes;
}

} // namespace

int main() {
    std::cout << R"(# Classes and their attributes

What each class of the library says of itself while a program runs: `genericIf...` of
[GenericIf.h](../../framework/zel/GenericIf.h) reads, writes and walks attributes by these identifiers,
and a notification carries them. Written by `./dev reference`.

- **key**: fixed when the entity is made. **value**: read and written. **values by key**, **children
  by key** and **reactors by key**: collections, of which the table gives the elements' type.
  **constant**: what a reactor or syncer holds on to.
)";
    for (Zel::TypeNode const* type : classesWithAttributes()) {
        std::cout << "\n## " << type->name() << "\n\n"
                  << "| Identifier | Attribute | Kind | Type | Key's type |\n"
                  << "| ---: | --- | --- | --- | --- |\n";
        for (Zel::AttributeInfo const& attribute : type->attributes()) {
            std::cout << "| " << attribute.id << " | `" << attribute.name << "` | "
                      << kindText(attribute.kind) << " | `"
                      << Zel::typeName(*attribute.valueType).view() << "` | ";
            if (attribute.keyType)
                std::cout << "`" << Zel::typeName(*attribute.keyType).view() << "` ";
            std::cout << "|\n";
        }
    }
}
