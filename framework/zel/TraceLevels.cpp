#include "framework/zel/TraceLevels.h"

#include "framework/zel/Exception.h"
#include "framework/zel/Printable.h"
#include "framework/zel/TraceRegistry.h"

#include <algorithm>
#include <iterator>
#include <tuple>

namespace Zel {
namespace {

constexpr U32 allLevels = (U32{2} << TraceLevel::highest) - 1;

/// Whether a text is one that the pattern stands for. A star takes no more than it has to; should
/// the rest not match, the latest star takes one octet more.
bool matchesPattern(std::string const& pattern, std::string_view text) noexcept {
    std::size_t p = 0;
    std::size_t t = 0;
    std::size_t star = pattern.npos;
    std::size_t taken = 0; // where what follows the star was tried
    while (t < text.size()) {
        // cppcheck-suppress containerOutOfBounds ; the octet at a string's size is a zero
        if (pattern[p] == '*') {
            star = p++;
            taken = t;
        } else if (p < pattern.size() && pattern[p] == text[t]) {
            ++p;
            ++t;
        } else if (star != pattern.npos) {
            p = star;
            t = ++taken;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == pattern.npos;
}

/// @param at  index of the octet where it is
[[noreturn]] void wrong(std::size_t at, std::string_view before, std::string_view octets,
                        std::string_view after) {
    std::string text = "trace levels, octet " + std::to_string(at + 1) + ": ";
    text += before;
    appendPrintable(text, octets);
    text += after;
    throw RangeException(text);
}

/// @param text   one pattern/level
/// @param begin  where it begins in the whole text
TraceSetting settingOf(std::string_view text, std::size_t begin) {
    if (text.empty())
        wrong(begin, "nothing is there; allowed: pattern/level, as Stp*/8", "", "");
    const std::size_t slash = text.rfind('/');
    if (slash == text.npos)
        wrong(begin, "'", text, "' has no level; allowed: pattern/level, as Stp*/8");
    if (slash == 0)
        wrong(begin, "no pattern is there; allowed: pattern/level, as Stp*/8", "", "");
    const std::string_view pattern = text.substr(0, slash);
    const auto bad = std::ranges::find_if(
        pattern, [](char c) { return static_cast<U8>(c) <= ' ' || c == 0x7f; });
    if (bad != pattern.end())
        wrong(begin + static_cast<std::size_t>(bad - pattern.begin()),
              "a blank or control character is in a pattern", "", "");

    const std::string_view level = text.substr(slash + 1);
    U32 on = 0;
    if (level.size() == 1 && static_cast<unsigned>(level[0] - '0') <= TraceLevel::highest)
        on = (U32{2} << (level[0] - '0')) - 1;
    else if (level != "off")
        wrong(begin + slash + 1, "'", level, "' is no level; allowed: 0 to 9, or off");
    return {std::string(pattern), pattern.find('*') == pattern.npos, on, allLevels & ~on};
}

} // namespace

bool TraceSetting::matches(std::string_view handle) const noexcept {
    return isName ? handle == pattern : matchesPattern(pattern, handle);
}

std::vector<TraceSetting> traceSettingsOf(std::string_view text) {
    std::vector<TraceSetting> settings;
    for (std::size_t begin = 0;;) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        settings.push_back(settingOf(text.substr(begin, end - begin), begin));
        if (end == text.size())
            return settings;
        begin = end + 1;
    }
}

void traceSettingsAre(std::string_view text) {
    std::vector<TraceSetting> settings = traceSettingsOf(text);
    traceRegistry.settingsAre(
        {std::make_move_iterator(settings.begin()), std::make_move_iterator(settings.end())});
}

std::vector<TraceSetting> traceSettings() {
    TraceRegistry::Settings settings = traceRegistry.settings();
    return {std::make_move_iterator(settings.begin()), std::make_move_iterator(settings.end())};
}

std::vector<TraceHandleLevels> traceHandles() {
    std::vector<TraceHandleLevels> handles = traceRegistry.handles();
    const auto order = [](TraceHandleLevels const& handle) {
        return std::tie(handle.handle, handle.on);
    };
    std::ranges::sort(handles, {}, order);
    handles.erase(std::unique(handles.begin(), handles.end()), handles.end());
    return handles;
}

} // namespace Zel
