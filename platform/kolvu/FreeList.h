#pragma once

#include "framework/zel/Int.h"

#include <cstddef>
#include <new>

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
            if constexpr (addressSanitizer)
                show(block, blockSize_);
        }
        return block;
    }

    /// Keeps the block. @return false when the limit is reached and the block stays the caller's
    [[nodiscard]] bool give(void* memory) noexcept {
        if (size_ == limit_)
            return false;
        first_ = ::new (memory) Block{first_};
        ++size_;
        if constexpr (addressSanitizer)
            hide(first_ + 1, blockSize_ - sizeof(Block));
        return true;
    }

    /// From now on, AddressSanitizer reports the use of these octets, or does so no more. Without
    /// it, nothing is done.
    static void hide(void* memory, std::size_t size) noexcept;
    static void show(void* memory, std::size_t size) noexcept;

  private:
    struct Block {
        Block* next;
    };

#if defined(__SANITIZE_ADDRESS__)
    static constexpr bool addressSanitizer = true;
#elif defined(__has_feature)
    static constexpr bool addressSanitizer = __has_feature(address_sanitizer);
#else
    static constexpr bool addressSanitizer = false;
#endif

    std::size_t blockSize_;
    Zel::U32 limit_;
    Zel::U32 size_ = 0;
    Block* first_ = nullptr;
};

} // namespace Kolvu
