#pragma once

#include "framework/zel/Int.h"

#include <cstddef>
#include <span>
#include <string_view>
#include <tuple>
#include <utility>

/// Tables of the fields of a frame part, in the order of the wire: what reads, writes or prints it
/// finds the fields there.
///
/// A layout is a struct with two static members: `fields`, a tuple of Field, and `octets`, the sum
/// of their sizes. static_assert(isContiguous<Layout>()) holds it to that.
namespace Kolvu::WireLayout {

/// A field: its name in the standard, and its octets counted from the first of the layout.
/// @tparam V  the field's value, which encodes and decodes itself
template <class V> struct Field {
    /// Octets that a value takes.
    static constexpr std::size_t wireOctets = V::wireOctets;

    const char* name;   ///< as the standard has it
    std::size_t offset; ///< in octets
    std::size_t size;   ///< in octets

    ///@{
    /// Reads or writes the field, given the octets of the whole layout.
    template <std::size_t octets>
    constexpr V decode(std::span<Zel::U8 const, octets> from) const noexcept {
        return V::decode(std::span<Zel::U8 const, V::wireOctets>(&from[offset], size));
    }
    template <std::size_t octets>
    constexpr void encode(V const& value, std::span<Zel::U8, octets> to) const noexcept {
        value.encode(std::span<Zel::U8, V::wireOctets>(&to[offset], size));
    }
    ///@}
};

/// Whether each field begins where the one before it ends and is as long as its value, and the
/// last one ends with the layout.
template <class Layout> constexpr bool isContiguous() {
    std::size_t end = 0;
    bool contiguous = true;
    const auto require = [&](bool holds) {
        if (!holds)
            contiguous = false;
    };
    const auto append = [&](auto const& field) {
        require(field.offset == end);
        require(field.size == field.wireOctets);
        end = field.offset + field.size;
    };
    std::apply([&](auto const&... field) { (append(field), ...); }, Layout::fields);
    require(end == Layout::octets);
    return contiguous;
}

/// The place of a field in a layout, made from its name.
template <class Layout> struct Place {
    std::size_t index = 0; ///< in `fields`

    /// A string literal stands for its place; one that no field has for the place after the last.
    constexpr Place(const char* name) {
        bool found = false;
        const auto pass = [&, name = std::string_view(name)](auto const& field) {
            found = found || name == field.name;
            index += !found;
        };
        std::apply([&](auto const&... field) { (pass(field), ...); }, Layout::fields);
    }
};

/// The field of that name. Does not compile for a name that none has.
template <class Layout, Place<Layout> place>
inline constexpr auto const& field = std::get<place.index>(Layout::fields);

/// Writes all fields, given their values in the order of the wire.
template <class Layout, class... V>
constexpr void encode(std::span<Zel::U8, Layout::octets> to, V const&... value) noexcept {
    std::apply([&](auto const&... field) { (field.encode(value, to), ...); }, Layout::fields);
}

} // namespace Kolvu::WireLayout
