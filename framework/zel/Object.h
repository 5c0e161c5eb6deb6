#pragma once

#include "framework/zel/Ptr.h"
#include "framework/zel/PtrInterface.h"
#include "framework/zel/TypeNode.h"

#include <cstddef>
#include <typeinfo>
#include <utility>

namespace Zel {

/// What every framework class T shares: its type node, its tracked allocation, its pointer type.
/// T derives from Object<T, Base> and has a static `TypeNode const _zelType` (see TypeNode).
template <class T, class Base> class VARNOL_API Object : public Base {
  public:
    /// The class, as declarations in its body know it.
    using ZelSelf = T;
    /// What holds the class's objects.
    using Ptr = Zel::Ptr<T>;

    /// T's own.
    TypeNode const* fwkType() const override { return &T::_zelType; }

    /// Counts the object in T's type node. Throws std::bad_alloc.
    static void* operator new(std::size_t size) {
        AllocTrackTypeInfo::Slot& slot = T::_zelType.allocations();
        AllocTrackTypeInfo::trackAllocation(slot, typeid(T), size);
        try {
            return PtrInterface::zelMemAlloc(size);
        } catch (...) {
            AllocTrackTypeInfo::trackDeallocation(slot);
            throw;
        }
    }
    /// Also called, by the language, when the constructor of a new object throws.
    static void operator delete(void* memory) noexcept {
        AllocTrackTypeInfo::trackDeallocation(T::_zelType.allocations());
        PtrInterface::zelMemFree(memory);
    }

  protected:
    using Base::Base;
};

/// Creates an object and switches its notification on.
template <class T, class... Args> Ptr<T> newActive(Args&&... args) {
    Ptr<T> object(new T(std::forward<Args>(args)...));
    object->hasNotificationActiveIs(true);
    return object;
}

} // namespace Zel
