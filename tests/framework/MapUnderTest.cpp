#include "tests/framework/MapUnderTest.h"

#include "framework/zel/HashHelper.h"
#include "framework/zel/HashMap.h"
#include "framework/zel/HashMap2018.h"
#include "framework/zel/RbTreeMap.h"
#include "tests/framework/MapTestAccess.h"
#include "tests/framework/MixedHash.h"

#include <stdexcept>
#include <string>
#include <utility>

// A map takes part through a subject: a class with
//   Element                what the map holds (itself, or as a value)
//   map                    the map
//   insert, replace, erase, find, clear
//   keyAt(walk)            the key on which a walk stands
//   elementAt(walk)        the element with it
//   precedes(key, key)     the order in which the map is to be walked
//   buckets()              how many there are
//   version()              the count of its changes

namespace Zel::Test {
namespace {

// The hashes, by a key's value.
constexpr U32 ownHash(U32 key) { return key; }
constexpr U32 equalHash(U32) { return 77; }
/// Each of its 256 values for as many keys in a row, in another order than theirs.
constexpr U32 eightBitHash(U32 key) { return key * 167 % 256; }

constexpr unsigned hashesOfKeysBelow(U32 limit, U32 (*hash)(U32 key)) {
    bool has[256] = {};
    unsigned different = 0;
    for (U32 key = 0; key < limit; ++key)
        different += !std::exchange(has[hash(key)], true);
    return different;
}
static_assert(hashesOfKeysBelow(256, eightBitHash) == 256);

struct EightBitHash {
    static U32 hash(Key const& key) noexcept { return eightBitHash(key.value); }
};

/// The order of a walk, by a key's hash. Nothing in it is the library's.
template <U32 (*hash)(U32 key)> bool precedesByHash(U32 left, U32 right) {
    const U32 leftHash = mixedHash(hash(left));
    const U32 rightHash = mixedHash(hash(right));
    return leftHash < rightHash || (leftHash == rightHash && left < right);
}

template <U32 (*hash)(U32 key) = ownHash, class Hash = HashHelper::Default<Key>>
struct HashMapSubject {
    using Element = HookedItem<HashMember>;
    HashMap<Element, Key, Owner, Hash> map;

    void insert(Ptr<Element> const& element) { map.newMemberG(element, element->fwkKey()); }
    void replace(Ptr<Element> const& element) {
        map.replaceMember(map.find(element->fwkKey()), element);
    }
    void erase(U32 key) { map.deleteMember(map.find({key})); }
    Element const* find(U32 key) const { return map.find({key}); }
    void clear() { map.emptyAllBuckets(); }
    std::optional<U32> buckets() const { return MapTestAccess::core(map).buckets(); }
    U32& version() { return MapTestAccess::version(MapTestAccess::core(map)); }
    static U32 keyAt(auto const& walk) { return (*walk)->fwkKey().value; }
    static Element const* elementAt(auto const& walk) { return (*walk).ptr(); }
    static bool precedes(U32 left, U32 right) { return precedesByHash<hash>(left, right); }
};

template <U32 (*hash)(U32 key) = ownHash, class Hash = HashHelper::Default<Key>>
struct HashMap2018Subject {
    using Element = Item;
    HashMap2018<Owner, Key, Ptr<Element>, Hash> map;

    void insert(Ptr<Element> const& element) { map.valueIs(element->fwkKey(), element); }
    void replace(Ptr<Element> const& element) { map.valueIs(element->fwkKey(), element); }
    void erase(U32 key) { map.valueDel({key}); }
    Element const* find(U32 key) const {
        auto const* node = map.lookupNodeG({key});
        return node ? node->value().ptr() : nullptr;
    }
    void clear() { map.emptyAll(); }
    std::optional<U32> buckets() const {
        return MapTestAccess::core(MapTestAccess::nodes(map)).buckets();
    }
    U32& version() {
        return MapTestAccess::version(MapTestAccess::core(MapTestAccess::nodes(map)));
    }
    static U32 keyAt(auto const& walk) { return walk->key().value; }
    static Element const* elementAt(auto const& walk) { return walk->value().ptr(); }
    static bool precedes(U32 left, U32 right) { return precedesByHash<hash>(left, right); }
};

struct RbTreeMapSubject {
    using Element = HookedItem<RbTreeMember>;
    RbTreeMap<Element, Key, Owner> map;

    void insert(Ptr<Element> const& element) { map.memberNewChild(element); }
    void replace(Ptr<Element> const& element) {
        map.replaceMember(map.find(element->fwkKey()), element);
    }
    void erase(U32 key) { map._memberDelG(map.find({key})); }
    Element const* find(U32 key) const { return map.find({key}); }
    void clear() { map.emptyAll(); }
    static std::optional<U32> buckets() { return std::nullopt; }
    U32& version() { return MapTestAccess::version(MapTestAccess::core(map)); }
    static U32 keyAt(auto const& walk) { return (*walk)->fwkKey().value; }
    static Element const* elementAt(auto const& walk) { return (*walk).ptr(); }
    static bool precedes(U32 left, U32 right) { return left < right; }
};

template <class Subject> class MapOf final : public MapUnderTest {
  public:
    using Element = typename Subject::Element;

    void insert(Ptr<Item> const& item) override { subject_.insert(elementOf(item)); }
    void replace(Ptr<Item> const& item) override { subject_.replace(elementOf(item)); }
    void erase(U32 key) override { subject_.erase(key); }
    void clear() override { subject_.clear(); }

    Item const* find(U32 key) const override { return subject_.find(key); }
    U32 members() const override { return subject_.map.members(); }
    bool check() const override { return subject_.map.check(); }
    std::optional<U32> buckets() const override { return subject_.buckets(); }
    U32& version() override { return subject_.version(); }

    std::unique_ptr<MapUnderTest::Walk> walk() override { return std::make_unique<Walk>(subject_); }
    bool walksLike(Model const& model) const override {
        auto place = model.begin();
        for (auto walk = subject_.map.begin(); walk != subject_.map.end(); ++walk, ++place)
            if (place == model.end() || Subject::keyAt(walk) != place->first ||
                Subject::elementAt(walk) != place->second)
                return false;
        return place == model.end();
    }

  private:
    class Walk final : public MapUnderTest::Walk {
      public:
        explicit Walk(Subject& subject)
            : map_(subject.map)
            , walk_(map_.begin()) {}
        bool atEnd() const override { return walk_ == map_.end(); }
        U32 key() const override { return Subject::keyAt(walk_); }
        Item const* item() const override { return Subject::elementAt(walk_); }
        void advance() override { ++walk_; }

      private:
        decltype(Subject::map)& map_;
        decltype(std::declval<Subject&>().map.begin()) walk_;
    };

    static Ptr<Element> elementOf(Ptr<Item> const& item) {
        return Ptr<Element>(static_cast<Element*>(item.ptr()));
    }

    Subject subject_;
};

template <class Subject> constexpr MapKind kind(const char* name) {
    return {name,
            []() -> std::unique_ptr<MapUnderTest> { return std::make_unique<MapOf<Subject>>(); },
            [](U32 key) -> Ptr<Item> { return made<typename Subject::Element>(key); },
            Subject::precedes};
}

constexpr MapKind kinds[] = {
    kind<HashMapSubject<>>("HashMap"),
    kind<HashMapSubject<eightBitHash, EightBitHash>>("HashMapOfEightBitHashes"),
    kind<HashMapSubject<equalHash, ConstantHash>>("HashMapOfEqualHashes"),
    kind<HashMap2018Subject<>>("HashMap2018"),
    kind<HashMap2018Subject<eightBitHash, EightBitHash>>("HashMap2018OfEightBitHashes"),
    kind<HashMap2018Subject<equalHash, ConstantHash>>("HashMap2018OfEqualHashes"),
    kind<RbTreeMapSubject>("RbTreeMap"),
};

} // namespace

std::span<MapKind const> mapKinds() { return kinds; }

MapKind const& mapKind(std::string_view name) {
    for (MapKind const& kind : kinds) {
        if (kind.name == name)
            return kind;
    }
    throw std::logic_error("there is no such kind of map: " + std::string(name));
}

} // namespace Zel::Test
