#pragma once

#include "framework/zel/NotifieeList.h"
#include "framework/zel/Ptr.h"
#include "framework/zel/PtrInterface.h"

namespace Zel {

class ActivityConfig;

/// Base of every reactor: watches one entity, its notifier.
///
/// A reactor holds a reference to its notifier; the notifier does not own its reactors. A bound
/// reactor's onAttribute() is called, inside the mutator, for each change of the notifier while the
/// reactor's notification is active. Destroying a reactor unbinds it.
class VARNOL_API PtrInterface::NotifieeConst : public PtrInterface {
  public:
    /// An unbound reactor, its notification inactive.
    NotifieeConst() noexcept = default;
    ~NotifieeConst() override;

    /// Takes the reactor out of its notifier's list before anything of it is destroyed.
    void zeroReferencesIs(bool zero) override;

    ///@{
    /// A hook of the platform: its scheduler calls and overrides it, nothing here does.
    virtual PtrInterface* zelReactor();
    virtual void handleNotification(ActivityConfig* activity);
    virtual void onNotificationException();
    virtual void onZeroReferences();
    ///@}

    /// An attribute of the notifier has changed.
    /// @param key  of a collection attribute, the key (of the collection's key type) of the element
    ///             that was added, replaced or removed, valid during the call; null for a scalar
    virtual void onAttribute(AttributeId id, void const* key);

    ///@{
    /// Another hook of the platform.
    virtual PtrInterface* zelFwkActivity();
    virtual PtrInterface* actsm();
    ///@}

    /// Binds the reactor to an entity, after the reactors that are bound to it already; null
    /// unbinds. Throws RangeException, and changes nothing, for an object that has no reactors.
    virtual void notifierIs(Ptr<PtrInterface const> const& notifier);

    /// Turns the reactor into a zombie, which takes no notifications, or back. Does nothing when it
    /// is that already.
    virtual void zelDoZombieReactors(bool zombie);

    /// Enters the reactor in its notifier's list, at the end, or takes it out, leaving it bound.
    /// Does nothing when that is so already, or without a notifier.
    void isRegisteredNotifieeIs(bool registered) const;
    /// Whether the notifier's list has the reactor; one that is bound is in it unless it was taken
    /// out.
    bool isRegisteredNotifiee() const noexcept { return previous_ != nullptr; }

    /// The entity watched; null while unbound.
    Ptr<PtrInterface const> const& notifier() const noexcept { return notifier_; }

  protected:
    /// Whether what binding the reactor to its notifier set off ended by an exception: binding it
    /// to that entity once more does all of it again.
    bool isBehind() const noexcept { return isBehind_; }
    /// Says so, or that all of it was done.
    void isBehindIs(bool behind) noexcept { isBehind_ = behind; }

  private:
    friend NotifieeList;

    bool isBehind_ = false; // takes no room with 64-bit pointers: stands beside the base's count
    Ptr<PtrInterface const> notifier_;
    // Links of the notifier's list. The first reactor's previous_ is the last one; next_ of the
    // last one is null. Of a reactor in no list, previous_ is null, and next_ is not read.
    mutable NotifieeConst const* next_ = nullptr;
    mutable NotifieeConst const* previous_ = nullptr;
};

} // namespace Zel
