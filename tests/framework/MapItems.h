#pragma once

// What the tests put into maps.

#include "framework/zel/Int.h"
#include "framework/zel/Ptr.h"
#include "framework/zel/PtrInterface.h"

#include <functional>
#include <utility>

namespace Zel::Test {

/// Owns the maps of these tests. No more than its name is needed.
class Owner;

struct Key {
    U32 value;

    U32 hash() const noexcept { return value; }
    bool operator==(Key const& other) const noexcept { return value == other.value; }
    bool operator<(Key const& other) const noexcept { return value < other.value; }
};

struct ConstantHash {
    static U32 hash(Key const&) noexcept { return 77; }
};

/// How many items live, and what is to be done when one with this key dies.
struct Life {
    static inline int live = 0;
    static inline std::function<void(U32)> onDeath;
};

/// What is to be done at deaths while this object lives.
struct AtDeath {
    explicit AtDeath(std::function<void(U32)> action) { Life::onDeath = std::move(action); }
    AtDeath(AtDeath const&) = delete;
    AtDeath& operator=(AtDeath const&) = delete;
    ~AtDeath() { Life::onDeath = nullptr; }
};

/// What a map holds, as a value or, with a hook, itself.
class Item : public PtrInterface {
  public:
    explicit Item(U32 key)
        : key_{key} {
        ++Life::live;
    }
    ~Item() override {
        --Life::live;
        if (Life::onDeath)
            Life::onDeath(key_.value);
    }
    Key const& fwkKey() const noexcept { return key_; }
    void keyIs(U32 key) { key_.value = key; }
    TypeNode const* fwkType() const override { return nullptr; }

  private:
    Key key_;
};

/// An item for the maps whose elements derive from the hook.
template <class Hook> class HookedItem final : public Item, public Hook {
  public:
    using Item::Item;
};

template <class Element> Ptr<Element> made(U32 key) { return Ptr<Element>(new Element(key)); }

} // namespace Zel::Test
