#include "tools/trace/Text.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include <time.h>

namespace TraceTool {
namespace {

unsigned octetAt(std::string_view text, std::size_t at) {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
}

/// How many octets the character has that the text begins with; 0: none that is UTF-8 and
/// printable.
std::size_t characterSize(std::string_view text) {
    const unsigned first = octetAt(text, 0);
    if (first < 0x80)
        return first >= 0x20 && first != 0x7f ? 1 : 0;
    const std::size_t size = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4)
        return 0;
    for (std::size_t i = 1; i < size; ++i)
        if (octetAt(text, i) >> 6 != 2)
            return 0;
    const unsigned second = octetAt(text, 1);
    const bool wrong = (first == 0xc2 && second < 0xa0)     // control characters
                       || (first == 0xe0 && second < 0xa0)  // overlong
                       || (first == 0xed && second >= 0xa0) // surrogates
                       || (first == 0xf0 && second < 0x90)  // overlong
                       || (first == 0xf4 && second >= 0x90);
    return wrong ? 0 : size;
}

std::string octetText(unsigned octet) {
    switch (octet) {
    case '\n':
        return "\\n";
    case '\t':
        return "\\t";
    case '\r':
        return "\\r";
    default:
        break;
    }
    std::array<char, 8> text;
    std::snprintf(text.data(), text.size(), "\\x%02x", octet & 0xff);
    return text.data();
}

std::string decimals(U64 value, unsigned divisor, int digits) {
    std::array<char, 48> text;
    std::snprintf(text.data(), text.size(), "%llu.%0*llu",
                  static_cast<unsigned long long>(value / divisor), digits,
                  static_cast<unsigned long long>(value % divisor));
    return text.data();
}

} // namespace

std::string escaped(std::string_view text, std::size_t limit) {
    std::string result;
    while (!text.empty()) {
        const std::size_t size = characterSize(text);
        const std::string piece =
            size != 0 ? std::string(text.substr(0, size)) : octetText(octetAt(text, 0));
        if (result.size() + piece.size() > limit)
            return result + "...";
        result += piece;
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return result;
}

std::string durationText(U64 nanoseconds) {
    constexpr U64 tenSeconds = 10'000'000'000;
    return nanoseconds < tenSeconds ? decimals(nanoseconds, 1000, 3) + " us"
                                    : decimals(nanoseconds / 1'000'000, 1000, 3) + " s";
}

long long realtime(Trace const& trace, U64 time) {
    // No sum of times that a reader leaves in a trace overflows.
    constexpr U64 highest = U64{1} << 62;
    if (trace.header.attachedAt > highest || trace.header.attachedAtRealtime > highest)
        return -1;
    return static_cast<long long>(trace.header.attachedAtRealtime) -
           static_cast<long long>(trace.header.attachedAt) +
           static_cast<long long>(std::min(time, highest));
}

std::string timeText(Trace const& trace, U64 time) {
    const long long nanoseconds = realtime(trace, time);
    const time_t seconds = static_cast<time_t>(nanoseconds / 1'000'000'000);
    tm parts;
    if (nanoseconds < 0 || !::gmtime_r(&seconds, &parts))
        return "at " + std::to_string(time) + " ns";
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d.%09lld",
                  parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour,
                  parts.tm_min, parts.tm_sec, nanoseconds % 1'000'000'000);
    return text.data();
}

std::string indentation(U64 levels) {
    constexpr U64 mostLevels = 40;
    return std::string(static_cast<std::size_t>(2 * std::min(levels, mostLevels)), ' ');
}

std::string toTheRight(std::string_view text, std::size_t width) {
    return std::string(width - std::min(width, text.size()), ' ').append(text);
}

std::string toTheLeft(std::string_view text, std::size_t width) {
    return std::string(text).append(width - std::min(width, text.size()), ' ');
}

} // namespace TraceTool
