#pragma once

/// Sees what all threads of the program allocate by any operator new, and may refuse it. What a
/// FailingAllocation makes fail is not seen. Its functions must not allocate by operator new.
class AllocationWatch {
  public:
    /// Whether the allocation that is asked for fails.
    virtual bool refuses() noexcept = 0;
    /// It did not; by the same thread.
    virtual void made(void* memory) noexcept = 0;
    /// Of any memory, also such as was made before.
    virtual void freed(void* memory) noexcept = 0;

    /// Has the program watched from now on; null for an end of that. Requires: no other thread.
    static void start(AllocationWatch* watch) noexcept;

  protected:
    ~AllocationWatch() = default;
};
