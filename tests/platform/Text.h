#pragma once

#include "framework/zel/Trace.h"

#include <string>

/// The text that a value has in a trace.
template <class T> std::string textOf(T const& value) {
    Zel::TraceStream stream;
    stream << value;
    return std::string(stream.text());
}
