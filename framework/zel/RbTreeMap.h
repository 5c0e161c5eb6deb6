#pragma once

#include "framework/zel/KeyedMap.h"
#include "framework/zel/RbTree.h"

namespace Zel {

/// The elements of an entity, ordered by the `<` of their keys. Elements derive from RbTreeMember;
/// what else is asked of them, and what all maps offer, is said at KeyedMap.
///
/// Lookups, insertions and removals take logarithmic time, and none allocates.
template <class Element, class Key, class Entity>
class RbTreeMap : public KeyedMap<RbTreeMap<Element, Key, Entity>, RbTree, Element, Key, Entity> {
  public:
    RbTreeMap() noexcept = default;
    ~RbTreeMap() { emptyAll(); }

    /// Inserts the element and takes a reference to it.
    /// Fatal when it is null, is linked already, or its key is in the map.
    /// Invalidates: nothing.
    void memberNewChild(Ptr<Element> const& element) noexcept {
        this->assertUnlinked(element);
        auto const& key = element->fwkKey();
        Element* parent = nullptr;
        Element* following = nullptr;
        RbTree::Side side = RbTree::left;
        for (Element* at = root(); at; at = child(*at, side)) {
            parent = at;
            side = at->fwkKey() < key ? RbTree::right : RbTree::left;
            if (side == RbTree::left)
                following = at;
        }
        if (following && following->fwkKey() == key)
            this->assertDupKey();
        this->core_.link(*element, parent, side);
        element->referenceInc();
    }

    /// Takes the element out and returns it with the reference that the map held.
    /// Fatal when it is not a member.
    /// Invalidates: nothing.
    Ptr<Element> _memberDelG(Element* element) noexcept { return this->remove(element); }

    /// Removes and releases all elements, and what is inserted meanwhile.
    /// Invalidates: nothing.
    void emptyAll() noexcept {
        while (Element* element = this->first())
            this->remove(element);
    }

  private:
    template <class, class, class, class, class> friend class KeyedMap;
    template <class, class> friend class MapWalk;

    static constexpr const char* name = "RbTreeMap";

    Element* root() const noexcept { return this->elementOf(this->core_.root()); }
    static Element* child(Element const& element, RbTree::Side side) noexcept {
        return RbTreeMap::elementOf(RbTree::child(element, side));
    }

    Element* lookup(Key const& key) const noexcept {
        Element* element = firstFrom(key);
        return element && element->fwkKey() == key ? element : nullptr;
    }

    /// The first element whose key is not less than this one.
    Element* firstFrom(Key const& key) const noexcept {
        Element* found = nullptr;
        for (Element* at = root(); at;) {
            const bool before = at->fwkKey() < key;
            if (!before)
                found = at;
            at = child(*at, before ? RbTree::right : RbTree::left);
        }
        return found;
    }

    static bool inPlace(Element const& element, Element const* following) noexcept {
        return !following || element.fwkKey() < following->fwkKey();
    }
};

} // namespace Zel
