#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/Int.h"
#include "framework/zel/MapWalk.h"
#include "framework/zel/Ptr.h"

#include <iterator>
#include <typeinfo>

namespace Zel {

/// Ends the process by fatal(), with the kind of map, its owner's class and what is wrong.
/// @param ownerPointer  the type of pointers to the owner
[[noreturn]] VARNOL_API void mapFatal(const char* map, std::type_info const& ownerPointer,
                                      const char* what) noexcept;

/// What the intrusive maps have in common.
///
/// Elements derive from the hook Core::Member, carry a key, `fwkKey() const`, that stays the same
/// while they are members, and are counted; the map holds one reference to each. Comparing and
/// hashing keys must not throw. One thread uses a map at a time.
///
/// No change of a map invalidates a walk of it (see MapWalk). A raw pointer to an element is good
/// for as long as the element is a member, or a reference to it is held.
///
/// A map is emptied, and destroyed, element by element, in their order. What runs when an element
/// is released finds it gone and the map sound, and may change the map in any way, even empty it;
/// what is inserted meanwhile is removed too.
///
/// @tparam Map     the map proper. It offers its name; lookup() and firstFrom() for a key; and
///                 inPlace(), whether an element stands rightly before the next one, or last
/// @tparam Core    how members are linked: RbTree or HashTable
/// @tparam Entity  the class that owns the map, named by fatal errors; need not be complete
template <class Map, class Core, class Element, class Key, class Entity> class KeyedMap {
  public:
    KeyedMap(KeyedMap const&) = delete;
    KeyedMap& operator=(KeyedMap const&) = delete;

    using element_type = Element;                  ///< what the map holds references to
    using key_type = Key;                          ///< what an element's fwkKey() gives
    using Walk = MapWalk<Map, Element>;            ///< the elements may be changed
    using ConstWalk = MapWalk<Map, Element const>; ///< the elements may only be read

    /// The number of elements.
    U32 members() const noexcept { return core_.members(); }

    /// The element with this key; null when there is none. Takes a reference.
    Ptr<Element> operator[](Key const& key) noexcept { return Ptr<Element>(find(key)); }
    Ptr<Element const> operator[](Key const& key) const noexcept {
        return Ptr<Element const>(find(key));
    }
    /// The same, leaving the reference count alone.
    Element* find(Key const& key) noexcept { return map().lookup(key); }
    Element const* find(Key const& key) const noexcept { return map().lookup(key); }

    Walk begin() noexcept { return Walk(map()); }
    ConstWalk begin() const noexcept { return ConstWalk(map()); }
    std::default_sentinel_t end() const noexcept { return {}; }

    /// Puts an element that stands nowhere in the place of a member with the same key, which is
    /// returned with the reference that the map held.
    /// Fatal when the one is null or linked, has another key, or the other is not a member (of
    /// which an ordered map, to be done in constant time, cannot always tell).
    /// Invalidates: nothing.
    Ptr<Element> replaceMember(Element* old, Ptr<Element> const& replacement) noexcept {
        assertUnlinked(replacement);
        if (!old)
            fail(notAMember);
        if (!(old->fwkKey() == replacement->fwkKey()))
            fail("the replacement has another key");
        if (!core_.replace(*old, *replacement))
            fail(notAMember);
        replacement->referenceInc();
        return handOver(*old);
    }

    /// Ends the process: a key was to be inserted that the map has already.
    [[noreturn]] void assertDupKey() const noexcept { fail("duplicate key"); }

    /// Whether the map's structure, order and count are sound. Takes time linear in its size.
    [[nodiscard]] bool check() const noexcept {
        if (!core_.check())
            return false;
        for (Element* at = first(); at;) {
            Element* following = next(*at);
            if (!map().inPlace(*at, following))
                return false;
            at = following;
        }
        return true;
    }

  protected:
    KeyedMap() noexcept = default;
    explicit KeyedMap(U32 initialBuckets) noexcept
        : core_(initialBuckets) {}
    ~KeyedMap() = default;

    static Element* elementOf(typename Core::Member* member) noexcept {
        return static_cast<Element*>(member);
    }

    void assertUnlinked(Ptr<Element> const& element) const noexcept {
        if (!element)
            fail("null element");
        if (Core::linked(*element))
            fail("the element is linked already");
    }

    Ptr<Element> remove(Element* element) noexcept {
        if (!element || !core_.unlink(*element))
            fail(notAMember);
        return handOver(*element);
    }

    [[noreturn]] void fail(const char* what) const noexcept {
        mapFatal(Map::name, typeid(Entity*), what);
    }

    U32 version() const noexcept { return core_.version(); }
    Element* first() const noexcept { return elementOf(core_.first()); }
    Element* next(Element const& element) const noexcept { return elementOf(core_.next(element)); }
    Element* firstAfter(Key const& key) const noexcept {
        Element* element = map().firstFrom(key);
        return element && element->fwkKey() == key ? next(*element) : element;
    }

    Core core_;

  private:
    friend Walk;
    friend ConstWalk;
    friend struct MapTestAccess;

    static constexpr const char* notAMember = "the element is not a member";

    Map& map() noexcept { return static_cast<Map&>(*this); }
    Map const& map() const noexcept { return static_cast<Map const&>(*this); }

    /// The reference that the map held becomes the caller's.
    static Ptr<Element> handOver(Element& element) noexcept {
        Ptr<Element> reference(&element);
        element.referenceDec();
        return reference;
    }
};

} // namespace Zel
