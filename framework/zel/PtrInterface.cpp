#include "framework/zel/PtrInterface.h"

#include "framework/zel/Fatal.h"

#include <new>

namespace Zel {

bool VFPtrInterface::threadSafePointers_ = false;

NotifieeList* PtrInterface::notifieeList() const { return nullptr; }

void PtrInterface::hasNotificationActiveIs(bool active) { flagIs(notificationActiveBit, active); }

void PtrInterface::zeroReferencesIs(bool) {}

void PtrInterface::handleZeroRef() const noexcept {
    // The last reference was ours: no other thread can touch the word any more.
    word_.store(word() + unownedBias, std::memory_order_relaxed);
    auto* self = const_cast<PtrInterface*>(this);
    self->zeroReferencesIs(true);
    delete self;
}

void* PtrInterface::zelMemAlloc(std::size_t size) { return ::operator new(size); }

void PtrInterface::zelMemFree(void* memory) noexcept { ::operator delete(memory); }

void PtrInterface::flagIs(U32 flag, bool value) const noexcept {
    if (VFPtrInterface::threadSafePointers_) {
        if (value)
            word_.fetch_or(flag, std::memory_order_relaxed);
        else
            word_.fetch_and(~flag, std::memory_order_relaxed);
    } else {
        word_.store(value ? word() | flag : word() & ~flag, std::memory_order_relaxed);
    }
}

void PtrInterface::lastReferenceGone(U32 before) const noexcept {
    if (before == 0) [[unlikely]]
        fatal("a reference was given back that was not held");
    handleZeroRef();
}

void PtrInterface::destroyedWhileHeld() noexcept {
    fatal("an object was destroyed while references to it are held");
}

void PtrInterface::countOverflow() noexcept { fatal("too many references to one object"); }

} // namespace Zel
