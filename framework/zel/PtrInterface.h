#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/Int.h"

#include <atomic>
#include <cstddef>

namespace Zel {

class NotifieeList;
class TypeNode;

/// How counted objects count.
struct VFPtrInterface {
    /// While set, references are counted with atomic read-modify-write operations, so that pointers
    /// may be shared with other threads; otherwise with plain ones. Process-wide; to be switched
    /// only while no other thread uses counted objects.
    VARNOL_API static bool threadSafePointers_;

    ///@{
    /// Counts one reference more, or one less, with the operations that threadSafePointers_ asks
    /// for.
    /// @param word  a std::atomic or std::atomic_ref that has the count
    /// @return the word as it was before
    template <class Word> static U32 countInc(Word&& word) noexcept {
        if (threadSafePointers_) [[unlikely]]
            return word.fetch_add(1, std::memory_order_relaxed);
        const U32 before = word.load(std::memory_order_relaxed);
        word.store(before + 1, std::memory_order_relaxed);
        return before;
    }
    template <class Word> [[gnu::always_inline]] static U32 countDec(Word&& word) noexcept {
        if (threadSafePointers_) [[unlikely]]
            return word.fetch_sub(1, std::memory_order_acq_rel);
        const U32 before = word.load(std::memory_order_relaxed);
        word.store(before - 1, std::memory_order_relaxed);
        return before;
    }
    ///@}
};

/// Base of every framework object: entities, root syncers, reactors, packets.
///
/// An object is born with no reference, is held by Zel::Ptr, and is destroyed when the last
/// reference goes. One 32-bit word holds the count and two flags: bit 29, notification active, and
/// bit 31, marked for deletion. A reactor so marked is a zombie: it runs no handler.
class VARNOL_API PtrInterface {
  public:
    class NotifieeConst;

    PtrInterface() noexcept = default;
    PtrInterface(PtrInterface const&) = delete;
    PtrInterface& operator=(PtrInterface const&) = delete;

    /// The reactors bound to this object; null unless it is an entity.
    virtual NotifieeList* notifieeList() const;
    /// Switches the notification-active flag. Reactors take notifications only while it is set.
    virtual void hasNotificationActiveIs(bool active);
    /// Called with true when the last reference has gone, before the object is destroyed.
    virtual void zeroReferencesIs(bool zero);
    /// The type node of the object's class.
    virtual TypeNode const* fwkType() const = 0;

    /// Fatal when references to the object are still held.
    virtual ~PtrInterface() {
        const U32 count = references();
        if (count != 0 && count != unownedBias) [[unlikely]]
            destroyedWhileHeld();
    }

    ///@{
    /// A flag of the word.
    bool hasNotificationActive() const noexcept { return (word() & notificationActiveBit) != 0; }
    bool zelMarkedForDeletion() const noexcept { return (word() & markedForDeletionBit) != 0; }
    ///@}
    /// Sets the flag of this object alone; zelDoZombieReactors() of a reactor also reaches the
    /// reactors that it keeps.
    void zelMarkedForDeletionIs(bool marked) const noexcept {
        flagIs(markedForDeletionBit, marked);
    }

    /// The number of references held: the word without its two flags. Not meaningful while the
    /// object is being destroyed.
    U32 references() const noexcept { return word() & countMask; }

    /// Takes a reference. Fatal at 2^29 - 1 references.
    void referenceInc() const noexcept {
        const U32 before = VFPtrInterface::countInc(word_);
        if (((before + 1) & countLimit) == 0) [[unlikely]]
            countOverflow();
    }

    /// Gives a reference back; the last one destroys the object. Fatal when none is held.
    void referenceDec() const noexcept {
        const U32 before = VFPtrInterface::countDec(word_);
        if ((before & countMask) <= 1) [[unlikely]]
            lastReferenceGone(before & countMask);
    }

    /// Called when the count has dropped to zero: destroys the object. References that its
    /// destructor takes and gives back again do no harm.
    void handleZeroRef() const noexcept;

    /// While one lives, in the constructor of a class whose construction runs handlers, references
    /// to the object under construction may be taken and given back without destroying it.
    class Construction {
      public:
        /// A second one of the same object does nothing.
        explicit Construction(PtrInterface const& object) noexcept
            : object_(object)
            , bias_((object.word() & unownedBias) == 0 ? unownedBias : 0) {
            object_.word_.fetch_add(bias_, std::memory_order_relaxed);
        }
        ~Construction() { object_.word_.fetch_sub(bias_, std::memory_order_relaxed); }
        Construction(Construction const&) = delete;
        Construction& operator=(Construction const&) = delete;

      private:
        PtrInterface const& object_;
        U32 bias_;
    };

    /// Memory for a framework object, aligned for any type. Throws std::bad_alloc.
    static void* zelMemAlloc(std::size_t size);
    /// Gives memory of zelMemAlloc() back; nothing for null.
    static void zelMemFree(void* memory) noexcept;

    ///@{
    /// Where the word has the count and the flags.
    static constexpr U32 countMask = 0x5fffffff;
    static constexpr U32 notificationActiveBit = U32{1} << 29;
    static constexpr U32 markedForDeletionBit = U32{1} << 31;
    ///@}

  private:
    // Bit 29 lies amid the count's bits; a count that would carry into it is refused. Half of the
    // range below it is added while an object is constructed or destroyed, so that no reference
    // taken meanwhile is the last one when it goes.
    static constexpr U32 countLimit = notificationActiveBit - 1;
    static constexpr U32 unownedBias = notificationActiveBit >> 1;

    U32 word() const noexcept { return word_.load(std::memory_order_relaxed); }
    void flagIs(U32 flag, bool value) const noexcept;
    void lastReferenceGone(U32 before) const noexcept;
    [[noreturn, gnu::cold]] static void countOverflow() noexcept;
    [[noreturn, gnu::cold]] static void destroyedWhileHeld() noexcept;

    mutable std::atomic<U32> word_{0};
};

} // namespace Zel
