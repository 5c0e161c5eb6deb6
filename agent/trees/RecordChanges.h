#pragma once

#include "framework/zel/Trace.h"
#include "model/IntxInfo.h"

#include <algorithm>
#include <concepts>
#include <string>
#include <vector>

namespace Agent {

/// A value as the library prints it; octets of a neighbour's text that a terminal or JSON might not
/// bear appear as '?'.
template <class T> std::string valueText(T const& value) {
    Zel::TraceStream stream;
    if constexpr (std::unsigned_integral<T> && !std::same_as<T, bool>)
        stream << Zel::U64{value};
    else
        stream << value;
    std::string text(stream.text());
    std::ranges::replace_if(
        text, [](char c) { return c < 0x20 || c > 0x7e; }, '?');
    return text;
}

/// A field of a record that took another value.
struct FieldChange {
    std::string name; ///< of the attribute, with the instance before it unless it is the CIST
    std::string before;
    std::string after;
};

/// Makes a record equal to another by writing what differs, and nothing else, so that the record's
/// reactors hear of changes only; the library's own copyIntxInfo() writes everything.
/// @return what was changed; an entry that came or went is one change
std::vector<FieldChange> writeChanges(Varnol::IntxInfo const& source,
                                      Varnol::IntxInfo::Ptr const& record);

} // namespace Agent
