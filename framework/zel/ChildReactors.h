#pragma once

#include "framework/zel/Collection.h"
#include "framework/zel/Object.h"

namespace Zel {

/// A reactor or syncer that one object owns under a key: what removing it means.
template <class Child> void retire(Child& child) {
    child.zelDoZombieReactors(true);
    if constexpr (requires { child.ownerDel(); })
        child.ownerDel();
    child.hasNotificationActiveIs(false);
}

/// The reactors or syncers that one object owns, by key, in a map of that kind (RbTreeMap or
/// HashMap). The map holds a reference to each. Walks survive every change.
template <class Map> class KeyedReactors {
  public:
    using Child = typename Map::element_type; ///< the class of the reactors or syncers
    using Key = typename Map::key_type;       ///< what a child's fwkKey() gives
    using Walk = typename Map::Walk;          ///< holds the child on which it stands

    KeyedReactors() = default;
    KeyedReactors(KeyedReactors const&) = delete;
    KeyedReactors& operator=(KeyedReactors const&) = delete;
    ~KeyedReactors() { release(); }

    /// The children, to be looked at; walks of it survive every change, too.
    Map const& map() const noexcept { return map_; }
    /// The child under the key, or null.
    Child* find(Key const& key) noexcept { return map_.find(key); }

    /// Makes a child, by make(), and puts it under the key, which is free. The child of a zombie is
    /// a zombie.
    ///
    /// What the construction sets off may do anything: where it has led to a child under the key,
    /// that one stays. Throws what make() throws, and std::bad_alloc where the map must grow; there
    /// is no child under the key then.
    /// @return the child under the key
    template <class Owner, class Make>
    Ptr<Child> keep(Owner& owner, Key const& key, Make const& make) {
        const Ptr<Owner> ownerAlive(&owner);
        Ptr<Child> made = make();
        if (Ptr<Child> present = map_[key]) {
            retire(*made);
            return present;
        }
        try {
            addMember(map_, made, key);
        } catch (...) {
            retire(*made); // a handler may hold it
            throw;
        }
        made->zelDoZombieReactors(owner.zelMarkedForDeletion());
        return made;
    }

    /// Removes the child under the key: takes it out of the map, turns it into a zombie, cuts it
    /// off from its owner, switches its notification off and drops the reference. Nothing when
    /// absent.
    void del(Key const& key) {
        Child* present = map_.find(key);
        if (!present)
            return;
        const Ptr<Child> removed = removeMember(map_, present);
        retire(*removed);
    }

    /// Removes the child on which a walk stands.
    void del(typename Map::Walk const& at) { del(Key((*at)->fwkKey())); }

    /// Removes every child, as del() does.
    void delAll() {
        for (Ptr<Child> const& child : map_)
            del(Key(child->fwkKey()));
    }

    /// A walk over the children.
    typename Map::Walk begin() noexcept { return map_.begin(); }
    std::default_sentinel_t end() const noexcept { return {}; }

    /// Switches every child's notification on or off.
    void hasNotificationActiveIs(bool active) {
        for (Ptr<Child> const& child : map_)
            child->hasNotificationActiveIs(active);
    }

    /// Turns every child into a zombie, or back.
    void zelDoZombieReactors(bool zombie) {
        for (Ptr<Child> const& child : map_)
            child->zelDoZombieReactors(zombie);
    }

    /// Lets go of every child, at the end of their owner.
    void release() noexcept {
        while (map_.members() != 0)
            delAll();
    }

  protected:
    Map map_;
};

/// The child reactors that an Owner keeps for the elements of a collection attribute A, one for
/// each element, under its key.
///
/// Child is constructed with an element and the owner, and derives from Reactor.
template <class A, class Child, class Owner>
class ChildReactors : public KeyedReactors<typename A::template Map<Child, Owner>> {
  public:
    ///@{
    /// The collection's elements and their keys.
    using Element = typename A::Child;
    using Key = typename A::Key;
    ///@}

    /// Returns the child that watches the element: the one under its key, bound to this element if
    /// it was bound to another, or a new one. Throws RangeException, and changes nothing, for null.
    Ptr<Child> is(Owner& owner, Ptr<Element const> const& element) {
        if (!element)
            throwNullElementException(Owner::_zelType.name(), A::name);
        const Ptr<Owner> ownerAlive(&owner);
        const Key key = element->fwkKey();
        Ptr<Child> child = this->map_[key];
        if (child && child->isInLineWith(element.ptr()))
            return child;
        if (!child)
            return make(owner, element);
        child->notifierIs(element);
        // A handler that the child ran may have led to its removal: then it stays a zombie.
        if (child->owner() == &owner)
            child->zelDoZombieReactors(owner.zelMarkedForDeletion());
        return child;
    }

    /// Creates the child that watches the element; there is none under its key.
    Ptr<Child> make(Owner& owner, Ptr<Element const> const& element) {
        return this->keep(owner, element->fwkKey(),
                          [&] { return newActive<Child>(element, &owner); });
    }

    /// A child for each element of the collection, none for any other key. What a child throws ends
    /// it there, and the rest are brought in line by the next time.
    template <class E> void resync(Owner& owner, Ptr<E const> const& entity) {
        const Ptr<Owner> ownerAlive(&owner);
        for (Ptr<Element const> const& element : A::read(*entity))
            is(owner, element);
        for (Ptr<Child> const& child : this->map_) {
            const Key key = child->fwkKey();
            if (!A::read(*entity).find(key))
                this->del(key);
        }
    }

    /// The element that the child under the key watches; null without one.
    Element const* watchedUnder(Key const& key) noexcept {
        Child* child = this->map_.find(key);
        return child ? child->watched() : nullptr;
    }
};

} // namespace Zel
