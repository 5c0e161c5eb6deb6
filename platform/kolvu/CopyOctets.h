#pragma once

#include "framework/zel/Int.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <type_traits>

namespace Kolvu {

/// Copies octets between places that do not overlap: a few moves where the standard algorithms,
/// which allow for overlap, become a loop or a call.
template <std::size_t size>
constexpr void copyOctets(std::span<Zel::U8 const, size> from,
                          std::span<Zel::U8, size> to) noexcept {
    if (std::is_constant_evaluated())
        std::ranges::copy(from, to.begin()); // not covered: runs only in the compiler
    else
        std::memcpy(to.data(), from.data(), size);
}

} // namespace Kolvu
