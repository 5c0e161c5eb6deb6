#include "tests/model/Journal.h"

#include <utility>

void Journal::watch(Entity const& entity, std::string const& place) { watch(entity, place, false); }

void Journal::follow(Entity const& entity, std::string const& place) {
    TreeText::forEachChild(*entity, [&](Entity const& child, std::string const& key) {
        follow(child, place + key + "/");
    });
    watch(entity, place, true);
}

void Journal::watch(Entity const& entity, std::string const& place, bool children) {
    // The watcher holds the entity while it calls.
    watchers_.push_back(::watch(
        entity, [this, &from = *entity, place, children](Zel::AttributeId id, void const* key) {
            const TreeText::Change change = TreeText::change(from, id, key);
            if (children && change.child)
                follow(change.child, place + change.key + "/");
            const std::string line =
                place + change.what + (form_ == values ? change.value : std::string());
            lines.push_back(line);
            if (look)
                look(line);
        }));
}

void Journal::close() {
    watchers_.clear();
    lines.clear();
}

TreeText::Lines Journal::take() { return std::exchange(lines, {}); }

Watcher::Ptr onWrite(Journal::Entity const& entity,
                     std::function<void(std::string const& write)> react) {
    return watch(entity,
                 [&from = *entity, react = std::move(react)](Zel::AttributeId id, void const* key) {
                     react(TreeText::change(from, id, key).what);
                 });
}
