#pragma once

#include "framework/zel/Int.h"
#include "framework/zel/Name.h"

#include <type_traits>

/// How hash maps hash their keys. Equal keys have equal hashes; the maps spread the bits.
namespace Zel::HashHelper {

/// For keys that are names.
struct KeyStringLegacy {
    /// Zel::Name::hash().
    static U32 hash(Name const& name) noexcept { return name.hash(); }
};

/// For keys that have a hash of their own.
struct KeyAndRhashLegacy {
    /// The hash() of the key.
    template <class Key> static U32 hash(Key const& key) noexcept { return key.hash(); }
};

/// The one that suits the key.
template <class Key>
using Default = std::conditional_t<std::is_same_v<Key, Name>, KeyStringLegacy, KeyAndRhashLegacy>;

} // namespace Zel::HashHelper
