#include "agent/trees/Mirrors.h"

#include "framework/zel/TypeNode.h"

#include <algorithm>
#include <utility>

namespace Agent {
namespace {

/// Whether a class is the outer one, or nested in it.
bool isOf(std::string_view name, std::string_view outer) {
    return name.starts_with(outer) &&
           (name.size() == outer.size() || name.substr(outer.size()).starts_with("::"));
}

} // namespace

void Mirrors::add(std::string_view name, std::vector<std::string_view> syncers,
                  std::function<Zel::Differences()> compare) {
    const Zel::U64 writes = writesOf(syncers);
    mirrors_.push_back({name, std::move(syncers), std::move(compare), writes, std::nullopt});
}

void Mirrors::notice(Time now) {
    for (Mirror& mirror : mirrors_) {
        const Zel::U64 writes = writesOf(mirror.syncers);
        if (std::exchange(mirror.writes, writes) != writes)
            mirror.lastChange = now;
    }
}

std::vector<MirrorState> Mirrors::states() const {
    std::vector<MirrorState> states;
    for (Mirror const& mirror : mirrors_)
        states.push_back({mirror.name, mirror.writes, mirror.lastChange, mirror.compare()});
    return states;
}

Zel::U64 Mirrors::writesOf(std::span<std::string_view const> syncers) noexcept {
    Zel::U64 writes = 0;
    for (Zel::TypeNode const* type = Zel::lastTypeNode(); type; type = type->previous()) {
        if (std::ranges::any_of(syncers, [&](auto outer) { return isOf(type->name(), outer); }))
            writes += type->writes();
    }
    return writes;
}

} // namespace Agent
