#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/Int.h"

#include <atomic>
#include <cstddef>
#include <typeinfo>

namespace Zel {

/// The record of allocations: for each class how many of its objects are alive.
class VARNOL_API AllocTrackTypeInfo {
  public:
    /// One per class, in its type node. May be read from any thread.
    class Slot {
      public:
        /// Objects alive now (allocated, also while they are constructed or destroyed).
        U64 liveCount() const noexcept { return live_.load(std::memory_order_relaxed); }
        /// Octets of one object; 0 before the first allocation.
        std::size_t objectSize() const noexcept { return size_.load(std::memory_order_relaxed); }
        /// The class; null before the first allocation.
        std::type_info const* type() const noexcept {
            return type_.load(std::memory_order_relaxed);
        }

      private:
        friend AllocTrackTypeInfo;

        void classIs(std::type_info const& type, std::size_t size) noexcept {
            size_.store(size, std::memory_order_relaxed);
            type_.store(&type, std::memory_order_relaxed);
        }

        std::atomic<U64> live_{0};
        std::atomic<std::size_t> size_{0};
        std::atomic<std::type_info const*> type_{nullptr};
    };

    /// Records that memory for one object of the class is about to be allocated.
    static void trackAllocation(Slot& slot, std::type_info const& type, std::size_t size) noexcept;
    /// Takes one such record back: the object is gone, or its construction threw.
    static void trackDeallocation(Slot& slot) noexcept;

    ///@{
    /// The same two, for a class whose objects are not made or destroyed by two threads at a time:
    /// without an atomic read-modify-write operation.
    static void trackAllocationAlone(Slot& slot, std::type_info const& type,
                                     std::size_t size) noexcept {
        const U64 live = slot.liveCount();
        slot.live_.store(live + 1, std::memory_order_relaxed);
        if (live == 0)
            slot.classIs(type, size);
    }
    static void trackDeallocationAlone(Slot& slot) noexcept {
        slot.live_.store(slot.liveCount() - 1, std::memory_order_relaxed);
    }
    ///@}
};

} // namespace Zel
