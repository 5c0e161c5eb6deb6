#pragma once

#include "framework/zel/Trace.h"

#include <concepts>
#include <string>

namespace Examples {

/// A value as the library prints it; a string in quotes, an interface by its short name.
template <class T> std::string text(T const& value) {
    Zel::TraceStream stream;
    if constexpr (requires { value.shortName(); })
        stream << value.shortName();
    else if constexpr (std::same_as<T, Zel::String>)
        stream << "\"" << value << "\"";
    else if constexpr (std::unsigned_integral<T> && !std::same_as<T, bool>)
        stream << Zel::U64{value};
    else
        stream << value;
    return std::string(stream.text());
}

} // namespace Examples
