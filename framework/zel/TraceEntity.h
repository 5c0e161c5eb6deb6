#pragma once

#include "framework/zel/Attribute.h"
#include "framework/zel/Trace.h"

namespace Zel {

namespace detail {

template <class T> void traceValue(TraceStream& stream, T const& value) {
    if constexpr (std::unsigned_integral<T> && !std::same_as<T, bool>)
        stream << U64{value};
    else
        stream << value;
}

} // namespace detail

/// Writes an entity on one line, from the declarations of its attributes: "name=value" for each, in
/// their order, and for a collection "name={key: {...}, ...}". Null is written as "null".
template <class E> TraceStream& traceEntity(TraceStream& stream, E const* entity) {
    if (!entity)
        return stream << "null";
    const char* separator = "";
    forEachAttribute<E>([&](auto attribute) {
        using A = decltype(attribute);
        stream << std::exchange(separator, " ") << A::name.data() << "=";
        if constexpr (CollectionAttribute<A>) {
            stream << "{";
            const char* comma = "";
            for (auto const& child : A::read(*entity)) {
                stream << std::exchange(comma, ", ");
                detail::traceValue(stream, child->fwkKey());
                stream << ": {";
                traceEntity(stream, child.ptr()) << "}";
            }
            stream << "}";
        } else if constexpr (ValueMapAttribute<A>) {
            stream << "{";
            const char* comma = "";
            for (auto const& node : A::read(*entity)) {
                stream << std::exchange(comma, ", ");
                detail::traceValue(stream, node.key());
                stream << ": ";
                detail::traceValue(stream, node.value());
            }
            stream << "}";
        } else {
            detail::traceValue(stream, A::read(*entity));
        }
    });
    return stream;
}

} // namespace Zel
