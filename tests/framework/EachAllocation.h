#pragma once

#include <cstddef>
#include <functional>

/// One attempt at an action in which one allocation fails, or none.
class Attempt {
  public:
    /// @param n  1 for the action's first allocation; 0 when none is to fail
    explicit Attempt(std::size_t n) noexcept
        : n_(n) {}

    /// Runs the action. Only an allocation that fails may, and has to, end it with std::bad_alloc.
    /// @return whether the action ran to its end
    bool operator()(std::function<void()> const& action);

    /// Whether the allocation was asked for, and failed.
    bool failed() const noexcept { return failed_; }

  private:
    std::size_t n_;
    bool failed_ = false;
};

/// Runs a trial again and again: with all the memory that it wants, so that what is allocated once
/// per process or thread is there, also what the trial's checks allocate; then with the first
/// allocation of its attempt failing, with the second, until none fails any more. After each of
/// these there have to be as many objects, and as much memory in use, as before.
/// @param trial  makes what the action needs, attempts the action once, checks what it left, and
///               drops it all
/// @return how many allocations failed
unsigned failEachAllocation(std::function<void(Attempt& attempt)> const& trial);
