#pragma once

#include "framework/zel/Attribute.h"

namespace Zel {

/// Writes every scalar attribute of one entity into another, in the order of declaration, without
/// comparing first; each write notifies. Keys, collections and maps are left alone.
/// @param from  null for the zero value of each type
template <class E> void copyScalars(E const* from, E& to) {
    // Where there is no one to be notified, nothing else can run between the writes.
    if (from && to.notifieeList()->empty()) {
        forEachAttribute<E>([&](auto attribute) {
            using A = decltype(attribute);
            if constexpr (ScalarAttribute<A>)
                A::store(to, A::read(*from));
        });
        return;
    }
    forEachAttribute<E>([&](auto attribute) {
        using A = decltype(attribute);
        if constexpr (ScalarAttribute<A>)
            A::write(to, from ? A::read(*from) : typename A::Value{});
    });
}

} // namespace Zel
