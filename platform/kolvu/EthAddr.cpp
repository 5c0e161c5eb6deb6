#include "platform/kolvu/EthAddr.h"

#include "framework/zel/Exception.h"
#include "framework/zel/Trace.h"

#include <charconv>
#include <optional>

namespace Kolvu {
namespace {

constexpr std::size_t textSize = 3 * EthAddr::wireOctets - 1;

/// Reads "00:1c:73:0a:0b:0c"; nothing for a text of any other form.
std::optional<EthAddr> parsed(std::string_view text) noexcept {
    if (text.size() != textSize || (text[2] != ':' && text[2] != '-'))
        return std::nullopt;
    EthAddr::Octets octets;
    for (std::size_t i = 0; i < octets.size(); ++i) {
        const char* pair = text.data() + 3 * i;
        const char* end = pair + 2;
        if (i != 0 && pair[-1] != text[2])
            return std::nullopt;
        if (std::from_chars(pair, end, octets[i], 16).ptr != end)
            return std::nullopt;
    }
    return EthAddr::decode(octets);
}

} // namespace

EthAddr EthAddr::parse(std::string_view text) {
    if (const auto address = parsed(text))
        return *address;
    Zel::throwRangeException(
        Zel::String("\"")
            .merge(text, "\" is not a MAC address (six pairs of hexadecimal digits, with colons "
                         "or hyphens between them)")
            .c_str());
}

Zel::TraceStream& operator<<(Zel::TraceStream& stream, EthAddr const& address) {
    static constexpr char digits[] = "0123456789abcdef";
    char text[textSize + 1];
    char* next = text;
    for (U8 octet : address.octets_) {
        *next++ = digits[octet >> 4];
        *next++ = digits[octet & 0xf];
        *next++ = ':';
    }
    text[textSize] = '\0';
    return stream << static_cast<const char*>(text);
}

} // namespace Kolvu
