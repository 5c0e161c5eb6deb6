#pragma once

#include <cstddef>
#include <functional>

/// Makes allocations of this thread fail, of those by any operator new. While no such object lives,
/// the test binary's operator new does as it always does.
class FailingAllocation {
  public:
    /// Which of the allocations to come fail.
    struct Plan {
        /// As Plan::after: that one and all to come.
        static constexpr std::size_t always = ~std::size_t{0};

        std::size_t next = 0;  ///< 1 for the next one; 0 for none
        std::size_t after = 0; ///< 1 for the one after that one; 0 for none more
    };

    /// One allocation fails: the n-th from now.
    /// @param n  1 for the next allocation
    explicit FailingAllocation(std::size_t n) noexcept
        : FailingAllocation(Plan{n}) {}
    explicit FailingAllocation(Plan plan) noexcept;
    FailingAllocation(FailingAllocation const&) = delete;
    FailingAllocation& operator=(FailingAllocation const&) = delete;
    ~FailingAllocation();

    /// Whether an allocation that was to fail was asked for, and failed.
    bool happened() const noexcept;
    /// How many octets the last allocation that failed was asked for.
    std::size_t refused() const noexcept;
    /// What is left of the plan.
    Plan left() const noexcept;

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

/// While one lives, no octet that this thread allocates is zero by chance: all are 0xa5.
class DirtyMemory {
  public:
    DirtyMemory();
    DirtyMemory(DirtyMemory const&) = delete;
    DirtyMemory& operator=(DirtyMemory const&) = delete;
    ~DirtyMemory();
};

/// Has something done within the next deallocation of this thread, before the memory is given back.
class AtDeallocation {
  public:
    explicit AtDeallocation(std::function<void()> action);
    AtDeallocation(AtDeallocation const&) = delete;
    AtDeallocation& operator=(AtDeallocation const&) = delete;
    ~AtDeallocation();

  private:
    std::function<void()> action_;
};
