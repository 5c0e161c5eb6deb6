#include "platform/kolvu/FreeList.h"

#include <sanitizer/asan_interface.h>

namespace Kolvu {

void FreeList::hide([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t size) noexcept {
    ASAN_POISON_MEMORY_REGION(memory, size);
}

void FreeList::show([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t size) noexcept {
    ASAN_UNPOISON_MEMORY_REGION(memory, size);
}

} // namespace Kolvu
