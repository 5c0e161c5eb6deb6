#pragma once

#include "framework/zel/Int.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// Remembers memory that is in use, without asking for any.
class MemoryBlocks {
  public:
    void add(void* memory) noexcept {
        *place(memory, true) = memory;
        ++count_;
    }
    /// Memory that was not added is none of these.
    void remove(void* memory) noexcept {
        void** const at = place(memory, false);
        if (!at)
            return;
        *at = gone();
        --count_;
    }
    Zel::U64 count() const noexcept { return count_; }

  private:
    static constexpr std::size_t places = 1 << 20;

    static void* gone() noexcept {
        static char mark;
        return &mark;
    }

    void** place(void* memory, bool fresh) noexcept {
        std::size_t at = reinterpret_cast<std::uintptr_t>(memory) * 0x9e3779b97f4a7c15 >> 44;
        for (std::size_t tried = 0; tried < places; ++tried, at = (at + 1) % places) {
            if (!fresh && all_[at] == memory)
                return &all_[at];
            if (!all_[at])
                return fresh ? &all_[at] : nullptr;
            if (fresh && all_[at] == gone())
                return &all_[at];
        }
        std::abort(); // so much is in use in no test
    }

    void* all_[places] = {};
    Zel::U64 count_ = 0;
};
