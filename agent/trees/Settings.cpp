#include "agent/trees/Settings.h"

#include <charconv>

namespace Agent {
namespace {

struct Range {
    std::string_view name;
    Zel::U32 least;
    Zel::U32 most;
    Zel::U32 step;
    void (*write)(Settings&, Zel::U32);
};
constexpr Range ranges[] = {
    {"priority", 0, 61440, 4096,
     [](Settings& settings, Zel::U32 value) { settings.priority = static_cast<Zel::U16>(value); }},
    {"cost", 0, 0xffffffff, 1, [](Settings& settings, Zel::U32 value) { settings.cost = value; }},
    {"port-priority", 0, 240, 16,
     [](Settings& settings, Zel::U32 value) {
         settings.portPriority = static_cast<Zel::U8>(value);
     }},
    {"hello", 1, 9, 1,
     [](Settings& settings, Zel::U32 value) { settings.hello = static_cast<Zel::U8>(value); }},
    {"rate-limit", 1, 1'000'000, 1,
     [](Settings& settings, Zel::U32 value) { settings.rateLimit = value; }},
};

} // namespace

std::string settingIs(Settings& settings, std::string_view name, std::string_view value,
                      std::string_view others) {
    std::string names;
    for (Range const& range : ranges) {
        if (range.name != name) {
            names += std::string(names.empty() ? "" : ", ") + std::string(range.name);
            continue;
        }
        Zel::U32 number = 0;
        const auto [end, error] = std::from_chars(value.begin(), value.end(), number);
        if (error == std::errc() && end == value.end() && number >= range.least &&
            number <= range.most && number % range.step == 0) {
            range.write(settings, number);
            return {};
        }
        return std::string(name) + " '" + std::string(value) +
               "' is not allowed; allowed: " + std::to_string(range.least) + " to " +
               std::to_string(range.most) +
               (range.step == 1 ? "" : " in steps of " + std::to_string(range.step));
    }
    return "setting '" + std::string(name) + "' is not known; known: " + names +
           std::string(others);
}

} // namespace Agent
