#include "platform/kolvu/FreeList.h"

#include <new>

#include <sanitizer/asan_interface.h>

namespace Kolvu {

void* FreeList::take() noexcept {
    Block* block = first_;
    if (block) {
        first_ = block->next;
        --size_;
        ASAN_UNPOISON_MEMORY_REGION(block, blockSize_);
    }
    return block;
}

bool FreeList::give(void* memory) noexcept {
    if (size_ == limit_)
        return false;
    first_ = ::new (memory) Block{first_};
    ++size_;
    ASAN_POISON_MEMORY_REGION(first_ + 1, blockSize_ - sizeof(Block));
    return true;
}

} // namespace Kolvu
