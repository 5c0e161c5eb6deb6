#pragma once

#include <cstdint>

namespace Zel {

///@{
/// Unsigned integers of exactly the width that their name says.
using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;
///@}

} // namespace Zel
