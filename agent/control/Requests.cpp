#include "agent/control/Requests.h"

#include "agent/control/JsonView.h"
#include "agent/control/TextView.h"
#include "framework/zel/TraceLevels.h"

#include <algorithm>
#include <sstream>
#include <vector>

namespace Agent {
namespace {

/// What a client sent, fit to be shown.
std::string shown(std::string text) {
    std::ranges::replace_if(
        text, [](char c) { return c < 0x20 || c > 0x7e; }, '?');
    return text;
}

Answer error(std::string const& text) { return {Answer::Kind::error, shown(text) + "\n"}; }
Answer unknownPort(Bridge const& bridge, std::string const& name) {
    std::string names;
    for (Port const& port : bridge.ports())
        names += " " + port.name;
    return error("no port '" + name + "'; there are:" + names);
}

/// Takes a word off the end, if it is there.
bool take(std::vector<std::string>& words, std::string_view word) {
    const bool there = !words.empty() && words.back() == word;
    if (there)
        words.pop_back();
    return there;
}

Answer show(AgentView const& view, std::vector<std::string> words) {
    const bool json = take(words, "json");
    const auto text = [](std::string shown) {
        return Answer{Answer::Kind::text, std::move(shown)};
    };
    if (words == std::vector<std::string>{"trees"})
        return text(json ? treesJson(view) : treesText(view));
    if (words == std::vector<std::string>{"mirror"})
        return text(json ? mirrorJson(view) : mirrorText(view));
    if (words == std::vector<std::string>{"traces"})
        return text(json ? tracesJson(tracesView()) : tracesText(tracesView()));
    if (words.size() == 2 && words[0] == "bpdu") {
        Port const* const port = view.bridge.port(words[1]);
        if (!port)
            return unknownPort(view.bridge, words[1]);
        return text(json ? bpduJson(view, *port) : bpduText(view, *port));
    }
    const bool detail = take(words, "detail");
    if (words.size() > 1)
        return error("show what? [PORT] [detail], trees, mirror, traces, or bpdu PORT");
    Port const* only = nullptr;
    if (!words.empty() && !(only = view.bridge.port(words[0])))
        return unknownPort(view.bridge, words[0]);
    return text(json ? showJson(view, only) : showText(view, only, detail));
}

} // namespace

std::string checkSetting(std::string_view name, std::string_view value) {
    Settings ignored;
    return name == "trace" ? checkTraces(value) : settingIs(ignored, name, value, ", trace");
}

Answer answer(Bridge& bridge, ControlCounts const& counts, Time now, std::string_view request) {
    std::istringstream stream{std::string(request)};
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    const std::string command = words.empty() ? "" : words.front();
    if (command == "show")
        return show({bridge, now, counts, census()}, {words.begin() + 1, words.end()});
    if (command == "watch" && words.size() == 1)
        return {Answer::Kind::watch, {}};
    if (command == "set" && words.size() == 3) {
        if (const std::string wrong = checkSetting(words[1], words[2]); !wrong.empty())
            return error(wrong);
        if (words[1] == "trace") {
            Zel::traceSettingsAre(words[2]);
        } else {
            Settings settings = bridge.settings();
            settingIs(settings, words[1], words[2]);
            bridge.settingsIs(settings, now);
        }
        return {Answer::Kind::text, {}};
    }
    return error("'" + std::string(request) + "' is no request; there are: show, watch, set");
}

} // namespace Agent
