#pragma once

#include <cstddef>
#include <functional>

/// Makes one allocation of this thread fail: the n-th from now, of those by any operator new.
/// While no such object lives, the test binary's operator new does as it always does.
class FailingAllocation {
  public:
    /// @param n  1 for the next allocation
    explicit FailingAllocation(std::size_t n) noexcept;
    FailingAllocation(FailingAllocation const&) = delete;
    FailingAllocation& operator=(FailingAllocation const&) = delete;
    ~FailingAllocation();

    /// Whether the allocation was asked for, and failed.
    bool happened() const noexcept;

    /// How many allocations this thread has made so far.
    static std::size_t made() noexcept;
    /// How many allocations this thread has made, less those that it has given back.
    static std::ptrdiff_t outstanding() noexcept;
};

/// Has something done within the next allocation of this thread, before it is made.
class AtAllocation {
  public:
    explicit AtAllocation(std::function<void()> action);
    AtAllocation(AtAllocation const&) = delete;
    AtAllocation& operator=(AtAllocation const&) = delete;
    ~AtAllocation();

  private:
    std::function<void()> action_;
};
