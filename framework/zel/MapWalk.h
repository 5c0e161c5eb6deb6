#pragma once

#include "framework/zel/Int.h"
#include "framework/zel/Ptr.h"

#include <iterator>

namespace Zel {

/// A walk over the elements of a map, in the order in which they stand in it.
///
/// The map may be changed in any way while it is walked, by the loop's body or by whatever runs
/// when an element is released. The walk then finds its place again by the key of the element it
/// stands on: no element that stays is skipped, and no key is visited twice, even one that was
/// erased and inserted anew. What the body inserts ahead of the place is visited; what it inserts
/// behind is not. An element is a member when the walk comes to it, and is held until the walk
/// leaves it.
///
/// Requires: the map outlives the walk; an element on which a walk stands keeps its key, even when
/// it is no longer a member; less than 2^32 changes happen between two steps.
template <class Map, class Element> class MapWalk {
  public:
    /// Stands on the first element, or at the end of an empty map.
    explicit MapWalk(Map const& map) noexcept
        : map_(&map)
        , version_(map.version())
        , at_(map.first()) {}

    Ptr<Element> const& operator*() const noexcept { return at_; }

    MapWalk& operator++() noexcept {
        if (version_ == map_->version()) [[likely]]
            at_.ptrAssign(map_->next(*at_));
        else
            moveTo(map_->firstAfter(at_->fwkKey()));
        if (version_ != map_->version()) [[unlikely]]
            findPlaceAgain();
        return *this;
    }

    bool operator==(std::default_sentinel_t) const noexcept { return at_ == nullptr; }

  private:
    /// Leaving the last element may have released it, and so have changed the map again.
    [[gnu::noinline]] void findPlaceAgain() noexcept {
        while (at_ && version_ != map_->version())
            moveTo(map_->firstFrom(at_->fwkKey()));
    }
    void moveTo(Element* element) noexcept {
        version_ = map_->version();
        at_.ptrAssign(element);
    }

    Map const* map_;
    U32 version_;
    Ptr<Element> at_;
};

} // namespace Zel
