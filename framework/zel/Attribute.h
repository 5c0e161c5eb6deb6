#pragma once

#include "framework/zel/Int.h"
#include "framework/zel/String.h"

#include <array>
#include <concepts>
#include <cstddef>
#include <span>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>

/// Attributes of entities, as the declarations of Declare.h make them known.
///
/// Each attribute `x` of an entity `E` is described by the type `E::xAttribute` with the static
/// members `id`, `name` and `kind`, the types `Entity` and `Value` (for a collection `Child`, and
/// for what has keys `Key`), `read(entity)`, and, for a scalar, `write(entity, value)`, the
/// mutator, and, of an entity, `store(entity, value)`, which notifies no one. What has keys also
/// has the mutators of its elements. Everything that treats all attributes alike (copy, mirror,
/// count, print, compare) walks these descriptions; no second list of attributes exists.
namespace Zel {

/// Names an attribute within its type. The first attribute has 258, the others follow in the order
/// of declaration.
using AttributeId = U32;

///@{
/// Identifiers 258 to 289 can be declared.
inline constexpr AttributeId firstAttributeId = 258;
inline constexpr AttributeId attributeIdLimit = firstAttributeId + 32;
///@}

/// Which of the declarations made the attribute.
enum class AttributeKind : U8 {
    key,        ///< a value fixed when the entity is made
    scalar,     ///< one value
    collection, ///< child entities, by key
    valueMap,   ///< values, by key
    constant,   ///< one value of a syncer or reactor, which nobody else can write
    reactors,   ///< child reactors, by key
};

/// An identifier as a type: chooses the overload that knows the attribute.
template <AttributeId id> using AttributeTag = std::integral_constant<AttributeId, id>;

/// A key without its type, for those who only show it: a number or a text.
struct KeyView {
    bool isText;           ///< whether `text` is it, or `number`
    U64 number;            ///< 0 for a text
    std::string_view text; ///< the key's own octets; empty for a number
};

/// Of a Key that has a `view()` its text, of another its `value()`.
template <class Key> constexpr KeyView keyView(Key const& key) noexcept {
    if constexpr (requires { key.view(); })
        return {.isText = true, .number = 0, .text = key.view()};
    else
        return {.isText = false, .number = key.value(), .text = {}};
}

/// One row of a type's attribute table.
struct AttributeInfo {
    ///@{
    /// As in the attribute's description.
    AttributeId id;
    std::string_view name;
    AttributeKind kind;
    ///@}
    /// The value's type; of a collection, the child's.
    std::type_info const* valueType;
    /// The key's type; null unless the attribute is a collection or a map of values.
    std::type_info const* keyType;
    /// Shows a key that a notification of the attribute carries; null where there is no key.
    KeyView (*keyView)(void const* key);
};

/// Whether E declares an attribute of that identifier.
template <class E, AttributeId id>
concept HasAttribute = requires {
    E::zelAttribute(AttributeTag<id>{});
};

/// The description of the attribute of E that has this identifier.
template <class E, AttributeId id>
requires HasAttribute<E, id>
using AttributeOf = decltype(E::zelAttribute(AttributeTag<id>{}));

/// It has one value, which can be written.
template <class A>
concept ScalarAttribute = A::kind == AttributeKind::scalar;
/// Its elements are child entities.
template <class A>
concept CollectionAttribute = A::kind == AttributeKind::collection;
/// Its elements are values.
template <class A>
concept ValueMapAttribute = A::kind == AttributeKind::valueMap;
/// Its elements are child reactors or syncers.
template <class A>
concept ReactorsAttribute = A::kind == AttributeKind::reactors;
/// It has elements by key.
template <class A>
concept ElementsAttribute = CollectionAttribute<A> || ValueMapAttribute<A> || ReactorsAttribute<A>;
/// Its notifications carry the key of an element.
template <class A>
concept KeyedAttribute = CollectionAttribute<A> || ValueMapAttribute<A>;

namespace detail {

template <class E, AttributeId id, class F> constexpr void visitAttribute(F& visit) {
    if constexpr (HasAttribute<E, id>)
        visit(AttributeOf<E, id>{});
}

/// dispatchAttribute() among the attributes from this identifier on.
template <class E, AttributeId id, class F>
[[gnu::always_inline]] constexpr bool dispatchAttributeFrom(AttributeId wanted, F& visit) {
    if constexpr (id == attributeIdLimit) {
        return false;
    } else {
        if constexpr (HasAttribute<E, id>) {
            if (wanted == id) {
                visit(AttributeOf<E, id>{});
                return true;
            }
        }
        return dispatchAttributeFrom<E, id + 1>(wanted, visit);
    }
}

using AttributeRange = std::make_integer_sequence<AttributeId, attributeIdLimit - firstAttributeId>;

} // namespace detail

/// Calls visit(description) for each attribute of E, in the order of declaration.
template <class E, class F> constexpr void forEachAttribute(F&& visit) {
    [&]<AttributeId... offset>(std::integer_sequence<AttributeId, offset...>) {
        (detail::visitAttribute<E, firstAttributeId + offset>(visit), ...);
    }
    (detail::AttributeRange{});
}

/// Calls visit(description) for the attribute of E that has the identifier.
/// @return whether there is one
template <class E, class F> constexpr bool dispatchAttribute(AttributeId id, F&& visit) {
    return detail::dispatchAttributeFrom<E, firstAttributeId>(id, visit);
}

/// The row of the attribute that A describes.
template <class A> constexpr AttributeInfo attributeInfo() {
    if constexpr (KeyedAttribute<A>) {
        using Key = typename A::Key;
        constexpr auto view = [](void const* key) {
            return keyView(*static_cast<Key const*>(key));
        };
        if constexpr (CollectionAttribute<A>) {
            return {A::id, A::name, A::kind, &typeid(typename A::Child), &typeid(Key), view};
        } else {
            return {A::id, A::name, A::kind, &typeid(typename A::Value), &typeid(Key), view};
        }
    } else if constexpr (ReactorsAttribute<A>) {
        return {A::id,  A::name, A::kind, &typeid(typename A::Child), &typeid(typename A::Key),
                nullptr};
    } else {
        return {A::id, A::name, A::kind, &typeid(typename A::Value), nullptr, nullptr};
    }
}

namespace detail {

template <class E> constexpr std::size_t attributeCount() {
    std::size_t count = 0;
    forEachAttribute<E>([&](auto) { ++count; });
    return count;
}

template <class E> constexpr auto makeAttributeTable() {
    std::array<AttributeInfo, attributeCount<E>()> table{};
    std::size_t row = 0;
    forEachAttribute<E>(
        [&](auto attribute) { table[row++] = attributeInfo<decltype(attribute)>(); });
    return table;
}

} // namespace detail

/// The attributes of E as a table, in ascending order of identifiers; empty for a class without.
template <class E> inline constexpr auto attributeTable = detail::makeAttributeTable<E>();

/// How a mutator takes a value: small ones and strings by value, others by reference.
template <class T>
using MutatorArg =
    std::conditional_t<sizeof(T) <= sizeof(U32) || std::same_as<T, String>, T, T const&>;

} // namespace Zel
