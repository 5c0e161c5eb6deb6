#pragma once

#include "framework/zel/HashHelper.h"
#include "framework/zel/HashTable.h"
#include "framework/zel/KeyedMap.h"

namespace Zel {

/// The elements of an entity, found by the hash of their keys. Elements derive from HashMember;
/// what else is asked of them, and what all maps offer, is said at KeyedMap.
///
/// Lookups, insertions and removals take constant time with a good hash. The elements' order is
/// that of the mixed hashes, and of the keys' `<` where these are equal: it does not depend on the
/// number of buckets. A map without elements owns no memory.
///
/// @tparam Hash  its `hash(key)` gives a key's hash (see HashHelper)
template <class Element, class Key, class Entity, class Hash = HashHelper::Default<Key>>
class HashMap
    : public KeyedMap<HashMap<Element, Key, Entity, Hash>, HashTable, Element, Key, Entity> {
  public:
    /// @param initialBuckets  buckets to begin with, made with the first insertion
    explicit HashMap(U32 initialBuckets = 4) noexcept
        : HashMap::KeyedMap(initialBuckets) {}
    ~HashMap() { emptyAllBuckets(); }

    /// Inserts the element, whose key is given, and takes a reference to it.
    /// Fatal when it is null, is linked already, has another key, or its key is in the map.
    /// Throws std::bad_alloc, and changes nothing, when the map was empty and has no memory.
    /// Invalidates: nothing but bucket numbers.
    void newMemberG(Ptr<Element> const& element, Key const& key) {
        this->assertUnlinked(element);
        if (!(element->fwkKey() == key))
            this->fail("the element has another key");
        this->core_.makeRoom();
        const U32 hash = hashOf(key);
        Element* previous = nullptr;
        Element* at = chain(hash);
        for (; at && before(*at, hash, key); at = chainNext(*at))
            previous = at;
        if (at && HashTable::hash(*at) == hash && at->fwkKey() == key)
            this->assertDupKey();
        this->core_.link(*element, hash, previous);
        element->referenceInc();
    }

    /// Takes the element out and returns it with the reference that the map held.
    /// Fatal when it is not a member.
    /// Invalidates: nothing.
    Ptr<Element> deleteMember(Element* element) noexcept { return this->remove(element); }

    /// Removes and releases all elements, and what is inserted meanwhile.
    /// Invalidates: nothing.
    void emptyAllBuckets() noexcept {
        while (this->members() != 0) {
            U32 bucket = 0;
            while (Element* element = findNextBucket(bucket))
                this->remove(element);
        }
    }

    /// The element after the current one, which must be a member, and its bucket; null after the
    /// last. A loop of these stands no change of the map; begin() and end() do.
    Element* findNextG(Element* current, U32& bucket) noexcept { return nextOf(current, bucket); }
    Element const* findNextG(Element const* current, U32& bucket) const noexcept {
        return nextOf(current, bucket);
    }
    /// The first element in or after the bucket, which becomes that element's; null when there is
    /// none. Buckets count from 0.
    Element* findNextBucket(U32& bucket) noexcept { return firstFromBucket(bucket); }
    Element const* findNextBucket(U32& bucket) const noexcept { return firstFromBucket(bucket); }

  private:
    template <class, class, class, class, class> friend class KeyedMap;
    template <class, class> friend class MapWalk;

    static constexpr const char* name = "HashMap";

    static U32 hashOf(Key const& key) noexcept { return HashTable::mixed(Hash::hash(key)); }
    static bool before(Element const& element, U32 hash, Key const& key) noexcept {
        const U32 itsHash = HashTable::hash(element);
        return itsHash < hash || (itsHash == hash && element.fwkKey() < key);
    }

    Element* chain(U32 hash) const noexcept { return this->elementOf(this->core_.chain(hash)); }
    static Element* chainNext(Element const& element) noexcept {
        return HashMap::elementOf(HashTable::chainNext(element));
    }
    Element* firstFromBucket(U32& bucket) const noexcept {
        return this->elementOf(this->core_.firstFromBucket(bucket));
    }
    Element* nextOf(Element const* current, U32& bucket) const noexcept {
        bucket = this->core_.bucket(HashTable::hash(*current));
        if (Element* following = chainNext(*current))
            return following;
        return firstFromBucket(++bucket);
    }

    Element* lookup(Key const& key) const noexcept {
        const U32 hash = hashOf(key);
        for (Element* at = chain(hash); at && HashTable::hash(*at) <= hash; at = chainNext(*at))
            if (HashTable::hash(*at) == hash && at->fwkKey() == key)
                return at;
        return nullptr;
    }

    /// The first element at or after the place of this key.
    Element* firstFrom(Key const& key) const noexcept {
        const U32 hash = hashOf(key);
        for (Element* at = chain(hash); at; at = chainNext(*at))
            if (!before(*at, hash, key))
                return at;
        U32 bucket = this->core_.bucket(hash) + 1;
        return firstFromBucket(bucket);
    }

    static bool inPlace(Element const& element, Element const* following) noexcept {
        return HashTable::hash(element) == hashOf(element.fwkKey()) &&
               (!following || before(element, HashTable::hash(*following), following->fwkKey()));
    }
};

} // namespace Zel
