#pragma once

#include "framework/zel/Int.h"
#include "framework/zel/Ptr.h"
#include "tests/framework/MapItems.h"

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace Zel::Test {

/// A map of any kind, as the tests of what every map promises see it.
class MapUnderTest {
  public:
    /// The items by key, in the order in which the map is to be walked.
    using Model = std::map<U32, Item const*, bool (*)(U32 left, U32 right)>;

    class Walk {
      public:
        Walk() = default;
        Walk(Walk const&) = delete;
        Walk& operator=(Walk const&) = delete;
        virtual ~Walk() = default;
        virtual bool atEnd() const = 0;
        virtual U32 key() const = 0;
        virtual Item const* item() const = 0;
        virtual void advance() = 0;
    };

    MapUnderTest() = default;
    MapUnderTest(MapUnderTest const&) = delete;
    MapUnderTest& operator=(MapUnderTest const&) = delete;
    virtual ~MapUnderTest() = default;

    /// The item is one that the map's kind has made, here and below.
    virtual void insert(Ptr<Item> const& item) = 0;
    /// Puts the item in the place of the one that has its key.
    virtual void replace(Ptr<Item> const& item) = 0;
    virtual void erase(U32 key) = 0;
    virtual void clear() = 0;

    virtual Item const* find(U32 key) const = 0;
    virtual U32 members() const = 0;
    virtual bool check() const = 0;
    /// The number of buckets; nothing where the map has none by its kind.
    virtual std::optional<U32> buckets() const = 0;
    /// The count of its changes, to be set where no walk is under way, or to what is said of one.
    virtual U32& version() = 0;

    virtual std::unique_ptr<Walk> walk() = 0;
    /// Whether a walk finds just what the model has, in its order.
    virtual bool walksLike(Model const& model) const = 0;
};

struct MapKind {
    const char* name;
    /// One allocation, but for what the map itself allocates.
    std::unique_ptr<MapUnderTest> (*map)();
    Ptr<Item> (*item)(U32 key);
    /// The order in which a map is to be walked.
    bool (*precedes)(U32 left, U32 right);
};

std::span<MapKind const> mapKinds();

/// The kind of that name, which there must be. Throws std::logic_error.
MapKind const& mapKind(std::string_view name);

} // namespace Zel::Test
