#pragma once

#include "framework/zel/Int.h"

namespace Zel::Test {

/// A hash as the hash maps order their elements by it, apart from the library: the upper 16 bits
/// are folded into the lower ones (exclusive or), and of the product with 2,654,435,761 the lowest
/// 32 bits are kept.
constexpr U32 mixedHash(U32 hash) {
    constexpr U64 half = 65'536;
    const U64 upper = hash / half;
    const U64 folded = upper * half + (upper ^ hash % half);
    return static_cast<U32>(folded * 2'654'435'761 % (half * half));
}

} // namespace Zel::Test
