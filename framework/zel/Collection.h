#pragma once

#include "framework/zel/Entity.h"
#include "framework/zel/Exception.h"

/// What the mutators of every collection attribute do. Each stores first and then notifies once,
/// with the key, and touches neither the entity nor the map after that.
namespace Zel {

/// Puts a member into a map of either kind, under a key that is free. Throws std::bad_alloc, and
/// changes nothing, where the map must grow.
template <class Map>
void addMember(Map& map, Ptr<typename Map::element_type> const& member,
               typename Map::key_type const& key) {
    if constexpr (requires { map.memberNewChild(member); })
        map.memberNewChild(member);
    else
        map.newMemberG(member, key);
}

/// Takes a member out of a map of either kind; the map's reference is returned.
template <class Map>
Ptr<typename Map::element_type> removeMember(Map& map, typename Map::element_type* member) {
    if constexpr (requires { map._memberDelG(member); })
        return map._memberDelG(member);
    else
        return map.deleteMember(member);
}

/// Returns the child under the key; creates it, and notifies, when there is none.
template <class E, class Map>
Ptr<typename Map::element_type> collectionIs(E& entity, AttributeId id, Map& map,
                                             typename Map::key_type key) {
    using Child = typename Map::element_type;
    Ptr<Child> child = map[key];
    if (!child) {
        child = Ptr<Child>(new Child(key));
        addMember(map, child, key);
        entity.notify(id, &key);
    }
    return child;
}

/// Puts an entity under its own key, in the place of the one that is there. Fatal when it is linked
/// already, unless it is the one that is there.
/// @return the child that was there; null when there was none, or when it is the same
template <class E, class Map>
Ptr<typename Map::element_type> collectionMemberIs(E& entity, AttributeId id,
                                                   std::string_view attribute, Map& map,
                                                   Ptr<typename Map::element_type> const& member) {
    if (!member)
        throwNullElementException(E::_zelType.name(), attribute);
    const typename Map::key_type key = member->fwkKey();
    auto* const present = map.find(key);
    if (present == member.ptr())
        return nullptr;
    Ptr<typename Map::element_type> former;
    if (present)
        former = map.replaceMember(present, member);
    else
        addMember(map, member, key);
    entity.notify(id, &key);
    return former;
}

/// Removes the child under the key; does nothing when there is none.
template <class E, class Map>
void collectionDel(E& entity, AttributeId id, Map& map, typename Map::key_type key) {
    auto* const present = map.find(key);
    if (!present)
        return;
    const auto removed = removeMember(map, present);
    entity.notify(id, &key);
}

} // namespace Zel
