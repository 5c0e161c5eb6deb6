#pragma once

#include "framework/zel/Notifiee.h"

namespace Zel {

/// Base of the state model's entities: objects whose changes reach reactors.
///
/// An entity class declares its attributes with the declarations of Declare.h. Each mutator stores
/// first and then notifies; it touches the entity no more after that, since a reactor may have
/// dropped the last reference to it.
///
/// So a mutator that throws what it met itself, as std::bad_alloc, has changed nothing; where a
/// reactor throws, the change is stored, and the reactors that have not followed it do so when the
/// attribute is notified again, with the same key. Those that have followed it do so once more: one
/// that counts counts twice.
class VARNOL_API Entity : public PtrInterface {
  public:
    class NotifieeConst;

    ~Entity() override;
    NotifieeList* notifieeList() const final { return &notifiees_; }

    /// Tells the bound reactors that an attribute has changed. Mutators call it; a state database
    /// may, for an attribute that changes in other ways.
    /// @param key  as in PtrInterface::NotifieeConst::onAttribute()
    void notify(AttributeId id, void const* key = nullptr) const {
        if (!notifiees_.empty()) [[unlikely]]
            NotifieeList::deliver(*this, id, key);
    }

  protected:
    Entity() noexcept = default;

  private:
    friend NotifieeList;

    mutable NotifieeList notifiees_;
};

/// Base of the reactors on entities.
class VARNOL_API Entity::NotifieeConst : public PtrInterface::NotifieeConst {
  public:
    ~NotifieeConst() override;
};

/// A reactor on an entity of class E; `E::NotifieeConst` for short.
template <class E> class VARNOL_API NotifieeConstOf : public Entity::NotifieeConst {
  public:
    /// The entity watched; null while unbound.
    Zel::Ptr<E const> notifier() const noexcept { return Zel::Ptr<E const>(watched()); }

    /// Binds the reactor to an entity of class E; null unbinds. Throws RangeException, and changes
    /// nothing, for an object of another class.
    void notifierIs(Zel::Ptr<PtrInterface const> const& notifier) override {
        checkClass(notifier.ptr());
        Entity::NotifieeConst::notifierIs(notifier);
    }

  protected:
    /// The same as notifier(), without a reference taken.
    E const* watched() const noexcept {
        return static_cast<E const*>(Entity::NotifieeConst::notifier().ptr());
    }
    /// Throws RangeException for an object of another class; null is none.
    static void checkClass(PtrInterface const* notifier) {
        if (notifier && notifier->fwkType() != &E::_zelType)
            notifierOfOtherClass(*notifier, E::_zelType);
    }
};

/// Throws the range exception that says which class was expected and which was given.
[[noreturn]] VARNOL_API void notifierOfOtherClass(PtrInterface const& given,
                                                  TypeNode const& expected);

} // namespace Zel
