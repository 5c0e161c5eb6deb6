#pragma once

#include "framework/zel/Int.h"

#include <string>
#include <string_view>

namespace Zel {

/// Appends a text that is to stay in its line: a '?' for each control character, and every other
/// octet as it is.
inline void appendPrintable(std::string& to, std::string_view text) {
    for (const char c : text)
        to += static_cast<U8>(c) < ' ' || c == 0x7f ? '?' : c;
}

} // namespace Zel
