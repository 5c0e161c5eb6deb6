#include "framework/zel/AllocTrack.h"

namespace Zel {

void AllocTrackTypeInfo::trackAllocation(Slot& slot, std::type_info const& type,
                                         std::size_t size) noexcept {
    slot.live_.fetch_add(1, std::memory_order_relaxed);
    slot.classIs(type, size);
}

void AllocTrackTypeInfo::trackDeallocation(Slot& slot) noexcept {
    slot.live_.fetch_sub(1, std::memory_order_relaxed);
}

} // namespace Zel
