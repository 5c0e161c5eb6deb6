#include "framework/zel/TraceRegistry.h"

#include <algorithm>
#include <type_traits>

namespace Zel {

constinit TraceRegistry traceRegistry;
static_assert(std::is_trivially_destructible_v<TraceRegistry>);

U32 TraceRegistry::add(TraceHandle& handle) noexcept {
    const std::lock_guard lock(mutex_);
    const U32 mask = handle.mask_.load(std::memory_order_relaxed);
    if ((mask & TraceHandle::unregistered) == 0)
        return mask;
    handle.next_ = handles_;
    handles_ = &handle;
    const U32 levels = decided(handle.name(), mask & ~TraceHandle::unregistered);
    handle.mask_.store(levels, std::memory_order_relaxed);
    return levels;
}

void TraceRegistry::remove(TraceHandle& handle) noexcept {
    const std::lock_guard lock(mutex_);
    for (TraceHandle** link = &handles_; *link; link = &(*link)->next_) {
        if (*link == &handle) {
            *link = handle.next_;
            break;
        }
    }
    // Statements that run after the handle's end, as the process exits, stay silent.
    handle.mask_.store(0, std::memory_order_relaxed);
}

void TraceRegistry::levelIs(std::string_view name, U32 bit, bool on) {
    const std::lock_guard lock(mutex_);
    Settings& all = made();
    const auto former = std::ranges::find_if(all, [name](TraceSetting const& setting) {
        return setting.isName && setting.pattern == name;
    });
    if (former == all.end()) {
        all.push_back({std::string(name), true, 0, 0});
    } else {
        // Nothing later decides the name's levels: a pattern that did has made its setting void.
        all.splice(all.end(), all, former);
    }
    TraceSetting& setting = all.back();
    setting.on = on ? setting.on | bit : setting.on & ~bit;
    setting.off = on ? setting.off & ~bit : setting.off | bit;

    for (TraceHandle* handle = handles_; handle; handle = handle->next_) {
        if (handle->name() != name)
            continue;
        if (on)
            handle->mask_.fetch_or(bit, std::memory_order_relaxed);
        else
            handle->mask_.fetch_and(~bit, std::memory_order_relaxed);
    }
}

bool TraceRegistry::level(std::string_view name, U32 bit) noexcept {
    const std::lock_guard lock(mutex_);
    return (decided(name, 0) & bit) != 0;
}

void TraceRegistry::settingsAre(Settings settings) {
    const std::lock_guard lock(mutex_);
    Settings& all = made();
    // Nothing is thrown from here on. A setting is void once the later pattern, which decides each
    // level, matches the earlier one's text: what `*` stands for there, it can stand for here.
    while (!settings.empty()) {
        TraceSetting const& setting = settings.front();
        all.remove_if([&](TraceSetting const& former) { return setting.matches(former.pattern); });
        all.splice(all.end(), settings, settings.begin());
    }
    for (TraceHandle* handle = handles_; handle; handle = handle->next_)
        handle->mask_.store(decided(handle->name(), handle->mask_.load(std::memory_order_relaxed)),
                            std::memory_order_relaxed);
}

TraceRegistry::Settings TraceRegistry::settings() {
    const std::lock_guard lock(mutex_);
    return settings_ ? *settings_ : Settings();
}

std::vector<TraceHandleLevels> TraceRegistry::handles() {
    const std::lock_guard lock(mutex_);
    std::vector<TraceHandleLevels> all;
    for (TraceHandle const* handle = handles_; handle; handle = handle->next_)
        all.push_back({std::string(handle->name()), handle->mask_.load(std::memory_order_relaxed)});
    return all;
}

TraceRegistry::Settings& TraceRegistry::made() {
    if (!settings_)
        settings_ = new Settings;
    return *settings_;
}

/// Those levels, as the settings leave them for handles of that name.
U32 TraceRegistry::decided(std::string_view name, U32 levels) const noexcept {
    if (settings_)
        for (TraceSetting const& setting : *settings_)
            if (setting.matches(name))
                levels = (levels & ~setting.off) | setting.on;
    return levels;
}

} // namespace Zel
