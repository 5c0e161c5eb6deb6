#include "tests/framework/Watcher.h"

#include <utility>

constinit Zel::TypeNode const Watcher::_zelType{"Watcher", {}};

Watcher::Watcher(React react)
    : react_(std::move(react)) {}

void Watcher::onAttribute(Zel::AttributeId id, void const* key) {
    const Ptr alive(this);
    react_(id, key);
}

Watcher::Ptr watch(Zel::Ptr<Zel::PtrInterface const> const& entity, Watcher::React react) {
    auto watcher = Zel::newActive<Watcher>(std::move(react));
    watcher->notifierIs(entity);
    return watcher;
}
