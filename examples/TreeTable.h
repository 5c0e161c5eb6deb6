#pragma once

#include "examples/Text.h"
#include "framework/zel/Attribute.h"
#include "framework/zel/Ptr.h"

#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

namespace Examples {

/// Two trees of entities side by side, from the declarations of their attributes.
class TreeTable {
  public:
    explicit TreeTable(std::ostream& out)
        : out_(out) {}

    /// Writes a name, a value of the left tree and one of the right tree, in columns.
    void line(std::string_view name, std::string_view left, std::string_view right);

    /// Writes a line for each child, entry and value that one of the trees has. Values that are
    /// zero, or not there, on both sides are left out.
    /// @param left, right  null where that tree has no such entity
    template <class E> void trees(E const* left, E const* right) {
        ++depth_;
        Zel::forEachAttribute<E>([&](auto attribute) {
            using A = decltype(attribute);
            if constexpr (Zel::CollectionAttribute<A>)
                children<A>(left, right);
            else if constexpr (Zel::ValueMapAttribute<A>)
                entries<A>(left, right);
            else if constexpr (Zel::ScalarAttribute<A>)
                scalar<A>(left, right);
        });
        --depth_;
    }

    /// Whether all that trees() has written was the same on both sides.
    bool equal() const noexcept { return equal_; }

  private:
    /// Nothing where a tree does not have what the line is about.
    using Shown = std::optional<std::string>;

    void compare(std::string_view name, Shown const& left, Shown const& right);

    template <class A, class E> void scalar(E const* left, E const* right) {
        const auto isZero = [](E const* entity) {
            return !entity || A::read(*entity) == typename A::Value{};
        };
        const auto shown = [](E const* entity) {
            return entity ? Shown(text(A::read(*entity))) : std::nullopt;
        };
        if (!isZero(left) || !isZero(right))
            compare(A::name, shown(left), shown(right));
    }

    template <class A, class E> void entries(E const* left, E const* right) {
        struct Both {
            Shown left, right;
        };
        std::map<typename A::Key, Both> all;
        if (left)
            for (auto const& node : A::read(*left))
                all[node.key()].left = text(node.value());
        if (right)
            for (auto const& node : A::read(*right))
                all[node.key()].right = text(node.value());
        for (auto const& [key, both] : all)
            compare(childName<A>(key), both.left, both.right);
    }

    template <class A, class E> void children(E const* left, E const* right) {
        struct Both {
            typename A::Child const *left, *right;
        };
        std::map<typename A::Key, Both> all;
        if (left)
            for (auto const& child : A::read(*left))
                all[child->fwkKey()].left = child.ptr();
        if (right)
            for (auto const& child : A::read(*right))
                all[child->fwkKey()].right = child.ptr();
        const auto shown = [](auto const* child) { return child ? Shown("") : std::nullopt; };
        for (auto const& [key, both] : all) {
            compare(childName<A>(key), shown(both.left), shown(both.right));
            trees(both.left, both.right);
        }
    }

    template <class A> static std::string childName(typename A::Key const& key) {
        return std::string(A::name) + "(" + text(key) + ")";
    }

    std::ostream& out_;
    unsigned depth_ = 0;
    bool equal_ = true;
};

/// Shows two trees side by side, after an empty line and a heading.
/// @return whether they are equal
template <class Root>
bool showTrees(std::ostream& out, std::string_view title, std::string_view leftTitle,
               Root const* left, std::string_view rightTitle, Root const* right) {
    out << "\n";
    TreeTable table(out);
    table.line(title, leftTitle, rightTitle);
    table.trees(left, right);
    return table.equal();
}

} // namespace Examples
