#pragma once

#include "framework/zel/Int.h"

#include <cstddef>
#include <new>

#include <sanitizer/asan_interface.h>

namespace Kolvu {

/// Blocks of memory of one size, kept for their next use: as many as the limit says, and the one
/// given last is taken first. Owns no memory: what it holds when it is destroyed is lost. Not
/// protected against use by several threads. AddressSanitizer reports the use of a block in it.
class FreeList {
  public:
    /// @param blockSize  octets of each block, enough for a pointer
    /// @param limit      blocks kept at most
    constexpr FreeList(std::size_t blockSize, Zel::U32 limit) noexcept
        : blockSize_(blockSize)
        , limit_(limit) {}
    FreeList(FreeList const&) = delete;
    FreeList& operator=(FreeList const&) = delete;

    /// A block; null when none is kept.
    void* take() noexcept {
        Block* block = first_;
        if (block) {
            first_ = block->next;
            --size_;
            ASAN_UNPOISON_MEMORY_REGION(block, blockSize_);
        }
        return block;
    }

    /// Keeps the block. @return false when the limit is reached and the block stays the caller's
    [[nodiscard]] bool give(void* memory) noexcept {
        if (size_ == limit_)
            return false;
        first_ = ::new (memory) Block{first_};
        ++size_;
        ASAN_POISON_MEMORY_REGION(first_ + 1, blockSize_ - sizeof(Block));
        return true;
    }

  private:
    struct Block {
        Block* next;
    };

    std::size_t blockSize_;
    Zel::U32 limit_;
    Zel::U32 size_ = 0;
    Block* first_ = nullptr;
};

} // namespace Kolvu
