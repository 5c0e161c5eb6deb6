#include "tests/framework/FailingAllocation.h"

#include "tests/framework/AllocationWatch.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace {

using Plan = FailingAllocation::Plan;

thread_local Plan failures;
thread_local bool failed = false;
thread_local std::size_t lastRefused = 0;
thread_local std::size_t allocations = 0;
thread_local std::size_t deallocations = 0;
thread_local std::function<void()> const* atNext = nullptr; // null: nothing is to be done
thread_local std::function<void()> const* atNextDeallocation = nullptr;
thread_local bool dirty = false;
AllocationWatch* watching = nullptr;

/// Whether this allocation is one that is to fail.
bool fails(std::size_t size) noexcept {
    if (failures.next == 0 || --failures.next != 0)
        return false;
    failures.next = failures.after == Plan::always ? 1 : std::exchange(failures.after, 0);
    failed = true;
    lastRefused = size;
    return true;
}

/// Null when there is no memory. Throws what an action throws that is done first.
void* allocate(std::size_t size, std::size_t alignment = 0) {
    if (atNext)
        (*std::exchange(atNext, nullptr))();
    if (fails(size) || (watching && watching->refuses()))
        return nullptr;
    if (size == 0)
        size = 1;
    void* memory = nullptr;
    if (alignment == 0)
        memory = std::malloc(size);
    else if (posix_memalign(&memory, alignment, size) != 0)
        memory = nullptr;
    if (memory) {
        if (dirty)
            std::memset(memory, 0xa5, size);
        ++allocations;
        if (watching)
            watching->made(memory);
    }
    return memory;
}

void* allocateOrThrow(std::size_t size, std::size_t alignment = 0) {
    if (void* memory = allocate(size, alignment))
        return memory;
    throw std::bad_alloc();
}

void deallocate(void* memory) noexcept {
    if (memory) {
        if (atNextDeallocation)
            (*std::exchange(atNextDeallocation, nullptr))();
        ++deallocations;
        if (watching)
            watching->freed(memory);
    }
    std::free(memory);
}

constexpr std::size_t number(std::align_val_t alignment) {
    return static_cast<std::size_t>(alignment);
}

} // namespace

FailingAllocation::FailingAllocation(Plan plan) noexcept {
    failures = plan;
    failed = false;
}

FailingAllocation::~FailingAllocation() { failures = {}; }

AtAllocation::AtAllocation(std::function<void()> action)
    : action_(std::move(action)) {
    atNext = &action_;
}

AtAllocation::~AtAllocation() { atNext = nullptr; }

DirtyMemory::DirtyMemory() { dirty = true; }

DirtyMemory::~DirtyMemory() { dirty = false; }

AtDeallocation::AtDeallocation(std::function<void()> action)
    : action_(std::move(action)) {
    atNextDeallocation = &action_;
}

AtDeallocation::~AtDeallocation() { atNextDeallocation = nullptr; }

bool FailingAllocation::happened() const noexcept { return failed; }

std::size_t FailingAllocation::refused() const noexcept { return lastRefused; }

FailingAllocation::Plan FailingAllocation::left() const noexcept { return failures; }

void AllocationWatch::start(AllocationWatch* watch) noexcept { watching = watch; }

std::size_t FailingAllocation::made() noexcept { return allocations; }

std::ptrdiff_t FailingAllocation::outstanding() noexcept {
    return static_cast<std::ptrdiff_t>(allocations - deallocations);
}

void* operator new(std::size_t size) { return allocateOrThrow(size); }
void* operator new[](std::size_t size) { return allocateOrThrow(size); }
void* operator new(std::size_t size, std::nothrow_t const&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept { return allocate(size); }
void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocateOrThrow(size, number(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return allocateOrThrow(size, number(alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept {
    return allocate(size, number(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept {
    return allocate(size, number(alignment));
}

void operator delete(void* memory) noexcept { deallocate(memory); }
void operator delete[](void* memory) noexcept { deallocate(memory); }
void operator delete(void* memory, std::size_t) noexcept { deallocate(memory); }
void operator delete[](void* memory, std::size_t) noexcept { deallocate(memory); }
void operator delete(void* memory, std::nothrow_t const&) noexcept { deallocate(memory); }
void operator delete[](void* memory, std::nothrow_t const&) noexcept { deallocate(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { deallocate(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { deallocate(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { deallocate(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { deallocate(memory); }
void operator delete(void* memory, std::align_val_t, std::nothrow_t const&) noexcept {
    deallocate(memory);
}
void operator delete[](void* memory, std::align_val_t, std::nothrow_t const&) noexcept {
    deallocate(memory);
}
