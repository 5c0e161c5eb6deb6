#pragma once

#include "framework/zel/Entity.h"
#include "framework/zel/Object.h"

#include <functional>

/// A reactor that calls a function, which may do anything, also destroy the reactor.
class Watcher final : public Zel::Object<Watcher, Zel::Entity::NotifieeConst> {
  public:
    /// Is given what onAttribute() is given.
    using React = std::function<void(Zel::AttributeId id, void const* key)>;
    static Zel::TypeNode const _zelType;

    explicit Watcher(React react);

    void onAttribute(Zel::AttributeId id, void const* key) override;

  private:
    React react_;
};

/// A new watcher, bound to the entity and active.
Watcher::Ptr watch(Zel::Ptr<Zel::PtrInterface const> const& entity, Watcher::React react);
